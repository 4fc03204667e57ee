// SPDX-License-Identifier: Apache-2.0

#include "qor/RecordText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "recording/Record.h"
#include "zelta_parse.h"

namespace qor {
namespace {

using recording::float32;
using recording::int32;
using recording::int8;
using recording::Record;
using recording::structure;
using recording::uint64;
using recording::uint8;

Record sample() {
    Record record(structure("R", {int8("name", {8}), uint64("big"), float32("grid", {2, 3}),
                                  structure("s", {int32("x"), float32("y", {12})}, {2})}));
    record.set<signed char>("R.name", std::vector<signed char>{'w', 'a', 'l', 'l', 0, 0, 0, 0});
    record.set<unsigned long long>("R.big", 18446744073709551615ULL);
    record.set<float>("R.grid", std::vector<float>{1.0F, 2.5F, 3.0F, 0.1F, -0.0F, 1e-30F});
    record.set<int>("R.s[1].x", -7);
    return record;
}

TEST(RecordText, NumbersAreExactAndShort) {
    const Record record = sample();
    const auto values = valuesOf(record.chunk(1), "R.big");
    ASSERT_EQ(values.size(), 1U);
    EXPECT_EQ(values[0].rows, (std::vector<std::string>{"18446744073709551615"}));
    EXPECT_EQ(values[0].json, 18446744073709551615ULL);
}

TEST(RecordText, EachRowOfAnImageIsALine) {
    const Record record = sample();
    const auto values = valuesOf(record.chunk(1), "R.grid");
    EXPECT_EQ(values[0].rows, (std::vector<std::string>{"1 2.5 3", "0.1 -0 1e-30"}));
    EXPECT_EQ(values[0].json.size(), 2U);
    EXPECT_EQ(values[0].json[0], (nlohmann::ordered_json{1.0, 2.5, 3.0}));
    EXPECT_EQ(valuesOf(record.chunk(1), "R.grid[0][1]")[0].rows[0], "2.5");
}

TEST(RecordText, BytesThatAreLettersAreText) {
    const Record record = sample();
    EXPECT_EQ(valuesOf(record.chunk(1), "R.name")[0].rows[0], "\"wall\"");
    EXPECT_EQ(valuesOf(record.chunk(1), "R.name")[0].json, "wall");
    Record other = sample();
    other.set<signed char>("R.name[1]", 27);
    EXPECT_EQ(valuesOf(other.chunk(1), "R.name")[0].rows[0], "119 27 108 108 0 0 0 0");
}

TEST(RecordText, AStructureShowsAllThatIsInIt) {
    const Record record = sample();
    std::vector<std::string> expressions;
    for (const ShownValue& value : valuesOf(record.chunk(1), "R")) {
        expressions.push_back(value.expression);
    }
    EXPECT_EQ(expressions, (std::vector<std::string>{"R.name", "R.big", "R.grid", "R.s[0].x", "R.s[0].y",
                                                     "R.s[1].x", "R.s[1].y"}));
    const auto one = valuesOf(record.chunk(1), "R.s[1]");
    ASSERT_EQ(one.size(), 2U);
    EXPECT_EQ(one[0].rows[0], "-7");
}

TEST(RecordText, LongArraysAreCutInALine) {
    const Record record = sample();
    EXPECT_EQ(abbreviated(valuesOf(record.chunk(1), "R.s[0].y")[0]), "0 0 0 0 0 0 0 0 ... 12 numbers");
    EXPECT_EQ(abbreviated(valuesOf(record.chunk(1), "R.grid")[0]), "1 2.5 3  0.1 -0 1e-30");
    EXPECT_EQ(abbreviated(valuesOf(record.chunk(1), "R.name")[0]), "\"wall\"");
}

TEST(RecordText, AnExpressionThatAddressesNothingIsTold) {
    const Record record = sample();
    for (const char* expression : {"Q", "R.none", "R.s[2]", "R.grid[0][0][0]", "R.grid[2]", "R.[0]"}) {
        EXPECT_THROW(valuesOf(record.chunk(1), expression), NoSuchExpression) << expression;
    }
}

TEST(RecordText, DataThatDoesNotFitIsNotRead) {
    const Record record = sample();
    zelta::ZeltaChunk chunk = record.chunk(1);
    chunk.dataSize = 4;
    EXPECT_THROW(valuesOf(chunk, "R.big"), recording::RecordError);
    EXPECT_THROW(valuesOf(chunk, "R"), recording::RecordError);
}

// A definition may claim more elements than any memory has.
TEST(RecordText, AnEndlessArrayIsRefusedWithoutBeingBuilt) {
    const zelta::TypeRef member(
        new zelta::ElementaryType("x", {}, 0, 1, zelta::EndianLittle, zelta::TypeSigned));
    const zelta::TypeRef array(
        new zelta::StructType("s", {0xFFFFFFFFU}, 0, 1, zelta::EndianLittle, {member}));
    const zelta::TypeRef endless(new zelta::StructType("R", {}, 0, 4, zelta::EndianLittle, {array}));
    const std::string definition = zelta::createDatadefinition(endless);
    const int data = 0;
    const zelta::ZeltaChunk chunk{definition.data(), static_cast<int>(definition.size()), &data, 4, 1};
    EXPECT_THROW(valuesOf(chunk, "R"), recording::RecordError);
}

}  // namespace
}  // namespace qor
