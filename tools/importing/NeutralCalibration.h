// SPDX-License-Identifier: Apache-2.0
//
// The calibration of a camera of which nothing is known but its frequencies and where its pixels look: every
// correction leaves the values as they are.

#pragma once

#include <vector>

#include "simulation/Calibration.h"

namespace importing {

struct NeutralRequest {
    std::vector<double> frequencies;   // Hz, one or two
    std::vector<double> phaseOffsets;  // radians at distance 0, one for each frequency
    simulation::Lens lens;             // of the 224 x 172 pixels
};

simulation::Calibration neutralCalibration(const NeutralRequest& request);

}  // namespace importing
