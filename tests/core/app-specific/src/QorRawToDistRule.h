// SPDX-License-Identifier: Apache-2.0
//
// The plain statement of the raw stage's per-pixel rules. It is never sped up: the kernels must equal it, and
// benchmarks compare with it as the plain form.
#pragma once

#include <cstdint>

#include "QorRawToDist.h"
#include "QorRawToDistKernels.h"

namespace rule {

/** The 12-bit sample of a pixel in a packed image, 58128 bytes with the line without image data. */
int16_t sample(const uint8_t* phaseData, int32_t pixel);

/** X, Y, S and confidence of every pixel; `roi` and `histogram` may be null: no histogram. */
void rawToXYS(QorRawToDistState& state, int16_t minDiff, int16_t maxDiff, int storageIndex,
              uint16_t confidenceMask, const uint8_t* roi, uint32_t* histogram);

void mergeExposures(QorRawToDistState& state, float invFirstExposure, float invSecondExposure);

void computePhase(const RawToDistPhaseInput& input, const RawToDistPhaseOutput& output);

void xysToAmpConf(float* ampl, uint16_t* conf, const int16_t* X, const int16_t* Y, float xCorrection,
                  float yCorrection, float minAmp);

}  // namespace rule
