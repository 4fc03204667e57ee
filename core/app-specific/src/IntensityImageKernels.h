// SPDX-License-Identifier: Apache-2.0
//
// Per-pixel loop of the intensity image.
#pragma once

#include "ALTypes.h"

/**
 * Lowers `fpn` to the samples that lie below it; the result is by how much each sample exceeds it. `samples`
 * are the 57792 packed bytes of the 38528 pixels; no byte before or after them is read.
 */
void IntensityImg_SubtractDarkLevel(const uint8_t* samples, uint16_t* fpn, uint16_t* intensity) noexcept;
