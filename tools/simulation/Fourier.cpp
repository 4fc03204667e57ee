// SPDX-License-Identifier: Apache-2.0

#include "simulation/Fourier.h"

#include <array>
#include <cstddef>
#include <utility>

#include "simulation/Elementary.h"

namespace simulation {
namespace {

constexpr std::size_t size = fourierSize;
using Complex = std::complex<double>;
using Line = std::array<Complex, size>;

// e^(-2 pi i k / size)
const std::array<Complex, size / 2>& roots() {
    static const std::array<Complex, size / 2> table = [] {
        std::array<Complex, size / 2> values;
        for (std::size_t k = 0; k < values.size(); ++k) {
            const SineCosine turn = sineAndCosine(2.0 * pi * static_cast<double>(k) / fourierSize);
            values[k] = {turn.cosine, -turn.sine};
        }
        return values;
    }();
    return table;
}

void reverseBits(Line& line) {
    std::size_t reversed = 0;
    for (std::size_t i = 0; i + 1 < size; ++i) {
        if (i < reversed) {
            std::swap(line[i], line[reversed]);
        }
        std::size_t bit = size / 2;
        while ((reversed & bit) != 0) {
            reversed ^= bit;
            bit /= 2;
        }
        reversed |= bit;
    }
}

// Cooley and Tukey, decimation in time.
void transform(Line& line) {
    reverseBits(line);
    for (std::size_t half = 1; half < size; half *= 2) {
        const std::size_t stride = size / (2 * half);
        for (std::size_t begin = 0; begin < size; begin += 2 * half) {
            for (std::size_t k = 0; k < half; ++k) {
                const Complex odd = product(line[begin + half + k], roots()[k * stride]);
                line[begin + half + k] = line[begin + k] - odd;
                line[begin + k] += odd;
            }
        }
    }
}

}  // namespace

void fourierTransform(std::vector<Complex>& image) {
    Line line;
    for (std::size_t y = 0; y < size; ++y) {
        for (std::size_t x = 0; x < size; ++x) {
            line[x] = image.at(y * size + x);
        }
        transform(line);
        for (std::size_t x = 0; x < size; ++x) {
            image[y * size + x] = line[x];
        }
    }
    for (std::size_t x = 0; x < size; ++x) {
        for (std::size_t y = 0; y < size; ++y) {
            line[y] = image[y * size + x];
        }
        transform(line);
        for (std::size_t y = 0; y < size; ++y) {
            image[y * size + x] = line[y];
        }
    }
}

// The inverse is the transform of the conjugate, conjugated.
void inverseFourierTransform(std::vector<Complex>& image) {
    for (Complex& value : image) {
        value = std::conj(value);
    }
    fourierTransform(image);
    constexpr double factor = 1.0 / (static_cast<double>(fourierSize) * fourierSize);
    for (Complex& value : image) {
        value = std::conj(value) * factor;
    }
}

}  // namespace simulation
