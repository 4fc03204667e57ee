// SPDX-License-Identifier: Apache-2.0
#include "zelta_interpreter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>

#include "zelta/TestTypes.h"
#include "zelta_error.h"

namespace zelta {
namespace {

using test::Dimensions;
using test::get;
using test::messageOf;
using test::number;
using test::put;
using test::record;
using Bytes = std::vector<unsigned char>;

const char* const kUnknown = "Interpret Error, unknown error.";

/// A record of 32 bytes with one member `v` at 8.
TypeRef holder(TypeIdentifier identifier, unsigned int size, const Dimensions& dimensions = {},
               TypeEndianess endianess = EndianLittle) {
    return record("R", 32, 0, {number("v", identifier, size, 8, dimensions, endianess)}, {}, endianess);
}

/// The one value at 8, read as T from an element of type S.
template <typename T, typename S>
T readOne(S value, TypeEndianess endianess = EndianLittle) {
    const TypeIdentifier identifier = std::is_floating_point_v<S> ? TypeFloat
                                      : std::is_signed_v<S>       ? TypeSigned
                                                                  : TypeUnsigned;
    Bytes data(32, 0xEE);
    put(data, 8, value);
    if (endianess == EndianBig) {
        std::reverse(data.begin() + 8, data.begin() + 8 + sizeof(S));
    }
    T result{};
    interpret<T>(interpreter<T>(holder(identifier, sizeof(S), {}, endianess), "R.v"), &result, 1, data.data(),
                 32);
    return result;
}

/// What S becomes when `value` is written to it through float.
template <typename S>
S writeFloat(float value, TypeEndianess endianess = EndianLittle) {
    const TypeIdentifier identifier = std::is_floating_point_v<S> ? TypeFloat
                                      : std::is_signed_v<S>       ? TypeSigned
                                                                  : TypeUnsigned;
    Bytes data(32, 0xEE);
    modify<float>(interpreter<float>(holder(identifier, sizeof(S), {}, endianess), "R.v"), &value, 1,
                  data.data(), 32);
    EXPECT_EQ(data[7], 0xEE);
    EXPECT_EQ(data[8 + sizeof(S)], 0xEE);
    if (endianess == EndianBig) {
        std::reverse(data.begin() + 8, data.begin() + 8 + sizeof(S));
    }
    return get<S>(data, 8);
}

/// The failure of reading `count` values of T from `size` bytes.
template <typename T>
std::string readFailure(const TypeRef& type, unsigned int count, unsigned int size,
                        const std::string& expression = "R.v") {
    const Bytes data(std::max(size, 1U), 0x11);
    std::vector<T> values(std::max(count, 1U));
    const auto made = interpreter<T>(type, expression);
    return messageOf<InterpretError>([&] { interpret<T>(made, values.data(), count, data.data(), size); });
}

template <typename T>
std::string writeFailure(const TypeRef& type, unsigned int count, unsigned int size) {
    Bytes data(std::max(size, 1U), 0x11);
    const Bytes before = data;
    const std::vector<T> values(std::max(count, 1U));
    const auto made = interpreter<T>(type, "R.v");
    const std::string text =
        messageOf<InterpretError>([&] { modify<T>(made, values.data(), count, data.data(), size); });
    EXPECT_EQ(data, before);
    return text;
}

template <typename T>
std::string makeFailure(const TypeRef& type, const std::string& expression = "R.v") {
    return messageOf<InterpretError>([&] { interpreter<T>(type, expression); });
}

const char* const kNoConversion = "Error while interpreting expression:\"type conversion not possible R.v\"";

// --- Making ---

TEST(Interpreter, OfAnIntegerAcceptsOnlyItsOwnWidthAndSign) {
    EXPECT_TRUE((validate_type_conversion<signed char>(1, TypeSigned)));
    EXPECT_TRUE((validate_type_conversion<short>(2, TypeSigned)));
    EXPECT_TRUE((validate_type_conversion<int>(4, TypeSigned)));
    EXPECT_TRUE((validate_type_conversion<long long>(8, TypeSigned)));
    EXPECT_TRUE((validate_type_conversion<unsigned char>(1, TypeUnsigned)));
    EXPECT_TRUE((validate_type_conversion<unsigned short>(2, TypeUnsigned)));
    EXPECT_TRUE((validate_type_conversion<unsigned int>(4, TypeUnsigned)));
    EXPECT_TRUE((validate_type_conversion<unsigned long long>(8, TypeUnsigned)));
    EXPECT_FALSE((validate_type_conversion<int>(2, TypeSigned)));
    EXPECT_FALSE((validate_type_conversion<int>(4, TypeUnsigned)));
    EXPECT_FALSE((validate_type_conversion<int>(4, TypeFloat)));
    EXPECT_FALSE((validate_type_conversion<int>(4, TypeStruct)));
    EXPECT_FALSE((validate_type_conversion<unsigned char>(1, TypeSigned)));
}

TEST(Interpreter, OfFloatAndDoubleAcceptsEveryNumber) {
    for (const TypeIdentifier identifier : {TypeSigned, TypeUnsigned, TypeFloat}) {
        for (const unsigned int size : {1U, 2U, 3U, 4U, 8U, 16U}) {
            EXPECT_TRUE((validate_type_conversion<float>(size, identifier)));
            EXPECT_TRUE((validate_type_conversion<double>(size, identifier)));
        }
    }
    EXPECT_FALSE((validate_type_conversion<float>(4, TypeStruct)));
    EXPECT_FALSE((validate_type_conversion<double>(8, TypeStruct)));
}

TEST(Interpreter, OfTextAcceptsEverything) {
    EXPECT_TRUE((validate_type_conversion<std::string>(100, TypeStruct)));
    EXPECT_TRUE((validate_type_conversion<std::string>(1, TypeSigned)));
}

TEST(Interpreter, OfIntOnA16BitElementFailsWhenMade) {
    EXPECT_EQ(makeFailure<int>(holder(TypeSigned, 2)), kNoConversion);
}

TEST(Interpreter, OfFloatOnA16BitElementWidens) {
    EXPECT_EQ((readOne<float, std::int16_t>(-1234)), -1234.0F);
}

TEST(Interpreter, OfFloatOnAStructFailsWhenMade) {
    EXPECT_EQ(makeFailure<float>(holder(TypeSigned, 2), "R"),
              "Error while interpreting expression:\"type conversion not possible R\"");
}

TEST(Interpreter, OfTextOnAStructFailsOnlyWhenApplied) {
    EXPECT_EQ(readFailure<std::string>(holder(TypeSigned, 2), 1, 32, "R"), kUnknown);
    const TypeRef small = record("R", 4, 0, {number("v", TypeSigned, 4, 0)});
    EXPECT_EQ(readFailure<std::string>(small, 1, 4, "R"), kUnknown)
        << "as large as a number, but not a number";
}

TEST(Interpreter, OnNullFailsWhenMade) {
    EXPECT_EQ(makeFailure<int>(TypeRef()), "Received null pointer.\"Type is null\"");
}

TEST(Interpreter, ThatIsNullFailsWhenApplied) {
    int value = 0;
    EXPECT_EQ(
        messageOf<InterpretError>([&] { interpret<int>(InterpreterRef<int>::Type(), &value, 1, &value, 4); }),
        "Received null pointer.\"Interpreter is null\"");
    EXPECT_EQ(
        messageOf<InterpretError>([&] { modify<int>(InterpreterRef<int>::Type(), &value, 1, &value, 4); }),
        "Received null pointer.\"Interpreter is null\"");
}

TEST(Interpreter, KnowsWhereItsElementsLie) {
    const TypeRef type = record(
        "R", 64, 0, {record("s", 16, 8, {number("v", TypeUnsigned, 2, 10, {4}, EndianBig)}, {3}, EndianBig)},
        {}, EndianBig);
    const auto made = interpreter<unsigned short>(type, "R.s[2].v");
    EXPECT_EQ(made->recordSize(), 64);
    EXPECT_EQ(made->offset(), 10 + 2 * 16);
    EXPECT_EQ(made->count(), 4U);
    EXPECT_EQ(made->identifier(), TypeUnsigned);
    EXPECT_EQ(made->elementSize(), 2U);
    EXPECT_TRUE(made->swap());
}

TEST(Interpreter, OutlivesItsType) {
    InterpreterRef<int>::Type made;
    {
        const TypeRef type = holder(TypeSigned, 4);
        made = interpreter<int>(type, "R.v");
    }
    Bytes data(32);
    put(data, 8, 5);
    int value = 0;
    interpret<int>(made, &value, 1, data.data(), 32);
    EXPECT_EQ(value, 5);
}

// --- Reading ---

TEST(InterpreterApply, ReadsEveryIntegerType) {
    EXPECT_EQ((readOne<signed char, signed char>(-128)), -128);
    EXPECT_EQ((readOne<short, short>(-32768)), -32768);
    EXPECT_EQ((readOne<int, int>(INT_MIN)), INT_MIN);
    EXPECT_EQ((readOne<long long, long long>(LLONG_MIN)), LLONG_MIN);
    EXPECT_EQ((readOne<unsigned char, unsigned char>(255)), 255);
    EXPECT_EQ((readOne<unsigned short, unsigned short>(65535)), 65535);
    EXPECT_EQ((readOne<unsigned int, unsigned int>(UINT_MAX)), UINT_MAX);
    EXPECT_EQ((readOne<unsigned long long, unsigned long long>(ULLONG_MAX)), ULLONG_MAX);
}

TEST(InterpreterApply, ReversesBigEndianIntegers) {
    EXPECT_EQ((readOne<short, short>(0x1234, EndianBig)), 0x1234);
    EXPECT_EQ((readOne<unsigned int, unsigned int>(0x12345678U, EndianBig)), 0x12345678U);
    EXPECT_EQ((readOne<long long, long long>(0x123456789ABCDEFLL, EndianBig)), 0x123456789ABCDEFLL);
}

TEST(InterpreterApply, ConvertsEveryNumberToFloatAndDouble) {
    EXPECT_EQ((readOne<float, signed char>(-5)), -5.0F);
    EXPECT_EQ((readOne<float, int>(16777217)), 16777216.0F) << "to the nearest float";
    EXPECT_EQ((readOne<float, long long>(LLONG_MIN)), -9223372036854775808.0F);
    EXPECT_EQ((readOne<float, unsigned char>(200)), 200.0F);
    EXPECT_EQ((readOne<float, unsigned short>(65535)), 65535.0F);
    EXPECT_EQ((readOne<float, unsigned int>(UINT_MAX)), 4294967296.0F);
    EXPECT_EQ((readOne<float, unsigned long long>(ULLONG_MAX)), 18446744073709551616.0F);
    EXPECT_EQ((readOne<float, float>(1.5F)), 1.5F);
    EXPECT_EQ((readOne<float, double>(0.1)), 0.1F);
    EXPECT_EQ((readOne<double, signed char>(-5)), -5.0);
    EXPECT_EQ((readOne<double, short>(-500)), -500.0);
    EXPECT_EQ((readOne<double, int>(INT_MIN)), -2147483648.0);
    EXPECT_EQ((readOne<double, unsigned int>(UINT_MAX)), 4294967295.0);
    EXPECT_EQ((readOne<double, float>(0.1F)), static_cast<double>(0.1F));
    EXPECT_EQ((readOne<double, double>(0.1)), 0.1);
}

TEST(InterpreterApply, ReversesABigEndianFloatBeforeItConverts) {
    EXPECT_EQ((readOne<float, float>(-1.25F, EndianBig)), -1.25F);
    EXPECT_EQ((readOne<double, float>(-1.25F, EndianBig)), -1.25);
    EXPECT_EQ((readOne<float, short>(258, EndianBig)), 258.0F);
}

TEST(InterpreterApply, KeepsSpecialFloats) {
    EXPECT_TRUE(std::isnan(readOne<float, double>(std::numeric_limits<double>::quiet_NaN())));
    EXPECT_EQ((readOne<float, double>(std::numeric_limits<double>::infinity())),
              std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::signbit(readOne<double, float>(-0.0F)));
}

TEST(InterpreterApply, ReadsAllElementsOfAnArray) {
    Bytes data(32);
    for (int i = 0; i < 6; ++i) {
        put(data, 8 + 2 * static_cast<std::size_t>(i), static_cast<short>(10 * i));
    }
    const TypeRef type = holder(TypeSigned, 2, {2, 3});
    std::vector<short> shorts(6);
    interpret<short>(interpreter<short>(type, "R.v"), shorts.data(), 6, data.data(), 32);
    EXPECT_EQ(shorts, (std::vector<short>{0, 10, 20, 30, 40, 50}));
    std::vector<float> floats(3);
    interpret<float>(interpreter<float>(type, "R.v[1]"), floats.data(), 3, data.data(), 32);
    EXPECT_EQ(floats, (std::vector<float>{30, 40, 50}));
}

TEST(InterpreterApply, NeedsTheCountAddressed) {
    const TypeRef three = holder(TypeSigned, 4, {3});
    EXPECT_EQ(readFailure<int>(three, 2, 32), kUnknown);
    EXPECT_EQ(readFailure<int>(three, 4, 32), kUnknown);
    EXPECT_EQ(readFailure<float>(three, 2, 32), kUnknown);
    EXPECT_EQ(readFailure<double>(three, 2, 32), kUnknown);
    EXPECT_EQ(readFailure<std::string>(three, 3, 32), kUnknown) << "a text is one value";
}

TEST(InterpreterApply, NeedsAWholeRecord) {
    const TypeRef one = holder(TypeSigned, 4);
    const std::string expected = "Size mismatch: \"expected 32 bytes (from zelta description), got 4 bytes\"";
    EXPECT_EQ(readFailure<int>(one, 1, 4), expected);
    EXPECT_EQ(readFailure<std::string>(one, 1, 4), expected);
    EXPECT_EQ(readFailure<float>(one, 1, 4), kUnknown);
    EXPECT_EQ(readFailure<double>(one, 1, 4), kUnknown);
    EXPECT_EQ(readFailure<int>(one, 1, 33),
              "Size mismatch: \"expected 32 bytes (from zelta description), got 33 bytes\"");
}

TEST(InterpreterApply, OfARecordWithoutBytesFails) {
    const TypeRef nothing = record("R", 0, 0, {number("v", TypeSigned, 4, 0)});
    EXPECT_EQ(readFailure<int>(nothing, 1, 0),
              "Size mismatch: \"expected 0 bytes (from zelta description), got 0 bytes\"");
    EXPECT_EQ(readFailure<float>(nothing, 1, 0), kUnknown);
    EXPECT_EQ(readFailure<std::string>(nothing, 1, 0), kUnknown);
}

TEST(InterpreterApply, OfNumbersOfOddWidthFails) {
    for (const unsigned int size : {3U, 5U, 16U}) {
        EXPECT_EQ(readFailure<float>(holder(TypeSigned, size), 1, 32), kUnknown) << size;
        EXPECT_EQ(readFailure<double>(holder(TypeUnsigned, size), 1, 32), kUnknown) << size;
        EXPECT_EQ(readFailure<std::string>(holder(TypeUnsigned, size), 1, 32), kUnknown) << size;
    }
    EXPECT_EQ(readFailure<float>(holder(TypeFloat, 2), 1, 32), kUnknown);
}

// --- Elements outside their record ---

TEST(InterpreterBounds, ElementsOutsideTheRecordAreNeitherReadNorWritten) {
    for (const int offset : {29, 32, INT_MAX, -1, INT_MIN}) {
        const TypeRef type = record("R", 32, 0, {number("v", TypeSigned, 4, offset)});
        EXPECT_EQ(readFailure<int>(type, 1, 32).rfind("Size mismatch: ", 0), 0U) << offset;
        EXPECT_EQ(readFailure<float>(type, 1, 32), kUnknown) << offset;
        EXPECT_EQ(readFailure<double>(type, 1, 32), kUnknown) << offset;
        EXPECT_EQ(readFailure<std::string>(type, 1, 32).rfind("Size mismatch: ", 0), 0U) << offset;
        EXPECT_EQ(writeFailure<int>(type, 1, 32).rfind("Size mismatch: ", 0), 0U) << offset;
        EXPECT_EQ(writeFailure<float>(type, 1, 32), kUnknown) << offset;
    }
}

TEST(InterpreterBounds, MoreElementsThanTheRecordHoldsAreNotRead) {
    EXPECT_EQ(readFailure<int>(holder(TypeSigned, 4, {7}), 7, 32).rfind("Size mismatch: ", 0), 0U);
    EXPECT_EQ(
        readFailure<std::string>(holder(TypeSigned, 4, {0xFFFFFFFFU}), 1, 32).rfind("Size mismatch: ", 0),
        0U);
    EXPECT_EQ(
        readFailure<std::string>(holder(TypeSigned, 4, {65536, 65536, 2}), 1, 32).rfind("Size mismatch: ", 0),
        0U);
}

TEST(InterpreterBounds, TheLastBytesOfTheRecordAreInside) {
    const TypeRef type = record("R", 32, 0, {number("v", TypeSigned, 4, 28)});
    EXPECT_EQ(readFailure<int>(type, 1, 32), "nothing thrown");
}

TEST(InterpreterBounds, ARecordOfMoreThanTwoGiBIsNeverMet) {
    const TypeRef type = record("R", 0xFFFFFFFFU, 0, {number("v", TypeSigned, 4, 0)});
    const auto made = interpreter<int>(type, "R.v");
    int value = 7;
    EXPECT_THROW(interpret<int>(made, &value, 1, &value, 0xFFFFFFFFU), InterpretError);
    EXPECT_EQ(value, 7);
}

// --- Writing ---

TEST(InterpreterModify, WritesIntegersInTheRecordsByteOrder) {
    Bytes data(32, 0xEE);
    const std::vector<int> values{0x01020304, 5};
    modify<int>(interpreter<int>(holder(TypeSigned, 4, {2}, EndianBig), "R.v"), values.data(), 2, data.data(),
                32);
    EXPECT_EQ(Bytes(data.begin() + 7, data.begin() + 17), (Bytes{0xEE, 1, 2, 3, 4, 0, 0, 0, 5, 0xEE}));
    modify<int>(interpreter<int>(holder(TypeSigned, 4, {2}), "R.v"), values.data(), 2, data.data(), 32);
    EXPECT_EQ(Bytes(data.begin() + 7, data.begin() + 17), (Bytes{0xEE, 4, 3, 2, 1, 5, 0, 0, 0, 0xEE}));
}

TEST(InterpreterModify, OfFloatConvertsTowardsZero) {
    EXPECT_EQ(writeFloat<signed char>(-3.9F), -3);
    EXPECT_EQ(writeFloat<short>(3.9F), 3);
    EXPECT_EQ(writeFloat<int>(-70000.5F), -70000);
    EXPECT_EQ(writeFloat<long long>(1e15F), 999999986991104LL);
    EXPECT_EQ(writeFloat<unsigned char>(254.9F), 254);
    EXPECT_EQ(writeFloat<unsigned short>(-0.9F), 0);
    EXPECT_EQ(writeFloat<unsigned int>(3e9F), 3000000000U);
    EXPECT_EQ(writeFloat<unsigned long long>(1.5F), 1U);
    EXPECT_EQ(writeFloat<float>(0.1F), 0.1F);
    EXPECT_EQ(writeFloat<double>(0.1F), static_cast<double>(0.1F));
    EXPECT_EQ(writeFloat<short>(258.0F, EndianBig), 258);
    EXPECT_EQ(writeFloat<double>(-2.5F, EndianBig), -2.5);
}

TEST(InterpreterModify, OfFloatSaturatesWhatDoesNotFit) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(writeFloat<signed char>(128.0F), 127);
    EXPECT_EQ(writeFloat<signed char>(-129.0F), -128);
    EXPECT_EQ(writeFloat<int>(2147483648.0F), INT_MAX);
    EXPECT_EQ(writeFloat<int>(-kInfinity), INT_MIN);
    EXPECT_EQ(writeFloat<long long>(kInfinity), LLONG_MAX);
    EXPECT_EQ(writeFloat<unsigned char>(-1.0F), 0);
    EXPECT_EQ(writeFloat<unsigned long long>(1.8446744e19F), ULLONG_MAX);
    EXPECT_EQ(writeFloat<int>(std::numeric_limits<float>::quiet_NaN()), 0);
    EXPECT_TRUE(std::isnan(writeFloat<double>(std::numeric_limits<float>::quiet_NaN())));
}

TEST(InterpreterModify, OfFloatOnNumbersOfOddWidthFails) {
    EXPECT_EQ(writeFailure<float>(holder(TypeSigned, 3), 1, 32), kUnknown);
    EXPECT_EQ(writeFailure<float>(holder(TypeSigned, 16), 1, 32), kUnknown);
}

TEST(InterpreterModify, OfDoubleStoresItsBytesWhateverTheElementIs) {
    const double value = -1.5;
    for (const TypeIdentifier identifier : {TypeSigned, TypeUnsigned, TypeFloat}) {
        Bytes data(32);
        modify<double>(interpreter<double>(holder(identifier, 8), "R.v"), &value, 1, data.data(), 32);
        EXPECT_EQ(get<std::uint64_t>(data, 8), std::bit_cast<std::uint64_t>(value));
    }
}

TEST(InterpreterModify, OfDoubleNeedsEightBytes) {
    EXPECT_EQ(writeFailure<double>(holder(TypeFloat, 4), 1, 32), kUnknown);
    EXPECT_EQ(writeFailure<double>(holder(TypeFloat, 8), 1, 31),
              "Size mismatch: \"expected 32 bytes (from zelta description), got 31 bytes\"");
}

TEST(InterpreterModify, ChecksSizeAndCountAsReadingDoes) {
    EXPECT_EQ(writeFailure<int>(holder(TypeSigned, 4, {3}), 2, 32), kUnknown);
    EXPECT_EQ(writeFailure<int>(holder(TypeSigned, 4), 1, 4),
              "Size mismatch: \"expected 32 bytes (from zelta description), got 4 bytes\"");
    EXPECT_EQ(writeFailure<float>(holder(TypeSigned, 4, {3}), 2, 32), kUnknown);
    EXPECT_EQ(writeFailure<float>(holder(TypeSigned, 4), 1, 4), kUnknown);
}

TEST(InterpreterModify, IsReadBack) {
    Bytes data(32);
    const auto made = interpreter<unsigned short>(holder(TypeUnsigned, 2, {4}, EndianBig), "R.v");
    const std::vector<unsigned short> written{1, 2, 300, 65535};
    std::vector<unsigned short> read(4);
    modify<unsigned short>(made, written.data(), 4, data.data(), 32);
    interpret<unsigned short>(made, read.data(), 4, data.data(), 32);
    EXPECT_EQ(read, written);
}

// --- Text ---

template <typename S>
std::string textOfArray(const std::vector<S>& values, TypeEndianess endianess = EndianLittle) {
    const TypeIdentifier identifier = std::is_floating_point_v<S> ? TypeFloat
                                      : std::is_signed_v<S>       ? TypeSigned
                                                                  : TypeUnsigned;
    const auto count = static_cast<unsigned int>(values.size());
    const unsigned int size = count * static_cast<unsigned int>(sizeof(S)) + 8;
    Bytes data(size);
    for (std::size_t i = 0; i < values.size(); ++i) {
        put(data, 8 + i * sizeof(S), values[i]);
    }
    const TypeRef type = record("R", size, 0, {number("v", identifier, sizeof(S), 8, {count}, endianess)});
    std::string text = "before";
    interpret<std::string>(interpreter<std::string>(type, "R.v"), &text, 1, data.data(), size);
    return text;
}

TEST(InterpreterText, OfAScalarHasNoBraces) {
    EXPECT_EQ((readOne<std::string, int>(-7)), "-7");
    EXPECT_EQ(textOfArray<int>({5}), "5");
}

TEST(InterpreterText, OfAnArrayIsInBraces) {
    EXPECT_EQ(textOfArray<int>({1, 2, 3}), "{1, 2, 3}");
}

TEST(InterpreterText, OfNothingIsEmpty) {
    EXPECT_EQ(textOfArray<int>({}), "");
}

TEST(InterpreterText, OfASignedByteIsItsCharacterAndValue) {
    EXPECT_EQ((readOne<std::string, signed char>(65)), "'A'(65)");
    EXPECT_EQ((readOne<std::string, signed char>(0)), "'\\0'(0)");
    EXPECT_EQ((readOne<std::string, signed char>(-1)), "'\xFF'(-1)");
}

TEST(InterpreterText, OfIntegersIsDecimal) {
    EXPECT_EQ((readOne<std::string, unsigned char>(65)), "65");
    EXPECT_EQ((readOne<std::string, short>(-32768)), "-32768");
    EXPECT_EQ((readOne<std::string, unsigned short>(65535)), "65535");
    EXPECT_EQ((readOne<std::string, unsigned int>(UINT_MAX)), "4294967295");
    EXPECT_EQ((readOne<std::string, long long>(LLONG_MIN)), "-9223372036854775808");
    EXPECT_EQ((readOne<std::string, unsigned long long>(ULLONG_MAX)), "18446744073709551615");
}

TEST(InterpreterText, OfFloatsHasSixDigits) {
    EXPECT_EQ((readOne<std::string, float>(0.1F)), "0.1");
    EXPECT_EQ((readOne<std::string, double>(1234567.0)), "1.23457e+06");
    EXPECT_EQ((readOne<std::string, double>(100000.0)), "100000");
    EXPECT_EQ((readOne<std::string, double>(0.00001)), "1e-05");
    EXPECT_EQ((readOne<std::string, float>(-0.0F)), "-0");
    EXPECT_EQ((readOne<std::string, float>(std::numeric_limits<float>::infinity())), "inf");
    EXPECT_EQ((readOne<std::string, float>(std::numeric_limits<float>::quiet_NaN())), "nan");
}

TEST(InterpreterText, ReversesBigEndianElements) {
    EXPECT_EQ((readOne<std::string, int>(258, EndianBig)), "258");
    EXPECT_EQ(textOfArray<unsigned short>({0x0100, 0x0200}, EndianBig), "{1, 2}");
}

TEST(InterpreterText, StopsBeyond512Characters) {
    // 200 elements of 9 characters with their separator: 57 of them and the brace make 514.
    std::string expected = "{";
    while (expected.size() <= 512) {
        expected += "'A'(65), ";
    }
    EXPECT_EQ(textOfArray(std::vector<signed char>(200, 65)), expected + "...}");
    EXPECT_EQ(expected.size(), 514U);
}

TEST(InterpreterText, Of512CharactersIsWhole) {
    // "{" and 170 times "1, " are 511 characters, the last element makes 512; one more element is too long.
    const std::string whole = textOfArray(std::vector<unsigned char>(171, 1));
    EXPECT_EQ(whole.size(), 513U) << "with its brace";
    EXPECT_EQ(whole.find("..."), std::string::npos);
    EXPECT_NE(textOfArray(std::vector<unsigned char>(172, 1)).find("..."), std::string::npos);
}

TEST(InterpreterText, ThatIsTooLongWithItsLastElementSaysSoToo) {
    std::vector<unsigned char> values(171, 1);
    values.back() = 10;  // one character more
    const std::string text = textOfArray(values);
    EXPECT_EQ(text.substr(text.size() - 6), "10...}");
}

// --- Converters ---

TEST(Converters, ReadAtAnyAddress) {
    Bytes data(16);
    put(data, 3, -2.5);
    put(data, 11, static_cast<short>(-7));
    EXPECT_EQ(convertFloat<double>(data.data() + 3), -2.5F);
    EXPECT_EQ(convertDouble<double>(data.data() + 3), -2.5);
    EXPECT_EQ(convertDouble<short>(data.data() + 11), -7.0);
    EXPECT_EQ(convertFloat<unsigned char>(data.data() + 12), 255.0F);
}

}  // namespace
}  // namespace zelta
