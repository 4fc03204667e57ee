// SPDX-License-Identifier: Apache-2.0
//
// The whole way: simulated raw images as packets through the plug-in, distances against the truth.

#include "figures/Accuracy.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "simulation/Image.h"
#include "tools/Rig.h"

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

figures::AccuracySummary process(const Shot& shot, bool photonNoise, int frames) {
    simulation::CameraSettings settings;
    settings.scene = simulation::sceneNamed(shot.scene);
    settings.frequencies = {shot.frequency};
    settings.exposureTimes = shot.exposures;
    settings.ambient = shot.ambient;
    settings.temperature = shot.temperature;
    settings.seed = shot.seed;
    settings.photonNoise = photonNoise;
    return Rig(settings).process(frames);
}

simulation::CameraSettings wall() {
    simulation::CameraSettings settings;
    settings.scene = simulation::sceneNamed("wall");
    return settings;
}

TEST(Frame, TheFourthImageFinishesAFrameOfOneExposure) {
    Rig rig(wall());
    for (std::uint32_t k = 0; k < 3; ++k) {
        const simulation::Frame frame = rig.nextFrame();
        EXPECT_FALSE(rig.process(frame, 0));
        EXPECT_FALSE(rig.process(frame, 1));
        EXPECT_FALSE(rig.process(frame, 2));
        ASSERT_TRUE(rig.process(frame, 3));
        EXPECT_EQ(rig.last()->frameCounter, k);
        EXPECT_EQ(rig.last()->timestamp, frame.images[3].timestamp);
        EXPECT_EQ(rig.last()->distance.size(), simulation::pixelCount);
    }
}

TEST(Frame, TheEighthImageFinishesAFrameOfTwoExposures) {
    simulation::CameraSettings settings = wall();
    settings.exposureTimes = {200, 1000};
    Rig rig(settings);
    const simulation::Frame frame = rig.nextFrame();
    for (std::size_t k = 0; k < 7; ++k) {
        EXPECT_FALSE(rig.process(frame, k)) << k;
    }
    EXPECT_TRUE(rig.process(frame, 7));
}

TEST(Frame, AnIntensityImageBeforeThePhasesIsTaken) {
    simulation::CameraSettings settings = wall();
    settings.intensityImage = true;
    settings.ambient = 10.0;
    Rig rig(settings);
    const simulation::Frame frame = rig.nextFrame();
    ASSERT_EQ(frame.images.size(), 5U);
    for (std::size_t k = 0; k < 4; ++k) {
        EXPECT_FALSE(rig.process(frame, k)) << k;
    }
    EXPECT_TRUE(rig.process(frame, 4));
}

// The points of the valid pixels lie on the wall, 1.2 m ahead.
TEST(Frame, CoordinatesAreThoseOfTheScene) {
    simulation::CameraSettings settings = wall();
    settings.photonNoise = false;
    Rig rig(settings);
    const simulation::Frame frame = rig.nextFrame();
    for (std::size_t k = 0; k < frame.images.size(); ++k) {
        rig.process(frame, k);
    }
    ASSERT_TRUE(rig.last());
    ASSERT_TRUE(rig.last()->coordinates);
    const Coordinates& points = *rig.last()->coordinates;
    std::size_t judged = 0;
    for (std::size_t i = 0; i < simulation::pixelCount; ++i) {
        if ((rig.last()->confidence[i] & invalidBit) == 0 && frame.truth->badPixel[i] == 0) {
            EXPECT_NEAR(static_cast<double>(points.X[i]), frame.truth->X[i], 0.01) << i;
            EXPECT_NEAR(static_cast<double>(points.Y[i]), frame.truth->Y[i], 0.01) << i;
            EXPECT_NEAR(static_cast<double>(points.Z[i]), frame.truth->Z[i], 0.01) << i;
            ++judged;
        }
    }
    EXPECT_GT(judged, 38000U);
}

// The truth's amplitude is what the pipeline calls normalised: per microsecond, vignetting undone.
TEST(Frame, AmplitudeIsThatOfTheTruth) {
    simulation::CameraSettings settings = wall();
    settings.photonNoise = false;
    Rig rig(settings);
    const simulation::Frame frame = rig.nextFrame();
    for (std::size_t k = 0; k < frame.images.size(); ++k) {
        rig.process(frame, k);
    }
    ASSERT_TRUE(rig.last());
    for (std::size_t i = 0; i < simulation::pixelCount; ++i) {
        if ((rig.last()->confidence[i] & invalidBit) == 0 && frame.truth->badPixel[i] == 0) {
            ASSERT_NEAR(static_cast<double>(rig.last()->amplitude[i]) / frame.truth->amplitude[i], 1.0, 0.006)
                << i;
        }
    }
}

TEST(Frame, AMissingImageIsToldInThePluginsWordsAndTheNextFrameIsGood) {
    Rig rig(wall());
    const simulation::Frame frame = rig.nextFrame();
    const simulation::Frame next = rig.nextFrame();
    const simulation::Frame third = rig.nextFrame();
    rig.process(frame, 0);
    rig.process(frame, 1);
    rig.process(frame, 2);
    try {
        rig.process(next, 0);
        FAIL() << "no exception";
    } catch (const plugin::PluginError& error) {
        EXPECT_NE(std::string(error.what()).find("Unexpected framecounter"), std::string::npos)
            << error.what();
    }
    for (std::size_t k = 0; k < third.images.size(); ++k) {
        EXPECT_EQ(rig.process(third, k), k == 3) << k;
    }
}

TEST(Frame, ThePluginTellsNameAndVersion) {
    const plugin::Plugin algorithm(QOR_PLUGIN);
    EXPECT_EQ(algorithm.name(), "Qor Distance Image");
    EXPECT_EQ(algorithm.version(), "0.3.6");
}

class NoiseFree : public testing::TestWithParam<Shot> {};

TEST_P(NoiseFree, DistancesAreTrueToTheRoundingOfTheSamples) {
    const figures::AccuracySummary summary = process(GetParam(), false, 1);
    ASSERT_EQ(summary.frames, 1U);
    EXPECT_GT(summary.usableShare(), 0.9);
    EXPECT_GT(summary.judgedPixelsOffEdges, 15000U);
    EXPECT_EQ(summary.pixelsBeyondUniqueRange, 0U);
    EXPECT_LE(summary.medianError.value(), largestMedianError);
    EXPECT_LE(summary.percentile99Error.value(), largestPercentile99Error);
    EXPECT_NEAR(summary.meanError.value(), 0.0, 0.00005);
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
    const figures::AccuracySummary summary = process(GetParam(), true, 12);
    ASSERT_EQ(summary.frames, 12U);
    int judgedBins = 0;
    for (const figures::AmplitudeBin& bin : summary.bins) {
        if (bin.pixels < 2000) {
            continue;  // too few for an estimate to a few percent
        }
        ++judgedBins;
        EXPECT_NEAR(bin.ratio().value(), 1.0, largestNoiseDisagreement)
            << bin.from << " to " << bin.to << " counts: measured " << 1000.0 * bin.measured.value()
            << " mm, predicted " << 1000.0 * bin.predicted.value() << " mm, " << bin.pixels << " pixels";
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
    const figures::AccuracySummary dark = process({"wall", 60.0e6, {1000}}, true, 4);
    const figures::AccuracySummary bright = process({"wall", 60.0e6, {1000}, 600.0}, true, 4);
    ASSERT_FALSE(bright.bins.empty());
    EXPECT_GT(bright.medianError.value(), 2.0 * dark.medianError.value());
    for (const figures::AmplitudeBin& bin : bright.bins) {
        if (bin.pixels >= 2000) {
            EXPECT_NEAR(bin.ratio().value(), 1.0, largestNoiseDisagreement) << bin.from << " to " << bin.to;
        }
    }
}

// A camera that is told the wrong temperature shows the drift: 2.1 mrad per kelvin less the bend, about 20
// mrad for ten kelvin, of 2.4975 m / 2 pi each. So the measure can fail.
TEST(NoiseFree, AnUncorrectedDriftOfTheIlluminationShows) {
    simulation::CameraSettings settings;
    settings.scene = simulation::sceneNamed("wall");
    settings.photonNoise = false;
    settings.temperature = 50.0;
    Rig rig(settings);
    simulation::Frame frame = rig.nextFrame();
    for (std::size_t k = 0; k < frame.images.size(); ++k) {
        frame.images[k].illuTemperature = 40.0F;
        rig.process(frame, k);
    }
    EXPECT_NEAR(rig.summary().meanError.value(), 0.01995 * 2.4975387 / 6.2831853, 0.0001);
}

}  // namespace
}  // namespace qor
