// SPDX-License-Identifier: Apache-2.0

#include "simulation/Truth.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "simulation/Image.h"

namespace simulation {
namespace {

using Pattern = Texture::Pattern;

Object wallAt(double z) {
    return {Plane{{0.0, 0.0, 1.0}, z}, {Pattern::Uniform, 0.0, 0.5, 1.0}};
}

std::size_t pixelAt(int column, int row) {
    return static_cast<std::size_t>(row * imageWidth + column);
}

TEST(Truth, LengthOfThePointIsTheDistanceInEveryScene) {
    for (const Scene& scene : namedScenes()) {
        const View view = viewScene(scene, makeCalibration({}), 0.0);
        for (std::size_t i = 0; i < pixelCount; ++i) {
            const Truth& t = view.truth;
            ASSERT_NEAR(std::sqrt(t.X[i] * t.X[i] + t.Y[i] * t.Y[i] + t.Z[i] * t.Z[i]), t.distance[i], 1e-12);
        }
    }
}

TEST(Truth, AWallAcrossTheAxisHasOneDepth) {
    const View view = viewScene({"", "", {wallAt(1.2)}}, makeCalibration({}), 0.0);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        ASSERT_NEAR(view.truth.Z[i], 1.2, 1e-12);
    }
}

// 5 counts per microsecond at 1 m, times 0.5, over 2^2, at the pixel nearest to the axis.
TEST(Truth, AmplitudeFallsWithTheSquareOfTheDistance) {
    const View view = viewScene({"", "", {wallAt(2.0)}}, makeCalibration({}), 0.0);
    EXPECT_NEAR(view.truth.amplitude[pixelAt(111, 86)], 0.625, 1e-4);
}

// On a wall across the axis the incidence is the angle of the ray: amplitude = 5 * 0.5 * z / d^2, z the
// ray's.
TEST(Truth, AmplitudeFallsWithTheCosineOfTheIncidence) {
    const Calibration calibration = makeCalibration({});
    const View view = viewScene({"", "", {wallAt(2.0)}}, calibration, 0.0);
    const double rayZ = static_cast<double>(calibration.unitVectors[2]);
    const double d = view.truth.distance[0];
    EXPECT_NEAR(view.truth.amplitude[0], 2.5 * rayZ / (d * d), 1e-6);
}

TEST(Truth, AmbientLightComesFromTheReflectivityAndLosesByTheLens) {
    const Calibration calibration = makeCalibration({});
    const View view = viewScene({"", "", {wallAt(2.0)}}, calibration, 10.0);
    EXPECT_NEAR(view.light.ambient[0], 0.6 * 10.0 * 0.5 / static_cast<double>(calibration.vignetting[0]),
                1e-9);
}

TEST(Truth, NothingReturnsFromTheOpen) {
    const View view = viewScene({"", "", {{Sphere{{0.0, 0.0, 1.0}, 0.1}, {}}}}, makeCalibration({}), 10.0);
    EXPECT_EQ(view.truth.distance[0], 0.0);
    EXPECT_EQ(view.truth.amplitude[0], 0.0);
    EXPECT_EQ(view.light.ambient[0], 0.0);
    EXPECT_GT(view.truth.distance[pixelAt(111, 86)], 0.8);
}

TEST(Edges, AFlatWallHasNone) {
    const View view = viewScene({"", "", {wallAt(1.2)}}, makeCalibration({}), 0.0);
    EXPECT_TRUE(std::all_of(view.truth.edge.begin(), view.truth.edge.end(), [](int e) { return e == 0; }));
}

TEST(Edges, ObliquePlanesHaveNone) {
    const View view = viewScene(sceneNamed("ramp"), makeCalibration({}), 0.0);
    EXPECT_TRUE(std::all_of(view.truth.edge.begin(), view.truth.edge.end(), [](int e) { return e == 0; }));
}

// Two walls that meet in a corner: the depth goes on, so the fold is no edge.
TEST(Edges, AFoldIsNone) {
    const Vector left = normalised({1.0, 0.0, -1.0});
    const Vector right = normalised({-1.0, 0.0, -1.0});
    const Scene corner{
        "",
        "",
        {{Plane{left, dot(left, {0.0, 0.0, 2.0})}, {}}, {Plane{right, dot(right, {0.0, 0.0, 2.0})}, {}}}};
    const View view = viewScene(corner, makeCalibration({}), 0.0);
    EXPECT_TRUE(std::all_of(view.truth.edge.begin(), view.truth.edge.end(), [](int e) { return e == 0; }));
}

// A box half a metre before a wall: exactly the pixels on both sides of its outline.
TEST(Edges, AStepMarksThePixelsOnBothSidesAndDiagonallyAcross) {
    const Scene scene{"", "", {wallAt(1.5), {Box{{0.0, 0.0, 1.1}, {0.4, 0.4, 0.2}, 0.0}, {}}}};
    const View view = viewScene(scene, makeCalibration({}), 0.0);
    const auto isBox = [&](int column, int row) { return view.truth.distance[pixelAt(column, row)] < 1.25; };
    for (int row = 0; row < imageHeight; ++row) {
        for (int column = 0; column < imageWidth; ++column) {
            bool differs = false;
            for (int dr = -1; dr <= 1; ++dr) {
                for (int dc = -1; dc <= 1; ++dc) {
                    const int r = std::clamp(row + dr, 0, imageHeight - 1);
                    const int c = std::clamp(column + dc, 0, imageWidth - 1);
                    differs = differs || isBox(c, r) != isBox(column, row);
                }
            }
            ASSERT_EQ(view.truth.edge[pixelAt(column, row)] != 0, differs) << column << ", " << row;
        }
    }
}

TEST(Edges, TheBorderToTheOpenIsOne) {
    const View view = viewScene({"", "", {{Sphere{{0.0, 0.0, 1.0}, 0.1}, {}}}}, makeCalibration({}), 0.0);
    EXPECT_GT(std::count(view.truth.edge.begin(), view.truth.edge.end(), 1), 100);
    EXPECT_EQ(view.truth.edge[0], 0);
    EXPECT_EQ(view.truth.edge[pixelAt(111, 86)], 0);
}

}  // namespace
}  // namespace simulation
