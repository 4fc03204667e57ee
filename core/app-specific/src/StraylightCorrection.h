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

/** One image of a correction. */
struct SLC_ProcessHDR_Args {
    const ALSLC_Calib* calib;
    ALSLC_State* state;
    ALSLC_FFTProcScratch* scratch;
    float32_t* hdr_image;  ///< corrected in place
    unsigned int w;
    unsigned int h;
    float32_t corr_factor;  ///< weight of the subtraction
    int binnedMode;         ///< non-zero: the image is already halved once
    int xyidx;              ///< 0: real image, 1: imaginary image
};

/**
 * Checks the sizes of the point spread function, keeps the thread functions for StraylightCorrection_Apply
 * and marks the state, so that the next call of it prepares for its level. A zeroed state needs no
 * initialisation for levels above 0 while a single thread does the work. Returns 0, or 1 after a report.
 * The pipeline itself does not call it.
 */
int StraylightCorrection_Init(const ALSLC_Calib* calib, ALSLC_State* state, FctGetTime ffctGetTime,
                              FctCreateThread ffctCreateThread, FctJoinThread ffctJoinThread) noexcept;

/**
 * Subtracts from both images what the lens scattered into them. The scattered part is smooth, so it is
 * computed on images that the pyramid halved `pyrLevel` times, by circular convolution with the point spread
 * function without its central peak, and interpolated.
 *
 * The first call for a level transforms the point spread function; the state then serves all calls for this
 * level. After a failed preparation the level's calls fail. With `numberOfThreads` above 1 a thread corrects
 * the real image while the caller corrects the imaginary one; a failure on the thread shows only in the error
 * history. Returns 0, or 1 after a report.
 */
int StraylightCorrection_Apply(const ALSLC_Calib* calib, ALSLC_State* state, ALSLC_Scratch* scratch,
                               ALSLC_Inout* inout) noexcept;

/** Corrects one image with a prepared state. Returns 0, or 1 after a report. */
int slcProcessHDR(SLC_ProcessHDR_Args* args) noexcept;
