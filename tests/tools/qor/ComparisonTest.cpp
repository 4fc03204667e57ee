// SPDX-License-Identifier: Apache-2.0

#include "qor/Comparison.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "recording/Record.h"

namespace qor {
namespace {

using namespace recording;

constexpr int onChannel = 3210;
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

Member signed64(std::string name) {
    Member member = uint64(std::move(name));
    member.kind = zelta::TypeSigned;
    return member;
}

// A record of one image of floats.
Record image(const std::vector<float>& values) {
    Record record(structure("R", {float32("image", {static_cast<unsigned int>(values.size())})}));
    record.set("R.image", values);
    return record;
}

MemberComparison compared(const Record& a, const Record& b, const ComparisonRules& rules = {},
                          const std::string& member = "R.image") {
    RecordComparison comparison(rules);
    comparison.add({4, a.chunk(onChannel)}, {5, b.chunk(onChannel)});
    return comparison.members().at(onChannel).at(member);
}

MemberComparison compared(const std::vector<float>& a, const std::vector<float>& b,
                          const ComparisonRules& rules = {}) {
    return compared(image(a), image(b), rules);
}

TEST(Comparison, EqualNumbersAreEqual) {
    const MemberComparison member = compared({1.0F, 2.0F}, {1.0F, 2.0F});
    EXPECT_TRUE(member.isEqual());
    EXPECT_EQ(member.records, 1U);
    EXPECT_EQ(member.elements, 2U);
    EXPECT_EQ(member.largest, std::nullopt);
    EXPECT_EQ(member.lastPlaces, std::nullopt);
}

TEST(Comparison, TellsCountLargestDifferenceAndFirstPlace) {
    const MemberComparison member = compared({1.0F, 2.0F, 3.0F, 4.0F}, {1.0F, 2.5F, 3.0F, 3.0F});
    EXPECT_EQ(member.different, 2U);
    EXPECT_EQ(member.largest, 1.0);
    EXPECT_EQ(member.firstElement, "R.image[1]");
    EXPECT_EQ(member.firstPacketA, 4U);
    EXPECT_EQ(member.firstPacketB, 5U);
    EXPECT_EQ(member.firstA, "2");
    EXPECT_EQ(member.firstB, "2.5");
}

TEST(Comparison, UnitsInTheLastPlaceCountTheStepsBetweenTwoFloats) {
    const float next = std::nextafter(1.0F, 2.0F);
    EXPECT_EQ(compared({1.0F}, {next}).lastPlaces, 1U);
    EXPECT_EQ(compared({next}, {1.0F}).lastPlaces, 1U);
    EXPECT_EQ(compared({1.0F}, {2.0F}).lastPlaces, 1U << 23U);
    const float least = std::numeric_limits<float>::denorm_min();
    EXPECT_EQ(compared({-least}, {least}).lastPlaces, 2U);
    EXPECT_EQ(compared({0.0F}, {least}).lastPlaces, 1U);
    // From the greatest negative to the greatest positive number: 2 * 0x7F7FFFFF steps.
    const float most = std::numeric_limits<float>::max();
    EXPECT_EQ(compared({-most}, {most}).lastPlaces, 2ULL * 0x7F7FFFFFULL);
}

TEST(Comparison, UnitsOfDoublesAreThoseOfDoubles) {
    Record a(structure("R", {float64("x")}));
    Record b(structure("R", {float64("x")}));
    a.set("R.x", 1.0);
    b.set("R.x", std::nextafter(1.0, 2.0));
    EXPECT_EQ(compared(a, b, {}, "R.x").lastPlaces, 1U);
    a.set("R.x", -std::numeric_limits<double>::max());
    b.set("R.x", std::numeric_limits<double>::max());
    EXPECT_EQ(compared(a, b, {}, "R.x").lastPlaces, 2ULL * 0x7FEFFFFFFFFFFFFFULL);
}

TEST(Comparison, NanEqualsNanUnlessItIsToDiffer) {
    EXPECT_TRUE(compared({notANumber}, {-notANumber}).isEqual());
    ComparisonRules rules;
    rules.nanDiffers = true;
    EXPECT_EQ(compared({notANumber}, {notANumber}, rules).different, 1U);
}

TEST(Comparison, NanDiffersFromANumberByNoAmount) {
    const MemberComparison member = compared({notANumber, 1.0F}, {1.0F, notANumber});
    EXPECT_EQ(member.different, 2U);
    EXPECT_EQ(member.largest, std::nullopt);
    EXPECT_EQ(member.lastPlaces, std::nullopt);
}

TEST(Comparison, ZeroesAreEqualUnlessTheirSignsAreToldApart) {
    EXPECT_TRUE(compared({0.0F}, {-0.0F}).isEqual());
    ComparisonRules rules;
    rules.zeroSigns = true;
    const MemberComparison member = compared({0.0F}, {-0.0F}, rules);
    EXPECT_EQ(member.different, 1U);
    EXPECT_EQ(member.largest, 0.0);
    EXPECT_EQ(member.lastPlaces, 0U);
}

TEST(Comparison, InfinityEqualsItselfAndIsInfinitelyFarFromOthers) {
    EXPECT_TRUE(compared({infinity, -infinity}, {infinity, -infinity}).isEqual());
    EXPECT_EQ(compared({infinity}, {-infinity}).largest, std::numeric_limits<double>::infinity());
    EXPECT_EQ(compared({infinity}, {1.0F}).largest, std::numeric_limits<double>::infinity());
    // The number after the greatest is infinity.
    EXPECT_EQ(compared({infinity}, {std::numeric_limits<float>::max()}).lastPlaces, 1U);
}

TEST(Comparison, MembersAreMatchedByNameWhateverTheLayoutIs) {
    Record a(structure("R", {uint8("flag"), float32("x"), structure("in", {int16("y", {2})})}));
    Record b(structure("R", {structure("in", {int16("y", {2})}), float32("x"), uint8("flag")}));
    for (Record* const record : {&a, &b}) {
        record->set("R.flag", static_cast<unsigned char>(7));
        record->set("R.x", 2.5F);
        record->set("R.in.y", std::vector<short>{-3, 4});
    }
    RecordComparison comparison({});
    EXPECT_TRUE(comparison.add({0, a.chunk(onChannel)}, {0, b.chunk(onChannel)}).empty());
    b.set("R.in.y", std::vector<short>{-3, 5});
    EXPECT_EQ(comparison.add({1, a.chunk(onChannel)}, {1, b.chunk(onChannel)}),
              (std::vector<std::string>{"R.in.y"}));
    const MemberComparison& member = comparison.members().at(onChannel).at("R.in.y");
    EXPECT_EQ(member.records, 2U);
    EXPECT_EQ(member.different, 1U);
    EXPECT_EQ(member.firstElement, "R.in.y[1]");
    EXPECT_EQ(member.lastPlaces, std::nullopt);
}

// A big-endian record R of a float array "image" of two elements, as docs/packets-and-definitions.md writes
// it.
TEST(Comparison, TheByteOrderMayDiffer) {
    const std::string payload(
        "d\0\0\0\1R"
        "e\0\0\0\0"
        "f\0\0\0\0"
        "g\0\0\0\x8"
        "h\0\0\0\xC9"
        "\x96\0\0\0\xFE"
        "d\0\0\0\5image"
        "e\0\0\0\1\0\0\0\2"
        "f\0\0\0\0"
        "g\0\0\0\4"
        "\x96\0\0\0\3"
        "\x96\0\0\0\xFF",
        6 + 5 * 5 + 10 + 9 + 3 * 5 + 5);
    std::string definition("\xDA\xDE\3\0\0\0\0\0\0\0\0", 11);
    definition += static_cast<char>(payload.size());
    definition += '\0';
    definition += payload;
    const std::array<unsigned char, 8> bytes{0x3F, 0xC0, 0, 0, 0xC0, 0, 0, 0};  // 1.5 and -2
    const zelta::ZeltaChunk big{definition.data(), static_cast<int>(definition.size()), bytes.data(), 8,
                                onChannel};
    const Record same = image({1.5F, -2.0F});
    const Record other = image({1.5F, -2.5F});
    RecordComparison comparison({});
    EXPECT_TRUE(comparison.add({0, same.chunk(onChannel)}, {0, big}).empty());
    EXPECT_EQ(comparison.add({1, big}, {1, other.chunk(onChannel)}), (std::vector<std::string>{"R.image"}));
    EXPECT_EQ(comparison.members().at(onChannel).at("R.image").largest, 0.5);
}

TEST(Comparison, ElementsOfArraysOfStructuresAreMembersOfTheirOwn) {
    Record a(structure("R", {structure("list", {int32("x")}, {3})}));
    Record b(structure("R", {structure("list", {int32("x")}, {3})}));
    b.set("R.list[2].x", 9);
    RecordComparison comparison({});
    EXPECT_EQ(comparison.add({0, a.chunk(onChannel)}, {0, b.chunk(onChannel)}),
              (std::vector<std::string>{"R.list[2].x"}));
}

TEST(Comparison, AMemberThatOneSideLacksIsADifference) {
    Record a(structure("R", {int32("x"), int32("old")}));
    Record b(structure("R", {int32("x"), int32("new")}));
    RecordComparison comparison({});
    comparison.add({0, a.chunk(onChannel)}, {0, b.chunk(onChannel)});
    const auto& members = comparison.members().at(onChannel);
    EXPECT_TRUE(members.at("R.x").isEqual());
    EXPECT_EQ(members.at("R.old").reason, "only in A");
    EXPECT_EQ(members.at("R.new").reason, "only in B");
    EXPECT_FALSE(members.at("R.old").isEqual());
    EXPECT_FALSE(members.at("R.new").isEqual());
}

TEST(Comparison, OfArraysOfTwoLengthsTheCommonStartIsComparedAndTheRestIsMissing) {
    const MemberComparison member = compared({1.0F, 2.0F, 3.0F}, {1.0F, 2.0F});
    EXPECT_EQ(member.elements, 2U);
    EXPECT_EQ(member.different, 0U);
    EXPECT_EQ(member.reason, "3 elements in A, 2 in B");
    EXPECT_FALSE(member.isEqual());
}

TEST(Comparison, NumbersOfDifferentKindsAreComparedByTheirValues) {
    Record a(structure("R", {int8("x"), uint64("y"), float32("z"), signed64("w")}));
    Record b(structure("R", {float64("x"), signed64("y"), float64("z"), uint64("w")}));
    a.set("R.x", static_cast<signed char>(-5));
    b.set("R.x", -5.0);
    a.set("R.y", std::numeric_limits<unsigned long long>::max());
    b.set("R.y", -1LL);
    a.set("R.z", 0.5F);
    b.set("R.z", 0.5);
    a.set("R.w", 3LL);
    b.set("R.w", 5ULL);
    RecordComparison comparison({});
    comparison.add({0, a.chunk(onChannel)}, {0, b.chunk(onChannel)});
    const auto& members = comparison.members().at(onChannel);
    EXPECT_TRUE(members.at("R.x").isEqual());
    EXPECT_FALSE(members.at("R.y").isEqual()) << "the same bits, but other numbers";
    EXPECT_TRUE(members.at("R.z").isEqual());
    EXPECT_EQ(members.at("R.w").largest, 2.0);
}

ComparisonRules tolerating(const std::string& text) {
    ComparisonRules rules;
    rules.tolerances.push_back(readTolerance(text).value());
    return rules;
}

TEST(Comparison, AToleranceIsReachedButNotPassed) {
    EXPECT_TRUE(compared({1.0F}, {1.5F}, tolerating("R.image=0.5")).isEqual());
    EXPECT_FALSE(compared({1.0F}, {1.5F}, tolerating("R.image=0.499")).isEqual());
    EXPECT_TRUE(compared({-4.0F}, {-3.0F}, tolerating("R.image=25%")).isEqual());
    EXPECT_FALSE(compared({-4.0F}, {-3.0F}, tolerating("R.image=24%")).isEqual());
    const float third = std::nextafter(std::nextafter(std::nextafter(1.0F, 2.0F), 2.0F), 2.0F);
    EXPECT_TRUE(compared({1.0F}, {third}, tolerating("R=3ulp")).isEqual());
    EXPECT_FALSE(compared({1.0F}, {third}, tolerating("R=2ulp")).isEqual());
}

TEST(Comparison, NoToleranceCoversNanOrInfinity) {
    EXPECT_FALSE(compared({notANumber}, {1.0F}, tolerating("R.image=1e300")).isEqual());
    EXPECT_FALSE(compared({infinity}, {1.0F}, tolerating("R.image=100%")).isEqual());
    EXPECT_FALSE(compared({infinity}, {1.0F}, tolerating("R.image=1e300")).isEqual());
}

TEST(Comparison, AToleranceThatNamesNothingIsTold) {
    ComparisonRules rules = tolerating("R.image=1");
    rules.tolerances.push_back(readTolerance("R.imag=1").value());
    RecordComparison comparison(rules);
    const Record record = image({1.0F});
    comparison.add({0, record.chunk(onChannel)}, {0, record.chunk(onChannel)});
    EXPECT_EQ(comparison.unusedTolerances(), (std::vector<std::string>{"R.imag"}));
}

TEST(Comparison, WhatIsLeftOutIsNotComparedAndTold) {
    Record a(structure("R", {structure("clock", {int32("s"), int32("us")}, {2}), int32("clockwork")}));
    Record b(structure("R", {structure("clock", {int32("s"), int32("us")}, {2}), int32("clockwork")}));
    b.set("R.clock[1].us", 5);
    ComparisonRules rules;
    rules.leftOut = {"R.clock", "S"};
    RecordComparison comparison(rules);
    EXPECT_TRUE(comparison.add({0, a.chunk(onChannel)}, {0, b.chunk(onChannel)}).empty());
    EXPECT_EQ(comparison.leftOut(), (std::set<std::string>{"R.clock"}));
    EXPECT_EQ(comparison.members().at(onChannel).size(), 1U);
}

TEST(Comparison, ARecordThatDoesNotFitItsDefinitionIsAnError) {
    const Record record = image({1.0F, 2.0F});
    zelta::ZeltaChunk cut = record.chunk(onChannel);
    cut.dataSize -= 4;
    RecordComparison comparison({});
    EXPECT_THROW(comparison.add({0, record.chunk(onChannel)}, {0, cut}), RecordError);
}

TEST(Tolerance, IsANumberAPercentageOrLastPlacesOfAMember) {
    EXPECT_EQ(readTolerance("R.x=0.25")->limit, 0.25);
    EXPECT_EQ(readTolerance("R.x=0.25")->expression, "R.x");
    EXPECT_EQ(readTolerance("R.x=3%")->measure, Tolerance::Measure::Percent);
    EXPECT_EQ(readTolerance("R.x=3ulp")->measure, Tolerance::Measure::LastPlaces);
    for (const char* text :
         {"", "R.x", "R.x=", "=3", "R.x=-1", "R.x=nan", "R.x=inf", "R.x=3mm", "R.x[2]=3", "R..x=1"}) {
        EXPECT_FALSE(readTolerance(text).has_value()) << text;
        EXPECT_NE(checkTolerance(text), "") << text;
    }
}

}  // namespace
}  // namespace qor
