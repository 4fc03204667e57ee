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

// Amplitudes of usable pixels, counts per microsecond.
ResultFrame frameOfAmplitudes(std::vector<float> amplitudes) {
    ResultFrame frame = frameOf(std::vector<float>(amplitudes.size(), 1.0F));
    frame.amplitude = std::move(amplitudes);
    return frame;
}

TEST(AmplitudeRange, FollowsTheDataAndNotTheStrongestHundredth) {
    std::vector<float> amplitudes(200, 0.03F);
    amplitudes[7] = 900.0F;
    amplitudes[8] = 900.0F;
    EXPECT_EQ(amplitudeRangeOf(frameOfAmplitudes(amplitudes)).maximum, 0.05);
    EXPECT_EQ(amplitudeRangeOf(frameOfAmplitudes(std::vector<float>(200, 41.0F))).maximum, 50.0);
}

TEST(AmplitudeRange, LooksAtFiniteAmplitudesOfUsablePixelsAlone) {
    ResultFrame frame = frameOfAmplitudes({0.9F, 7.0F, 70.0F, std::numeric_limits<float>::infinity()});
    frame.confidence[1] |= invalidBit;
    frame.distance[2] = 0.0F;
    EXPECT_EQ(amplitudeRangeOf(frame).maximum, 1.0);
    EXPECT_EQ(amplitudeRangeOf(frameOfAmplitudes({})).maximum, PictureSettings{}.amplitude.maximum);
}

TEST(DistanceRange, LeavesOutPixelsAtTheCamera) {
    std::vector<float> distances(300, 0.0F);
    distances[0] = 4.2F;
    EXPECT_EQ(distanceRangeOf(frameOf(distances)).maximum, 4.5);
}

// In daylight a wall may give 40 counts, and a lamp in the picture the full range.
TEST(IntensityRange, IsTheRoundedRangeOfAllButTheBrightestHundredth) {
    ResultFrame frame;
    frame.intensity.assign(200, 41.0F);
    frame.intensity[3] = 4095.0F;
    frame.intensity[4] = 4095.0F;
    EXPECT_EQ(intensityRangeOf(frame).minimum, 0.0);
    EXPECT_EQ(intensityRangeOf(frame).maximum, 50.0);
    frame.intensity[5] = 1001.0F;  // the third of 200
    EXPECT_EQ(intensityRangeOf(frame).maximum, 2000.0);
}

TEST(IntensityRange, ARoundCountIsItsOwnLimit) {
    ResultFrame frame;
    for (const float count : {1.0F, 2.0F, 5.0F, 10.0F, 100.0F, 5000.0F}) {
        frame.intensity.assign(10, count);
        EXPECT_EQ(intensityRangeOf(frame).maximum, count);
    }
}

TEST(IntensityRange, DarknessStillHasAScale) {
    ResultFrame frame;
    frame.intensity.assign(10, 0.0F);
    EXPECT_EQ(intensityRangeOf(frame).maximum, 1.0);
}

TEST(IntensityRange, LooksAtFiniteCountsAloneAndWithoutAnyTakesTheRangeOfASample) {
    ResultFrame frame;
    EXPECT_EQ(intensityRangeOf(frame).maximum, 4095.0);
    frame.intensity = {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()};
    EXPECT_EQ(intensityRangeOf(frame).maximum, 4095.0);
    frame.intensity.push_back(7.0F);
    EXPECT_EQ(intensityRangeOf(frame).maximum, 10.0);
}

}  // namespace
}  // namespace qor
