// SPDX-License-Identifier: Apache-2.0
//
// Per-pixel loops of the wiggling stage, for any number of pixels.
//
// Both directions read two neighbouring samples of a table and weigh them by the fraction of the position.
// No position leads outside a table: positions below 0 and NaN use the first two samples, and positions from
// the last sample on use that sample alone.
#pragma once

#include <cstddef>

#include "ALTypes.h"

enum WigglingCalibReferenceFunc : int32_t;  ///< the three shapes of Wiggling.h

/** Images of `pixelCount` values. */
struct WigglingBackwardImages {
    size_t pixelCount;
    const float32_t* phi;   ///< true phase, radians
    const float32_t* ampl;  ///< amplitude
    float32_t* xyReal;
    float32_t* xyImag;
};

/**
 * Raw X and Y of every pixel. `invCalibLut` has 257 samples, 256 to a period: X is its value at the phase, Y
 * its value a quarter period earlier, both times the amplitude.
 */
void Wiggling_ComputeRaw(const float32_t* invCalibLut, const WigglingBackwardImages& images) noexcept;

/** Images of `pixelCount` values. */
struct WigglingForwardImages {
    size_t pixelCount;
    const float32_t* xyReal;
    const float32_t* xyImag;
    float32_t* phi;   ///< true phase, radians
    float32_t* ampl;  ///< amplitude
};

/**
 * True phase (0 to 2 pi) and amplitude of every pixel. `lutPhase` and `lutAmp` have 256 samples, 255 to a
 * period of the phase that `referenceFunc` gives; the amplitude is a multiple of the radius that it gives.
 * `referenceFunc` must be one of the three.
 */
void Wiggling_ComputeTrue(WigglingCalibReferenceFunc referenceFunc, const float32_t* lutPhase,
                          const float32_t* lutAmp, const WigglingForwardImages& images) noexcept;
