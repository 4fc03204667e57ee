// SPDX-License-Identifier: Apache-2.0
#include "ImageFilterMedian.h"

#include <algorithm>

#include "ALErrorHandling.h"
#include "ImageFilterMedianKernels.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/RawDataProcessingTamver/src/ImageFilter";

}  // namespace

int32_t median3x3(const float32_t* src, float32_t* dst, int32_t width, int32_t height, int32_t startLine,
                  int32_t endLine) noexcept {
    if (src == nullptr || dst == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (width < 3 || height < 3) {
        return 0;
    }
    ImageFilter_Median3x3(src, dst, width, std::max(1, startLine), std::min(endLine, height - 1));
    return 0;
}

int32_t median5x5(float32_t* src, float32_t* dst, int32_t width, int32_t height, int32_t startLine,
                  int32_t endLine, ImageFilterScratch* scratch, int32_t threadIdx) noexcept {
    if (src == nullptr || dst == nullptr || scratch == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (width < 5) {
        return reportFailure(kSourceFile);
    }
    if (height < 5) {
        return reportFailure(kSourceFile);
    }
    if (threadIdx < 0 || threadIdx >= kMaxThreads) {
        return reportFailure(kSourceFile);
    }
    ImageFilter_Median5x5(src, dst, width, std::max(0, startLine), std::min(endLine, height - 4));
    return 0;
}
