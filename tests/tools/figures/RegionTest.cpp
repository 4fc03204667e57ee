// SPDX-License-Identifier: Apache-2.0

#include "figures/Region.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

namespace figures {
namespace {

std::vector<std::size_t> pixelsOf(const Mask& mask) {
    std::vector<std::size_t> pixels;
    for (std::size_t i = 0; i < mask.size(); ++i) {
        if (mask[i] != 0) {
            pixels.push_back(i);
        }
    }
    return pixels;
}

TEST(Region, ARectangleHoldsThePixelsWhoseCentresLieInIt) {
    EXPECT_EQ(pixelsOf(rectangle(3, 1, 2, 1)), (std::vector<std::size_t>{224 + 3, 224 + 4}));
    EXPECT_EQ(pixelsOf(rectangle(0.5, 0.5, 1, 1)), (std::vector<std::size_t>{0}));
    EXPECT_EQ(pixelsOf(rectangle(0, 0, 224, 172)).size(), 224U * 172U);
    EXPECT_TRUE(pixelsOf(rectangle(224, 0, 10, 10)).empty());
    EXPECT_TRUE(pixelsOf(rectangle(0, 0, -5, 10)).empty());
}

TEST(Region, APolygonOfTheCornersOfARectangleIsThatRectangle) {
    const std::array<Point, 4> corners{Point{3, 2}, Point{60, 2}, Point{60, 100}, Point{3, 100}};
    EXPECT_EQ(polygon(corners), rectangle(3, 2, 57, 98));
}

// The lower left half of ten by ten pixels; the centres on the long side are on its right edge, outside.
TEST(Region, ATriangleHoldsTheCentresLeftOfItsEdge) {
    const std::array<Point, 3> corners{Point{0, 0}, Point{10, 10}, Point{0, 10}};
    const Mask mask = polygon(corners);
    EXPECT_EQ(std::count(mask.begin(), mask.end(), 1), 45);
    EXPECT_EQ(mask[5 * 224 + 4], 1);
    EXPECT_EQ(mask[5 * 224 + 6], 0);
}

TEST(Region, APartThatIsCrossedTwiceIsOutside) {
    const std::array<Point, 8> corners{Point{0, 0},   Point{20, 0},   Point{20, 20}, Point{0, 20},
                                       Point{0, 5.1}, Point{15, 5.1}, Point{15, 15}, Point{0, 15}};
    const Mask mask = polygon(corners);
    EXPECT_EQ(mask[2 * 224 + 2], 1);
    EXPECT_EQ(mask[10 * 224 + 5], 0);
    EXPECT_EQ(mask[10 * 224 + 17], 1);
}

}  // namespace
}  // namespace figures
