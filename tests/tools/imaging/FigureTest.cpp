// SPDX-License-Identifier: Apache-2.0

#include "imaging/Figure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace imaging {
namespace {

// The image stands 24 pixels from the left and 64 from the top.
constexpr int left = 24;
constexpr int top = 64;

const Scale metres{ColorMap::Viridis, 1.0, 3.0, "metres"};

Canvas drawTwoByTwo(const std::vector<float>& values, const std::vector<std::uint8_t>& valid,
                    int enlargement) {
    return drawFigure({"Title", "subtitle"}, values, valid, 2, 2, metres, enlargement);
}

TEST(Figure, EveryPixelBecomesASquareInTheColourOfItsValue) {
    const Canvas canvas = drawTwoByTwo({1.0F, 1.5F, 2.0F, 3.0F}, {1, 1, 1, 1}, 3);
    for (int k = 0; k < 9; ++k) {
        const int column = left + k % 3;
        const int row = top + k / 3;
        EXPECT_EQ(canvas.at(column, row), colorAt(ColorMap::Viridis, 0.0));
        EXPECT_EQ(canvas.at(column + 3, row), colorAt(ColorMap::Viridis, 0.25));
        EXPECT_EQ(canvas.at(column, row + 3), colorAt(ColorMap::Viridis, 0.5));
        EXPECT_EQ(canvas.at(column + 3, row + 3), colorAt(ColorMap::Viridis, 1.0));
    }
}

TEST(Figure, InvalidPixelsAndNumbersThatAreNoneAreBlack) {
    const Canvas canvas = drawTwoByTwo({2.0F, std::nanf(""), 2.0F, 2.0F}, {0, 1, 1, 1}, 1);
    EXPECT_EQ(canvas.at(left, top), (Color{0, 0, 0}));
    EXPECT_EQ(canvas.at(left + 1, top), (Color{0, 0, 0}));
    EXPECT_NE(canvas.at(left, top + 1), (Color{0, 0, 0}));
}

TEST(Figure, ValuesBeyondTheScaleTakeTheColourOfItsEnd) {
    const Canvas canvas = drawTwoByTwo({0.0F, 9.0F, 2.0F, 2.0F}, {1, 1, 1, 1}, 1);
    EXPECT_EQ(canvas.at(left, top), colorAt(ColorMap::Viridis, 0.0));
    EXPECT_EQ(canvas.at(left + 1, top), colorAt(ColorMap::Viridis, 1.0));
}

// The bar stands 22 pixels to the right of the image and runs from the maximum down to the minimum.
TEST(Figure, TheScaleBarRunsFromMaximumDownToMinimum) {
    const std::vector<float> values(100 * 100, 2.0F);
    const std::vector<std::uint8_t> valid(100 * 100, 1);
    const Canvas canvas = drawFigure({"", ""}, values, valid, 100, 100, metres, 2);
    const int bar = left + 200 + 22 + 5;
    const int barTop = top + 26;
    const int barHeight = 200 - 26 - 30 - 10;
    EXPECT_EQ(canvas.at(bar, barTop), colorAt(ColorMap::Viridis, 1.0 - 0.5 / barHeight));
    EXPECT_EQ(canvas.at(bar, barTop + barHeight - 1), colorAt(ColorMap::Viridis, 0.5 / barHeight));
}

TEST(Figure, PictureOfASinglePixelIsDrawn) {
    EXPECT_NO_THROW(
        drawFigure({"Title", ""}, std::vector<float>{1.0F}, std::vector<std::uint8_t>{1}, 1, 1, metres, 1));
}

TEST(Figure, RefusesWhatDoesNotFit) {
    const std::vector<float> values(4);
    const std::vector<std::uint8_t> valid(4);
    EXPECT_THROW(drawFigure({}, values, valid, 2, 3, metres, 1), std::invalid_argument);
    EXPECT_THROW(drawFigure({}, values, valid, -2, -2, metres, 1), std::invalid_argument);
    EXPECT_THROW(drawFigure({}, values, std::vector<std::uint8_t>(3), 2, 2, metres, 1),
                 std::invalid_argument);
    EXPECT_THROW(drawFigure({}, values, valid, 2, 2, metres, 0), std::invalid_argument);
    EXPECT_THROW(drawFigure({}, values, valid, 2, 2, metres, 33), std::invalid_argument);
    EXPECT_THROW(drawFigure({}, values, valid, 2, 2, {ColorMap::Grey, 1.0, 1.0, ""}, 1),
                 std::invalid_argument);
    EXPECT_THROW(drawFigure({}, values, valid, 2, 2, {ColorMap::Grey, std::nan(""), 1.0, ""}, 1),
                 std::invalid_argument);
    EXPECT_THROW(drawFigure({}, values, valid, 2, 2,
                            {ColorMap::Grey, 0.0, std::numeric_limits<double>::infinity(), ""}, 1),
                 std::invalid_argument);
}

TEST(CategoryFigure, PixelsTakeTheColourOfTheirCategory) {
    const std::vector<Category> categories{{{1, 2, 3}, "one"}, {{200, 100, 0}, "two"}};
    const Canvas canvas = drawFigure({"", ""}, std::vector<std::uint8_t>{0, 1}, 2, 1, categories, 2);
    EXPECT_EQ(canvas.at(left, top), (Color{1, 2, 3}));
    EXPECT_EQ(canvas.at(left + 2, top + 1), (Color{200, 100, 0}));
}

TEST(CategoryFigure, RefusesAPixelWithoutCategory) {
    EXPECT_THROW(drawFigure({"", ""}, std::vector<std::uint8_t>{1}, 1, 1, {{{1, 2, 3}, "one"}}, 1),
                 std::invalid_argument);
}

void expectMarks(const std::vector<double>& found, const std::vector<double>& expected) {
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t k = 0; k < found.size(); ++k) {
        EXPECT_NEAR(found[k], expected[k], 1e-9);
    }
}

TEST(ScaleMarks, AreRoundMultiplesWithinTheEnds) {
    expectMarks(scaleMarks(0.0, 2.5, 6), {0.0, 0.5, 1.0, 1.5, 2.0, 2.5});
    expectMarks(scaleMarks(0.3, 1.1, 5), {0.4, 0.6, 0.8, 1.0});
    expectMarks(scaleMarks(-20.0, 20.0, 5), {-20.0, -10.0, 0.0, 10.0, 20.0});
    expectMarks(scaleMarks(0.0, 4000.0, 5), {0.0, 1000.0, 2000.0, 3000.0, 4000.0});
}

TEST(ScaleMarks, AreNeverMoreThanAskedForAndOneMore) {
    for (double maximum = 0.013; maximum < 1e5; maximum *= 1.7) {
        const std::size_t count = scaleMarks(0.0, maximum, 8).size();
        EXPECT_LE(count, 9U) << maximum;
        EXPECT_GE(count, 3U) << maximum;
    }
}

}  // namespace
}  // namespace imaging
