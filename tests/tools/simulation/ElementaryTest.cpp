// SPDX-License-Identifier: Apache-2.0

#include "simulation/Elementary.h"

#include <gtest/gtest.h>

#include <cmath>

namespace simulation {
namespace {

TEST(SineAndCosine, AgreesWithTheMathematicsLibraryOverManyTurns) {
    for (int k = -20000; k <= 20000; ++k) {
        const double angle = k * 0.01234567;
        const SineCosine result = sineAndCosine(angle);
        ASSERT_NEAR(result.sine, std::sin(angle), 5e-16) << angle;
        ASSERT_NEAR(result.cosine, std::cos(angle), 5e-16) << angle;
    }
}

TEST(SineAndCosine, OfZeroIsExact) {
    EXPECT_EQ(sineAndCosine(0.0).sine, 0.0);
    EXPECT_EQ(sineAndCosine(0.0).cosine, 1.0);
}

TEST(SineAndCosine, HoldsAtTheLargestAngles) {
    for (const double angle : {99999.0, -99999.5, 1e5}) {
        EXPECT_NEAR(sineAndCosine(angle).sine, std::sin(angle), 5e-16) << angle;
        EXPECT_NEAR(sineAndCosine(angle).cosine, std::cos(angle), 5e-16) << angle;
    }
}

TEST(NaturalLogarithm, AgreesWithTheMathematicsLibraryFromTheSmallestNormalToTheLargestNumber) {
    for (double value = 2.3e-308; value < 1e308; value *= 1.37) {
        ASSERT_NEAR(naturalLogarithm(value), std::log(value), 2e-16 + 5e-16 * std::abs(std::log(value)))
            << value;
    }
}

TEST(NaturalLogarithm, OfOneIsZero) {
    EXPECT_EQ(naturalLogarithm(1.0), 0.0);
}

TEST(NaturalLogarithm, HoldsJustBelowOne) {
    const double value = 1.0 - 0x1p-53;
    EXPECT_NEAR(naturalLogarithm(value) / std::log(value), 1.0, 1e-15);
}

TEST(Exponential, AgreesWithTheMathematicsLibrary) {
    for (double exponent = -700.0; exponent <= 700.0; exponent += 0.371) {
        ASSERT_NEAR(exponential(exponent) / std::exp(exponent), 1.0, 2e-15) << exponent;
    }
    EXPECT_EQ(exponential(0.0), 1.0);
}

TEST(AngleOf, IsTheAngleOfTheVectorAllAround) {
    for (int k = -3600; k <= 3600; ++k) {
        const double angle = pi * k / 3600.0;
        const SineCosine direction = sineAndCosine(angle);
        const double found = angleOf(1e3 * direction.sine, 1e3 * direction.cosine);
        EXPECT_NEAR(std::remainder(found - angle, 2.0 * pi), 0.0, 1e-15) << k;
    }
}

TEST(AngleOf, OfTheAxesIsExactToTheLastBits) {
    EXPECT_EQ(angleOf(0.0, 2.0), 0.0);
    EXPECT_NEAR(angleOf(5.0, 0.0), pi / 2.0, 1e-15);
    EXPECT_NEAR(angleOf(-5.0, 0.0), -pi / 2.0, 1e-15);
    EXPECT_NEAR(angleOf(0.0, -1.0), pi, 1e-15);
    EXPECT_NEAR(angleOf(1e-9, 1.0), 1e-9, 1e-24);
}

}  // namespace
}  // namespace simulation
