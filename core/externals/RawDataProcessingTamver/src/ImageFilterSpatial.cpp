// SPDX-License-Identifier: Apache-2.0
//
// The filters over a pixel's neighbourhood: median, mean and bilateral, and the border that their masks
// leave.
#include <algorithm>

#include "ALErrorHandling.h"
#include "ALMath.h"
#include "ALUtil.h"
#include "ImageFilter.h"
#include "ImageFilterMedian.h"
#include "ImageFilterSpatialKernels.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/RawDataProcessingTamver/src/ImageFilter";

/** Half the width of a mask, without its centre; 0 for an unknown size. */
int32_t halfSizeOf(FilterMaskSize maskSize) noexcept {
    switch (maskSize) {
        case FilterMaskSize_3x3:
            return 1;
        case FilterMaskSize_5x5:
            return 2;
        default:
            return 0;
    }
}

bool fitsIntoScratch(int32_t noCols, int32_t noRows) noexcept {
    return noCols >= 0 && noRows >= 0 && int64_t{noCols} * noRows <= kPixelCount;
}

/** The lines of a band around which a mask fits. */
FilterBand bandOf(float32_t* inOutImage, const ImageFilterScratch& scratch, int32_t noCols, int32_t noRows,
                  int32_t startLine, int32_t endLine, int32_t halfSize) noexcept {
    return {.source = scratch.inImage,
            .target = inOutImage,
            .width = noCols,
            .firstLine = std::max(startLine, halfSize),
            .lastLine = std::min(endLine, noRows - halfSize)};
}

void buildSpatialWeights(const SpatialFilterBilateralSettings& settings, int32_t halfSize,
                         float32_t* spatialWeights) noexcept {
    const float32_t factor = 1.0F / (2.0F * (settings.sigmaPixel * settings.sigmaPixel));
    int32_t i = 0;
    for (int32_t v = -halfSize; v <= halfSize; ++v) {
        for (int32_t u = -halfSize; u <= halfSize; ++u) {
            spatialWeights[i] = al_expf(static_cast<float32_t>(-v * v - u * u) * factor);
            ++i;
        }
    }
}

/** The Gaussian over the difference of two values, as a line in each of 64 intervals over 6 sigma. */
int32_t buildRangeTable(float32_t sigmaDistance, ImageFilterState& state) noexcept {
    constexpr float32_t stepsPerSigma = 0.09375F;  // 6 / 64
    state.bilatLUTStep = sigmaDistance * stepsPerSigma;
    const float32_t factor = 1.0F / (2.0F * (sigmaDistance * sigmaDistance));
    float32_t lastX = 0.0F;
    float32_t lastY = 1.0F;
    for (int32_t i = 1; i <= kRangeIntervals; ++i) {
        const float32_t x = state.bilatLUTStep * static_cast<float32_t>(i);
        const float32_t y = al_expf(-x * x * factor);
        const float32_t width = x - lastX;
        if (width < 1e-6F) {
            return reportFailure(kSourceFile, "Denominator too small (maybe distance sigma too small?)");
        }
        const float32_t slope = (y - lastY) / width;
        state.bilatGaussLUTSlope[i - 1] = slope;
        state.bilatGaussLUTOffset[i - 1] = y - slope * x;
        lastX = x;
        lastY = y;
    }
    return 0;
}

/** Makes the weights for the settings, unless the settings are the same as last time. */
int32_t updateBilateralTables(const SpatialFilterBilateralSettings& settings, int32_t halfSize,
                              ImageFilterState& state) noexcept {
    const bool upToDate =
        al_memcmp(&settings, &state.lastSpatBilateralSettings, sizeof(SpatialFilterBilateralSettings)) == 1;
    if (upToDate) {
        return 0;
    }
    buildSpatialWeights(settings, halfSize, state.bilatSpatialWeights);
    if (buildRangeTable(settings.sigmaDistance, state) != 0) {
        return 1;
    }
    state.lastSpatBilateralSettings = settings;
    return 0;
}

}  // namespace

int32_t applySpatialMedianFilter(float32_t* inOutImage, int32_t noCols, int32_t noRows, int32_t startLine,
                                 int32_t endLine, ImageFilterScratch* scratch,
                                 const SpatialFilterMedianSettings* settings, int32_t threadIdx) noexcept {
    if (inOutImage == nullptr || scratch == nullptr || settings == nullptr) {
        return reportFailure(kSourceFile);
    }
    const int32_t halfSize = halfSizeOf(settings->maskSize);
    if (halfSize == 0) {
        return reportFailure(kSourceFile, "Unsupported mask size");
    }
    if (!fitsIntoScratch(noCols, noRows)) {
        return reportFailure(kSourceFile);
    }
    if (halfSize == 1) {
        median3x3(scratch->inImage, inOutImage, noCols, noRows, startLine, endLine);
    } else {
        median5x5(scratch->inImage, inOutImage, noCols, noRows, startLine, endLine, scratch, threadIdx);
    }
    return 0;
}

int32_t applySpatialMeanFilter(float32_t* inOutImage, int32_t noCols, int32_t noRows, int32_t startLine,
                               int32_t endLine, ImageFilterScratch* scratch,
                               const SpatialFilterMeanSettings* settings) noexcept {
    if (inOutImage == nullptr || scratch == nullptr || settings == nullptr) {
        return reportFailure(kSourceFile);
    }
    const int32_t halfSize = halfSizeOf(settings->maskSize);
    if (halfSize == 0) {
        return reportFailure(kSourceFile, "Unsupported mask size");
    }
    if (!fitsIntoScratch(noCols, noRows)) {
        return reportFailure(kSourceFile);
    }
    ImageFilter_ComputeMeans(halfSize,
                             bandOf(inOutImage, *scratch, noCols, noRows, startLine, endLine, halfSize));
    return 0;
}

int32_t applySpatialBilateralFilter(float32_t* inOutImage, int32_t noCols, int32_t noRows, int32_t startLine,
                                    int32_t endLine, ImageFilterScratch* scratch, ImageFilterState* state,
                                    const SpatialFilterBilateralSettings* settings,
                                    ImageFilterServices* services) noexcept {
    if (inOutImage == nullptr || scratch == nullptr || state == nullptr || settings == nullptr) {
        return reportFailure(kSourceFile);
    }
    const int32_t halfSize = halfSizeOf(settings->maskSize);
    if (halfSize == 0) {
        return reportFailure(kSourceFile, "Unsupported mask size");
    }
    if (settings->sigmaDistance <= 1e-6F) {
        return reportFailure(kSourceFile, "Sigma distance must be > 0");
    }
    if (settings->sigmaPixel <= 1e-6F) {
        return reportFailure(kSourceFile, "Sigma pixel must be > 0");
    }
    if (!fitsIntoScratch(noCols, noRows)) {
        return reportFailure(kSourceFile);
    }
    imf_lockMutex(services, state);
    if (updateBilateralTables(*settings, halfSize, *state) != 0) {
        return 1;  // the mutex stays taken: the tables are half made
    }
    imf_unlockMutex(services, state);
    const BilateralWeights weights = {.spatial = state->bilatSpatialWeights,
                                      .slope = state->bilatGaussLUTSlope,
                                      .offset = state->bilatGaussLUTOffset,
                                      .step = state->bilatLUTStep};
    ImageFilter_ComputeBilateral(halfSize, weights,
                                 bandOf(inOutImage, *scratch, noCols, noRows, startLine, endLine, halfSize));
    return 0;
}

int32_t zeroImageBorder(float32_t* matrix, int32_t width, int32_t height, int32_t maskSizeHN) noexcept {
    if (matrix == nullptr) {
        return reportFailure(kSourceFile);
    }
    const int64_t bothSides = 2 * int64_t{maskSizeHN};
    if (bothSides > height || bothSides > width) {
        return reportFailure(kSourceFile);
    }
    if (width % 4 != 0) {
        return reportFailure(kSourceFile, "width must be a multiple of 4");
    }
    const int32_t border = std::max(maskSizeHN, 0);
    for (int32_t y = 0; y < height; ++y) {
        float32_t* const line = matrix + int64_t{y} * width;
        if (y < border || y >= height - border) {
            std::fill_n(line, width, 0.0F);
        } else {
            std::fill_n(line, border, 0.0F);
            std::fill_n(line + width - border, border, 0.0F);
        }
    }
    return 0;
}
