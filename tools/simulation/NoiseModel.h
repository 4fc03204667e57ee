// SPDX-License-Identifier: Apache-2.0
//
// How uncertain a measurement of the simulated sensor is. docs/simulated-camera.md has the derivation.

#pragma once

#include "simulation/Calibration.h"

namespace simulation {

// Variance of X, and of Y, in counts^2: `electrons` is the charge that both taps collect for one sample.
// Without photon noise only the rounding to whole counts remains.
double varianceOfX(const SensorProperties& sensor, double electrons, bool photonNoise);

// Standard deviation of a distance, metres: `rawAmplitude` is the length of the phasor (X, Y) in counts,
// `phaseSlope` the change of the true phase with the shown one. Amplitude 0 (nothing returned) gives 0.
double distanceDeviation(double varianceOfX, double rawAmplitude, double phaseSlope, double frequency);

}  // namespace simulation
