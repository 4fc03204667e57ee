// SPDX-License-Identifier: Apache-2.0
//
// Cumulative histograms, quantiles, and the score that a frame would have at other exposure times.
#include "AutoExposureScore.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "AutoExposureStage.h"
#include "support/Floats.h"
#include "support/Random.h"

namespace {

using testing_support::kSaturationLevel;
using testing_support::Random;

constexpr uint32_t kKneepoints[] = {50, 60, 100, kSaturationLevel};
constexpr float kSlopes[] = {0.01F, 1.0F, 0.2F, 0.01F};

/** Two histograms and their cumulative forms. */
struct Histograms {
    uint32_t counts[kMaxExposures][kHistogramBins] = {};
    uint32_t cumHistos[kMaxExposures][kCumulativeBins] = {};
    uint32_t cumMeanHistos[kMaxExposures][kCumulativeBins] = {};

    void accumulate() {
        for (int32_t e = 0; e < kMaxExposures; ++e) {
            calculateCumHisto(counts[e], cumHistos[e], cumMeanHistos[e]);
        }
    }

    float score(std::vector<uint32_t> current, std::vector<uint32_t> test) const {
        return predictScore(current.data(), test.data(), kKneepoints, kSlopes, 4, cumMeanHistos, cumHistos,
                            static_cast<int32_t>(current.size()));
    }
};

/** The score function: value of one pixel at a level up to saturation. */
double scoreOfLevel(double level) {
    double value = 0.0;
    double from = 0.0;
    for (size_t p = 0; p < std::size(kKneepoints); ++p) {
        const double to = kKneepoints[p];
        value += (std::min(std::max(level, from), to) - from) * static_cast<double>(kSlopes[p]);
        from = to;
    }
    return value;
}

/** Some twenty sums and products in single precision. */
double toleranceFor(double score) {
    return 1e-5 + 2e-5 * std::fabs(score);
}

// --- Cumulative histograms ---

TEST(CumulativeHistogram, EntryIHoldsThePixelsAndTheLevelsBelowI) {
    Histograms h;
    h.counts[0][0] = 5;
    h.counts[0][3] = 2;
    h.counts[0][2048] = 7;
    h.accumulate();
    const uint32_t* const pixels = h.cumHistos[0];
    const uint32_t* const levels = h.cumMeanHistos[0];
    EXPECT_EQ(pixels[0], 0U);
    EXPECT_EQ(pixels[1], 5U);
    EXPECT_EQ(pixels[3], 5U);
    EXPECT_EQ(pixels[4], 7U);
    EXPECT_EQ(pixels[2048], 7U);
    EXPECT_EQ(pixels[2049], 14U);
    EXPECT_EQ(levels[3], 0U);
    EXPECT_EQ(levels[4], 6U);
    EXPECT_EQ(levels[2049], 6U + 7U * 2048U);
}

TEST(CumulativeHistogram, CountsWrapAt32Bits) {
    Histograms h;
    h.counts[0][1] = 0xFFFFFFFFU;
    h.counts[0][2] = 0x80000001U;
    h.accumulate();
    EXPECT_EQ(h.cumHistos[0][3], 0x80000000U);
    EXPECT_EQ(h.cumMeanHistos[0][3], 1U);  // -1 + 2
}

// --- Quantile ---

TEST(Quantile, IsLinearWithinALevel) {
    Histograms h;
    h.counts[0][10] = 100;
    h.counts[0][20] = 100;
    h.accumulate();
    EXPECT_EQ(quantile(h.cumHistos[0], 25.0F), 10.25F);
    EXPECT_EQ(quantile(h.cumHistos[0], 150.0F), 20.5F);
    EXPECT_EQ(quantile(h.cumHistos[0], 200.0F), 21.0F);
    // Between the two lie levels without pixels; the search ends at the lower edge of that stretch.
    EXPECT_EQ(quantile(h.cumHistos[0], 100.0F), 11.0F);
}

TEST(Quantile, OfNothingIsTheMiddleOfTheFirstLevel) {
    Histograms h;
    h.accumulate();
    EXPECT_EQ(quantile(h.cumHistos[0], 0.0F), 0.5F);
    h.counts[0][10] = 4;
    h.accumulate();
    EXPECT_EQ(quantile(h.cumHistos[0], 0.0F), 0.5F);
    EXPECT_EQ(quantile(h.cumHistos[0], -1.0F), 0.5F);
}

TEST(Quantile, BeyondAllPixelsContinuesTheLastLevel) {
    Histograms h;
    h.counts[0][2048] = 4;
    h.accumulate();
    EXPECT_EQ(quantile(h.cumHistos[0], 6.0F), 2049.5F);
    h.counts[0][2048] = 0;
    h.counts[0][10] = 4;
    h.accumulate();
    EXPECT_EQ(quantile(h.cumHistos[0], 6.0F), 2048.5F);
}

TEST(Quantile, AgreesWithALinearSearch) {
    Random random(11);
    SCOPED_TRACE(random.seedText());
    Histograms h;
    for (uint32_t& count : h.counts[0]) {
        count = random.bits() % 3 == 0 ? random.bits() % 40 : 0;
    }
    h.accumulate();
    const uint32_t* const c = h.cumHistos[0];
    for (int32_t round = 0; round < 5000; ++round) {
        const float s = random.bits() % 2 == 0 ? static_cast<float>(random.bits() % c[kHistogramBins])
                                               : random.real(0.0F, static_cast<float>(c[kHistogramBins]));
        int32_t hi = 1;
        while (hi < kHistogramBins && s > static_cast<float>(c[hi])) {
            ++hi;
        }
        const double a = c[hi - 1];
        const double b = c[hi];
        const double expected = a == b ? hi - 0.5 : hi - 1 + (static_cast<double>(s) - a) / (b - a);
        ASSERT_NEAR(quantile(c, s), expected, 5e-3) << s;
    }
}

TEST(Quantile, OfNoNumberEnds) {
    Histograms h;
    h.counts[0][0] = 1;
    h.accumulate();
    EXPECT_TRUE(std::isnan(quantile(h.cumHistos[0], std::numeric_limits<float>::quiet_NaN())));
    for (uint32_t& entry : h.cumHistos[0]) {
        entry = 0xFFFFFFFFU;
    }
    EXPECT_EQ(quantile(h.cumHistos[0], std::numeric_limits<float>::infinity()), 2048.5F);
}

// --- Score ---

TEST(Score, OfAFrameWithoutPixelsIsZero) {
    Histograms h;
    h.accumulate();
    EXPECT_EQ(h.score({400}, {400}), 0.0F);
    EXPECT_EQ(h.score({100, 400}, {50, 200}), 0.0F);
}

TEST(Score, OfPixelsOfOneLevelIsTheScoreFunctionThere) {
    // 0.01 a level up to 50, then 1 up to 60, then 0.2 up to 100, then 0.01: 0.5, 10.5, 18.5.
    const std::pair<uint32_t, float> expected[] = {{0, 0.0F},    {25, 0.25F},   {50, 0.5F},
                                                   {55, 5.5F},   {60, 10.5F},   {80, 14.5F},
                                                   {100, 18.5F}, {1100, 28.5F}, {2047, 37.97F}};
    for (const auto& [level, score] : expected) {
        Histograms h;
        h.counts[0][level] = 1000;
        h.accumulate();
        EXPECT_NEAR(h.score({400}, {400}), score, 1e-4F) << level;
    }
}

TEST(Score, LeavesOutSaturatedPixels) {
    Histograms h;
    h.counts[0][60] = 100;
    h.counts[0][2048] = 300;
    h.accumulate();
    EXPECT_NEAR(h.score({400}, {400}), 10.5F, 1e-4F);
    h.counts[0][60] = 0;
    h.accumulate();
    EXPECT_EQ(h.score({400}, {400}), 0.0F);
}

TEST(Score, AtAnotherTimeScalesTheLevels) {
    Histograms h;
    h.counts[0][40] = 1000;
    h.accumulate();
    EXPECT_NEAR(h.score({400}, {800}), 14.5F, 1e-4F);   // level 80
    EXPECT_NEAR(h.score({400}, {550}), 5.5F, 1e-4F);    // level 55
    EXPECT_NEAR(h.score({400}, {200}), 0.2F, 1e-4F);    // level 20
    EXPECT_NEAR(h.score({400}, {40000}), 0.0F, 1e-6F);  // saturated
}

/** One exposure: the mean of the score function over the pixels that would stay unsaturated. */
double scoreByPixels(const uint32_t* counts, uint32_t current, uint32_t test) {
    const double scale = static_cast<double>(test) / current;
    double sum = 0.0;
    double pixels = 0.0;
    for (uint32_t level = 0; level <= kSaturationLevel; ++level) {
        if (level * scale <= kSaturationLevel) {
            sum += counts[level] * scoreOfLevel(level * scale);
            pixels += counts[level];
        }
    }
    return pixels > 0.0 ? sum / pixels : 0.0;
}

TEST(Score, WithOneExposureIsTheMeanOverThePixelsThatStayUnsaturated) {
    Random random(12);
    SCOPED_TRACE(random.seedText());
    for (int32_t round = 0; round < 200; ++round) {
        Histograms h;
        const uint32_t brightest = random.bits() % 2 == 0 ? 200 : kHistogramBins;
        for (int32_t k = 0; k < 400; ++k) {
            h.counts[0][random.bits() % brightest] += random.bits() % 200;
        }
        h.accumulate();
        const auto current = static_cast<uint32_t>(random.integer(1, 40)) * 50;
        const auto test = static_cast<uint32_t>(random.integer(1, 40)) * 50;
        const double expected = scoreByPixels(h.counts[0], current, test);
        ASSERT_NEAR(h.score({current}, {test}), expected, toleranceFor(expected))
            << "round " << round << ", " << current << " to " << test;
    }
}

/**
 * The same with two exposures, in double precision and by counting pixels one level at a time. Each test
 * time, the longer one first, takes the pixels below each knee point from the histograms: first the longer
 * exposure's, then the shorter one's as long as saturation hides something. No pixel is taken twice.
 */
double scoreOfTwo(const Histograms& h, const std::vector<uint32_t>& current,
                  const std::vector<uint32_t>& test) {
    double score = 0.0;
    uint64_t processed = 0;
    for (size_t ei = test.size(); ei-- > 0;) {
        double offset = 0.0;
        double from = 0.0;
        for (size_t p = 0; p < std::size(kKneepoints); ++p) {
            double mass = 0.0;
            double mean = 0.0;
            for (size_t j = current.size(); j-- > 0;) {
                const uint64_t reach = test[ei] != 0 ? uint64_t{kKneepoints[p]} * current[j] / test[ei] : 0;
                const double f = test[ei] != 0 ? static_cast<double>(current[j]) / test[ei] : 1.0;
                uint64_t skip = processed + static_cast<uint64_t>(mass);
                double m = 0.0;
                double levels = 0.0;
                for (uint64_t level = 0; level <= std::min<uint64_t>(reach, kSaturationLevel); ++level) {
                    const uint64_t there = h.counts[j][level];
                    const uint64_t skipped = std::min(skip, there);
                    skip -= skipped;
                    m += static_cast<double>(there - skipped);
                    levels += static_cast<double>(there - skipped) * static_cast<double>(level);
                }
                if (m > 0.0) {
                    mean = (mass * mean + levels / f) / (mass + m);
                    mass += m;
                }
                if (reach < kSaturationLevel || test[ei] >= current[j]) {
                    break;
                }
            }
            const auto before = static_cast<double>(processed);
            if (mass + before > 0.0) {
                const double value = offset + (mean - from) * static_cast<double>(kSlopes[p]);
                score = (before * score + value * mass) / (before + mass);
                processed += static_cast<uint64_t>(mass);
            }
            offset += (kKneepoints[p] - from) * static_cast<double>(kSlopes[p]);
            from = kKneepoints[p];
        }
    }
    return score;
}

TEST(Score, WithTwoExposuresAgreesWithCountingPixelsInDoublePrecision) {
    Random random(13);
    SCOPED_TRACE(random.seedText());
    for (int32_t round = 0; round < 200; ++round) {
        const auto shortTime = static_cast<uint32_t>(random.integer(1, 10)) * 50;
        const std::vector<uint32_t> current = {shortTime,
                                               shortTime * static_cast<uint32_t>(random.integer(2, 8))};
        std::vector<uint32_t> test = {static_cast<uint32_t>(random.integer(1, 10)) * 50, 0};
        test[1] = test[0] * static_cast<uint32_t>(random.integer(2, 8));
        if (round % 20 == 0) {
            test[1] = 0;  // a candidate for one exposure
        }
        Histograms h;
        const double brightest = std::pow(10.0, static_cast<double>(random.real(-1.0F, 1.5F)));
        for (int32_t i = 0; i < kPixelCount; ++i) {
            const double rate = brightest * std::pow(100.0, -static_cast<double>(random.real(0, 1)));
            for (size_t e = 0; e < 2; ++e) {
                ++h.counts[e][static_cast<size_t>(std::min(rate * current[e], 2048.0))];
            }
        }
        h.accumulate();
        const double expected = scoreOfTwo(h, current, test);
        ASSERT_NEAR(h.score(current, test), expected, toleranceFor(expected)) << "round " << round;
    }
}

TEST(Score, PrefersTheLongExposureForDarkPixelsAndTheShortForBright) {
    // Half the pixels show 10 and 80, half 400 and the last bin, at 100 and 800 us. Together they are worth
    // 14.5 (level 80) and 21.5 (level 400); either exposure alone loses one half.
    Histograms h;
    h.counts[0][10] = 500;
    h.counts[0][400] = 500;
    h.counts[1][80] = 500;
    h.counts[1][2048] = 500;
    h.accumulate();
    EXPECT_NEAR(h.score({100, 800}, {100, 800}), (14.5F + 21.5F) / 2, 1e-3F);
}

TEST(Score, WithAPieceOrAnExposureTooManyIsZero) {
    Histograms h;
    h.counts[0][60] = 500;
    h.accumulate();
    const uint32_t times[] = {100, 200, 300};
    for (const uint32_t pieces : {0U, 6U, 0xFFFFFFFFU}) {
        EXPECT_EQ(predictScore(times, times, kKneepoints, kSlopes, pieces, h.cumMeanHistos, h.cumHistos, 1),
                  0.0F);
    }
    for (const int32_t exposures : {0, -1, 3, std::numeric_limits<int32_t>::max()}) {
        EXPECT_EQ(
            predictScore(times, times, kKneepoints, kSlopes, 4, h.cumMeanHistos, h.cumHistos, exposures),
            0.0F);
    }
}

TEST(Score, LevelsBehindTheTableCountAsEmpty) {
    Histograms h;
    h.counts[0][60] = 500;
    h.accumulate();
    const uint32_t times[] = {100};
    const uint32_t behind[] = {100000};
    EXPECT_EQ(predictScore(times, times, behind, kSlopes, 1, h.cumMeanHistos, h.cumHistos, 1), 0.0F);
    const uint32_t last[] = {0xFFFFFFFFU};  // one more is level 0
    EXPECT_EQ(predictScore(times, times, last, kSlopes, 1, h.cumMeanHistos, h.cumHistos, 1), 0.0F);
}

TEST(Score, AnyTablesAndTimesAreBorneWithoutHarm) {
    Random random(14);
    SCOPED_TRACE(random.seedText());
    const auto h = std::make_unique<Histograms>();
    for (int32_t round = 0; round < 300; ++round) {
        for (int32_t e = 0; e < kMaxExposures; ++e) {
            for (uint32_t& count : h->counts[e]) {
                count = random.bits() >> random.bits() % 32;
            }
        }
        h->accumulate();
        const auto any = [&] { return random.bits() >> random.bits() % 32; };
        const uint32_t kneepoints[] = {any(), any(), any(), any(), any()};
        const float slopes[] = {1.0F, -1.0F, 1e30F, std::numeric_limits<float>::quiet_NaN(), 0.0F};
        const uint32_t current[] = {any(), random.bits() % 4 == 0 ? 0 : any()};
        const uint32_t test[] = {any(), random.bits() % 4 == 0 ? 0 : any()};
        const uint32_t pieces = 1 + random.bits() % 5;
        const auto score = [&] {
            return predictScore(current, test, kneepoints, slopes, pieces, h->cumMeanHistos, h->cumHistos,
                                1 + round % 2);
        };
        ASSERT_TRUE(testing_support::sameFloat(score(), score())) << "round " << round;
    }
}

}  // namespace
