// SPDX-License-Identifier: Apache-2.0
#include "zelta_assigner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>

#include "zelta/TestTypes.h"
#include "zelta_error.h"
#include "zelta_expression.h"

namespace zelta {
namespace {

using test::Dimensions;
using test::get;
using test::messageOf;
using test::number;
using test::put;
using test::record;
using Bytes = std::vector<unsigned char>;
using Region = std::array<int, 3>;  ///< source offset, destination offset, size

const char* const kUnknown = "Interpret Error, unknown error.";
const char* const kNull = "Received null pointer.";
const char* const kSize = "Size mismatch: ";

std::vector<Region> regionsOf(const AssignerRef& plan) {
    std::vector<Region> regions;
    for (const Assigner::Item& item : plan->items()) {
        regions.push_back({item.sourceOffset, item.destinationOffset, item.size});
    }
    return regions;
}

AssignerRef wholePlan(const TypeRef& source, const TypeRef& destination) {
    return assigner(source, "", destination, "", false, false);
}

Bytes counting(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<unsigned char>(i + 1);
    }
    return bytes;
}

/// Applies a plan to counting bytes; the destination starts as 0xEE.
Bytes applied(const AssignerRef& plan) {
    const Bytes source = counting(static_cast<std::size_t>(plan->sourceSize()));
    Bytes destination(static_cast<std::size_t>(plan->destinationSize()), 0xEE);
    assign(plan, source.data(), static_cast<unsigned int>(source.size()), destination.data(),
           static_cast<unsigned int>(destination.size()));
    return destination;
}

/// { i32 a; i32 b[2]; struct { u16 c; u16 d; } s[2]; } without padding
TypeRef dense(TypeEndianess endianess = EndianLittle) {
    return record(
        "R", 20, 0,
        {number("a", TypeSigned, 4, 0, {}, endianess), number("b", TypeSigned, 4, 4, {2}, endianess),
         record("s", 4, 12,
                {number("c", TypeUnsigned, 2, 12, {}, endianess),
                 number("d", TypeUnsigned, 2, 14, {}, endianess)},
                {2}, endianess)},
        {}, endianess);
}

// --- Plans ---

TEST(Assigner, OfTwoEqualLayoutsIsOneRegion) {
    const AssignerRef plan = wholePlan(dense(), dense());
    EXPECT_EQ(regionsOf(plan), (std::vector<Region>{{0, 0, 20}}));
    EXPECT_EQ(applied(plan), counting(20));
}

TEST(Assigner, LeavesSeparateRegionsAroundPadding) {
    const TypeRef padded =
        record("R", 12, 0, {number("a", TypeUnsigned, 1, 0), number("b", TypeSigned, 4, 4, {2})});
    EXPECT_EQ(regionsOf(wholePlan(padded, padded)), (std::vector<Region>{{0, 0, 1}, {4, 4, 8}}));
}

TEST(Assigner, EndsWithTheLastMember) {
    const TypeRef tail = record("R", 8, 0, {number("a", TypeSigned, 4, 0), number("b", TypeUnsigned, 1, 4)});
    EXPECT_EQ(regionsOf(wholePlan(tail, tail)), (std::vector<Region>{{0, 0, 5}}));
}

TEST(Assigner, MatchesMembersByNameInAnyOrder) {
    const TypeRef other =
        record("Q", 12, 0, {number("b", TypeSigned, 4, 0, {2}), number("a", TypeSigned, 4, 8)});
    EXPECT_EQ(regionsOf(wholePlan(dense(), other)), (std::vector<Region>{{0, 8, 4}, {4, 0, 8}}));
}

TEST(Assigner, DoesNotTouchAMemberOnOneSideOnly) {
    const TypeRef more = record(
        "R", 12, 0,
        {number("a", TypeSigned, 4, 0), number("new", TypeSigned, 4, 4), number("b", TypeSigned, 4, 8, {1})});
    const Bytes result = applied(wholePlan(dense(), more));
    EXPECT_EQ(result, (Bytes{1, 2, 3, 4, 0xEE, 0xEE, 0xEE, 0xEE, 5, 6, 7, 8}));
}

TEST(Assigner, SkipsAMemberOfAnotherWidthOrKind) {
    const TypeRef source = record("R", 8, 0,
                                  {number("width", TypeSigned, 2, 0), number("kind", TypeSigned, 2, 2),
                                   number("float", TypeSigned, 4, 4)});
    const TypeRef destination = record("R", 12, 0,
                                       {number("width", TypeSigned, 4, 0), number("kind", TypeUnsigned, 2, 4),
                                        number("float", TypeFloat, 4, 8)});
    const AssignerRef plan = wholePlan(source, destination);
    EXPECT_TRUE(plan->items().empty());
    EXPECT_EQ(applied(plan), Bytes(12, 0xEE));
}

TEST(Assigner, CopiesNothingBetweenAStructAndANumber) {
    const TypeRef asStruct = record("R", 4, 0, {record("m", 4, 0, {number("x", TypeSigned, 4, 0)})});
    const TypeRef asNumber = record("R", 4, 0, {number("m", TypeSigned, 4, 0)});
    EXPECT_TRUE(wholePlan(asStruct, asNumber)->items().empty());
    EXPECT_TRUE(wholePlan(asNumber, asStruct)->items().empty());
}

TEST(Assigner, CopiesTheSmallerCountOfElements) {
    const auto type = [](const Dimensions& numbers, const Dimensions& structs) {
        return record("R", 40, 0,
                      {number("a", TypeUnsigned, 1, 0, numbers),
                       record("s", 2, 20, {number("x", TypeUnsigned, 1, 21)}, structs)});
    };
    EXPECT_EQ(regionsOf(wholePlan(type({7}, {3}), type({5}, {2}))),
              (std::vector<Region>{{0, 0, 5}, {21, 21, 1}, {23, 23, 1}}));
    EXPECT_EQ(regionsOf(wholePlan(type({2, 2}, {2}), type({5}, {9}))),
              (std::vector<Region>{{0, 0, 4}, {21, 21, 1}, {23, 23, 1}}));
}

TEST(Assigner, WalksElementsOfDifferentSizes) {
    const TypeRef wide = record("R", 16, 0, {record("s", 8, 0, {number("x", TypeSigned, 4, 4)}, {2})});
    const TypeRef narrow = record("R", 8, 0, {record("s", 4, 0, {number("x", TypeSigned, 4, 0)}, {2})});
    EXPECT_EQ(regionsOf(wholePlan(wide, narrow)), (std::vector<Region>{{4, 0, 4}, {12, 4, 4}}));
}

TEST(Assigner, ReversesTheBytesOfEachElementOfTheOtherByteOrder) {
    const AssignerRef plan = wholePlan(dense(EndianBig), dense());
    EXPECT_EQ(applied(plan), (Bytes{4, 3, 2, 1, 8, 7, 6, 5, 12, 11, 10, 9, 14, 13, 16, 15, 18, 17, 20, 19}));
}

/// a and b are four bytes wide, c and d two.
TEST(Assigner, ReversesNeighboursOfOneWidthInOneItem) {
    const AssignerRef plan = wholePlan(dense(EndianBig), dense());
    EXPECT_EQ(regionsOf(plan), (std::vector<Region>{{0, 0, 12}, {12, 12, 8}}));
    EXPECT_EQ(plan->items()[0].elementSize, 4);
    EXPECT_EQ(plan->items()[1].elementSize, 2);
}

TEST(Assigner, NeverJoinsReversedNeighboursWithAPlainOne) {
    const auto type = [](TypeEndianess endianess) {
        return record(
            "R", 12, 0,
            {number("a", TypeSigned, 4, 0, {}, endianess), number("b", TypeSigned, 4, 4, {}, endianess),
             number("text", TypeSigned, 1, 8, {4}, endianess)},
            {}, endianess);
    };
    const AssignerRef plan = wholePlan(type(EndianBig), type(EndianLittle));
    EXPECT_EQ(regionsOf(plan), (std::vector<Region>{{0, 0, 8}, {8, 8, 4}}));
    EXPECT_EQ(plan->items()[0].elementSize, 4);
    EXPECT_EQ(plan->items()[1].elementSize, 1);
}

TEST(Assigner, CopiesSingleBytesWhateverTheByteOrder) {
    const TypeRef little = record("R", 8, 0, {number("a", TypeUnsigned, 1, 0, {8})});
    const TypeRef big = record("R", 8, 0, {number("a", TypeUnsigned, 1, 0, {8}, EndianBig)}, {}, EndianBig);
    EXPECT_EQ(regionsOf(wholePlan(big, little)), (std::vector<Region>{{0, 0, 8}}));
}

TEST(Assigner, ReversesElementsOfAnyWidth) {
    for (const unsigned int width : {2U, 3U, 4U, 8U, 16U}) {
        const TypeRef little = record("R", 2 * width, 0, {number("v", TypeUnsigned, width, 0, {2})});
        const TypeRef big = record("R", 2 * width, 0, {number("v", TypeUnsigned, width, 0, {2}, EndianBig)});
        const Bytes source = counting(32);
        Bytes expected;
        for (unsigned int i = 0; i < 2 * width; ++i) {
            expected.push_back(source[i / width * width + width - 1 - i % width]);
        }
        Bytes destination(2 * width);
        const AssignerRef plan = assigner(big, "R.v", little, "R.v", true, true);
        EXPECT_EQ(assign(plan, source.data(), 2 * width, destination.data(), 2 * width),
                  static_cast<int>(2 * width));
        EXPECT_EQ(destination, expected) << width;
    }
}

TEST(Assigner, UsesTheFirstOfTwoDestinationMembersOfOneName) {
    const TypeRef source = record("R", 4, 0, {number("a", TypeSigned, 4, 0)});
    const TypeRef twice = record("R", 8, 0, {number("a", TypeSigned, 4, 4), number("a", TypeSigned, 4, 0)});
    EXPECT_EQ(regionsOf(wholePlan(source, twice)), (std::vector<Region>{{0, 4, 4}}));
}

// --- Expressions and relative buffers ---

TEST(AssignerExpressions, OfDifferentCountsFailWithBothCounts) {
    const TypeRef three = record("R", 12, 0, {number("a", TypeSigned, 4, 0, {3})});
    const TypeRef four = record("R", 16, 0, {number("a", TypeSigned, 4, 0, {4})});
    EXPECT_EQ(
        messageOf<InterpretError>([&] { assigner(three, "R.a", four, "R.a", false, false); }),
        "Interpret Error, unknown error.\"Logical Error: Number of objects (3) addressed by srcExpression is "
        "different than number of objects (4) addressed by destExpression.\"");
}

TEST(AssignerExpressions, OfTheSameCountMayHaveDifferentNames) {
    const TypeRef three = record("R", 12, 0, {number("a", TypeSigned, 4, 0, {3})});
    const TypeRef four = record("Q", 16, 0, {number("b", TypeSigned, 4, 0, {2, 3})});
    EXPECT_EQ(regionsOf(assigner(three, "R.a", four, "Q.b[1]", false, false)),
              (std::vector<Region>{{0, 12, 12}}));
}

TEST(AssignerExpressions, IntoAnElementCopyFromItsPlaceInTheWholeRecord) {
    const AssignerRef plan = assigner(dense(), "R.s[1].d", dense(), "R.s[0].d", false, false);
    EXPECT_EQ(plan->sourceSize(), 20);
    EXPECT_EQ(plan->destinationSize(), 20);
    EXPECT_EQ(regionsOf(plan), (std::vector<Region>{{18, 14, 2}}));
}

TEST(AssignerExpressions, RelativeDestinationHoldsOnlyThePartAddressed) {
    const AssignerRef plan = assigner(dense(), "R.s[1]", dense(), "R.s[1]", true, false);
    EXPECT_EQ(plan->sourceSize(), 20);
    EXPECT_EQ(plan->destinationSize(), 4);
    EXPECT_EQ(regionsOf(plan), (std::vector<Region>{{16, 0, 4}}));
}

TEST(AssignerExpressions, RelativeSourceHoldsOnlyThePartAddressed) {
    const AssignerRef plan = assigner(dense(), "R.b", dense(), "R.b", false, true);
    EXPECT_EQ(plan->sourceSize(), 8);
    EXPECT_EQ(plan->destinationSize(), 20);
    EXPECT_EQ(regionsOf(plan), (std::vector<Region>{{0, 4, 8}}));
}

TEST(AssignerExpressions, OfAWholeRecordWithDimensionsMeanItsFirstElement) {
    const TypeRef array = record("R", 4, 0, {number("a", TypeSigned, 4, 0)}, {3});
    const AssignerRef plan = wholePlan(array, array);
    EXPECT_EQ(plan->sourceSize(), 4);
    EXPECT_EQ(regionsOf(plan), (std::vector<Region>{{0, 0, 4}}));
}

TEST(AssignerExpressions, ThatDoNotResolvePassTheirError) {
    EXPECT_EQ(messageOf<InterpretError>([] { assigner(dense(), "R.q", dense(), "R.a", false, false); }),
              "Error while interpreting expression:\"R.q\"");
    EXPECT_EQ(messageOf<InterpretError>([] { assigner(dense(), "R.a", dense(), "Q.a", false, false); }),
              "Error while interpreting expression:\"Q.a\"");
}

TEST(AssignerExpressions, OnNullFail) {
    EXPECT_EQ(messageOf<InterpretError>([] { wholePlan(TypeRef(), dense()); }), kNull);
    EXPECT_EQ(messageOf<InterpretError>([] { wholePlan(dense(), TypeRef()); }), kNull);
}

TEST(RecursiveAssign, CountGivenReplacesTheSmallerCount) {
    const TypeRef three = number("a", TypeSigned, 4, 0, {3});
    Assigner plan(100, 100);
    recursive_assign(three, 8, three, 16, &plan, 5);
    ASSERT_EQ(plan.items().size(), 1U);
    EXPECT_EQ(plan.items()[0].sourceOffset, 8);
    EXPECT_EQ(plan.items()[0].destinationOffset, 16);
    EXPECT_EQ(plan.items()[0].size, 20);
}

TEST(RecursiveAssign, WithoutCountTakesTheSmallerOne) {
    Assigner plan(100, 100);
    recursive_assign(number("a", TypeSigned, 4, 0, {3}), 0, number("a", TypeSigned, 4, 0, {2}), 0, &plan, -1);
    ASSERT_EQ(plan.items().size(), 1U);
    EXPECT_EQ(plan.items()[0].size, 8);
}

// --- Optimising ---

TEST(AssignerOptimize, SortsBySourceThenDestinationThenSizeAsSigned) {
    const auto less = [](Assigner::Item a, Assigner::Item b) { return Assigner::less(a, b); };
    EXPECT_TRUE(less({-1, 9, 9}, {0, 0, 0}));
    EXPECT_TRUE(less({1, -1, 9}, {1, 0, 0}));
    EXPECT_TRUE(less({1, 1, 1}, {1, 1, 2}));
    EXPECT_FALSE(less({1, 1, 1}, {1, 1, 1}));
}

TEST(AssignerOptimize, JoinsWhatFollowsOnBothSides) {
    Assigner plan(100, 100);
    plan.addCopyRegion(8, 28, 4);
    plan.addCopyRegion(0, 20, 4);
    plan.addCopyRegion(4, 24, 4);
    plan.addCopyRegion(12, 40, 4);
    plan.optimize();
    ASSERT_EQ(plan.items().size(), 2U);
    EXPECT_EQ(plan.items()[0].size, 12);
    EXPECT_EQ(plan.items()[1].destinationOffset, 40);
}

TEST(AssignerOptimize, DoesNotJoinAPlainRegionWithAReversedOne) {
    Assigner plan(100, 100);
    plan.addCopyRegion(0, 0, 4);
    plan.addSwapRegion(4, 4, 4, 4);
    plan.addSwapRegion(8, 8, 4, 2);
    plan.optimize();
    EXPECT_EQ(plan.items().size(), 3U);
}

TEST(AssignerOptimize, OfNothingIsNothing) {
    Assigner plan(1, 1);
    plan.optimize();
    EXPECT_TRUE(plan.items().empty());
}

TEST(AssignerOptimize, DoesNotJoinBeyondTheLargestSize) {
    Assigner plan(INT_MAX, INT_MAX);
    plan.addCopyRegion(0, 0, INT_MAX);
    plan.addCopyRegion(INT_MAX, INT_MAX, INT_MAX);
    plan.optimize();
    EXPECT_EQ(plan.items().size(), 2U);
}

// --- Applying ---

TEST(AssignerApply, NeedsBuffersOfExactlyThePlansSizes) {
    const AssignerRef plan = wholePlan(dense(), dense());
    const Bytes source = counting(20);
    for (const int difference : {-1, 1}) {
        Bytes destination(21, 0xEE);
        EXPECT_EQ(messageOf<InterpretError>(
                      [&] { plan->apply(source.data(), 20 + difference, destination.data(), 20); }),
                  kSize);
        EXPECT_EQ(messageOf<InterpretError>(
                      [&] { plan->apply(source.data(), 20, destination.data(), 20 + difference); }),
                  kSize);
        EXPECT_EQ(destination, Bytes(21, 0xEE)) << "nothing is copied before the check";
    }
}

TEST(AssignerApply, ReturnsTheBytesCopied) {
    const Bytes source = counting(20);
    Bytes destination(20);
    EXPECT_EQ(wholePlan(dense(), dense())->apply(source.data(), 20, destination.data(), 20), 20);
    EXPECT_EQ(wholePlan(dense(EndianBig), dense())->apply(source.data(), 20, destination.data(), 20), 20);
    EXPECT_EQ(assigner(dense(), "R.b", dense(), "R.b", false, false)
                  ->apply(source.data(), 20, destination.data(), 20),
              8);
}

TEST(AssignerApply, OfAnEmptyPlanReturnsZero) {
    const Assigner plan(0, 0);
    EXPECT_EQ(plan.apply(nullptr, 0, nullptr, 0), 0);
}

TEST(AssignerApply, RefusesARegionOutsideABuffer) {
    const Bytes source = counting(8);
    const auto failure = [&source](int from, int to, int size) {
        Assigner plan(8, 8);
        plan.addCopyRegion(from, to, size);
        Bytes destination(8, 0xEE);
        const std::string text =
            messageOf<InterpretError>([&] { plan.apply(source.data(), 8, destination.data(), 8); });
        EXPECT_EQ(destination, Bytes(8, 0xEE));
        return text;
    };
    EXPECT_EQ(failure(-1, 0, 4), kUnknown);
    EXPECT_EQ(failure(0, -1, 4), kUnknown);
    EXPECT_EQ(failure(5, 0, 4), kUnknown);
    EXPECT_EQ(failure(0, 5, 4), kUnknown);
    EXPECT_EQ(failure(INT_MAX, 0, INT_MAX), kUnknown);
    EXPECT_EQ(failure(0, 0, INT_MIN), kUnknown);
}

TEST(AssignerApply, KeepsWhatWasCopiedBeforeABadRegion) {
    const Bytes source = counting(8);
    Bytes destination(8, 0xEE);
    Assigner plan(8, 8);
    plan.addCopyRegion(0, 0, 4);
    plan.addCopyRegion(6, 6, 4);
    EXPECT_THROW(plan.apply(source.data(), 8, destination.data(), 8), InterpretError);
    EXPECT_EQ(destination, (Bytes{1, 2, 3, 4, 0xEE, 0xEE, 0xEE, 0xEE}));
}

/// Reversed bytes are regions of their own, in the order of the source.
TEST(AssignerApply, KeepsWhatWasReversedBeforeTheFirstByteOutside) {
    const TypeRef big = record("R", 8, 0, {number("a", TypeUnsigned, 4, 4, {2}, EndianBig)}, {}, EndianBig);
    const TypeRef little = record("R", 16, 0, {number("a", TypeUnsigned, 4, 4, {2})});
    const Bytes source = counting(8);
    Bytes destination(16, 0xEE);
    const AssignerRef plan = wholePlan(big, little);
    EXPECT_EQ(messageOf<InterpretError>([&] { plan->apply(source.data(), 8, destination.data(), 16); }),
              kUnknown);
    // The second element begins after the end of the source.
    Bytes expected(16, 0xEE);
    std::reverse_copy(source.begin() + 4, source.end(), expected.begin() + 4);
    EXPECT_EQ(destination, expected);
}

/// The first byte of an element goes to its last place, so a destination that ends inside takes none of it.
TEST(AssignerApply, ReversesNothingOfAnElementWhoseFirstByteFallsOutside) {
    Assigner plan(8, 6);
    plan.addSwapRegion(0, 0, 8, 4);
    const Bytes source = counting(8);
    Bytes destination(6, 0xEE);
    EXPECT_THROW(plan.apply(source.data(), 8, destination.data(), 6), InterpretError);
    EXPECT_EQ(destination, (Bytes{4, 3, 2, 1, 0xEE, 0xEE}));
    Assigner before(8, 6);
    before.addSwapRegion(0, -1, 4, 4);
    Bytes untouched(6, 0xEE);
    EXPECT_THROW(before.apply(source.data(), 8, untouched.data(), 6), InterpretError);
    EXPECT_EQ(untouched, (Bytes{3, 2, 1, 0xEE, 0xEE, 0xEE})) << "only the last byte falls in front";
}

TEST(AssignerApply, NeverLeavesItsBuffersWhateverTheTypesSay) {
    const TypeRef good = record("R", 8, 0, {number("a", TypeUnsigned, 1, 0, {8})});
    for (const int offset : {4, 8, -1, INT_MAX, INT_MIN}) {
        for (const TypeEndianess endianess : {EndianLittle, EndianBig}) {
            const TypeRef bad = record("R", 8, 0, {number("a", TypeUnsigned, 1, offset, {8}, endianess)});
            EXPECT_EQ(messageOf<InterpretError>([&] { applied(wholePlan(bad, good)); }), kUnknown) << offset;
            EXPECT_EQ(messageOf<InterpretError>([&] { applied(wholePlan(good, bad)); }), kUnknown) << offset;
        }
    }
}

TEST(Assign, OfNullFails) {
    const AssignerRef plan = wholePlan(dense(), dense());
    Bytes bytes(20);
    EXPECT_EQ(messageOf<InterpretError>([&] { assign(AssignerRef(), bytes.data(), 20, bytes.data(), 20); }),
              kNull);
    EXPECT_EQ(messageOf<InterpretError>([&] { assign(plan, nullptr, 20, bytes.data(), 20); }), kNull);
    EXPECT_EQ(messageOf<InterpretError>([&] { assign(plan, bytes.data(), 20, nullptr, 20); }), kNull);
    EXPECT_EQ(messageOf<InterpretError>([&] {
                  assign(TypeRef(), bytes.data(), 20, "R", dense(), bytes.data(), 20, "R", false, false);
              }),
              kNull);
    EXPECT_EQ(messageOf<InterpretError>([&] {
                  assign(dense(), bytes.data(), 20, "R", TypeRef(), bytes.data(), 20, "R", false, false);
              }),
              kNull);
    EXPECT_EQ(messageOf<InterpretError>(
                  [&] { assign(dense(), nullptr, 20, "R", dense(), bytes.data(), 20, "R", false, false); }),
              kNull);
    EXPECT_EQ(messageOf<InterpretError>(
                  [&] { assign(dense(), bytes.data(), 20, "R", dense(), nullptr, 20, "R", false, false); }),
              kNull);
}

TEST(Assign, OfMoreThanTwoGiBFails) {
    Bytes bytes(20);
    const AssignerRef plan = wholePlan(dense(), dense());
    EXPECT_EQ(messageOf<InterpretError>([&] { assign(plan, bytes.data(), 0xFFFFFFFFU, bytes.data(), 20); }),
              kSize);
    EXPECT_EQ(messageOf<InterpretError>([&] { assign(plan, bytes.data(), 20, bytes.data(), 0x80000000U); }),
              kSize);
}

TEST(Assign, WithTypesBuildsAndAppliesAPlan) {
    const Bytes source = counting(20);
    Bytes destination(2, 0xEE);
    EXPECT_EQ(assign(dense(EndianBig), source.data(), 20, "R.s[1].d", dense(), destination.data(), 2,
                     "R.s[0].c", true, false),
              2);
    EXPECT_EQ(destination, (Bytes{20, 19}));
}

TEST(CopyData, CopiesOrReversesEachElement) {
    const Bytes source = counting(8);
    Bytes destination(8);
    copy_data(destination.data(), source.data(), 4, 2, false);
    EXPECT_EQ(destination, source);
    copy_data(destination.data(), source.data(), 4, 2, true);
    EXPECT_EQ(destination, (Bytes{4, 3, 2, 1, 8, 7, 6, 5}));
    copy_data(destination.data(), source.data(), 1, 8, true);
    EXPECT_EQ(destination, source);
    copy_data(nullptr, nullptr, 4, 0, true);
}

// --- Large records, and hostile sizes ---

/// `count` points of three floats.
TypeRef cloud(unsigned int count, TypeEndianess endianess = EndianLittle) {
    const auto coordinate = [endianess](const char* name, int offset) {
        return number(name, TypeFloat, 4, offset, {}, endianess);
    };
    return record("R", count * 12, 0,
                  {record("p", 12, 0, {coordinate("x", 0), coordinate("y", 4), coordinate("z", 8)}, {count},
                          endianess)});
}

TEST(AssignerLimits, AMillionStructsOfThreeFloatsAreOneRegion) {
    EXPECT_EQ(regionsOf(wholePlan(cloud(1000000), cloud(1000000))), (std::vector<Region>{{0, 0, 12000000}}));
}

TEST(AssignerLimits, AMillionStructsOfTheOtherByteOrderAreOneReversedRegion) {
    const AssignerRef plan = wholePlan(cloud(1000000, EndianBig), cloud(1000000));
    EXPECT_EQ(regionsOf(plan), (std::vector<Region>{{0, 0, 12000000}}));
    EXPECT_EQ(plan->items()[0].elementSize, 4);
}

/// The smaller record counts, so a claim of gigabytes on one side does not make the plan longer.
TEST(AssignerLimits, StructsOfNoSizeDoNotMakeStepsWithoutEnd) {
    TypeRef deep = number("x", TypeUnsigned, 1, 0);
    for (int i = 0; i < 100; ++i) {
        deep = record("s", 0, 0, {deep}, {1});
    }
    const TypeRef deepArray = record("R", 4, 0, {record("a", 0, 0, {deep}, {0xFFFFFFFFU})});
    EXPECT_EQ(messageOf<InterpretError>([&] { wholePlan(deepArray, deepArray); }),
              std::string(kUnknown) + "\"plan takes too many steps\"");
    const TypeRef claimed = record("R", 0x7FFFFFFFU, 0, deepArray->children());
    EXPECT_EQ(messageOf<InterpretError>([&] { wholePlan(claimed, deepArray); }),
              std::string(kUnknown) + "\"plan takes too many steps\"");
    EXPECT_EQ(messageOf<InterpretError>([&] { wholePlan(deepArray, claimed); }),
              std::string(kUnknown) + "\"plan takes too many steps\"");
}

TEST(AssignerLimits, APlanOfGigabytesIsRefused) {
    // Both sides claim four billion elements in a record of 8 bytes.
    const TypeRef numbers = record("R", 8, 0, {number("a", TypeUnsigned, 8, 0, {0xFFFFFFFFU})});
    EXPECT_EQ(messageOf<InterpretError>([&] {
                  wholePlan(numbers, numbers);
              }).rfind("Interpret Error, unknown error.", 0),
              0U);
    const TypeRef structs =
        record("R", 8, 0, {record("s", 1, 0, {number("a", TypeUnsigned, 1, 0)}, {0xFFFFFFFFU})});
    EXPECT_THROW(wholePlan(structs, structs), InterpretError);
}

TEST(AssignerLimits, NestedArraysOfStructsDoNotMultiplyWithoutEnd) {
    TypeRef inner = number("x", TypeUnsigned, 1, 0);
    for (int i = 0; i < 50; ++i) {
        inner = record("s", 1, 0, {inner}, {1000});
    }
    const TypeRef root = record("R", 1, 0, {inner});
    EXPECT_THROW(wholePlan(root, root), InterpretError);
}

TEST(AssignerLimits, EmptyMembersOfManyElementsCostNothing) {
    const TypeRef empty = record("R", 8, 0, {record("s", 1, 0, {}, {0xFFFFFFFFU})});
    EXPECT_TRUE(wholePlan(empty, empty)->items().empty());
}

TEST(AssignerLimits, ManyMembersOfOneNameAreMatchedQuickly) {
    std::vector<TypeRef> members;
    for (int i = 0; i < 20000; ++i) {
        members.push_back(number(std::string("x").append(std::to_string(i)), TypeUnsigned, 1, 0));
    }
    std::vector<TypeRef> same{record("s", 1, 0, members)};
    const TypeRef child = record("s", 1, 0, {number("y", TypeUnsigned, 1, 0)});
    for (int i = 0; i < 20000; ++i) {
        same.push_back(child);
    }
    const TypeRef root = record("R", 1, 0, same);
    EXPECT_EQ(wholePlan(root, root)->items().size(), 20000U);  // all on one byte, which is in bounds of a MiB
}

// --- Against the plain rule ---

/// The rule, byte by byte and without merging: what `to` has after all members of equal name, kind and size
/// have been copied.
void plainAssign(const IType& source, long long sourceBase, const IType& destination,
                 long long destinationBase, unsigned int count, const Bytes& from, Bytes& to) {
    for (unsigned int e = 0; e < count; ++e) {
        const long long sourceAt = sourceBase + static_cast<long long>(e) * source.size;
        const long long destinationAt = destinationBase + static_cast<long long>(e) * destination.size;
        if (source.typeIdentifier() != TypeStruct) {
            if (source.typeIdentifier() != destination.typeIdentifier() || source.size != destination.size) {
                return;
            }
            for (unsigned int b = 0; b < source.size; ++b) {
                const unsigned int place =
                    source.endianess == destination.endianess ? b : source.size - 1 - b;
                to[static_cast<std::size_t>(destinationAt + destination.offset + place)] =
                    from[static_cast<std::size_t>(sourceAt + source.offset + b)];
            }
            continue;
        }
        for (const TypeRef& child : source.children()) {
            for (const TypeRef& other : destination.children()) {
                if (child->name == other->name) {
                    plainAssign(*child, sourceAt, *other, destinationAt,
                                std::min(child->count(), other->count()), from, to);
                    break;
                }
            }
        }
    }
}

class RandomLayouts {
 public:
    explicit RandomLayouts(unsigned int seed) : m_random(seed) {}

    TypeRef next() {
        m_endianess = below(2) == 0 ? EndianLittle : EndianBig;
        unsigned int end = 0;
        const std::vector<TypeRef> children = members(0, 3, end);
        return record("R", end, 0, children, {}, m_endianess);
    }

    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(m_random() % limit); }

 private:
    /// Distinct names from a small set, so that two layouts share some.
    std::vector<TypeRef> members(unsigned int at, int levels, unsigned int& end) {
        std::string names = "abcde";
        std::shuffle(names.begin(), names.end(), m_random);
        names.resize(1 + below(5));
        std::vector<TypeRef> children;
        for (const char letter : names) {
            const std::string name(1, letter);
            at += below(2) * below(5);  // padding, sometimes
            const Dimensions dimensions = below(2) == 0 ? Dimensions{} : Dimensions{1 + below(4)};
            children.push_back(member(name, at, levels, dimensions));
            at += typeSize(children.back());
        }
        end = at;
        return children;
    }

    TypeRef member(const std::string& name, unsigned int at, int levels, const Dimensions& dimensions) {
        const int offset = static_cast<int>(at);
        // The same name mostly has the same kind, so that two layouts have something in common.
        if (levels > 0 && (name >= "d" ? below(4) != 0 : below(8) == 0)) {
            unsigned int end = at;
            const std::vector<TypeRef> children = members(at, levels - 1, end);
            return record(name, end - at, offset, children, dimensions, m_endianess);
        }
        const unsigned int size = below(3) == 0 ? 1U << below(4) : 4;
        const auto identifier = below(4) == 0 ? TypeUnsigned : TypeSigned;
        return number(name, identifier, size, offset, dimensions, m_endianess);
    }

    std::mt19937 m_random;
    TypeEndianess m_endianess = EndianLittle;
};

TEST(Assigner, EqualsThePlainRuleForRandomLayouts) {
    constexpr unsigned int kSeed = 20260;
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    RandomLayouts layouts(kSeed);
    int copiedAny = 0;
    for (int i = 0; i < 2000; ++i) {
        const TypeRef source = layouts.next();
        const TypeRef destination = i % 5 == 0 ? source : layouts.next();
        Bytes from(source->size);
        for (unsigned char& byte : from) {
            byte = static_cast<unsigned char>(layouts.below(256));
        }
        Bytes expected(destination->size, 0xEE);
        Bytes result = expected;
        plainAssign(*source, 0, *destination, 0, 1, from, expected);
        const int copied = assign(source, from.data(), source->size, "R", destination, result.data(),
                                  destination->size, "R", false, false);
        ASSERT_EQ(result, expected) << i << "\n" << test::textOf(source) << "\n" << test::textOf(destination);
        copiedAny += copied > 0 ? 1 : 0;
    }
    EXPECT_GT(copiedAny, 1000);
}

}  // namespace
}  // namespace zelta
