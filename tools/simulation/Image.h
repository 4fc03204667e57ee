// SPDX-License-Identifier: Apache-2.0
//
// The size of the simulated imager. Pixel index = row * imageWidth + column, top row first.

#pragma once

#include <cstddef>

namespace simulation {

inline constexpr int imageWidth = 224;
inline constexpr int imageHeight = 172;
inline constexpr std::size_t pixelCount = static_cast<std::size_t>(imageWidth) * imageHeight;

}  // namespace simulation
