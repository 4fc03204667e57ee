// SPDX-License-Identifier: Apache-2.0
//
// Short calls for the calibrations of the tests.

#pragma once

#include <utility>
#include <vector>

#include "simulation/Calibration.h"

namespace simulation {

inline Calibration calibrationOf(std::uint64_t seed, std::vector<double> frequencies, bool wiggling = true,
                                 bool fixedPattern = true, bool ambientDrift = false) {
    CalibrationRequest request;
    request.seed = seed;
    request.frequencies = std::move(frequencies);
    request.wiggling = wiggling;
    request.fixedPattern = fixedPattern;
    request.ambientDrift = ambientDrift;
    return makeCalibration(request);
}

}  // namespace simulation
