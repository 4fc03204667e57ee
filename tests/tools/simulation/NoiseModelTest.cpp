// SPDX-License-Identifier: Apache-2.0

#include "simulation/NoiseModel.h"

#include <gtest/gtest.h>

#include <cmath>

#include "simulation/Elementary.h"

namespace simulation {
namespace {

SensorProperties sensorWith(double gain, double readNoise, double knee) {
    SensorProperties sensor;
    sensor.countsPerElectron = gain;
    sensor.readNoise = readNoise;
    sensor.suppressionKnee = knee;
    return sensor;
}

TEST(VarianceOfX, WithoutPhotonNoiseIsTheRoundingOfTwoSamples) {
    EXPECT_DOUBLE_EQ(varianceOfX(SensorProperties{}, 12345.0, false), 1.0 / 6.0);
}

// Two samples, each 0.1^2 * 1000 of shot noise, 2^2 of read noise and 1/12 of rounding.
TEST(VarianceOfX, AddsShotReadAndRoundingNoiseOfTwoSamples) {
    EXPECT_NEAR(varianceOfX(sensorWith(0.1, 2.0, 1e9), 1000.0, true), 2.0 * (10.0 + 4.0 + 1.0 / 12.0), 1e-12);
}

// Shot variance 20 with the knee at 15: five more.
TEST(VarianceOfX, ShotNoiseAboveTheKneeCountsTwice) {
    const double below = varianceOfX(sensorWith(0.1, 0.0, 1e9), 1000.0, true);
    EXPECT_NEAR(varianceOfX(sensorWith(0.1, 0.0, 15.0), 1000.0, true), below + 5.0, 1e-12);
}

// 5 counts of noise on 1000 counts are 5 mrad; times 0.9 and the unique range over 2 pi.
TEST(DistanceDeviation, IsTheAngleOfTheNoiseTimesMetresPerRadian) {
    EXPECT_NEAR(distanceDeviation(25.0, 1000.0, 0.9, 60.0e6), 0.0045 * uniqueRange(60.0e6) / (2.0 * pi),
                1e-15);
}

TEST(DistanceDeviation, OfNoReturnIsZero) {
    EXPECT_EQ(distanceDeviation(25.0, 0.0, 1.0, 60.0e6), 0.0);
}

// The parameters that the calibration carries describe the same noise: for an amplitude a in counts the
// variance of X is p0 a + p1 below the knee.
TEST(NoiseParameters, OfTheCalibrationDescribeTheSensor) {
    const Calibration calibration = makeCalibration({});
    const SensorProperties& sensor = calibration.sensor;
    const auto& p = calibration.frequencies[0].noiseParameter;
    const double amplitude = 1000.0;
    const double electrons = amplitude / (2.0 * sensor.countsPerElectron * sensor.demodulationContrast);
    EXPECT_NEAR(varianceOfX(sensor, electrons, true),
                static_cast<double>(p[0]) * amplitude + static_cast<double>(p[1]), 1e-5);
}

}  // namespace
}  // namespace simulation
