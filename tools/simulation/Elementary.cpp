// SPDX-License-Identifier: Apache-2.0

#include "simulation/Elementary.h"

#include <cmath>
#include <cstdint>

namespace simulation {
namespace {

// pi/2 and ln 2 in parts whose products with a small integer are exact, so that the reduction loses nothing.
constexpr double halfPiHigh = 0x1.921fb544p+0;
constexpr double halfPiMiddle = 0x1.0b4611a6p-34;
constexpr double halfPiLow = 0x1.3198a2e037073p-69;
constexpr double logTwoHigh = 0x1.62e42feep-1;
constexpr double logTwoLow = 0x1.a39ef35793c76p-33;

// Taylor series around 0, for |x| up to pi/4: the first term left out is below 2e-18.
double sineNearZero(double x) noexcept {
    const double q = x * x;
    double sum = 1.0 / 355687428096000.0;   // 1/17!
    sum = sum * q - 1.0 / 1307674368000.0;  // 1/15!
    sum = sum * q + 1.0 / 6227020800.0;     // 1/13!
    sum = sum * q - 1.0 / 39916800.0;       // 1/11!
    sum = sum * q + 1.0 / 362880.0;         // 1/9!
    sum = sum * q - 1.0 / 5040.0;           // 1/7!
    sum = sum * q + 1.0 / 120.0;            // 1/5!
    sum = sum * q - 1.0 / 6.0;              // 1/3!
    return x + x * (q * sum);
}

double cosineNearZero(double x) noexcept {
    const double q = x * x;
    double sum = -1.0 / 6402373705728000.0;  // 1/18!
    sum = sum * q + 1.0 / 20922789888000.0;  // 1/16!
    sum = sum * q - 1.0 / 87178291200.0;     // 1/14!
    sum = sum * q + 1.0 / 479001600.0;       // 1/12!
    sum = sum * q - 1.0 / 3628800.0;         // 1/10!
    sum = sum * q + 1.0 / 40320.0;           // 1/8!
    sum = sum * q - 1.0 / 720.0;             // 1/6!
    sum = sum * q + 1.0 / 24.0;              // 1/4!
    return 1.0 - (0.5 * q - q * (q * sum));
}

}  // namespace

SineCosine sineAndCosine(double angle) noexcept {
    const double quarterTurns = std::floor(angle * (2.0 / pi) + 0.5);
    const double rest =
        ((angle - quarterTurns * halfPiHigh) - quarterTurns * halfPiMiddle) - quarterTurns * halfPiLow;
    const double s = sineNearZero(rest);
    const double c = cosineNearZero(rest);
    switch (static_cast<std::int64_t>(quarterTurns) & 3) {
        case 0:
            return {s, c};
        case 1:
            return {c, -s};
        case 2:
            return {-s, -c};
        default:
            return {-c, s};
    }
}

double angleOf(double y, double x) noexcept {
    const double length = std::sqrt(x * x + y * y);
    const double cosine = x / length;
    const double sine = y / length;
    const double lesser = std::fmin(std::fabs(sine), std::fabs(cosine));
    const double greater = std::fmax(std::fabs(sine), std::fabs(cosine));
    const double ratio = lesser / greater;
    double angle = ratio * (pi / 4.0 + 0.273 * (1.0 - ratio));  // within 0.004
    angle = std::fabs(sine) > std::fabs(cosine) ? pi / 2.0 - angle : angle;
    angle = cosine < 0.0 ? pi - angle : angle;
    angle = sine < 0.0 ? -angle : angle;
    // The sine of what is missing; each round leaves a sixth of its cube.
    for (int round = 0; round < 2; ++round) {
        const SineCosine found = sineAndCosine(angle);
        angle += sine * found.cosine - cosine * found.sine;
    }
    return angle;
}

double naturalLogarithm(double value) noexcept {
    int exponent = 0;
    double mantissa = std::frexp(value, &exponent);  // 0.5 .. 1
    if (mantissa < 0.70710678118654752) {
        mantissa *= 2.0;
        exponent -= 1;
    }
    // ln m = 2 artanh((m - 1) / (m + 1)); the argument is at most 0.172 here.
    const double s = (mantissa - 1.0) / (mantissa + 1.0);
    const double q = s * s;
    double sum = 0.0;
    for (int denominator = 21; denominator >= 3; denominator -= 2) {
        sum = (sum + 1.0 / denominator) * q;
    }
    return exponent * logTwoHigh + (exponent * logTwoLow + (2.0 * s + 2.0 * s * sum));
}

double exponential(double exponent) noexcept {
    const double doublings = std::floor(exponent * 1.4426950408889634 + 0.5);
    const double rest = (exponent - doublings * logTwoHigh) - doublings * logTwoLow;
    double sum = 1.0;
    for (int n = 14; n >= 1; --n) {
        sum = 1.0 + sum * (rest / n);
    }
    return std::ldexp(sum, static_cast<int>(doublings));
}

}  // namespace simulation
