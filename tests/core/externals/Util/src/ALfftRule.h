// SPDX-License-Identifier: Apache-2.0
//
// The FFT layer's loops in plain words, and convolution by its definition.
#pragma once

#include <cstddef>
#include <vector>

namespace rule {

/** The spectrum image's place of value `y` of column `x` of the rows' spectra. */
size_t placeInColumns(size_t x, size_t y, size_t height);

/** Product of two spectrum images, value by value. */
std::vector<float> productOfSpectra(const std::vector<float>& a, const std::vector<float>& b, size_t width,
                                    size_t height);

/** Circular convolution of two images of width x height pixels, in double precision. */
std::vector<double> circularConvolution(const std::vector<float>& image, const std::vector<float>& kernel,
                                        size_t width, size_t height);

/** Square root of the sum of squares. */
double norm(const std::vector<float>& image);

}  // namespace rule
