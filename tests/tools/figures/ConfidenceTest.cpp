// SPDX-License-Identifier: Apache-2.0

#include "figures/Confidence.h"

#include <gtest/gtest.h>

#include <limits>

namespace figures {
namespace {

TEST(UsablePixel, IsValidWithAFiniteDistanceAboveZero) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    EXPECT_TRUE(isUsable(lastExposureBit, 1.0F));
    EXPECT_TRUE(isUsable(0, std::numeric_limits<float>::denorm_min()));
    EXPECT_TRUE(isUsable(saturatedBit, std::numeric_limits<float>::max()));
    for (const float distance :
         {0.0F, -0.0F, -1.0F, infinity, -infinity, std::numeric_limits<float>::quiet_NaN()}) {
        EXPECT_FALSE(isUsable(0, distance)) << distance;
    }
    EXPECT_FALSE(isUsable(invalidBit, 1.0F));
}

}  // namespace
}  // namespace figures
