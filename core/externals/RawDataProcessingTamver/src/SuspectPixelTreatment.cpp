// SPDX-License-Identifier: Apache-2.0
#include "SuspectPixelTreatment.h"

#include <limits>

#include "ALErrorHandling.h"
#include "ALUtil.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/RawDataProcessingTamver/src/SuspectPixelTreatment";
constexpr FixedLineReport fail = {kSourceFile};

// Lines by which readers of the error history know the failures.
constexpr int32_t kLineInitStateNull = 17;
constexpr int32_t kLineInitCalibNull = 18;
constexpr int32_t kLineInitSize = 19;
constexpr int32_t kLineTooManyInMatrix = 30;
constexpr int32_t kLineTooManyInArray = 38;
constexpr int32_t kLineNeitherMatrixNorArray = 45;
constexpr int32_t kLineApplyInputNull = 136;
constexpr int32_t kLineApplyStateNull = 137;
constexpr int32_t kLineApplyInOutNull = 138;
constexpr int32_t kLineApplyConfidenceNull = 139;
constexpr int32_t kLineApplyDistanceNull = 140;
constexpr int32_t kLineApplySize = 141;

int32_t takePixelsFromMatrix(const uint16_t* matrix, int32_t pixelCount,
                             SuspectPixelTreatmentState& state) noexcept {
    int32_t count = 0;
    for (int32_t pixel = 0; pixel < pixelCount; ++pixel) {
        if (matrix[pixel] == 0) {
            continue;
        }
        if (count == kMaxBadPixels) {
            return reportFailure(kSourceFile, "Too many suspect pixels (matrix mode)", kLineTooManyInMatrix);
        }
        state.badPixelIdx[count] = pixel;
        ++count;
    }
    state.numBadPixel = count;
    return 0;
}

int32_t takePixelsFromArray(const int32_t* badPixelIdx, int32_t numBadPixel,
                            SuspectPixelTreatmentState& state) noexcept {
    if (badPixelIdx == nullptr) {
        return fail(kLineNeitherMatrixNorArray, "Either matrix or idx-array must be valid");
    }
    if (numBadPixel > kMaxBadPixels) {
        return reportFailure(kSourceFile, "Too many suspect pixels (array mode)", kLineTooManyInArray);
    }
    const int32_t count = al_maxi(numBadPixel, 0);
    const int32_t size = count * static_cast<int32_t>(sizeof(int32_t));
    if (al_memcpy(state.badPixelIdx, badPixelIdx, size) != 0) {
        return reportFailure(kSourceFile);
    }
    state.numBadPixel = count;
    return 0;
}

/** Enters the neighbours of suspect pixel `i`. */
void findNeighbours(int32_t width, int32_t height, int32_t i, SuspectPixelTreatmentState& state) noexcept {
    const int32_t p = state.badPixelIdx[i];
    const bool inside = p >= 0 && p < width * height;
    const bool up = inside && p / width > 0;
    const bool below = inside && p / width < height - 1;
    const bool left = inside && p % width > 0;
    const bool right = inside && p % width < width - 1;
    state.luIdx[i] = up && left ? p - width - 1 : -1;
    state.muIdx[i] = up ? p - width : -1;
    state.ruIdx[i] = up && right ? p - width + 1 : -1;
    state.leIdx[i] = left ? p - 1 : -1;
    state.riIdx[i] = right ? p + 1 : -1;
    state.lbIdx[i] = below && left ? p + width - 1 : -1;
    state.mbIdx[i] = below ? p + width : -1;
    state.rbIdx[i] = below && right ? p + width + 1 : -1;
}

/** The images of a call; the amplitudes may be null. */
struct Images {
    int64_t pixelCount;
    uint16_t* confidence;
    float32_t* distance;
    float32_t* amplitude;
    float32_t* normalizedAmplitude;

    bool contain(int32_t pixel) const noexcept { return pixel >= 0 && pixel < pixelCount; }
};

/** The pixel becomes the mean of its valid neighbours, or 0 without any. */
void replaceByMean(const SuspectPixelTreatmentState& state, int32_t i, const Images& images) noexcept {
    const int32_t neighbours[] = {state.luIdx[i], state.muIdx[i], state.ruIdx[i], state.leIdx[i],
                                  state.riIdx[i], state.lbIdx[i], state.mbIdx[i], state.rbIdx[i]};
    float32_t* const values[] = {images.distance, images.amplitude, images.normalizedAmplitude};
    const int32_t p = state.badPixelIdx[i];
    for (float32_t* const image : values) {
        if (image == nullptr) {
            continue;
        }
        int32_t count = 0;
        float32_t sum = 0.0F;
        for (const int32_t n : neighbours) {
            if (images.contain(n) && (images.confidence[n] & kConfidenceInvalid) == 0) {
                ++count;
                sum += image[n];
            }
        }
        image[p] = count > 0 ? sum / static_cast<float32_t>(count) : 0.0F;
    }
}

}  // namespace

int32_t SuspectPixelTreatment_Init(const SuspectPixelTreatmentCalib* calib,
                                   SuspectPixelTreatmentState* state) noexcept {
    if (state == nullptr) {
        return fail(kLineInitStateNull);
    }
    if (calib == nullptr) {
        return fail(kLineInitCalibNull);
    }
    const int32_t width = calib->width;
    const int32_t height = calib->height;
    if (width < 1 || height < 1) {
        return fail(kLineInitSize);
    }
    state->numBadPixel = 0;
    if (width > std::numeric_limits<int32_t>::max() / height) {
        return reportFailure(kSourceFile);  // no index reaches the last pixel
    }
    const uint16_t* const matrix = calib->badPixelMatrix;
    const int32_t failed = matrix != nullptr
                               ? takePixelsFromMatrix(matrix, width * height, *state)
                               : takePixelsFromArray(calib->badPixelIdx, calib->numBadPixel, *state);
    if (failed != 0) {
        return 1;
    }
    for (int32_t i = 0; i < state->numBadPixel; ++i) {
        findNeighbours(width, height, i, *state);
    }
    return 0;
}

int32_t SuspectPixelTreatment_Apply(const SuspectPixelTreatmentInput* input,
                                    SuspectPixelTreatmentState* state,
                                    SuspectPixelTreatmentInOut* inout) noexcept {
    if (input == nullptr) {
        return fail(kLineApplyInputNull);
    }
    if (state == nullptr) {
        return fail(kLineApplyStateNull);
    }
    if (inout == nullptr) {
        return fail(kLineApplyInOutNull);
    }
    const Images images = {int64_t{inout->width} * inout->height, inout->confidence, inout->distance,
                           inout->amplitude, inout->normalizedAmplitude};
    if (images.confidence == nullptr) {
        return fail(kLineApplyConfidenceNull);
    }
    if (images.distance == nullptr) {
        return fail(kLineApplyDistanceNull);
    }
    if (inout->width < 1 || inout->height < 1) {
        return fail(kLineApplySize);
    }
    if (input->applyTreatement == 0 || state->numBadPixel < 1) {
        return 0;
    }
    if (state->numBadPixel > kMaxBadPixels) {
        return reportFailure(kSourceFile);
    }
    for (int32_t i = 0; i < state->numBadPixel; ++i) {
        if (images.contain(state->badPixelIdx[i])) {
            replaceByMean(*state, i, images);
        }
    }
    // Done last, so that no mean includes a neighbour that this call repaired.
    for (int32_t i = 0; i < state->numBadPixel; ++i) {
        const int32_t p = state->badPixelIdx[i];
        if (images.contain(p) && images.distance[p] != 0.0F) {
            images.confidence[p] = static_cast<uint16_t>(images.confidence[p] & ~kConfidenceInvalid);
        }
    }
    return 0;
}
