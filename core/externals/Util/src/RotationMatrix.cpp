// SPDX-License-Identifier: Apache-2.0
#include "RotationMatrix.h"

#include "ALErrorHandling.h"
#include "ALMath.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/Util/src/RotationMatrix";

constexpr float32_t kHalfPi = 1.5707964F;
constexpr float32_t kPi = 3.1415927F;
constexpr float32_t kTwoPi = 6.2831855F;

}  // namespace

std::int32_t rotMatCreate1(RM_RotationMatrix result, std::int32_t axis, float32_t angle) noexcept {
    if (result == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (static_cast<std::uint32_t>(axis) > 2U) {
        return reportFailure(kSourceFile);
    }
    for (std::int32_t row = 0; row < 3; ++row) {
        for (std::int32_t column = 0; column < 3; ++column) {
            result[row][column] = row == column ? 1.0F : 0.0F;
        }
    }
    const float32_t s = al_sinf(angle);
    const float32_t c = al_cosf(angle);
    const std::int32_t a1 = (axis + 1) % 3;
    const std::int32_t a2 = (axis + 2) % 3;
    result[a1][a1] = c;
    result[a1][a2] = -s;
    result[a2][a2] = c;
    result[a2][a1] = s;
    return 0;
}

std::int32_t rotMatCreate3(RM_RotationMatrix result, float32_t rotX, float32_t rotY,
                           float32_t rotZ) noexcept {
    if (result == nullptr) {
        return reportFailure(kSourceFile);
    }
    const float32_t sx = al_sinf(rotX);
    const float32_t cx = al_cosf(rotX);
    const float32_t sy = al_sinf(rotY);
    const float32_t cy = al_cosf(rotY);
    const float32_t sz = al_sinf(rotZ);
    const float32_t cz = al_cosf(rotZ);
    result[0][0] = cz * cy;
    result[0][1] = -cy * sz;
    result[0][2] = sy;
    result[1][0] = sz * cx + cz * sx * sy;
    result[1][1] = cz * cx - sy * sx * sz;
    result[1][2] = -cy * sx;
    result[2][0] = sz * sx - cz * cx * sy;
    result[2][1] = cz * sx + sy * cx * sz;
    result[2][2] = cy * cx;
    return 0;
}

std::int32_t rotMatMultiply(RM_RotationMatrix result, Const_RM_RotationMatrix left,
                            Const_RM_RotationMatrix right) noexcept {
    if (result == nullptr || left == nullptr || right == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (result == left) {
        return reportFailure(kSourceFile);
    }
    if (result == right) {
        return reportFailure(kSourceFile);
    }
    for (std::int32_t row = 0; row < 3; ++row) {
        for (std::int32_t column = 0; column < 3; ++column) {
            float32_t sum = 0.0F;
            for (std::int32_t k = 0; k < 3; ++k) {
                sum += left[row][k] * right[k][column];
            }
            result[row][column] = sum;
        }
    }
    return 0;
}

std::int32_t rotMatMultiplyVector(float32_t* result, Const_RM_RotationMatrix R, const float32_t* P) noexcept {
    if (result == nullptr || R == nullptr || P == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (result == P) {
        return reportFailure(kSourceFile);
    }
    for (std::int32_t row = 0; row < 3; ++row) {
        float32_t sum = 0.0F;
        for (std::int32_t k = 0; k < 3; ++k) {
            sum += R[row][k] * P[k];
        }
        result[row] = sum;
    }
    return 0;
}

std::int32_t rotMatInverse(RM_RotationMatrix R_inv, Const_RM_RotationMatrix R) noexcept {
    if (R_inv == nullptr || R == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (R_inv == R) {
        return reportFailure(kSourceFile);
    }
    for (std::int32_t row = 0; row < 3; ++row) {
        for (std::int32_t column = 0; column < 3; ++column) {
            R_inv[row][column] = R[column][row];
        }
    }
    return 0;
}

std::int32_t rotMatReverse(float32_t* rotX, float32_t* rotY, float32_t* rotZ,
                           Const_RM_RotationMatrix R) noexcept {
    if (rotX == nullptr || rotY == nullptr || rotZ == nullptr || R == nullptr) {
        return reportFailure(kSourceFile);
    }
    const float32_t a = al_atan2f(R[1][2], R[2][2]);
    const float32_t c2 = al_sqrtf(R[0][0] * R[0][0] + R[0][1] * R[0][1]);
    const float32_t b = al_atan2f(-R[0][2], c2);
    const float32_t s1 = al_sinf(a);
    const float32_t c1 = al_cosf(a);
    const float32_t g = al_atan2f(s1 * R[2][0] - c1 * R[1][0], c1 * R[1][1] - s1 * R[2][1]);
    float32_t x = -a;
    float32_t y = -b;
    float32_t z = -g;
    if (x > kHalfPi || x < -kHalfPi) {
        // The same rotation, by the other triple of angles.
        x += x < 0.0F ? kPi : -kPi;
        y = kPi - y;
        if (y < -kPi) {
            y += kTwoPi;
        }
        if (y > kPi) {
            y -= kTwoPi;
        }
        z += kPi;
        if (z > kPi) {
            z -= kTwoPi;
        }
    }
    *rotX = x;
    *rotY = y;
    *rotZ = z;
    return 0;
}
