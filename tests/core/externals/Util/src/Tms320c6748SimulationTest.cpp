// SPDX-License-Identifier: Apache-2.0
#include "tms320c6748_simulation.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>

#include "FloatBits.h"

namespace {

constexpr unsigned int kSeed = 20748;

/** A float from sign, exponent field and the upper eight bits of its mantissa. */
constexpr float fromFields(unsigned int sign, unsigned int exponent, unsigned int mantissa) {
    return fromBits((sign << 31U) | (exponent << 23U) | (mantissa << 15U));
}

int roundToNearest(long double x) {
    return static_cast<int>(std::floor(x + 0.5L));
}

// --- Tables ---

TEST(RcpTable, IsTheRoundedReciprocalOfEveryMantissa) {
    for (int i = 0; i < 256; ++i) {
        const long double m = 1.0L + static_cast<long double>(i) / 256.0L;
        const int expected = roundToNearest((2.0L / m - 1.0L) * 256.0L) & 0xFF;
        EXPECT_EQ(rcp_table[static_cast<std::size_t>(i)], static_cast<unsigned int>(expected))
            << "entry " << i;
    }
}

TEST(RcpTable, HasTheKnownEntries) {
    EXPECT_EQ(rcp_table[0], 0U);  // 256, cut to eight bits
    EXPECT_EQ(rcp_table[1], 254U);
    EXPECT_EQ(rcp_table[128], 85U);
    EXPECT_EQ(rcp_table[255], 1U);
}

TEST(RcpsqTable, FirstHalfIsTheRoundedReciprocalRootOfDoubledMantissas) {
    for (int i = 0; i < 256; ++i) {
        const long double m = 2.0L * (1.0L + static_cast<long double>(i) / 256.0L);
        const int expected = roundToNearest((2.0L / std::sqrt(m) - 1.0L) * 256.0L) & 0xFF;
        EXPECT_EQ(rcpsq_table[static_cast<std::size_t>(i)], expected) << "entry " << i;
    }
}

TEST(RcpsqTable, SecondHalfIsTheRoundedReciprocalRootOfMantissas) {
    for (int i = 256; i < 512; ++i) {
        const long double m = 1.0L + static_cast<long double>(i - 256) / 256.0L;
        const int expected = roundToNearest((2.0L / std::sqrt(m) - 1.0L) * 256.0L) & 0xFF;
        EXPECT_EQ(rcpsq_table[static_cast<std::size_t>(i)], expected) << "entry " << i;
    }
}

TEST(RcpsqTable, HasTheKnownEntries) {
    EXPECT_EQ(rcpsq_table[0], 106);
    EXPECT_EQ(rcpsq_table[255], 0);
    EXPECT_EQ(rcpsq_table[256], 0);
    EXPECT_EQ(rcpsq_table[257], 255);
    EXPECT_EQ(rcpsq_table[511], 106);
}

// --- Reciprocal ---

TEST(Rcpsp, IsExactForPowersOfTwo) {
    EXPECT_EQ(_rcpsp(1.0F), 1.0F);
    EXPECT_EQ(_rcpsp(2.0F), 0.5F);
    EXPECT_EQ(_rcpsp(0.125F), 8.0F);
}

TEST(Rcpsp, KeepsTheSign) {
    EXPECT_EQ(_rcpsp(-4.0F), -0.25F);
}

TEST(Rcpsp, OfOneAndAHalfHasEightBits) {
    // Exponent field 126 and mantissa 85 / 256: (1 + 85 / 256) / 2 = 341 / 512.
    EXPECT_EQ(bitsOf(_rcpsp(1.5F)), bitsOf(fromFields(0, 126, 85)));
    EXPECT_EQ(_rcpsp(1.5F), 341.0F / 512.0F);
}

TEST(Rcpsp, OfZeroIsTwoToThe127WithTheSignOfTheZero) {
    EXPECT_EQ(bitsOf(_rcpsp(0.0F)), bitsOf(fromFields(0, 254, 0)));
    EXPECT_EQ(bitsOf(_rcpsp(-0.0F)), bitsOf(fromFields(1, 254, 0)));
}

TEST(Rcpsp, CountsSubnormalNumbersByTheirMantissaBits) {
    EXPECT_EQ(bitsOf(_rcpsp(fromBits(0x00400000U))), bitsOf(fromFields(0, 253, 85)));  // index 128
    EXPECT_EQ(bitsOf(_rcpsp(fromBits(0x00000001U))), bitsOf(fromFields(0, 254, 0)));   // index 0
}

TEST(Rcpsp, OfTwoToThe125HasTheLastOrdinaryExponent) {
    // Exponent field 252 gives 1, and the exact power of two one more.
    EXPECT_EQ(bitsOf(_rcpsp(fromFields(0, 252, 0))), bitsOf(fromFields(0, 2, 0)));
    EXPECT_EQ(bitsOf(_rcpsp(fromFields(0, 252, 128))), bitsOf(fromFields(0, 1, 85)));
}

TEST(Rcpsp, BeyondExponent252HasExponentZeroOrOne) {
    for (unsigned int exponent = 253; exponent <= 255; ++exponent) {
        EXPECT_EQ(bitsOf(_rcpsp(fromFields(0, exponent, 0))), bitsOf(fromFields(0, 1, 0))) << exponent;
        EXPECT_EQ(bitsOf(_rcpsp(fromFields(0, exponent, 128))), bitsOf(fromFields(0, 0, 85))) << exponent;
    }
}

TEST(Rcpsp, OfInfinityIsTinyAndNotZero) {
    EXPECT_EQ(bitsOf(_rcpsp(kInfinity)), bitsOf(fromFields(0, 1, 0)));
    EXPECT_EQ(bitsOf(_rcpsp(-kInfinity)), bitsOf(fromFields(1, 1, 0)));
}

TEST(Rcpsp, OfANaNIsANumber) {
    EXPECT_EQ(bitsOf(_rcpsp(fromBits(0x7FC00000U))), bitsOf(fromFields(0, 0, 85)));
}

TEST(Rcpsp, IsWithinItsEightBits) {
    // Rounding the estimate costs half a step of the result's mantissa, 2^-9 of a result mantissa of 1 or
    // more. The bits of x after the first eight cost up to 2^-8. Together 1.5 * 2^-8,
    // and a little for their product.
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<std::uint32_t> bits(0x00800000U, 0x7E7FFFFFU);
    for (int i = 0; i < 20000; ++i) {
        const float x = fromBits(bits(random));
        const double product = static_cast<double>(_rcpsp(x)) * static_cast<double>(x);
        ASSERT_NEAR(product, 1.0, 1.6 / 256.0) << "x " << x;
    }
}

// --- Reciprocal square root ---

TEST(Rsqrsp, IsExactForPowersOfFour) {
    EXPECT_EQ(_rsqrsp(1.0F), 1.0F);
    EXPECT_EQ(_rsqrsp(4.0F), 0.5F);
    EXPECT_EQ(_rsqrsp(0.0625F), 4.0F);
}

TEST(Rsqrsp, OfTwoHasEightBits) {
    // Exponent field 126 and mantissa 106 / 256: (1 + 106 / 256) / 2 = 362 / 512, about 0.70703.
    EXPECT_EQ(bitsOf(_rsqrsp(2.0F)), bitsOf(fromFields(0, 126, 106)));
    EXPECT_EQ(_rsqrsp(2.0F), 362.0F / 512.0F);
}

TEST(Rsqrsp, OfZeroIsZero) {
    EXPECT_EQ(bitsOf(_rsqrsp(0.0F)), 0U);
    EXPECT_EQ(bitsOf(_rsqrsp(-0.0F)), 0U);
}

TEST(Rsqrsp, OfSubnormalNumbersWithoutUpperMantissaBitsIsZero) {
    EXPECT_EQ(bitsOf(_rsqrsp(fromBits(0x00000001U))), 0U);
    EXPECT_EQ(bitsOf(_rsqrsp(fromBits(0x00007FFFU))), 0U);
    EXPECT_EQ(bitsOf(_rsqrsp(fromBits(0x80007FFFU))), 0U);
}

TEST(Rsqrsp, OfOtherSubnormalNumbersHasExponentField190) {
    EXPECT_EQ(bitsOf(_rsqrsp(fromBits(0x00008000U))),
              bitsOf(fromFields(0, 190, static_cast<unsigned int>(rcpsq_table[1]))));
}

TEST(Rsqrsp, PassesTheSignOn) {
    EXPECT_EQ(_rsqrsp(-1.0F), -1.0F);
    EXPECT_EQ(_rsqrsp(-4.0F), -0.5F);
}

TEST(Rsqrsp, TreatsInfinityAsTheNumberItsBitsSay) {
    // Exponent 255 is odd: h = 128, index 256, field 191 - 128 = 63.
    EXPECT_EQ(bitsOf(_rsqrsp(kInfinity)), bitsOf(fromFields(0, 63, 0)));
    EXPECT_EQ(bitsOf(_rsqrsp(-kInfinity)), bitsOf(fromFields(1, 63, 0)));
}

TEST(Rsqrsp, TreatsANaNAsTheNumberItsBitsSay) {
    // Index 256 + 128, field 190 - 128 = 62.
    EXPECT_EQ(bitsOf(_rsqrsp(fromBits(0x7FC00000U))),
              bitsOf(fromFields(0, 62, static_cast<unsigned int>(rcpsq_table[384]))));
}

TEST(Rsqrsp, IsWithinItsEightBits) {
    // As for the reciprocal, but the cut bits of x count half: 2^-9 and 2^-9 together.
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<std::uint32_t> bits(0x00800000U, 0x7F7FFFFFU);
    for (int i = 0; i < 20000; ++i) {
        const float x = fromBits(bits(random));
        const double product = static_cast<double>(_rsqrsp(x)) * std::sqrt(static_cast<double>(x));
        ASSERT_NEAR(product, 1.0, 1.1 / 256.0) << "x " << x;
    }
}

// --- Absolute values ---

TEST(Fabsf, ClearsTheSign) {
    EXPECT_EQ(_fabsf(-1.5F), 1.5F);
    EXPECT_EQ(_fabsf(1.5F), 1.5F);
    EXPECT_EQ(bitsOf(_fabsf(-0.0F)), 0U);
    EXPECT_EQ(_fabsf(-kInfinity), kInfinity);
    EXPECT_EQ(bitsOf(_fabsf(fromBits(0x80000001U))), 1U);
}

TEST(Abs, IsTheMagnitude) {
    EXPECT_EQ(_abs(0), 0);
    EXPECT_EQ(_abs(-7), 7);
    EXPECT_EQ(_abs(7), 7);
    EXPECT_EQ(_abs(INT_MAX), INT_MAX);
    EXPECT_EQ(_abs(INT_MIN + 1), INT_MAX);
}

TEST(Abs, LeavesTheMostNegativeValue) {
    EXPECT_EQ(_abs(INT_MIN), INT_MIN);
}

// --- Packed lanes ---

/** The byte `lane` of `word`, 0 the lowest. */
constexpr unsigned int byteOf(unsigned int word, unsigned int lane) {
    return (word >> (8 * lane)) & 0xFFU;
}

constexpr int halfOf(unsigned int word, unsigned int lane) {
    return static_cast<std::int16_t>((word >> (16 * lane)) & 0xFFFFU);
}

/** Calls `check` with the extremes of packed words in all pairs, then with random words. */
template <class Check>
void forPackedWords(Check check) {
    constexpr std::array<unsigned int, 8> extremes = {0U,          0xFFFFFFFFU, 0x80808080U, 0x7F7F7F7FU,
                                                      0x80008000U, 0x7FFF7FFFU, 0x00FF00FFU, 0x01020304U};
    for (const unsigned int a : extremes) {
        for (const unsigned int b : extremes) {
            check(a, b);
        }
    }
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<unsigned int> words;
    for (int i = 0; i < 1000; ++i) {
        const unsigned int a = words(random);
        check(a, words(random));
    }
}

TEST(Add4, LetsNoCarryCrossALane) {
    EXPECT_EQ(_add4(0xFF000001U, 0x01000001U), 0x00000002U);
    EXPECT_EQ(_add4(0xFFFFFFFFU, 0x01010101U), 0U);
}

TEST(Add4, AddsEachByteModulo256) {
    forPackedWords([](unsigned int a, unsigned int b) {
        for (unsigned int lane = 0; lane < 4; ++lane) {
            ASSERT_EQ(byteOf(_add4(a, b), lane), (byteOf(a, lane) + byteOf(b, lane)) % 256U) << a << " " << b;
        }
    });
}

TEST(Sub4, LetsNoBorrowCrossALane) {
    EXPECT_EQ(_sub4(0, 1), 0x000000FF);
    EXPECT_EQ(static_cast<unsigned int>(_sub4(0, 0x01010101)), 0xFFFFFFFFU);
}

TEST(Sub4, SubtractsEachByteModulo256) {
    forPackedWords([](unsigned int a, unsigned int b) {
        const auto difference = static_cast<unsigned int>(_sub4(static_cast<int>(a), static_cast<int>(b)));
        for (unsigned int lane = 0; lane < 4; ++lane) {
            ASSERT_EQ(byteOf(difference, lane), (256U + byteOf(a, lane) - byteOf(b, lane)) % 256U)
                << a << " " << b;
        }
    });
}

TEST(Maxu4, ComparesBytesWithoutSign) {
    EXPECT_EQ(_maxu4(0x80FF0001U, 0x7F010100U), 0x80FF0101U);
}

TEST(Maxu4, IsTheMaximumOfEachByte) {
    forPackedWords([](unsigned int a, unsigned int b) {
        for (unsigned int lane = 0; lane < 4; ++lane) {
            ASSERT_EQ(byteOf(_maxu4(a, b), lane), std::max(byteOf(a, lane), byteOf(b, lane)))
                << a << " " << b;
        }
    });
}

TEST(Minu4, ComparesBytesWithoutSign) {
    EXPECT_EQ(_minu4(0x80FF0001U, 0x7F010100U), 0x7F010000U);
}

TEST(Minu4, IsTheMinimumOfEachByte) {
    forPackedWords([](unsigned int a, unsigned int b) {
        for (unsigned int lane = 0; lane < 4; ++lane) {
            ASSERT_EQ(byteOf(_minu4(a, b), lane), std::min(byteOf(a, lane), byteOf(b, lane)))
                << a << " " << b;
        }
    });
}

TEST(Max2, ComparesHalvesWithSign) {
    EXPECT_EQ(_max2(0x8000FFFFU, 0x00010001U), 0x00010001U);
}

TEST(Max2, IsTheMaximumOfEachHalf) {
    forPackedWords([](unsigned int a, unsigned int b) {
        for (unsigned int lane = 0; lane < 2; ++lane) {
            ASSERT_EQ(halfOf(_max2(a, b), lane), std::max(halfOf(a, lane), halfOf(b, lane))) << a << " " << b;
        }
    });
}

TEST(Min2, ComparesHalvesWithSign) {
    EXPECT_EQ(_min2(0x8000FFFFU, 0x00010001U), 0x8000FFFFU);
}

TEST(Min2, IsTheMinimumOfEachHalf) {
    forPackedWords([](unsigned int a, unsigned int b) {
        for (unsigned int lane = 0; lane < 2; ++lane) {
            ASSERT_EQ(halfOf(_min2(a, b), lane), std::min(halfOf(a, lane), halfOf(b, lane))) << a << " " << b;
        }
    });
}

TEST(Dotpu4, OfFullBytesIsFourTimesTheSquareOf255) {
    EXPECT_EQ(_dotpu4(0xFFFFFFFFU, 0xFFFFFFFFU), 260100U);
}

TEST(Dotpu4, IsTheSumOfTheFourProductsOfBytes) {
    forPackedWords([](unsigned int a, unsigned int b) {
        unsigned int sum = 0;
        for (unsigned int lane = 0; lane < 4; ++lane) {
            sum += byteOf(a, lane) * byteOf(b, lane);
        }
        ASSERT_EQ(_dotpu4(a, b), sum) << a << " " << b;
    });
}

}  // namespace
