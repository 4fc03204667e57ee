// SPDX-License-Identifier: Apache-2.0
//
// Initialisation of the multi-frequency stage: the lookup tables of frequency pairs, the hopping table, and
// what frequencies and settings fail.
#include "MultiFreqTables.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "MultiFreqRule.h"
#include "MultiFreqStage.h"
#include "support/Floats.h"
#include "support/Random.h"

namespace {

using testing_support::kHalfSpeedOfLight;
using testing_support::MultiFreqStage;
using testing_support::Random;
using testing_support::sameFloats;
using testing_support::sameValues;
using Lines = std::vector<int32_t>;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

class MultiFreqTables : public ::testing::Test {
 protected:
    TwoFreqLUT& forward(size_t table = 0) { return stage_.state->LUTForward[table]; }
    TwoFreqLUT& backward(size_t table = 0) { return stage_.state->LUTBackward[table]; }

    /** Initialisation must fail with these reports. */
    void expectFailure(const Lines& lines, const std::string& text) {
        stage_.forgetErrors();
        EXPECT_EQ(stage_.init(), 1);
        EXPECT_EQ(stage_.lines(), lines);
        if (!text.empty()) {
            EXPECT_EQ(stage_.firstText(), text);
        }
    }

    MultiFreqStage stage_;
};

// --- One pair of frequencies ---------------------------------------------------------------------

// 60 and 80 MHz. Unique ranges: 149896224 / 60e6 = 2.4982704 and 149896224 / 80e6 = 1.8737028. As the
// distance grows, d1 - d2 is 0, then at each wrap of d2 it grows by 1.8737028, at each wrap of d1 it falls
// by 2.4982704.
TEST_F(MultiFreqTables, SixtyAndEightyMegahertzNumberByNumber) {
    ASSERT_EQ(stage_.init(), 0);
    const TwoFreqLUT& lut = forward();
    EXPECT_EQ(lut.autoMaxRange, 1);
    EXPECT_FLOAT_EQ(lut.lutOffset, 1.8737028F);
    EXPECT_NEAR(lut.lutResolution, 0.0441613F, 5e-8F);  // (2.4982704 + 1.8737028) / 99
    EXPECT_NEAR(stage_.state->uniqueRangesTwoFreq[0], 7.4948112F, 1e-6F);
    EXPECT_FLOAT_EQ(lut.halfLineDist, 7.0F * lut.lutResolution);  // the smallest gap is 14 bins

    struct Line {
        int firstBin;
        int bin;
        int lastBin;
        float offset;
    };
    constexpr Line kLines[] = {{0, 0, 6, 0.0F},    {7, 14, 20, 4.9965408F},  {21, 28, 34, 2.4982704F},
                               {35, 42, 49, 0.0F}, {50, 57, 63, 4.9965408F}, {64, 71, 77, 2.4982704F},
                               {78, 85, 91, 0.0F}, {92, 99, 99, 4.9965408F}};
    for (int line = 0; line < 8; ++line) {
        SCOPED_TRACE(line);
        const Line& expected = kLines[line];
        EXPECT_NEAR(lut.offsetLut[line], expected.offset, 2e-6F);
        const float abscissa = static_cast<float>(line - 3) * 0.6245676F;
        EXPECT_EQ(static_cast<int>((abscissa + lut.lutOffset) / lut.lutResolution + 0.5F), expected.bin);
        for (int bin = expected.firstBin; bin <= expected.lastBin; ++bin) {
            EXPECT_EQ(lut.lineIndices[bin], line);
            EXPECT_EQ(lut.offset[bin], lut.offsetLut[line]);
            EXPECT_NEAR(lut.abscissa[bin], abscissa, 1e-6F);
        }
    }
    for (int line = 8; line < kTwoFreqBins; ++line) {
        EXPECT_EQ(lut.offsetLut[line], 0.0F);
    }
}

// The smaller unique range comes first: 1.8737028, whose wraps are counted.
TEST_F(MultiFreqTables, TheBackwardTableCountsTheWrapsOfTheOtherFrequency) {
    ASSERT_EQ(stage_.init(), 0);
    const TwoFreqLUT& lut = backward();
    EXPECT_FLOAT_EQ(lut.lutOffset, 2.4982704F);
    constexpr float kOffsets[] = {0.0F, 1.8737028F, 3.7474056F, 5.6211084F,
                                  0.0F, 1.8737028F, 3.7474056F, 5.6211084F};
    for (int line = 0; line < 8; ++line) {
        EXPECT_NEAR(lut.offsetLut[line], kOffsets[line], 2e-6F) << line;
    }
    EXPECT_EQ(lut.lineIndices[99], 7);
}

TEST_F(MultiFreqTables, EveryTrueDistanceUpToTheRangeUnwraps) {
    ASSERT_EQ(stage_.init(), 0);
    const TwoFreqLUT& lut = forward();
    for (int step = 1; step < 7494; ++step) {
        const double metres = step * 0.001;
        const float d1 = stage_.wrapped(metres, 0);
        const float delta = d1 - stage_.wrapped(metres, 1);
        const int bin = static_cast<int>((delta + lut.lutOffset) / lut.lutResolution + 0.5F);
        ASSERT_NEAR(static_cast<double>(d1 + lut.offset[bin]), metres, 1e-5) << "bin " << bin;
        ASSERT_NEAR(delta, lut.abscissa[bin], 1e-5F);
    }
}

TEST_F(MultiFreqTables, AFixedRangeLeavesTheLastBinWithoutLine) {
    stage_.param.maxRange = 6.0F;
    ASSERT_EQ(stage_.init(), 0);
    EXPECT_EQ(forward().autoMaxRange, 0);
    EXPECT_EQ(forward().offset[99], -1.0F);
    EXPECT_EQ(forward().offset[0], 0.0F);
    EXPECT_EQ(stage_.state->uniqueRangesTwoFreq[0], 6.0F);
}

TEST_F(MultiFreqTables, AFixedRangeHasNoLinesBeyondIt) {
    stage_.param.maxRange = 2.0F;  // d2 wraps at 1.87 m, within 0.99 of the range; d1 wraps at 2.50 m
    ASSERT_EQ(stage_.init(), 0);
    EXPECT_EQ(forward().offsetLut[0], 0.0F);  // the corner
    EXPECT_EQ(forward().lineIndices[42], 1);
    EXPECT_EQ(forward().lineIndices[85], 2);
    EXPECT_EQ(forward().offset[85], 0.0F);
    // The smallest spacing is that from bin 85 to the end, 14 bins. Between the lines nothing is left.
    EXPECT_EQ(forward().offset[60], -1.0F);
}

TEST_F(MultiFreqTables, ARangeOfZeroHasTheCornerAndTheFirstLine) {
    stage_.param.maxRange = 0.0F;
    ASSERT_EQ(stage_.init(), 0);
    EXPECT_EQ(forward().lineIndices[42], 1);
    EXPECT_EQ(forward().offset[42], 0.0F);
    EXPECT_EQ(forward().offset[99], -1.0F);
}

TEST_F(MultiFreqTables, ARangeThatReachesACornerBinFails) {
    stage_.param.maxRange = 20.0F;
    expectFailure({545, 672, 127}, "begin/end of the LUT contains lines - maxRange too high?!");
}

TEST_F(MultiFreqTables, AnEndlessRangeFails) {
    for (const float range : {kInfinity, std::numeric_limits<float>::max(), 1e9F}) {
        stage_.param.maxRange = range;
        expectFailure({545, 672, 127}, "begin/end of the LUT contains lines - maxRange too high?!");
    }
}

TEST_F(MultiFreqTables, ARangeOfNaNHasNoLinesButTheCorner) {
    stage_.param.maxRange = kNaN;
    ASSERT_EQ(stage_.init(), 0);
    EXPECT_EQ(forward().offset[0], 0.0F);
    EXPECT_EQ(forward().offset[50], 0.0F);  // 99 bins without a line: half of them is the width
    EXPECT_EQ(forward().offset[51], -1.0F);
    EXPECT_TRUE(std::isnan(stage_.state->uniqueRangesTwoFreq[0]));
}

TEST_F(MultiFreqTables, AHalfLineDistAboveZeroIsTaken) {
    stage_.param.halfLineDist = 0.1F;  // 2.26 bins
    ASSERT_EQ(stage_.init(), 0);
    EXPECT_EQ(forward().halfLineDist, 0.1F);
    EXPECT_EQ(forward().lineIndices[44], 3);
    EXPECT_EQ(forward().offset[44], 0.0F);
    EXPECT_EQ(forward().offset[45], -1.0F);
    EXPECT_EQ(forward().offset[54], -1.0F);
    EXPECT_NE(forward().offset[55], -1.0F);
}

TEST_F(MultiFreqTables, AHalfLineDistOfZeroIsNotTaken) {
    stage_.param.halfLineDist = 0.0F;
    ASSERT_EQ(stage_.init(), 0);
    EXPECT_FLOAT_EQ(forward().halfLineDist, 7.0F * forward().lutResolution);
}

// 0.7 m are 15.85, thus 16 bins: more than the 14 from line to line. The first line spreads to bin 16 and
// hides the line of bin 14; the next to be found is that of bin 28, which takes back bins 12 to 16, and so
// on.
TEST_F(MultiFreqTables, WiderLinesThanTheirSpacingHideEachOther) {
    stage_.param.halfLineDist = 0.7F;
    ASSERT_EQ(stage_.init(), 0);
    const TwoFreqLUT& lut = forward();
    EXPECT_EQ(lut.lineIndices[11], 0);
    EXPECT_EQ(lut.lineIndices[12], 1);  // the line of bin 28
    EXPECT_NEAR(lut.offset[14], 2.4982704F, 2e-6F);
    EXPECT_EQ(lut.lineIndices[40], 1);
    EXPECT_EQ(lut.lineIndices[41], 2);  // the line of bin 57
    EXPECT_EQ(lut.lineIndices[68], 2);
    EXPECT_EQ(lut.lineIndices[69], 3);  // the line of bin 85
    EXPECT_EQ(lut.lineIndices[99], 3);
    EXPECT_EQ(lut.offsetLut[3], 0.0F);
    EXPECT_EQ(lut.offsetLut[4], 0.0F);
    for (const int index : lut.lineIndices) {
        EXPECT_LE(index, 3);
    }
}

TEST_F(MultiFreqTables, AHalfLineDistBeyondTheTableMakesOneLine) {
    for (const float halfLineDist : {1e9F, kInfinity, std::numeric_limits<float>::max()}) {
        stage_.param.halfLineDist = halfLineDist;
        ASSERT_EQ(stage_.init(), 0);
        for (int k = 0; k < kTwoFreqBins; ++k) {
            ASSERT_EQ(forward().lineIndices[k], 0);
            ASSERT_EQ(forward().offset[k], 0.0F);
            ASSERT_EQ(forward().abscissa[k], forward().abscissa[0]);
        }
    }
}

TEST_F(MultiFreqTables, AHalfLineDistOfNaNIsNotTaken) {
    stage_.param.halfLineDist = kNaN;
    ASSERT_EQ(stage_.init(), 0);
    EXPECT_FLOAT_EQ(forward().halfLineDist, 7.0F * forward().lutResolution);
}

TEST_F(MultiFreqTables, FillLookupKeepsAbscissaeAndNumbersOfOtherBins) {
    TwoFreqLUT lut = {};
    for (int k = 0; k < kTwoFreqBins; ++k) {
        lut.abscissa[k] = 77.0F;
        lut.lineIndices[k] = 78;
        lut.offsetLut[k] = 79.0F;
    }
    float range = 2.0F;
    ASSERT_EQ(fillLookup(2.5F, 2.0F, &range, 0.05F, &lut), 0);
    EXPECT_EQ(lut.offset[60], -1.0F);
    EXPECT_EQ(lut.abscissa[60], 77.0F);
    EXPECT_EQ(lut.lineIndices[60], 78);
    EXPECT_EQ(lut.offsetLut[50], 79.0F);
    EXPECT_EQ(range, 2.0F);
}

TEST_F(MultiFreqTables, FillLookupEqualsTheRule) {
    Random random(51);
    SCOPED_TRACE(random.seedText());
    int built = 0;
    for (int round = 0; round < 3000; ++round) {
        const float UR1 = round % 3 == 0 ? static_cast<float>(random.integer(1, 12)) * 0.5F
                                         : kHalfSpeedOfLight / random.real(5e6F, 120e6F);
        const float UR2 = round % 3 == 0 ? static_cast<float>(random.integer(1, 12)) * 0.5F
                                         : kHalfSpeedOfLight / random.real(5e6F, 120e6F);
        const float maxRange = random.bits() % 2 == 0 ? -1.0F : random.real(0.0F, 30.0F);
        const float halfLineDist = random.bits() % 2 == 0 ? 0.0F : random.real(0.0F, 1.5F);
        TwoFreqLUT lut = {};
        TwoFreqLUT expected = {};
        float range = maxRange;
        float expectedRange = maxRange;
        const bool possible = rule::twoFreqTable(UR1, UR2, expectedRange, halfLineDist, expected);
        ASSERT_EQ(fillLookup(UR1, UR2, &range, halfLineDist, &lut) == 0, possible)
            << UR1 << " " << UR2 << " " << maxRange;
        if (!possible) {
            continue;
        }
        ++built;
        ASSERT_EQ(std::bit_cast<uint32_t>(range), std::bit_cast<uint32_t>(expectedRange));
        ASSERT_TRUE(sameFloats(lut.offset, expected.offset, kTwoFreqBins)) << UR1 << " " << UR2;
        ASSERT_TRUE(sameFloats(lut.abscissa, expected.abscissa, kTwoFreqBins)) << UR1 << " " << UR2;
        ASSERT_TRUE(sameValues(lut.lineIndices, expected.lineIndices, kTwoFreqBins)) << UR1 << " " << UR2;
        ASSERT_TRUE(sameFloats(lut.offsetLut, expected.offsetLut, kTwoFreqBins)) << UR1 << " " << UR2;
        ASSERT_TRUE(sameFloats(&lut.lutResolution, &expected.lutResolution, 1));
        ASSERT_TRUE(sameFloats(&lut.lutOffset, &expected.lutOffset, 1));
        ASSERT_TRUE(sameFloats(&lut.halfLineDist, &expected.halfLineDist, 1));
        ASSERT_EQ(lut.autoMaxRange, expected.autoMaxRange);
    }
    EXPECT_GT(built, 500);
}

TEST_F(MultiFreqTables, FillLookupEndsForAnyRanges) {
    Random random(52);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 20000; ++round) {
        TwoFreqLUT lut = {};
        float range = random.anyFloat();
        const int32_t result =
            fillLookup(random.anyFloat(), random.anyFloat(), &range, random.anyFloat(), &lut);
        ASSERT_TRUE(result == 0 || result == 1);
        for (const int index : lut.lineIndices) {
            ASSERT_TRUE(index >= 0 && index < kTwoFreqBins);
        }
    }
}

TEST_F(MultiFreqTables, ADifferenceOutsideTheTableFails) {
    TwoFreqLUT lut = {};
    float range = 1.0F;
    EXPECT_EQ(fillLookup(-1.0F, 2.0F, &range, 0.0F, &lut), 1);  // (0 + 2) / 0.0101 is bin 198
    EXPECT_EQ(stage_.lines(), Lines({522}));
    EXPECT_EQ(stage_.firstText(), "Index out of range");
}

TEST_F(MultiFreqTables, FillLookupWithoutRangeFails) {
    TwoFreqLUT lut = {};
    EXPECT_EQ(fillLookup(2.5F, 2.0F, nullptr, 0.0F, &lut), 1);
    EXPECT_EQ(stage_.lines(), Lines({486}));
}

TEST_F(MultiFreqTables, FillLookupWithoutTableFails) {
    float range = -1.0F;
    EXPECT_EQ(fillLookup(2.5F, 2.0F, &range, 0.0F, nullptr), 1);
}

// --- Ratio of two ranges -------------------------------------------------------------------------

TEST_F(MultiFreqTables, TheRatioOfFiveToFourQuartersIsWhole) {
    float x = 0.0F;
    float halfLineDist = 0.0F;
    float range = 0.0F;
    ASSERT_EQ(calcFrequencyRatio(1.25F, 1.0F, &x, &halfLineDist, &range), 0);
    EXPECT_EQ(x, 1.0F);
    EXPECT_EQ(halfLineDist, 0.125F);
    EXPECT_EQ(range, 5.0F);
}

TEST_F(MultiFreqTables, TheRatioDoesNotDependOnTheOrder) {
    float x[2];
    float halfLineDist[2];
    float range[2];
    ASSERT_EQ(calcFrequencyRatio(2.5F, 1.5F, &x[0], &halfLineDist[0], &range[0]), 0);
    ASSERT_EQ(calcFrequencyRatio(1.5F, 2.5F, &x[1], &halfLineDist[1], &range[1]), 0);
    EXPECT_EQ(x[0], 2.0F);  // 2.5 and 1.5 need the factor 2
    EXPECT_EQ(halfLineDist[0], 0.25F);
    EXPECT_EQ(x[0], x[1]);
    EXPECT_EQ(halfLineDist[0], halfLineDist[1]);
    EXPECT_EQ(range[0], range[1]);
    EXPECT_FLOAT_EQ(range[0], 7.5F);
}

TEST_F(MultiFreqTables, TheMultiplierNineIsTheLast) {
    float x = 0.0F;
    float halfLineDist = 0.0F;
    float range = 0.0F;
    EXPECT_EQ(calcFrequencyRatio(19.0F, 10.0F, &x, &halfLineDist, &range), 0);  // 19 / 9 and 10 / 9
    EXPECT_EQ(x, 9.0F);
    EXPECT_EQ(calcFrequencyRatio(21.0F, 11.0F, &x, &halfLineDist, &range),
              1);  // 2.1 and 1.1 need the factor 10
    EXPECT_EQ(x, 0.0F);
}

TEST_F(MultiFreqTables, EqualRangesHaveNoRatio) {
    float x = 0.0F;
    float halfLineDist = 0.0F;
    float range = 0.0F;
    EXPECT_EQ(calcFrequencyRatio(2.0F, 2.0F, &x, &halfLineDist, &range), 1);
    EXPECT_EQ(stage_.lines(), Lines({462}));
    EXPECT_EQ(stage_.firstText(), "Unable to calculate the ratio between the two frequencies");
}

TEST_F(MultiFreqTables, TheRatioNeedsAllItsResults) {
    float v = 0.0F;
    EXPECT_EQ(calcFrequencyRatio(1.25F, 1.0F, nullptr, &v, &v), 1);
    EXPECT_EQ(calcFrequencyRatio(1.25F, 1.0F, &v, nullptr, &v), 1);
    EXPECT_EQ(calcFrequencyRatio(1.25F, 1.0F, &v, &v, nullptr), 1);
    EXPECT_EQ(stage_.lines(), Lines({425, 426, 427}));
}

TEST_F(MultiFreqTables, TheRatioIsDefinedForAnyRanges) {
    Random random(53);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 20000; ++round) {
        const float UR1 = random.anyFloat();
        const float UR2 = random.anyFloat();
        float x[2] = {};
        float halfLineDist[2] = {};
        float range[2] = {};
        const bool possible = rule::frequencyRatio(UR1, UR2, x[1], halfLineDist[1], range[1]);
        ASSERT_EQ(calcFrequencyRatio(UR1, UR2, &x[0], &halfLineDist[0], &range[0]) == 0, possible);
        ASSERT_EQ(x[0], x[1]);
        if (possible) {
            ASSERT_TRUE(sameFloats(&halfLineDist[0], &halfLineDist[1], 1));
            ASSERT_TRUE(sameFloats(&range[0], &range[1], 1));
        }
    }
}

// --- Numbers of pairs ----------------------------------------------------------------------------

TEST_F(MultiFreqTables, CombinationsOfThreeFrequenciesAreNumberedInOrder) {
    EXPECT_EQ(getCombinationIndex(0, 1, 3), 0);
    EXPECT_EQ(getCombinationIndex(0, 2, 3), 1);
    EXPECT_EQ(getCombinationIndex(1, 2, 3), 2);
}

TEST_F(MultiFreqTables, FourFrequenciesHaveSixCombinations) {
    int64_t expected = 0;
    for (int32_t a = 0; a < 4; ++a) {
        for (int32_t b = a + 1; b < 4; ++b) {
            EXPECT_EQ(getCombinationIndex(a, b, 4), expected++);
        }
    }
    EXPECT_EQ(expected, kFrequencyPairs);
}

TEST_F(MultiFreqTables, ACombinationIsTheSumOfWhatStandsBeforeIt) {
    constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
    for (const int32_t count : {2, 5, 100, kMost}) {
        int64_t before = 0;
        for (int32_t a = 0; a < 4; ++a) {
            EXPECT_EQ(getCombinationIndex(a, a + 1, count), before) << count;
            before += int64_t{count} - a - 1;
        }
    }
}

// --- The hopping table ---------------------------------------------------------------------------

TEST_F(MultiFreqTables, OnlyPairsThatFollowOneAnotherGetATable) {
    stage_.setFrequencies({60e6F, 75e6F, 100e6F});
    stage_.hopping = {{{2, 1, 1}, {0, 0, 1}}, 2};
    ASSERT_EQ(stage_.init(), 0);
    constexpr int16_t kExpected[] = {-1, 0, -1, -1, -1, -1};  // (0, 2) alone
    EXPECT_TRUE(sameValues(stage_.state->frequencyHoppingIndices, kExpected, kFrequencyPairs));
    EXPECT_GT(stage_.state->uniqueRangesTwoFreq[0], 0.0F);
    EXPECT_EQ(stage_.state->uniqueRangesTwoFreq[1], 0.0F);
    EXPECT_EQ(backward(1).lutResolution, 0.0F);
}

TEST_F(MultiFreqTables, TablesAreNumberedInTheOrderOfTheirFirstHop) {
    stage_.useThreeFrequencies();
    ASSERT_EQ(stage_.init(), 0);
    constexpr int16_t kExpected[] = {0, 2, 1, -1, -1, -1};  // (0, 1), (1, 2), (2, 0)
    EXPECT_TRUE(sameValues(stage_.state->frequencyHoppingIndices, kExpected, kFrequencyPairs));
}

TEST_F(MultiFreqTables, AnEntryWithoutSuccessorsIsNotLookedAt) {
    stage_.hopping.frequencyHoppingTable[1] = {1, 65535, 0};
    EXPECT_EQ(stage_.init(), 0);
}

TEST_F(MultiFreqTables, AnEntryMayHaveSeveralSuccessors) {
    stage_.setFrequencies({60e6F, 75e6F, 100e6F, 80e6F});
    stage_.hopping = {{{0, 1, 3}, {1, 0, 1}, {2, 0, 1}, {3, 0, 1}}, 2};
    ASSERT_EQ(stage_.init(), 0);
    constexpr int16_t kExpected[] = {0, 1, 2, -1, -1, -1};
    EXPECT_TRUE(sameValues(stage_.state->frequencyHoppingIndices, kExpected, kFrequencyPairs));
}

TEST_F(MultiFreqTables, AFrequencyThatFollowsItselfFails) {
    stage_.hopping.frequencyHoppingTable[1].nextline = 1;
    expectFailure({981, 121}, "Error in frequency hopping table");
}

TEST_F(MultiFreqTables, AHopBeyondTheFourEntriesFails) {
    const HoppingTableEntry good = stage_.hopping.frequencyHoppingTable[0];
    for (const HoppingTableEntry bad :
         {HoppingTableEntry{0, 4, 1}, HoppingTableEntry{0, 65535, 65535}, HoppingTableEntry{0, 65535, 1}}) {
        stage_.hopping.frequencyHoppingTable[0] = bad;
        stage_.forgetErrors();
        EXPECT_EQ(stage_.init(), 1);
        EXPECT_EQ(stage_.firstText(), "Error in frequency hopping table");
        EXPECT_EQ(stage_.lines().back(), 121);
    }
    stage_.hopping.frequencyHoppingTable[0] = good;
    EXPECT_EQ(stage_.init(), 0);
}

TEST_F(MultiFreqTables, ASuccessorListThatRunsBeyondTheFourEntriesFails) {
    stage_.setFrequencies({60e6F, 75e6F, 100e6F, 80e6F});
    stage_.hopping = {{{0, 1, 4}, {1, 0, 1}, {2, 0, 1}, {3, 0, 1}}, 2};
    EXPECT_EQ(stage_.init(), 1);
    EXPECT_EQ(stage_.lines().back(), 121);
}

TEST_F(MultiFreqTables, AnIdWithoutFrequencyFails) {
    for (const uint16_t fid : {uint16_t{2}, uint16_t{3}, uint16_t{4}, uint16_t{65535}}) {
        stage_.hopping.frequencyHoppingTable[1].fid = fid;
        stage_.forgetErrors();
        EXPECT_EQ(stage_.init(), 1) << fid;
        EXPECT_EQ(stage_.lines().back(), 121);
    }
}

TEST_F(MultiFreqTables, AnIdBeyondTheFourSlotsFailsWhateverTheCountSays) {
    stage_.calib.freqCount = std::numeric_limits<int32_t>::max();
    stage_.hopping.frequencyHoppingTable[1].fid = 5;
    EXPECT_EQ(stage_.init(), 1);
    EXPECT_EQ(stage_.lines().back(), 121);
}

TEST_F(MultiFreqTables, MoreFrequenciesThanTheTablesHaveCombinationsForFail) {
    stage_.setFrequencies({60e6F, 80e6F, 70e6F, 65e6F, 90e6F});
    expectFailure({657, 127}, "");
    stage_.calib.freqCount = std::numeric_limits<int32_t>::max();
    expectFailure({657, 127}, "");
}

// --- Frequencies ---------------------------------------------------------------------------------

// 80 / (80 - 30.56) = 1.618: the golden ratio comes close to no whole number.
TEST_F(MultiFreqTables, FrequenciesWithoutCommonMultiplierFail) {
    stage_.setFrequencies({80e6F, 30.557e6F});
    expectFailure({462, 504, 672, 127}, "Unable to calculate the ratio between the two frequencies");
}

TEST_F(MultiFreqTables, FrequenciesWithoutCommonMultiplierServeAFixedRange) {
    stage_.setFrequencies({80e6F, 30.557e6F});
    stage_.param.maxRange = 6.0F;
    EXPECT_EQ(stage_.init(), 0);
}

TEST_F(MultiFreqTables, TwoEqualFrequenciesFail) {
    stage_.setFrequencies({60e6F, 60e6F});
    expectFailure({462, 504, 672, 127}, "Unable to calculate the ratio between the two frequencies");
    stage_.param.maxRange = 6.0F;  // both wrap together: the last bin
    expectFailure({545, 672, 127}, "");
}

TEST_F(MultiFreqTables, ANegativeFrequencyFails) {
    for (const float maxRange : {-1.0F, 6.0F}) {
        stage_.param.maxRange = maxRange;
        stage_.setFrequencies({-60e6F, 80e6F});
        expectFailure({669, 127}, "Frequency setting invalid");
        stage_.setFrequencies({60e6F, -80e6F});
        expectFailure({669, 127}, "Frequency setting invalid");
    }
}

TEST_F(MultiFreqTables, AnInfiniteFrequencyFails) {
    stage_.setFrequencies({60e6F, kInfinity});  // a unique range of 0
    expectFailure({669, 127}, "Frequency setting invalid");
}

TEST_F(MultiFreqTables, AFrequencyOfZeroFails) {
    for (const std::vector<float>& frequencies : {std::vector<float>{0.0F, 80e6F}, {60e6F, 0.0F}}) {
        stage_.setFrequencies(frequencies);
        stage_.param.maxRange = -1.0F;
        expectFailure({462, 504, 672, 127}, "");
        stage_.param.maxRange = 6.0F;
        expectFailure({545, 672, 127}, "");
    }
    stage_.setFrequencies({0.0F, 0.0F});
    expectFailure({522, 672, 127}, "");
}

TEST_F(MultiFreqTables, AFrequencyOfNaNFails) {
    for (const std::vector<float>& frequencies :
         {std::vector<float>{kNaN, 80e6F}, {60e6F, kNaN}, {kNaN, kNaN}}) {
        stage_.setFrequencies(frequencies);
        stage_.param.maxRange = -1.0F;
        expectFailure({462, 504, 672, 127}, "");
        stage_.param.maxRange = 6.0F;
        expectFailure({522, 672, 127}, "");
    }
}

TEST_F(MultiFreqTables, APairOfOneFrequencyFails) {
    ASSERT_EQ(stage_.init(), 0);
    EXPECT_EQ(create2QLookup(*stage_.state, stage_.param, stage_.calib, 1, 1), 1);
    EXPECT_EQ(stage_.lines(), Lines({651}));
    EXPECT_EQ(stage_.firstText(), "Unable to create two freq lookup for identical frequencies");
}

TEST_F(MultiFreqTables, ATableNumberAboveFiveFails) {
    ASSERT_EQ(stage_.init(), 0);
    stage_.state->frequencyHoppingIndices[0] = 6;
    EXPECT_EQ(create2QLookup(*stage_.state, stage_.param, stage_.calib, 0, 1), 1);
    EXPECT_EQ(stage_.lines(), Lines({650}));
}

TEST_F(MultiFreqTables, IdsOutsideTheFrequenciesFail) {
    ASSERT_EQ(stage_.init(), 0);
    std::fill_n(stage_.state->frequencyHoppingIndices, kFrequencyPairs, int16_t{0});
    EXPECT_EQ(create2QLookup(*stage_.state, stage_.param, stage_.calib, 2, 3), 1);
    EXPECT_EQ(create2QLookup(*stage_.state, stage_.param, stage_.calib, 0, -1), 1);
    EXPECT_EQ(create2QLookup(*stage_.state, stage_.param, stage_.calib, 0, 2), 1);
    EXPECT_EQ(stage_.lines(), Lines({655, 656, 656}));
}

TEST_F(MultiFreqTables, APairWithoutTableNumberIsSkipped) {
    ASSERT_EQ(stage_.init(), 0);
    stage_.state->frequencyHoppingIndices[0] = -1;
    EXPECT_EQ(create2QLookup(*stage_.state, stage_.param, stage_.calib, 0, 1), 0);
}

// Beyond 0.99 of the range both frequencies wrap together, and both tables meet a corner.
TEST_F(MultiFreqTables, ForwardAndBackwardTablesEndTogether) {
    for (int step = 1; step < 200; ++step) {
        stage_.param.maxRange = static_cast<float>(step) * 0.05F;
        stage_.forgetErrors();
        const int32_t result = stage_.init();
        EXPECT_EQ(stage_.lines(), result == 0 ? Lines() : Lines({545, 672, 127})) << stage_.param.maxRange;
        EXPECT_EQ(result, stage_.param.maxRange * 0.99F < 7.4948F ? 0 : 1) << stage_.param.maxRange;
    }
}

// Unique ranges 395 t and 199 t with t = 0.015 m: bins of 6 t. After a wrap of each, d1 - d2 = -196 t lies 3
// t, half a bin, beside the corner: rounding puts it into bin 1 of the forward table, but into bin 99 of the
// backward one.
TEST_F(MultiFreqTables, ABackwardTableThatAloneReachesACornerFails) {
    stage_.setFrequencies({25298940.0F, 50216488.0F});
    stage_.param.maxRange = 6.0F;
    expectFailure({545, 674, 127}, "");
    EXPECT_GT(forward().lutResolution, 0.0F);
}

// --- Initialisation ------------------------------------------------------------------------------

TEST_F(MultiFreqTables, OneFrequencyNeedsNoTables) {
    stage_.calib.frequencyMode = MultiFreq_FModeSingleFreq;
    stage_.hopping.frequencyHoppingTableLength = 1;
    std::fill_n(stage_.state->frequencyHoppingIndices, kFrequencyPairs, int16_t{77});
    EXPECT_EQ(stage_.init(), 0);
    EXPECT_EQ(stage_.state->frequencyHoppingIndices[0], 77);
    EXPECT_EQ(stage_.state->frequencyHoppingIndices[5], 77);
    EXPECT_EQ(forward().lutResolution, 0.0F);
    EXPECT_TRUE(stage_.lines().empty());
}

TEST_F(MultiFreqTables, InitForgetsTablesResultsAndHistory) {
    std::memset(stage_.state.get(), 0x41, sizeof *stage_.state);
    stage_.calib.frequencyMode = MultiFreq_FModeSingleFreq;
    stage_.hopping.frequencyHoppingTableLength = 1;
    ASSERT_EQ(stage_.init(), 0);
    const MultiFreqState& state = *stage_.state;
    EXPECT_EQ(state.prevFreqIdx, -1);
    EXPECT_EQ(state.prevPrevFreqIdx, -1);
    EXPECT_EQ(state.rollingCounter, 0);
    for (size_t h = 0; h < kFrequencyPairs; ++h) {
        EXPECT_EQ(state.uniqueRangesTwoFreq[h], 0.0F);
        EXPECT_EQ(state.LUTForward[h].offsetLut[99], 0.0F);
        EXPECT_EQ(state.LUTBackward[h].offset[0], 0.0F);
    }
    for (const IntermediateRes3Freq& result : state.intermediateResults) {
        EXPECT_EQ(result.distance[0], 0.0F);
        EXPECT_EQ(result.confidence[kPixelCount - 1], 0);
    }
    EXPECT_EQ(state.assign2Q, 0x41414141);
    EXPECT_EQ(state.threeFreqCombine, 0x41414141);
    EXPECT_EQ(state.precedingFreqIdx, 0x41414141);
    EXPECT_EQ(std::bit_cast<uint32_t>(state.effectiveMeasurementRange), 0x41414141U);
    EXPECT_EQ(std::bit_cast<uint32_t>(state.halfLineDist3Freq), 0x41414141U);
}

TEST_F(MultiFreqTables, InitTestsItsPointersInOrder) {
    EXPECT_EQ(MultiFreq_Init(nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(MultiFreq_Init(stage_.state.get(), nullptr, nullptr), 1);
    EXPECT_EQ(MultiFreq_Init(stage_.state.get(), &stage_.param, nullptr), 1);
    EXPECT_EQ(stage_.lines(), Lines({82, 83, 84}));
    const Ref<float32_t> frequencies = stage_.calib.frequencies;
    stage_.calib.frequencies = nullptr;
    expectFailure({85}, "ERR@MultiFreq:85");
    stage_.calib.frequencies = frequencies;
    stage_.calib.hoppingTable = nullptr;
    expectFailure({86}, "ERR@MultiFreq:86");
}

TEST_F(MultiFreqTables, AFrequencyCountBelowOneFails) {
    for (const int32_t count : {0, -1, std::numeric_limits<int32_t>::min()}) {
        stage_.calib.freqCount = count;
        expectFailure({87}, "Frequency count invalid.");
    }
}

TEST_F(MultiFreqTables, TheHoppingTableHasOneEntryPerFrequency) {
    struct Case {
        MultiFreq_FrequencyMode mode;
        int32_t length;
        int32_t line;
        const char* text;
    };
    constexpr Case kCases[] = {
        {MultiFreq_FModeSingleFreq, 1, 92,
         "hopping table must contain exactly one entry in single freq mode"},
        {MultiFreq_FModeTwoFreq, 2, 96, "hopping table must contain exactly two entries in two freq mode"},
        {MultiFreq_FModeThreeFreq, 3, 100,
         "hopping table must contain exactly three entries in three freq mode"}};
    for (const Case& c : kCases) {
        stage_.calib.frequencyMode = c.mode;
        for (const int32_t length : {-2147483647 - 1, -1, 0, 1, 2, 3, 4, 2147483647}) {
            if (length != c.length) {
                stage_.hopping.frequencyHoppingTableLength = length;
                expectFailure({c.line}, c.text);
            }
        }
    }
}

TEST_F(MultiFreqTables, AnUnknownModeFails) {
    for (const int32_t mode : {-1, 3, 4, 2147483647}) {
        stage_.calib.frequencyMode = static_cast<MultiFreq_FrequencyMode>(mode);
        expectFailure({104}, "Unsupported frequency mode");
    }
}

// --- Three frequencies ---------------------------------------------------------------------------

// 60, 75 and 100 MHz. Ranges of the pairs, half the speed of light over the common divisor: (0, 1) c / 15 MHz
// = 9.993, (1, 2) c / 25 MHz = 5.996, (0, 2) c / 20 MHz = 7.495; tables 0, 1, 2. The combinations of the hops
// are 0, 2, 1. The range at the number of combination 2, 7.495, is taken since that of its table, 5.996, is
// smaller than 9.993.
TEST_F(MultiFreqTables, ThreeFrequenciesHaveTheRangeAtTheNumberOfTheCombination) {
    stage_.useThreeFrequencies();
    ASSERT_EQ(stage_.init(), 0);
    EXPECT_NEAR(stage_.state->uniqueRangesTwoFreq[0], 9.993082F, 2e-5F);
    EXPECT_NEAR(stage_.state->uniqueRangesTwoFreq[1], 5.995849F, 2e-5F);
    EXPECT_NEAR(stage_.state->uniqueRangesTwoFreq[2], 7.494811F, 2e-5F);
    EXPECT_EQ(stage_.state->effectiveMeasurementRange, stage_.state->uniqueRangesTwoFreq[2]);
    // Ratio of the second and third hop: 7.494811 - 5.995849, whole multiples 5 and 4.
    EXPECT_NEAR(stage_.state->halfLineDist3Freq, 0.749481F, 2e-5F);
}

// 100, 75 and 60 MHz: ranges 5.996 of (0, 1) and 9.993 of (1, 2); (0, 2) has no table. The range of 0 of the
// last hop is smaller than 5.996, so the range at its number, 1, is taken.
TEST_F(MultiFreqTables, APairOfThreeFrequenciesWithoutTableCountsAsRangeZero) {
    stage_.useThreeFrequencies();
    stage_.setFrequencies({100e6F, 75e6F, 60e6F});
    stage_.hopping.frequencyHoppingTable[2] = {2, 1, 1};  // 2 is followed by 1
    ASSERT_EQ(stage_.init(), 0);
    EXPECT_EQ(stage_.state->frequencyHoppingIndices[1], -1);
    EXPECT_EQ(stage_.state->effectiveMeasurementRange, stage_.state->uniqueRangesTwoFreq[1]);
    EXPECT_NEAR(stage_.state->effectiveMeasurementRange, 9.993082F, 2e-5F);
    // The ratio of 9.993 and 0: half of the difference.
    EXPECT_FLOAT_EQ(stage_.state->halfLineDist3Freq, stage_.state->uniqueRangesTwoFreq[1] * 0.5F);
}

TEST_F(MultiFreqTables, AnEffectiveRangeOfZeroFails) {
    stage_.useThreeFrequencies();
    // Tables 0 and 1 for (0, 1) and (0, 2); (1, 2) has none, and no range stands at its number 2.
    stage_.hopping = {{{0, 1, 2}, {1, 0, 1}, {2, 0, 1}}, 3};
    expectFailure({169}, "effectiveMeasurementRange is zero!");
}

TEST_F(MultiFreqTables, PairsOfEqualRangeHaveNoRatio) {
    stage_.useThreeFrequencies();
    stage_.setFrequencies({60e6F, 80e6F, 100e6F});  // (0, 1) and (1, 2): both c / 20 MHz
    expectFailure({462, 156}, "Unable to calculate the ratio between the two frequencies");
}

TEST_F(MultiFreqTables, ThreeFrequenciesNeedThreeIds) {
    stage_.useThreeFrequencies();
    stage_.hopping = {{{0, 1, 1}, {1, 0, 1}, {9, 0, 0}}, 3};
    EXPECT_EQ(stage_.init(), 1);
    EXPECT_EQ(stage_.lines().size(), 1U);
}

}  // namespace
