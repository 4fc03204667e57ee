// SPDX-License-Identifier: Apache-2.0
//
// The plain statement of the distance noise, one pixel at a time. It is never sped up: the stage must equal
// it, and benchmarks compare with it as the plain form.
#pragma once

#include "Distnoise.h"

namespace rule {

/** Metres per radian of phase. */
float distanceNoiseFactor(const DistnoiseInput& input);

/** Noise of pixel i, metres, for `combinedFactor` metres per radian. */
float distanceNoise(const DistnoiseInput& input, float combinedFactor, uint16_t confidence, int32_t i);

/** The whole image and its limit. The records must be valid. */
void distanceNoise(const DistnoiseInput& input, const DistnoiseInOut& inout);

}  // namespace rule
