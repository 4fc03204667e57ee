// SPDX-License-Identifier: Apache-2.0

#include "simulation/Fourier.h"

#include <gtest/gtest.h>

#include <cmath>

namespace simulation {
namespace {

using Complex = std::complex<double>;

constexpr std::size_t size = fourierSize;

std::vector<Complex> point(std::size_t x, std::size_t y) {
    std::vector<Complex> image(size * size);
    image[y * size + x] = 1.0;
    return image;
}

// e^(-2 pi i (u x + v y) / 512)
TEST(Fourier, APointBecomesAWave) {
    std::vector<Complex> image = point(3, 5);
    fourierTransform(image);
    for (const auto& [u, v] : {std::pair{0, 0}, {1, 0}, {0, 1}, {200, 77}, {511, 511}}) {
        const double angle = -2.0 * M_PI * (3.0 * u + 5.0 * v) / 512.0;
        const Complex value = image[static_cast<std::size_t>(v) * size + static_cast<std::size_t>(u)];
        EXPECT_NEAR(value.real(), std::cos(angle), 1e-12) << u << ", " << v;
        EXPECT_NEAR(value.imag(), std::sin(angle), 1e-12) << u << ", " << v;
    }
}

TEST(Fourier, TheInverseLeadsBack) {
    std::vector<Complex> image = point(0, 511);
    image[1234] = {-2.0, 0.5};
    const std::vector<Complex> before = image;
    fourierTransform(image);
    inverseFourierTransform(image);
    for (std::size_t i = 0; i < image.size(); ++i) {
        ASSERT_LT(std::abs(image[i] - before[i]), 1e-14) << i;
    }
}

}  // namespace
}  // namespace simulation
