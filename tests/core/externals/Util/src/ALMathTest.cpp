// SPDX-License-Identifier: Apache-2.0
#include "ALMath.h"

#include <gtest/gtest.h>

#include <climits>
#include <numbers>
#include <random>

#include "FloatBits.h"

namespace {

constexpr unsigned int kSeed = 20911;
constexpr int kRandomInputs = 20000;

/** Calls `check` with random values, uniform in low..high. */
template <class Check>
void forRandom(float low, float high, Check check) {
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    std::mt19937 random(kSeed);
    std::uniform_real_distribution<float> values(low, high);
    for (int i = 0; i < kRandomInputs; ++i) {
        check(values(random));
    }
}

/** Calls `check` with random pairs of values, each uniform in low..high. */
template <class Check>
void forRandomPairs(float low, float high, Check check) {
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    std::mt19937 random(kSeed);
    std::uniform_real_distribution<float> values(low, high);
    for (int i = 0; i < kRandomInputs; ++i) {
        const float a = values(random);
        check(a, values(random));
    }
}

/** Calls `check` with random normal positive values of all magnitudes. */
template <class Check>
void forRandomMagnitudes(Check check) {
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<std::uint32_t> bits(0x00800000U, 0x7F7FFFFFU);
    for (int i = 0; i < kRandomInputs; ++i) {
        check(fromBits(bits(random)));
    }
}

/** Calls `check` with the extremes and with random bit patterns, NaNs among them. */
template <class Check>
void forAnyBits(Check check) {
    for (const float x : kExtremes) {
        check(x);
    }
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<std::uint32_t> bits;
    for (int i = 0; i < kRandomInputs; ++i) {
        check(fromBits(bits(random)));
    }
}

double relativeError(float value, double expected) {
    return std::abs(static_cast<double>(value) - expected) / std::abs(expected);
}

double absoluteError(float value, double expected) {
    return std::abs(static_cast<double>(value) - expected);
}

// The golden values below were worked out in single precision, operation by operation, by a second
// implementation of the formulas in another language.

struct UnaryGolden {
    float x;
    std::uint32_t bits;
};

struct BinaryGolden {
    float x;
    float y;
    std::uint32_t bits;
};

void expectGolden(float (*function)(float) noexcept, std::initializer_list<UnaryGolden> goldens) {
    for (const UnaryGolden& golden : goldens) {
        EXPECT_EQ(bitsOf(function(golden.x)), golden.bits) << "x " << golden.x;
    }
}

void expectGolden(float (*function)(float, float) noexcept, std::initializer_list<BinaryGolden> goldens) {
    for (const BinaryGolden& golden : goldens) {
        EXPECT_EQ(bitsOf(function(golden.x, golden.y)), golden.bits)
            << "x " << golden.x << ", y " << golden.y;
    }
}

// --- Rounding ---

TEST(AlTruncate, CutsTowardsZero) {
    EXPECT_EQ(al_truncate(2.9F), 2);
    EXPECT_EQ(al_truncate(-2.9F), -2);
    EXPECT_EQ(al_truncate(0.999F), 0);
    EXPECT_EQ(al_truncate(-0.0F), 0);
}

TEST(AlTruncate, IsExactUpToTheLastValuesWithinInt32) {
    EXPECT_EQ(al_truncate(2147483520.0F), 2147483520);
    EXPECT_EQ(al_truncate(-2147483648.0F), INT_MIN);
}

TEST(AlTruncate, SaturatesBeyondInt32) {
    EXPECT_EQ(al_truncate(2147483648.0F), INT_MAX);
    EXPECT_EQ(al_truncate(-2147483904.0F), INT_MIN);
    EXPECT_EQ(al_truncate(1e30F), INT_MAX);
    EXPECT_EQ(al_truncate(-1e30F), INT_MIN);
    EXPECT_EQ(al_truncate(kInfinity), INT_MAX);
    EXPECT_EQ(al_truncate(-kInfinity), INT_MIN);
}

TEST(AlTruncate, OfNaNIsZero) {
    EXPECT_EQ(al_truncate(kNaN), 0);
    EXPECT_EQ(al_truncate(fromBits(0xFFFFFFFFU)), 0);
    EXPECT_EQ(al_truncate(fromBits(0x7F800001U)), 0);
}

TEST(AlTruncate, OfSubnormalNumbersIsZero) {
    EXPECT_EQ(al_truncate(fromBits(0x00000001U)), 0);
    EXPECT_EQ(al_truncate(fromBits(0x807FFFFFU)), 0);
}

TEST(AlFloor, OfMinusOneHalfIsMinusOne) {
    EXPECT_EQ(al_floor(-0.5F), -1.0F);
}

TEST(AlFloor, OfMinusOneIsMinusOne) {
    EXPECT_EQ(al_floor(-1.0F), -1.0F);
}

TEST(AlFloor, OfTwoPointNineIsTwo) {
    EXPECT_EQ(al_floor(2.9F), 2.0F);
}

TEST(AlFloor, OfZerosIsPositiveZero) {
    EXPECT_EQ(bitsOf(al_floor(0.0F)), 0U);
    EXPECT_EQ(bitsOf(al_floor(-0.0F)), 0U);
}

TEST(AlFloor, OfTheSmallestNegativeNumberIsMinusOne) {
    EXPECT_EQ(al_floor(fromBits(0x80000001U)), -1.0F);
}

TEST(AlFloor, IsTheTrueFloorWithinInt32) {
    forRandom(-10000.0F, 10000.0F, [](float x) { ASSERT_EQ(al_floor(x), std::floor(x)) << x; });
    for (const float x :
         {8388607.5F, -8388607.5F, 16777216.0F, -16777216.0F, 2147483520.0F, -2147483520.0F}) {
        EXPECT_EQ(al_floor(x), std::floor(x)) << x;
    }
}

TEST(AlFloor, StopsAtTheLimitsOfInt32) {
    constexpr float twoTo31 = 2147483648.0F;
    EXPECT_EQ(al_floor(twoTo31), twoTo31);
    EXPECT_EQ(al_floor(1e20F), twoTo31);
    EXPECT_EQ(al_floor(kInfinity), twoTo31);
    EXPECT_EQ(al_floor(-twoTo31), -twoTo31);
    EXPECT_EQ(al_floor(-2147483904.0F), -twoTo31);
    EXPECT_EQ(al_floor(-1e20F), -twoTo31);
    EXPECT_EQ(al_floor(-kInfinity), -twoTo31);
}

TEST(AlFloor, OfNaNIsZero) {
    EXPECT_EQ(al_floor(kNaN), 0.0F);
}

TEST(AlCeil, OfTwoPointOneIsThree) {
    EXPECT_EQ(al_ceil(2.1F), 3.0F);
}

TEST(AlCeil, OfMinusOneHalfIsNegativeZero) {
    EXPECT_EQ(bitsOf(al_ceil(-0.5F)), 0x80000000U);
}

TEST(AlCeil, OfAnIntegerIsThatInteger) {
    EXPECT_EQ(al_ceil(3.0F), 3.0F);
    EXPECT_EQ(al_ceil(-3.0F), -3.0F);
}

TEST(AlCeil, IsTheTrueCeilingWithinInt32) {
    forRandom(-10000.0F, 10000.0F, [](float x) { ASSERT_EQ(al_ceil(x), std::ceil(x)) << x; });
}

TEST(AlCeil, StopsAtTheLimitsOfInt32) {
    EXPECT_EQ(al_ceil(kInfinity), 2147483648.0F);
    EXPECT_EQ(al_ceil(-kInfinity), -2147483648.0F);
}

// --- Simple functions ---

TEST(AlFabsf, ClearsTheSign) {
    EXPECT_EQ(al_fabsf(-2.5F), 2.5F);
    EXPECT_EQ(al_fabsf(2.5F), 2.5F);
    EXPECT_EQ(bitsOf(al_fabsf(-0.0F)), 0U);
    EXPECT_EQ(al_fabsf(-kInfinity), kInfinity);
    EXPECT_EQ(bitsOf(al_fabsf(fromBits(0x80000001U))), 1U);
    EXPECT_TRUE(std::isnan(al_fabsf(kNaN)));
}

TEST(AlAbs, IsTheMagnitude) {
    EXPECT_EQ(al_abs(-5), 5);
    EXPECT_EQ(al_abs(5), 5);
    EXPECT_EQ(al_abs(0), 0);
    EXPECT_EQ(al_abs(INT_MIN + 1), INT_MAX);
}

TEST(AlAbs, LeavesTheMostNegativeValue) {
    EXPECT_EQ(al_abs(INT_MIN), INT_MIN);
}

TEST(AlSquaref, IsTheProductWithItself) {
    EXPECT_EQ(al_squaref(-1.5F), 2.25F);
    EXPECT_EQ(al_squaref(1e30F), kInfinity);
    EXPECT_EQ(al_squaref(-kInfinity), kInfinity);
}

TEST(AlFminf, IsTheSmallerValue) {
    EXPECT_EQ(al_fminf(1.0F, 2.0F), 1.0F);
    EXPECT_EQ(al_fminf(2.0F, 1.0F), 1.0F);
    EXPECT_EQ(al_fminf(-kInfinity, kInfinity), -kInfinity);
}

TEST(AlFminf, IsTheSecondOfEqualValues) {
    EXPECT_EQ(bitsOf(al_fminf(0.0F, -0.0F)), 0x80000000U);
    EXPECT_EQ(bitsOf(al_fminf(-0.0F, 0.0F)), 0U);
}

TEST(AlFminf, IsTheFirstValueWhereTheyDoNotCompare) {
    EXPECT_EQ(al_fminf(1.0F, kNaN), 1.0F);
    EXPECT_TRUE(std::isnan(al_fminf(kNaN, 1.0F)));
}

TEST(AlFmaxf, IsTheLargerValue) {
    EXPECT_EQ(al_fmaxf(1.0F, 2.0F), 2.0F);
    EXPECT_EQ(al_fmaxf(2.0F, 1.0F), 2.0F);
    EXPECT_EQ(al_fmaxf(-kInfinity, kInfinity), kInfinity);
}

TEST(AlFmaxf, IsTheSecondOfEqualValues) {
    EXPECT_EQ(bitsOf(al_fmaxf(0.0F, -0.0F)), 0x80000000U);
    EXPECT_EQ(bitsOf(al_fmaxf(-0.0F, 0.0F)), 0U);
}

TEST(AlFmaxf, IsTheFirstValueWhereTheyDoNotCompare) {
    EXPECT_EQ(al_fmaxf(1.0F, kNaN), 1.0F);
    EXPECT_TRUE(std::isnan(al_fmaxf(kNaN, 1.0F)));
}

TEST(AlSign, IsMinusOneZeroOrOne) {
    EXPECT_EQ(al_sign(-9), -1);
    EXPECT_EQ(al_sign(0), 0);
    EXPECT_EQ(al_sign(9), 1);
    EXPECT_EQ(al_sign(INT_MIN), -1);
    EXPECT_EQ(al_sign(INT_MAX), 1);
}

TEST(AlModi16, OfMinusSevenByThreeIsMinusOne) {
    EXPECT_EQ(al_modi16(-7, 3), -1);
}

TEST(AlModi16, HasTheSignOfTheDividend) {
    EXPECT_EQ(al_modi16(7, 3), 1);
    EXPECT_EQ(al_modi16(7, -3), 1);
    EXPECT_EQ(al_modi16(-7, -3), -1);
    EXPECT_EQ(al_modi16(6, 3), 0);
}

TEST(AlModi16, OfTheMostNegativeValueByMinusOneIsZero) {
    EXPECT_EQ(al_modi16(INT16_MIN, -1), 0);
}

TEST(AlModi16, ByZeroIsTheDividend) {
    EXPECT_EQ(al_modi16(5, 0), 5);
    EXPECT_EQ(al_modi16(INT16_MIN, 0), INT16_MIN);
}

TEST(AlNanf32, HasAllBitsSet) {
    EXPECT_EQ(bitsOf(al_nanf32()), 0xFFFFFFFFU);
}

TEST(AlIsnanf32, OfANaNIsZero) {
    EXPECT_EQ(al_isnanf32(al_nanf32()), 0);
}

TEST(AlIsnanf32, IsZeroForEveryInput) {
    forAnyBits([](float x) { ASSERT_EQ(al_isnanf32(x), 0); });
}

TEST(AlIsNaNOrInfinity, IsZeroForEveryInput) {
    forAnyBits([](float x) { ASSERT_EQ(al_isNaNOrInfinity(x), 0); });
}

// --- Division ---

TEST(AlDivf, OfOneByThreeIsTheNearestFloat) {
    EXPECT_EQ(al_divf(1.0F, 3.0F), 0.33333334F);
}

TEST(AlDivf, HasTheGoldenBits) {
    expectGolden(al_divf, {{2.0F, 3.0F, 0x3F2AAAABU},
                           {1.0F, 10.0F, 0x3DCCCCCDU},
                           {22.0F, 7.0F, 0x40492492U},
                           {-5.0F, 9.0F, 0xBF0E38E3U},  // one step off the nearest, 0xBF0E38E4
                           {1e20F, 3e-10F, 0x7086A1DCU},
                           {7.0F, -0.3F, 0xC1BAAAABU},
                           {1.0F, 1.2e-38F, 0x7E7AC5AAU}});
}

TEST(AlDivf, IsWithinTwoPointOneInTenMillion) {
    // Largest found over 30 million mantissa pairs: 2.04e-7. The estimate is off by 2^-7.4 at most, the two
    // steps square that twice to far below 2^-24, and what remains is the rounding of five operations.
    forRandomPairs(1.0F, 2.0F, [](float x, float y) {
        ASSERT_LE(relativeError(al_divf(x, y), static_cast<double>(x) / static_cast<double>(y)), 2.1e-7)
            << x << " / " << y;
    });
}

TEST(AlDivf, IsWithinTwoPointOneInTenMillionForAllNormalReciprocals) {
    forRandomMagnitudes([](float y) {
        if (y < 8.5e37F) {  // 2^126, where the reciprocal ceases to be normal
            ASSERT_LE(relativeError(al_divf(1.0F, y), 1.0 / static_cast<double>(y)), 2.1e-7) << y;
        }
    });
}

TEST(AlDivf, IsExactForPowersOfTwo) {
    for (int exponent = -125; exponent <= 125; ++exponent) {
        const float y = std::ldexp(1.0F, exponent);
        EXPECT_EQ(al_divf(1.0F, y), std::ldexp(1.0F, -exponent)) << "exponent " << exponent;
        EXPECT_EQ(al_divf(-1.0F, y), -std::ldexp(1.0F, -exponent)) << "exponent " << exponent;
    }
}

TEST(AlDivf, OfZeroIsZero) {
    EXPECT_EQ(al_divf(0.0F, 5.0F), 0.0F);
    EXPECT_EQ(al_divf(0.0F, 1e-20F), 0.0F);
}

TEST(AlDivf, ByZeroIsNaN) {
    // The estimate is 2^127, (2 - 0) times it overflows, and infinity times 0 follows.
    EXPECT_TRUE(std::isnan(al_divf(1.0F, 0.0F)));
    EXPECT_TRUE(std::isnan(al_divf(1.0F, -0.0F)));
    EXPECT_TRUE(std::isnan(al_divf(0.0F, 0.0F)));
}

TEST(AlDivf, ByInfinityIsInfiniteWithTheOtherSign) {
    // Estimate 2^-126, so 2 - infinity in the first step and + infinity in the second.
    EXPECT_EQ(al_divf(1.0F, kInfinity), -kInfinity);
}

TEST(AlDivf, OfInfinityIsInfinite) {
    EXPECT_EQ(al_divf(kInfinity, 2.0F), kInfinity);
    EXPECT_EQ(al_divf(-kInfinity, 2.0F), -kInfinity);
}

TEST(AlDivf, PassesNaNOn) {
    EXPECT_TRUE(std::isnan(al_divf(kNaN, 2.0F)));
    EXPECT_TRUE(std::isnan(al_divf(2.0F, kNaN)));
}

// --- Square root ---

TEST(AlSqrtf, OfZerosIsExactlyZero) {
    EXPECT_EQ(bitsOf(al_sqrtf(0.0F)), 0U);
    EXPECT_EQ(bitsOf(al_sqrtf(-0.0F)), 0U);
}

TEST(AlSqrtf, OfFourIsTwo) {
    EXPECT_EQ(al_sqrtf(4.0F), 2.0F);
}

TEST(AlSqrtf, OfTwoIsTheNearestFloat) {
    EXPECT_EQ(al_sqrtf(2.0F), 1.4142135F);
}

TEST(AlSqrtf, HasTheGoldenBits) {
    expectGolden(al_sqrtf, {{0.25F, 0x3F000000U},
                            {3.0F, 0x3FDDB3D8U},  // one step above the nearest
                            {10.0F, 0x404A62C2U},
                            {0.001F, 0x3D0186E3U},
                            {123456.0F, 0x43AFAE78U},
                            {1e30F, 0x58635FAAU},
                            {1e-30F, 0x26901D7DU}});
}

TEST(AlSqrtf, IsWithinTwoInTenMillion) {
    // Largest over all 2^24 mantissas of an even and an odd exponent: 1.983e-7. Again the rounding of the
    // last operations; the two steps leave less than 2^-26.
    forRandomMagnitudes([](float x) {
        ASSERT_LE(relativeError(al_sqrtf(x), std::sqrt(static_cast<double>(x))), 2.0e-7) << x;
    });
}

TEST(AlSqrtf, IsExactForPowersOfFour) {
    for (int exponent = -63; exponent <= 63; ++exponent) {
        EXPECT_EQ(al_sqrtf(std::ldexp(1.0F, 2 * exponent)), std::ldexp(1.0F, exponent)) << exponent;
    }
}

TEST(AlSqrtf, TakesNegativeNumbersThroughTheSteps) {
    // Estimate -1/2, v -2: x1 = (1.5 + 0.5) * -0.5 = -1, then (-1 * -4) * (1.5 + 2) = 14.
    EXPECT_EQ(al_sqrtf(-4.0F), 14.0F);
}

TEST(AlSqrtf, OfInfinityIsInfinite) {
    EXPECT_EQ(al_sqrtf(kInfinity), kInfinity);
}

TEST(AlSqrtf, PassesNaNOn) {
    EXPECT_TRUE(std::isnan(al_sqrtf(kNaN)));
}

// --- Remainder ---

TEST(AlFmodf, OfMinusSevenAndAHalfByTwoIsMinusOneAndAHalf) {
    EXPECT_EQ(al_fmodf(-7.5F, 2.0F), -1.5F);
}

TEST(AlFmodf, HasTheSignOfTheDividend) {
    EXPECT_EQ(al_fmodf(7.5F, 2.0F), 1.5F);
    EXPECT_EQ(al_fmodf(7.5F, -2.0F), 1.5F);
    EXPECT_EQ(al_fmodf(-7.5F, -2.0F), -1.5F);
}

TEST(AlFmodf, OfMinusZeroIsMinusZero) {
    EXPECT_TRUE(std::signbit(al_fmodf(-0.0F, 3.0F)));
    EXPECT_TRUE(std::signbit(al_fmodf(-0.0F, -3.0F)));
    EXPECT_TRUE(std::signbit(al_fmodf(-6.0F, 3.0F)));
    EXPECT_FALSE(std::signbit(al_fmodf(0.0F, -3.0F)));
}

TEST(AlFmodf, OfADividendBelowTheDivisorIsTheDividend) {
    EXPECT_EQ(al_fmodf(1.0F, 3.0F), 1.0F);
    EXPECT_EQ(al_fmodf(-1.0F, 3.0F), -1.0F);
    EXPECT_EQ(al_fmodf(0.0F, 3.0F), 0.0F);
}

TEST(AlFmodf, OfMultiplesIsZero) {
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(al_fmodf(3.0F * static_cast<float>(i), 3.0F), 0.0F) << i;
    }
}

TEST(AlFmodf, HasTheGoldenBits) {
    expectGolden(al_fmodf, {{10.0F, 0.1F, 0x00000000U}, {1000.5F, 6.2831855F, 0x3FBC9C00U}});
}

TEST(AlFmodf, CorrectsAQuotientThatIsOneTooLarge) {
    // 750.516602 / 2.38259268 is just below 315 and comes out as 315, which leaves less than 0.
    expectGolden(al_fmodf, {{750.516602F, 2.38259268F, 0x40187A66U}});
}

TEST(AlFmodf, CorrectsAQuotientThatIsOneTooSmall) {
    // 411.480499 / 0.916437626 is just above 449 and comes out below it, which leaves a whole divisor.
    expectGolden(al_fmodf, {{411.480499F, 0.916437626F, 0x36B00000U}});
}

TEST(AlFmodf, LiesBelowTheDivisor) {
    forRandom(0.0F, 1000.0F, [](float x) {
        const float r = al_fmodf(x, 6.2831855F);
        ASSERT_GE(r, 0.0F) << x;
        ASSERT_LT(r, 6.2831855F) << x;
    });
}

TEST(AlFmodf, IsTheRemainderUpToTheRoundingOfItsProduct) {
    // The product of quotient and divisor is rounded at the magnitude of x: half a step of 1000, 3.05e-5.
    forRandom(-1000.0F, 1000.0F, [](float x) {
        const double expected = std::fmod(static_cast<double>(x), static_cast<double>(6.2831855F));
        const double error = absoluteError(al_fmodf(x, 6.2831855F), expected);
        // Next to a multiple the rounding may lead to the other end of the range.
        ASSERT_LE(std::min(error, std::abs(error - static_cast<double>(6.2831855F))), 3.1e-5) << x;
    });
}

TEST(AlFmodf, ByZeroIsTheDividend) {
    // The quotient is NaN and truncates to 0.
    EXPECT_EQ(al_fmodf(5.0F, 0.0F), 5.0F);
}

// --- Trigonometry ---

TEST(AlSinf, HasTheGoldenBits) {
    expectGolden(al_sinf, {{0.0F, 0x00000000U},
                           {0.5F, 0x3EF57744U},
                           {1.0F, 0x3F576AA5U},
                           {2.0F, 0x3F68C7BAU},
                           {3.0F, 0x3E1081C9U},
                           {4.0F, 0xBF41BDCEU},
                           {5.5F, 0xBF349E4CU},
                           {-0.3F, 0xBE974E73U},
                           {-2.5F, 0xBF193579U},
                           {10.0F, 0xBF0B44F4U},
                           {100.0F, 0xBF01A134U}});
}

TEST(AlSinf, IsWithinThreePointEightInAMillionInOneTurn) {
    // The series ends with x^9 / 9!, so at half pi it lacks (pi / 2)^11 / 11! = 3.6e-6. Largest found over 20
    // million inputs: 3.70e-6.
    forRandom(0.0F, 6.2831853F, [](float x) {
        ASSERT_LE(absoluteError(al_sinf(x), std::sin(static_cast<double>(x))), 3.8e-6) << x;
    });
}

TEST(AlSinf, OfOneTurnMoreDiffersByTheRoundingOfTheReduction) {
    // x + 2 pi, its multiple of 2 pi and the difference are rounded near 13: three half steps of 2^-20 at
    // most, and the error of the float 2 pi, 1.75e-7, twice.
    forRandom(-6.2831853F, 6.2831853F,
              [](float x) { ASSERT_NEAR(al_sinf(x + 6.2831855F), al_sinf(x), 2.0e-6F) << x; });
}

TEST(AlSinf, TakesNegativeAngles) {
    forRandom(-100.0F, 0.0F, [](float x) {
        ASSERT_LE(absoluteError(al_sinf(x), std::sin(static_cast<double>(x))), 6.0e-6) << x;
    });
}

TEST(AlSinf, OfTheFloatsPiAndTwoPiIsZero) {
    EXPECT_EQ(al_sinf(3.1415927F), 0.0F);
    EXPECT_EQ(al_sinf(6.2831855F), 0.0F);
}

TEST(AlSinf, OfInfinityAndNaNIsNotFinite) {
    EXPECT_FALSE(std::isfinite(al_sinf(kInfinity)));
    EXPECT_FALSE(std::isfinite(al_sinf(-kInfinity)));
    EXPECT_TRUE(std::isnan(al_sinf(kNaN)));
}

TEST(AlCosf, OfZeroIsAboveOneByTheLackOfTheSeries) {
    EXPECT_EQ(al_cosf(0.0F), 1.0000036F);
    EXPECT_EQ(bitsOf(al_cosf(0.0F)), 0x3F80001EU);
}

TEST(AlCosf, HasTheGoldenBits) {
    expectGolden(al_cosf, {{0.5F, 0x3F60A941U},
                           {1.0F, 0x3F0A5141U},
                           {2.0F, 0xBED5112DU},
                           {3.0F, 0xBF7D703BU},
                           {4.0F, 0xBF275533U},
                           {-1.0F, 0x3F0A513FU},
                           {-3.0F, 0xBF7D703CU},
                           {10.0F, 0xBF56CD64U}});
}

TEST(AlCosf, IsWithinThreePointEightInAMillionInTwoTurns) {
    forRandom(-6.2831853F, 6.2831853F, [](float x) {
        ASSERT_LE(absoluteError(al_cosf(x), std::cos(static_cast<double>(x))), 3.8e-6) << x;
    });
}

TEST(AlTanf, HasTheGoldenBits) {
    expectGolden(al_tanf, {{0.1F, 0x3DCD7C2CU},
                           {0.5F, 0x3F0BDA7BU},
                           {1.0F, 0x3FC75924U},
                           {-1.0F, 0xBFC75926U},
                           {1.5F, 0x41619F7FU},
                           {2.5F, 0xBF3F3CDBU}});
}

TEST(AlTanf, IsWithinOneInAMillionFromMinusOneToOne) {
    forRandom(-1.0F, 1.0F, [](float x) {
        ASSERT_LE(absoluteError(al_tanf(x), std::tan(static_cast<double>(x))), 1.0e-6) << x;
    });
}

TEST(AlTanf, OfHalfPiIsNaN) {
    EXPECT_TRUE(std::isnan(al_tanf(1.5707964F)));  // the cosine is exactly 0
}

TEST(AlAcosf, HasTheGoldenBits) {
    expectGolden(al_acosf, {{0.0F, 0x3FC90FDAU},  // one step below half pi
                            {0.25F, 0x3FA8B807U},
                            {0.5F, 0x3F860A91U},
                            {0.9F, 0x3EE6ECFDU},
                            {-0.25F, 0x3FE967AFU},
                            {-0.75F, 0x401ACE94U}});
}

TEST(AlAcosf, OfOneIsExactlyZero) {
    EXPECT_EQ(bitsOf(al_acosf(1.0F)), 0U);
}

TEST(AlAcosf, OfMinusOneIsPi) {
    EXPECT_EQ(al_acosf(-1.0F), 3.1415927F);
}

TEST(AlAcosf, IsWithinSixInTenMillion) {
    // Largest found over 10 million inputs: 5.30e-7.
    forRandom(-1.0F, 1.0F, [](float x) {
        ASSERT_LE(absoluteError(al_acosf(x), std::acos(static_cast<double>(x))), 6.0e-7) << x;
    });
}

TEST(AlAsinf, HasTheGoldenBits) {
    expectGolden(al_asinf, {{0.0F, 0x34000000U},  // the step between the two half pi
                            {0.25F, 0x3E815F50U},
                            {0.5F, 0x3F060A94U},
                            {0.9F, 0x3F8F549CU},
                            {1.0F, 0x3FC90FDBU},
                            {-0.5F, 0xBF060A92U},
                            {-1.0F, 0xBFC90FDBU}});
}

TEST(AlAsinf, IsWithinSixInTenMillion) {
    forRandom(-1.0F, 1.0F, [](float x) {
        ASSERT_LE(absoluteError(al_asinf(x), std::asin(static_cast<double>(x))), 6.0e-7) << x;
    });
}

TEST(AlAtan2f, OfTheOriginIsZero) {
    EXPECT_EQ(al_atan2f(0.0F, 0.0F), 0.0F);
    EXPECT_EQ(al_atan2f(-0.0F, 0.0F), 0.0F);
    EXPECT_EQ(al_atan2f(0.0F, -0.0F), 0.0F);
}

TEST(AlAtan2f, OfTheNegativeAxisIsMinusPi) {
    EXPECT_EQ(al_atan2f(0.0F, -1.0F), -3.1415927F);
    EXPECT_EQ(al_atan2f(-0.0F, -1.0F), -3.1415927F);
}

TEST(AlAtan2f, OfTheAxesIsExact) {
    EXPECT_EQ(al_atan2f(0.0F, 1.0F), 0.0F);
    EXPECT_EQ(al_atan2f(1.0F, 0.0F), 1.5707964F);
    EXPECT_EQ(al_atan2f(-1.0F, 0.0F), -1.5707964F);
}

TEST(AlAtan2f, OfThePositiveAxisIsPositiveZeroWhateverTheSignOfY) {
    // Zeros compare equal, so neither of them is below zero and turns the sign of the angle.
    expectGolden(al_atan2f, {{0.0F, 1.0F, 0x00000000U}, {-0.0F, 1.0F, 0x00000000U}});
}

TEST(AlAtan2f, HasTheGoldenBits) {
    expectGolden(al_atan2f, {{1.0F, 1.0F, 0x3F490FDAU},
                             {1.0F, 2.0F, 0x3EED6338U},
                             {2.0F, 1.0F, 0x3F8DB70DU},
                             {-1.0F, 2.0F, 0xBEED6338U},
                             {1.0F, -2.0F, 0x402B6374U},
                             {-1.0F, -1.0F, 0xC016CBE4U},
                             {0.001F, -1.0F, 0x4048FF79U},
                             {-1e-30F, -1.0F, 0xC0490FDBU}});
}

TEST(AlAtan2f, IsWithinThreePointFiveInTenMillion) {
    // Largest found over 20 million points: 3.44e-7, of which half a step of pi is 1.2e-7.
    forRandomPairs(-10.0F, 10.0F, [](float y, float x) {
        ASSERT_LE(absoluteError(al_atan2f(y, x), std::atan2(static_cast<double>(y), static_cast<double>(x))),
                  3.5e-7)
            << y << ", " << x;
    });
}

TEST(AlAtan2f, LiesFromMinusPiToBelowPi) {
    forRandomPairs(-1.0F, 1.0F, [](float y, float x) {
        ASSERT_GE(al_atan2f(y * 1e-6F, x), -3.1415927F) << y << ", " << x;
        ASSERT_LT(al_atan2f(y * 1e-6F, x), 3.1415927F) << y << ", " << x;
    });
}

TEST(AlAtan2f, CountsTinyPointsByTheBoundOfTheQuotient) {
    // Both coordinates below 1e-20: the smaller one over 1e-20 is 0.01, whose arc tangent is 0.01 - 0.01^3
    // / 3.
    EXPECT_NEAR(al_atan2f(1e-22F, 2e-22F), 0.0099996667F, 1e-8F);
}

TEST(AlAtan2f, PassesANaNOfXOn) {
    EXPECT_TRUE(std::isnan(al_atan2f(1.0F, kNaN)));
}

TEST(AlAtan2f, TakesANaNOfYForTheMagnitudeOfX) {
    // If values do not compare, maximum and minimum keep the first one, that of x.
    EXPECT_EQ(al_atan2f(kNaN, 3.0F), al_atan2f(3.0F, 3.0F));
}

// --- Logarithm ---

TEST(AlLog2f, IsExactForPowersOfTwo) {
    for (int exponent = -126; exponent <= 127; ++exponent) {
        EXPECT_EQ(al_log2f(std::ldexp(1.0F, exponent)), static_cast<float>(exponent));
    }
}

TEST(AlLog2f, HasTheGoldenBits) {
    expectGolden(al_log2f, {{3.0F, 0x3FCADEBCU},
                            {10.0F, 0x40549A1CU},
                            {0.1F, 0xC0549B3CU},
                            {1e-30F, 0xC2C750D4U},
                            {1e30F, 0x42C750CBU}});
}

TEST(AlLog2f, IsWithinSevenPointThreeInAHundredThousand) {
    // The factor 1.4425961 is 6.9e-5 below log2(e); the rounding of results up to 127 adds 3.8e-6.
    forRandomMagnitudes([](float x) {
        ASSERT_LE(absoluteError(al_log2f(x), std::log2(static_cast<double>(x))), 7.3e-5) << x;
    });
}

TEST(AlLog2f, OfZeroIsMinus127) {
    EXPECT_EQ(al_log2f(0.0F), -127.0F);
}

TEST(AlLog2f, OfInfinityIs128) {
    EXPECT_EQ(al_log2f(kInfinity), 128.0F);
}

TEST(AlLog2f, TakesTheSignOfANegativeNumberIntoTheMantissa) {
    EXPECT_EQ(bitsOf(al_log2f(-3.0F)), 0xC3035538U);  // about -131.33
}

TEST(AlLogf, HasTheGoldenBits) {
    expectGolden(al_logf, {{1.0F, 0x00000000U},
                           {2.0F, 0x3F317218U},
                           {10.0F, 0x40135D4EU},
                           {0.5F, 0xBF317218U},
                           {1e-6F, 0xC15D0C59U}});
}

TEST(AlLogf, IsWithinFivePointFiveInAHundredThousand) {
    forRandomMagnitudes(
        [](float x) { ASSERT_LE(absoluteError(al_logf(x), std::log(static_cast<double>(x))), 5.5e-5) << x; });
}

// --- Power ---

TEST(AlPow2f, Of128IsInfinite) {
    EXPECT_EQ(al_pow2f(128.0F), kInfinity);
}

TEST(AlPow2f, IsInfiniteFrom127On) {
    // 127 needs the exponent field 255; just below, field 254 is the last one.
    EXPECT_EQ(al_pow2f(127.0F), kInfinity);
    EXPECT_LT(al_pow2f(std::nextafter(127.0F, 0.0F)), kInfinity);
    EXPECT_EQ(al_pow2f(3e9F), kInfinity);
    EXPECT_EQ(al_pow2f(kInfinity), kInfinity);
}

TEST(AlPow2f, OfMinus128IsZero) {
    EXPECT_EQ(bitsOf(al_pow2f(-128.0F)), 0U);
}

TEST(AlPow2f, OfMinus127IsSubnormalAndNotZero) {
    EXPECT_EQ(bitsOf(al_pow2f(-127.0F)), 0x00400000U);  // 2^-127
}

TEST(AlPow2f, IsZeroBelowMinus127) {
    EXPECT_EQ(bitsOf(al_pow2f(std::nextafter(-127.0F, -128.0F))), 0U);
    EXPECT_EQ(bitsOf(al_pow2f(-3e9F)), 0U);
    EXPECT_EQ(bitsOf(al_pow2f(-kInfinity)), 0U);
}

TEST(AlPow2f, IsExactForIntegers) {
    for (int exponent = -126; exponent <= 126; ++exponent) {
        EXPECT_EQ(al_pow2f(static_cast<float>(exponent)), std::ldexp(1.0F, exponent)) << exponent;
    }
}

TEST(AlPow2f, HasTheGoldenBits) {
    expectGolden(al_pow2f, {{0.5F, 0x3FB504F3U},
                            {3.25F, 0x411837F0U},
                            {-0.5F, 0x3F3504F3U},
                            {-10.75F, 0x3A1837F0U},
                            {100.125F, 0x718B95C2U},
                            {-126.5F, 0x005A827AU}});
}

TEST(AlPow2f, IsWithinOnePointFiveInTenMillion) {
    // Largest found over 10 million inputs: 1.45e-7.
    forRandom(-126.0F, 126.9F, [](float x) {
        ASSERT_LE(relativeError(al_pow2f(x), std::exp2(static_cast<double>(x))), 1.5e-7) << x;
    });
}

TEST(AlPow2f, PassesNaNOn) {
    EXPECT_TRUE(std::isnan(al_pow2f(kNaN)));
}

TEST(AlExpf, OfMinus100IsZeroAndNotSubnormal) {
    EXPECT_EQ(bitsOf(al_expf(-100.0F)), 0U);
}

TEST(AlExpf, HasTheGoldenBits) {
    expectGolden(al_expf, {{0.0F, 0x3F800000U},
                           {1.0F, 0x402DF854U},
                           {-1.0F, 0x3EBC5AB2U},
                           {0.1F, 0x3F8D763EU},
                           {10.0F, 0x46AC14EFU},
                           {-20.0F, 0x310DA432U},
                           {80.0F, 0x792ABBD1U}});
}

TEST(AlExpf, IsWithinTwoInTenMillionNearZero) {
    forRandom(-1.0F, 1.0F, [](float x) {
        ASSERT_LE(relativeError(al_expf(x), std::exp(static_cast<double>(x))), 2.0e-7) << x;
    });
}

TEST(AlExpf, IsWithinFourInAMillionOverItsRange) {
    // The product with log2(e) is rounded near 127, half a step of 2^-17; times ln 2 that is 2.6e-6.
    forRandom(-87.0F, 88.0F, [](float x) {
        ASSERT_LE(relativeError(al_expf(x), std::exp(static_cast<double>(x))), 4.0e-6) << x;
    });
}

TEST(AlPowf, HasTheGoldenBits) {
    expectGolden(al_powf, {{2.0F, 10.0F, 0x44800000U},
                           {3.0F, 2.0F, 0x410FFDF2U},  // 8.9995: the logarithm of 3 is off by 4e-5
                           {10.0F, -2.0F, 0x3C23D851U},
                           {0.5F, 0.5F, 0x3F3504F3U},
                           {7.0F, 1.5F, 0x4194274FU}});
}

TEST(AlPowf, IsWithinTheErrorOfTheLogarithm) {
    // 7.3e-5 * |y| * ln 2 for |y| up to 3: 1.52e-4.
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    std::mt19937 random(kSeed);
    std::uniform_real_distribution<float> bases(0.1F, 10.0F);
    std::uniform_real_distribution<float> exponents(-3.0F, 3.0F);
    for (int i = 0; i < kRandomInputs; ++i) {
        const float x = bases(random);
        const float y = exponents(random);
        ASSERT_LE(relativeError(al_powf(x, y), std::pow(static_cast<double>(x), static_cast<double>(y))),
                  1.53e-4)
            << x << " ^ " << y;
    }
}

TEST(AlPowf, OfZeroIsWhatItsLogarithmOfMinus127Gives) {
    EXPECT_EQ(al_powf(0.0F, 2.0F), 0.0F);              // 2^-254
    EXPECT_EQ(al_powf(0.0F, 0.0F), 1.0F);              // 2^0
    EXPECT_EQ(al_powf(0.0F, 0.5F), al_pow2f(-63.5F));  // not 0
    EXPECT_EQ(al_powf(0.0F, -1.0F), kInfinity);        // 2^127
}

// --- Every bit of many results ---

/** Deterministic floats whose bits are spread evenly over lowBits..highBits,
 * with random signs if asked for. */
class SpreadFloats {
 public:
    SpreadFloats(std::uint32_t lowBits, std::uint32_t highBits, bool withSign)
        : lowBits_(lowBits), highBits_(highBits), withSign_(withSign) {}

    float next() {
        state_ = 1664525U * state_ + 1013904223U;
        const std::uint64_t spread = std::uint64_t{state_} * (highBits_ - lowBits_);
        const std::uint32_t bits = lowBits_ + static_cast<std::uint32_t>(spread >> 32U);
        return fromBits(withSign_ && (state_ & 1U) != 0 ? bits | 0x80000000U : bits);
    }

 private:
    std::uint32_t lowBits_;
    std::uint32_t highBits_;
    bool withSign_;
    std::uint32_t state_ = 1;
};

constexpr int kHashedResults = 4096;

/** One step of the FNV-1a hash over the four bytes of a value, the lowest first. */
std::uint32_t hashOn(std::uint32_t hash, float value) {
    for (unsigned int shift = 0; shift < 32; shift += 8) {
        hash = (hash ^ ((bitsOf(value) >> shift) & 0xFFU)) * 0x01000193U;
    }
    return hash;
}

constexpr std::uint32_t kHashStart = 0x811C9DC5U;

std::uint32_t hashOf(float (*function)(float) noexcept, SpreadFloats inputs) {
    std::uint32_t hash = kHashStart;
    for (int i = 0; i < kHashedResults; ++i) {
        hash = hashOn(hash, function(inputs.next()));
    }
    return hash;
}

std::uint32_t hashOf(float (*function)(float, float) noexcept, SpreadFloats inputs) {
    std::uint32_t hash = kHashStart;
    for (int i = 0; i < kHashedResults; ++i) {
        const float x = inputs.next();
        hash = hashOn(hash, function(x, inputs.next()));
    }
    return hash;
}

TEST(AlMath, ManyResultsAgreeInEveryBitWithTheSecondImplementation) {
    // The hashes come from the implementation that gave the golden values, over the same inputs.
    EXPECT_EQ(hashOf(al_sqrtf, {0x00800000U, 0x7F800000U, false}), 0xCB27E416U);  // all normal numbers
    EXPECT_EQ(hashOf(al_sinf, {0x3A83126FU, 0x447A0000U, true}), 0xFD65A1E6U);    // 0.001 to 1000
    EXPECT_EQ(hashOf(al_cosf, {0x3A83126FU, 0x447A0000U, true}), 0x49361F4DU);    // 0.001 to 1000
    EXPECT_EQ(hashOf(al_tanf, {0x3A83126FU, 0x3FC00000U, true}), 0x471F59ECU);    // 0.001 to 1.5
    EXPECT_EQ(hashOf(al_acosf, {0x3A83126FU, 0x3F800000U, true}), 0xEB45067BU);   // 0.001 to 1
    EXPECT_EQ(hashOf(al_asinf, {0x3A83126FU, 0x3F800000U, true}), 0x15A628E0U);   // 0.001 to 1
    EXPECT_EQ(hashOf(al_log2f, {0x00800000U, 0x7F800000U, false}), 0x076FFE5AU);  // all normal numbers
    EXPECT_EQ(hashOf(al_logf, {0x00800000U, 0x7F800000U, false}), 0x925F3CF3U);   // all normal numbers
    EXPECT_EQ(hashOf(al_pow2f, {0x3A83126FU, 0x42FC0000U, true}), 0xE5489A04U);   // 0.001 to 126
    EXPECT_EQ(hashOf(al_expf, {0x3A83126FU, 0x42AA0000U, true}), 0x9BC3C546U);    // 0.001 to 85
    EXPECT_EQ(hashOf(al_divf, {0x2EDBE6FFU, 0x501502F9U, true}), 0x5EDB4433U);    // 1e-10 to 1e10
    EXPECT_EQ(hashOf(al_atan2f, {0x3A83126FU, 0x447A0000U, true}), 0xC9A317A8U);  // 0.001 to 1000
    EXPECT_EQ(hashOf(al_powf, {0x3A83126FU, 0x41200000U, false}), 0x4ED66CFFU);   // 0.001 to 10
    EXPECT_EQ(hashOf(al_fmodf, {0x3A83126FU, 0x447A0000U, true}), 0xF8352CF8U);   // 0.001 to 1000
}

// --- Any argument ---

TEST(AlMath, OneArgumentOfAnyBitsIsDefined) {
    // The undefined behaviour sanitizer watches; properties that hold for all arguments are checked as well.
    forAnyBits([](float x) {
        const float floor = al_floor(x);
        ASSERT_EQ(floor, std::trunc(floor));
        ASSERT_LE(std::abs(floor), 2147483648.0F);
        ASSERT_EQ(al_ceil(x), -al_floor(-x));
        const float power = al_pow2f(x);
        ASSERT_TRUE(power >= 0.0F || std::isnan(x)) << x;
        for (const auto function : {al_sqrtf, al_sinf, al_cosf, al_tanf, al_acosf, al_asinf, al_log2f,
                                    al_logf, al_pow2f, al_expf}) {
            const float first = function(x);
            const float second = function(x);
            ASSERT_TRUE(bitsOf(first) == bitsOf(second) || std::isnan(first)) << x;
        }
    });
}

TEST(AlMath, TwoArgumentsOfAnyBitsAreDefined) {
    for (const float a : kExtremes) {
        forAnyBits([a](float b) {
            for (const auto function : {al_divf, al_fmodf, al_atan2f, al_powf}) {
                const float first = function(a, b);
                const float second = function(a, b);
                ASSERT_TRUE(bitsOf(first) == bitsOf(second) || std::isnan(first)) << a << ", " << b;
            }
        });
    }
}

}  // namespace
