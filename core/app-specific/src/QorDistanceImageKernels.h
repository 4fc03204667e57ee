// SPDX-License-Identifier: Apache-2.0
//
// Per-pixel loops of the driver. All of them run over the whole image.
#pragma once

#include "ALTypes.h"

/** How a phase becomes a distance at one modulation frequency. */
struct PhaseToMetresParam {
    float32_t tempCorr;         ///< phase drift by the temperature of the illumination, radians
    float32_t metresPerRadian;  ///< unique range / 2 pi
    float32_t range;            ///< unique range, metres
    float32_t offset;           ///< multiple of the unique range that keeps the value positive, metres
};

/** The result of the straylight correction, and the measurement to compare it with. */
struct StraylightComparison {
    const float32_t* amplitude;      ///< measured
    const float32_t* phaseAfterSLC;  ///< corrected, radians
    const float32_t* amplAfterSLC;   ///< corrected
    float32_t maxPhaseChange;        ///< radians; a larger change rejects the pixel; 0 or less: no limit
    float32_t maxAmplitudeChange;    ///< fraction of the amplitude; likewise
};

/** Turns phases (radians) into distances (metres) in place; pixels with confidence bit 0x0001 get 0. */
void DistanceImage_PhaseToMetres(const PhaseToMetresParam& param, float32_t* distance,
                                 const uint16_t* confidence) noexcept;

/**
 * The same for the corrected phase. A pixel whose phase or amplitude the straylight correction changed by
 * more than the limits gets confidence bit 0x0001.
 */
void DistanceImage_CorrectedPhaseToMetres(const PhaseToMetresParam& param,
                                          const StraylightComparison& straylight, float32_t* distance,
                                          uint16_t* confidence) noexcept;

/** Multiplies each amplitude by its pixel's gain. */
void DistanceImage_ApplyVignetting(float32_t* amplitude, const float32_t* gain) noexcept;

/** The low eight bits of each pixel's confidence. */
void DistanceImage_NarrowConfidence(const uint16_t* confidence, uint8_t* narrowed) noexcept;
