// SPDX-License-Identifier: Apache-2.0
//
// The list of exposure times to choose from, against lists written out by hand.
#include "AutoExposureCandidates.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <utility>
#include <vector>

#include "AutoExposureStage.h"
#include "support/Random.h"

namespace {

using testing_support::AutoExposureStage;
using testing_support::Random;

using Pairs = std::vector<std::pair<uint32_t, uint32_t>>;

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();

class Candidates : public ::testing::Test, protected AutoExposureStage {
 protected:
    Pairs build() {
        const uint32_t count = buildCandidates(input.get(), param.get(), state.get());
        Pairs pairs;
        for (uint32_t i = 0; i < count; ++i) {
            pairs.emplace_back(state->validExpTimes[i][0], state->validExpTimes[i][1]);
        }
        return pairs;
    }

    void useTwoExposures(int32_t minFactor, int32_t maxFactor) {
        setTimes(50, 100);
        input->settings.minLongShortFactor = minFactor;
        input->settings.maxLongShortFactor = maxFactor;
    }

    void useFactor(float factor) {
        for (SingleAlgoSettings& settings : input->specificSettings) {
            settings.expTimeFactorBetweenSettings = factor;
        }
    }
};

/** Times of one exposure as pairs. */
Pairs single(std::vector<uint32_t> times) {
    Pairs pairs;
    for (const uint32_t time : times) {
        pairs.emplace_back(time, 0);
    }
    return pairs;
}

// --- The next time ---

TEST(NextExposureTime, IsTheProductRoundedToTheGrid) {
    EXPECT_EQ(getNextExposureTime(50, 1.5F, 2000, 50), 100);   // 75.5, cut 75, in fifties 1.5: 100
    EXPECT_EQ(getNextExposureTime(100, 1.5F, 2000, 50), 150);  // 150
    EXPECT_EQ(getNextExposureTime(150, 1.5F, 2000, 50), 250);  // 225
    EXPECT_EQ(getNextExposureTime(250, 1.5F, 2000, 50), 400);  // 375
    EXPECT_EQ(getNextExposureTime(3, 1.5F, 2000, 1), 5);       // 4.5 + 0.5
    EXPECT_EQ(getNextExposureTime(3, 1.4F, 2000, 1), 4);       // 4.2 + 0.5
}

TEST(NextExposureTime, RisesEvenWhereTheProductDoesNot) {
    EXPECT_EQ(getNextExposureTime(50, 1.0F, 2000, 50), 100);
    EXPECT_EQ(getNextExposureTime(50, 1.1F, 2000, 50), 100);
    EXPECT_EQ(getNextExposureTime(50, 0.0F, 2000, 50), 100);
    EXPECT_EQ(getNextExposureTime(50, -3.0F, 2000, 50), 100);
    EXPECT_EQ(getNextExposureTime(50, std::numeric_limits<float>::quiet_NaN(), 2000, 50), 100);
    EXPECT_EQ(getNextExposureTime(0, 1.5F, 2000, 50), 50);
}

TEST(NextExposureTime, StopsAtTheMaximumOnTheWayUp) {
    EXPECT_EQ(getNextExposureTime(900, 1.5F, 1300, 50), 1300);   // 1350
    EXPECT_EQ(getNextExposureTime(900, 1.5F, 1320, 50), 1300);   // the grid's nearest
    EXPECT_EQ(getNextExposureTime(900, 1.5F, 1330, 50), 1350);   // the grid's nearest lies beyond
    EXPECT_EQ(getNextExposureTime(1300, 1.5F, 1300, 50), 1950);  // there is no holding at the top
    EXPECT_EQ(getNextExposureTime(900, 1.5F, 1350, 50), 1350);
}

TEST(NextExposureTime, SaturatesBeforeTheIntegersEnd) {
    EXPECT_EQ(getNextExposureTime(kMax - 1, 1.5F, kMax, 1), kMax);
    EXPECT_EQ(getNextExposureTime(kMax, 1e30F, kMax, 1), int64_t{kMax} + 1);
    EXPECT_EQ(getNextExposureTime(100, std::numeric_limits<float>::infinity(), kMax, 1), kMax);
    EXPECT_EQ(getNextExposureTime(100, 1.5F, 2000, 0), 150);  // a grid of 0 counts as 1
}

// --- One exposure ---

TEST_F(Candidates, OfOneExposureRiseByHalfOnTheGrid) {
    param->maxExpTime = 2000;
    param->maxSumExpTime = 2000;
    EXPECT_EQ(build(), single({50, 100, 150, 250, 400, 600, 900, 1350, 2000}));
}

TEST_F(Candidates, OfOneExposureEndAtBothLimits) {
    EXPECT_EQ(build(), single({50, 100, 150, 250, 400, 600, 900, 1300}));  // the sum allows 1300
    param->maxExpTime = 620;
    EXPECT_EQ(build(),
              single({50, 100, 150, 250, 400, 600}));  // then 900, cut to 620, on the grid 600 again: 650
    param->maxExpTime = 50;
    EXPECT_EQ(build(), single({50}));
    param->maxExpTime = 49;
    EXPECT_EQ(build(), Pairs());
}

TEST_F(Candidates, OfOneExposureAreNoMoreThanTheBaseTimes) {
    input->specificSettings[0].numExpTimesBase = 3;
    EXPECT_EQ(build(), single({50, 100, 150}));
    input->specificSettings[0].numExpTimesBase = 0;
    EXPECT_EQ(build(), Pairs());
}

TEST_F(Candidates, OfOneExposureBeginAtTheLowerLimit) {
    input->settings.expTimeLowerLimit = 250;
    EXPECT_EQ(build(), single({250, 400, 600, 900, 1300}));
    input->settings.expTimeLowerLimit = 251;
    EXPECT_EQ(build(), single({400, 600, 900, 1300}));
}

TEST_F(Candidates, BelowTheLowerLimitTheLastStoredIsTheOnlyOne) {
    input->settings.expTimeLowerLimit = 5000;
    EXPECT_EQ(build(), single({1300}));
    input->settings.expTimeLowerLimit = 0xFFFFFFFFU;
    EXPECT_EQ(build(), single({1300}));
}

TEST_F(Candidates, AreAtMost500) {
    param->maxExpTime = 100000;
    param->maxSumExpTime = 100000;
    input->specificSettings[0].numExpTimesBase = 0xFFFFFFFFU;
    useFactor(1.0F);
    const Pairs pairs = build();
    ASSERT_EQ(pairs.size(), 500U);
    EXPECT_EQ(pairs.front().first, 50U);
    EXPECT_EQ(pairs.back().first, 25000U);
    setTimes(50, 100);
    input->specificSettings[1].numExpTimesBase = 0xFFFFFFFFU;
    EXPECT_EQ(build().size(), 500U);
    param->maintainIntegerFactor = 1;
    EXPECT_EQ(build().size(), 500U);
}

// --- Two exposures ---

TEST_F(Candidates, OfTwoExposuresRiseByHalfBetweenTheTwoFactors) {
    useTwoExposures(2, 4);
    param->maxExpTime = 1000;
    // Long times of 250: 500, 750, then 1125 cut to 1000. Of 400: 800, then 1200 cut to 1300 - 400. Of 600
    // and more: twice that is beyond 1000.
    EXPECT_EQ(build(), (Pairs{{50, 100},
                              {50, 150},
                              {100, 200},
                              {100, 300},
                              {150, 300},
                              {150, 450},
                              {250, 500},
                              {250, 750},
                              {250, 1000},
                              {400, 800},
                              {400, 900}}));
}

TEST_F(Candidates, OfTwoExposuresCountFromTheLowerLimitOfTheLongTimeOn) {
    useTwoExposures(2, 4);
    param->maxExpTime = 1000;
    input->settings.expTimeLowerLimit = 450;
    EXPECT_EQ(build(), (Pairs{{150, 450}, {250, 500}, {250, 750}, {250, 1000}, {400, 800}, {400, 900}}));
    input->settings.expTimeLowerLimit = 1001;
    EXPECT_EQ(build(), (Pairs{{400, 900}}));
}

TEST_F(Candidates, OfTwoExposuresMayKeepAWholeFactor) {
    useTwoExposures(2, 4);
    param->maintainIntegerFactor = 1;
    param->maxExpTime = 700;
    param->maxSumExpTime = 750;
    EXPECT_EQ(build(), (Pairs{{50, 100},
                              {50, 150},
                              {50, 200},
                              {100, 200},
                              {100, 300},
                              {100, 400},
                              {150, 300},
                              {150, 450},
                              {150, 600},
                              {250, 500}}));  // 750 is beyond 700, and 800 of 400 as well
    input->settings.expTimeLowerLimit = 400;
    EXPECT_EQ(build(), (Pairs{{100, 400}, {150, 450}, {150, 600}, {250, 500}}));
}

TEST_F(Candidates, OfTwoExposuresAreNoneWhereTheFactorsCross) {
    useTwoExposures(4, 2);
    EXPECT_EQ(build(), Pairs());
    param->maintainIntegerFactor = 1;
    EXPECT_EQ(build(), Pairs());
}

TEST_F(Candidates, ANegativeFactorGivesNone) {
    for (const int32_t factor : {-1, kMin}) {
        for (const int32_t whole : {0, 1}) {
            useTwoExposures(factor, 4);
            param->maintainIntegerFactor = whole;
            EXPECT_EQ(build(), Pairs());
        }
    }
}

TEST_F(Candidates, AFactorOfZeroBeginsWithALongTimeOfZero) {
    useTwoExposures(0, 1);
    param->maxExpTime = 100;
    EXPECT_EQ(build(), (Pairs{{50, 0}, {50, 50}, {100, 0}, {100, 50}, {100, 100}}));
}

TEST_F(Candidates, AreOrderedByTheShortTimeThenTheLong) {
    useTwoExposures(1, 20);
    param->maxExpTime = 20000;
    param->maxSumExpTime = 30000;
    const Pairs pairs = build();
    EXPECT_GT(pairs.size(), 40U);
    for (size_t i = 1; i < pairs.size(); ++i) {
        EXPECT_TRUE(pairs[i - 1] < pairs[i]) << i;
    }
}

// --- Values from outside ---

TEST_F(Candidates, LimitsBelowTheShortestTimeGiveNone) {
    for (const int32_t limit : {kMin, -1, 0, 49}) {
        for (const uint32_t exposures : {1U, 2U}) {
            input->numExposures = exposures;
            param->maxExpTime = limit;
            param->maxSumExpTime = 1300;
            EXPECT_EQ(build(), Pairs()) << limit;
            param->maxExpTime = 2000;
            param->maxSumExpTime = limit;
            EXPECT_EQ(build(), Pairs()) << limit;
        }
    }
}

TEST_F(Candidates, NoSettingsTakeLongOrLeaveTheTable) {
    Random random(21);
    SCOPED_TRACE(random.seedText());
    const int32_t integers[] = {kMin, -1, 0, 1, 2, 50, 65536, kMax - 1, kMax};
    const float factors[] = {0.0F,
                             1.0F,
                             1.0000001F,
                             1.5F,
                             -1.0F,
                             1e30F,
                             std::numeric_limits<float>::quiet_NaN(),
                             std::numeric_limits<float>::infinity()};
    const auto integer = [&] { return integers[random.bits() % std::size(integers)]; };
    const auto begin = std::chrono::steady_clock::now();
    for (int32_t round = 0; round < 400; ++round) {
        input->numExposures = 1 + random.bits() % 2;
        param->maxExpTime = integer();
        param->maxSumExpTime = integer();
        param->minExpTime = integer();
        param->expTimeDiscretization = integer();
        param->maintainIntegerFactor = integer();
        input->settings.minLongShortFactor = integer();
        input->settings.maxLongShortFactor = integer();
        input->settings.expTimeLowerLimit = static_cast<uint32_t>(integer());
        for (SingleAlgoSettings& settings : input->specificSettings) {
            settings.numExpTimesBase = static_cast<uint32_t>(integer());
            settings.expTimeFactorBetweenSettings = factors[random.bits() % std::size(factors)];
        }
        state->numValidExpTimes = 4711;
        ASSERT_LE(build().size(), 500U) << "round " << round;
        ASSERT_EQ(state->numValidExpTimes, 4711U);  // right after the table
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

}  // namespace
