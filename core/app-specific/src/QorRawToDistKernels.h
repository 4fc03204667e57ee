// SPDX-License-Identifier: Apache-2.0
//
// Per-pixel loops of the raw stage. All of them run over the whole image.
#pragma once

#include "ALTypes.h"

struct QorRawToDistState;  ///< of the stage; what it holds is in QorRawToDist.h

/**
 * X, Y, S and first confidence of one exposure, from the four images in `state->rawPhases` to index
 * `storageIndex` of the state's arrays. X = a - c, Y = b - d, S = (a + c) - (b + d) for the samples a, b, c,
 * d at 0, 90, 180 and 270 degrees. Confidence is `confidenceMask`, with 0x0003 where a sample lies below
 * `minDiff` or above `maxDiff`.
 */
void NEON_RawToXYS(QorRawToDistState* state, short minDiff, short maxDiff, int storageIndex,
                   unsigned short confidenceMask) noexcept;

/**
 * The same, and adds each pixel's weight to the bin of its signal level in `histogram` (2049 bins). The level
 * is the largest distance of a sample from the middle between `minDiff` and `maxDiff`; levels above 2048
 * count in the last bin. The weights are the bytes of `histogram_roi`, 224 x 172, taken in the order that
 * unpacking the imager's format into vectors gives: in a block of 16 pixels, pixel 2k takes byte k and pixel
 * 2k + 1 takes byte 8 + k.
 */
void NEON_RawToXYS_histo(QorRawToDistState* state, short minDiff, short maxDiff, int storageIndex,
                         unsigned short confidenceMask, const unsigned char* histogram_roi,
                         unsigned int* histogram) noexcept;

/**
 * Merge of two exposures into index 1: the second, longer one is used unless it saturated. `invExpTimes` gets
 * the reciprocal exposure of the choice.
 */
void RawToDist_MergeExposures(QorRawToDistState* state, float32_t invFirstExposure,
                              float32_t invSecondExposure) noexcept;

/** What the phase of a pixel is computed from. Images are 224 x 172. */
struct RawToDistPhaseInput {
    const int16_t* X;
    const int16_t* Y;
    const int16_t* S;
    const uint16_t* confidence;
    const float32_t* invExpTimes;
    const float32_t* FPPN;
    const float32_t* ampWigg;    ///< 5 coefficients
    const float32_t* phaseWigg;  ///< 7 coefficients
    float32_t xCorrection;       ///< raw counts
    float32_t yCorrection;       ///< raw counts
    float32_t minAmpSquare;
    float32_t maxSymSquare;
    const uint16_t* intensity;        ///< null: no compensation of the ambient light drift
    float32_t driftX[kMaxExposures];  ///< drift of X per count of intensity: first, last exposure
    float32_t driftY[kMaxExposures];  ///< drift of Y per count of intensity: first, last exposure
};

/** Phase (0 to 2 pi), amplitude per unit of exposure and confidence of every pixel. */
struct RawToDistPhaseOutput {
    float32_t* phase;
    float32_t* normalizedAmplitude;
    uint16_t* confidence;
};

/** From X, Y, S to phase, amplitude and confidence, with both wiggling
 * corrections and both tests. */
void RawToDist_ComputePhase(const RawToDistPhaseInput& input, const RawToDistPhaseOutput& output) noexcept;

/**
 * Raw amplitude of every pixel; `conf` gets 0x0009 where it is below `minAmp`. `ampl` and `conf` are images
 * of 38528 pixels.
 * The pipeline itself does not call it.
 */
void NEON_XYStoAmpConf(float* ampl, unsigned short* conf, const short* X, const short* Y, float xCorrection,
                       float yCorrection, float minAmp) noexcept;
