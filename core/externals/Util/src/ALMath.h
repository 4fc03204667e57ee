// SPDX-License-Identifier: Apache-2.0
//
// The pipeline's own mathematics, single precision: polynomials and Newton steps on top of two table
// estimates of eight bits. Later stages and thresholds depend on the exact results. So the formulas and their
// order of operations are fixed, and no system library may replace them. Accuracies are given relative to the
// true value (rel) or in absolute terms (abs). Angles are radians.
//
// All functions are pure and defined for every argument. Unless stated, nothing tests for NaN, infinity or
// division by zero; such arguments give what the arithmetic gives.
#pragma once

#include <bit>
#include <cstdint>
#include <limits>

#include "ALTypes.h"
#include "tms320c6748_simulation.h"

// --- Rounding and simple functions ---------------------------------------------------------------

/** x cut to an integer: the limit of int32_t where x lies beyond it, 0 for NaN, on every target. */
constexpr std::int32_t al_truncate(float32_t x) noexcept {
    constexpr float32_t beyondInt32 = 2147483648.0F;
    if (x >= beyondInt32) {
        return std::numeric_limits<std::int32_t>::max();
    }
    if (x >= -beyondInt32) {
        return static_cast<std::int32_t>(x);
    }
    return x < 0.0F ? std::numeric_limits<std::int32_t>::min() : 0;
}

/** Absolute value, by clearing the sign. */
constexpr float32_t al_fabsf(float32_t x) noexcept {
    return std::bit_cast<float32_t>(std::bit_cast<std::uint32_t>(x) & 0x7FFFFFFFU);
}

/** Absolute value; the most negative value stays as it is. The pipeline itself does not call it. */
constexpr std::int32_t al_abs(std::int32_t x) noexcept {
    return x < 0 ? static_cast<std::int32_t>(0U - static_cast<std::uint32_t>(x)) : x;
}

/** The largest integer not above x, within the range of int32_t; 0 for NaN. */
constexpr float32_t al_floor(float32_t x) noexcept {
    if (!(x < 0.0F)) {
        return static_cast<float32_t>(al_truncate(x));
    }
    const float32_t y = -x;
    const auto t = static_cast<float32_t>(al_truncate(y));
    // The sum is exact: a y with a fraction is below 2^23. It cannot overflow where y lies beyond int32_t.
    return y != t ? -(t + 1.0F) : -t;
}

/**
 * The smallest integer not below x, within the range of int32_t; -0 from -1 (excluded) to 0.
 * The pipeline itself does not call it.
 */
constexpr float32_t al_ceil(float32_t x) noexcept {
    return -al_floor(-x);
}

/** The pipeline itself does not call it. */
constexpr float32_t al_squaref(float32_t x) noexcept {
    return x * x;
}

/** The smaller value; x where they do not compare. */
constexpr float32_t al_fminf(float32_t x, float32_t y) noexcept {
    return y <= x ? y : x;
}

/** The larger value; x where they do not compare. */
constexpr float32_t al_fmaxf(float32_t x, float32_t y) noexcept {
    return y >= x ? y : x;
}

/** -1, 0 or 1. The pipeline itself does not call it. */
constexpr std::int32_t al_sign(std::int32_t x) noexcept {
    return static_cast<std::int32_t>(x > 0) - static_cast<std::int32_t>(x < 0);
}

/**
 * Remainder of n by m with the sign of n. m must not be 0; if it is, the result is n.
 * The pipeline itself does not call it.
 */
constexpr std::int16_t al_modi16(std::int16_t n, std::int16_t m) noexcept {
    return m == 0 ? n : static_cast<std::int16_t>(n % m);
}

/** The NaN with all bits set. The pipeline itself does not call it. */
constexpr float32_t al_nanf32() noexcept {
    return std::bit_cast<float32_t>(0xFFFFFFFFU);
}

/**
 * 0 for every input, even NaN: callers treat all values as ordinary ones.
 * The pipeline itself does not call it.
 */
constexpr std::int32_t al_isnanf32(float32_t /*x*/) noexcept {
    return 0;
}

/** 0 for every input, as al_isnanf32. The pipeline itself does not call it. */
constexpr std::int32_t al_isNaNOrInfinity(float32_t /*val*/) noexcept {
    return 0;
}

// --- Division and roots --------------------------------------------------------------------------

/**
 * x / y by two Newton steps, rel 2.1e-7 where quotient and 1 / y are normal numbers. Division by 0 gives NaN:
 * the estimate 2^127 grows to infinity, and infinity times 0 is NaN.
 */
float32_t al_divf(float32_t x, float32_t y) noexcept;

/**
 * Square root by two Newton steps, rel 2.0e-7; exactly 0 for zeros. Negative x is not handled: the result is
 * about 7 sqrt(-x). Subnormal numbers have no useful result.
 */
float32_t al_sqrtf(float32_t x) noexcept;

/**
 * Truncating remainder of x by y with the sign of x, for quotients within the range of int32_t.
 * The pipeline itself does not call it.
 */
float32_t al_fmodf(float32_t x, float32_t y) noexcept;

// --- Trigonometry --------------------------------------------------------------------------------

/** abs 3.8e-6 within two turns, largest near the maximum: al_sinf(pi / 2) is 1.0000036. */
float32_t al_sinf(float32_t x) noexcept;
float32_t al_cosf(float32_t x) noexcept;

/**
 * abs 1.0e-6 from -1 to 1. NaN at half pi, where the cosine is exactly 0.
 * The pipeline itself does not call it.
 */
float32_t al_tanf(float32_t x) noexcept;

/** 0 to pi, for x in -1 to 1, abs 6e-7. The pipeline itself does not call it. */
float32_t al_acosf(float32_t x) noexcept;

/** -pi/2 to pi/2, for x in -1 to 1, abs 6e-7. The pipeline itself does not call it. */
float32_t al_asinf(float32_t x) noexcept;

/** The angle of the point (x, y), from -pi to below pi, abs 3.5e-7; 0 for (0, 0). */
float32_t al_atan2f(float32_t y, float32_t x) noexcept;

// --- Logarithm and power -------------------------------------------------------------------------

/**
 * Binary logarithm of a normal positive x, abs 7.3e-5: exact at powers of two and furthest off just below
 * them. -127 for 0.
 * The pipeline itself does not call it.
 */
float32_t al_log2f(float32_t x) noexcept;
/** The pipeline itself does not call it. */
float32_t al_logf(float32_t x) noexcept;

/** 2^x, rel 1.5e-7: 0 below -127, infinite from 127 on. */
float32_t al_pow2f(float32_t x) noexcept;

/** e^x, rel 2e-7 near 0 and 4e-6 at the ends of the range. */
float32_t al_expf(float32_t x) noexcept;

/**
 * x^y by the logarithm and the power to base 2; x must be a normal positive number.
 * The pipeline itself does not call it.
 */
float32_t al_powf(float32_t x, float32_t y) noexcept;
