// SPDX-License-Identifier: Apache-2.0
#include "ALDescribe.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

// Records are described in the global namespace, as those of the pipeline are.

struct DescribeTestInner {
    std::int32_t a;
    float b;
};
AL_DESCRIBE(DescribeTestInner, a, b)

struct DescribeTestOuter {
    std::uint8_t flag;
    double wide;
    std::uint16_t table[3][5];
    DescribeTestInner inner;
    DescribeTestInner inners[2];
};
AL_DESCRIBE(DescribeTestOuter, flag, wide, table, inner, inners)

struct DescribeTestSingle {
    std::uint16_t only;
};
AL_DESCRIBE(DescribeTestSingle, only)

struct DescribeTestPlain {
    int number;
};

namespace {

template <class Record>
std::vector<std::string> namesOf() {
    std::vector<std::string> names;
    describe::forEachMember<Record>([&](const auto& member) { names.emplace_back(member.name); });
    return names;
}

template <class Record>
std::vector<std::size_t> offsetsOf() {
    std::vector<std::size_t> offsets;
    describe::forEachMember<Record>([&](const auto& member) { offsets.push_back(member.offset); });
    return offsets;
}

template <class Record, std::size_t Index>
using MemberType =
    typename std::tuple_element_t<Index, std::remove_cvref_t<decltype(describe::kMembers<Record>)>>::Type;

TEST(Describe, GivesTheNameOfTheRecord) {
    EXPECT_EQ(describe::kName<DescribeTestOuter>, "DescribeTestOuter");
}

TEST(Describe, GivesTheNamesInDeclarationOrder) {
    EXPECT_EQ(namesOf<DescribeTestOuter>(),
              (std::vector<std::string>{"flag", "wide", "table", "inner", "inners"}));
}

TEST(Describe, GivesTheOffsets) {
    // flag, seven bytes of padding, wide at 8, fifteen 16-bit values from 16 to 46, two of padding, inner
    // at 48.
    EXPECT_EQ(offsetsOf<DescribeTestOuter>(), (std::vector<std::size_t>{0, 8, 16, 48, 56}));
}

TEST(Describe, GivesTheDeclaredTypes) {
    EXPECT_TRUE((std::is_same_v<MemberType<DescribeTestOuter, 0>, std::uint8_t>));
    EXPECT_TRUE((std::is_same_v<MemberType<DescribeTestOuter, 1>, double>));
    EXPECT_TRUE((std::is_same_v<MemberType<DescribeTestOuter, 2>, std::uint16_t[3][5]>));
    EXPECT_TRUE((std::is_same_v<MemberType<DescribeTestOuter, 3>, DescribeTestInner>));
    EXPECT_TRUE((std::is_same_v<MemberType<DescribeTestOuter, 4>, DescribeTestInner[2]>));
}

TEST(Describe, TakesARecordWithOneMember) {
    EXPECT_EQ(namesOf<DescribeTestSingle>(), (std::vector<std::string>{"only"}));
}

TEST(Describe, KnowsWhichRecordsAreDescribed) {
    EXPECT_TRUE(describe::Described<DescribeTestInner>);
    EXPECT_FALSE(describe::Described<DescribeTestPlain>);
    EXPECT_FALSE(describe::Described<int>);
}

TEST(Describe, IsKnownAtCompileTime) {
    static_assert(std::get<1>(describe::kMembers<DescribeTestInner>).offset == 4);
    static_assert(std::get<1>(describe::kMembers<DescribeTestInner>).name == "b");
}

}  // namespace
