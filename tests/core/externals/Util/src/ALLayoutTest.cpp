// SPDX-License-Identifier: Apache-2.0
//
// Tables of layouts: equal to a record's description, or told where they differ.
#include "ALLayout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace {

using layout::Kind;
using layout::Row;

enum Color : int32_t { Red };

}  // namespace

struct LayoutTestPoint {
    float x;
    double y;
};
AL_DESCRIBE(LayoutTestPoint, x, y)

struct LayoutTestRecord {
    uint8_t flags[3];
    Ref<float> image;
    LayoutTestPoint points[2][4];
    int16_t count;
    Color color;
    char text[5];
};
AL_DESCRIBE(LayoutTestRecord, flags, image, points, count, color, text)

namespace {

// Offsets on the wire: the reference takes 4 bytes from 4 on, a double lies on 8.
constexpr Row kRows[] = {
    {0, "LayoutTestRecord", {}, Kind::Record, 152, 0},
    {1, "flags", {3}, Kind::Unsigned, 1, 0},
    {1, "points", {2, 4}, Kind::Record, 16, 8},
    {2, "x", {}, Kind::Float, 4, 8},
    {2, "y", {}, Kind::Float, 8, 16},
    {1, "count", {}, Kind::Signed, 2, 136},
    {1, "color", {}, Kind::Signed, 4, 140},
    {1, "text", {5}, Kind::Signed, 1, 144},
};

template <class Change>
constexpr std::size_t differenceAfter(Change change) {
    Row rows[std::size(kRows)] = {};
    std::copy(std::begin(kRows), std::end(kRows), rows);
    change(rows);
    return layout::firstDifference<LayoutTestRecord>(rows);
}

TEST(Layouts, ATableOfTheRecordsRowsMatches) {
    EXPECT_TRUE(layout::matches<LayoutTestRecord>(kRows));
}

TEST(Layouts, ARowThatDiffersInAnythingIsTold) {
    EXPECT_EQ(differenceAfter([](Row* rows) { rows[0].size = 148; }), 0U);
    EXPECT_EQ(differenceAfter([](Row* rows) { rows[1].kind = Kind::Signed; }), 1U);
    EXPECT_EQ(differenceAfter([](Row* rows) { rows[2].dimensions[1] = 0; }), 2U);
    EXPECT_EQ(differenceAfter([](Row* rows) { rows[3].name = "z"; }), 3U);
    EXPECT_EQ(differenceAfter([](Row* rows) { rows[4].offset = 12; }), 4U);
    EXPECT_EQ(differenceAfter([](Row* rows) { rows[5].level = 2; }), 5U);
}

TEST(Layouts, AMissingAndASurplusRowAreTold) {
    Row fewer[std::size(kRows) - 1] = {};
    std::copy_n(std::begin(kRows), std::size(fewer), fewer);
    EXPECT_FALSE(layout::matches<LayoutTestRecord>(fewer));
    Row more[std::size(kRows) + 1] = {};
    std::copy(std::begin(kRows), std::end(kRows), more);
    EXPECT_EQ(layout::firstDifference<LayoutTestRecord>(more), std::size(kRows));
}

TEST(Layouts, ATableMayHoldTheFirstLevelAlone) {
    constexpr Row first[] = {kRows[0], kRows[1], kRows[2], kRows[5], kRows[6], kRows[7]};
    EXPECT_TRUE(layout::matches<LayoutTestRecord>(first, 1));
    EXPECT_FALSE(layout::matches<LayoutTestRecord>(first));
}

}  // namespace
