// SPDX-License-Identifier: Apache-2.0
//
// The plain statement of the medians: every mask is sorted by itself. It is never sped up: the filters must
// equal it, and benchmarks compare with it as the plain form.
#pragma once

#include <cstdint>

namespace rule {

void median3x3(const float* src, float* dst, int32_t width, int32_t height, int32_t startLine,
               int32_t endLine);

void median5x5(const float* src, float* dst, int32_t width, int32_t height, int32_t startLine,
               int32_t endLine);

}  // namespace rule
