// SPDX-License-Identifier: Apache-2.0
//
// The calibration of a camera of which nothing is known but its frequencies and where its pixels look: every
// correction leaves the values as they are.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "simulation/Calibration.h"

namespace calibrating {

// Samples at these limits of the converter say only that it was overdriven.
inline constexpr std::int16_t leastGoodSample = 1;
inline constexpr std::int16_t mostGoodSample = 4094;

// Degrees over the width of the pictures, where nothing is known of the lens.
inline constexpr double usualFieldOfView = 70.0;

// A lens without distortion that sees this angle, in degrees, over the width of pictures of this size.
simulation::Lens lensOf(double fieldOfView, double width, double height);

// The rays of a lens as a calibration holds them: x, y, z of each pixel.
std::vector<float> unitVectorsOf(const simulation::Lens& lens);

// Every frequency is followed by the next, the last by the first.
std::vector<simulation::HoppingEntry> hoppingTable(std::size_t frequencyCount);

struct NeutralRequest {
    std::vector<double> frequencies;   // Hz, one or two
    std::vector<double> phaseOffsets;  // radians at distance 0, one for each frequency
    simulation::Lens lens;             // of the 224 x 172 pixels
};

simulation::Calibration neutralCalibration(const NeutralRequest& request);

}  // namespace calibrating
