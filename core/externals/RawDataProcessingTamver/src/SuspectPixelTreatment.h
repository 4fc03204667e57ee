// SPDX-License-Identifier: Apache-2.0
//
// Suspect pixels: known bad pixels take the mean of their valid neighbours.
#pragma once

#include "QorRecords.h"
#include "Ref.h"

struct SuspectPixelTreatmentCalib {
    int32_t width;
    int32_t height;
    Ref<uint16_t> badPixelMatrix;  ///< width x height, non-zero marks a suspect pixel; may be null
    Ref<int32_t> badPixelIdx;      ///< pixel indices; used without a matrix
    int32_t numBadPixel;           ///< length of badPixelIdx
};
AL_DESCRIBE(SuspectPixelTreatmentCalib, width, height, badPixelMatrix, badPixelIdx, numBadPixel)

struct SuspectPixelTreatmentInput {
    int32_t applyTreatement;  ///< non-zero: repair
};
AL_DESCRIBE(SuspectPixelTreatmentInput, applyTreatement)

struct SuspectPixelTreatmentInOut {
    int32_t width;
    int32_t height;
    Ref<uint16_t> confidence;
    Ref<float32_t> amplitude;            ///< may be null
    Ref<float32_t> normalizedAmplitude;  ///< may be null
    Ref<float32_t> distance;
};
AL_DESCRIBE(SuspectPixelTreatmentInOut, width, height, confidence, amplitude, normalizedAmplitude, distance)

/** The suspect pixels and the index of each neighbour, -1 where there is none. */
struct SuspectPixelTreatmentState {
    int32_t badPixelIdx[kMaxBadPixels];
    int32_t numBadPixel;
    int32_t luIdx[kMaxBadPixels];  ///< left, up
    int32_t muIdx[kMaxBadPixels];  ///< middle, up
    int32_t ruIdx[kMaxBadPixels];  ///< right, up
    int32_t leIdx[kMaxBadPixels];  ///< left
    int32_t riIdx[kMaxBadPixels];  ///< right
    int32_t lbIdx[kMaxBadPixels];  ///< left, below
    int32_t mbIdx[kMaxBadPixels];  ///< middle, below
    int32_t rbIdx[kMaxBadPixels];  ///< right, below
};
AL_DESCRIBE(SuspectPixelTreatmentState, badPixelIdx, numBadPixel, luIdx, muIdx, ruIdx, leIdx, riIdx, lbIdx,
            mbIdx, rbIdx)

/**
 * Takes the suspect pixels from the matrix, or else from the list of indices, and finds their neighbours. A
 * pixel outside the image has none. Fails for a null argument, a size below 1, more than 15 pixels, or
 * neither matrix nor list; the state then holds no pixel. Returns 0, or 1 after a reported failure.
 */
int32_t SuspectPixelTreatment_Init(const SuspectPixelTreatmentCalib* calib,
                                   SuspectPixelTreatmentState* state) noexcept;

/**
 * In each image present, every suspect pixel becomes the mean of its valid neighbours, or 0 if it has
 * none. It becomes valid unless its distance is 0. Pixels and neighbours outside the images are skipped.
 * Fails for a null argument or image (only the amplitudes may be missing) or a size below 1. Returns 0,
 * or 1 after a reported failure.
 */
int32_t SuspectPixelTreatment_Apply(const SuspectPixelTreatmentInput* input,
                                    SuspectPixelTreatmentState* state,
                                    SuspectPixelTreatmentInOut* inout) noexcept;
