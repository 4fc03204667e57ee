// SPDX-License-Identifier: Apache-2.0

#include "simulation/Scene.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "simulation/Calibration.h"
#include "simulation/Image.h"
#include "simulation/Truth.h"

namespace simulation {
namespace {

using Pattern = Texture::Pattern;

TEST(Texture, UniformIsHighEverywhere) {
    EXPECT_EQ(reflectivityAt({Pattern::Uniform, 0.1, 0.7, 1.0}, 12.3, -4.5), 0.7);
}

TEST(Texture, CheckerAlternatesInBothDirectionsAndAcrossZero) {
    const Texture checker{Pattern::Checker, 0.1, 0.7, 0.5};
    EXPECT_EQ(reflectivityAt(checker, 0.25, 0.25), 0.1);
    EXPECT_EQ(reflectivityAt(checker, 0.75, 0.25), 0.7);
    EXPECT_EQ(reflectivityAt(checker, 0.75, 0.75), 0.1);
    EXPECT_EQ(reflectivityAt(checker, -0.25, 0.25), 0.7);
    EXPECT_EQ(reflectivityAt(checker, -0.25, -0.25), 0.1);
}

TEST(Texture, StripesHoldOneDarkAndOneBrightBandInAPeriod) {
    const Texture stripes{Pattern::Stripes, 0.1, 0.7, 0.5};
    EXPECT_EQ(reflectivityAt(stripes, 0.1, 3.0), 0.1);
    EXPECT_EQ(reflectivityAt(stripes, 0.3, -3.0), 0.7);
    EXPECT_EQ(reflectivityAt(stripes, 0.6, 0.0), 0.1);
    EXPECT_EQ(reflectivityAt(stripes, -0.1, 0.0), 0.7);
}

TEST(Texture, GradientRunsOverOnePeriodAndStaysBeyond) {
    const Texture gradient{Pattern::Gradient, 0.2, 0.6, 2.0};
    EXPECT_NEAR(reflectivityAt(gradient, 9.0, -1.0), 0.2, 1e-15);
    EXPECT_NEAR(reflectivityAt(gradient, 9.0, 0.0), 0.4, 1e-15);
    EXPECT_NEAR(reflectivityAt(gradient, 9.0, 1.0), 0.6, 1e-15);
    EXPECT_NEAR(reflectivityAt(gradient, 9.0, 5.0), 0.6, 1e-15);
    EXPECT_NEAR(reflectivityAt(gradient, 9.0, -5.0), 0.2, 1e-15);
}

TEST(Scene, TheNearestObjectHidesTheOthers) {
    const Scene scene{"",
                      "",
                      {{Plane{{0.0, 0.0, 1.0}, 3.0}, {Pattern::Uniform, 0.0, 0.2, 1.0}},
                       {Sphere{{0.0, 0.0, 2.0}, 0.5}, {Pattern::Uniform, 0.0, 0.9, 1.0}}}};
    const auto front = scene.cast({0.0, 0.0, 1.0});
    ASSERT_TRUE(front);
    EXPECT_DOUBLE_EQ(front->distance, 1.5);
    EXPECT_EQ(front->reflectivity, 0.9);
    const auto beside = scene.cast(normalised({0.5, 0.0, 1.0}));
    ASSERT_TRUE(beside);
    EXPECT_EQ(beside->reflectivity, 0.2);
    EXPECT_NE(front->surface, beside->surface);
}

TEST(Scene, ARayIntoTheOpenHitsNothing) {
    const Scene scene{"", "", {{Sphere{{0.0, 0.0, 2.0}, 0.5}, {}}}};
    EXPECT_FALSE(scene.cast({1.0, 0.0, 0.0}));
}

TEST(NamedScenes, AreFoundByName) {
    for (const char* name : {"room", "wall", "ramp", "hall"}) {
        EXPECT_EQ(sceneNamed(name).name, name);
    }
}

TEST(NamedScenes, AnUnknownNameListsTheKnownOnes) {
    try {
        sceneNamed("moon");
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "There is no scene \"moon\"; known scenes: room, wall, ramp, hall, glare.");
    }
}

TEST(NamedScenes, EveryPixelSeesSomethingWithinTheSpanOfTheScene) {
    for (const Scene& scene : namedScenes()) {
        const View view = viewScene(scene, makeCalibration({}), 0.0);
        for (std::size_t i = 0; i < pixelCount; ++i) {
            ASSERT_GT(view.truth.distance[i], scene.nearest) << scene.name << " pixel " << i;
            ASSERT_LT(view.truth.distance[i], scene.furthest) << scene.name << " pixel " << i;
        }
    }
}

// 2.4975 m at 60 MHz.
TEST(NamedScenes, RoomWallAndRampLieWithinOneUniqueRange) {
    for (const char* name : {"room", "wall", "ramp"}) {
        const View view = viewScene(sceneNamed(name), makeCalibration({}), 0.0);
        for (std::size_t i = 0; i < pixelCount; ++i) {
            ASSERT_LT(view.truth.distance[i], 2.45) << name << " pixel " << i;
        }
    }
}

TEST(NamedScenes, WallAndRampAlsoLieWithinTheUniqueRangeAtEightyMegahertz) {
    for (const char* name : {"wall", "ramp"}) {
        const View view = viewScene(sceneNamed(name), makeCalibration({}), 0.0);
        for (std::size_t i = 0; i < pixelCount; ++i) {
            ASSERT_LT(view.truth.distance[i], uniqueRange(80.0e6)) << name << " pixel " << i;
        }
    }
}

TEST(NamedScenes, HallReachesBeyondTwoUniqueRanges) {
    const View view = viewScene(sceneNamed("hall"), makeCalibration({}), 0.0);
    double furthest = 0.0;
    for (const double distance : view.truth.distance) {
        furthest = distance > furthest ? distance : furthest;
    }
    EXPECT_GT(furthest, 2.0 * uniqueRange(60.0e6));
}

}  // namespace
}  // namespace simulation
