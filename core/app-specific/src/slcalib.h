// SPDX-License-Identifier: Apache-2.0
//
// Calibration of the straylight correction: the lens's point spread function.
#pragma once

#include "ALTypes.h"

inline constexpr int32_t kPsfWidth = 449;
inline constexpr int32_t kPsfHeight = 345;
inline constexpr int32_t kPsfSize = kPsfWidth * kPsfHeight;

struct StraylightCalib {
    float32_t psf[kPsfSize];  ///< row by row, psfWidth columns, peak 1
    uint32_t psfWidth;
    uint32_t psfHeight;
    float32_t filterCutOff;      ///< values of the scaled function at or above it are removed
    float32_t correctionFactor;  ///< weight of the subtraction
};
static_assert(kPsfSize == 154905 && sizeof(StraylightCalib) == sizeof(float32_t) * (kPsfSize + 4));

/**
 * The calibration of this build: the model of the lens, or the table that QOR_STRAYLIGHT_PSF_FILE named. The
 * record is constant; nobody writes to it.
 */
StraylightCalib* getCompiledInCalib() noexcept;
