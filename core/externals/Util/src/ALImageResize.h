// SPDX-License-Identifier: Apache-2.0
//
// Image pyramid: halves an image in both directions after a separable binomial low-pass. No intermediate
// image is kept, only a few filtered lines in memory of the caller.
#pragma once

#include "ALTypes.h"

/**
 * Element type and kernel, 1 2 1 or 1 4 6 4 1. `temp` must hold as many filtered lines as the kernel has
 * taps: 3 or 5 times (ow + 1) / 2 elements. Integers are cut, not rounded, after the horizontal and again
 * after the vertical pass.
 */
enum IreDownsampleMode : alif_int32_t {
    IRE_UINT8_BINOM3x3 = 0,
    IRE_UINT8_BINOM5x5 = 1,
    IRE_UINT16_BINOM3x3 = 2,
    IRE_UINT16_BINOM5x5 = 3,
    IRE_FLOAT32_BINOM3x3 = 4,
    IRE_FLOAT32_BINOM5x5 = 5,
};

/**
 * Halves the `ow` x `oh` image `oimg`; an odd size rounds up. `nimg`, which must not overlap it, gets rows of
 * `*nw` elements; `*nw` and `*nh` are the full size of the result. Only the output rows `roi_y1` to `roi_y2`
 * are computed and written; negative values stand for the first and the last row. Pixels outside the image
 * repeat its edge, but
 * - a 5x5 kernel that starts at output row 1 takes input row 0 for input row 1, and
 * - with an odd `ow` each line in `temp` shares one element with its neighbour, and the line written last
 * owns it. That shows in the first and the last column.
 *
 * `ow` is at least 2 (3x3) or 3 (5x5). `tempSize` is in bytes. Returns 0, or 1 after a report. For a `mode`
 * outside the table it returns 0 and does nothing.
 */
int32_t ire_binom_half(void* nimg, uint32_t* nw, uint32_t* nh, const void* oimg, uint32_t ow, uint32_t oh,
                       int32_t roi_y1, int32_t roi_y2, IreDownsampleMode mode, void* temp,
                       uint32_t tempSize) noexcept;
