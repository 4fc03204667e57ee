// SPDX-License-Identifier: Apache-2.0
#include "DistnoiseRule.h"

#include "ALMath.h"
#include "core/externals/Util/src/ALSimdRule.h"

namespace rule {

float distanceNoiseFactor(const DistnoiseInput& input) {
    const float first = input.uniqueRange[0] * 0.15915494F;
    const float second = input.uniqueRange[1] * 0.15915494F;
    return input.numFrequenciesUsed >= 2 ? al_sqrtf((first * first + second * second) * 0.25F) : first;
}

float distanceNoise(const DistnoiseInput& input, float combinedFactor, uint16_t confidence, int32_t i) {
    const int32_t e = (confidence & 0x0010) != 0 ? input.numExpTimes - 1 : 0;
    const float real = input.xyReal[i];
    const float imag = input.xyImag[i];
    const float a = squareRoot(real * real + imag * imag) * (1.0F / input.ampNormFactors[e]);
    const auto light = static_cast<float>(static_cast<int16_t>(input.intensity[i]));
    const float* const p = input.calib->param;
    const float x = p[0] * a + (p[2] * (light * (1.0F / input.intensityExpTime))) * input.expTimes[e];
    const float y = x <= p[3] ? x + p[1] : 2.0F * x + (p[1] - p[3]);
    return squareRoot(y) * reciprocal(a > 1e-8F ? a : 1e-8F) * combinedFactor;
}

void distanceNoise(const DistnoiseInput& input, const DistnoiseInOut& inout) {
    const float combinedFactor = distanceNoiseFactor(input);
    for (int32_t i = 0; i < kPixelCount; ++i) {
        const float noise = distanceNoise(input, combinedFactor, inout.confidence[i], i);
        inout.noise[i] = noise;
        if (input.distNoiseThreshold > 0.0F && noise > input.distNoiseThreshold &&
            (inout.confidence[i] & 0x0001) == 0) {
            inout.confidence[i] |= 0x0209;
            inout.distance[i] = 0.0F;
        }
    }
}

}  // namespace rule
