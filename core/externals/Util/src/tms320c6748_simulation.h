// SPDX-License-Identifier: Apache-2.0
//
// Intrinsics of the TMS320C6748 signal processor for other processors, under the names their publisher gave
// them. The pipeline's mathematics was made on that processor and still starts from its two table estimates:
// their eight bits, not better ones, decide the low bits of every division and square root.
//
// The leading underscores belong to the published names; no name here is one of the compilers or libraries we
// build with.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

/** Mantissas of 1 / m for m = 1 + i / 256: the eight bits after the leading one. */
extern const std::array<unsigned int, 256> rcp_table;

/** Mantissas of 1 / sqrt(m): first m = 2
 * (1 + i / 256), for odd powers of two,
 * then m = 1 + (i - 256) / 256. */
extern const std::array<int, 512> rcpsq_table;

/**
 * About 1 / x, eight bits, from the table. No value is special: 0 gives 2^127 with the sign of x, infinities,
 * NaNs and magnitudes from 2^126 on give a tiny number.
 */
float _rcpsp(float x) noexcept;

/**
 * About 1 / sqrt(x), eight bits, from the table. Zeros and the subnormal numbers below 2^-134 give 0; the
 * result keeps the sign of a negative x; infinities and NaNs are treated as numbers.
 */
float _rsqrsp(float x) noexcept;

// The pipeline itself does not call the functions from here on.

/** Absolute value, by clearing the sign. */
inline float _fabsf(float x) noexcept {
    return std::bit_cast<float>(std::bit_cast<std::uint32_t>(x) & 0x7FFFFFFFU);
}

/** Absolute value; the most negative value stays as it is. */
inline int _abs(int x) noexcept {
    return x < 0 ? static_cast<int>(0U - static_cast<unsigned int>(x)) : x;
}

/** Four sums of bytes, each wrapping. */
unsigned int _add4(unsigned int src1, unsigned int src2) noexcept;

/** Four differences of bytes, each wrapping. */
int _sub4(int src1, int src2) noexcept;

/** Four maxima of unsigned bytes. */
unsigned int _maxu4(unsigned int src1, unsigned int src2) noexcept;

/** Four minima of unsigned bytes. */
unsigned int _minu4(unsigned int src1, unsigned int src2) noexcept;

/** Two maxima of signed 16-bit halves. */
unsigned int _max2(unsigned int src1, unsigned int src2) noexcept;

/** Two minima of signed 16-bit halves. */
unsigned int _min2(unsigned int src1, unsigned int src2) noexcept;

/** Sum of the four products of unsigned bytes. */
unsigned int _dotpu4(unsigned int src1, unsigned int src2) noexcept;
