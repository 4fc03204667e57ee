// SPDX-License-Identifier: Apache-2.0
//
// All that a file can say about a camera: the content of its calibration record, bit for bit, and how its
// images are to be taken in.

#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "simulation/Calibration.h"

namespace calibrating {

// What a recording of this camera asks the pipeline for.
struct StraylightSettings {
    bool enable = false;
    float distanceThreshold = 0.0F;   // metres; 0: none
    float amplitudeThreshold = 0.0F;  // share of the amplitude; 0: none
};

inline constexpr double middleOfSamples = 2048.0;

struct CameraDescription {
    simulation::Calibration calibration;  // its frequencies and bad pixels are those in use
    std::vector<simulation::FrequencyCalibration> unusedFrequencies;  // in the slots after them
    std::vector<std::int32_t> unusedBadPixelIdx;                      // in the places after them
    std::array<float, 6> internalTransRot{};  // transX, transY, transZ in metres, rotX, rotY, rotZ in radians
    double mid = middleOfSamples;             // sample without modulated light, of images to be imported
    float maxUniqueRange = -1.0F;             // metres; -1: all that the frequencies can tell
    StraylightSettings straylight;
};

}  // namespace calibrating
