// SPDX-License-Identifier: Apache-2.0
//
// The images of a finished frame that figures are taken from, and the pixels that they look at. Images lie
// row by row; they belong to the caller.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace figures {

struct Frame {
    std::span<const float> distance;   // metres, 0 where invalid
    std::span<const float> amplitude;  // counts per microsecond
    std::span<const std::uint8_t> confidence;
    std::span<const float> noise = {};  // standard deviation of the distance, metres; empty if not estimated
    // Unit vectors of the pixels, x, y, z of one after the other; a distance lies along its ray. Empty if
    // unknown.
    std::span<const float> rays = {};
};

// Which pixels a figure looks at: 1 for each that belongs. An empty mask holds all.
using Mask = std::vector<std::uint8_t>;

inline bool holds(const Mask& mask, std::size_t pixel) {
    return mask.empty() || mask[pixel] != 0;
}

}  // namespace figures
