// SPDX-License-Identifier: Apache-2.0
//
// The scenes of the golden recordings. All arithmetic is in integers, so that a scene has the same samples
// with every compiler, processor and mathematics library.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "Camera.h"

namespace golden {

enum class View {
    Room,       ///< a wall that leans away, a box before it, a far end, a dark and a dazzling patch
    Dark,       ///< nothing returns: noise around the middle level
    Saturated,  ///< so bright that most samples leave their range
    Holes,      ///< the room, with pixels and blocks that return nothing or stand at a limit
    Zeros,      ///< every sample 0
    Full,       ///< every sample 4095
    AnyBytes,   ///< any samples, the line without image data included
};

/** Unique ranges of the first two frequencies, in micrometres. */
using Ranges = std::array<std::int64_t, 2>;

inline constexpr Ranges kUsualRanges = {2497539, 1873154};  ///< of 60 and 80 MHz, the frequencies of Camera.h

/** `variant` moves the room and selects the noise. */
host_testing::Scene sceneOf(View view, std::uint32_t variant = 0, const Ranges& ranges = kUsualRanges);

/** A calibration in which every member has an effect. `seed` selects the camera. */
std::unique_ptr<QorDistanceImageIFCalib> fullCalibration(std::uint32_t seed);

/** Frequencies that the compensation of ambient light knows, and that two-frequency measurements can use. */
inline constexpr float kDriftFrequencies[] = {47.6e6F, 57.12e6F};
inline constexpr Ranges kDriftRanges = {3148158, 2623465};

void useDriftFrequencies(QorDistanceImageIFCalib& calib);

}  // namespace golden
