// SPDX-License-Identifier: Apache-2.0
//
// Elementary functions that give the same bits on every machine. Mathematics libraries differ in the last bit
// between systems and even between processors; these use nothing but + - * /, the exact square root and exact
// scaling by powers of two, so that one seed means one recording, wherever it is made.

#pragma once

namespace simulation {

inline constexpr double pi = 3.141592653589793;

struct SineCosine {
    double sine = 0.0;
    double cosine = 1.0;
};

// Sine and cosine of an angle in radians, |angle| below 1e5; error below 4e-16.
SineCosine sineAndCosine(double angle) noexcept;

// Angle of a vector from the x axis, radians, from -pi to pi; error below 1e-15. The vector must not be zero,
// nor so long or short that its square is no normal number.
double angleOf(double y, double x) noexcept;

// Natural logarithm of a positive, finite, normal number; relative error below 1e-15 (absolute near 1).
double naturalLogarithm(double value) noexcept;

// e to the power of a number between -700 and 700; relative error below 1e-15.
double exponential(double exponent) noexcept;

}  // namespace simulation
