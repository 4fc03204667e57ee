// SPDX-License-Identifier: Apache-2.0
//
// The plain statement of the shared vector arithmetic, one value at a time. It is never sped up: the kernels
// must equal it, and benchmarks compare with it as the plain form.
#pragma once

#include <cstdint>

namespace rule {

/** v truncated to int32 and back: saturated, 0 for NaN. */
float truncateThroughInt32(float v);

/** The largest integer not above v, by truncation. */
float floorThroughInt32(float v);

/** Estimates of the ARM instructions, with subnormal numbers as zero. */
float reciprocalEstimate(float v);
float reciprocalSquareRootEstimate(float v);

float reciprocal(float v);
float squareRoot(float v);
float modN(float v, float n, float oneDivN);
float sine(float x);
float atan2(float y, float x);

}  // namespace rule
