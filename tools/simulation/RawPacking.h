// SPDX-License-Identifier: Apache-2.0
//
// The raw image as the imager delivers it: a line without image data, then 172 lines of 336 bytes. Two
// neighbouring samples of 12 bits share three bytes: the upper eight bits of each, then a byte with the lower
// four bits of the even sample in its low nibble and those of the odd sample in its high nibble.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "simulation/Image.h"

namespace simulation {

inline constexpr std::size_t rawLineBytes = static_cast<std::size_t>(imageWidth) / 2 * 3;
inline constexpr std::size_t rawImageBytes = rawLineBytes * (imageHeight + 1);
static_assert(rawImageBytes == 58128);

// `samples` holds pixelCount values from 0 to 4095. The line without image data is zero.
// Throws std::invalid_argument for another count or a larger value.
std::vector<std::uint8_t> packRawImage(std::span<const std::uint16_t> samples);

// The way back. Throws std::invalid_argument if `bytes` is not a whole raw image.
std::vector<std::uint16_t> unpackRawImage(std::span<const std::uint8_t> bytes);

}  // namespace simulation
