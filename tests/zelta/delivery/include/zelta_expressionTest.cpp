// SPDX-License-Identifier: Apache-2.0
#include "zelta_expression.h"

#include <gtest/gtest.h>

#include "zelta/TestTypes.h"
#include "zelta_error.h"

namespace zelta {
namespace {

using test::Dimensions;
using test::messageOf;
using test::number;
using test::record;
using Texts = std::vector<std::string>;

/// { i32 a[2][3]; struct { u16 x; struct { f32 y[2]; } t[2]; } s[3]; f64 d; } with a gap in s.
TypeRef sample() {
    return record("R", 96, 0,
                  {number("a", TypeSigned, 4, 0, {2, 3}),
                   record("s", 20, 24,
                          {number("x", TypeUnsigned, 2, 24),
                           record("t", 8, 28, {number("y", TypeFloat, 4, 28, {2})}, {2})},
                          {3}),
                   number("d", TypeFloat, 8, 88)});
}

struct Place {
    std::string name;
    unsigned int offset = 77;
    unsigned int count = 77;
};

bool operator==(const Place& a, const Place& b) {
    return a.name == b.name && a.offset == b.offset && a.count == b.count;
}

void PrintTo(const Place& place, std::ostream* out) {
    *out << place.name << " + " << place.offset << " x " << place.count;
}

Place resolve(const std::string& expression, const TypeRef& type = sample()) {
    Place place;
    place.name = typeFromExpression(type, expression, place.offset, place.count)->name;
    return place;
}

std::string failure(const std::string& expression) {
    return messageOf<InterpretError>([&] { resolve(expression); });
}

std::string notFound(const std::string& expression) {
    return "Error while interpreting expression:\"" + expression + "\"";
}

const char* const kUnknown = "Interpret Error, unknown error.";
const char* const kNull = "Received null pointer.";

// --- One segment ---

TEST(ExpressionKey, IsANameAndItsIndices) {
    std::string name;
    std::vector<unsigned int> index{9};
    interpret_key("abc", name, index);
    EXPECT_EQ(name, "abc");
    EXPECT_TRUE(index.empty());
    interpret_key("abc[12][3]", name, index);
    EXPECT_EQ(name, "abc");
    EXPECT_EQ(index, (std::vector<unsigned int>{12, 3}));
}

TEST(ExpressionKey, ThatBeginsWithABracketIsRefused) {
    EXPECT_EQ(failure("[1].a"), kUnknown);
    EXPECT_EQ(failure("R.[1]"), kUnknown);
}

TEST(ExpressionKey, WithAGroupWithoutNumberIsRefused) {
    EXPECT_EQ(failure("R.a[]"), kUnknown);
    EXPECT_EQ(failure("R.a[x]"), kUnknown);
    EXPECT_EQ(failure("R.a["), kUnknown);
    EXPECT_EQ(failure("R.a[-]"), kUnknown);
}

TEST(ExpressionKey, IgnoresWhatFollowsTheDigits) {
    EXPECT_EQ(resolve("R.s[2q].x"), (Place{"x", 40, 1}));
    EXPECT_EQ(resolve("R.s[2.x"), (Place{"x", 40, 1}));
    EXPECT_EQ(resolve("R.s[ +2 ].x"), (Place{"x", 40, 1}));
}

TEST(ExpressionKey, TakesANegativeNumberAsItsUnsignedPattern) {
    std::string name;
    std::vector<unsigned int> index;
    interpret_key("a[-1]", name, index);
    EXPECT_EQ(index, std::vector<unsigned int>{0xFFFFFFFFU});
    EXPECT_EQ(failure("R.s[-1].x"), notFound("R.s[-1].x"));
}

TEST(ExpressionKey, WithAHugeNumberIsOutOfRange) {
    EXPECT_EQ(failure("R.s[99999999999999999999].x"), notFound("R.s[99999999999999999999].x"));
    EXPECT_EQ(failure("R.s[4294967296].x"), notFound("R.s[4294967296].x"));
}

// --- Resolution ---

TEST(Expression, EmptyStandsForTheWholeRecord) {
    EXPECT_EQ(resolve(""), (Place{"R", 0, 1}));
    EXPECT_EQ(resolve("", number("v", TypeSigned, 4, 0, {5})), (Place{"v", 0, 1}))
        << "whatever its dimensions";
}

TEST(Expression, OfTheRootsNameIsTheRoot) {
    EXPECT_EQ(resolve("R"), (Place{"R", 0, 1}));
}

TEST(Expression, OfAnArrayAsRootNeedsItsWholeIndex) {
    const TypeRef array = number("v", TypeSigned, 4, 0, {5});
    EXPECT_EQ(resolve("v[3]", array), (Place{"v", 12, 1}));
    EXPECT_EQ(messageOf<InterpretError>([&] { resolve("v", array); }), notFound("v"));
}

TEST(Expression, IntoAnElementHasTheOffsetOfTheElement) {
    // The offset stored in x is not part of the displacement.
    EXPECT_EQ(resolve("R.s[2].x"), (Place{"x", 2 * 20, 1}));
    EXPECT_EQ(resolve("R.s[2].t[1].y"), (Place{"y", 2 * 20 + 8, 2}));
    EXPECT_EQ(resolve("R.s[2].t[1].y[1]"), (Place{"y", 2 * 20 + 8 + 4, 1}));
}

TEST(Expression, WithoutIndexInAMiddleSegmentFails) {
    EXPECT_EQ(failure("R.s.x"), notFound("R.s.x"));
}

TEST(Expression, MayLeaveDimensionsOfItsLastSegmentOpen) {
    EXPECT_EQ(resolve("R.a"), (Place{"a", 0, 6}));
    EXPECT_EQ(resolve("R.a[1]"), (Place{"a", 3 * 4, 3}));
    EXPECT_EQ(resolve("R.a[1][2]"), (Place{"a", 5 * 4, 1}));
}

TEST(Expression, OutsideADimensionFails) {
    EXPECT_EQ(failure("R.a[2]"), notFound("R.a[2]"));
    EXPECT_EQ(failure("R.a[0][3]"), notFound("R.a[0][3]"));
    EXPECT_EQ(failure("R.a[1][2][0]"), notFound("R.a[1][2][0]"));
    EXPECT_EQ(failure("R.d[0]"), notFound("R.d[0]"));
}

TEST(Expression, WithAnotherRootNameFails) {
    EXPECT_EQ(failure("Q.a"), notFound("Q.a"));
    EXPECT_EQ(failure("r.a"), notFound("r.a")) << "case counts";
}

TEST(Expression, WithoutNameBehindADotFails) {
    EXPECT_EQ(failure("R."), notFound("R."));
    EXPECT_EQ(failure("R..a"), notFound("R..a"));
    EXPECT_EQ(failure("."), notFound("."));
}

TEST(Expression, OfAnUnknownMemberFails) {
    EXPECT_EQ(failure("R.b"), notFound("R.b"));
    EXPECT_EQ(failure("R.d.x"), notFound("R.d.x"));
}

TEST(Expression, OnNullFails) {
    EXPECT_EQ(messageOf<InterpretError>([] { resolve("R", TypeRef()); }), kNull);
}

TEST(Expression, ThatFailsLeavesOffsetAndCountAlone) {
    unsigned int offset = 5;
    unsigned int count = 6;
    EXPECT_THROW(typeFromExpression(sample(), "R.s[1].q", offset, count), InterpretError);
    EXPECT_EQ(offset, 5U);
    EXPECT_EQ(count, 6U);
}

TEST(Expression, ErrorsNameTheirSource) {
    try {
        resolve("Q");
        FAIL() << "nothing thrown";
    } catch (const InterpretError& error) {
        EXPECT_EQ(std::string(error.what()).rfind("core/app-specific/zelta_interpret (line ", 0), 0U)
            << error.what();
    }
}

TEST(Expression, DisplacementAndCountStopAtTheLargestNumber) {
    const TypeRef huge = record(
        "H", 8, 0,
        {record("s", 0x80000000U, 0, {number("x", TypeSigned, 4, 0, {0x10000U, 0x10000U})}, {0x7FFFFFFFU})});
    EXPECT_EQ(resolve("H.s[5].x", huge), (Place{"x", 0xFFFFFFFFU, 0xFFFFFFFFU}));
}

// --- Sizes, offsets, kinds ---

TEST(SubExpression, SizeIsCountTimesElement) {
    EXPECT_EQ(subExpressionSize(sample(), ""), 96U);
    EXPECT_EQ(subExpressionSize(sample(), "R.a"), 24U);
    EXPECT_EQ(subExpressionSize(sample(), "R.a[1]"), 12U);
    EXPECT_EQ(subExpressionSize(sample(), "R.s"), 60U);
    EXPECT_EQ(subExpressionSize(sample(), "R.d"), 8U);
}

TEST(SubExpression, OffsetIsAbsolute) {
    EXPECT_EQ(subExpressionOffset(sample(), "R.a[1][2]"), 20U);
    EXPECT_EQ(subExpressionOffset(sample(), "R.s[2].t[1].y[1]"), 28U + 40 + 8 + 4);
}

TEST(SubExpression, OffsetOfAStructThrows) {
    EXPECT_EQ(messageOf<InterpretError>([] { subExpressionOffset(sample(), "R.s[1]"); }),
              "Error while interpreting expression:\"type conversion not possible R.s[1]\"");
}

TEST(SubExpression, OffsetOnNullThrows) {
    EXPECT_EQ(messageOf<InterpretError>([] { subExpressionOffset(TypeRef(), "R"); }),
              "Received null pointer.\"Type is null\"");
}

struct Kind {
    ZeltaTypeID id = ZeltaInt8;
    Dimensions dimensions{99};
};

Kind kindOf(const TypeRef& type, const std::string& expression) {
    Kind kind;
    subExpressionType(type, expression, kind.id, kind.dimensions);
    return kind;
}

TEST(SubExpression, TypeOfTheEmptyExpressionIsOneStruct) {
    const Kind kind = kindOf(number("v", TypeSigned, 4, 0, {5}), "");
    EXPECT_EQ(kind.id, ZeltaStruct);
    EXPECT_EQ(kind.dimensions, Dimensions{1});
}

TEST(SubExpression, TypeFollowsKindAndSize) {
    const auto idOf = [](TypeIdentifier identifier, unsigned int size) {
        return static_cast<int>(kindOf(number("v", identifier, size, 0), "v").id);
    };
    EXPECT_EQ(idOf(TypeSigned, 1), 0);
    EXPECT_EQ(idOf(TypeSigned, 2), 1);
    EXPECT_EQ(idOf(TypeSigned, 4), 2);
    EXPECT_EQ(idOf(TypeSigned, 8), 3);
    EXPECT_EQ(idOf(TypeUnsigned, 1), 4);
    EXPECT_EQ(idOf(TypeUnsigned, 2), 5);
    EXPECT_EQ(idOf(TypeUnsigned, 4), 6);
    EXPECT_EQ(idOf(TypeUnsigned, 8), 7);
    EXPECT_EQ(idOf(TypeFloat, 4), 8);
    EXPECT_EQ(idOf(TypeFloat, 8), 9);
    EXPECT_EQ(static_cast<int>(kindOf(sample(), "R.s[0]").id), 10);
    EXPECT_EQ(idOf(TypeSigned, 3), 0) << "odd sizes count as the first of their family";
    EXPECT_EQ(idOf(TypeUnsigned, 7), 4);
    EXPECT_EQ(idOf(TypeFloat, 2), 8);
}

TEST(SubExpression, TypeOfANumberWiderThanEightBytesIsRefused) {
    EXPECT_EQ(messageOf<InterpretError>([] { kindOf(number("v", TypeFloat, 16, 0), "v"); }),
              std::string(kUnknown) + "\"Unknown type ID\"");
}

TEST(SubExpression, TypeLeavesTheOpenDimensions) {
    EXPECT_EQ(kindOf(sample(), "R.a").dimensions, (Dimensions{2, 3}));
    EXPECT_EQ(kindOf(sample(), "R.a[1]").dimensions, Dimensions{3});
    EXPECT_TRUE(kindOf(sample(), "R.a[1][2]").dimensions.empty());
    EXPECT_EQ(kindOf(sample(), "R.s[1].t").dimensions, Dimensions{2});
    EXPECT_TRUE(kindOf(sample(), "R.d").dimensions.empty());
}

TEST(SubExpression, TypeOnNullThrows) {
    EXPECT_EQ(messageOf<InterpretError>([] { kindOf(TypeRef(), "R"); }), kNull);
}

// --- Lists ---

TEST(ValidExpressions, ListNumbersOnceAndStructsElementByElement) {
    EXPECT_EQ(validExpressions(sample()),
              (Texts{"R.a", "R.s[0].x", "R.s[0].t[0].y", "R.s[0].t[1].y", "R.s[1].x", "R.s[1].t[0].y",
                     "R.s[1].t[1].y", "R.s[2].x", "R.s[2].t[0].y", "R.s[2].t[1].y", "R.d"}));
}

TEST(ValidExpressions, ListAnArrayOfNumbersOnce) {
    EXPECT_EQ(validExpressions(record("R", 100, 0, {number("a", TypeUnsigned, 1, 0, {100})})), Texts{"R.a"});
}

TEST(ValidExpressions, OfTwoDimensionsOfStructsEndAfterTheFirstRow) {
    EXPECT_EQ(
        validExpressions(record("R", 4, 0, {record("s", 1, 0, {number("x", TypeSigned, 1, 0)}, {2, 2})})),
        (Texts{"R.s[0][0].x", "R.s[0][1].x"}));
}

TEST(ValidExpressions, AllResolve) {
    for (const std::string& expression : validExpressions(sample())) {
        EXPECT_NO_THROW(resolve(expression)) << expression;
    }
}

TEST(ValidExpressions, StopAtTheLevelGiven) {
    Texts out{"before"};
    validExpressions(sample(), out, "", 1);
    EXPECT_EQ(out, (Texts{"before", "R.a", "R.s", "R.d"}));
    out.clear();
    validExpressions(sample(), out, "", 0);
    EXPECT_EQ(out, Texts{"R"});
}

TEST(ValidExpressions, OnNullThrow) {
    EXPECT_EQ(messageOf<InterpretError>([] { validExpressions(TypeRef()); }), kNull);
}

TEST(ValidExpressions, OfBillionsOfElementsAreRefused) {
    const TypeRef endless =
        record("R", 1, 0, {record("s", 1, 0, {number("x", TypeSigned, 1, 0)}, {0xFFFFFFFFU})});
    EXPECT_THROW(validExpressions(endless), InterpretError);
    const TypeRef empty = record("R", 1, 0, {record("s", 1, 0, {}, {0xFFFFFFFFU})});
    EXPECT_THROW(validExpressions(empty), InterpretError);
    EXPECT_THROW(subExpressions(endless, "R.s"), InterpretError);
}

/// 100000 points of three floats: 300000 expressions of a record of 1.2 MB.
TEST(ValidExpressions, OfALargeRecordAreAllListed) {
    const TypeRef cloud = record(
        "Cloud", 1200000, 0,
        {record("points", 12, 0,
                {number("x", TypeFloat, 4, 0), number("y", TypeFloat, 4, 4), number("z", TypeFloat, 4, 8)},
                {100000})});
    const Texts expressions = validExpressions(cloud);
    ASSERT_EQ(expressions.size(), 300000U);
    EXPECT_EQ(expressions.back(), "Cloud.points[99999].z");
}

const char* const kTooMany = "Interpret Error, unknown error.\"too many expressions\"";

/// A claim of 4 GiB is worth 256 MiB of text: at 64 bytes and more for each, it ends before 4 million
/// elements.
TEST(SubExpressions, OfMoreThanAClaimIsWorthNeedARecordThatIsHeld) {
    const TypeRef buffer = record("State", 0xFFFFFFFFU, 0, {number("fft", TypeFloat, 4, 0, {4000000})});
    EXPECT_EQ(messageOf<InterpretError>([&] { subExpressions(buffer, "State.fft"); }), kTooMany);
    const Texts elements = subExpressions(buffer, "State.fft", 16000000);
    ASSERT_EQ(elements.size(), 4000000U);
    EXPECT_EQ(elements.back(), "State.fft[3999999]");
}

TEST(ValidExpressions, OfBillionsOfElementsAreRefusedWhateverSizeIsClaimed) {
    const TypeRef endless =
        record("R", 0xFFFFFFFFU, 0, {record("s", 1, 0, {number("x", TypeSigned, 1, 0)}, {0xFFFFFFFFU})});
    EXPECT_EQ(messageOf<InterpretError>([&] { validExpressions(endless); }), kTooMany);
    EXPECT_EQ(messageOf<InterpretError>([&] { subExpressions(endless, "R.s"); }), kTooMany);
}

TEST(SubExpressions, OfNothingAreTheRoot) {
    EXPECT_EQ(subExpressions(sample(), ""), Texts{"R"});
}

TEST(SubExpressions, OfAnArrayAreTheElementsOfItsFirstOpenDimension) {
    EXPECT_EQ(subExpressions(sample(), "R.a"), (Texts{"R.a[0]", "R.a[1]"}));
    EXPECT_EQ(subExpressions(sample(), "R.a[1]"), (Texts{"R.a[1][0]", "R.a[1][1]", "R.a[1][2]"}));
    EXPECT_EQ(subExpressions(sample(), "R.s"), (Texts{"R.s[0]", "R.s[1]", "R.s[2]"}));
    EXPECT_EQ(subExpressions(sample(), "R.s[1].t[0].y"), (Texts{"R.s[1].t[0].y[0]", "R.s[1].t[0].y[1]"}));
}

TEST(SubExpressions, OfAStructAreItsMembersByPlainName) {
    EXPECT_EQ(subExpressions(sample(), "R"), (Texts{"R.a", "R.s", "R.d"}));
    EXPECT_EQ(subExpressions(sample(), "R.s[1]"), (Texts{"R.s[1].x", "R.s[1].t"}));
}

TEST(SubExpressions, OfALeafAreNone) {
    EXPECT_TRUE(subExpressions(sample(), "R.d").empty());
    EXPECT_TRUE(subExpressions(sample(), "R.a[1][2]").empty());
}

TEST(SubExpressions, OnNullThrow) {
    EXPECT_EQ(messageOf<InterpretError>([] { subExpressions(TypeRef(), "R"); }),
              std::string(kNull) + "\"type is null\"");
}

// --- The short form ---

TEST(EncodeNumber, HasSixBitsToADigitAndAtLeastOneDigit) {
    EXPECT_EQ(encodeNumber(0), "A");
    EXPECT_EQ(encodeNumber(25), "Z");
    EXPECT_EQ(encodeNumber(26), "a");
    EXPECT_EQ(encodeNumber(51), "z");
    EXPECT_EQ(encodeNumber(52), "0");
    EXPECT_EQ(encodeNumber(61), "9");
    EXPECT_EQ(encodeNumber(62), "_");
    EXPECT_EQ(encodeNumber(63), "-");
    EXPECT_EQ(encodeNumber(64), "BA");
    EXPECT_EQ(encodeNumber(0xFFFFFFFFU), "D-----");
}

TEST(CompressExpression, IsTheChecksumOfEachNameBelowTheRoot) {
    // The check value of this CRC over "123456789" is 0x29B1 = 2 * 4096 + 38 * 64 + 49.
    EXPECT_EQ(compressExpression("R.123456789"), ".Cmx");
    EXPECT_EQ(compressExpression("other.123456789.123456789"), ".Cmx.Cmx");
}

TEST(CompressExpression, KeepsIndicesWithoutClosingBracket) {
    EXPECT_EQ(compressExpression("R[7].123456789[0][64]"), ".Cmx[A[BA");
    EXPECT_EQ(compressExpression("R.123456789[]"), ".Cmx[");
}

TEST(CompressExpression, OfAnEmptyNameIsTheStartOfTheChecksum) {
    // 0xFFFF = 15 * 4096 + 63 * 64 + 63, and the segment is not empty, as it has an index.
    EXPECT_EQ(compressExpression("R.[1]"), ".P--[B");
}

TEST(CompressExpression, EndsAtAnEmptySegment) {
    EXPECT_EQ(compressExpression("R."), "");
    EXPECT_EQ(compressExpression("R.123456789..123456789"), ".Cmx");
}

TEST(CompressExpression, WithoutDotOrWithABadGroupIsRefused) {
    const std::string message = "Error while interpreting expression:";
    EXPECT_EQ(messageOf<InterpretError>([] { compressExpression("R"); }), message);
    EXPECT_EQ(messageOf<InterpretError>([] { compressExpression(""); }), message);
    EXPECT_EQ(messageOf<InterpretError>([] { compressExpression("R.a[1"); }), message);
    EXPECT_EQ(messageOf<InterpretError>([] { compressExpression("R.a[-1]"); }), message);
    EXPECT_EQ(messageOf<InterpretError>([] { compressExpression("R.a[1x]"); }), message);
}

}  // namespace
}  // namespace zelta
