// SPDX-License-Identifier: Apache-2.0
//
// Distance noise: the standard deviation of each measured distance, from signal strength and ambient light.
#pragma once

#include "ALTypes.h"
#include "Ref.h"

/** Noise model: factor of the amplitude, constant term, factor of the ambient light, knee. */
struct NoiseCalib {
    alif_float32_t param[4];
};

struct DistnoiseInput {
    Ref<const NoiseCalib> calib;
    float32_t uniqueRange[2];  ///< of the one or two frequencies, metres
    uint32_t numFrequenciesUsed;
    Ref<const float32_t> xyReal;
    Ref<const float32_t> xyImag;
    uint16_t xyWidth;
    uint16_t xyHeight;
    Ref<const uint16_t> intensity;
    float32_t expTimes[2];
    float32_t ampNormFactors[2];
    int32_t numExpTimes;
    float32_t intensityExpTime;
    float32_t distNoiseThreshold;  ///< metres; 0 or less: no limit
};
AL_DESCRIBE(DistnoiseInput, calib, uniqueRange, numFrequenciesUsed, xyReal, xyImag, xyWidth, xyHeight,
            intensity, expTimes, ampNormFactors, numExpTimes, intensityExpTime, distNoiseThreshold)

struct DistnoiseInOut {
    Ref<float32_t> noise;  ///< output, metres
    Ref<float32_t> distance;
    Ref<uint16_t> confidence;
};
AL_DESCRIBE(DistnoiseInOut, noise, distance, confidence)

struct DistnoiseOutput {
    float32_t symNoiseFactor;
    uint16_t width;
    uint16_t height;
};
AL_DESCRIBE(DistnoiseOutput, symNoiseFactor, width, height)

/**
 * Estimates the standard deviation of every pixel's distance, metres, from its amplitude and the ambient
 * light in `intensity`; NaN where the model's variance is negative. Images are 224 x 172. Pixels with
 * confidence bit 0x0010 were measured with the last of the 1 or 2 exposures, others with the first. With a
 * threshold above 0, valid pixels whose noise is above it lose their distance and get the confidence bits
 * 0x0209. Fails, with nothing written, for another size or number of exposures, or a null image of `xyReal`,
 * `xyImag`, `intensity`, `confidence`; no other pointer may be null. Returns 0, or 1 after a reported
 * failure.
 */
int32_t DistnoiseApply(const DistnoiseInput* input, DistnoiseInOut* inout, DistnoiseOutput* output) noexcept;
