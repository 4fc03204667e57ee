// SPDX-License-Identifier: Apache-2.0

#include "qor/Expression.h"

#include <gtest/gtest.h>

#include <string>

namespace qor {
namespace {

TEST(Expression, IsNamesWithIndicesJoinedByDots) {
    for (const char* good : {"Engine", "Engine.speed", "Engine.valve[1].lift", "x[0][12][003]", "a[1].b[2]",
                             "SceneTruth.distance[5][7]"}) {
        EXPECT_EQ(checkSyntax(good), "") << good;
    }
}

TEST(Expression, AnythingElseIsRefused) {
    for (const char* bad :
         {"",      ".",     "a.",       ".a",      "a..b",    "[1]",    "a.[1]", "a[]",    "a[",      "a[1",
          "a]",    "a[1]]", "a[1]]]",   "a[0:3]",  "a[5,7]",  "a[5:2]", "a[1x]", "a[1e1]", "a[ 1]",   "a[1 ]",
          "a[-1]", "a[+1]", "a[1.type", "a[1]foo", "a[1] .b", "a[b]",   "a[*]",  "a[1][",  "a[1][].b"}) {
        EXPECT_NE(checkSyntax(bad), "") << bad;
    }
}

TEST(Expression, TheSentenceSaysWhere) {
    EXPECT_EQ(
        checkSyntax("R.ROIs[0:3].type"),
        "\"R.ROIs[0:3].type\" is no expression: \":\" stands after \"R.ROIs[0\", where \"]\" should be.");
    EXPECT_EQ(checkSyntax("a[x]"),
              "\"a[x]\" is no expression: \"x\" stands after \"a[\", where a number should be.");
    EXPECT_EQ(checkSyntax("a[1]b"),
              "\"a[1]b\" is no expression: \"b\" stands after \"a[1]\", where \".\", \"[\" or the end should "
              "be.");
    EXPECT_EQ(checkSyntax("a."), "\"a.\" is no expression: it ends after \"a.\", where a name should be.");
    EXPECT_EQ(checkSyntax(""), "\"\" is no expression: it ends at its start, where a name should be.");
}

TEST(Expression, TheSentenceCanBePrinted) {
    EXPECT_EQ(checkSyntax("a[\x1b]"),
              "\"a[\\x1b]\" is no expression: \"\\x1b\" stands after \"a[\", where a number should be.");
}

}  // namespace
}  // namespace qor
