// SPDX-License-Identifier: Apache-2.0
//
// The noise of samples: variance of X and of Y = read + shot * amplitude.

#pragma once

#include <vector>

#include "calibrating/Observations.h"

namespace calibrating {

struct NoiseBin {
    double amplitude = 0.0;  // mean, counts
    double variance = 0.0;   // mean, counts^2
};

struct NoiseFit {
    double read = 15.0;  // counts^2; of a usual sensor, where nothing was measured
    double shot = 0.05;  // counts
    bool isMeasured = false;
    std::vector<NoiseBin> bins;  // by rising amplitude

    double varianceAt(double amplitude) const { return read + shot * amplitude; }

    // Standard deviation of one sample without light, counts, with the rounding to whole counts.
    double readNoise() const;
};

// From the observations of one frequency with several frames.
NoiseFit fitNoise(const std::vector<ObservedScene>& scenes, std::size_t frequency);

}  // namespace calibrating
