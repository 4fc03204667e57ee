// SPDX-License-Identifier: Apache-2.0
//
// Per-pixel loops of the mean and the bilateral filter, and of the confidence that follows a spatial filter.
#pragma once

#include "ALTypes.h"

/** The lines of an image that a spatial filter writes; the mask fits around all of them. */
struct FilterBand {
    const float32_t* source;  ///< width pixels a line; 0: no measurement
    float32_t* target;        ///< another image of that size
    int32_t width;
    int32_t firstLine;
    int32_t lastLine;  ///< one after the last
};

/**
 * Mean of the measurements in a mask of (2 halfSize + 1) x (2 halfSize + 1) pixels, 0 if they are fewer than
 * four; `halfSize` is 1 or 2. The outermost `halfSize` columns stay as they are.
 */
void ImageFilter_ComputeMeans(int32_t halfSize, const FilterBand& band) noexcept;

inline constexpr int32_t kRangeIntervals = 64;

/** Weights of the bilateral filter. */
struct BilateralWeights {
    const float32_t* spatial;  ///< of the places in the mask, row by row
    const float32_t* slope;    ///< of the weight over the difference from the centre, for each interval
    const float32_t* offset;   ///< likewise; the last interval extends without limit
    float32_t step;            ///< width of an interval
};

/** The bilateral filter with the same masks. Holes become 0. The outer `halfSize` columns stay. */
void ImageFilter_ComputeBilateral(int32_t halfSize, const BilateralWeights& weights,
                                  const FilterBand& band) noexcept;

/** Sets bit 0x0001 where the distance is at most 1e-6, clears it elsewhere, and sets bit
 * 0x0200 where that changed it. */
void ImageFilter_UpdateConfidence(const float32_t* distance, uint16_t* confidence,
                                  int32_t pixelCount) noexcept;
