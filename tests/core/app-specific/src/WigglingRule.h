// SPDX-License-Identifier: Apache-2.0
//
// The plain statement of the wiggling stage: its two directions pixel by pixel, and its tables sample by
// sample. It is never sped up: the stage must equal it, and benchmarks compare with it as the plain form.
#pragma once

#include <array>

#include "Wiggling.h"
#include "WigglingKernels.h"

namespace rule {

void wigglingBackward(const float* invCalibLut, const WigglingBackwardImages& images);

void wigglingForward(WigglingCalibReferenceFunc referenceFunc, const float* lutPhase, const float* lutAmp,
                     const WigglingForwardImages& images);

struct WigglingTables {
    std::array<float, kInverseLutSize> invCalibLut;
    std::array<float, kReferenceLutSize> lutPhase;
    std::array<float, kReferenceLutSize> lutAmp;
};

/** The tables of an amplitude wiggling (5 coefficients) whose reference phase rises over the period. */
WigglingTables wigglingTables(const float* ampWigg, WigglingCalibReferenceFunc referenceFunc);

}  // namespace rule
