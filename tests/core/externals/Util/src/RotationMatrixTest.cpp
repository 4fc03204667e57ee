// SPDX-License-Identifier: Apache-2.0
#include "RotationMatrix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <iterator>

#include "ALMath.h"
#include "FloatBits.h"
#include "support/Random.h"

namespace {

constexpr float kPi = 3.1415927F;
constexpr float kHalfPi = 1.5707964F;
constexpr double kTolerance = 1e-5;

/** A matrix in which an unwanted write shows. */
struct Matrix {
    Matrix() { std::fill_n(&m[0][0], 9, 42.0F); }
    bool isUnwritten() const {
        return std::all_of(&m[0][0], &m[0][0] + 9, [](float v) { return v == 42.0F; });
    }
    RM_RotationMatrix m;
};

void expectNear(Const_RM_RotationMatrix actual, const double (&expected)[3][3], double tolerance) {
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            EXPECT_NEAR(actual[row][column], expected[row][column], tolerance) << row << ", " << column;
        }
    }
}

void expectNear(Const_RM_RotationMatrix actual, Const_RM_RotationMatrix expected, double tolerance) {
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            EXPECT_NEAR(actual[row][column], expected[row][column], tolerance) << row << ", " << column;
        }
    }
}

struct Angles {
    float x, y, z;
};

Angles reversed(Const_RM_RotationMatrix R) {
    Angles angles = {};
    EXPECT_EQ(rotMatReverse(&angles.x, &angles.y, &angles.z, R), 0);
    return angles;
}

constexpr double kIdentity[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};

// --- One axis ---

TEST(RotMatCreate1, AnAngleOfZeroIsTheIdentity) {
    for (const std::int32_t axis : {0, 1, 2}) {
        Matrix r;
        EXPECT_EQ(rotMatCreate1(r.m, axis, 0.0F), 0);
        expectNear(r.m, kIdentity, kTolerance);
    }
}

TEST(RotMatCreate1, AQuarterTurnLeadsOneAxisToTheNext) {
    for (const std::int32_t axis : {0, 1, 2}) {
        Matrix r;
        EXPECT_EQ(rotMatCreate1(r.m, axis, kHalfPi), 0);
        const std::int32_t next = (axis + 1) % 3;
        const std::int32_t last = (axis + 2) % 3;
        RM_Vector unit = {};
        unit[next] = 1.0F;
        RM_Vector turned = {};
        EXPECT_EQ(rotMatMultiplyVector(turned, r.m, unit), 0);
        EXPECT_NEAR(turned[axis], 0.0, kTolerance) << axis;
        EXPECT_NEAR(turned[next], 0.0, kTolerance) << axis;
        EXPECT_NEAR(turned[last], 1.0, kTolerance) << axis;
    }
}

TEST(RotMatCreate1, TakesSineAndCosineAsTheyAre) {
    Matrix r;
    EXPECT_EQ(rotMatCreate1(r.m, 2, 0.7F), 0);
    const float s = al_sinf(0.7F);
    const float c = al_cosf(0.7F);
    const float expected[3][3] = {{c, -s, 0.0F}, {s, c, 0.0F}, {0.0F, 0.0F, 1.0F}};
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(r.m[i / 3][i % 3], expected[i / 3][i % 3]) << i;
    }
}

TEST(RotMatCreate1, AnAxisThatDoesNotExistFailsAndWritesNothing) {
    for (const std::int32_t axis : {3, -1, INT_MAX, INT_MIN}) {
        Matrix r;
        EXPECT_EQ(rotMatCreate1(r.m, axis, 0.5F), 1) << axis;
        EXPECT_TRUE(r.isUnwritten()) << axis;
    }
}

TEST(RotMatCreate1, NullFails) {
    EXPECT_EQ(rotMatCreate1(nullptr, 0, 0.5F), 1);
}

// --- Three axes ---

TEST(RotMatCreate3, AnglesOfZeroAreTheIdentity) {
    Matrix r;
    EXPECT_EQ(rotMatCreate3(r.m, 0.0F, 0.0F, 0.0F), 0);
    expectNear(r.m, kIdentity, kTolerance);
}

TEST(RotMatCreate3, IsTheRotationAboutXTimesYTimesZ) {
    testing_support::Random random(72);
    SCOPED_TRACE(random.seedText());
    for (int i = 0; i < 200; ++i) {
        const float angles[3] = {random.real(-4.0F, 4.0F), random.real(-4.0F, 4.0F),
                                 random.real(-4.0F, 4.0F)};
        Matrix x;
        Matrix y;
        Matrix z;
        Matrix xy;
        Matrix xyz;
        Matrix r;
        rotMatCreate1(x.m, 0, angles[0]);
        rotMatCreate1(y.m, 1, angles[1]);
        rotMatCreate1(z.m, 2, angles[2]);
        rotMatMultiply(xy.m, x.m, y.m);
        rotMatMultiply(xyz.m, xy.m, z.m);
        EXPECT_EQ(rotMatCreate3(r.m, angles[0], angles[1], angles[2]), 0);
        expectNear(r.m, xyz.m, 1e-6);
    }
}

TEST(RotMatCreate3, EachElementIsThatOfItsFormula) {
    const float a = 0.3F;
    const float b = -0.9F;
    const float g = 2.1F;
    Matrix r;
    EXPECT_EQ(rotMatCreate3(r.m, a, b, g), 0);
    const float sx = al_sinf(a);
    const float cx = al_cosf(a);
    const float sy = al_sinf(b);
    const float cy = al_cosf(b);
    const float sz = al_sinf(g);
    const float cz = al_cosf(g);
    EXPECT_EQ(r.m[0][0], cz * cy);
    EXPECT_EQ(r.m[0][1], -cy * sz);
    EXPECT_EQ(r.m[0][2], sy);
    EXPECT_EQ(r.m[1][0], sz * cx + cz * sx * sy);
    EXPECT_EQ(r.m[1][1], cz * cx - sy * sx * sz);
    EXPECT_EQ(r.m[1][2], -cy * sx);
    EXPECT_EQ(r.m[2][0], sz * sx - cz * cx * sy);
    EXPECT_EQ(r.m[2][1], cz * sx + sy * cx * sz);
    EXPECT_EQ(r.m[2][2], cy * cx);
}

TEST(RotMatCreate3, NoAngleFails) {
    for (const float angle : kExtremes) {
        Matrix r;
        EXPECT_EQ(rotMatCreate3(r.m, angle, angle, angle), 0) << angle;
    }
}

TEST(RotMatCreate3, NullFails) {
    EXPECT_EQ(rotMatCreate3(nullptr, 0.0F, 0.0F, 0.0F), 1);
}

// --- Products ---

TEST(RotMatMultiply, IsRowTimesColumn) {
    const float left[3][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    const float right[3][3] = {{2, 0, 1}, {0, 3, 0}, {1, 0, 4}};
    const double expected[3][3] = {{5, 6, 13}, {14, 15, 28}, {23, 24, 43}};
    Matrix r;
    EXPECT_EQ(rotMatMultiply(r.m, left, right), 0);
    expectNear(r.m, expected, 0.0);
}

TEST(RotMatMultiply, SumsInTheOrderOfTheIndex) {
    // (2^24 + 1) - 2^24 is 0 in single precision, in any other order it is 1.
    const float left[3][3] = {{16777216.0F, 1.0F, -16777216.0F}, {0, 0, 0}, {0, 0, 0}};
    const float right[3][3] = {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}};
    Matrix r;
    EXPECT_EQ(rotMatMultiply(r.m, left, right), 0);
    EXPECT_EQ(r.m[0][0], 0.0F);
}

TEST(RotMatMultiply, AnOperandAsResultFailsAndStaysAsItIs) {
    Matrix a;
    Matrix b;
    EXPECT_EQ(rotMatMultiply(a.m, a.m, b.m), 1);
    EXPECT_EQ(rotMatMultiply(a.m, b.m, a.m), 1);
    EXPECT_TRUE(a.isUnwritten());
}

TEST(RotMatMultiply, NullArgumentsFail) {
    Matrix a;
    Matrix b;
    EXPECT_EQ(rotMatMultiply(nullptr, a.m, b.m), 1);
    EXPECT_EQ(rotMatMultiply(a.m, nullptr, b.m), 1);
    EXPECT_EQ(rotMatMultiply(a.m, b.m, nullptr), 1);
    EXPECT_TRUE(a.isUnwritten());
}

TEST(RotMatMultiplyVector, IsMatrixTimesVector) {
    const float matrix[3][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    const RM_Vector vector = {1.0F, -1.0F, 2.0F};
    RM_Vector result = {};
    EXPECT_EQ(rotMatMultiplyVector(result, matrix, vector), 0);
    EXPECT_EQ(result[0], 5.0F);
    EXPECT_EQ(result[1], 11.0F);
    EXPECT_EQ(result[2], 17.0F);
}

TEST(RotMatMultiplyVector, NoComponentIsMinusZero) {
    const float matrix[3][3] = {{1, 1, 1}, {1, 1, 1}, {1, 1, 1}};
    const RM_Vector vector = {-0.0F, -0.0F, -0.0F};
    RM_Vector result = {1.0F, 1.0F, 1.0F};
    EXPECT_EQ(rotMatMultiplyVector(result, matrix, vector), 0);
    EXPECT_EQ(bitsOf(result[0]), 0U);
}

TEST(RotMatMultiplyVector, NullArgumentsAndTheVectorAsResultFail) {
    Matrix m;
    RM_Vector v = {1.0F, 2.0F, 3.0F};
    RM_Vector r = {4.0F, 5.0F, 6.0F};
    EXPECT_EQ(rotMatMultiplyVector(nullptr, m.m, v), 1);
    EXPECT_EQ(rotMatMultiplyVector(r, nullptr, v), 1);
    EXPECT_EQ(rotMatMultiplyVector(r, m.m, nullptr), 1);
    EXPECT_EQ(rotMatMultiplyVector(v, m.m, v), 1);
    EXPECT_EQ(r[0], 4.0F);
    EXPECT_EQ(v[0], 1.0F);
}

// --- Inverse ---

TEST(RotMatInverse, IsTheTranspose) {
    const float matrix[3][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    const double expected[3][3] = {{1, 4, 7}, {2, 5, 8}, {3, 6, 9}};
    Matrix r;
    EXPECT_EQ(rotMatInverse(r.m, matrix), 0);
    expectNear(r.m, expected, 0.0);
}

TEST(RotMatInverse, UndoesARotation) {
    Matrix r;
    Matrix inverse;
    Matrix product;
    rotMatCreate3(r.m, 0.4F, -0.3F, 1.2F);
    rotMatInverse(inverse.m, r.m);
    EXPECT_EQ(rotMatMultiply(product.m, inverse.m, r.m), 0);
    expectNear(product.m, kIdentity, kTolerance);
}

TEST(RotMatInverse, NullArgumentsAndTheOperandAsResultFail) {
    Matrix a;
    EXPECT_EQ(rotMatInverse(nullptr, a.m), 1);
    EXPECT_EQ(rotMatInverse(a.m, nullptr), 1);
    EXPECT_EQ(rotMatInverse(a.m, a.m), 1);
    EXPECT_TRUE(a.isUnwritten());
}

// --- Angles of a matrix ---

TEST(RotMatReverse, TheIdentityHasAnglesOfZero) {
    Matrix r;
    rotMatCreate3(r.m, 0.0F, 0.0F, 0.0F);
    const Angles angles = reversed(r.m);
    EXPECT_NEAR(angles.x, 0.0, kTolerance);
    EXPECT_NEAR(angles.y, 0.0, kTolerance);
    EXPECT_NEAR(angles.z, 0.0, kTolerance);
}

TEST(RotMatReverse, GivesBackTheAnglesOfAMatrix) {
    testing_support::Random random(73);
    SCOPED_TRACE(random.seedText());
    for (int i = 0; i < 2000; ++i) {
        // Near a quarter turn about y the other two angles turn about the same axis and cannot be told apart.
        const Angles in = {random.real(-1.57F, 1.57F), random.real(-1.5F, 1.5F), random.real(-3.14F, 3.14F)};
        Matrix r;
        rotMatCreate3(r.m, in.x, in.y, in.z);
        const Angles out = reversed(r.m);
        ASSERT_NEAR(out.x, in.x, 1e-4) << in.x << ", " << in.y << ", " << in.z;
        ASSERT_NEAR(out.y, in.y, 1e-4) << in.x << ", " << in.y << ", " << in.z;
        ASSERT_NEAR(out.z, in.z, 1e-4) << in.x << ", " << in.y << ", " << in.z;
    }
}

TEST(RotMatReverse, BeyondAQuarterTurnAboutXTheOtherTripleOfTheSameRotationIsGiven) {
    testing_support::Random random(74);
    SCOPED_TRACE(random.seedText());
    for (int i = 0; i < 2000; ++i) {
        const float x = random.real(1.6F, 3.1F) * (i % 2 == 0 ? 1.0F : -1.0F);
        Matrix r;
        rotMatCreate3(r.m, x, random.real(-3.1F, 3.1F), random.real(-3.1F, 3.1F));
        const Angles out = reversed(r.m);
        ASSERT_LE(std::abs(out.x), kHalfPi);
        ASSERT_LE(std::abs(out.y), kPi);
        ASSERT_LE(std::abs(out.z), kPi);
        Matrix again;
        rotMatCreate3(again.m, out.x, out.y, out.z);
        expectNear(again.m, r.m, 2e-5);
    }
}

TEST(RotMatReverse, MovesTheTripleByPi) {
    // (2, 0.5, 0.25) is the same rotation as (2 - pi, pi - 0.5, 0.25 + pi - 2 pi).
    Matrix r;
    rotMatCreate3(r.m, 2.0F, 0.5F, 0.25F);
    const Angles out = reversed(r.m);
    EXPECT_NEAR(out.x, 2.0 - 3.14159265, 1e-5);
    EXPECT_NEAR(out.y, 3.14159265 - 0.5, 1e-5);
    EXPECT_NEAR(out.z, 0.25 - 3.14159265, 1e-5);
}

TEST(RotMatReverse, AHalfTurnAboutXIsThatOfPositiveHalfTurnsAboutYAndZ) {
    // diag(1, -1, -1): the angle about x is pi, so that pi is taken from it and added to the zeros of the
    // others. The limit itself lies within the range: pi stays pi and does not become -pi.
    Matrix r;
    std::fill_n(&r.m[0][0], 9, 0.0F);
    r.m[0][0] = 1.0F;
    r.m[1][1] = -1.0F;
    r.m[2][2] = -1.0F;
    const Angles out = reversed(r.m);
    EXPECT_EQ(out.x, 0.0F);
    EXPECT_EQ(out.y, 3.1415927F);
    EXPECT_EQ(out.z, 3.1415927F);
}

TEST(RotMatReverse, NaNStaysNaN) {
    Matrix r;
    std::fill_n(&r.m[0][0], 9, kNaN);
    const Angles out = reversed(r.m);
    EXPECT_TRUE(std::isnan(out.x));
    EXPECT_TRUE(std::isnan(out.y));
    EXPECT_TRUE(std::isnan(out.z));
}

TEST(RotMatReverse, NullArgumentsFailAndLeaveTheAngles) {
    Matrix r;
    float x = 1.0F;
    float y = 2.0F;
    float z = 3.0F;
    EXPECT_EQ(rotMatReverse(nullptr, &y, &z, r.m), 1);
    EXPECT_EQ(rotMatReverse(&x, nullptr, &z, r.m), 1);
    EXPECT_EQ(rotMatReverse(&x, &y, nullptr, r.m), 1);
    EXPECT_EQ(rotMatReverse(&x, &y, &z, nullptr), 1);
    EXPECT_EQ(x, 1.0F);
    EXPECT_EQ(y, 2.0F);
    EXPECT_EQ(z, 3.0F);
}

}  // namespace
