// SPDX-License-Identifier: Apache-2.0

#include "qor/Pictures.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>
#include <vector>

namespace qor {
namespace {

// Valid pixels at these distances, in metres.
ResultFrame frameOf(std::vector<float> distances) {
    ResultFrame frame;
    frame.confidence.assign(distances.size(), lastExposureBit);
    frame.distance = std::move(distances);
    return frame;
}

TEST(DistanceRange, HoldsAllButTheFurthestHundredth) {
    std::vector<float> distances(200, 1.2F);
    distances[7] = 9.0F;
    distances[8] = 8.0F;
    EXPECT_EQ(distanceRangeOf(frameOf(distances)).maximum, 1.5);
    distances[9] = 7.0F;  // the third of 200
    EXPECT_EQ(distanceRangeOf(frameOf(distances)).maximum, 7.0);
}

TEST(DistanceRange, FewerThanAHundredPixelsAreAllInIt) {
    EXPECT_EQ(distanceRangeOf(frameOf({0.3F, 4.1F, 2.0F})).maximum, 4.5);
}

TEST(DistanceRange, LooksAtFiniteDistancesOfValidPixelsAlone) {
    ResultFrame frame = frameOf(
        {0.9F, 5.0F, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()});
    frame.confidence[1] |= invalidBit;
    EXPECT_EQ(distanceRangeOf(frame).maximum, 1.0);
}

}  // namespace
}  // namespace qor
