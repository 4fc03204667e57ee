// SPDX-License-Identifier: Apache-2.0

#include "exporting/Distribution.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>

namespace exporting {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

Distribution of(const std::vector<double>& values) {
    Distribution distribution;
    distribution.add(values);
    return distribution;
}

std::vector<double> upTo(int count) {
    std::vector<double> values(static_cast<std::size_t>(count));
    std::iota(values.begin(), values.end(), 1.0);
    return values;
}

TEST(Distribution, ABinHoldsTheQuantileAndIsLessThanAPercentWide) {
    constexpr unsigned int seed = 20;
    std::mt19937 random(seed);
    std::normal_distribution<double> normal(0.5, 3.0);
    std::vector<double> values(10001);
    for (double& value : values) {
        value = normal(random);
    }
    const Distribution distribution = of(values);
    std::sort(values.begin(), values.end());
    for (const double share : {0.0, 0.001, 0.01, 0.3, 0.5, 0.99, 0.999, 1.0}) {
        const auto rank =
            static_cast<std::size_t>(std::max(std::ceil(share * static_cast<double>(values.size())), 1.0));
        const double exact = values[rank - 1];
        const Limits bin = distribution.bin(share);
        EXPECT_LE(bin.minimum, exact + 1e-6 * std::abs(exact)) << share << " seed " << seed;
        EXPECT_GE(bin.maximum, exact - 1e-6 * std::abs(exact)) << share << " seed " << seed;
        EXPECT_LE(bin.maximum - bin.minimum, 0.01 * std::abs(exact)) << share << " seed " << seed;
    }
}

TEST(Distribution, WhatIsNoNumberIsNotCounted) {
    const Distribution distribution = of({nan, infinity, -infinity, 2.0, -nan});
    EXPECT_EQ(distribution.count(), 1U);
    EXPECT_EQ(distribution.minimum(), 2.0);
    EXPECT_EQ(distribution.maximum(), 2.0);
}

TEST(Distribution, BinsNeverLieBeyondTheNumbers) {
    const Limits all = of({3.0, 1e300, -1e300, 0.0, -0.0}).bin(1.0);
    EXPECT_LE(all.maximum, 1e300);
    const Limits one = of({3.001}).bin(0.5);
    EXPECT_EQ(one.minimum, 3.001);
    EXPECT_EQ(one.maximum, 3.001);
}

TEST(Distribution, OfNoNumberIsZero) {
    EXPECT_EQ(Distribution().bin(0.5).maximum, 0.0);
}

TEST(ColorLimits, BeginAtZeroAndLeaveTheFarthestHundredthOut) {
    std::vector<double> values = upTo(1000);
    values.back() = 1e6;
    const Limits limits = colorLimits(of(values));
    EXPECT_EQ(limits.minimum, 0.0);
    EXPECT_NEAR(limits.maximum, 990.0, 9.9);
}

TEST(ColorLimits, OfNegativeNumbersLeaveTheNearestHundredthOutToo) {
    std::vector<double> values = upTo(1000);
    values.push_back(-1e6);
    EXPECT_NEAR(colorLimits(of(values)).minimum, 10.0, 0.2);
}

TEST(CountLimits, HoldAllNumbers) {
    const Limits limits = countLimits(of(upTo(1000)));
    EXPECT_EQ(limits.minimum, 1.0);
    EXPECT_EQ(limits.maximum, 1000.0);
}

// The middle 99.8 % span 10 to 9990 or so; up to twice that is kept.
TEST(CountLimits, LeaveOutWhatLiesFartherThanTheSpanOfTheOthers) {
    std::vector<double> values = upTo(10000);
    values.back() = 15000.0;
    EXPECT_EQ(countLimits(of(values)).maximum, 15000.0);
    values.back() = 1e30;
    EXPECT_LT(countLimits(of(values)).maximum, 25000.0);
    EXPECT_GE(countLimits(of(values)).maximum, 9999.0);
}

TEST(Limits, HaveAWidthEvenOfOneNumberOrNone) {
    for (const std::vector<double>& values :
         std::vector<std::vector<double>>{{}, {0.0}, {5.0}, {-5.0}, {1e30}, {-1e300, -1e300}}) {
        const Distribution distribution = of(values);
        EXPECT_GT(colorLimits(distribution).maximum, colorLimits(distribution).minimum);
        EXPECT_GT(countLimits(distribution).maximum, countLimits(distribution).minimum);
    }
}

}  // namespace
}  // namespace exporting
