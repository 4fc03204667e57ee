// SPDX-License-Identifier: Apache-2.0

#include "imaging/ColorMap.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace imaging {
namespace {

void expectNear(Color found, Color expected, int tolerance) {
    EXPECT_NEAR(found.red, expected.red, tolerance);
    EXPECT_NEAR(found.green, expected.green, tolerance);
    EXPECT_NEAR(found.blue, expected.blue, tolerance);
}

// Entries 0, 64, 128, 191 and 255 of the published tables of 256 colours.
TEST(Viridis, FollowsThePublishedTable) {
    expectNear(colorAt(ColorMap::Viridis, 0.0), {68, 1, 84}, 0);
    expectNear(colorAt(ColorMap::Viridis, 64.0 / 255.0), {59, 82, 139}, 3);
    expectNear(colorAt(ColorMap::Viridis, 128.0 / 255.0), {33, 145, 140}, 3);
    expectNear(colorAt(ColorMap::Viridis, 191.0 / 255.0), {92, 200, 99}, 3);
    expectNear(colorAt(ColorMap::Viridis, 1.0), {253, 231, 37}, 0);
}

TEST(Turbo, FollowsThePublishedTable) {
    expectNear(colorAt(ColorMap::Turbo, 0.0), {48, 18, 59}, 0);
    expectNear(colorAt(ColorMap::Turbo, 64.0 / 255.0), {40, 188, 235}, 3);
    expectNear(colorAt(ColorMap::Turbo, 128.0 / 255.0), {164, 252, 60}, 3);
    expectNear(colorAt(ColorMap::Turbo, 191.0 / 255.0), {251, 129, 34}, 3);
    expectNear(colorAt(ColorMap::Turbo, 1.0), {122, 4, 3}, 0);
}

TEST(Cividis, FollowsThePublishedTable) {
    expectNear(colorAt(ColorMap::Cividis, 0.0), {0, 34, 78}, 0);
    expectNear(colorAt(ColorMap::Cividis, 64.0 / 255.0), {67, 78, 108}, 3);
    expectNear(colorAt(ColorMap::Cividis, 128.0 / 255.0), {125, 124, 120}, 3);
    expectNear(colorAt(ColorMap::Cividis, 191.0 / 255.0), {187, 173, 109}, 3);
    expectNear(colorAt(ColorMap::Cividis, 1.0), {254, 232, 56}, 0);
}

TEST(ColorMap, ViridisAndCividisGrowBrighterAllAlong) {
    const auto luma = [](Color c) { return 0.2126 * c.red + 0.7152 * c.green + 0.0722 * c.blue; };
    for (const ColorMap map : {ColorMap::Viridis, ColorMap::Cividis}) {
        for (int k = 0; k < 64; ++k) {
            EXPECT_LT(luma(colorAt(map, k / 64.0)), luma(colorAt(map, (k + 1) / 64.0)));
        }
    }
}

TEST(Grey, IsTheShareOf255) {
    EXPECT_EQ(colorAt(ColorMap::Grey, 0.0), (Color{0, 0, 0}));
    EXPECT_EQ(colorAt(ColorMap::Grey, 0.2), (Color{51, 51, 51}));
    EXPECT_EQ(colorAt(ColorMap::Grey, 1.0), (Color{255, 255, 255}));
}

TEST(BlueWhiteRed, IsWhiteAtTheMiddleAndStrongAtTheEnds) {
    EXPECT_EQ(colorAt(ColorMap::BlueWhiteRed, 0.5), (Color{255, 255, 255}));
    const Color low = colorAt(ColorMap::BlueWhiteRed, 0.0);
    const Color high = colorAt(ColorMap::BlueWhiteRed, 1.0);
    EXPECT_GT(low.blue, 150);
    EXPECT_LT(low.red, 60);
    EXPECT_GT(high.red, 150);
    EXPECT_LT(high.blue, 60);
}

TEST(ColorMap, BeyondTheEndsIsTheColourOfTheEnd) {
    for (const ColorMap map : {ColorMap::Turbo, ColorMap::Viridis, ColorMap::Grey, ColorMap::BlueWhiteRed}) {
        EXPECT_EQ(colorAt(map, -3.0), colorAt(map, 0.0));
        EXPECT_EQ(colorAt(map, 1.5), colorAt(map, 1.0));
        EXPECT_EQ(colorAt(map, std::numeric_limits<double>::infinity()), colorAt(map, 1.0));
    }
}

TEST(ColorMap, NotANumberIsBlack) {
    EXPECT_EQ(colorAt(ColorMap::Viridis, std::nan("")), (Color{0, 0, 0}));
    EXPECT_EQ(colorAt(ColorMap::BlueWhiteRed, std::nan("")), (Color{0, 0, 0}));
}

}  // namespace
}  // namespace imaging
