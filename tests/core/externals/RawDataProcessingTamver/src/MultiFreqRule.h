// SPDX-License-Identifier: Apache-2.0
//
// The plain statement of the multi-frequency stage: how a table is built, and what happens to a pixel. It is
// never sped up: the stage must equal it, and benchmarks compare with it as the plain form.
#pragma once

#include <cstdint>

#include "MultiFreq.h"

namespace rule {

/** False if the ranges have no ratio. */
bool frequencyRatio(float UR1, float UR2, float& x, float& halfLineDist, float& maxRange);

/** False where no table can be built. The walk along the lines runs to its end. */
bool twoFreqTable(float UR1, float UR2, float& maxRange, float halfLineDist, TwoFreqLUT& lut);

/** How the pixels of a pair are assigned. */
struct PairSettings {
    float range;               ///< of the pair, metres
    float lineDistPercentage;  ///< acceptance
    bool vertical;             ///< the current image alone gives the distance
    int32_t width;
    int32_t height;
};

struct PairInput {
    const float* currentDistance;
    const float* previousDistance;
    const uint16_t* currentConfidence;
    const uint16_t* previousConfidence;
};

/** Rows `startLine` up to but not including `endLine`. False at a pixel whose bin lies outside the table. */
bool assignPair(const TwoFreqLUT& lut, const PairSettings& settings, const PairInput& input, float* distance,
                uint16_t* confidence, int32_t startLine, int32_t endLine);

/** The same with the vote of the neighbours. */
bool assignPairByVote(const TwoFreqLUT& lut, const PairSettings& settings, const PairInput& input,
                      int32_t* lineIndices, float* distance, uint16_t* confidence, int32_t startLine,
                      int32_t endLine);

/** Two pair results become one. */
void combinePairs(const IntermediateRes3Freq& pair0, const IntermediateRes3Freq& pair1, float range,
                  float maxDiff, float* distance, uint16_t* confidence, int32_t first, int32_t last);

}  // namespace rule
