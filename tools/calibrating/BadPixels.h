// SPDX-License-Identifier: Apache-2.0
//
// Pixels that do not do what the others do.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "calibrating/NoiseFit.h"
#include "calibrating/Observations.h"

namespace calibrating {

struct BadPixel {
    std::int32_t index = 0;
    std::string reason;
    double severity = 0.0;  // the larger, the worse; of pixels with no signal at all it is the largest
};

// The worst first. `noise` has one entry for each frequency, and `squares` the PhaseFit::squares of each.
std::vector<BadPixel> findBadPixels(const std::vector<ObservedScene>& scenes,
                                    const std::vector<NoiseFit>& noise,
                                    const std::vector<std::vector<double>>& squares);

}  // namespace calibrating
