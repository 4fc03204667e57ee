// SPDX-License-Identifier: Apache-2.0
//
// Per-pixel loops of the distance noise.
#pragma once

#include "ALTypes.h"

/** What is the same for all pixels. Pairs stand for the first and the last exposure of the frame. */
struct DistnoiseFactors {
    float32_t param[4];  ///< factor of the amplitude, constant term, factor of the ambient light, knee
    float32_t invIntensityExpTime;   ///< 1 / exposure time of the intensity image
    float32_t invAmpNormFactors[2];  ///< 1 / amplitude normalisation factor
    float32_t expTimes[2];           ///< exposure times, in the unit of the intensity image's
    float32_t combinedFactor;        ///< metres per radian of phase
    float32_t distNoiseThreshold;    ///< metres; 0 or less: no limit
};

/** Images of 224 x 172 pixels. */
struct DistnoiseImages {
    const float32_t* xyReal;
    const float32_t* xyImag;
    const uint16_t* intensity;  ///< read as signed
    uint16_t* confidence;
    float32_t* noise;     ///< written
    float32_t* distance;  ///< touched only with a limit
};

/**
 * The noise of every pixel, metres, NaN where the model gives a negative variance. Valid pixels whose noise
 * is above a limit above 0 lose their distance and get the confidence bits 0x0209.
 */
void Distnoise_ComputeNoise(const DistnoiseFactors& factors, const DistnoiseImages& images) noexcept;
