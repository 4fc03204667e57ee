// SPDX-License-Identifier: Apache-2.0
// Sums and products of sizes that come from outside: they stop at the largest value instead of wrapping.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>

namespace zelta {

constexpr std::uint32_t saturate(std::uint64_t value) noexcept {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(value, UINT32_MAX));
}

constexpr std::uint32_t saturatingAdd(std::uint32_t a, std::uint32_t b) noexcept {
    return saturate(std::uint64_t{a} + b);
}

constexpr std::uint32_t saturatingMultiply(std::uint32_t a, std::uint32_t b) noexcept {
    return saturate(std::uint64_t{a} * b);
}

/// For sizes and offsets that are kept as int.
constexpr int saturateToInt(std::uint64_t value) noexcept {
    return static_cast<int>(std::min<std::uint64_t>(value, INT_MAX));
}

}  // namespace zelta
