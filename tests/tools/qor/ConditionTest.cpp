// SPDX-License-Identifier: Apache-2.0

#include "qor/Condition.h"

#include <gtest/gtest.h>

#include "recording/Record.h"

namespace qor {
namespace {

using recording::float32;
using recording::Record;
using recording::structure;

TEST(Condition, HasAnExpressionAnOperatorAndAValue) {
    for (const auto& [text, comparison] :
         std::vector<std::pair<const char*, Comparison>>{{"R.x==5", Comparison::Equal},
                                                         {"R.x != 5", Comparison::NotEqual},
                                                         {"R.x<5", Comparison::Less},
                                                         {" R.x <= 5 ", Comparison::LessOrEqual},
                                                         {"R.x>5", Comparison::Greater},
                                                         {"R.x>=5", Comparison::GreaterOrEqual}}) {
        const auto condition = readCondition(text);
        ASSERT_TRUE(condition) << text;
        EXPECT_EQ(condition->expression, "R.x") << text;
        EXPECT_EQ(condition->comparison, comparison) << text;
        EXPECT_EQ(condition->value, 5.0) << text;
    }
}

TEST(Condition, WhatIsNoneIsRefused) {
    for (const char* text : {"", "R.x", "R.x=5", "R.x==", "==5", "R.x==five", "R.x==nan", "R.x[0:1]==5",
                             "R.x=>5", "R.x==5==6"}) {
        EXPECT_FALSE(readCondition(text)) << text;
        EXPECT_NE(checkCondition(text), "") << text;
    }
}

TEST(Condition, TakesTheNamesOfValues) {
    const auto condition = readCondition("QorDistanceImageCustomization.filterSet.spatialFilter == median");
    ASSERT_TRUE(condition);
    EXPECT_EQ(condition->value, 1.0);
}

TEST(Condition, LimitsBelongToTheComparisonsThatSaySo) {
    EXPECT_FALSE(readCondition("R.x<5")->isMetBy(5.0));
    EXPECT_TRUE(readCondition("R.x<=5")->isMetBy(5.0));
    EXPECT_FALSE(readCondition("R.x>5")->isMetBy(5.0));
    EXPECT_TRUE(readCondition("R.x>=5")->isMetBy(5.0));
    EXPECT_TRUE(readCondition("R.x==5")->isMetBy(5.0));
    EXPECT_FALSE(readCondition("R.x!=5")->isMetBy(5.0));
}

TEST(Condition, IsAboutTheRecordOfItsName) {
    Record record(structure("R", {float32("x"), float32("y", {2})}));
    record.set<float>("R.x", 3.0F);
    const zelta::Packet packet{record.chunk(1)};
    EXPECT_EQ(isMetIn(packet, *readCondition("R.x<4")), true);
    EXPECT_EQ(isMetIn(packet, *readCondition("R.x<3")), false);
    EXPECT_EQ(isMetIn(packet, *readCondition("S.x<4")), std::nullopt);
    EXPECT_EQ(isMetIn({}, *readCondition("R.x<4")), std::nullopt);
    EXPECT_THROW(isMetIn(packet, *readCondition("R.z<4")), recording::RecordError);
    EXPECT_THROW(isMetIn(packet, *readCondition("R.y<4")), recording::RecordError);
    EXPECT_EQ(isMetIn(packet, *readCondition("R.y[1]<4")), true);
}

}  // namespace
}  // namespace qor
