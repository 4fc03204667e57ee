// SPDX-License-Identifier: Apache-2.0

#include "figures/NoisePrediction.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tools/figures/Images.h"

namespace figures {
namespace {

Images imagesOf(std::vector<float> distances, std::vector<float> noise) {
    Images images(std::move(distances));
    images.noise = std::move(noise);
    return images;
}

// Differences of 3, 5 and 11 m; each is predicted to vary with sqrt(9 + 16) = 5 m.
TEST(NoisePrediction, ComparesDifferencesWithTheRootOfBothVariances) {
    NoisePrediction prediction;
    prediction.add(imagesOf({1.0F, 9.0F, 1.0F}, {3.0F, 3.0F, 3.0F}).view());
    prediction.add(imagesOf({4.0F, 4.0F, 12.0F}, {4.0F, 4.0F, 4.0F}).view());
    const NoiseRow total = prediction.total().value();
    EXPECT_EQ(total.pairs, 3U);
    EXPECT_DOUBLE_EQ(total.measured, std::sqrt((9.0 + 25.0 + 121.0) / 6.0));
    EXPECT_DOUBLE_EQ(total.predicted, std::sqrt(75.0 / 6.0));
    EXPECT_DOUBLE_EQ(total.ratio(), std::sqrt(155.0 / 75.0));
    EXPECT_DOUBLE_EQ(total.withinOneSigma, 2.0 / 3.0);
    EXPECT_DOUBLE_EQ(total.withinTwoSigma, 2.0 / 3.0);
}

TEST(NoisePrediction, AmplitudesAreInOctavesWhoseLowerEndBelongsToThem) {
    Images images = imagesOf({1.0F, 1.0F, 1.0F, 1.0F, 1.0F}, {1.0F, 1.0F, 1.0F, 1.0F, 1.0F});
    images.amplitude = {2.0F, 3.999F, 4.0F, 0.0F, -1.0F};
    NoisePrediction prediction;
    prediction.add(images.view());
    prediction.add(images.view());
    const std::vector<NoiseRow> rows = prediction.rows();
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].from, 2.0);
    EXPECT_EQ(rows[0].to, 4.0);
    EXPECT_EQ(rows[0].pairs, 2U);
    EXPECT_EQ(rows[1].from, 4.0);
    EXPECT_EQ(rows[1].pairs, 1U);
    EXPECT_EQ(prediction.total().value().pairs, 5U);
}

// Pixel 0 is not usable once, 1 has no noise once, the noise of 2 is no number once, 3 is masked.
TEST(NoisePrediction, APairNeedsAUsablePixelAndANoiseInBothFrames) {
    const Mask mask{1, 1, 1, 0, 1};
    Images first = imagesOf({1.0F, 1.0F, 1.0F, 1.0F, 1.0F}, {1.0F, 1.0F, 1.0F, 1.0F, 1.0F});
    first.confidence[0] |= invalidBit;
    Images second =
        imagesOf(first.distance, {1.0F, 0.0F, std::numeric_limits<float>::quiet_NaN(), 1.0F, 1.0F});
    NoisePrediction prediction;
    prediction.add(first.view(), mask);
    EXPECT_FALSE(prediction.total().has_value());
    prediction.add(second.view(), mask);
    EXPECT_EQ(prediction.total().value().pairs, 1U);
}

TEST(NoisePrediction, AFrameWithoutNoiseMakesNoPair) {
    NoisePrediction prediction;
    const Images with = imagesOf({1.0F}, {1.0F});
    prediction.add(with.view());
    prediction.add(Images(std::vector<float>{1.0F}).view());
    prediction.add(with.view());
    EXPECT_FALSE(prediction.total().has_value());
    EXPECT_TRUE(prediction.rows().empty());
    prediction.add(with.view());
    EXPECT_TRUE(prediction.total().has_value());
}

// Differences of twice the variance of one frame, by a fixed rule; those of a Gaussian lie within one and two
// sigma in 68.3 and 95.4 of 100.
TEST(NoisePrediction, ItsSharesAreThoseOfTheDistribution) {
    constexpr std::size_t count = 20000;
    std::uint32_t state = 7;
    const auto uniform = [&state] {
        state = state * 1664525U + 1013904223U;
        return (static_cast<double>(state >> 8U) + 0.5) / 16777216.0;
    };
    const auto gaussian = [&uniform] {
        return std::sqrt(-2.0 * std::log(uniform())) * std::cos(6.283185307179586 * uniform());
    };
    NoisePrediction prediction;
    for (int frame = 0; frame < 2; ++frame) {
        Images images = imagesOf(std::vector<float>(count), std::vector<float>(count, 0.01F));
        for (float& distance : images.distance) {
            distance = static_cast<float>(2.0 + 0.01 * gaussian());
        }
        prediction.add(images.view());
    }
    const NoiseRow total = prediction.total().value();
    EXPECT_NEAR(total.ratio(), 1.0, 0.02);
    EXPECT_NEAR(total.withinOneSigma, 0.683, 0.015);
    EXPECT_NEAR(total.withinTwoSigma, 0.954, 0.01);
}

}  // namespace
}  // namespace figures
