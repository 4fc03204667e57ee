// SPDX-License-Identifier: Apache-2.0
//
// Two frequencies, 60 and 80 MHz, tell distances up to 7.5 m, three and four times the unique range of each.
// A pixel assigned to a wrong line of the pair is wrong by 1.8 m and more.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "simulation/Image.h"
#include "tools/Rig.h"

namespace qor {
namespace {

constexpr double wrongLine = 0.5;           // metres; far above any noise, far below a line's distance
constexpr double leastAmplitude = 100.0;    // counts
constexpr double largestError = 0.001;      // metres, the median of the absolute error, and
constexpr double largestErrorShare = 3e-4;  // this share of the distance
constexpr double amplitudeOverNoise = 20.0;
constexpr double largestWrongShare = 0.001;

simulation::CameraSettings hall() {
    simulation::CameraSettings settings;
    settings.scene = simulation::sceneNamed("hall");
    settings.frequencies = {60.0e6, 80.0e6};
    settings.exposureTimes = {2000};
    return settings;
}

void processFrame(Rig& rig, const simulation::Frame& frame) {
    for (std::size_t image = 0; image < frame.images.size(); ++image) {
        rig.process(frame, image);
    }
    ASSERT_TRUE(rig.last());
}

bool isValid(const Rig& rig, const simulation::Truth& truth, std::size_t i) {
    return (rig.last()->confidence[i] & invalidBit) == 0 && truth.badPixel[i] == 0;
}

double errorOf(const Rig& rig, const simulation::Truth& truth, std::size_t i) {
    return std::abs(static_cast<double>(rig.last()->distance[i]) - truth.distance[i]);
}

const simulation::ExposureTruth& exposureOf(const simulation::FrequencyTruth& frequency) {
    return frequency.exposures[0];
}

// The lower one of the two frequencies, counts.
double rawAmplitudeOf(const simulation::Truth& truth, std::size_t i) {
    double lowest = std::numeric_limits<double>::infinity();
    for (const simulation::FrequencyTruth& frequency : truth.frequencies) {
        lowest = std::min(lowest, exposureOf(frequency).rawAmplitude[i]);
    }
    return lowest;
}

// Amplitude over the noise of the phasor: the inverse of the phase's deviation, in radians.
double amplitudeOverNoiseOf(const simulation::Truth& truth, std::size_t i) {
    double lowest = std::numeric_limits<double>::infinity();
    const std::vector<double> frequencies = hall().frequencies;
    for (std::size_t f = 0; f < frequencies.size(); ++f) {
        const double metresPerRadian = simulation::uniqueRange(frequencies[f]) / (2.0 * M_PI);
        lowest = std::min(lowest, metresPerRadian / exposureOf(truth.frequencies[f]).distanceDeviation[i]);
    }
    return lowest;
}

double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

TEST(UnambiguousDistance, WithoutNoiseNoPixelAwayFromEdgesIsAssignedToAWrongLine) {
    simulation::CameraSettings settings = hall();
    settings.photonNoise = false;
    Rig rig(settings);
    const simulation::Frame frame = rig.nextFrame();
    processFrame(rig, frame);
    std::size_t judged = 0;
    double furthest = 0.0;
    for (std::size_t i = 0; i < simulation::pixelCount; ++i) {
        if (isValid(rig, *frame.truth, i) && frame.truth->edge[i] == 0) {
            EXPECT_LT(errorOf(rig, *frame.truth, i), wrongLine) << i << " at " << frame.truth->distance[i];
            furthest = std::max(furthest, frame.truth->distance[i]);
            ++judged;
        }
    }
    EXPECT_GT(judged, 30000U);
    EXPECT_GT(furthest, 6.5);
}

TEST(UnambiguousDistance, WithoutNoiseDistancesAndCoordinatesAreTrueFromAHundredCountsOn) {
    simulation::CameraSettings settings = hall();
    settings.photonNoise = false;
    Rig rig(settings);
    const simulation::Frame frame = rig.nextFrame();
    processFrame(rig, frame);
    ASSERT_TRUE(rig.last()->coordinates);
    const Coordinates& points = *rig.last()->coordinates;
    const simulation::Truth& truth = *frame.truth;
    // How much of the absolute error exceeds the allowed share of the distance.
    std::vector<double> distance;
    std::vector<double> x;
    std::vector<double> y;
    std::vector<double> z;
    for (std::size_t i = 0; i < simulation::pixelCount; ++i) {
        if (!isValid(rig, truth, i) || rawAmplitudeOf(truth, i) < leastAmplitude) {
            continue;
        }
        const double allowance = largestErrorShare * truth.distance[i];
        distance.push_back(errorOf(rig, truth, i) - allowance);
        x.push_back(std::abs(static_cast<double>(points.X[i]) - truth.X[i]) - allowance);
        y.push_back(std::abs(static_cast<double>(points.Y[i]) - truth.Y[i]) - allowance);
        z.push_back(std::abs(static_cast<double>(points.Z[i]) - truth.Z[i]) - allowance);
    }
    ASSERT_GT(distance.size(), 15000U);
    EXPECT_LE(medianOf(distance), largestError);
    EXPECT_LE(medianOf(x), largestError);
    EXPECT_LE(medianOf(y), largestError);
    EXPECT_LE(medianOf(z), largestError);
}

TEST(UnambiguousDistance, WithNoiseHardlyAnyPixelOfGoodSignalIsAssignedToAWrongLine) {
    Rig rig(hall());
    std::size_t judged = 0;
    std::size_t wrong = 0;
    for (int k = 0; k < 5; ++k) {
        const simulation::Frame frame = rig.nextFrame();
        processFrame(rig, frame);
        for (std::size_t i = 0; i < simulation::pixelCount; ++i) {
            if (isValid(rig, *frame.truth, i) &&
                amplitudeOverNoiseOf(*frame.truth, i) >= amplitudeOverNoise) {
                ++judged;
                wrong += errorOf(rig, *frame.truth, i) >= wrongLine ? 1U : 0U;
            }
        }
    }
    EXPECT_GT(judged, 50000U);
    EXPECT_LT(static_cast<double>(wrong), largestWrongShare * static_cast<double>(judged));
}

}  // namespace
}  // namespace qor
