// SPDX-License-Identifier: Apache-2.0
//
// Runs while the library is built: writes the compiled-in point spread function as source text and, for those
// who simulate the lens, as a table of 154905 little-endian floats, row by row.
//   generate_slcalib SOURCE TABLE            the model of a lens below
//   generate_slcalib SOURCE TABLE MEASURED   a lens's own: a table of the same form, all values positive
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "slcalib.h"

namespace {

/**
 * e^x for x up to 0. The standard library's function may differ in the last bit between machines. This one
 * uses exactly rounded operations only, so every machine builds the same table.
 */
double exponential(double x) {
    constexpr double kLn2High = 0x1.62e42fefa38p-1;  // few enough bits for an exact product with the power
    constexpr double kLn2Low = 0x1.ef35793c7673p-45;
    constexpr double kOneDivLn2 = 0x1.71547652b82fep+0;
    constexpr int kTerms = 16;
    if (x < -700.0) {
        return 0.0;  // too small to change the sum with the other terms in a float
    }
    const double power = std::floor(x * kOneDivLn2 + 0.5);
    const double rest = (x - power * kLn2High) - power * kLn2Low;
    double series = 1.0;
    for (int n = kTerms; n > 0; --n) {
        series = 1.0 + series * rest / n;
    }
    return std::ldexp(series, static_cast<int>(power));
}

/** Distance from the optical centre, pixels. */
double radiusOf(double x, double y) {
    return std::sqrt(x * x + y * y);
}

/** The image of a point: diffraction and defocus blur it, and it lies a little off the pixel's centre. */
double core(double x, double y) {
    constexpr double kOffsetX = 0.02;
    constexpr double kOffsetY = -0.0759;
    constexpr double kWidth = 0.7958;  // standard deviation, pixels
    const double dx = x - kOffsetX;
    const double dy = y - kOffsetY;
    return exponential(-(dy * dy + dx * dx) / (2.0 * kWidth * kWidth));
}

/** Near halo: reflections between the sensor's surface and the last lens, within a few pixels. */
double halo(double radius) {
    return 0.00975 * exponential(-radius / 2.3);
}

/** Veiling glare: light that many surfaces scatter, over the whole image, a
 * little more near the source. */
double glare(double radius) {
    return 2.9e-7 * (1.0 + 2.0 * exponential(-radius / 60.0));
}

double tail(double radius) {
    return halo(radius) + glare(radius);
}

/** Share of the light of a point that falls on the pixel (x, y) pixels away, relative to the peak. */
double pointSpread(double x, double y) {
    return core(x, y) / core(0.0, 0.0) * (1.0 - tail(0.0)) + tail(radiusOf(x, y));
}

std::vector<float> modelOfLens() {
    std::vector<float> psf;
    for (int row = 0; row < kPsfHeight; ++row) {
        for (int column = 0; column < kPsfWidth; ++column) {
            const int x = column - kPsfWidth / 2;
            const int y = row - kPsfHeight / 2;
            psf.push_back(static_cast<float>(pointSpread(x, y)));
        }
    }
    return psf;
}

std::vector<float> measuredTable(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    if (!file) {
        throw std::runtime_error(name + " cannot be read");
    }
    std::vector<float> psf;
    std::array<unsigned char, 4> bytes;
    while (file.read(reinterpret_cast<char*>(bytes.data()), bytes.size())) {
        const uint32_t bits = static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
                              static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
        psf.push_back(std::bit_cast<float>(bits));
        if (!std::isfinite(psf.back()) || psf.back() <= 0.0F) {
            throw std::runtime_error(name + ": value " + std::to_string(psf.size() - 1) +
                                     " is not positive and finite");
        }
    }
    if (psf.size() != static_cast<size_t>(kPsfSize) || file.gcount() != 0) {
        throw std::runtime_error(name + " must hold " + std::to_string(kPsfSize) + " floats, " +
                                 std::to_string(4 * kPsfSize) + " bytes");
    }
    return psf;
}

void writeFile(const std::string& bytes, const std::string& name) {
    std::ofstream file(name, std::ios::binary);
    file << bytes;
    if (!file.flush()) {
        throw std::runtime_error(name + " cannot be written");
    }
}

void writeSource(const std::vector<float>& psf, const std::string& name) {
    std::string text = "// Values of the point spread function, row by row. Written by generate_slcalib.\n";
    for (const float value : psf) {
        std::array<char, 32> literal;
        const int length =
            std::snprintf(literal.data(), literal.size(), "%aF,\n", static_cast<double>(value));
        text.append(literal.data(), static_cast<size_t>(length));
    }
    writeFile(text, name);
}

void writeTable(const std::vector<float>& psf, const std::string& name) {
    std::string bytes;
    for (const float value : psf) {
        const auto bits = std::bit_cast<uint32_t>(value);
        for (unsigned int shift = 0; shift < 32; shift += 8) {
            bytes += static_cast<char>(bits >> shift & 0xFFU);
        }
    }
    writeFile(bytes, name);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc != 3 && argc != 4) {
            throw std::invalid_argument("usage: generate_slcalib SOURCE TABLE [MEASURED]");
        }
        const std::vector<float> psf = argc == 4 ? measuredTable(argv[3]) : modelOfLens();
        writeSource(psf, argv[1]);
        writeTable(psf, argv[2]);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "generate_slcalib: %s\n", e.what());
        return 1;
    }
    return 0;
}
