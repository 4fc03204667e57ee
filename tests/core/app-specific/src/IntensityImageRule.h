// SPDX-License-Identifier: Apache-2.0
//
// The plain statement of the intensity image's per-pixel rule: what the kernel must equal.
#pragma once

#include <cstdint>

namespace rule {

/** See IntensityImg_SubtractDarkLevel. */
void subtractDarkLevel(const uint8_t* samples, uint16_t* fpn, uint16_t* intensity);

}  // namespace rule
