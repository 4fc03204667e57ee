// SPDX-License-Identifier: Apache-2.0
//
// Rotations as 3 x 3 matrices: created from angles, combined, applied, and taken apart again. Angles are
// radians. Sine, cosine, root and angle are the al_ functions; their errors are part of the results.
//
// Pure functions. Each returns 0, or 1 after a reported failure: a null argument, or a result that is one of
// the operands. The result then stays as it was.
#pragma once

#include "ALTypes.h"

using RM_RotationMatrix = float32_t[3][3];              ///< row by row, first index the row
using Const_RM_RotationMatrix = const float32_t[3][3];  ///< the same, only read
using RM_Vector = float32_t[3];

/**
 * Rotation about one axis, 0 = x, 1 = y, 2 = z. Any other axis fails.
 * The pipeline itself does not call it.
 */
std::int32_t rotMatCreate1(RM_RotationMatrix result, std::int32_t axis, float32_t angle) noexcept;

/** Rotation about x times rotation about y times rotation about z. */
std::int32_t rotMatCreate3(RM_RotationMatrix result, float32_t rotX, float32_t rotY, float32_t rotZ) noexcept;

/** `left` times `right`. */
std::int32_t rotMatMultiply(RM_RotationMatrix result, Const_RM_RotationMatrix left,
                            Const_RM_RotationMatrix right) noexcept;

/** `R` times the vector `P`; `result` and `P` are RM_Vectors. The pipeline itself does not call it. */
std::int32_t rotMatMultiplyVector(float32_t* result, Const_RM_RotationMatrix R, const float32_t* P) noexcept;

/** The inverse of a rotation, which is its transpose. The pipeline itself does not call it. */
std::int32_t rotMatInverse(RM_RotationMatrix R_inv, Const_RM_RotationMatrix R) noexcept;

/**
 * The angles from which rotMatCreate3 makes `R`. `rotX` lies within -pi/2 to pi/2, the other two within -pi
 * to pi. Two triples describe a rotation; this is the one returned.
 */
std::int32_t rotMatReverse(float32_t* rotX, float32_t* rotY, float32_t* rotZ,
                           Const_RM_RotationMatrix R) noexcept;
