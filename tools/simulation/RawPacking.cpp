// SPDX-License-Identifier: Apache-2.0

#include "simulation/RawPacking.h"

#include <stdexcept>

namespace simulation {

std::vector<std::uint8_t> packRawImage(std::span<const std::uint16_t> samples) {
    if (samples.size() != pixelCount) {
        throw std::invalid_argument("A raw image has 38528 samples.");
    }
    std::vector<std::uint8_t> bytes(rawImageBytes, 0);
    std::size_t position = rawLineBytes;
    for (std::size_t pixel = 0; pixel < pixelCount; pixel += 2) {
        const unsigned even = samples[pixel];
        const unsigned odd = samples[pixel + 1];
        if (even > 4095U || odd > 4095U) {
            throw std::invalid_argument("A raw sample has 12 bits.");
        }
        bytes[position] = static_cast<std::uint8_t>(even >> 4U);
        bytes[position + 1] = static_cast<std::uint8_t>(odd >> 4U);
        bytes[position + 2] = static_cast<std::uint8_t>((even & 0x0FU) | (odd & 0x0FU) << 4U);
        position += 3;
    }
    return bytes;
}

std::vector<std::uint16_t> unpackRawImage(std::span<const std::uint8_t> bytes) {
    if (bytes.size() != rawImageBytes) {
        throw std::invalid_argument("A raw image has 58128 bytes.");
    }
    std::vector<std::uint16_t> samples(pixelCount);
    std::size_t position = rawLineBytes;
    for (std::size_t pixel = 0; pixel < pixelCount; pixel += 2) {
        const unsigned lowNibbles = bytes[position + 2];
        samples[pixel] = static_cast<std::uint16_t>(bytes[position] << 4U | (lowNibbles & 0x0FU));
        samples[pixel + 1] = static_cast<std::uint16_t>(bytes[position + 1] << 4U | lowNibbles >> 4U);
        position += 3;
    }
    return samples;
}

}  // namespace simulation
