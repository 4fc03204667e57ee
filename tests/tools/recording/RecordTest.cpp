// SPDX-License-Identifier: Apache-2.0

#include "recording/Record.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <random>

namespace recording {
namespace {

Record sample() {
    return Record(structure(
        "R", {int8("i8"), int16("i16"), int32("i32"), uint8("u8"), uint16("u16"), uint32("u32"),
              uint64("u64"), float32("f32", {3}), float64("f64"), structure("s", {int32("x")}, {2})}));
}

// Sets a member of a fresh record by text and reads it back.
double afterSetting(const std::string& expression, const std::string& text) {
    Record record = sample();
    std::vector<std::uint8_t> data = record.data();
    setFromText(record.type(), expression, text, data);
    zelta::ZeltaChunk chunk = record.chunk(1);
    chunk.data = data.data();
    return numberOf(chunk, expression);
}

TEST(Record, IsZeroAtFirst) {
    const Record record = sample();
    EXPECT_TRUE(std::all_of(record.data().begin(), record.data().end(), [](auto byte) { return byte == 0; }));
}

TEST(Record, GivesBackWhatWasSet) {
    Record record = sample();
    record.set<int>("R.i32", -123456789);
    record.set<unsigned long long>("R.u64", 18446744073709551615ULL);
    record.set<float>("R.f32", std::vector<float>{1.0F, 2.5F, -3.0F});
    record.set<int>("R.s[1].x", 77);
    const zelta::ZeltaChunk chunk = record.chunk(9);
    EXPECT_EQ(chunk.channelID, 9);
    EXPECT_EQ(numberOf(chunk, "R.i32"), -123456789.0);
    EXPECT_EQ(wholeNumberOf(chunk, "R.u64"), 18446744073709551615ULL);
    EXPECT_EQ(imageOf(chunk, "R.f32", 3), (std::vector<float>{1.0F, 2.5F, -3.0F}));
    EXPECT_EQ(numberOf(chunk, "R.s[1].x"), 77.0);
    EXPECT_EQ(numberOf(chunk, "R.s[0].x"), 0.0);
}

TEST(Record, ReadingAnotherCountThanThereIsFails) {
    const Record record = sample();
    EXPECT_THROW(imageOf(record.chunk(1), "R.f32", 2), RecordError);
    EXPECT_THROW(numberOf(record.chunk(1), "R.f32"), RecordError);
    EXPECT_THROW(numberOf(record.chunk(1), "R.none"), RecordError);
    EXPECT_THROW(numberOf(record.chunk(1), "R.s"), RecordError);
    EXPECT_THROW(numberOf(record.chunk(1), ""), RecordError);
}

TEST(Record, DataOfAnotherSizeThanDescribedIsNotRead) {
    const Record record = sample();
    zelta::ZeltaChunk chunk = record.chunk(1);
    chunk.dataSize -= 1;
    EXPECT_THROW(numberOf(chunk, "R.i32"), RecordError);
}

TEST(Record, ADamagedDefinitionIsToldWithItsChannel) {
    const Record record = sample();
    zelta::ZeltaChunk chunk = record.chunk(42);
    const std::string damaged(static_cast<std::size_t>(chunk.descSize), 'x');
    chunk.description = damaged.data();
    try {
        typeOf(chunk);
        FAIL();
    } catch (const RecordError& error) {
        EXPECT_STREQ(error.what(), "The definition on channel 42 is damaged.");
    }
}

TEST(Record, APacketOfNoChunkIsFourBytesAndOneOfAnEmptyChunkIsRefused) {
    EXPECT_EQ(packetOf({}).size(), 4U);
    const Record record = sample();
    zelta::ZeltaChunk chunk = record.chunk(1);
    chunk.dataSize = 0;
    EXPECT_THROW(packetOf({chunk}), RecordError);
}

TEST(SetFromText, EveryKindTakesItsLimits) {
    EXPECT_EQ(afterSetting("R.i8", "-128"), -128.0);
    EXPECT_EQ(afterSetting("R.i8", "127"), 127.0);
    EXPECT_EQ(afterSetting("R.i16", "-32768"), -32768.0);
    EXPECT_EQ(afterSetting("R.i32", "-2147483648"), -2147483648.0);
    EXPECT_EQ(afterSetting("R.i32", "0x7FFFFFFF"), 2147483647.0);
    EXPECT_EQ(afterSetting("R.u8", "255"), 255.0);
    EXPECT_EQ(afterSetting("R.u16", "0xffff"), 65535.0);
    EXPECT_EQ(afterSetting("R.u32", "4294967295"), 4294967295.0);
    EXPECT_EQ(afterSetting("R.u64", "18446744073709551615"), 18446744073709551615.0);
    EXPECT_EQ(afterSetting("R.f64", "-1e300"), -1e300);
    EXPECT_EQ(afterSetting("R.s[1].x", "5"), 5.0);
}

TEST(SetFromText, OneBeyondALimitAndWhatIsNoNumberAreRefused) {
    for (const auto& [expression, text] : std::vector<std::pair<const char*, const char*>>{
             {"R.i8", "128"},         {"R.i8", "-129"},        {"R.i16", "32768"},
             {"R.i32", "2147483648"}, {"R.i32", "1.5"},        {"R.i32", ""},
             {"R.i32", "-"},          {"R.i32", "0x"},         {"R.i32", "--1"},
             {"R.i32", "1 "},         {"R.u8", "256"},         {"R.u8", "-1"},
             {"R.u16", "65536"},      {"R.u32", "4294967296"}, {"R.u64", "18446744073709551616"},
             {"R.f32[0]", "nan"},     {"R.f32[0]", "inf"},     {"R.f32[0]", "1e39"},
             {"R.f32[0]", "x"},       {"R.f64", "1e999"},      {"R.f64", "1x"}}) {
        EXPECT_THROW(afterSetting(expression, text), RecordError) << expression << " = " << text;
    }
}

TEST(SetFromText, OneValueFillsAnArrayAndAListMustFitIt) {
    Record record = sample();
    std::vector<std::uint8_t> data = record.data();
    zelta::ZeltaChunk chunk = record.chunk(1);
    chunk.data = data.data();
    setFromText(record.type(), "R.f32", "1.5", data);
    EXPECT_EQ(imageOf(chunk, "R.f32", 3), (std::vector<float>{1.5F, 1.5F, 1.5F}));
    setFromText(record.type(), "R.f32", "1,2,3", data);
    EXPECT_EQ(imageOf(chunk, "R.f32", 3), (std::vector<float>{1.0F, 2.0F, 3.0F}));
    EXPECT_THROW(setFromText(record.type(), "R.f32", "1,2", data), RecordError);
    EXPECT_THROW(setFromText(record.type(), "R.f32", "1,2,3,4", data), RecordError);
}

TEST(SetFromText, AWrongCountIsToldWithTheRightOnes) {
    const auto sentence = [](const char* expression, const char* text) -> std::string {
        try {
            afterSetting(expression, text);
        } catch (const RecordError& error) {
            return error.what();
        }
        return "";
    };
    EXPECT_EQ(sentence("R.f64", "1,5"), "\"R.f64\" takes one value, not 2; commas separate values.");
    EXPECT_EQ(sentence("R.f32", "1,5"), "\"R.f32\" takes one value or 3, not 2; commas separate values.");
}

TEST(SetFromText, WhatIsNoNumberOfTheRecordIsRefused) {
    for (const char* expression :
         {"R", "R.s", "R.s[2].x", "R.none", "Q.i8", "", "R..i8", "R.[0]", "R.f32[3]"}) {
        EXPECT_THROW(afterSetting(expression, "1"), RecordError) << expression;
    }
}

TEST(SetFromText, ABufferOfAnotherSizeIsRefusedAndNotTouched) {
    const Record record = sample();
    std::vector<std::uint8_t> small(record.data().size() - 1, 0xAA);
    EXPECT_THROW(setFromText(record.type(), "R.i8", "1", small), RecordError);
    EXPECT_EQ(small, std::vector<std::uint8_t>(record.data().size() - 1, 0xAA));
}

}  // namespace
}  // namespace recording
