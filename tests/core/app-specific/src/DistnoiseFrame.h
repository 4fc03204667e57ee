// SPDX-License-Identifier: Apache-2.0
//
// A frame for tests of the distance noise: its images and the records around them.
#pragma once

#include <vector>

#include "Distnoise.h"

namespace testing_support {

/**
 * Two exposures and two frequencies, no limit. Every pixel is valid, of the first exposure, without signal or
 * light, at a distance of 2 m. The images end with their last pixel, so that a sanitizer sees overruns.
 */
struct DistnoiseFrame {
    DistnoiseFrame()
        : real(kPixelCount),
          imag(kPixelCount),
          noise(kPixelCount, -7.0F),
          distance(kPixelCount, 2.0F),
          intensity(kPixelCount),
          confidence(kPixelCount) {
        input.calib = &calib;
        input.uniqueRange[0] = 2.5F;
        input.uniqueRange[1] = 1.875F;
        input.numFrequenciesUsed = 2;
        input.xyReal = real.data();
        input.xyImag = imag.data();
        input.xyWidth = 224;
        input.xyHeight = 172;
        input.intensity = intensity.data();
        input.expTimes[0] = 250.0F;
        input.expTimes[1] = 1000.0F;
        input.ampNormFactors[0] = 0.5F;
        input.ampNormFactors[1] = 2.0F;
        input.numExpTimes = 2;
        input.intensityExpTime = 500.0F;
        inout.noise = noise.data();
        inout.distance = distance.data();
        inout.confidence = confidence.data();
    }
    DistnoiseFrame(const DistnoiseFrame&) = delete;
    DistnoiseFrame& operator=(const DistnoiseFrame&) = delete;

    int32_t apply() { return DistnoiseApply(&input, &inout, &output); }

    NoiseCalib calib = {{0.04F, 15.0F, 0.08F, 260.0F}};
    DistnoiseInput input = {};
    DistnoiseInOut inout = {};
    DistnoiseOutput output = {};
    std::vector<float> real, imag, noise, distance;
    std::vector<uint16_t> intensity, confidence;
};

}  // namespace testing_support
