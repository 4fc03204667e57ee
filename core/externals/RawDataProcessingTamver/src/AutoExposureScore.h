// SPDX-License-Identifier: Apache-2.0
//
// What a frame is worth, and what it would be worth at other exposure times. A score function rates a pixel
// by its signal level: it rises from 0 piece by piece, with a slope of its own in each piece, up to the last
// knee point, from where a pixel counts as saturated. The score of a frame is the mean over its pixels, those
// beyond saturation left out.
//
// Cumulative histograms are used throughout, so that the mass and the first moment of any interval of levels
// take two subtractions, however many pixels there are. Counts are 32 bits and wrap.
#pragma once

#include "ALTypes.h"

inline constexpr int32_t kMaxScorePieces = 5;
inline constexpr int32_t kCumulativeBins = kHistogramBins + 1;

/**
 * Cumulative forms of a histogram: entry i holds the pixels of all levels below i, or the sum of their
 * levels.
 */
void calculateCumHisto(const uint32_t* histogram, uint32_t* cumHisto, uint32_t* cumMeanHisto) noexcept;

/**
 * The level below which `s` pixels lie, 0 to 2049, linear within a level. Where `s` falls on an empty level,
 * its middle. `cumHisto` is a cumulative histogram of 2050 entries.
 */
float32_t quantile(const uint32_t* cumHisto, float32_t s) noexcept;

/**
 * The score that a scene measured at the times `expTimesCurr` would have at `expTimesTest`, both shorter
 * first, microseconds. Each test time draws on the histogram of the longest exposure that shows its levels
 * unsaturated, then on shorter ones.
 *
 * `score_x_kneepoints` are rising levels, and `score_slopes` the slopes up to each of them: one of each for
 * each of the 1 to 5 pieces. There is one cumulative histogram of 2050 entries per exposure. The result is 0
 * for an impossible number of pieces or exposures.
 */
float32_t predictScore(const uint32_t* expTimesCurr, const uint32_t* expTimesTest,
                       const uint32_t* score_x_kneepoints, const float32_t* score_slopes, uint32_t numPieces,
                       const uint32_t (*cumMeanHistos)[kCumulativeBins],
                       const uint32_t (*cumHistos)[kCumulativeBins], int32_t numExposures) noexcept;
