// SPDX-License-Identifier: Apache-2.0

#include "texts/Markup.h"

#include <gtest/gtest.h>

namespace texts {
namespace {

TEST(Markup, LettersThatAreMarksAreEscaped) {
    EXPECT_EQ(escaped("a<b>&\"c"), "a&lt;b&gt;&amp;&quot;c");
}

TEST(Markup, OtherLettersStay) {
    EXPECT_EQ(escaped("x = 'y'; 1 mm"), "x = 'y'; 1 mm");
    EXPECT_EQ(escaped(""), "");
}

}  // namespace
}  // namespace texts
