// SPDX-License-Identifier: Apache-2.0
//
// Single precision values by their bits, for tests that compare exactly or go to the extremes.
#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

constexpr std::uint32_t bitsOf(float value) {
    return std::bit_cast<std::uint32_t>(value);
}

constexpr float fromBits(std::uint32_t bits) {
    return std::bit_cast<float>(bits);
}

inline constexpr float kInfinity = std::numeric_limits<float>::infinity();
inline constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

/** The places where single precision arithmetic has edges, both signs. */
inline constexpr std::array<float, 36> kExtremes = {
    0.0F,
    -0.0F,
    1.0F,
    -1.0F,
    0.5F,
    -0.5F,
    2.0F,
    -2.0F,
    fromBits(0x00000001U),
    fromBits(0x80000001U),  // smallest subnormal
    fromBits(0x007FFFFFU),
    fromBits(0x807FFFFFU),  // largest subnormal
    fromBits(0x00800000U),
    fromBits(0x80800000U),  // smallest normal
    8388607.5F,
    -8388607.5F,  // last value with a fraction
    16777216.0F,
    -16777216.0F,  // from here on no odd integers
    2147483520.0F,
    -2147483520.0F,  // last value below 2^31
    2147483648.0F,
    -2147483648.0F,  // 2^31
    2147483904.0F,
    -2147483904.0F,  // first value beyond 2^31
    127.0F,
    -127.0F,
    128.0F,
    -128.0F,  // exponent limits
    fromBits(0x7F7FFFFFU),
    fromBits(0xFF7FFFFFU),  // largest finite
    kInfinity,
    -kInfinity,
    kNaN,
    -kNaN,
    fromBits(0x7F800001U),
    fromBits(0xFFFFFFFFU),  // a signalling NaN, all bits set
};
