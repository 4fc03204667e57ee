// SPDX-License-Identifier: Apache-2.0
//
// Raw phases of a slope, as another camera would deliver them.

#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <numbers>
#include <vector>

#include "arrays/Array.h"
#include "simulation/Calibration.h"

namespace stacks {

inline constexpr double nearest = 0.4;   // metres, at the left edge
inline constexpr double furthest = 2.2;  // at the right edge

inline double distanceAt(std::size_t x, std::size_t width) {
    return nearest + (furthest - nearest) * static_cast<double>(x) / static_cast<double>(width - 1);
}

struct Signal {
    double amplitude = 500.0;
    double mid = 2048.0;
    double offset = 0.0;                           // radians
    double sign = 1.0;                             // of the phase
    std::vector<int> degrees = {0, 90, 180, 270};  // in the order of the images
};

// The four images, rows of the slope, rounded.
inline std::vector<double> phases(double frequency, std::size_t width, std::size_t height,
                                  const Signal& signal = {}) {
    std::vector<double> samples;
    for (const int degrees : signal.degrees) {
        for (std::size_t y = 0; y < height; ++y) {
            for (std::size_t x = 0; x < width; ++x) {
                const double phi = signal.sign * 2.0 * std::numbers::pi * distanceAt(x, width) /
                                       simulation::uniqueRange(frequency) +
                                   signal.offset;
                // A little height in the picture, so that no two rows are alike.
                const double amplitude = signal.amplitude * (1.0 + 0.001 * static_cast<double>(y));
                samples.push_back(
                    std::round(signal.mid + amplitude * std::cos(phi - degrees * std::numbers::pi / 180.0)));
            }
        }
    }
    return samples;
}

inline arrays::Array arrayOf(const std::vector<double>& samples, std::vector<std::size_t> shape,
                             arrays::ElementType type = {}) {
    std::vector<std::uint8_t> bytes;
    for (const double sample : samples) {
        const auto number = static_cast<std::uint64_t>(static_cast<std::int64_t>(sample));
        for (unsigned int k = 0; k < type.size; ++k) {
            bytes.push_back(
                static_cast<std::uint8_t>(number >> (8U * (type.bigEndian ? type.size - 1 - k : k))));
        }
    }
    return arrays::makeArray(type, std::move(shape), std::move(bytes));
}

// The distances of the slope in whole millimetres.
inline arrays::Array distancesOf(std::size_t width, std::size_t height) {
    std::vector<double> millimetres;
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            millimetres.push_back(std::round(1000.0 * distanceAt(x, width)));
        }
    }
    return arrayOf(millimetres, {height, width});
}

}  // namespace stacks
