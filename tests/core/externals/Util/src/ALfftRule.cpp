// SPDX-License-Identifier: Apache-2.0
#include "ALfftRule.h"

#include <cmath>

namespace rule {

size_t placeInColumns(size_t x, size_t y, size_t height) {
    if (x < 2) {
        return x * height + y;  // a real column
    }
    return x / 2 * 2 * height + 2 * y + x % 2;  // a column pair, interleaved
}

std::vector<float> productOfSpectra(const std::vector<float>& a, const std::vector<float>& b, size_t width,
                                    size_t height) {
    std::vector<float> product(width * height);
    for (size_t row = 0; row < width; ++row) {
        for (size_t i = 0; i < height; i += 2) {
            const size_t real = row * height + i;
            const size_t imag = real + 1;
            if (row < 2 && i == 0) {  // frequency 0 and Nyquist are real
                product[real] = a[real] * b[real];
                product[imag] = a[imag] * b[imag];
                continue;
            }
            product[real] = b[real] * a[real] - b[imag] * a[imag];
            product[imag] = a[real] * b[imag] + b[real] * a[imag];
        }
    }
    return product;
}

std::vector<double> circularConvolution(const std::vector<float>& image, const std::vector<float>& kernel,
                                        size_t width, size_t height) {
    std::vector<double> result(width * height);
    for (size_t y = 0; y < height; ++y) {
        for (size_t x = 0; x < width; ++x) {
            const auto value = static_cast<double>(image[y * width + x]);
            if (value == 0.0) {
                continue;
            }
            for (size_t ky = 0; ky < height; ++ky) {
                const size_t row = (y + ky) % height * width;
                for (size_t kx = 0; kx < width; ++kx) {
                    result[row + (x + kx) % width] += value * static_cast<double>(kernel[ky * width + kx]);
                }
            }
        }
    }
    return result;
}

double norm(const std::vector<float>& image) {
    double sum = 0.0;
    for (const float value : image) {
        sum += static_cast<double>(value) * static_cast<double>(value);
    }
    return std::sqrt(sum);
}

}  // namespace rule
