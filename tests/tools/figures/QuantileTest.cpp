// SPDX-License-Identifier: Apache-2.0

#include "figures/Quantile.h"

#include <gtest/gtest.h>

namespace figures {
namespace {

const std::vector<double> values{50.0, 10.0, 40.0, 20.0, 30.0};

TEST(Quantile, IsTheSmallestValueThatTheShareDoesNotExceed) {
    EXPECT_EQ(quantile(values, 0.2), 10.0);
    EXPECT_EQ(quantile(values, 0.21), 20.0);
    EXPECT_EQ(quantile(values, 0.5), 30.0);
    EXPECT_EQ(quantile(values, 0.8), 40.0);
}

TEST(Quantile, OfNothingAndOfAllAreTheEnds) {
    EXPECT_EQ(quantile(values, 0.0), 10.0);
    EXPECT_EQ(quantile(values, 1.0), 50.0);
}

TEST(Quantile, OfNoValuesThereIsNone) {
    EXPECT_EQ(quantile(std::vector<float>{}, 0.5), std::nullopt);
}

}  // namespace
}  // namespace figures
