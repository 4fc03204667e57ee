// SPDX-License-Identifier: Apache-2.0
#include "ALSimdRule.h"

#include <array>
#include <bit>
#include <cmath>
#include <limits>

namespace rule {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kSmallestNormal = std::numeric_limits<float>::min();

/** floor(256 / ((q + 0.5) / 512) + 0.5) for q of 256..511: the reciprocal of q / 512, in 1 / 256. */
const std::array<int, 256> kReciprocalSteps = [] {
    std::array<int, 256> steps{};
    for (int i = 0; i < 256; ++i) {
        const double r = 1.0 / ((256 + i + 0.5) / 512.0);
        steps[static_cast<size_t>(i)] = static_cast<int>(std::floor(256.0 * r + 0.5));
    }
    return steps;
}();

/** The same for the square root; entries from 0 on for values in 0.25..0.5, from 128 on for 0.5..1. */
const std::array<int, 256> kRootSteps = [] {
    std::array<int, 256> steps{};
    for (int i = 0; i < 256; ++i) {
        const double scale = i < 128 ? 512.0 : 256.0;
        const double r = 1.0 / std::sqrt((128 + i % 128 + 0.5) / scale);
        steps[static_cast<size_t>(i)] = static_cast<int>(std::floor(256.0 * r + 0.5));
    }
    return steps;
}();

}  // namespace

float truncateThroughInt32(float v) {
    if (std::isnan(v)) {
        return 0.0F;
    }
    if (v >= 2147483648.0F) {
        return 2147483648.0F;
    }
    if (v <= -2147483648.0F) {
        return -2147483648.0F;
    }
    return static_cast<float>(static_cast<int32_t>(v));
}

float floorThroughInt32(float v) {
    const float truncated = truncateThroughInt32(v);
    return truncated > v ? truncated - 1.0F : truncated;
}

float reciprocalEstimate(float v) {
    const float magnitude = std::fabs(v);
    const auto bits = std::bit_cast<uint32_t>(magnitude);
    const auto exponent = static_cast<int>(bits >> 23);
    float estimate = 0.0F;
    if (std::isnan(v)) {
        return v;
    }
    if (exponent == 0) {
        estimate = kInfinity;
    } else if (exponent < 253) {
        const int steps = kReciprocalSteps[(bits >> 15) & 0xFF];
        const auto mantissa = static_cast<uint32_t>(steps - 256) << 15;
        estimate = std::bit_cast<float>(static_cast<uint32_t>(253 - exponent) << 23 | mantissa);
    }
    return std::copysign(estimate, v);
}

float reciprocalSquareRootEstimate(float v) {
    const auto bits = std::bit_cast<uint32_t>(v);
    const auto exponent = static_cast<int>(bits >> 23);
    // v = a * 2^(2 k) with a in 0.25..1: exponent field 125 for odd fields, 126 for even ones.
    const bool odd = exponent % 2 != 0;
    const int k = (exponent - (odd ? 125 : 126)) / 2;
    const int steps = kRootSteps[((bits >> 16) & 0x7F) + (odd ? 0U : 128U)];
    const auto mantissa = static_cast<uint32_t>(steps - 256) << 15;
    return std::bit_cast<float>(static_cast<uint32_t>(127 - k) << 23 | mantissa);
}

float reciprocal(float v) {
    float x = reciprocalEstimate(v);
    x = x * (2.0F - v * x);
    return x * (2.0F - v * x);
}

float squareRoot(float v) {
    if (std::fabs(v) < kSmallestNormal) {
        return 0.0F;
    }
    if (!(v > 0.0F && v < kInfinity)) {
        return std::numeric_limits<float>::quiet_NaN();  // infinity times an estimate of 0
    }
    float x = reciprocalSquareRootEstimate(v);
    x = x * ((3.0F - (v * x) * x) * 0.5F);
    x = x * ((3.0F - (v * x) * x) * 0.5F);
    return x * v;
}

float modN(float v, float n, float oneDivN) {
    const float k = truncateThroughInt32(v * std::fabs(oneDivN));
    float r = std::fabs(v) - std::fabs(n) * k;
    if (!(r < std::fabs(n))) {
        r = r - std::fabs(n);
    }
    if (r < 0.0F) {
        r = r + std::fabs(n);
    }
    return v < 0.0F ? -r : r;
}

float sine(float x) {
    const float k = floorThroughInt32(x * 0.15915494F);
    float r = x - k * 6.2831855F;
    float sign = 1.0F;
    if (r > 3.1415927F) {
        r = 6.2831855F - r;
        sign = -1.0F;
    }
    if (r > 1.5707964F) {
        r = 3.1415927F - r;
    }
    const float q = r * r;
    constexpr float k3 = 0.16666667F;
    constexpr float k5 = 0.05F;
    constexpr float k7 = 0.023809524F;
    constexpr float k9 = 0.013888889F;
    return sign * r * (1.0F - q * k3 * (1.0F - q * k5 * (1.0F - q * k7 * (1.0F - q * k9))));
}

float atan2(float y, float x) {
    constexpr float c[] = {-0.33333147F, 0.19993551F,  -0.14208899F,  0.10656264F,
                           -0.07528964F, 0.042909615F, -0.016165737F, 0.0028662258F};
    constexpr float pi = 3.1415927F;
    const float absX = std::fabs(x);
    const float absY = std::fabs(y);
    float m = absX > absY ? absX : absY;
    m = m > 1e-20F ? m : 1e-20F;
    const float smaller = absX < absY ? absX : absY;
    const float t = smaller * reciprocal(m);
    const float u = t * t;
    float w = u * c[7];
    for (int i = 6; i >= 0; --i) {
        w = u * c[i] + u * w;
    }
    float a = t + t * w;
    if (absY > absX) {
        a = 1.5707964F - a;
    }
    if (x < 0.0F) {
        a = pi - a;
    }
    if (y < 0.0F) {
        a = -a;
    }
    if (a >= pi) {
        a = a - 6.2831855F;
    }
    if (a < -pi) {
        a = a + 6.2831855F;
    }
    return a;
}

}  // namespace rule
