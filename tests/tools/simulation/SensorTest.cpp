// SPDX-License-Identifier: Apache-2.0

#include "simulation/Sensor.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "simulation/Elementary.h"
#include "simulation/Image.h"
#include "simulation/NoiseModel.h"
#include "simulation/PhaseResponse.h"
#include "simulation/Truth.h"

#include "tools/simulation/CalibrationOf.h"

namespace simulation {
namespace {

constexpr std::uint64_t seed = 11;

using Phases = std::array<std::vector<std::uint16_t>, 4>;

Phases samplePhases(const Sensor& sensor, const PhaseSignal& signal, std::uint32_t firstImage = 0) {
    Phases phases;
    for (int k = 0; k < 4; ++k) {
        phases[static_cast<std::size_t>(k)] =
            sensor.samplePhase(signal, k, firstImage + static_cast<std::uint32_t>(k));
    }
    return phases;
}

ReturnedLight evenLight(double distance, double amplitude, double ambient) {
    return {std::vector<double>(pixelCount, distance), std::vector<double>(pixelCount, amplitude),
            std::vector<double>(pixelCount, ambient)};
}

bool isHealthy(const Calibration& calibration, std::size_t pixel) {
    for (const std::int32_t bad : calibration.badPixelIdx) {
        if (static_cast<std::size_t>(bad) == pixel) {
            return false;
        }
    }
    return true;
}

// Without wiggling, pattern and drift a quarter of the unique range is a quarter turn: all of the amplitude
// in Y.
TEST(Sensor, AQuarterOfTheUniqueRangeTurnsThePhaseByNinetyDegrees) {
    const Calibration calibration = calibrationOf(1, {60.0e6}, false, false);
    const Sensor sensor(calibration, seed, false);
    const double gain = static_cast<double>(calibration.vignetting[0]);
    const PhaseSignal signal = sensor.expose(evenLight(uniqueRange(60.0e6) / 4.0, 1.5, 0.0), 0, 1000.0, 40.0);
    EXPECT_NEAR(signal.inPhase[0], 0.0, 1e-9);
    EXPECT_NEAR(signal.quadrature[0], 1500.0 / gain, 1e-9);
    EXPECT_NEAR(signal.rawAmplitude[0], 1500.0 / gain, 1e-9);
}

TEST(Sensor, DistancesOneUniqueRangeApartLookTheSame) {
    const Calibration calibration = calibrationOf(1, {60.0e6});
    const Sensor sensor(calibration, seed, false);
    const PhaseSignal near = sensor.expose(evenLight(0.7, 1.5, 0.0), 0, 1000.0, 45.0);
    const PhaseSignal far =
        sensor.expose(evenLight(0.7 + 2.0 * uniqueRange(60.0e6), 1.5, 0.0), 0, 1000.0, 45.0);
    for (std::size_t i = 0; i < pixelCount; i += 101) {
        EXPECT_NEAR(near.inPhase[i], far.inPhase[i], 1e-8);
        EXPECT_NEAR(near.quadrature[i], far.quadrature[i], 1e-8);
    }
}

// What the calibration says to do with X and Y leads back to the phase of the distance and to the amplitude.
TEST(Sensor, TheCalibrationLeadsBackToDistanceAndAmplitude) {
    const Calibration calibration = calibrationOf(3, {60.0e6, 80.0e6});
    const Sensor sensor(calibration, seed, false);
    const double rise = 7.0;
    for (std::size_t f = 0; f < 2; ++f) {
        const FrequencyCalibration& c = calibration.frequencies[f];
        const double hertz = static_cast<double>(c.frequency);
        const PhaseResponse response(c.phaseWigg, c.ampWigg);
        const auto t = [&c](std::size_t k) { return static_cast<double>(c.temperatureFactor[k]); };
        const double drift = t(0) * rise + t(1) * rise * rise + t(2) * rise * rise * rise;
        for (double distance = 0.1; distance < 1.8; distance += 0.17) {
            const PhaseSignal signal = sensor.expose(evenLight(distance, 1.2, 5.0), f, 800.0, 40.0 + rise);
            for (std::size_t i = 0; i < pixelCount; i += 997) {
                const double shown = std::atan2(signal.quadrature[i], signal.inPhase[i]);
                const double phase = response.truePhase(shown) - static_cast<double>(c.FPPN[i]) - drift;
                const double expected = 2.0 * pi * distance / uniqueRange(hertz);
                ASSERT_NEAR(std::remainder(phase - expected, 2.0 * pi), 0.0, 1e-11);
                const double raw = std::hypot(signal.inPhase[i], signal.quadrature[i]);
                ASSERT_NEAR(raw * response.amplitudeFactor(shown) / 800.0 *
                                static_cast<double>(calibration.vignetting[i]),
                            1.2, 1e-11);
            }
        }
    }
}

TEST(Sensor, SamplesWithoutNoiseDifferByXAndYToTheRounding) {
    const Calibration calibration = makeCalibration({});
    const Sensor sensor(calibration, seed, false);
    const PhaseSignal signal = sensor.expose(evenLight(1.3, 1.5, 3.0), 0, 1000.0, 42.0);
    const Phases phases = samplePhases(sensor, signal);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        if (!isHealthy(calibration, i)) {
            continue;
        }
        const int x = phases[0][i] - phases[2][i];
        const int y = phases[1][i] - phases[3][i];
        ASSERT_NEAR(x, signal.inPhase[i] + static_cast<double>(calibration.frequencies[0].xyCorrection[0]),
                    1.0);
        ASSERT_NEAR(y, signal.quadrature[i] + static_cast<double>(calibration.frequencies[0].xyCorrection[1]),
                    1.0);
    }
}

TEST(Sensor, OppositePhasesAddUpToTwiceTheDarkLevel) {
    const Calibration calibration = makeCalibration({});
    const Sensor sensor(calibration, seed, false);
    const Phases phases = samplePhases(sensor, sensor.expose(evenLight(1.3, 1.5, 3.0), 0, 1000.0, 42.0));
    for (std::size_t i = 0; i < pixelCount; ++i) {
        if (isHealthy(calibration, i)) {
            ASSERT_NEAR(phases[0][i] + phases[2][i], 2 * calibration.FPN[i], 1);
            ASSERT_NEAR(phases[1][i] + phases[3][i], 2 * calibration.FPN[i], 1);
        }
    }
}

TEST(Sensor, AmbientLightCancelsInThePhases) {
    const Calibration calibration = makeCalibration({});
    const Sensor sensor(calibration, seed, false);
    const Phases dark = samplePhases(sensor, sensor.expose(evenLight(1.3, 1.5, 0.0), 0, 1000.0, 42.0));
    const Phases bright = samplePhases(sensor, sensor.expose(evenLight(1.3, 1.5, 20.0), 0, 1000.0, 42.0));
    EXPECT_EQ(dark, bright);
}

TEST(Sensor, TooMuchLightClipsAtTheEndsOfTheConverter) {
    const Calibration calibration = calibrationOf(1, {60.0e6}, false, false);
    const Sensor sensor(calibration, seed, false);
    // A sixteenth turn with twice the amplitude that the converter holds: both X samples at their ends.
    const Phases phases =
        samplePhases(sensor, sensor.expose(evenLight(uniqueRange(60.0e6) / 16.0, 8.0, 0.0), 0, 1000.0, 40.0));
    const std::size_t centre = 86 * 224 + 111;
    EXPECT_EQ(phases[0][centre], 4095);
    EXPECT_EQ(phases[2][centre], 0);
}

TEST(Sensor, ATapThatOverflowsByAmbientLightDrivesTheSampleToItsLimit) {
    Calibration calibration = calibrationOf(1, {60.0e6}, false, false);
    const Sensor sensor(calibration, seed, false);
    const double overflow = 2.0 * calibration.sensor.tapCapacity / 1000.0;
    const Phases phases = samplePhases(
        sensor, sensor.expose(evenLight(uniqueRange(60.0e6) / 16.0, 1.0, overflow), 0, 1000.0, 40.0));
    const std::size_t centre = 86 * 224 + 111;
    EXPECT_EQ(phases[0][centre], 4095);
    EXPECT_EQ(phases[2][centre], 0);
}

TEST(Sensor, NothingReturnedLeavesTheDarkLevelAndTheOffsets) {
    const Calibration calibration = calibrationOf(1, {60.0e6}, true, false);
    const Sensor sensor(calibration, seed, false);
    const Phases phases = samplePhases(sensor, sensor.expose(evenLight(0.0, 0.0, 0.0), 0, 1000.0, 40.0));
    for (const auto& phase : phases) {
        EXPECT_EQ(phase, std::vector<std::uint16_t>(pixelCount, 2048));
    }
}

TEST(Sensor, DefectsAreStuckLowStuckHighAndHotInTurn) {
    const Calibration calibration = makeCalibration({});
    const Sensor sensor(calibration, seed, false);
    const Phases phases = samplePhases(sensor, sensor.expose(evenLight(1.3, 0.5, 0.0), 0, 1000.0, 42.0));
    const auto low = static_cast<std::size_t>(calibration.badPixelIdx[0]);
    const auto high = static_cast<std::size_t>(calibration.badPixelIdx[1]);
    const auto hot = static_cast<std::size_t>(calibration.badPixelIdx[2]);
    for (const auto& phase : phases) {
        EXPECT_EQ(phase[low], 0);
        EXPECT_EQ(phase[high], 4095);
    }
    // The dark current adds 40 electrons per microsecond to one tap, 1240 counts, to both samples of each
    // pair.
    EXPECT_NEAR(phases[0][hot] + phases[2][hot], 2 * calibration.FPN[hot] + 2480, 1);
}

// Intensity images show ambient light above the dark level: 0.031 * 0.8 counts for each electron.
TEST(Sensor, IntensityImageShowsTheAmbientLightAboveTheDarkLevel) {
    const Calibration calibration = makeCalibration({});
    const Sensor sensor(calibration, seed, false);
    const auto samples = sensor.sampleIntensity(evenLight(1.3, 1.5, 100.0), 200.0, 0);
    for (std::size_t i = 0; i < pixelCount; i += 7) {
        if (isHealthy(calibration, i)) {
            ASSERT_NEAR(samples[i], calibration.FPN[i] + 0.0248 * 20000.0, 0.51);
        }
    }
}

// 0.0036295 counts of X and Y for each count that an intensity image of the same exposure would show.
TEST(Sensor, AmbientDriftShiftsXAndYWithTheAmbientLight) {
    const Calibration calibration = calibrationOf(1, {47987700.0}, true, false, true);
    const Sensor sensor(calibration, seed, false);
    const PhaseSignal signal = sensor.expose(evenLight(1.3, 1.5, 50.0), 0, 1000.0, 40.0);
    const double intensity = 0.0248 * 50.0 * 1000.0;
    EXPECT_NEAR(signal.offsetX[0], 0.0036295 * std::cos(0.3512) * intensity, 1e-6);
    EXPECT_NEAR(signal.offsetY[0], 0.0036295 * std::sin(0.3512) * intensity, 1e-6);
}

TEST(Sensor, NoiseDependsOnSeedImageAndPixelAlone) {
    const Calibration calibration = makeCalibration({});
    const PhaseSignal signal = Sensor(calibration, 1, true).expose(evenLight(1.3, 1.5, 3.0), 0, 1000.0, 42.0);
    const auto first = Sensor(calibration, 1, true).samplePhase(signal, 0, 5);
    EXPECT_EQ(first, Sensor(calibration, 1, true).samplePhase(signal, 0, 5));
    EXPECT_NE(first, Sensor(calibration, 1, true).samplePhase(signal, 0, 6));
    EXPECT_NE(first, Sensor(calibration, 2, true).samplePhase(signal, 0, 5));
}

struct NoiseCase {
    double amplitude;
    double ambient;
};
class SensorNoise : public testing::TestWithParam<NoiseCase> {};

// Variance of X and of Y over all pixels of one image, against the model. The standard error of a variance
// from 38528 values is 0.7 percent. A knee at 60 counts^2 brings the excess noise into the cases.
TEST_P(SensorNoise, OfXAndYHasTheVarianceOfTheModel) {
    CalibrationRequest request;
    request.wiggling = false;
    request.fixedPattern = false;
    request.sensor.suppressionKnee = 60.0;
    Calibration calibration = makeCalibration(request);
    calibration.vignetting.assign(pixelCount, 1.0F);
    const Sensor sensor(calibration, seed, true);
    const PhaseSignal signal =
        sensor.expose(evenLight(0.4, GetParam().amplitude, GetParam().ambient), 0, 1000.0, 40.0);
    const Phases phases = samplePhases(sensor, signal);
    double varianceX = 0.0;
    double varianceY = 0.0;
    double meanX = 0.0;
    for (std::size_t i = 0; i < pixelCount; ++i) {
        const double x = phases[0][i] - phases[2][i] - signal.inPhase[i];
        const double y = phases[1][i] - phases[3][i] - signal.quadrature[i];
        meanX += x / static_cast<double>(pixelCount);
        varianceX += x * x / static_cast<double>(pixelCount);
        varianceY += y * y / static_cast<double>(pixelCount);
    }
    const double expected = varianceOfX(calibration.sensor, signal.electrons[0], true);
    EXPECT_NEAR(meanX, 0.0, 4.0 * std::sqrt(expected / static_cast<double>(pixelCount)));
    EXPECT_NEAR(varianceX / expected, 1.0, 0.03);
    EXPECT_NEAR(varianceY / expected, 1.0, 0.03);
}

INSTANTIATE_TEST_SUITE_P(Light, SensorNoise,
                         testing::Values(NoiseCase{0.02, 0.0}, NoiseCase{0.3, 0.0}, NoiseCase{3.0, 0.0},
                                         NoiseCase{0.5, 60.0}, NoiseCase{2.0, 20.0}));

}  // namespace
}  // namespace simulation
