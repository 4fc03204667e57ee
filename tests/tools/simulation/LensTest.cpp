// SPDX-License-Identifier: Apache-2.0

#include "simulation/Lens.h"

#include <gtest/gtest.h>

#include <cmath>

#include "simulation/Image.h"

namespace simulation {
namespace {

// A lens without skew and distortion: 100 pixels of focal length, optical axis at (112, 86).
Lens pinhole() {
    return {100.0, 100.0, 112.0, 86.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
}

void expectAlong(const Vector& ray, double x, double y) {
    EXPECT_NEAR(ray.x / ray.z, x, 1e-15);
    EXPECT_NEAR(ray.y / ray.z, y, 1e-15);
    EXPECT_NEAR(length(ray), 1.0, 1e-15);
    EXPECT_GT(ray.z, 0.0);
}

TEST(RayThrough, ThePrincipalPointIsTheOpticalAxisWhateverTheDistortion) {
    Lens lens = pinhole();
    lens.alpha = 0.1;
    lens.k1 = 1.0;
    lens.k2 = 2.0;
    lens.k5 = 3.0;
    lens.k3 = 4.0;
    lens.k4 = 5.0;
    expectAlong(rayThrough(lens, 112.0, 86.0), 0.0, 0.0);
}

TEST(RayThrough, OneFocalLengthToTheRightLooksFortyFiveDegreesRight) {
    const Vector ray = rayThrough(pinhole(), 212.0, 86.0);
    expectAlong(ray, 1.0, 0.0);
    EXPECT_NEAR(ray.z, std::sqrt(0.5), 1e-15);
}

TEST(RayThrough, RowsBelowTheAxisLookDown) {
    expectAlong(rayThrough(pinhole(), 112.0, 136.0), 0.0, 0.5);
}

// v = 1 takes alpha * 1 off u = 0.5.
TEST(RayThrough, SkewIsTakenOffTheColumn) {
    Lens lens = pinhole();
    lens.alpha = 0.5;
    expectAlong(rayThrough(lens, 162.0, 186.0), 0.0, 1.0);
}

// At u = 0.5, v = 0: r2 = 0.25, so 1 + 0.1 * 0.25 + 0.2 * 0.0625 + 0.4 * 0.015625 = 1.04375, times 0.5.
TEST(RayThrough, RadialCoefficientsAreOfTheSecondFourthAndSixthPower) {
    Lens lens = pinhole();
    lens.k1 = 0.1;
    lens.k2 = 0.2;
    lens.k5 = 0.4;
    expectAlong(rayThrough(lens, 162.0, 86.0), 0.521875, 0.0);
}

// At u = v = 0.5: 2uv = 0.5, r2 = 0.5, r2 + 2u^2 = r2 + 2v^2 = 1. x gains k3/2 + k4, y gains k4/2 + k3.
TEST(RayThrough, TangentialCoefficientsActAcrossEachOther) {
    Lens lens = pinhole();
    lens.k3 = 0.01;
    lens.k4 = 0.02;
    expectAlong(rayThrough(lens, 162.0, 136.0), 0.525, 0.52);
}

TEST(PixelRays, GoThroughPixelCentresRowByRow) {
    const Lens lens = pinhole();
    const std::vector<Vector> rays = pixelRays(lens);
    ASSERT_EQ(rays.size(), pixelCount);
    expectAlong(rays[0], (0.5 - 112.0) / 100.0, (0.5 - 86.0) / 100.0);
    expectAlong(rays[imageWidth * 3 + 17], (17.5 - 112.0) / 100.0, (3.5 - 86.0) / 100.0);
    expectAlong(rays[pixelCount - 1], (223.5 - 112.0) / 100.0, (171.5 - 86.0) / 100.0);
}

}  // namespace
}  // namespace simulation
