// SPDX-License-Identifier: Apache-2.0

#include "figures/TemporalNoise.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tools/figures/Images.h"

namespace figures {
namespace {

using simulation::pixelCount;

Images imagesAt(float metres, float noise) {
    Images images(metres);
    images.noise.assign(pixelCount, noise);
    return images;
}

// 1, 2 and 3 m: the deviation of a sample of three is 1 m.
TEST(TemporalNoise, IsTheDeviationFromFrameToFrame) {
    TemporalNoise noise;
    noise.add(Images(1.0F).view());
    noise.add(Images(2.0F).view());
    noise.add(Images(3.0F).view());
    const TemporalNoiseSummary summary = noise.summary();
    EXPECT_EQ(summary.frames, 3U);
    EXPECT_EQ(summary.pixels, pixelCount);
    EXPECT_NEAR(summary.measured.value(), 1.0, 1e-12);
    EXPECT_EQ(summary.medianRatio, std::nullopt);
    EXPECT_EQ(summary.delivered, std::nullopt);
}

// Delivered: 1 m and sqrt(7) m, mean variance 4 m^2. Measured: 1 and 3 m, variance 2 m^2.
TEST(TemporalNoise, ComparesWithTheRootOfTheMeanDeliveredVariance) {
    TemporalNoise noise;
    noise.add(imagesAt(1.0F, 1.0F).view());
    noise.add(imagesAt(3.0F, std::sqrt(7.0F)).view());
    const TemporalNoiseSummary summary = noise.summary();
    EXPECT_NEAR(summary.delivered.value(), 2.0, 1e-6);
    EXPECT_NEAR(summary.medianRatio.value(), std::sqrt(2.0) / 2.0, 1e-6);
    EXPECT_EQ(summary.lowRatio, summary.medianRatio);
    EXPECT_EQ(summary.highRatio, summary.medianRatio);
}

TEST(TemporalNoise, JudgesOnlyPixelsThatAreUsableInEveryFrame) {
    TemporalNoise noise;
    Images first(1.0F);
    first.confidence[3] = invalidBit;
    first.distance[4] = std::numeric_limits<float>::quiet_NaN();
    first.distance[5] = 0.0F;
    noise.add(first.view());
    noise.add(Images(1.0F).view());
    EXPECT_EQ(noise.summary().pixels, pixelCount - 3);
}

TEST(TemporalNoise, WithoutANoiseImageInEveryFrameThereIsNoRatio) {
    TemporalNoise noise;
    noise.add(imagesAt(1.0F, 0.5F).view());
    noise.add(Images(2.0F).view());
    EXPECT_EQ(noise.summary().medianRatio, std::nullopt);
    EXPECT_GT(noise.summary().measured, 0.0);
}

TEST(TemporalNoise, APixelWhoseNoiseIsNoNumberHasNoRatio) {
    TemporalNoise noise;
    Images frame = imagesAt(1.0F, 1.0F);
    frame.noise.assign(pixelCount, std::numeric_limits<float>::quiet_NaN());
    frame.noise[0] = 1.0F;
    noise.add(frame.view());
    frame.distance[0] = 2.0F;
    noise.add(frame.view());
    EXPECT_NEAR(noise.summary().medianRatio.value(), std::sqrt(0.5), 1e-6);
}

TEST(TemporalNoise, PixelsOutsideOfTheMaskDoNotCount) {
    Mask mask(pixelCount, 0);
    mask[7] = 1;
    TemporalNoise noise;
    noise.add(Images(1.0F).view(), mask);
    noise.add(Images(2.0F).view(), mask);
    EXPECT_EQ(noise.summary().pixels, 1U);
}

TEST(TemporalNoise, NothingIsSaidOfOneFrame) {
    TemporalNoise noise;
    EXPECT_EQ(noise.summary().frames, 0U);
    noise.add(imagesAt(1.0F, 1.0F).view());
    EXPECT_EQ(noise.summary().frames, 1U);
    EXPECT_EQ(noise.summary().pixels, 0U);
    EXPECT_EQ(noise.summary().measured, std::nullopt);
}

}  // namespace
}  // namespace figures
