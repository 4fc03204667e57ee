// SPDX-License-Identifier: Apache-2.0
#include "ALCameraModel.h"

#include <gtest/gtest.h>

#include <cmath>

#include "FloatBits.h"
#include "support/Random.h"

namespace {

/** A lens with every kind of distortion. */
AlgoIntrinsicCalibration lens() {
    AlgoIntrinsicCalibration ic = {};
    ic.fx = 211.5F;
    ic.fy = 209.25F;
    ic.mx = 113.75F;
    ic.my = 84.5F;
    ic.alpha = 0.003F;
    ic.k1 = -0.31F;
    ic.k2 = 0.17F;
    ic.k5 = -0.05F;
    ic.k3 = 0.002F;
    ic.k4 = -0.0015F;
    return ic;
}

AlgoIntrinsicCalibration pinhole() {
    AlgoIntrinsicCalibration ic = {};
    ic.fx = 200.0F;
    ic.fy = 100.0F;
    ic.mx = 112.0F;
    ic.my = 86.0F;
    return ic;
}

AlgoPoint3D applyModel(const AlgoIntrinsicCalibration& ic, AlgoPoint2D pixel, std::int32_t toUnitVectors) {
    AlgoPoint3D result = {};
    EXPECT_EQ(bouguetModel(&ic, &pixel, &result, toUnitVectors), 0);
    return result;
}

AlgoPoint3D rayOf(const AlgoIntrinsicCalibration& ic, AlgoPoint2D pixel) {
    return applyModel(ic, pixel, 1);
}

// --- Rays ---

TEST(BouguetModel, RayOfThePrincipalPointIsTheAxisWhateverTheCoefficients) {
    const AlgoIntrinsicCalibration ic = lens();
    const AlgoPoint3D ray = rayOf(ic, {ic.mx - 0.5F, ic.my - 0.5F});
    EXPECT_EQ(ray.x, 0.0F);
    EXPECT_EQ(ray.y, 0.0F);
    EXPECT_NEAR(ray.z, 1.0, 1e-6);
}

TEST(BouguetModel, RayOfAPinholeIsTheDirectionOfItsPixel) {
    // (211.5 + 0.5 - 112) / 200 = 0.5, (110.5 + 0.5 - 86) / 100 = 0.25
    const AlgoPoint3D ray = rayOf(pinhole(), {211.5F, 110.5F});
    const double length = std::sqrt(0.5 * 0.5 + 0.25 * 0.25 + 1.0);
    EXPECT_NEAR(ray.x, 0.5 / length, 3e-7);
    EXPECT_NEAR(ray.y, 0.25 / length, 3e-7);
    EXPECT_NEAR(ray.z, 1.0 / length, 3e-7);
}

TEST(BouguetModel, RayTakesTheSkewOutBeforeTheDistortion) {
    AlgoIntrinsicCalibration ic = pinhole();
    ic.alpha = 0.1F;
    const AlgoPoint3D ray = rayOf(ic, {211.5F, 110.5F});
    EXPECT_NEAR(ray.x / ray.z, 0.5 - 0.1 * 0.25, 1e-6);
    EXPECT_NEAR(ray.y / ray.z, 0.25, 1e-6);
}

TEST(BouguetModel, RayOfADistortedPixel) {
    // Worked out by the formulas in another language, the root in double precision.
    const AlgoPoint3D ray = rayOf(lens(), {17.0F, 151.0F});
    EXPECT_NEAR(ray.x, -0.37407385, 3e-7);
    EXPECT_NEAR(ray.y, 0.26290126, 3e-7);
    EXPECT_NEAR(ray.z, 0.88935464, 3e-7);
}

TEST(BouguetModel, RadialCoefficientsBelongToTheSecondFourthAndSixthPower) {
    const float y = 0.5F;  // (135.5 + 0.5 - 86) / 100
    for (const int power : {2, 4, 6}) {
        AlgoIntrinsicCalibration ic = pinhole();
        (power == 2 ? ic.k1 : power == 4 ? ic.k2 : ic.k5) = 0.8F;
        const AlgoPoint3D ray = rayOf(ic, {111.5F, 135.5F});
        EXPECT_NEAR(ray.y / ray.z, 0.5 * (1.0 + 0.8 * std::pow(y, power)), 1e-6) << power;
        EXPECT_EQ(ray.x, 0.0F) << power;
    }
}

TEST(BouguetModel, TangentialCoefficientsAreThoseNamedK3AndK4) {
    // x = 0.5, y = 0.25: r2 = 0.3125, 2xy = 0.25
    AlgoIntrinsicCalibration ic = pinhole();
    ic.k3 = 0.1F;
    AlgoPoint3D ray = rayOf(ic, {211.5F, 110.5F});
    EXPECT_NEAR(ray.x / ray.z, 0.5 + 0.1 * 0.25, 1e-6);
    EXPECT_NEAR(ray.y / ray.z, 0.25 + 0.1 * (0.3125 + 2 * 0.0625), 1e-6);
    ic.k3 = 0.0F;
    ic.k4 = 0.1F;
    ray = rayOf(ic, {211.5F, 110.5F});
    EXPECT_NEAR(ray.x / ray.z, 0.5 + 0.1 * (0.3125 + 2 * 0.25), 1e-6);
    EXPECT_NEAR(ray.y / ray.z, 0.25 + 0.1 * 0.25, 1e-6);
}

TEST(BouguetModel, EveryRayHasLengthOneAndPointsForward) {
    testing_support::Random random(71);
    SCOPED_TRACE(random.seedText());
    for (int i = 0; i < 2000; ++i) {
        const AlgoPoint3D ray = rayOf(lens(), {random.real(-50.0F, 300.0F), random.real(-50.0F, 250.0F)});
        ASSERT_GT(ray.z, 0.0F);
        const double length =
            std::hypot(static_cast<double>(ray.x), static_cast<double>(ray.y), static_cast<double>(ray.z));
        ASSERT_NEAR(length, 1.0, 5e-7);
    }
}

// --- Pixels ---

TEST(BouguetModel, WithoutDistortionAndSkewAPixelStaysWhereItIs) {
    const AlgoPoint3D pixel = applyModel(pinhole(), {12.25F, 150.75F}, 0);
    EXPECT_EQ(pixel.x, 12.25F);
    EXPECT_EQ(pixel.y, 150.75F);
    EXPECT_EQ(pixel.z, 0.0F);
}

TEST(BouguetModel, WithSkewAloneAPixelGainsTheSkew) {
    AlgoIntrinsicCalibration ic = pinhole();
    ic.alpha = 0.125F;
    const AlgoPoint3D pixel = applyModel(ic, {211.5F, 110.5F}, 0);
    EXPECT_EQ(pixel.x, 211.5F + 0.125F * 0.25F * 200.0F);
    EXPECT_EQ(pixel.y, 110.5F);
}

TEST(BouguetModel, ADistortedPixelBitForBit) {
    // Worked out operation by operation in another language.
    const AlgoPoint3D pixel = applyModel(lens(), {17.0F, 151.0F}, 0);
    EXPECT_EQ(bitsOf(pixel.x), 0x41C52DA8U);
    EXPECT_EQ(bitsOf(pixel.y), 0x4311DE54U);
    EXPECT_EQ(bitsOf(pixel.z), 0U);
}

TEST(BouguetModel, AnyNonZeroFlagAsksForARay) {
    for (const std::int32_t flag : {-1, 2, 1 << 30}) {
        EXPECT_GT(applyModel(lens(), {17.0F, 151.0F}, flag).z, 0.0F) << flag;
    }
}

TEST(BouguetModel, NullArgumentsFailAndLeaveTheResult) {
    const AlgoIntrinsicCalibration ic = lens();
    const AlgoPoint2D pixel = {1.0F, 2.0F};
    AlgoPoint3D result = {7.0F, 8.0F, 9.0F};
    EXPECT_EQ(bouguetModel(nullptr, &pixel, &result, 1), 1);
    EXPECT_EQ(bouguetModel(&ic, nullptr, &result, 1), 1);
    EXPECT_EQ(bouguetModel(&ic, &pixel, nullptr, 1), 1);
    EXPECT_EQ(result.x, 7.0F);
    EXPECT_EQ(result.y, 8.0F);
    EXPECT_EQ(result.z, 9.0F);
}

// --- Points to pixels ---

TEST(BouguetModelInverse, APointOnTheAxisIsSeenAtThePrincipalPoint) {
    const AlgoIntrinsicCalibration ic = lens();
    const AlgoPoint3D point = {0.0F, 0.0F, 3.0F};
    AlgoPoint2D pixel = {};
    EXPECT_EQ(bouguetModelInverse(&ic, &point, &pixel), 0);
    EXPECT_EQ(pixel.x, ic.mx - 0.5F);
    EXPECT_EQ(pixel.y, ic.my - 0.5F);
}

TEST(BouguetModelInverse, ADistortedPointBitForBit) {
    // Worked out operation by operation in another language.
    const AlgoIntrinsicCalibration ic = lens();
    const AlgoPoint3D point = {-0.75F, 0.5F, 1.6F};
    AlgoPoint2D pixel = {};
    EXPECT_EQ(bouguetModelInverse(&ic, &point, &pixel), 0);
    EXPECT_EQ(bitsOf(pixel.x), 0x41B12540U);
    EXPECT_EQ(bitsOf(pixel.y), 0x43104758U);
}

TEST(BouguetModelInverse, LeadsAPinholesRayBackToItsPixel) {
    const AlgoIntrinsicCalibration ic = pinhole();
    const AlgoPoint3D ray = rayOf(ic, {30.0F, 140.0F});
    AlgoPoint2D pixel = {};
    EXPECT_EQ(bouguetModelInverse(&ic, &ray, &pixel), 0);
    EXPECT_NEAR(pixel.x, 30.0, 1e-4);
    EXPECT_NEAR(pixel.y, 140.0, 1e-4);
}

TEST(BouguetModelInverse, ADepthOfZeroGivesWhatTheDivisionGives) {
    const AlgoIntrinsicCalibration ic = pinhole();
    const AlgoPoint3D point = {1.0F, 0.0F, 0.0F};
    AlgoPoint2D pixel = {};
    EXPECT_EQ(bouguetModelInverse(&ic, &point, &pixel), 0);
    EXPECT_TRUE(std::isnan(pixel.x));  // infinity times coefficients of 0
    EXPECT_TRUE(std::isnan(pixel.y));
}

TEST(BouguetModelInverse, NullArgumentsFailAndLeaveTheResult) {
    const AlgoIntrinsicCalibration ic = lens();
    const AlgoPoint3D point = {0.0F, 0.0F, 1.0F};
    AlgoPoint2D result = {7.0F, 8.0F};
    EXPECT_EQ(bouguetModelInverse(nullptr, &point, &result), 1);
    EXPECT_EQ(bouguetModelInverse(&ic, nullptr, &result), 1);
    EXPECT_EQ(bouguetModelInverse(&ic, &point, nullptr), 1);
    EXPECT_EQ(result.x, 7.0F);
    EXPECT_EQ(result.y, 8.0F);
}

}  // namespace
