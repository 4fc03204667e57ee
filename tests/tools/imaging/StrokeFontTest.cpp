// SPDX-License-Identifier: Apache-2.0

#include "imaging/StrokeFont.h"

#include <gtest/gtest.h>

#include <string_view>

namespace imaging {
namespace {

// Printable ASCII but the blank.
constexpr std::string_view letters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
    "!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~";
static_assert(letters.size() == '~' - ' ');

bool isEmptyBox(const StrokeGlyph& glyph) {
    return &glyph == &strokeGlyph('\x01');
}

TEST(StrokeFont, HasAGlyphForEveryLetterDigitAndMark) {
    for (const char letter : letters) {
        EXPECT_FALSE(isEmptyBox(strokeGlyph(letter))) << letter;
        EXPECT_FALSE(strokeGlyph(letter).strokes.empty()) << letter;
    }
}

TEST(StrokeFont, StrokesStayWithinTheGlyph) {
    for (const char letter : letters) {
        const StrokeGlyph& glyph = strokeGlyph(letter);
        for (const auto& stroke : glyph.strokes) {
            EXPECT_GE(stroke.size(), 2U) << letter;
            for (const StrokePoint& point : stroke) {
                EXPECT_GE(point.x, 0.0) << letter;
                EXPECT_LE(point.x, glyph.width) << letter;
                EXPECT_GE(point.y, -strokeFontDepth) << letter;
                EXPECT_LE(point.y, strokeFontCapHeight) << letter;
            }
        }
    }
}

TEST(StrokeFont, ClosedCurvesClose) {
    const auto& ring = strokeGlyph('o').strokes.at(0);
    EXPECT_DOUBLE_EQ(ring.front().x, ring.back().x);
    EXPECT_DOUBLE_EQ(ring.front().y, ring.back().y);
}

TEST(StrokeFont, BlankIsWideAndEmpty) {
    EXPECT_TRUE(strokeGlyph(' ').strokes.empty());
    EXPECT_GT(strokeGlyph(' ').width, 0.0);
}

TEST(StrokeFont, OtherCharactersShowAsAnEmptyBox) {
    EXPECT_TRUE(isEmptyBox(strokeGlyph('\xFC')));
    EXPECT_TRUE(isEmptyBox(strokeGlyph('\0')));
    EXPECT_FALSE(strokeGlyph('\0').strokes.empty());
}

}  // namespace
}  // namespace imaging
