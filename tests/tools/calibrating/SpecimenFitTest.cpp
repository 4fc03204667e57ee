// SPDX-License-Identifier: Apache-2.0
//
// One specimen of the simulated camera before walls, calibrated from its raw phases alone.

#include "calibrating/SpecimenFit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>

#include "calibrating/CalibrationError.h"
#include "calibrating/CalibrationRecord.h"
#include "calibrating/NeutralCalibration.h"
#include "calibrating/ResidualPage.h"
#include "recording/CameraRecords.h"
#include "recording/RecordingWriter.h"
#include "simulation/Camera.h"
#include "simulation/PhaseResponse.h"
#include "tools/TestFolder.h"

namespace calibrating {
namespace {

constexpr std::uint64_t specimenSeed = 11;

simulation::CameraSettings settingsOf(double wall, std::uint64_t noise) {
    simulation::CameraSettings settings;
    settings.scene = simulation::wallAt(wall);
    settings.seed = specimenSeed;
    settings.noiseSeed = noise;
    settings.exposureTimes = {500};
    return settings;
}

// The camera of a recording that knows nothing but lens, limits and light of the specimen.
CameraDescription neutralCameraOf(const simulation::Calibration& specimen) {
    CameraDescription camera;
    std::vector<double> frequencies;
    for (const simulation::FrequencyCalibration& frequency : specimen.frequencies) {
        frequencies.push_back(static_cast<double>(frequency.frequency));
    }
    camera.calibration =
        neutralCalibration({frequencies, std::vector<double>(frequencies.size(), 0.0), specimen.lens});
    camera.calibration.unitVectors = specimen.unitVectors;
    camera.calibration.minDiff = specimen.minDiff;
    camera.calibration.maxDiff = specimen.maxDiff;
    camera.calibration.vignetting = specimen.vignetting;
    return camera;
}

// Writes a recording with a neutral calibration and without truth, and gives the specimen's own calibration.
simulation::Calibration record(const std::filesystem::path& path, const simulation::CameraSettings& settings,
                               int frames) {
    simulation::Camera camera(settings);
    recording::RecordingWriter writer(path);
    writer.write(packetOf(neutralCameraOf(camera.calibration())));
    recording::ImagePackets packets(camera.calibration(), {});
    for (int k = 0; k < frames; ++k) {
        for (const simulation::RawImage& image : camera.nextFrame().images) {
            writer.write(packets.packetOf(image));
        }
    }
    writer.finish();
    return camera.calibration();
}

class Walls : public testing::Test {
 protected:
    // Recordings of one specimen, each at its distance.
    void recordWalls(const std::vector<double>& distances, int frames,
                     const std::function<void(std::size_t, simulation::CameraSettings&)>& change = {}) {
        for (std::size_t k = 0; k < distances.size(); ++k) {
            simulation::CameraSettings settings = settingsOf(distances[k], 100 + k);
            if (change) {
                change(k, settings);
            }
            const std::filesystem::path path = folder_.path() / (std::to_string(k) + ".zelta");
            specimen_ = record(path, settings, frames);
            request_.scenes.push_back({path, distances[k], std::nullopt, 1.0});
        }
    }

    TestFolder folder_;
    SpecimenRequest request_;
    simulation::Calibration specimen_;
};

// The largest difference of the corrections over a turn, without their means, radians.
double wigglingDifference(const simulation::FrequencyCalibration& a,
                          const simulation::FrequencyCalibration& b) {
    const simulation::PhaseResponse one(a.phaseWigg, a.ampWigg);
    const simulation::PhaseResponse other(b.phaseWigg, b.ampWigg);
    double largest = 0.0;
    const double offset = static_cast<double>(b.phaseWigg[0] - a.phaseWigg[0]);
    for (int degree = 0; degree < 360; ++degree) {
        const double shown = degree * simulation::pi / 180.0;
        largest = std::max(largest, std::abs(one.truePhase(shown) - other.truePhase(shown) - offset));
    }
    return largest;
}

const std::vector<double> twelveDistances{0.5,  0.68, 0.85, 1.02, 1.19, 1.36,
                                          1.53, 1.7,  1.87, 2.04, 2.21, 2.4};

TEST_F(Walls, TheCalibrationOfTheSpecimenComesBack) {
    recordWalls(twelveDistances, 4);
    const Specimen fitted = calibrate(request_);
    const simulation::FrequencyCalibration& truth = specimen_.frequencies[0];
    const simulation::FrequencyCalibration& found = fitted.camera.calibration.frequencies[0];
    EXPECT_LT(wigglingDifference(truth, found), 5.0e-4);  // 0.2 mm at 60 MHz
    EXPECT_NEAR(found.xyCorrection[0], truth.xyCorrection[0], 0.05F);
    EXPECT_NEAR(found.xyCorrection[1], truth.xyCorrection[1], 0.05F);
    EXPECT_NEAR(found.ampWigg[1], truth.ampWigg[1] / truth.ampWigg[0],
                2.0e-4F);  // the gain of the neutral camera is 1
    EXPECT_NEAR(found.ampWigg[3], truth.ampWigg[3] / truth.ampWigg[0], 2.0e-4F);
    // Read noise and the rounding to whole counts.
    const double readNoise = std::sqrt(specimen_.sensor.readNoise * specimen_.sensor.readNoise + 1.0 / 12.0);
    EXPECT_NEAR(fitted.frequencies[0].noise.readNoise(), readNoise, 0.05);
    // The phase of each pixel at distance 0, with the drift at the temperature of the recordings, 42.5
    // degrees.
    const double drift = 2.1e-3 * 2.5 - 1.2e-5 * 2.5 * 2.5 + 1.5e-7 * 2.5 * 2.5 * 2.5;
    EXPECT_EQ(found.refTemperature, 42.5F);
    std::vector<double> differences;
    for (std::size_t i = 0; i < truth.FPPN.size(); ++i) {
        differences.push_back(std::abs(static_cast<double>(found.phaseWigg[0] + found.FPPN[i]) -
                                       static_cast<double>(truth.phaseWigg[0] + truth.FPPN[i]) - drift));
    }
    std::ranges::sort(differences);
    EXPECT_LT(differences[differences.size() / 2], 2.0e-3);
    EXPECT_LT(differences[differences.size() * 99 / 100], 8.0e-3);
    // Bad pixels, and no others.
    std::vector<std::int32_t> bad = fitted.camera.calibration.badPixelIdx;
    std::vector<std::int32_t> known = specimen_.badPixelIdx;
    std::ranges::sort(bad);
    std::ranges::sort(known);
    EXPECT_EQ(bad, known);
    // The residuals become what noise leaves.
    EXPECT_GT(fitted.frequencies[0].before.median, 3.0 * fitted.frequencies[0].after.median);
    const std::string page = residualPage(fitted);
    EXPECT_NE(page.find("<svg"), std::string::npos);
    EXPECT_EQ(page.find("<script"), std::string::npos);
    EXPECT_EQ(page.find("nan"), std::string::npos);
}

TEST_F(Walls, TheDriftWithTheTemperatureIsFitted) {
    const std::vector<double> distances{0.7, 1.5, 2.1, 1.0, 1.8, 1.25};
    recordWalls(distances, 2, [](std::size_t k, simulation::CameraSettings& settings) {
        settings.temperature = 30.0 + 5.0 * static_cast<double>(k);
    });
    const Specimen fitted = calibrate(request_);
    EXPECT_EQ(fitted.frequencies[0].phase.temperatureFactors, 3);
    // Between two temperatures the drift is that of the specimen.
    const auto driftOf = [](const simulation::FrequencyCalibration& calibration, double temperature) {
        const double warming = temperature - static_cast<double>(calibration.refTemperature);
        const auto& factor = calibration.temperatureFactor;
        return (static_cast<double>(factor[0]) +
                (static_cast<double>(factor[1]) + static_cast<double>(factor[2]) * warming) * warming) *
               warming;
    };
    const simulation::FrequencyCalibration& found = fitted.camera.calibration.frequencies[0];
    const simulation::FrequencyCalibration& truth = specimen_.frequencies[0];
    EXPECT_NEAR(driftOf(found, 55.0) - driftOf(found, 30.0), driftOf(truth, 55.0) - driftOf(truth, 30.0),
                1.0e-3);
}

TEST_F(Walls, DistancesThatDoNotAgreeAreTold) {
    recordWalls({0.8, 1.4, 1.9}, 1);
    // Off by 0, a third and two thirds of the unique range: these phases have no direction in common.
    request_.scenes[1].wall = 2.23;
    request_.scenes[2].wall = 3.57;
    try {
        calibrate(request_);
        ADD_FAILURE();
    } catch (const CalibrationError& error) {
        EXPECT_NE(std::string(error.what()).find("the phases do not agree with the distances"),
                  std::string::npos)
            << error.what();
    }
}

TEST_F(Walls, WhatOneDistanceDoesNotTellIsSaid) {
    recordWalls({1.2}, 1);
    const Specimen fitted = calibrate(request_);
    const auto isSaid = [&](const char* text) {
        return std::ranges::any_of(
            fitted.findings, [&](const std::string& one) { return one.find(text) != std::string::npos; });
    };
    EXPECT_TRUE(isSaid("% of a turn of the phase"));
    EXPECT_TRUE(isSaid("the drift is not known"));
    EXPECT_TRUE(isSaid("the noise is not known"));
    EXPECT_EQ(residualPage(fitted).find("nan"), std::string::npos);
}

TEST_F(Walls, ARecordingWithoutDistancesIsRefused) {
    recordWalls({1.2}, 1);
    request_.scenes[0].wall.reset();
    EXPECT_THROW(calibrate(request_), CalibrationError);
}

}  // namespace
}  // namespace calibrating
