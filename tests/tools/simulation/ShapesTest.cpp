// SPDX-License-Identifier: Apache-2.0

#include "simulation/Shapes.h"

#include <gtest/gtest.h>

#include <cmath>

#include "simulation/Elementary.h"

namespace simulation {
namespace {

const Vector ahead{0.0, 0.0, 1.0};

void expectVector(const Vector& found, const Vector& expected) {
    EXPECT_NEAR(found.x, expected.x, 1e-12);
    EXPECT_NEAR(found.y, expected.y, 1e-12);
    EXPECT_NEAR(found.z, expected.z, 1e-12);
}

TEST(PlaneIntersection, StraightAheadIsTheOffset) {
    const auto hit = intersect(Plane{{0.0, 0.0, 1.0}, 2.0}, ahead);
    ASSERT_TRUE(hit);
    EXPECT_DOUBLE_EQ(hit->distance, 2.0);
    expectVector(hit->normal, {0.0, 0.0, -1.0});
}

TEST(PlaneIntersection, ObliqueRayIsLongerByTheCosine) {
    const auto hit = intersect(Plane{{0.0, 0.0, -1.0}, -2.0}, normalised({1.0, 0.0, 1.0}));
    ASSERT_TRUE(hit);
    EXPECT_NEAR(hit->distance, 2.0 * std::sqrt(2.0), 1e-12);
    expectVector(hit->normal, {0.0, 0.0, -1.0});
}

// Floor half a metre below, tilted by 45 degrees: y = 0.5 + (z - 1), so a ray straight ahead meets it at z =
// 0.5.
TEST(PlaneIntersection, TiltedFloorIsMetWhereItCrossesTheAxis) {
    const Vector normal = normalised({0.0, -1.0, 1.0});
    const Plane floor{normal, dot(normal, {0.0, 0.5, 1.0})};
    const auto hit = intersect(floor, ahead);
    ASSERT_TRUE(hit);
    EXPECT_NEAR(hit->distance, 0.5, 1e-12);
    EXPECT_LT(dot(hit->normal, ahead), 0.0);
}

TEST(PlaneIntersection, BehindTheCameraIsNoHit) {
    EXPECT_FALSE(intersect(Plane{{0.0, 0.0, 1.0}, -2.0}, ahead));
}

TEST(PlaneIntersection, ParallelRayIsNoHit) {
    EXPECT_FALSE(intersect(Plane{{0.0, 1.0, 0.0}, 1.0}, ahead));
}

TEST(PlaneIntersection, TexturePositionIsMetricOnTheSurface) {
    const Plane wall{{0.0, 0.0, 1.0}, 2.0};
    const auto a = intersect(wall, normalised({0.1, 0.2, 2.0}));
    const auto b = intersect(wall, normalised({0.4, 0.6, 2.0}));
    ASSERT_TRUE(a && b);
    EXPECT_NEAR(std::hypot(a->u - b->u, a->v - b->v), 0.5, 1e-12);
}

TEST(SphereIntersection, NearestPointIsTheCentreLessTheRadius) {
    const auto hit = intersect(Sphere{{0.0, 0.0, 3.0}, 1.0}, ahead);
    ASSERT_TRUE(hit);
    EXPECT_DOUBLE_EQ(hit->distance, 2.0);
    expectVector(hit->normal, {0.0, 0.0, -1.0});
}

// Centre (0.6, 0, 3), radius 1: the ray leaves the centre 0.6 aside, so the chord is 2 * 0.8.
TEST(SphereIntersection, OffAxisRayEntersByThePythagoreanChord) {
    const auto hit = intersect(Sphere{{0.6, 0.0, 3.0}, 1.0}, ahead);
    ASSERT_TRUE(hit);
    EXPECT_NEAR(hit->distance, 2.2, 1e-12);
    expectVector(hit->normal, {-0.6, 0.0, -0.8});
}

TEST(SphereIntersection, RayBesideTheSphereMisses) {
    EXPECT_FALSE(intersect(Sphere{{1.01, 0.0, 3.0}, 1.0}, ahead));
}

TEST(SphereIntersection, SphereBehindTheCameraIsNoHit) {
    EXPECT_FALSE(intersect(Sphere{{0.0, 0.0, -3.0}, 1.0}, ahead));
}

TEST(SphereIntersection, FromInsideTheFarWallIsSeenFromWithin) {
    const auto hit = intersect(Sphere{{0.0, 0.0, 0.5}, 1.0}, ahead);
    ASSERT_TRUE(hit);
    EXPECT_DOUBLE_EQ(hit->distance, 1.5);
    expectVector(hit->normal, {0.0, 0.0, -1.0});
}

TEST(BoxIntersection, FrontFaceIsHalfTheDepthBeforeTheCentre) {
    const auto hit = intersect(Box{{0.1, 0.2, 2.0}, {1.0, 2.0, 0.6}, 0.0}, ahead);
    ASSERT_TRUE(hit);
    EXPECT_NEAR(hit->distance, 1.7, 1e-12);
    expectVector(hit->normal, {0.0, 0.0, -1.0});
    EXPECT_EQ(hit->face, 4);
    EXPECT_NEAR(hit->u, -0.1, 1e-12);
    EXPECT_NEAR(hit->v, -0.2, 1e-12);
}

TEST(BoxIntersection, RayBesideTheBoxMisses) {
    EXPECT_FALSE(intersect(Box{{0.51, 0.0, 2.0}, {1.0, 1.0, 1.0}, 0.0}, ahead));
    EXPECT_TRUE(intersect(Box{{0.49, 0.0, 2.0}, {1.0, 1.0, 1.0}, 0.0}, ahead));
}

TEST(BoxIntersection, BehindTheCameraIsNoHit) {
    EXPECT_FALSE(intersect(Box{{0.0, 0.0, -2.0}, {1.0, 1.0, 1.0}, 0.0}, ahead));
}

// Turned by 45 degrees, the unit cube shows an upright edge half a diagonal before its centre.
TEST(BoxIntersection, TurnedBoxShowsItsEdge) {
    const auto hit = intersect(Box{{1e-9, 0.0, 2.0}, {1.0, 1.0, 1.0}, pi / 4.0}, ahead);
    ASSERT_TRUE(hit);
    EXPECT_NEAR(hit->distance, 2.0 - std::sqrt(0.5), 1e-8);
}

TEST(BoxIntersection, PositiveTurnMakesTheFrontLookRight) {
    const auto hit = intersect(Box{{0.1, 0.0, 2.0}, {1.0, 1.0, 1.0}, 0.3}, ahead);
    ASSERT_TRUE(hit);
    EXPECT_EQ(hit->face, 4);
    expectVector(hit->normal, {std::sin(0.3), 0.0, -std::cos(0.3)});
}

// A ray that looks down onto a box below meets its upper face, whose outside is -y.
TEST(BoxIntersection, UpperFaceIsSeenFromAbove) {
    const auto hit = intersect(Box{{0.0, 1.5, 1.5}, {1.0, 1.0, 2.0}, 0.0}, normalised({0.0, 1.0, 1.0}));
    ASSERT_TRUE(hit);
    EXPECT_NEAR(hit->distance, std::sqrt(2.0), 1e-12);
    EXPECT_EQ(hit->face, 2);
    expectVector(hit->normal, {0.0, -1.0, 0.0});
}

TEST(BoxIntersection, FromInsideTheFarFaceIsSeenFromWithin) {
    const auto hit = intersect(Box{{0.0, 0.0, 0.0}, {2.0, 2.0, 4.0}, 0.0}, ahead);
    ASSERT_TRUE(hit);
    EXPECT_NEAR(hit->distance, 2.0, 1e-12);
    EXPECT_EQ(hit->face, 5);
    expectVector(hit->normal, {0.0, 0.0, -1.0});
}

}  // namespace
}  // namespace simulation
