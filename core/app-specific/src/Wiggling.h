// SPDX-License-Identifier: Apache-2.0
//
// Wiggling: the imager's correlation function is no pure sine, so phase and length of a raw (X, Y) pair
// wiggle around the ideal as the true phase runs through a period. These records carry the tables that lead
// from (phase, amplitude) into the raw domain and back.
#pragma once

#include "QorRecords.h"
#include "Ref.h"

inline constexpr int32_t kInverseLutSize = 257;    ///< one period of 256 samples, and the first again
inline constexpr int32_t kReferenceLutSize = 256;  ///< one period on the reference phase axis

/** The shape to which a raw (X, Y) pair is referred. */
enum WigglingCalibReferenceFunc : int32_t {
    ReferenceFunc_UnitCircle = 0,
    ReferenceFunc_UnitSquare = 1,
    ReferenceFunc_UnitDiamond = 2,
};

struct WigglingCalib {
    Ref<const FreqDependentCalibration> freqDepCalib;  ///< numFreqs records
    uint32_t numFreqs;                                 ///< at most 4
    WigglingCalibReferenceFunc referenceFunc;
    int32_t binningEnabled;  ///< non-zero: 2 x 2 binned images
};
AL_DESCRIBE(WigglingCalib, freqDepCalib, numFreqs, referenceFunc, binningEnabled)

/** Tables per frequency slot, built at initialisation. */
struct WigglingState {
    float32_t invCalibLut[kFrequencySlots][kInverseLutSize];  ///< true phase to raw X and Y, normalised to 1
    float32_t lutPhase[kFrequencySlots][kReferenceLutSize];   ///< reference phase to true phase, radians
    float32_t lutAmp[kFrequencySlots][kReferenceLutSize];     ///< reference phase to amplitude factor
    float32_t FPPN[kFrequencySlots][kPixelCount];             ///< fixed phase offset per pixel, radians
};
AL_DESCRIBE(WigglingState, invCalibLut, lutPhase, lutAmp, FPPN)

/** Work memory of the table building. */
struct WigglingScratch {
    float32_t raw2calib[768];  ///< three periods of the calibrated phase
    float32_t calib2raw[256];
    float32_t akf00[256];  ///< correlation estimate from the in-phase channel
    float32_t akf90[256];  ///< correlation estimate from the quadrature channel
    float32_t akf[128];    ///< averaged half period
};

struct WigglingForwardInput {
    Ref<const float32_t> xyReal;
    Ref<const float32_t> xyImag;
    Ref<const uint8_t> expSource;  ///< carried, not read
    uint32_t nPixel;               ///< a multiple of 8
    uint32_t freqIdx;
    Ref<const float32_t> expTimes;                         ///< carried, not read
    Ref<const float32_t> refChannelOutputFinePhaseOffset;  ///< carried, not read
    uint32_t numExpTimes;                                  ///< at most 2
    uint32_t applyFPPN;                                    ///< carried, not read
};
AL_DESCRIBE(WigglingForwardInput, xyReal, xyImag, expSource, nPixel, freqIdx, expTimes,
            refChannelOutputFinePhaseOffset, numExpTimes, applyFPPN)

struct WigglingForwardInout {
    Ref<float32_t> phi;             ///< true phase, radians
    Ref<float32_t> ampl;            ///< amplitude
    Ref<float32_t> ampNormFactors;  ///< carried, not read
};
AL_DESCRIBE(WigglingForwardInout, phi, ampl, ampNormFactors)

struct WigglingBackwardInput {
    uint32_t nPixel;  ///< a multiple of 4
    uint32_t freqIdx;
    Ref<const float32_t> phi;   ///< true phase, radians
    Ref<const float32_t> ampl;  ///< amplitude
};
AL_DESCRIBE(WigglingBackwardInput, nPixel, freqIdx, phi, ampl)

struct WigglingBackwardInout {
    Ref<float32_t> xyReal;
    Ref<float32_t> xyImag;
};
AL_DESCRIBE(WigglingBackwardInout, xyReal, xyImag)

/**
 * Builds the tables of `calib->numFreqs` frequencies (0 to 4; with 0 nothing is written and nothing else
 * read) from their amplitude wiggling and fixed pattern. Binned fixed patterns fill the first 112 x 86 values
 * and leave the others. May be repeated. Fails where no tables can be built: a correlation function of zeros
 * or without numbers, a calibrated phase more than a period off, an unknown reference function. The tables of
 * earlier frequencies then stay valid. Returns 0, or 1 with a report. `scratch` must not be null.
 */
int32_t Wiggling_Init(const WigglingCalib* calib, WigglingState* state, WigglingScratch* scratch) noexcept;

/**
 * From raw X and Y to true phase (0 to 2 pi) and amplitude, `nPixel` values each, through the tables of
 * frequency slot `freqIdx` (0 to 3). Returns 0, or 1 with a report and no pixel written.
 */
int32_t Wiggling_Forward(const WigglingForwardInput* input, const WigglingState* state,
                         const WigglingCalib* calib, WigglingForwardInout* inout) noexcept;

/**
 * From true phase (radians, above -2 pi) and amplitude to raw X and Y, `nPixel` values each, through the
 * tables of frequency slot `freqIdx` (0 to 3). Returns 0, or 1 with a report and no pixel written.
 */
int32_t Wiggling_Backward(const WigglingBackwardInput* input, const WigglingState* state,
                          const WigglingCalib* calib, WigglingBackwardInout* inout) noexcept;
