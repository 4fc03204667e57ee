// SPDX-License-Identifier: Apache-2.0
//
// What turns the phase that a pixel shows into the true one: an offset, harmonics of the shown phase, a
// pattern of the pixels, offsets of X and of Y, and the drift with the temperature.

#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "calibrating/NoiseFit.h"
#include "calibrating/Observations.h"
#include "simulation/Calibration.h"

namespace calibrating {

// What is left of the phase at one pixel of one observation: shown minus true, radians.
struct PhaseResidual {
    std::size_t scene = 0;
    std::size_t pixel = 0;
    double shown = 0.0;   // shown phase, radians
    double before = 0.0;  // with an offset alone
    double after = 0.0;
    double deviation = 0.0;  // that noise alone would leave
};

struct PhaseFit {
    simulation::FrequencyCalibration
        calibration;                       // phaseWigg, xyCorrection, FPPN, refTemperature, temperatureFactor
    std::array<double, 7> phaseErrors{};   // standard errors of the harmonics' two components, at 1, 3 and 5
    std::array<double, 2> offsetErrors{};  // of xyCorrection, counts
    double coherence = 0.0;                // of shown and true phases, 1 for all alike
    double temperatureSpread = 0.0;        // kelvin
    int temperatureFactors = 0;            // fitted; else they are those that were given
    std::size_t rows = 0;                  // pixels of observations that counted
    std::size_t outliers = 0;              // that did not
    std::vector<PhaseResidual> residuals;  // of those that counted and the outliers
    std::vector<double> squares;           // of each pixel: median square of residual over deviation
};

// `given` has the frequency, and drift that is known where the temperatures say nothing. Throws
// CalibrationError if the phases do not agree with the distances.
PhaseFit fitPhase(const std::vector<ObservedScene>& scenes, std::size_t frequency,
                  const simulation::FrequencyCalibration& given, const NoiseFit& noise);

}  // namespace calibrating
