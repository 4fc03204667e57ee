// SPDX-License-Identifier: Apache-2.0
//
// Random numbers of the simulated camera. The generator is counter based: what a pixel of an image draws
// depends only on the seed, the image and the pixel, not on the order of the work. Generator and transforms
// are written out, so that the stream is the same on every machine.

#pragma once

#include <array>
#include <cstdint>

namespace simulation {

using PhiloxCounter = std::array<std::uint32_t, 4>;
using PhiloxKey = std::array<std::uint32_t, 2>;

// Philox 4x32 with ten rounds (Salmon, Moraes, Dror, Shaw: Parallel random numbers, as easy as 1, 2, 3;
// 2011).
PhiloxCounter philox(PhiloxCounter counter, PhiloxKey key) noexcept;

// What a stream is drawn for; streams of different purposes never meet.
enum class RandomPurpose : std::uint32_t {
    SensorNoise = 0,
    FixedPatternPhase = 1,
    DarkLevel = 2,
    Calibration = 3,
    BadPixels = 4,
};

class RandomStream {
 public:
    // The stream of one seed and purpose, numbered by two indices (for noise: image and pixel).
    RandomStream(std::uint64_t seed, RandomPurpose purpose, std::uint32_t firstIndex = 0,
                 std::uint32_t secondIndex = 0) noexcept;

    // Uniform in the open interval 0..1: 53 random bits, centred in their cell, so neither end occurs.
    double uniform() noexcept;

    // Standard normal numbers by the transform of Box and Muller, two from one block of the generator.
    double normal() noexcept;

    // Poisson distributed count, mean from 0 up. Below a mean of 64 by inversion; from there on by the
    // expansion of Cornish and Fisher, round(mean + sqrt(mean) z + (z^2 - 1) / 6) with a normal z, which
    // keeps mean and skewness and widens the variance by less than 0.25 counts.
    double poisson(double mean) noexcept;

 private:
    std::uint64_t bits() noexcept;

    PhiloxKey key_;
    PhiloxCounter counter_;
    PhiloxCounter block_{};
    int unusedHalves_ = 0;
    double spareNormal_ = 0.0;
    bool hasSpareNormal_ = false;
};

}  // namespace simulation
