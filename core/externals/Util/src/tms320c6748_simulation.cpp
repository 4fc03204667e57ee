// SPDX-License-Identifier: Apache-2.0
//
// The two table estimates, their tables, and the packed byte and half word operations.
#include "tms320c6748_simulation.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr unsigned int kMantissaSteps = 256;  // the tables use eight bits of the mantissa

/**
 * Entry i is the nearest integer to (2 / (1 + i / 256) - 1) * 256 = 2^17 / (256 + i) - 256. No quotient lies
 * half way between integers: 2^18 has no odd divisor but 1.
 */
constexpr std::array<unsigned int, 256> makeReciprocalTable() {
    std::array<unsigned int, 256> table{};
    for (unsigned int i = 0; i < table.size(); ++i) {
        const unsigned int mantissa = kMantissaSteps + i;
        const unsigned int rounded = ((1U << 18U) + mantissa) / (2 * mantissa);
        table[i] = (rounded - kMantissaSteps) & 0xFFU;
    }
    return table;
}

/** The nearest integer to sqrt(n / d), 256 or above: the last r with (2 r - 1)^2 d <= 4 n. */
constexpr std::uint64_t roundedRootOfQuotient(std::uint64_t n, std::uint64_t d) {
    std::uint64_t r = kMantissaSteps;
    while ((2 * r + 1) * (2 * r + 1) * d <= 4 * n) {
        ++r;
    }
    return r;
}

/**
 * With m = 1 + k / 256, k being i or i - 256, the first half holds the nearest integers to
 * (2 / sqrt(2 m) - 1) * 256 = sqrt(2^25 / (256 + k)) - 256, the second those to
 * (2 / sqrt(m) - 1) * 256 = sqrt(2^26 / (256 + k)) - 256.
 */
constexpr std::array<int, 512> makeReciprocalRootTable() {
    std::array<int, 512> table{};
    for (unsigned int k = 0; k < kMantissaSteps; ++k) {
        const unsigned int mantissa = kMantissaSteps + k;
        const std::uint64_t doubled = roundedRootOfQuotient(1U << 25U, mantissa) - kMantissaSteps;
        const std::uint64_t plain = roundedRootOfQuotient(1U << 26U, mantissa) - kMantissaSteps;
        table[k] = static_cast<int>(doubled & 0xFFU);
        table[kMantissaSteps + k] = static_cast<int>(plain & 0xFFU);
    }
    return table;
}

constexpr unsigned int kSignBit = 0x80000000U;

constexpr unsigned int exponentField(std::uint32_t bits) {
    return (bits >> 23U) & 0xFFU;
}

float fromFields(std::uint32_t signBit, unsigned int exponent, unsigned int mantissa) {
    return std::bit_cast<float>(signBit | (exponent << 23U) | (mantissa << 15U));
}

/** Applies `operation` to each pair of lanes of the type `Lane`; bits beyond a lane are dropped. */
template <class Lane, class Operation>
unsigned int laneByLane(unsigned int src1, unsigned int src2, Operation operation) {
    constexpr unsigned int bitsPerLane = 8 * sizeof(Lane);
    constexpr unsigned int laneMask = (1U << bitsPerLane) - 1U;
    unsigned int result = 0;
    for (unsigned int shift = 0; shift < 32; shift += bitsPerLane) {
        const auto lane1 = static_cast<Lane>((src1 >> shift) & laneMask);
        const auto lane2 = static_cast<Lane>((src2 >> shift) & laneMask);
        result |= (static_cast<unsigned int>(operation(lane1, lane2)) & laneMask) << shift;
    }
    return result;
}

}  // namespace

constexpr std::array<unsigned int, 256> rcp_table = makeReciprocalTable();
constexpr std::array<int, 512> rcpsq_table = makeReciprocalRootTable();

float _rcpsp(float x) noexcept {
    const auto bits = std::bit_cast<std::uint32_t>(x);
    const unsigned int exponent = exponentField(bits);
    const unsigned int index = (bits >> 15U) & 0xFFU;
    unsigned int resultExponent = exponent <= 252 ? 253 - exponent : 0;
    if (index == 0) {
        ++resultExponent;  // the reciprocal of a power of two is one: 1 / m is 1, not below
    }
    return fromFields(bits & kSignBit, resultExponent, rcp_table[index]);
}

float _rsqrsp(float x) noexcept {
    const auto bits = std::bit_cast<std::uint32_t>(x);
    const unsigned int exponent = exponentField(bits);
    const unsigned int index =
        (bits >> 15U) & 0x1FFU;  // the lowest bit of the exponent and eight of the mantissa
    if (index == 0 && exponent == 0) {
        return 0.0F;
    }
    const unsigned int halfExponent = (exponent + 1) / 2;
    const unsigned int resultExponent = (index == 256 ? 191 : 190) - halfExponent;
    return fromFields(bits & kSignBit, resultExponent, static_cast<unsigned int>(rcpsq_table[index]));
}

unsigned int _add4(unsigned int src1, unsigned int src2) noexcept {
    return laneByLane<std::uint8_t>(src1, src2, [](int a, int b) { return a + b; });
}

int _sub4(int src1, int src2) noexcept {
    return static_cast<int>(laneByLane<std::uint8_t>(static_cast<unsigned int>(src1),
                                                     static_cast<unsigned int>(src2),
                                                     [](int a, int b) { return a - b; }));
}

unsigned int _maxu4(unsigned int src1, unsigned int src2) noexcept {
    return laneByLane<std::uint8_t>(src1, src2, [](int a, int b) { return std::max(a, b); });
}

unsigned int _minu4(unsigned int src1, unsigned int src2) noexcept {
    return laneByLane<std::uint8_t>(src1, src2, [](int a, int b) { return std::min(a, b); });
}

unsigned int _max2(unsigned int src1, unsigned int src2) noexcept {
    return laneByLane<std::int16_t>(src1, src2, [](int a, int b) { return std::max(a, b); });
}

unsigned int _min2(unsigned int src1, unsigned int src2) noexcept {
    return laneByLane<std::int16_t>(src1, src2, [](int a, int b) { return std::min(a, b); });
}

unsigned int _dotpu4(unsigned int src1, unsigned int src2) noexcept {
    const auto product = [src1, src2](unsigned int shift) {
        return ((src1 >> shift) & 0xFFU) * ((src2 >> shift) & 0xFFU);
    };
    return (product(0) + product(16)) + (product(8) + product(24));
}
