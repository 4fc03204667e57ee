// SPDX-License-Identifier: Apache-2.0
#include "Distnoise.h"

#include <algorithm>
#include <iterator>

#include "ALErrorHandling.h"
#include "ALMath.h"
#include "DistnoiseKernels.h"

namespace {

constexpr char_t kSourceFile[] = "core/app-specific/src/Distnoise";

constexpr uint16_t kPixelsPerStep = 8;
constexpr int32_t kMaxExposureTimes = 2;
constexpr float32_t kOneDivTwoPi = 0.15915494F;

/** Metres per radian of phase. With two frequencies the distance is the mean of both measurements. */
float32_t combinedFactorOf(const DistnoiseInput& input) noexcept {
    const float32_t distFactor = input.uniqueRange[0] * kOneDivTwoPi;
    if (input.numFrequenciesUsed < 2) {
        return distFactor;
    }
    const float32_t distFactor2 = input.uniqueRange[1] * kOneDivTwoPi;
    return al_sqrtf((distFactor * distFactor + distFactor2 * distFactor2) * 0.25F);
}

DistnoiseFactors factorsOf(const DistnoiseInput& input) noexcept {
    const int32_t last = input.numExpTimes - 1;
    DistnoiseFactors factors = {};
    std::copy_n(input.calib->param, std::size(factors.param), factors.param);
    factors.invIntensityExpTime = 1.0F / input.intensityExpTime;
    factors.invAmpNormFactors[0] = 1.0F / input.ampNormFactors[0];
    factors.invAmpNormFactors[1] = 1.0F / input.ampNormFactors[last];
    factors.expTimes[0] = input.expTimes[0];
    factors.expTimes[1] = input.expTimes[last];
    factors.combinedFactor = combinedFactorOf(input);
    factors.distNoiseThreshold = input.distNoiseThreshold;
    return factors;
}

}  // namespace

int32_t DistnoiseApply(const DistnoiseInput* input, DistnoiseInOut* inout, DistnoiseOutput* output) noexcept {
    const DistnoiseImages images = {.xyReal = input->xyReal,
                                    .xyImag = input->xyImag,
                                    .intensity = input->intensity,
                                    .confidence = inout->confidence,
                                    .noise = inout->noise,
                                    .distance = inout->distance};
    if (input->xyWidth % kPixelsPerStep != 0) {
        return reportFailure(kSourceFile);
    }
    if (images.intensity == nullptr || images.confidence == nullptr || images.xyReal == nullptr ||
        images.xyImag == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (input->xyHeight != kImageHeight) {
        return reportFailure(kSourceFile);
    }
    if (input->xyWidth != kImageWidth) {
        return reportFailure(kSourceFile);
    }
    if (input->numExpTimes < 1 || input->numExpTimes > kMaxExposureTimes) {
        return reportFailure(kSourceFile);
    }
    const DistnoiseFactors factors = factorsOf(*input);
    output->width = input->xyWidth;
    output->height = input->xyHeight;
    Distnoise_ComputeNoise(factors, images);
    output->symNoiseFactor = al_sqrtf(2.0F) / factors.combinedFactor;
    return 0;
}
