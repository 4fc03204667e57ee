// SPDX-License-Identifier: Apache-2.0
//
// Lookup tables of the multi-frequency stage. As the true distance grows, the wrapped distances (d1, d2) of
// two frequencies move along parallel lines in their plane, one line per combination of wraps. The difference
// d1 - d2 names the line; a table over it, 100 bins from -UR2 to UR1, gives the distance to add to d1. UR1
// and UR2 are the unique ranges of the frequencies: half the speed of light in vacuum divided by the
// frequency, metres.
#pragma once

#include "MultiFreq.h"

inline constexpr float32_t kNoLine = -1.0F;  ///< offset of a bin that belongs to no line

/** Number of the unordered pair (a, b), a < b, among those of `count` frequencies: (0, 1), (0, 2), ... */
int64_t getCombinationIndex(int32_t a, int32_t b, int32_t count) noexcept;

/** The same for two frequency ids in either order, 0 to 5, or -1 if there is no such pair. */
int32_t combinationOfIds(const MultiFreqCalib& calib, int32_t a, int32_t b) noexcept;

/**
 * Ratio of two unique ranges in whole numbers. `x` is the smallest multiplier up to 9 that makes UR1 and UR2,
 * divided by their difference, whole to within 0.05. `halfLineDist` is half the distance of two lines,
 * `maxRange` the range of the pair, both in metres. Fails if no multiplier is found.
 */
int32_t calcFrequencyRatio(float32_t UR1, float32_t UR2, float32_t* x, float32_t* halfLineDist,
                           float32_t* maxRange) noexcept;

/**
 * Builds the table of an ordered pair. `maxRange` is the range to cover in metres; if negative, it is taken
 * from the ratio of the two ranges and stored. `halfLineDist` above 0 is the half width of each line, else it
 * comes from the smallest spacing of the lines. Where two lines overlap, the later one wins. Fails if there
 * is no ratio, or if the range is so large that the lines wrap to the first or the last bin.
 */
int32_t fillLookup(float32_t UR1, float32_t UR2, float32_t* maxRange, float32_t halfLineDist,
                   TwoFreqLUT* lut) noexcept;

/** Gives a table number to every pair that the hopping table makes consecutive, and -1 to the others. */
int32_t create2QHoppingMap(MultiFreqState& state, const MultiFreqCalib& calib) noexcept;

/** Builds both tables of the frequencies i < j, if the pair has a table number. */
int32_t create2QLookup(MultiFreqState& state, const MultiFreqParam& param, const MultiFreqCalib& calib,
                       int32_t i, int32_t j) noexcept;
