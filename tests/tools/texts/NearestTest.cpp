// SPDX-License-Identifier: Apache-2.0

#include "texts/Nearest.h"

#include <gtest/gtest.h>

#include <vector>

namespace texts {
namespace {

const std::vector<std::string>& names() {
    static const std::vector<std::string> all{"vignetting", "minDiff", "maxDiff", "mid"};
    return all;
}

TEST(Nearest, ANameWithAFewOtherLettersIsNear) {
    EXPECT_EQ(nearestOf(names(), "vigneting"), "vignetting");
    EXPECT_EQ(nearestOf(names(), "mindiff"), "minDiff");
}

TEST(Nearest, AnotherWordIsNotNear) {
    EXPECT_EQ(nearestOf(names(), "colour"), "");
    EXPECT_EQ(nearestOf(names(), ""), "");
}

TEST(Nearest, AVeryLongTextIsNotCompared) {
    EXPECT_EQ(nearestOf(names(), std::string(100000, 'm')), "");
}

TEST(Nearest, EditsAreInsertedRemovedAndChangedLetters) {
    EXPECT_EQ(editsBetween("", "abc"), 3U);
    EXPECT_EQ(editsBetween("kitten", "sitting"), 3U);  // k to s, e to i, g added
    EXPECT_EQ(editsBetween("abc", "abc"), 0U);
}

}  // namespace
}  // namespace texts
