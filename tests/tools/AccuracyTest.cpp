// SPDX-License-Identifier: Apache-2.0
//
// The whole way: simulated raw images through the pipeline, distances against the truth.

#include "qor/Accuracy.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "qor/DirectPipeline.h"
#include "simulation/Camera.h"

namespace qor {
namespace {

constexpr double largestMedianError = 0.0006;       // metres, without noise
constexpr double largestPercentile99Error = 0.002;  // metres, without noise, away from edges
constexpr double largestNoiseDisagreement = 0.10;   // of the predicted standard deviation

struct Shot {
    const char* scene;
    double frequency;
    std::vector<std::int32_t> exposures;
    double ambient = 0.0;
    double temperature = 42.5;
    std::uint64_t seed = 1;
};

std::ostream& operator<<(std::ostream& stream, const Shot& shot) {
    return stream << shot.scene << " at " << shot.frequency / 1e6 << " MHz, " << shot.exposures.size()
                  << " exposures, seed " << shot.seed;
}

AccuracySummary process(const Shot& shot, bool photonNoise, int frames) {
    simulation::CameraSettings settings;
    settings.scene = simulation::sceneNamed(shot.scene);
    settings.frequencies = {shot.frequency};
    settings.exposureTimes = shot.exposures;
    settings.ambient = shot.ambient;
    settings.temperature = shot.temperature;
    settings.seed = shot.seed;
    settings.photonNoise = photonNoise;
    simulation::Camera camera(settings);
    PipelineSettings pipelineSettings;
    pipelineSettings.exposureCount = static_cast<int>(shot.exposures.size());
    DirectPipeline pipeline(camera.calibration(), pipelineSettings);
    Accuracy accuracy({shot.frequency});
    for (int k = 0; k < frames; ++k) {
        const simulation::Frame frame = camera.nextFrame();
        for (const simulation::RawImage& image : frame.images) {
            if (const auto finished = pipeline.process(image)) {
                accuracy.add(*frame.truth, finished->distance, finished->confidence);
            }
        }
    }
    return accuracy.summary();
}

class NoiseFree : public testing::TestWithParam<Shot> {};

TEST_P(NoiseFree, DistancesAreTrueToTheRoundingOfTheSamples) {
    const AccuracySummary summary = process(GetParam(), false, 1);
    ASSERT_EQ(summary.frames, 1U);
    EXPECT_GT(summary.validShare(), 0.9);
    EXPECT_GT(summary.judgedPixelsOffEdges, 15000U);
    EXPECT_EQ(summary.pixelsBeyondUniqueRange, 0U);
    EXPECT_LE(summary.medianError, largestMedianError);
    EXPECT_LE(summary.percentile99Error, largestPercentile99Error);
    EXPECT_NEAR(summary.meanError, 0.0, 0.00005);
}

INSTANTIATE_TEST_SUITE_P(Shots, NoiseFree,
                         testing::Values(Shot{"room", 60.0e6, {1000}}, Shot{"wall", 60.0e6, {1000}},
                                         Shot{"ramp", 60.0e6, {1000}}, Shot{"wall", 80.0e6, {1000}},
                                         Shot{"ramp", 80.0e6, {1000}},
                                         Shot{"ramp", 80.0e6, {1000}, 20.0, 63.0, 7},
                                         Shot{"room", 60.0e6, {1000}, 5.0, 21.0, 99},
                                         Shot{"room", 60.0e6, {250, 2000}, 0.0, 42.5, 3}));

class PhotonNoise : public testing::TestWithParam<Shot> {};

TEST_P(PhotonNoise, DeviationOfTheErrorIsTheOnePredictedInEveryBinOfAmplitude) {
    const AccuracySummary summary = process(GetParam(), true, 12);
    ASSERT_EQ(summary.frames, 12U);
    int judgedBins = 0;
    for (const AmplitudeBin& bin : summary.bins) {
        if (bin.pixels < 2000) {
            continue;  // too few for an estimate to a few percent
        }
        ++judgedBins;
        EXPECT_NEAR(bin.ratio(), 1.0, largestNoiseDisagreement)
            << bin.from << " to " << bin.to << " counts: measured " << 1000.0 * bin.measured
            << " mm, predicted " << 1000.0 * bin.predicted << " mm, " << bin.pixels << " pixels";
    }
    EXPECT_GE(judgedBins, 5);
}

INSTANTIATE_TEST_SUITE_P(Shots, PhotonNoise,
                         testing::Values(Shot{"room", 60.0e6, {1000}},
                                         Shot{"ramp", 80.0e6, {2500}, 0.0, 42.5, 5},
                                         Shot{"room", 60.0e6, {1000}, 40.0, 55.0, 6},
                                         Shot{"room", 60.0e6, {200, 2500}, 10.0, 42.5, 8}));

// Ambient light that brings the shot noise above the knee of the suppression: the noise is more than doubled
// against the dark, and the prediction follows.
TEST(PhotonNoise, FollowsThePredictionUnderStrongAmbientLight) {
    const AccuracySummary dark = process({"wall", 60.0e6, {1000}}, true, 4);
    const AccuracySummary bright = process({"wall", 60.0e6, {1000}, 600.0}, true, 4);
    ASSERT_FALSE(bright.bins.empty());
    EXPECT_GT(bright.medianError, 2.0 * dark.medianError);
    for (const AmplitudeBin& bin : bright.bins) {
        if (bin.pixels >= 2000) {
            EXPECT_NEAR(bin.ratio(), 1.0, largestNoiseDisagreement) << bin.from << " to " << bin.to;
        }
    }
}

// A camera that is told the wrong temperature shows the drift: 2.1 mrad per kelvin less the bend, about 20
// mrad for ten kelvin, of 2.4975 m / 2 pi each. The measure is thus able to fail.
TEST(NoiseFree, AnUncorrectedDriftOfTheIlluminationShows) {
    simulation::CameraSettings settings;
    settings.scene = simulation::sceneNamed("wall");
    settings.photonNoise = false;
    settings.temperature = 50.0;
    simulation::Camera camera(settings);
    DirectPipeline pipeline(camera.calibration(), {});
    Accuracy accuracy({60.0e6});
    simulation::Frame frame = camera.nextFrame();
    for (simulation::RawImage& image : frame.images) {
        image.illuTemperature = 40.0F;
        if (const auto finished = pipeline.process(image)) {
            accuracy.add(*frame.truth, finished->distance, finished->confidence);
        }
    }
    EXPECT_NEAR(accuracy.summary().meanError, 0.01995 * 2.4975387 / 6.2831853, 0.0001);
}

}  // namespace
}  // namespace qor
