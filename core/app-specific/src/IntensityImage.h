// SPDX-License-Identifier: Apache-2.0
//
// Intensity image: ambient light per pixel, from a raw image taken without modulation.
#pragma once

#include "ALTypes.h"
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
