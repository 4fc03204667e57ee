// SPDX-License-Identifier: Apache-2.0
//
// Fourier transform of a square image, with the same bits on every machine: a recording needs that. The bits
// of a library's transform depend on the machine's instructions.

#pragma once

#include <complex>
#include <vector>

namespace simulation {

inline constexpr int fourierSize = 512;  // columns and rows

// In place. Forward, or backward with the factor 1 / 512^2.
void fourierTransform(std::vector<std::complex<double>>& image);
void inverseFourierTransform(std::vector<std::complex<double>>& image);

// Written out: the multiplication of std::complex looks for infinities first.
inline std::complex<double> product(const std::complex<double>& a, const std::complex<double>& b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

}  // namespace simulation
