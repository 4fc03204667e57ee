// SPDX-License-Identifier: Apache-2.0
// Sums and products of sizes that come from outside: they stop at the largest value instead of wrapping.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <span>

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

/// The number of elements of these dimensions: 0 if one of them is 0, however large the others are.
constexpr std::uint32_t elementCount(std::span<const unsigned int> dimensions) noexcept {
    std::uint32_t product = 1;
    bool isEmpty = false;
    for (const unsigned int dimension : dimensions) {
        isEmpty = isEmpty || dimension == 0;
        product = saturatingMultiply(product, dimension);
    }
    return isEmpty ? 0 : product;
}

/// For sizes and offsets that are kept as int.
constexpr int saturateToInt(std::uint64_t value) noexcept {
    return static_cast<int>(std::min<std::uint64_t>(value, INT_MAX));
}

}  // namespace zelta
