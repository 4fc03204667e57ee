// SPDX-License-Identifier: Apache-2.0
//
// Per-pixel loops of the multi-frequency stage. Images stand row by row without gaps; a range of pixels is
// `first` up to but not including `last`.
#pragma once

#include "ALTypes.h"

inline constexpr int32_t kLineBins = 100;  ///< of a table

/** A bin of the difference between current and preceding distance. */
struct LineBin {
    float32_t abscissa;  ///< the difference exactly on the line, metres; NaN: no line
    float32_t value;     ///< of the line: distance to add, or its number
};

/** A pair's table, made ready for the pixels of one image. */
struct LineTable {
    LineBin bins[kLineBins];
    float32_t lutOffset;      ///< turns the difference into 0 and up, metres
    float32_t invResolution;  ///< bins per metre
    float32_t maxLineDist;    ///< a pixel must lie closer to its line than this, metres
    float32_t uniqueRange;    ///< of the pair, metres
    bool autoMaxRange;        ///< distances outside 0..uniqueRange wrap around, else they are refused
    bool currentOnly;         ///< the current image alone gives the distance, else the mean of both
};

/** The images of a pair. `confidence` may be the same image as one of those read. */
struct LinePixels {
    const float32_t* currentDistance;  ///< wrapped, metres; 0: no measurement
    const float32_t* previousDistance;
    const uint16_t* currentConfidence;
    const uint16_t* previousConfidence;
    float32_t* distance;
    uint16_t* confidence;
};

/**
 * The unwrapped distance of each pixel; the bins' values are distances to add. A pixel whose difference is
 * NaN lies on no line. Stops at a pixel whose difference lies outside the table: the pixels before it have
 * their result, and its own confidence is merged. Returns 1 in that case, else 0.
 */
int32_t MultiFreq_AssignDistances(const LineTable& table, const LinePixels& pixels, int32_t first,
                                  int32_t last) noexcept;

inline constexpr int32_t kNoLineIndex = -100;  ///< of a pixel without line

/**
 * The line of each pixel, and its distance within the line: nothing is added yet. The bins' values are line
 * numbers. Stops like MultiFreq_AssignDistances.
 */
int32_t MultiFreq_AssignLines(const LineTable& table, const LinePixels& pixels, int32_t* lineIndices,
                              int32_t first, int32_t last) noexcept;

/** What the vote on the lines works on. */
struct LineVote {
    const int32_t* lineIndices;
    float32_t* distance;
    uint16_t* confidence;
    int32_t width;
    int32_t height;
};

/**
 * Lets the eight neighbours of each pixel vote on its line, at most one line up or down, and adds the
 * distance of that line (`offsetOfLine`, 100 lines) where bit 0x0001 of the confidence is clear. A line
 * number outside the table adds nothing. The pixels at the border of the image keep their line.
 */
void MultiFreq_VoteOnLines(const LineTable& table, const float32_t* offsetOfLine, const LineVote& vote,
                           int32_t startLine, int32_t endLine) noexcept;

/** Two results of pairs, and the limits for comparing them. */
struct PairResults {
    const float32_t* distance0;
    const float32_t* distance1;
    const uint16_t* confidence0;
    const uint16_t* confidence1;
    float32_t range;    ///< metres; both must be within it
    float32_t maxDiff;  ///< metres; their difference must be below it
};

/** The first distance where both pairs agree, else 0 with confidence bits 0x0401. */
void MultiFreq_CombinePairs(const PairResults& pairs, float32_t* distance, uint16_t* confidence,
                            int32_t first, int32_t last) noexcept;
