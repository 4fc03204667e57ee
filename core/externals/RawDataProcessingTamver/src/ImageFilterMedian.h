// SPDX-License-Identifier: Apache-2.0
//
// The medians of the image filter. A pixel of 0 is a hole: it does not count in the median, and a hole in the
// middle of a mask is filled. With fewer than four values in the mask the result is 0.
#pragma once

#include "ImageFilter.h"

/**
 * Median over 3 x 3 pixels, from `src` to `dst`, two images of width x height; lines `startLine` up to below
 * `endLine`, limited to those around which the mask fits. The outer columns and lines stay as they are. Holes
 * count alternately as 0 and as 1e10, in the order in which the columns of three are scanned from the start
 * of the call, so that they fall evenly on both sides of the median. Fails for a null pointer. Returns 0, or
 * 1 after a reported failure.
 */
int32_t median3x3(const float32_t* src, float32_t* dst, int32_t width, int32_t height, int32_t startLine,
                  int32_t endLine) noexcept;

/**
 * Median over 5 x 5 pixels; for an even number of values, the lower of the two middle ones. A line of the
 * band is the top line of the mask: the results of line r go to line r + 2. The two outermost lines and
 * columns stay as they are. `scratch` must not be null, but is not read or written: the medians work on the
 * stack. Fails for a null pointer, for an image below 5 x 5 and for a `threadIdx` outside of 0 to 9. Returns
 * 0, or 1 after a reported failure.
 */
int32_t median5x5(float32_t* src, float32_t* dst, int32_t width, int32_t height, int32_t startLine,
                  int32_t endLine, ImageFilterScratch* scratch, int32_t threadIdx) noexcept;
