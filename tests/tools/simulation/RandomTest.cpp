// SPDX-License-Identifier: Apache-2.0

#include "simulation/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "simulation/Elementary.h"

namespace simulation {
namespace {

constexpr std::uint64_t seed = 20240917;
constexpr int drawCount = 200000;

struct Moments {
    double mean = 0.0;
    double variance = 0.0;
    double skewness = 0.0;
    double kurtosis = 0.0;
};

Moments momentsOf(const std::vector<double>& values) {
    Moments m;
    const auto count = static_cast<double>(values.size());
    for (const double v : values) {
        m.mean += v / count;
    }
    double third = 0.0;
    double fourth = 0.0;
    for (const double v : values) {
        const double d = v - m.mean;
        m.variance += d * d / count;
        third += d * d * d / count;
        fourth += d * d * d * d / count;
    }
    m.skewness = third / std::pow(m.variance, 1.5);
    m.kurtosis = fourth / (m.variance * m.variance);
    return m;
}

template <typename Draw>
std::vector<double> draw(Draw one) {
    RandomStream random(seed, RandomPurpose::SensorNoise);
    std::vector<double> values(drawCount);
    std::generate(values.begin(), values.end(), [&] { return one(random); });
    return values;
}

// The known answers that the authors of the generator publish with it.
TEST(Philox, OfZeroGivesThePublishedAnswer) {
    EXPECT_EQ(philox({0, 0, 0, 0}, {0, 0}),
              (PhiloxCounter{0x6627E8D5U, 0xE169C58DU, 0xBC57AC4CU, 0x9B00DBD8U}));
}

TEST(Philox, OfAllOnesGivesThePublishedAnswer) {
    constexpr std::uint32_t ones = 0xFFFFFFFFU;
    EXPECT_EQ(philox({ones, ones, ones, ones}, {ones, ones}),
              (PhiloxCounter{0x408F276DU, 0x41C83B0EU, 0xA20BC7C6U, 0x6D5451FDU}));
}

TEST(Philox, OfTheDigitsOfPiGivesThePublishedAnswer) {
    EXPECT_EQ(philox({0x243F6A88U, 0x85A308D3U, 0x13198A2EU, 0x03707344U}, {0xA4093822U, 0x299F31D0U}),
              (PhiloxCounter{0xD16CFE09U, 0x94FDCCEBU, 0x5001E420U, 0x24126EA1U}));
}

// The first draw takes the low two words of the block at counter 0; 53 bits, centred in their cell.
TEST(RandomStream, UniformComesFromTheTopBitsOfTheBlock) {
    const PhiloxCounter block = philox({0, 5, 3, 0}, {7, 0});
    const std::uint64_t bits = (static_cast<std::uint64_t>(block[1]) << 32 | block[0]) >> 11;
    RandomStream random(7, RandomPurpose::SensorNoise, 3, 5);
    EXPECT_EQ(random.uniform(), (static_cast<double>(bits) + 0.5) * 0x1p-53);
}

TEST(RandomStream, EqualStreamsDrawEqualNumbers) {
    RandomStream a(9, RandomPurpose::DarkLevel, 1, 2);
    RandomStream b(9, RandomPurpose::DarkLevel, 1, 2);
    for (int k = 0; k < 100; ++k) {
        ASSERT_EQ(a.normal(), b.normal());
    }
}

TEST(RandomStream, SeedPurposeAndIndicesEachMakeAStreamOfItsOwn) {
    const auto first = [](RandomStream random) { return random.uniform(); };
    const std::vector<double> firstDraws{first(RandomStream(1, RandomPurpose::SensorNoise, 0, 0)),
                                         first(RandomStream(2, RandomPurpose::SensorNoise, 0, 0)),
                                         first(RandomStream(1ULL << 32, RandomPurpose::SensorNoise, 0, 0)),
                                         first(RandomStream(1, RandomPurpose::DarkLevel, 0, 0)),
                                         first(RandomStream(1, RandomPurpose::SensorNoise, 1, 0)),
                                         first(RandomStream(1, RandomPurpose::SensorNoise, 0, 1))};
    for (std::size_t i = 0; i < firstDraws.size(); ++i) {
        for (std::size_t k = i + 1; k < firstDraws.size(); ++k) {
            EXPECT_NE(firstDraws[i], firstDraws[k]) << i << " and " << k;
        }
    }
}

TEST(RandomStream, UniformIsEvenAndNeverZeroOrOne) {
    const std::vector<double> values = draw([](RandomStream& random) { return random.uniform(); });
    std::vector<int> bins(20, 0);
    for (const double v : values) {
        ASSERT_GT(v, 0.0);
        ASSERT_LT(v, 1.0);
        ++bins[static_cast<std::size_t>(v * 20.0)];
    }
    double chiSquare = 0.0;
    for (const int n : bins) {
        chiSquare += (n - drawCount / 20.0) * (n - drawCount / 20.0) / (drawCount / 20.0);
    }
    EXPECT_LT(chiSquare, 43.8);  // 19 degrees of freedom, exceeded once in a thousand seeds
}

// Standard errors of 200000 draws: mean 0.0022, variance 0.0032, skewness 0.0055, kurtosis 0.011; four of
// each.
TEST(RandomStream, NormalHasTheMomentsOfTheStandardNormal) {
    const Moments m = momentsOf(draw([](RandomStream& random) { return random.normal(); }));
    EXPECT_NEAR(m.mean, 0.0, 0.009);
    EXPECT_NEAR(m.variance, 1.0, 0.013);
    EXPECT_NEAR(m.skewness, 0.0, 0.022);
    EXPECT_NEAR(m.kurtosis, 3.0, 0.044);
}

TEST(RandomStream, NormalHasTheTailsOfTheStandardNormal) {
    const std::vector<double> values = draw([](RandomStream& random) { return random.normal(); });
    const auto beyond = [&](double limit) {
        return static_cast<double>(std::count_if(values.begin(), values.end(),
                                                 [limit](double v) { return std::abs(v) > limit; })) /
               drawCount;
    };
    EXPECT_NEAR(beyond(1.0), 0.3173, 0.0042);
    EXPECT_NEAR(beyond(2.0), 0.0455, 0.0019);
    EXPECT_NEAR(beyond(3.0), 0.0027, 0.0005);
}

class Poisson : public testing::TestWithParam<double> {};

TEST_P(Poisson, HasEqualMeanAndVarianceAndTheRightSkewness) {
    const double mean = GetParam();
    const Moments m = momentsOf(draw([mean](RandomStream& random) { return random.poisson(mean); }));
    const double standardError = std::sqrt(mean / drawCount);
    EXPECT_NEAR(m.mean, mean, 4.0 * standardError);
    EXPECT_NEAR(m.variance / mean, 1.0, 4.0 * std::sqrt((2.0 + 1.0 / mean) / drawCount) + 0.25 / mean);
    EXPECT_NEAR(m.skewness, 1.0 / std::sqrt(mean), 0.022 + 0.05 / std::sqrt(mean));
}

INSTANTIATE_TEST_SUITE_P(Means, Poisson, testing::Values(0.5, 5.0, 63.5, 64.0, 200.0, 40000.0));

// Probabilities from the recursion p(k) = p(k - 1) * mean / k.
TEST(RandomStream, PoissonFollowsItsProbabilitiesOnBothRoads) {
    for (const double mean : {7.0, 80.0}) {
        const std::vector<double> values =
            draw([mean](RandomStream& random) { return random.poisson(mean); });
        double probability = std::exp(-mean);
        double chiSquare = 0.0;
        int bins = 0;
        for (int k = 0; k < 200; ++k) {
            const double expected = probability * drawCount;
            if (expected > 500.0) {
                const auto found = static_cast<double>(std::count(values.begin(), values.end(), k));
                chiSquare += (found - expected) * (found - expected) / expected;
                ++bins;
            }
            probability *= mean / (k + 1);
        }
        ASSERT_GT(bins, 10);
        EXPECT_LT(chiSquare, bins + 4.0 * std::sqrt(2.0 * bins) + 10.0) << mean;
    }
}

TEST(RandomStream, PoissonOfNothingIsNothing) {
    RandomStream random(1, RandomPurpose::SensorNoise);
    EXPECT_EQ(random.poisson(0.0), 0.0);
    EXPECT_EQ(random.poisson(-3.0), 0.0);
    EXPECT_EQ(random.poisson(std::nan("")), 0.0);
}

}  // namespace
}  // namespace simulation
