// SPDX-License-Identifier: Apache-2.0
#include "IntensityImage.h"

#include <algorithm>

#include "ALErrorHandling.h"
#include "IntensityImageKernels.h"

namespace {

constexpr char_t kSourceFile[] = "core/app-specific/src/IntensityImage";

/** Dark level of an imager without a usable table, raw counts. */
constexpr uint16_t kDefaultDarkLevel = 2200;

}  // namespace

int32_t IntensityImgInit(IntensityImgState* state, const FreqIndependentCalibration* calib) noexcept {
    if (state == nullptr || calib == nullptr) {
        return reportFailure(kSourceFile);
    }
    const int16_t* const table = calib->FPN;
    if (std::find(table, table + kPixelCount, int16_t{0}) != table + kPixelCount) {
        std::fill_n(state->fpn, kPixelCount, kDefaultDarkLevel);
        return 0;
    }
    std::transform(table, table + kPixelCount, state->fpn,
                   [](int16_t level) { return static_cast<uint16_t>(level); });
    return 0;
}

int32_t IntensityImgApply(IntensityImgState* state, const IntensityImgInput* input,
                          IntensityImgOutput* output) noexcept {
    if (state == nullptr || input == nullptr || output == nullptr) {
        return reportFailure(kSourceFile);
    }
    const uint8_t* const samples = input->intensityPhase;
    if (samples == nullptr) {
        return reportFailure(kSourceFile);
    }
    IntensityImg_SubtractDarkLevel(samples, state->fpn, output->intensity);
    return 0;
}
