// SPDX-License-Identifier: Apache-2.0
//
// The engine PFFFT, as it is, under names that clash with nothing.
//
// The build redirects its requests for memory from the C library's malloc to alpffft_malloc
// (cmake/QorFftEngine.cmake). ALpffft defines it.
#pragma once

#include "ALTypes.h"

namespace alpffft {

/** The engine's record of a setup. Its pointers lead into one table of sines and cosines. */
struct Setup {
    int32_t numbers[18];  ///< the length first
    void* data;           ///< the table
    float32_t* e;
    float32_t* twiddle;
};

/** A setup of a legal length. Asks for memory twice: for its record, then for its table. */
Setup* newSetup(int length, bool isComplex) noexcept;

void transformOrdered(Setup& setup, const float* input, float* output, bool isBackward) noexcept;

int vectorWidth() noexcept;

}  // namespace alpffft
