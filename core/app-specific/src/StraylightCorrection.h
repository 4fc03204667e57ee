// SPDX-License-Identifier: Apache-2.0
//
// Straylight: bright objects scatter light inside the lens, and every pixel receives a small share of the
// phasor of every other one. These records carry the correction, a convolution of the raw phasor image in the
// Fourier domain.
#pragma once

#include "ALTypes.h"
#include "Ref.h"
#include "slcalib.h"

inline constexpr int32_t kMaxFftWidth = 768;
inline constexpr int32_t kMaxFftHeight = 576;
inline constexpr int32_t kMaxFftPixels = kMaxFftWidth * kMaxFftHeight;
inline constexpr int32_t kFftSetupBytes = 4423680;  ///< memory of one FFT setup

struct ALSLC_Calib {
    Ref<const StraylightCalib> systemCalib;
    int32_t binningEnabled;
};
AL_DESCRIBE(ALSLC_Calib, systemCalib, binningEnabled)

struct ALSLC_Inout {
    Ref<float32_t> xyReal;  ///< in-phase image, corrected in place
    Ref<float32_t> xyImag;  ///< quadrature image, corrected in place
    uint32_t width;
    uint32_t height;
    int32_t numberOfThreads;
    int32_t pyrLevel;  ///< halvings of the pyramid, at most 5; negative: no correction
};
AL_DESCRIBE(ALSLC_Inout, xyReal, xyImag, width, height, numberOfThreads, pyrLevel)

struct ALSLC_State {
    int32_t fftPsfOffset;  ///< where the transformed PSF begins in fftPsf, 16-byte aligned
    float32_t fftPsf[kMaxFftPixels + 4];
    uint8_t fftBuffer[2][kFftSetupBytes];  ///< memory of the FFT setups, one per image
    int32_t fftWidth;
    int32_t fftHeight;
    int32_t pyrLevel;        ///< level for which fftPsf holds
    Ref<void> ffthandle[2];  ///< one per image, so that both can run at the same time
};
AL_DESCRIBE(ALSLC_State, fftPsfOffset, fftPsf, fftBuffer, fftWidth, fftHeight, pyrLevel, ffthandle)

/** Work memory for one image. */
struct ALSLC_FFTProcScratch {
    float32_t fftImg[kMaxFftPixels];
    float32_t dsbuffer[kMaxFftPixels];   ///< two halves, used in turn by the pyramid
    float32_t filteredImg[kPixelCount];  ///< line memory of the pyramid
};

struct ALSLC_Scratch {
    ALSLC_FFTProcScratch fftProcScratch[2];
};
