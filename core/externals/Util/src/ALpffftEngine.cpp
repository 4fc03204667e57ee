// SPDX-License-Identifier: Apache-2.0
#include "ALpffftEngine.h"

// The engine's functions carry a prefix; here the header's declarations get it too.
#define pffft_new_setup alpffft_pffft_new_setup
#define pffft_transform_ordered alpffft_pffft_transform_ordered
#define pffft_simd_size alpffft_pffft_simd_size
#include <pffft.h>

namespace alpffft {

Setup* newSetup(int length, bool isComplex) noexcept {
    return reinterpret_cast<Setup*>(pffft_new_setup(length, isComplex ? PFFFT_COMPLEX : PFFFT_REAL));
}

void transformOrdered(Setup& setup, const float* input, float* output, bool isBackward) noexcept {
    pffft_transform_ordered(reinterpret_cast<PFFFT_Setup*>(&setup), input, output, nullptr,
                            isBackward ? PFFFT_BACKWARD : PFFFT_FORWARD);
}

int vectorWidth() noexcept {
    return pffft_simd_size();
}

}  // namespace alpffft
