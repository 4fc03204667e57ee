// SPDX-License-Identifier: Apache-2.0
//
// The installed PFFFT, as it is, under names that clash with nothing.
//
// The build takes the library as one object whose requests for memory go to alpffft_malloc instead of the C
// library's malloc (cmake/FindPFFFT.cmake). ALpffft defines it.
#pragma once

namespace alpffft {

/** A setup of a legal length. Asks for memory twice: for its header, then for its tables. */
void* newSetup(int length, bool isComplex) noexcept;

void transformOrdered(void* setup, const float* input, float* output, bool isBackward) noexcept;

int vectorWidth() noexcept;

}  // namespace alpffft
