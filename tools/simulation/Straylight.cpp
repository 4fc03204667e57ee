// SPDX-License-Identifier: Apache-2.0

#include "simulation/Straylight.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>

#include "simulation/Fourier.h"

namespace simulation {
namespace {

using Complex = std::complex<double>;

constexpr std::size_t valueCount = static_cast<std::size_t>(PointSpread::width) * PointSpread::height;

// Scattered light of scattered light falls by a factor of about six each time.
constexpr int roundsOfScattering = 12;

std::size_t wrapped(int offset) {
    return static_cast<std::size_t>((offset + fourierSize) % fourierSize);
}

std::vector<Complex> emptySquare() {
    return std::vector<Complex>(static_cast<std::size_t>(fourierSize) * fourierSize);
}

}  // namespace

PointSpread readPointSpread(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::invalid_argument("Cannot read " + path.string() + ".");
    }
    std::vector<char> bytes(4 * valueCount + 1);
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (file.gcount() != static_cast<std::streamsize>(4 * valueCount)) {
        throw std::invalid_argument(path.string() +
                                    " is no point spread function: it must hold 449 x 345 floats, " +
                                    std::to_string(4 * valueCount) + " bytes.");
    }
    PointSpread pointSpread;
    pointSpread.values.reserve(valueCount);
    for (std::size_t i = 0; i < valueCount; ++i) {
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 4; ++k) {
            bits |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[4 * i + k])) << (8 * k);
        }
        const float value = std::bit_cast<float>(bits);
        if (!std::isfinite(value) || value < 0.0F) {
            throw std::invalid_argument(path.string() + ": value " + std::to_string(i) +
                                        " is negative or no number.");
        }
        pointSpread.values.push_back(static_cast<double>(value));
    }
    return pointSpread;
}

Straylight::Straylight(const PointSpread& pointSpread, double weight, int coreRadius)
    : spectrum_(emptySquare()) {
    double sum = 0.0;
    for (const double value : pointSpread.values) {
        sum += value;
    }
    if (!(sum > 0.0)) {
        throw std::invalid_argument("A point spread function without light.");
    }
    const double share = weight / sum;
    for (int row = 0; row <= 2 * imageHeight; ++row) {
        for (int column = 0; column <= 2 * imageWidth; ++column) {
            const int dy = row - imageHeight;
            const int dx = column - imageWidth;
            if (dx * dx + dy * dy <= coreRadius * coreRadius) {
                continue;
            }
            const std::size_t place =
                static_cast<std::size_t>(row) * PointSpread::width + static_cast<std::size_t>(column);
            // A pixel receives light from the pixel that lies (dx, dy) away.
            spectrum_[wrapped(-dy) * fourierSize + wrapped(-dx)] = share * pointSpread.values.at(place);
        }
    }
    fourierTransform(spectrum_);
}

void Straylight::addTo(std::vector<Complex>& phasors) const {
    const std::vector<Complex> ideal = phasors;
    std::vector<Complex> square;
    for (int round = 0; round < roundsOfScattering; ++round) {
        square = emptySquare();
        for (std::size_t i = 0; i < phasors.size(); ++i) {
            square[i / imageWidth * fourierSize + i % imageWidth] = phasors[i];
        }
        fourierTransform(square);
        for (std::size_t i = 0; i < square.size(); ++i) {
            square[i] = product(square[i], spectrum_[i]);
        }
        inverseFourierTransform(square);
        for (std::size_t i = 0; i < phasors.size(); ++i) {
            phasors[i] = ideal[i] + square[i / imageWidth * fourierSize + i % imageWidth];
        }
    }
}

}  // namespace simulation
