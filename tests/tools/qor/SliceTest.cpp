// SPDX-License-Identifier: Apache-2.0

#include "qor/Slice.h"

#include <gtest/gtest.h>

namespace qor {
namespace {

using Indices = std::vector<unsigned int>;

TEST(Slice, TakesFromTheFirstBeforeTheLastByTheStep) {
    EXPECT_EQ(takenBy("0:3", 10), (Indices{0, 1, 2}));
    EXPECT_EQ(takenBy("::4", 10), (Indices{0, 4, 8}));
    EXPECT_EQ(takenBy("7:", 10), (Indices{7, 8, 9}));
    EXPECT_EQ(takenBy(":2", 10), (Indices{0, 1}));
    EXPECT_EQ(takenBy("1:8:3", 10), (Indices{1, 4, 7}));
    EXPECT_EQ(takenBy(":", 2), (Indices{0, 1}));
}

TEST(Slice, MayEndBeyondTheArrayAndTakesNothingBeyondIt) {
    EXPECT_EQ(takenBy("8:99", 10), (Indices{8, 9}));
    EXPECT_EQ(takenBy("8:99999999999999999999", 10), (Indices{8, 9}));
    EXPECT_EQ(takenBy("10:", 10), Indices{});
    EXPECT_EQ(takenBy("3:3", 10), Indices{});
    EXPECT_EQ(takenBy("::0", 10), Indices{});
    EXPECT_EQ(takenBy("0::4294967295", 10), Indices{0});
    EXPECT_EQ(takenBy("10", 10), Indices{});
    EXPECT_EQ(takenBy("9", 10), Indices{9});
}

TEST(Slice, AnExpressionIsCutAtItsFirstOne) {
    const SlicedExpression cut = cutAtSlice("R.a[1].b[2][0:3][4].c[::2]");
    EXPECT_EQ(cut.array, "R.a[1].b");
    EXPECT_EQ(cut.indices, (std::vector<std::string>{"2", "0:3", "4"}));
    EXPECT_EQ(cut.rest, ".c[::2]");
}

// Of 3 x 4 elements: the second row, every other column.
TEST(Slice, SingleIndicesTakeTheirDimensionAway) {
    const Selection selection = selectionOf({"1", "::2"}, {3, 4});
    EXPECT_EQ(selection.dimensions, Indices{2});
    EXPECT_EQ(selection.positions({3, 4}), (std::vector<std::size_t>{4, 6}));
}

TEST(Slice, DimensionsWithoutAnIndexAreTakenWhole) {
    const Selection selection = selectionOf({"1:"}, {3, 2});
    EXPECT_EQ(selection.dimensions, (Indices{2, 2}));
    EXPECT_EQ(selection.positions({3, 2}), (std::vector<std::size_t>{2, 3, 4, 5}));
}

TEST(Slice, MoreIndicesThanDimensionsTakeNothing) {
    EXPECT_TRUE(selectionOf({":", ":"}, {3}).positions({3}).empty());
}

}  // namespace
}  // namespace qor
