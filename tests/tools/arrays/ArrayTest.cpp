// SPDX-License-Identifier: Apache-2.0

#include "arrays/Array.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using arrays::Array;
using arrays::ArrayError;
using arrays::ElementKind;
using arrays::ElementType;
using arrays::makeArray;
using arrays::numbersOf;

TEST(Array, TheLastDimensionLiesClosestTogether) {
    const Array array = makeArray({ElementKind::UnsignedInteger, 1, false}, {2, 3}, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(array.strides, (std::vector<std::size_t>{3, 1}));
    EXPECT_EQ(numbersOf(array), (std::vector<double>{1, 2, 3, 4, 5, 6}));
}

TEST(Array, ColumnMajorNumbersComeOutInTheSameOrder) {
    const Array array = makeArray({ElementKind::UnsignedInteger, 1, false}, {2, 3}, {1, 4, 2, 5, 3, 6}, true);
    EXPECT_EQ(numbersOf(array), (std::vector<double>{1, 2, 3, 4, 5, 6}));
}

TEST(Array, ByteOrderIsThatOfTheType) {
    const std::vector<std::uint8_t> bytes{0x12, 0x34};
    EXPECT_EQ(numbersOf(makeArray({ElementKind::UnsignedInteger, 2, false}, {1}, bytes))[0], 0x3412);
    EXPECT_EQ(numbersOf(makeArray({ElementKind::UnsignedInteger, 2, true}, {1}, bytes))[0], 0x1234);
}

TEST(Array, SignedNumbersOfEachSizeHaveASign) {
    for (const unsigned int size : {1U, 2U, 4U, 8U}) {
        const std::vector<std::uint8_t> bytes(size, 0xFF);
        EXPECT_EQ(numbersOf(makeArray({ElementKind::SignedInteger, size, false}, {1}, bytes))[0], -1.0)
            << size;
    }
}

TEST(Array, FloatsOfBothSizesAreRead) {
    // 1.5 is 0x3FC00000 in single and 0x3FF8000000000000 in double precision.
    EXPECT_EQ(numbersOf(makeArray({ElementKind::Float, 4, false}, {1}, {0, 0, 0xC0, 0x3F}))[0], 1.5);
    EXPECT_EQ(numbersOf(makeArray({ElementKind::Float, 8, true}, {1}, {0x3F, 0xF8, 0, 0, 0, 0, 0, 0}))[0],
              1.5);
    EXPECT_TRUE(std::isnan(numbersOf(makeArray({ElementKind::Float, 4, false}, {1}, {0, 0, 0xC0, 0x7F}))[0]));
}

TEST(Array, BooleansAreZeroAndOne) {
    EXPECT_EQ(numbersOf(makeArray({ElementKind::Boolean, 1, false}, {3}, {0, 1, 2})),
              (std::vector<double>{0, 1, 1}));
}

TEST(Array, NoDimensionsAreOneNumberAndALengthOfZeroIsNone) {
    EXPECT_EQ(numbersOf(makeArray({ElementKind::UnsignedInteger, 1, false}, {}, {7})),
              (std::vector<double>{7}));
    EXPECT_TRUE(numbersOf(makeArray({ElementKind::UnsignedInteger, 1, false}, {3, 0}, {})).empty());
}

TEST(Array, BytesOfAnotherCountAreRefused) {
    const ElementType type{ElementKind::UnsignedInteger, 2, false};
    EXPECT_THROW(makeArray(type, {2}, {1, 2, 3}), ArrayError);
    EXPECT_THROW(makeArray(type, {2}, {1, 2, 3, 4, 5}), ArrayError);
}

TEST(Array, ShapesWhoseProductOverflowsAreRefused) {
    const std::size_t most = std::numeric_limits<std::size_t>::max();
    EXPECT_THROW(arrays::countOf(std::vector<std::size_t>{most, most}), ArrayError);
    EXPECT_THROW(
        arrays::countOf(std::vector<std::size_t>{std::size_t{1} << 20U, (std::size_t{1} << 20U) + 1}),
        ArrayError);
    EXPECT_EQ(arrays::countOf(std::vector<std::size_t>{std::size_t{1} << 20U, std::size_t{1} << 20U}),
              std::size_t{1} << 40U);
    EXPECT_EQ(arrays::countOf(std::vector<std::size_t>{most, 0, most}), 0U);
}

TEST(Array, TypesAndShapesHaveNames) {
    EXPECT_EQ(arrays::nameOf({ElementKind::UnsignedInteger, 2, false}), "uint16");
    EXPECT_EQ(arrays::nameOf({ElementKind::Float, 4, true}), "float32, big-endian");
    EXPECT_EQ(arrays::nameOf({ElementKind::Boolean, 1, false}), "boolean");
    EXPECT_EQ(arrays::shapeText(std::vector<std::size_t>{2, 4, 172, 224}), "2 x 4 x 172 x 224");
    EXPECT_EQ(arrays::shapeText({}), "a single number");
}

}  // namespace
