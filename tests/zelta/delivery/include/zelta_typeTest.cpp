// SPDX-License-Identifier: Apache-2.0
#include "zelta_type.h"

#include <gtest/gtest.h>

#include "zelta/TestTypes.h"

namespace zelta {
namespace {

using test::Dimensions;
using test::messageOf;
using test::number;
using test::record;
using Index = std::vector<unsigned int>;

TypeRef ofDimensions(const Dimensions& dimensions, unsigned int size = 4) {
    return number("x", TypeSigned, size, 0, dimensions);
}

TEST(TypeNode, ScalarHasCountOneAndAnEmptyStartIndex) {
    EXPECT_EQ(ofDimensions({})->count(), 1U);
    EXPECT_TRUE(ofDimensions({})->startIterate().empty());
}

TEST(TypeNode, WalkOverAScalarEndsAfterOnePass) {
    const TypeRef scalar = ofDimensions({});
    Index index = scalar->startIterate();
    EXPECT_TRUE(scalar->valid(index, true));
    scalar->incIndex(index);
    EXPECT_EQ(index, Index{0xFFFFFFFFU});
    EXPECT_FALSE(scalar->valid(index, true));
    EXPECT_FALSE(scalar->valid(index, false));
}

TEST(TypeNode, EmptyIndexOfAnArrayIsValidOnlyWhenNotExact) {
    EXPECT_FALSE(ofDimensions({2, 3})->valid({}, true));
    EXPECT_TRUE(ofDimensions({2, 3})->valid({}, false));
}

TEST(TypeNode, TooLongIndexIsNeverValid) {
    EXPECT_FALSE(ofDimensions({2, 3})->valid({0, 0, 0}, true));
    EXPECT_FALSE(ofDimensions({2, 3})->valid({0, 0, 0}, false));
}

TEST(TypeNode, IndexIsValidWhileEachEntryIsBelowItsDimension) {
    const TypeRef array = ofDimensions({2, 3});
    EXPECT_TRUE(array->valid({1, 2}, true));
    EXPECT_FALSE(array->valid({2, 0}, true));
    EXPECT_FALSE(array->valid({0, 3}, true));
    EXPECT_FALSE(array->valid({2}, false));
    EXPECT_FALSE(array->valid({0xFFFFFFFFU, 0}, true));
}

TEST(TypeNode, LinearIndexIsRowMajorAndMissingEntriesAreZero) {
    const TypeRef array = ofDimensions({2, 3});
    EXPECT_EQ(array->index2lin({}), 0U);
    EXPECT_EQ(array->index2lin({1}), 3U);
    EXPECT_EQ(array->index2lin({1, 2}), 5U);
}

TEST(TypeNode, LinearIndexOfTooManyEntriesThrows) {
    EXPECT_EQ(messageOf<InterpretError>([] {
                  ofDimensions({2, 3})->index2lin({0, 0, 0});
              }),
              "Size mismatch: \"index has more dimensions (3) than the actual data type (2)\"");
}

TEST(TypeNode, ErrorsNameTheirSource) {
    try {
        ofDimensions({})->index2lin({0});
        FAIL() << "nothing thrown";
    } catch (const InterpretError& error) {
        EXPECT_EQ(std::string(error.what()).rfind("core/app-specific/zelta_parse (line ", 0), 0U)
            << error.what();
    }
}

TEST(TypeNode, WalkRunsOneBeyondTheLastDimensionAndEndsThere) {
    const TypeRef array = ofDimensions({2, 3});
    Index index{0, 2};
    array->incIndex(index);
    EXPECT_EQ(index, (Index{0, 3}));
    EXPECT_FALSE(array->valid(index, true));
}

TEST(TypeNode, WalkBeyondTheEndFallsBackToZeroWithoutCarry) {
    const TypeRef array = ofDimensions({2, 3});
    Index index{1, 3};
    array->incIndex(index);
    EXPECT_EQ(index, (Index{1, 0}));
    index = {3, 3};  // The entry before it has run past its dimension too.
    array->incIndex(index);
    EXPECT_EQ(index, (Index{0, 0}));
}

TEST(TypeNode, ZeroDimensionGivesCountZero) {
    EXPECT_EQ(ofDimensions({5, 0, 7})->count(), 0U);
    EXPECT_EQ(ofDimensions({0xFFFFFFFFU, 0xFFFFFFFFU, 0})->count(), 0U);
}

TEST(TypeNode, CountAndSizeStopAtTheLargestNumber) {
    EXPECT_EQ(ofDimensions({65536, 65536})->count(), 0xFFFFFFFFU);
    EXPECT_EQ(ofDimensions({65537, 65535})->count(), 0xFFFFFFFFU);  // 2^32 - 1, just representable
    EXPECT_EQ(typeSize(ofDimensions({0x40000000U}, 4)), 0xFFFFFFFFU);
    EXPECT_EQ(ofDimensions({65536, 65536, 65536})->index2lin({65535, 65535, 65535}), 0xFFFFFFFFU);
}

TEST(TypeNode, TypeSizeIsSizeTimesCount) {
    EXPECT_EQ(typeSize(ofDimensions({2, 3}, 8)), 48U);
    EXPECT_EQ(typeSize(ofDimensions({}, 8)), 8U);
}

TEST(TypeNode, AnswersItsKindAndChildren) {
    const TypeRef child = number("a", TypeFloat, 4, 0);
    const TypeRef root = record("R", 4, 0, {child});
    EXPECT_EQ(root->typeIdentifier(), TypeStruct);
    ASSERT_EQ(root->children().size(), 1U);
    EXPECT_EQ(root->children()[0].get(), child.get());
    EXPECT_EQ(child->typeIdentifier(), TypeFloat);
    EXPECT_TRUE(child->children().empty());
}

TEST(TypeOrder, IsByNameByteByByteThenByLength) {
    const TypeRef a = number("a", TypeSigned, 1, 0);
    const TypeRef aa = number("aa", TypeSigned, 1, 0);
    const TypeRef high = number("\xE4", TypeSigned, 1, 0);
    EXPECT_TRUE(typeRefCompByName(a, aa));
    EXPECT_FALSE(typeRefCompByName(aa, a));
    EXPECT_FALSE(typeRefCompByName(a, a));
    EXPECT_TRUE(typeRefCompByName(aa, high)) << "bytes are unsigned";
}

TEST(TypeOrder, NullComesFirst) {
    const TypeRef a = number("a", TypeSigned, 1, 0);
    EXPECT_TRUE(typeRefCompByName(TypeRef(), a));
    EXPECT_TRUE(typeRefCompByName(TypeRef(), TypeRef()));
    EXPECT_FALSE(typeRefCompByName(a, TypeRef()));
}

/// { u8 a; (3 bytes padding) i32 b[2]; struct { u16 c; (2) f32 d; } s[3]; u8 e; (3) }
TypeRef padded() {
    return record("R", 40, 0,
                  {number("a", TypeUnsigned, 1, 0), number("b", TypeSigned, 4, 4, {2}),
                   record("s", 8, 12, {number("c", TypeUnsigned, 2, 12), number("d", TypeFloat, 4, 16)}, {3}),
                   number("e", TypeUnsigned, 1, 36)});
}

TEST(CopyType, PacksAStructWithPadding) {
    // a 1, b 8, s 3 x 6, e 1
    EXPECT_EQ(test::textOf(rec_CopyType(padded(), 0)),
              "R[]@0 size 28 order 0 kind 3 {a[]@0 size 1 order 0 kind 1} {b[2,]@1 size 4 order 0 kind 0} "
              "{s[3,]@9 size 6 order 0 kind 3 {c[]@9 size 2 order 0 kind 1} {d[]@11 size 4 order 0 kind 2}} "
              "{e[]@27 size 1 order 0 kind 1}");
}

TEST(CopyType, BeginsAtTheOffsetGiven) {
    EXPECT_EQ(
        test::textOf(rec_CopyType(padded()->children()[2], 100)),
        "s[3,]@100 size 6 order 0 kind 3 {c[]@100 size 2 order 0 kind 1} {d[]@102 size 4 order 0 kind 2}");
}

/// A record of the other byte order, with a struct in it.
TypeRef bigEndianRecord() {
    return record("R", 8, 0,
                  {number("a", TypeSigned, 4, 0, {}, EndianBig),
                   record("s", 4, 4, {number("b", TypeSigned, 4, 4, {}, EndianBig)}, {}, EndianBig)},
                  {}, EndianBig);
}

TEST(CopyType, KeepsTheByteOrderOfStructsAndNumbers) {
    EXPECT_EQ(test::textOf(rec_CopyType(bigEndianRecord(), 0)), test::textOf(bigEndianRecord()));
}

TEST(Crop, KeepsTheByteOrderOfStructsAndNumbers) {
    EXPECT_EQ(test::textOf(cropDatadefinition(bigEndianRecord(), {"R.s.b"})),
              "R[]@0 size 4 order 1 kind 3 {s[]@0 size 4 order 1 kind 3 {b[]@0 size 4 order 1 kind 0}}");
}

TEST(Crop, KeepsOnlyTheNodesNamedAndPacksThem) {
    EXPECT_EQ(test::textOf(cropDatadefinition(padded(), {"R.s.d", "R.e"})),
              "R[]@0 size 13 order 0 kind 3 {s[3,]@0 size 4 order 0 kind 3 {d[]@0 size 4 order 0 kind 2}} "
              "{e[]@12 size 1 order 0 kind 1}");
}

TEST(Crop, ByTheRootsNameIsACopyOfAll) {
    EXPECT_EQ(test::textOf(cropDatadefinition(padded(), {"R"})), test::textOf(rec_CopyType(padded(), 0)));
}

TEST(Crop, OfNothingIsNothing) {
    EXPECT_FALSE(rec_Croptype(TypeRef(), {"R"}, "", 0));
}

TEST(CopyType, OfNullThrows) {
    EXPECT_EQ(messageOf<InterpretError>([] { rec_CopyType(TypeRef(), 0); }), "Received null pointer.");
}

TEST(Crop, ThatLeavesNothingThrows) {
    EXPECT_EQ(messageOf<InterpretError>([] { cropDatadefinition(padded(), {"R.x"}); }),
              "Received null pointer.");
    EXPECT_EQ(messageOf<InterpretError>([] { cropDatadefinition(padded(), {}); }), "Received null pointer.");
    EXPECT_FALSE(rec_Croptype(padded(), {"R.x"}, "", 0));
}

}  // namespace
}  // namespace zelta
