// SPDX-License-Identifier: Apache-2.0

#include "figures/PixelCounts.h"

#include <gtest/gtest.h>

#include <limits>

#include "tools/figures/Images.h"

namespace figures {
namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

TEST(PixelCounts, TellValidAndUsablePixelsApart) {
    PixelCounts counts;
    EXPECT_EQ(counts.validShare(), std::nullopt);
    Images images({1.0F, 0.0F, 0.0F, 2.0F});
    images.confidence[3] |= invalidBit;
    counts.add(images.view());
    EXPECT_EQ(counts.valid, 3U);
    EXPECT_EQ(counts.usable, 1U);
    EXPECT_EQ(counts.unusable(), 2U);
    EXPECT_EQ(counts.validShare(), 0.75);
}

TEST(PixelCounts, CountWhatIsNoNumberInValidPixelsAlone) {
    Images images({infinity, notANumber, 1.0F, notANumber});
    images.confidence[3] |= invalidBit;
    images.amplitude = {1.0F, 1.0F, -infinity, notANumber};
    PixelCounts counts;
    counts.add(images.view());
    images.noise = {0.0F, infinity, notANumber, infinity};
    counts.add(images.view());
    EXPECT_EQ(counts.distancesNotFinite, 4U);
    EXPECT_EQ(counts.amplitudesNotFinite, 2U);
    EXPECT_EQ(counts.noisesNotFinite, 2U);
}

TEST(PixelCounts, EachReasonCountsByItsBitInValidPixelsToo) {
    Images images({1.0F, 1.0F, 1.0F, 1.0F, 1.0F});
    images.confidence = {saturatedBit, saturatedBit | lowAmplitudeBit | invalidBit, asymmetricBit,
                         unassignedBit | invalidBit, lastExposureBit};
    PixelCounts counts;
    counts.add(images.view());
    EXPECT_EQ(counts.shareOf(counts.saturated), 0.4);
    EXPECT_EQ(counts.shareOf(counts.dark), 0.2);
    EXPECT_EQ(counts.shareOf(counts.asymmetric), 0.2);
    EXPECT_EQ(counts.shareOf(counts.unassigned), 0.2);
}

TEST(PixelCounts, PixelsOutsideOfTheMaskDoNotCount) {
    Images images({1.0F, 0.0F, 1.0F, 1.0F});
    images.confidence[2] |= invalidBit;
    PixelCounts counts;
    counts.add(images.view(), {1, 1, 0, 0});
    EXPECT_EQ(counts.pixels, 2U);
    EXPECT_EQ(counts.valid, 2U);
    EXPECT_EQ(counts.usable, 1U);
}

}  // namespace
}  // namespace figures
