// SPDX-License-Identifier: Apache-2.0
//
// Opens the shared vector arithmetic to tests: each function over arrays, on the target that is dispatched
// to.
#pragma once

#include <cstddef>
#include <cstdint>

namespace probe {

/** The vector target that is dispatched to. */
int64_t target();

/** out[i] = f(x[i]) or f(x[i], y[i]) for any count; values after the last
 * whole vector are handled too. */
void selectMax(const float* a, const float* b, float* out, size_t count);
void selectMin(const float* a, const float* b, float* out, size_t count);
void truncateThroughInt32(const float* x, float* out, size_t count);
void floorThroughInt32(const float* x, float* out, size_t count);
void reciprocalEstimate(const float* x, float* out, size_t count);
void reciprocalSquareRootEstimate(const float* x, float* out, size_t count);
void reciprocal(const float* x, float* out, size_t count);
void squareRoot(const float* x, float* out, size_t count);
void sine(const float* x, float* out, size_t count);
void atan2(const float* y, const float* x, float* out, size_t count);
void modN(const float* v, float n, float oneDivN, float* out, size_t count);

}  // namespace probe
