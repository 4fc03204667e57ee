// SPDX-License-Identifier: Apache-2.0
//
// The harmonics of the amplitude. The light of a wall falls with the square of the distance; what is left
// between the observations of a pixel depends on the shown phase.

#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "calibrating/NoiseFit.h"
#include "calibrating/Observations.h"
#include "simulation/Calibration.h"

namespace calibrating {

// What is left of the logarithm of the amplitude at one pixel of one observation.
struct AmplitudeResidual {
    double shown = 0.0;  // shown phase, radians
    double before = 0.0;
    double after = 0.0;
};

struct AmplitudeFit {
    std::array<float, 5> ampWigg{1.0F, 0.0F, 0.0F, 0.0F, 0.0F};
    std::array<double, 5> errors{};  // standard errors of the two components, at 1 and 3
    bool isMeasured = false;  // else the scenes are no wall of one brightness, and there are no harmonics
    std::vector<AmplitudeResidual> residuals;
};

// With the offsets of X and Y, and the gain, that `calibration` has.
AmplitudeFit fitAmplitude(const std::vector<ObservedScene>& scenes, std::size_t frequency,
                          const simulation::FrequencyCalibration& calibration, const NoiseFit& noise);

}  // namespace calibrating
