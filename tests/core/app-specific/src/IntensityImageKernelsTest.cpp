// SPDX-License-Identifier: Apache-2.0
//
// The loop of the intensity image equals its plain statement on every target, and reads only the image.
#include "IntensityImageKernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "IntensityImageRule.h"
#include "support/Floats.h"
#include "support/GuardedBytes.h"
#include "support/Random.h"
#include "support/Targets.h"

namespace {

using testing_support::Random;
using testing_support::sameValues;

constexpr int32_t kImageBytes = kImageHeight * kRawRowBytes;

class SubtractDarkLevel : public testing_support::OnEveryTarget {};
INSTANTIATE_ON_EVERY_TARGET(SubtractDarkLevel);

TEST_P(SubtractDarkLevel, EqualsTheRuleForAnyBytesOverThreeImages) {
    Random random(61);
    SCOPED_TRACE(random.seedText());
    std::vector<uint8_t> samples(kImageBytes);
    std::vector<uint16_t> fpn(kPixelCount);
    std::vector<uint16_t> intensity(kPixelCount);
    for (uint16_t& level : fpn) {
        level = static_cast<uint16_t>(random.bits());  // most of them above any sample
    }
    std::vector<uint16_t> expectedFpn = fpn;
    std::vector<uint16_t> expectedIntensity(kPixelCount);
    for (int image = 0; image < 3; ++image) {
        for (uint8_t& byte : samples) {
            byte = static_cast<uint8_t>(random.bits());
        }
        rule::subtractDarkLevel(samples.data(), expectedFpn.data(), expectedIntensity.data());
        IntensityImg_SubtractDarkLevel(samples.data(), fpn.data(), intensity.data());
        EXPECT_TRUE(sameValues(fpn.data(), expectedFpn.data(), kPixelCount));
        EXPECT_TRUE(sameValues(intensity.data(), expectedIntensity.data(), kPixelCount));
    }
}

TEST_P(SubtractDarkLevel, ReadsExactlyTheBytesOfTheImage) {
    // The image fills whole memory pages up to a page that must not be read, first at its end, then at its
    // start.
    const std::vector<uint16_t> noLevel(kPixelCount, 0);
    for (const bool guardBehind : {true, false}) {
        const testing_support::GuardedBytes samples(kImageBytes, guardBehind);
        std::fill_n(samples.data(), kImageBytes, uint8_t{0xFF});
        std::vector<uint16_t> fpn = noLevel;
        std::vector<uint16_t> intensity(kPixelCount);
        IntensityImg_SubtractDarkLevel(samples.data(), fpn.data(), intensity.data());
        EXPECT_EQ(intensity.front(), 4095);
        EXPECT_EQ(intensity.back(), 4095);
    }
}

}  // namespace
