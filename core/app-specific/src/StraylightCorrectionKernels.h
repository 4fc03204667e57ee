// SPDX-License-Identifier: Apache-2.0
//
// Loop of the straylight correction over the full image.
#pragma once

#include "ALTypes.h"

/** A full image and its scattered part, known at a pixel in 2^levels of every line and row. */
struct StraylightSubtraction {
    float32_t* image;  ///< width x height, corrected in place
    uint32_t width;
    uint32_t height;
    const float32_t* scattered;  ///< scatteredWidth x scatteredHeight
    uint32_t scatteredWidth;     ///< width >> levels, at least 1
    uint32_t scatteredHeight;    ///< at least 1
    int32_t levels;              ///< 0 to 5
    float32_t factor;            ///< weight of the subtraction
    float32_t* lines;            ///< work memory, two lines of the image (one for an image of one row)
};

/**
 * Interpolates the scattered part, linearly in both directions and constant beyond its last row and column,
 * and subtracts it.
 */
void Straylight_Subtract(const StraylightSubtraction& s) noexcept;
