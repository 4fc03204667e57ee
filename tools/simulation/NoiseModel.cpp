// SPDX-License-Identifier: Apache-2.0

#include "simulation/NoiseModel.h"

#include <cmath>

#include "simulation/Elementary.h"

namespace simulation {

double varianceOfX(const SensorProperties& sensor, double electrons, bool photonNoise) {
    constexpr double rounding = 1.0 / 12.0;
    if (!photonNoise) {
        return 2.0 * rounding;
    }
    const double shot = 2.0 * sensor.countsPerElectron * sensor.countsPerElectron * electrons;
    const double excess = shot > sensor.suppressionKnee ? shot - sensor.suppressionKnee : 0.0;
    return shot + excess + 2.0 * (sensor.readNoise * sensor.readNoise + rounding);
}

double distanceDeviation(double varianceOfX, double rawAmplitude, double phaseSlope, double frequency) {
    if (!(rawAmplitude > 0.0)) {
        return 0.0;
    }
    const double metresPerRadian = uniqueRange(frequency) / (2.0 * pi);
    return std::sqrt(varianceOfX) / rawAmplitude * std::abs(phaseSlope) * metresPerRadian;
}

}  // namespace simulation
