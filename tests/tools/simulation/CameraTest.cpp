// SPDX-License-Identifier: Apache-2.0

#include "simulation/Camera.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <stdexcept>

#include "simulation/Image.h"
#include "simulation/RawPacking.h"

namespace simulation {
namespace {

CameraSettings settingsFor(const char* scene) {
    CameraSettings settings;
    settings.scene = sceneNamed(scene);
    return settings;
}

// FNV-1a over all bytes of all raw images.
std::uint64_t hashOf(const Frame& frame) {
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const RawImage& image : frame.images) {
        for (const std::uint8_t byte : image.phaseData) {
            hash = (hash ^ byte) * 0x100000001B3U;
        }
    }
    return hash;
}

TEST(Camera, OneExposureAtOneFrequencyMakesFourImages) {
    Camera camera(settingsFor("wall"));
    const Frame frame = camera.nextFrame();
    ASSERT_EQ(frame.images.size(), 4U);
    for (std::size_t k = 0; k < 4; ++k) {
        const RawImage& image = frame.images[k];
        EXPECT_EQ(image.sequenceCounter, static_cast<std::int32_t>(k));
        EXPECT_EQ(image.frameCounter, k);
        EXPECT_EQ(image.freqIdx, 0);
        EXPECT_EQ(image.exposureTime, 1000);
        EXPECT_FALSE(image.intensityMeasurement);
        EXPECT_EQ(image.illuTemperature, 42.5F);
        EXPECT_EQ(image.phaseData.size(), 58128U);
    }
}

TEST(Camera, ExposuresRunShortThenLongWithinEachFrequency) {
    CameraSettings settings = settingsFor("wall");
    settings.exposureTimes = {200, 1000};
    settings.frequencies = {80.0e6, 60.0e6};
    Camera camera(settings);
    const Frame frame = camera.nextFrame();
    ASSERT_EQ(frame.images.size(), 16U);
    for (std::size_t k = 0; k < 16; ++k) {
        EXPECT_EQ(frame.images[k].sequenceCounter, static_cast<std::int32_t>(k));
        EXPECT_EQ(frame.images[k].exposureTime, k / 4 % 2 == 0 ? 200 : 1000);
        EXPECT_EQ(frame.images[k].freqIdx, k < 8 ? 0 : 1);
    }
}

TEST(Camera, TheIntensityImageComesFirstAndCounts) {
    CameraSettings settings = settingsFor("wall");
    settings.intensityImage = true;
    Camera camera(settings);
    const Frame frame = camera.nextFrame();
    ASSERT_EQ(frame.images.size(), 5U);
    EXPECT_TRUE(frame.images[0].intensityMeasurement);
    EXPECT_EQ(frame.images[0].sequenceCounter, 0);
    EXPECT_EQ(frame.images[0].exposureTime, 200);
    EXPECT_FALSE(frame.images[1].intensityMeasurement);
    EXPECT_EQ(frame.images[1].sequenceCounter, 1);
    EXPECT_EQ(frame.images[1].frameCounter, 1);
}

TEST(Camera, FrameCounterRunsOnThroughFramesModulo4096AndSequenceCounterStartsAnew) {
    CameraSettings settings = settingsFor("wall");
    settings.firstFrameCounter = 4093;
    Camera camera(settings);
    const Frame first = camera.nextFrame();
    const Frame second = camera.nextFrame();
    EXPECT_EQ(first.images[2].frameCounter, 4095);
    EXPECT_EQ(first.images[3].frameCounter, 0);
    EXPECT_EQ(second.images[0].frameCounter, 1);
    EXPECT_EQ(second.images[0].sequenceCounter, 0);
}

TEST(Camera, TimestampsFollowTheFrameRateAndNeverRunBack) {
    CameraSettings settings = settingsFor("wall");
    settings.frameRate = 20.0;
    Camera camera(settings);
    const Frame first = camera.nextFrame();
    const Frame second = camera.nextFrame();
    EXPECT_EQ(first.images[0].timestamp, 0U);
    EXPECT_EQ(first.images[1].timestamp, 1600U);  // one exposure and its readout
    EXPECT_EQ(second.images[0].timestamp, 50000U);

    settings.frameRate = 1000.0;  // more than the exposures allow
    Camera hurried(settings);
    hurried.nextFrame();
    EXPECT_EQ(hurried.nextFrame().images[0].timestamp, 6400U);
}

// A recording is the same on every machine and with every compiler: the hash of its bytes is a constant.
TEST(Camera, OneSeedMeansOneRecordingOnEveryMachine) {
    CameraSettings settings = settingsFor("room");
    settings.seed = 42;
    settings.exposureTimes = {250, 1000};
    settings.intensityImage = true;
    settings.ambient = 5.0;
    Camera camera(settings);
    EXPECT_EQ(hashOf(camera.nextFrame()), 10827248394605736531U);
    EXPECT_EQ(hashOf(camera.nextFrame()), 8691445783981246828U);
}

TEST(Camera, AnotherSeedMeansAnotherRecording) {
    CameraSettings settings = settingsFor("wall");
    const std::uint64_t first = hashOf(Camera(settings).nextFrame());
    settings.seed = 2;
    EXPECT_NE(hashOf(Camera(settings).nextFrame()), first);
}

TEST(Camera, WithoutNoiseFramesAreAlikeAndWithNoiseTheyDiffer) {
    CameraSettings settings = settingsFor("wall");
    Camera noisy(settings);
    EXPECT_NE(hashOf(noisy.nextFrame()), hashOf(noisy.nextFrame()));
    settings.photonNoise = false;
    Camera quiet(settings);
    EXPECT_EQ(hashOf(quiet.nextFrame()), hashOf(quiet.nextFrame()));
}

TEST(Camera, TruthHoldsEveryFrequencyAndExposure) {
    CameraSettings settings = settingsFor("hall");
    settings.exposureTimes = {200, 1000};
    settings.frequencies = {80.0e6, 60.0e6};
    Camera camera(settings);
    const Frame frame = camera.nextFrame();
    const Truth& truth = *frame.truth;
    ASSERT_EQ(truth.frequencies.size(), 2U);
    for (std::size_t f = 0; f < 2; ++f) {
        const double range = uniqueRange(settings.frequencies[f]);
        ASSERT_EQ(truth.frequencies[f].exposures.size(), 2U);
        const ExposureTruth& shorter = truth.frequencies[f].exposures[0];
        const ExposureTruth& longer = truth.frequencies[f].exposures[1];
        for (std::size_t i = 0; i < pixelCount; i += 13) {
            const int wraps = truth.frequencies[f].wraps[i];
            ASSERT_GE(truth.distance[i] - wraps * range, 0.0);
            ASSERT_LT(truth.distance[i] - wraps * range, range);
            ASSERT_NEAR(longer.rawAmplitude[i], 5.0 * shorter.rawAmplitude[i], 1e-9);
            ASSERT_LT(longer.distanceDeviation[i], shorter.distanceDeviation[i]);
            ASSERT_GT(longer.distanceDeviation[i], 0.0);
        }
    }
}

// The error of a distance found from the noisy samples with the calibration's own formula, in units of its
// predicted deviation, is standard normal: its variance is 1. The phase error is small here, so the formula
// may be linear.
TEST(Camera, PredictedDeviationIsThatOfThePhase) {
    CameraSettings settings = settingsFor("wall");
    settings.ambient = 10.0;
    Camera camera(settings);
    const Frame frame = camera.nextFrame();
    CameraSettings quietSettings = settings;
    quietSettings.photonNoise = false;
    Camera quiet(quietSettings);
    const Frame ideal = quiet.nextFrame();
    std::vector<std::vector<std::uint16_t>> noisySamples;
    std::vector<std::vector<std::uint16_t>> idealSamples;
    for (std::size_t k = 0; k < 4; ++k) {
        noisySamples.push_back(unpackRawImage(frame.images[k].phaseData));
        idealSamples.push_back(unpackRawImage(ideal.images[k].phaseData));
    }
    const auto phaseOf = [](const std::vector<std::vector<std::uint16_t>>& s, std::size_t i) {
        return std::atan2(s[1][i] - s[3][i], s[0][i] - s[2][i]);
    };
    double sum = 0.0;
    int count = 0;
    for (std::size_t i = 0; i < pixelCount; ++i) {
        if (frame.truth->badPixel[i] != 0) {
            continue;
        }
        const double error =
            std::remainder(phaseOf(noisySamples, i) - phaseOf(idealSamples, i), 6.283185307179586);
        const double metres = error * uniqueRange(60.0e6) / 6.283185307179586;
        const double deviation = frame.truth->frequencies[0].exposures[0].distanceDeviation[i];
        sum += metres * metres / (deviation * deviation);
        ++count;
    }
    // The slope of the wiggling, up to 10 percent here, is in the deviation but not in this phase error.
    EXPECT_NEAR(std::sqrt(sum / count), 1.0, 0.05);
}

TEST(Camera, BrightnessStepsScaleWhatTheSceneReturns) {
    CameraSettings settings = settingsFor("wall");
    settings.ambient = 5.0;
    Camera steady(settings);
    settings.brightnessSteps = {{1, 0.25}, {3, 1.0}};
    Camera stepping(settings);
    EXPECT_EQ(stepping.brightness(), 1.0);
    const Frame first = stepping.nextFrame();
    EXPECT_EQ(stepping.brightness(), 0.25);
    const Frame second = stepping.nextFrame();
    const Frame third = stepping.nextFrame();
    EXPECT_EQ(stepping.brightness(), 1.0);
    const Frame fourth = stepping.nextFrame();
    for (std::size_t i = 0; i < pixelCount; i += 97) {
        const double amplitude = first.truth->amplitude[i];
        EXPECT_EQ(second.truth->amplitude[i], 0.25 * amplitude);
        EXPECT_EQ(fourth.truth->amplitude[i], amplitude);
        EXPECT_EQ(second.truth->distance[i], first.truth->distance[i]);
        EXPECT_NEAR(second.truth->frequencies[0].exposures[0].rawAmplitude[i],
                    0.25 * first.truth->frequencies[0].exposures[0].rawAmplitude[i], 1e-9);
    }
    // The truth comes again with each step, and only then.
    EXPECT_NE(first.truth, second.truth);
    EXPECT_EQ(second.truth, third.truth);
    EXPECT_NE(third.truth, fourth.truth);
    // Where nothing has changed, the images are those of a camera without steps.
    EXPECT_EQ(hashOf(first), hashOf(steady.nextFrame()));
    EXPECT_NE(hashOf(second), hashOf(steady.nextFrame()));
    steady.nextFrame();
    EXPECT_EQ(hashOf(fourth), hashOf(steady.nextFrame()));
}

TEST(Camera, AFirstStepHoldsFromTheFirstFrameOn) {
    CameraSettings settings = settingsFor("wall");
    const Frame bright = Camera(settings).nextFrame();
    settings.brightnessSteps = {{0, 0.5}};
    Camera camera(settings);
    EXPECT_EQ(camera.brightness(), 0.5);
    const Frame dim = camera.nextFrame();
    EXPECT_EQ(dim.truth->amplitude[1000], 0.5 * bright.truth->amplitude[1000]);
}

TEST(Camera, NewExposureTimesHoldForTheNextFrame) {
    CameraSettings settings = settingsFor("wall");
    settings.exposureTimes = {200, 1000};
    Camera camera(settings);
    const Frame before = camera.nextFrame();
    camera.setExposureTimes({300, 1000});
    const Frame after = camera.nextFrame();
    EXPECT_EQ(after.images[0].exposureTime, 300);
    EXPECT_EQ(after.images[4].exposureTime, 1000);
    EXPECT_NE(after.truth, before.truth);
    const auto& shorter = after.truth->frequencies[0].exposures[0].rawAmplitude;
    EXPECT_NEAR(shorter[1000], 1.5 * before.truth->frequencies[0].exposures[0].rawAmplitude[1000], 1e-9);
    camera.setExposureTimes({300, 1000});
    EXPECT_EQ(camera.nextFrame().truth, after.truth);
    EXPECT_THROW(camera.setExposureTimes({300}), std::invalid_argument);
    EXPECT_THROW(camera.setExposureTimes({1000, 300}), std::invalid_argument);
    EXPECT_THROW(camera.setExposureTimes({0, 300}), std::invalid_argument);
    EXPECT_EQ(camera.nextFrame().images[0].exposureTime, 300);
}

TEST(Camera, RefusesSettingsThatNoCameraCouldFollow) {
    const std::vector<std::function<void(CameraSettings&)>> mistakes{
        [](CameraSettings& s) { s.frequencies = {}; },
        [](CameraSettings& s) {
            s.frequencies = {1e6, 2e6, 3e6};
        },
        [](CameraSettings& s) { s.frequencies = {-1.0}; },
        [](CameraSettings& s) { s.exposureTimes = {}; },
        [](CameraSettings& s) {
            s.exposureTimes = {1, 2, 3};
        },
        [](CameraSettings& s) { s.exposureTimes = {0}; },
        [](CameraSettings& s) {
            s.exposureTimes = {1000, 200};
        },
        [](CameraSettings& s) { s.exposureTimes = {1000001}; },
        [](CameraSettings& s) { s.intensityExposureTime = 0; },
        [](CameraSettings& s) { s.ambient = -1.0; },
        [](CameraSettings& s) { s.ambient = std::nan(""); },
        [](CameraSettings& s) { s.temperature = std::nan(""); },
        [](CameraSettings& s) { s.frameRate = 0.0; },
        [](CameraSettings& s) { s.scene.objects.clear(); },
        [](CameraSettings& s) {
            s.brightnessSteps = {{5, 1.0}, {5, 2.0}};
        },
        [](CameraSettings& s) {
            s.brightnessSteps = {{5, 1.0}, {4, 2.0}};
        },
        [](CameraSettings& s) {
            s.brightnessSteps = {{0, -0.1}};
        },
        [](CameraSettings& s) {
            s.brightnessSteps = {{0, 1000.1}};
        },
        [](CameraSettings& s) {
            s.brightnessSteps = {{0, std::nan("")}};
        },
    };
    for (std::size_t k = 0; k < mistakes.size(); ++k) {
        CameraSettings settings = settingsFor("wall");
        mistakes[k](settings);
        EXPECT_THROW(Camera{settings}, std::invalid_argument) << "mistake " << k;
    }
}

}  // namespace
}  // namespace simulation
