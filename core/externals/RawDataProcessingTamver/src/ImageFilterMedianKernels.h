// SPDX-License-Identifier: Apache-2.0
//
// The loops of the medians. Values are compared by the integers of their bits, in a total order that puts
// each NaN beyond the infinity of its sign, so that every image has the same result on every machine.
#pragma once

#include "ALTypes.h"

/**
 * Median over 3 x 3 pixels of lines `firstLine` up to below `endLine`, with the line above and the line below
 * them, for a width of 3 or more. The first hole counts as 0, the next one as 1e10, and so on alternately.
 */
void ImageFilter_Median3x3(const float32_t* src, float32_t* dst, int32_t width, int32_t firstLine,
                           int32_t endLine) noexcept;

/**
 * Median over 5 x 5 pixels of the masks whose top line is `firstLine` up to below `endLine`, for a width of 5
 * or more. The results go two lines lower.
 */
void ImageFilter_Median5x5(const float32_t* src, float32_t* dst, int32_t width, int32_t firstLine,
                           int32_t endLine) noexcept;
