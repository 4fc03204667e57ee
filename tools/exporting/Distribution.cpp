// SPDX-License-Identifier: Apache-2.0

#include "exporting/Distribution.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace exporting {
namespace {

// The bits of a float, turned so that they grow with the number. The upper sixteen are the bin: sign,
// exponent and seven bits of the fraction.
constexpr unsigned int binShift = 16;
constexpr std::uint32_t signBit = 0x80000000U;

std::uint32_t keyOf(float value) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    return (bits & signBit) != 0 ? ~bits : bits | signBit;
}

float valueOf(std::uint32_t key) {
    return std::bit_cast<float>((key & signBit) != 0 ? key & ~signBit : ~key);
}

float toFloat(double value) {
    constexpr auto largest = static_cast<double>(std::numeric_limits<float>::max());
    return static_cast<float>(std::clamp(value, -largest, largest));
}

// A scale needs a width, also where all numbers are the same.
Limits withWidth(Limits limits) {
    if (!(limits.maximum > limits.minimum)) {
        limits.maximum = limits.minimum + std::max(1.0, std::abs(limits.minimum));
    }
    return limits;
}

}  // namespace

Distribution::Distribution() : bins_(std::size_t{1} << (32U - binShift)) {}

void Distribution::add(std::span<const double> values) {
    for (const double value : values) {
        if (!std::isfinite(value)) {
            continue;
        }
        minimum_ = count_ == 0 ? value : std::min(minimum_, value);
        maximum_ = count_ == 0 ? value : std::max(maximum_, value);
        ++count_;
        ++bins_[keyOf(toFloat(value)) >> binShift];
    }
}

Limits Distribution::bin(double share) const {
    if (count_ == 0) {
        return {0.0, 0.0};
    }
    const double rank = std::max(std::ceil(share * static_cast<double>(count_)), 1.0);
    std::uint64_t below = 0;
    std::size_t bin = 0;
    while (bin + 1 < bins_.size() && static_cast<double>(below + bins_[bin]) < rank) {
        below += bins_[bin];
        ++bin;
    }
    const auto first = static_cast<std::uint32_t>(bin) << binShift;
    const auto clamped = [this](float value) {
        return std::clamp(static_cast<double>(value), minimum_, maximum_);
    };
    return {clamped(valueOf(first)), clamped(valueOf(first | ((1U << binShift) - 1U)))};
}

Limits colorLimits(const Distribution& distribution) {
    const double low = distribution.minimum() >= 0.0 ? 0.0 : distribution.bin(0.01).minimum;
    return withWidth({low, distribution.bin(0.99).maximum});
}

Limits countLimits(const Distribution& distribution) {
    const double low = distribution.bin(0.001).minimum;
    const double high = distribution.bin(0.999).maximum;
    const double span = high - low;
    return withWidth(
        {std::max(distribution.minimum(), low - span), std::min(distribution.maximum(), high + span)});
}

}  // namespace exporting
