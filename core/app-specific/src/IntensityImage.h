// SPDX-License-Identifier: Apache-2.0
//
// Intensity image: ambient light per pixel, from a raw image taken without modulation.
#pragma once

#include "QorRecords.h"
#include "Ref.h"

struct IntensityImgInput {
    Ref<const uint8_t> intensityPhase;  ///< packed samples, from the first image row on
};
AL_DESCRIBE(IntensityImgInput, intensityPhase)

struct IntensityImgState {
    uint16_t fpn[kPixelCount];  ///< dark level per pixel
};
AL_DESCRIBE(IntensityImgState, fpn)

struct IntensityImgOutput {
    uint16_t intensity[kPixelCount];
};
AL_DESCRIBE(IntensityImgOutput, intensity)

/**
 * Takes the dark levels of the calibration, `FPN` read as unsigned. A single 0 in it means that there is no
 * table; every level is then 2200. Fails for a null argument. Returns 0, or 1 after a reported failure.
 */
int32_t IntensityImgInit(IntensityImgState* state, const FreqIndependentCalibration* calib) noexcept;

/**
 * The light of one intensity image above the dark level, raw counts 0..4095. A pixel that falls below its
 * dark level gives 0 and lowers the level for all images to come. Exactly the 57792 bytes of the image rows
 * are read. Fails, with nothing written, for a null argument or a null `intensityPhase`. Returns 0, or 1
 * after a reported failure.
 */
int32_t IntensityImgApply(IntensityImgState* state, const IntensityImgInput* input,
                          IntensityImgOutput* output) noexcept;
