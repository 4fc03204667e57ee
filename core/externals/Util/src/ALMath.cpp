// SPDX-License-Identifier: Apache-2.0
//
// The pipeline's own mathematics.
#include "ALMath.h"

#include <cmath>

namespace {

constexpr float32_t kHalfPi = 1.5707964F;
constexpr float32_t kPi = 3.1415927F;
constexpr float32_t kTwoPi = 6.2831855F;
constexpr float32_t kOneDivTwoPi = 0.15915494F;
constexpr float32_t kLn2 = 0.6931472F;

constexpr std::int32_t kExponentBias = 127;

/** sin(x) / x for x in 0 to half pi, given
 * the square of x. The factors are ratios
 * of neighbouring Taylor terms. */
float32_t sineSeries(float32_t xns) noexcept {
    constexpr float32_t oneDivFac3 = 0.16666667F;
    constexpr float32_t oneDivFac5 = 0.05F;
    constexpr float32_t oneDivFac7 = 0.023809524F;
    constexpr float32_t oneDivFac9 = 0.013888889F;
    return 1.0F - xns * oneDivFac3 *
                      (1.0F - xns * oneDivFac5 * (1.0F - xns * oneDivFac7 * (1.0F - xns * oneDivFac9)));
}

/** acos(a) / sqrt(1 - a) for a in 0 to 1. */
float32_t arcCosineFactor(float32_t a) noexcept {
    // The constant term is one step below half pi.
    return 1.5707963F +
           a * (-0.2145988F +
                a * (0.08897899F +
                     a * (-0.050174303F +
                          a * (0.03089188F + a * (-0.017088126F + a * (0.00667009F + a * -0.0012624911F))))));
}

/** atan(t) for t in 0 to 1. */
float32_t arcTangent(float32_t t3) noexcept {
    const float32_t t4 = t3 * t3;
    float32_t c = 0.0028662258F;
    c = c * t4 + -0.016165737F;
    c = c * t4 + 0.042909615F;
    c = c * t4 + -0.07528964F;
    c = c * t4 + 0.10656264F;
    c = c * t4 + -0.142089F;
    c = c * t4 + 0.19993551F;
    c = c * t4 + -0.33333147F;
    return t3 + c * t4 * t3;
}

/** log2(1 + d) for d in 0 to 1. The factor is part of the fit and not exactly log2(e). */
float32_t binaryLogarithmOf1Plus(float32_t d) noexcept {
    return d * 1.4425961F *
           (0.9999964F + d * (-0.49987411F +
                              d * (0.33179903F +
                                   d * (-0.2407338F +
                                        d * (0.16765407F + d * (-0.09532939F +
                                                                d * (0.036088493F + d * -0.0064535444F)))))));
}

/** exp(-lma) for lma in 0 to ln 2. */
float32_t expOfNegative(float32_t lma) noexcept {
    return 1.0F - lma +
           lma * lma *
               (0.4999999F +
                lma * (-0.1666653F +
                       lma * (0.041657347F +
                              lma * (-0.00830136F + lma * (0.001329882F + lma * -0.0001413161F)))));
}

}  // namespace

float32_t al_divf(float32_t x, float32_t y) noexcept {
    const float32_t x0 = _rcpsp(y);
    const float32_t x1 = (2.0F - x0 * y) * x0;
    return (x1 * x) * (2.0F - x1 * y);
}

float32_t al_sqrtf(float32_t x) noexcept {
    if (x == 0.0F) {
        return 0.0F;
    }
    const float32_t x0 = _rsqrsp(x);
    const float32_t v = x * 0.5F;
    const float32_t x1 = (1.5F - x0 * x0 * v) * x0;
    return (x1 * x) * (1.5F - x1 * x1 * v);
}

float32_t al_fmodf(float32_t x, float32_t y) noexcept {
    const float32_t d = al_fabsf(y);
    const std::int32_t id = al_truncate(al_divf(al_fabsf(x), d));
    float32_t r = al_fabsf(x) - static_cast<float32_t>(id) * d;
    // The quotient may be wrong in its last bit, so the integer may be off by one.
    if (r >= d) {
        r -= d;
    }
    if (r < 0.0F) {
        r += d;
    }
    return std::signbit(x) ? -r : r;
}

float32_t al_sinf(float32_t x) noexcept {
    const float32_t n = x * kOneDivTwoPi;
    float32_t xn = x - al_floor(n) * kTwoPi;
    const bool neg = xn > kPi;
    if (neg) {
        xn = kTwoPi - xn;
    }
    if (xn > kHalfPi) {
        xn = kPi - xn;
    }
    const float32_t res = sineSeries(xn * xn) * xn;
    return neg ? -res : res;
}

float32_t al_cosf(float32_t x) noexcept {
    return al_sinf(kHalfPi - x);
}

float32_t al_tanf(float32_t x) noexcept {
    return al_divf(al_sinf(x), al_cosf(x));
}

float32_t al_acosf(float32_t x) noexcept {
    const float32_t a = al_fabsf(x);
    const float32_t res = arcCosineFactor(a) * al_sqrtf(1.0F - a);
    return x < 0.0F ? kPi - res : res;
}

float32_t al_asinf(float32_t x) noexcept {
    return kHalfPi - al_acosf(x);
}

float32_t al_atan2f(float32_t y, float32_t x) noexcept {
    const float32_t fabsx = al_fabsf(x);
    const float32_t fabsy = al_fabsf(y);
    const float32_t t0 =
        al_fmaxf(fabsx, al_fmaxf(fabsy, 1e-20F));  // the bound keeps the quotient of (0, 0) finite
    const float32_t t1 = al_fminf(fabsx, fabsy);
    float32_t t = arcTangent(al_divf(t1, t0));
    if (fabsx < fabsy) {
        t = kHalfPi - t;
    }
    if (x < 0.0F) {
        t = kPi - t;
    }
    if (y < 0.0F) {
        t = -t;
    }
    if (t >= kPi) {
        t -= kTwoPi;
    }
    if (t < -kPi) {
        t += kTwoPi;
    }
    return t;
}

float32_t al_log2f(float32_t x) noexcept {
    const auto v = std::bit_cast<std::uint32_t>(x);
    const auto exponent = static_cast<std::int32_t>((v >> 23U) & 0xFFU);
    // The sign stays with the mantissa: there is no test for negative x.
    const float32_t d = std::bit_cast<float32_t>((v & 0x807FFFFFU) | 0x3F800000U) - 1.0F;
    const float32_t ln1pd = binaryLogarithmOf1Plus(d);
    return static_cast<float32_t>(exponent - kExponentBias) + ln1pd;
}

float32_t al_logf(float32_t x) noexcept {
    return al_log2f(x) * kLn2;
}

float32_t al_pow2f(float32_t x) noexcept {
    const float32_t pa = al_floor(x) + 1.0F;
    const std::int64_t iPa = std::int64_t{al_truncate(pa)} + kExponentBias;  // the sum may leave int32_t
    if (iPa < 1) {
        return 0.0F;
    }
    if (iPa > 254) {
        return std::numeric_limits<float32_t>::infinity();
    }
    const float32_t ma = pa - x;  // 0 (excluded) to 1
    const float32_t e = expOfNegative(ma * kLn2);
    const auto rawPa = std::bit_cast<float32_t>(static_cast<std::uint32_t>(iPa) << 23U);
    return e * rawPa;
}

float32_t al_expf(float32_t x) noexcept {
    return al_pow2f(x * 1.442695F);
}

float32_t al_powf(float32_t x, float32_t y) noexcept {
    return al_pow2f(al_log2f(x) * y);
}
