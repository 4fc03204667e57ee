// SPDX-License-Identifier: Apache-2.0

#include "imaging/Canvas.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace imaging {
namespace {

constexpr Color white{255, 255, 255};
constexpr Color black{0, 0, 0};
constexpr Color red{255, 0, 0};

TEST(Canvas, StartsInTheBackgroundColour) {
    const Canvas canvas(4, 3, red);
    EXPECT_EQ(canvas.pixels().size(), 12U);
    EXPECT_TRUE(
        std::all_of(canvas.pixels().begin(), canvas.pixels().end(), [](Color c) { return c == red; }));
}

TEST(Canvas, RefusesSidesBelowOneAndAbove32768) {
    EXPECT_THROW(Canvas(0, 1, white), std::invalid_argument);
    EXPECT_THROW(Canvas(1, 0, white), std::invalid_argument);
    EXPECT_THROW(Canvas(-1, 1, white), std::invalid_argument);
    EXPECT_THROW(Canvas(32769, 1, white), std::invalid_argument);
    EXPECT_NO_THROW(Canvas(32768, 1, white));
}

TEST(Canvas, FillStaysWithinItsRectangle) {
    Canvas canvas(5, 5, white);
    canvas.fill(1, 2, 3, 2, red);
    for (int row = 0; row < 5; ++row) {
        for (int column = 0; column < 5; ++column) {
            const bool inside = column >= 1 && column < 4 && row >= 2 && row < 4;
            EXPECT_EQ(canvas.at(column, row), inside ? red : white) << column << ", " << row;
        }
    }
}

TEST(Canvas, WhatLiesOutsideIsLeftOut) {
    Canvas canvas(2, 2, white);
    canvas.set(-1, 0, red);
    canvas.set(0, 2, red);
    canvas.set(2, 0, red);
    canvas.fill(-10, -10, 11, 11, black);
    canvas.fill(1, 1, 1000, 1000, red);
    canvas.text(-20.0, 1.0, "outside", 14.0, 2.0, black);
    EXPECT_EQ(canvas.at(0, 0), black);
    EXPECT_EQ(canvas.at(1, 1), red);
}

// The letter I is one stroke from the baseline up: its column is inked, its neighbourhood is not.
TEST(Canvas, TextStandsOnItsBaseline) {
    Canvas canvas(20, 30, white);
    canvas.text(10.0, 25.0, "I", 14.0, 2.0, black);
    EXPECT_EQ(canvas.at(10, 18), black);
    EXPECT_EQ(canvas.at(9, 18), black);
    EXPECT_EQ(canvas.at(14, 18), white);
    EXPECT_EQ(canvas.at(10, 28), white);
    EXPECT_EQ(canvas.at(10, 8), white);
}

TEST(Canvas, StrokesHaveSoftEdges) {
    Canvas canvas(30, 30, white);
    canvas.text(5.0, 25.0, "O", 14.0, 2.0, black);
    EXPECT_TRUE(std::any_of(canvas.pixels().begin(), canvas.pixels().end(),
                            [](Color c) { return c != white && c != black; }));
}

// Width of I is 0 and of H is 8 units of a fourteenth of the height, the gap is 3.4.
TEST(TextWidth, AddsTheGlyphsAndTheGapsBetween) {
    EXPECT_DOUBLE_EQ(textWidth("H", 14.0), 8.0);
    EXPECT_DOUBLE_EQ(textWidth("HI", 14.0), 11.4);
    EXPECT_DOUBLE_EQ(textWidth("HIH", 28.0), 2.0 * (8.0 + 3.4 + 0.0 + 3.4 + 8.0));
    EXPECT_DOUBLE_EQ(textWidth("", 14.0), 0.0);
}

}  // namespace
}  // namespace imaging
