// SPDX-License-Identifier: Apache-2.0

#include "figures/Percentiles.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace figures {
namespace {

TEST(Percentiles, AreTimesThatSoManyOfAHundredDoNotExceed) {
    std::vector<double> times;
    for (int k = 100; k >= 1; --k) {
        times.push_back(k);
    }
    const Percentiles percentiles = percentilesOf(times);
    EXPECT_EQ(percentiles.p50, 50.0);
    EXPECT_EQ(percentiles.p95, 95.0);
    EXPECT_EQ(percentiles.p99, 99.0);
}

TEST(Percentiles, OfNoTimeThereIsNone) {
    EXPECT_EQ(percentilesOf({}).p50, std::nullopt);
    EXPECT_EQ(percentilesOf({}).p99, std::nullopt);
}

TEST(Percentiles, ATimeThatIsNoNumberDoesNotCount) {
    const std::vector<double> times{std::numeric_limits<double>::quiet_NaN(), 3.0};
    EXPECT_EQ(percentilesOf(times).p50, 3.0);
    EXPECT_EQ(percentilesOf(times).p99, 3.0);
}

}  // namespace
}  // namespace figures
