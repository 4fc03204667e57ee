// SPDX-License-Identifier: Apache-2.0
//
// Cameras with values of their own in every member.

#pragma once

#include <cstdint>
#include <random>

#include "calibrating/CameraDescription.h"
#include "calibrating/NeutralCalibration.h"
#include "simulation/Image.h"

namespace cameras {

// Two frequencies in use, one unused, all values as a camera may have them, with all their bits.
inline calibrating::CameraDescription filled(std::uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> around(-0.01F, 0.01F);
    const auto fill = [&](auto& values) {
        for (auto& value : values) {
            value = around(random);
        }
    };
    simulation::CalibrationRequest request;
    request.seed = seed;
    request.frequencies = {60.0e6, 80.0e6, 20.0e6};
    calibrating::CameraDescription camera;
    camera.calibration = simulation::makeCalibration(request);
    camera.unusedFrequencies.push_back(camera.calibration.frequencies.back());
    camera.calibration.frequencies.pop_back();
    camera.calibration.frequencyHoppingTable = calibrating::hoppingTable(2);
    camera.unusedBadPixelIdx = {7, -1};
    fill(camera.internalTransRot);
    for (simulation::FrequencyCalibration& frequency : camera.calibration.frequencies) {
        fill(frequency.xyCorrection);
        fill(frequency.temperatureFactor);
        fill(frequency.noiseParameter);
        fill(frequency.FPPN);
        frequency.FPPN[5] = -0.0F;
        frequency.FPPN[6] = 1.0e-42F;  // below the normal numbers
    }
    for (float& component : camera.calibration.unitVectors) {
        component += 1.0e-4F * around(random);
    }
    camera.calibration.minDiff = -1;
    camera.mid = 2047.25;
    camera.maxUniqueRange = 7.25F;
    camera.straylight = {true, 0.05F, 0.3F};
    return camera;
}

}  // namespace cameras
