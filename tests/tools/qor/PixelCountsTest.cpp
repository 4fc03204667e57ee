// SPDX-License-Identifier: Apache-2.0

#include "qor/PixelCounts.h"

#include <gtest/gtest.h>

#include <limits>

namespace qor {
namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

ResultFrame frameOf(std::vector<float> distances) {
    ResultFrame frame;
    frame.confidence.assign(distances.size(), lastExposureBit);
    frame.amplitude.assign(distances.size(), 1.0F);
    frame.distance = std::move(distances);
    return frame;
}

TEST(UsablePixel, IsValidWithAFiniteDistanceAboveZero) {
    EXPECT_TRUE(isUsable(lastExposureBit, 1.0F));
    EXPECT_TRUE(isUsable(0, std::numeric_limits<float>::denorm_min()));
    EXPECT_TRUE(isUsable(saturatedBit, std::numeric_limits<float>::max()));
    for (const float distance : {0.0F, -0.0F, -1.0F, infinity, -infinity, notANumber}) {
        EXPECT_FALSE(isUsable(0, distance)) << distance;
    }
    EXPECT_FALSE(isUsable(invalidBit, 1.0F));
}

TEST(UsablePixel, AFrameHasAByteForEach) {
    ResultFrame frame = frameOf({1.0F, 0.0F, infinity, 2.0F});
    frame.confidence[3] |= invalidBit;
    EXPECT_EQ(usablePixels(frame), (std::vector<std::uint8_t>{1, 0, 0, 0}));
}

TEST(PixelCounts, TellValidAndUsablePixelsApart) {
    PixelCounts counts;
    EXPECT_EQ(counts.validShare(), std::nullopt);
    ResultFrame frame = frameOf({1.0F, 0.0F, 0.0F, 2.0F});
    frame.confidence[3] |= invalidBit;
    counts.add(frame);
    EXPECT_EQ(counts.valid, 3U);
    EXPECT_EQ(counts.usable, 1U);
    EXPECT_EQ(counts.unusable(), 2U);
    EXPECT_EQ(counts.validShare(), 0.75);
    EXPECT_EQ(notFiniteText(counts), "");
}

TEST(PixelCounts, CountWhatIsNoNumberInValidPixelsAlone) {
    ResultFrame frame = frameOf({infinity, notANumber, 1.0F, notANumber});
    frame.confidence[3] |= invalidBit;
    frame.amplitude = {1.0F, 1.0F, -infinity, notANumber};
    PixelCounts counts;
    counts.add(frame);
    EXPECT_EQ(notFiniteText(counts), "of the valid pixels 2 distances and 1 amplitude are infinite or NaN");
    frame.noise = {0.0F, infinity, notANumber, infinity};
    counts.add(frame);
    EXPECT_EQ(counts.distancesNotFinite, 4U);
    EXPECT_EQ(counts.amplitudesNotFinite, 2U);
    EXPECT_EQ(counts.noisesNotFinite, 2U);
}

}  // namespace
}  // namespace qor
