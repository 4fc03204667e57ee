// SPDX-License-Identifier: Apache-2.0
//
// The filters over time: mean of the last frames, and exponential smoothing with an adaptive weight.
#include <atomic>

#include "ALErrorHandling.h"
#include "ALMath.h"
#include "ALUtil.h"
#include "ImageFilter.h"
#include "ImageFilterTemporalKernels.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/RawDataProcessingTamver/src/ImageFilter";

bool liesInHistory(int32_t startIdx, int32_t endIdx) noexcept {
    return startIdx >= endIdx || (startIdx >= 0 && endIdx <= kPixelCount);
}

/** Makes the history from both images as they are now, unless another worker has just done so. */
int32_t beginHistory(ImFTemporalBuffer& tempBuf, const float32_t* distance, const float32_t* amplitude,
                     int32_t numPixel) noexcept {
    std::atomic_ref<int32_t> needsInit(tempBuf.needsInit);
    if (needsInit.load(std::memory_order_relaxed) == 0) {
        return 0;
    }
    const int32_t size = numPixel * static_cast<int32_t>(sizeof(float32_t));
    if (al_memcpy(tempBuf.values[1], amplitude, size) != 0 ||
        al_memcpy(tempBuf.values[0], distance, size) != 0) {
        return reportFailure(kSourceFile);
    }
    needsInit.store(0, std::memory_order_release);
    return 0;
}

}  // namespace

int32_t applyTemporalMeanFilter(float32_t* inOutImage, int32_t startIdx, int32_t endIdx,
                                ImFTemporalBuffer* tempBuf, const TempFilterMeanSettings* settings) noexcept {
    if (inOutImage == nullptr) {
        return reportFailure(kSourceFile, "InOut image pointer is NULL");
    }
    if (tempBuf == nullptr) {
        return reportFailure(kSourceFile, "Temporal buffer pointer is NULL");
    }
    if (settings == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (settings->numberOfFrames < 2) {
        return reportFailure(kSourceFile, "temp. mean filter numberOfFrames <= 1");
    }
    if (settings->numberOfFrames > kMaxTemporalFrames) {
        return reportFailure(kSourceFile, "temp. mean filter exceeds maximum");
    }
    if (tempBuf->currentTempBuf >= kMaxTemporalFrames || !liesInHistory(startIdx, endIdx)) {
        return reportFailure(kSourceFile);
    }
    const TemporalMeanImages images = {.image = inOutImage,
                                       .oldest = tempBuf->values[tempBuf->currentTempBuf],
                                       .sum = tempBuf->sum,
                                       .validFrames = tempBuf->tempNoValidPixels};
    return ImageFilter_AverageOverTime(images, startIdx, endIdx) == 0 ? 0 : reportFailure(kSourceFile);
}

int32_t applyTemporalAdExpFilter(float32_t* distInOut, float32_t* ampInOut, int32_t startIdx, int32_t endIdx,
                                 int32_t numPixel, ImageFilterServices* services, ImageFilterState* state,
                                 ImFTemporalBuffer* tempBuf,
                                 const TempFilterAdaptExpSettings* settings) noexcept {
    if (distInOut == nullptr) {
        return reportFailure(kSourceFile, "distInOut image pointer is NULL");
    }
    if (ampInOut == nullptr) {
        return reportFailure(kSourceFile, "ampInOut image pointer is NULL");
    }
    if (tempBuf == nullptr) {
        return reportFailure(kSourceFile, "Temporal buffer pointer is NULL");
    }
    if (state == nullptr || settings == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (settings->maxSDAlpha < 0.0F || settings->maxSDAlpha > 1.0F) {
        return reportFailure(kSourceFile, "maxSDAlpha out of range");
    }
    if (settings->minSDAlpha < 0.0F || settings->minSDAlpha > 1.0F) {
        return reportFailure(kSourceFile, "minSDAlpha out of range");
    }
    if (settings->minSmoothDiff < 0.0F) {
        return reportFailure(kSourceFile, "minSmoothDiff must be >= 0");
    }
    if (settings->maxSmoothDiff < 0.0F) {
        return reportFailure(kSourceFile, "maxSmoothDiff must be >= 0");
    }
    if (settings->maxSDAlpha < settings->minSDAlpha) {
        return reportFailure(kSourceFile, "minSDAlpha must be smaller than, or equal to maxSDAlpha");
    }
    if (numPixel > kPixelCount || !liesInHistory(startIdx, endIdx)) {
        return reportFailure(kSourceFile);
    }

    // A worker that gets here after another one made the history filters its pixels against that history.
    if (std::atomic_ref<int32_t>(tempBuf->needsInit).load(std::memory_order_acquire) != 0) {
        imf_lockMutex(services, state);
        const int32_t failed = beginHistory(*tempBuf, distInOut, ampInOut, numPixel);
        imf_unlockMutex(services, state);
        return failed;
    }

    const float32_t range = settings->maxSmoothDiff - settings->minSmoothDiff;
    if (al_fabsf(range) < 1e-6F) {
        return reportFailure(kSourceFile, "minSmoothDiff and maxSmoothDiff are (close to) equal");
    }
    AdaptiveWeight weight;
    weight.slope = (settings->maxSDAlpha - settings->minSDAlpha) / range;
    weight.offset = settings->minSDAlpha - weight.slope * settings->minSmoothDiff;
    weight.smallest = settings->minSDAlpha;
    weight.largest = settings->maxSDAlpha;
    const AdaptiveImages images = {.image = distInOut,
                                   .other = ampInOut,
                                   .smoothed = tempBuf->values[0],
                                   .previousOther = tempBuf->values[1]};
    ImageFilter_SmoothAdaptively(weight, images, startIdx, endIdx);
    return 0;
}
