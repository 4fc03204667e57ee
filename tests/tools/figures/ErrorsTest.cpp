// SPDX-License-Identifier: Apache-2.0

#include "figures/Errors.h"

#include <gtest/gtest.h>

#include <cmath>

namespace figures {
namespace {

// (1 - 2 + 4 - 5) / 4 and sqrt((1 + 4 + 16 + 25) / 4); in order the absolute errors are 1, 2, 4, 5.
TEST(Errors, HaveABiasARootMeanSquareAndQuantilesOfTheirAbsoluteValue) {
    Errors errors;
    for (const double error : {1.0, -2.0, 4.0, -5.0}) {
        errors.add(error);
    }
    EXPECT_EQ(errors.count(), 4U);
    EXPECT_EQ(errors.bias(), -0.5);
    EXPECT_EQ(errors.rms(), std::sqrt(11.5));
    EXPECT_EQ(errors.absoluteQuantile(0.5), 2.0);
    EXPECT_EQ(errors.absoluteQuantile(0.99), 5.0);
}

TEST(Errors, OfNoneThereIsNoFigure) {
    const Errors errors;
    EXPECT_EQ(errors.count(), 0U);
    EXPECT_EQ(errors.bias(), std::nullopt);
    EXPECT_EQ(errors.rms(), std::nullopt);
    EXPECT_EQ(errors.absoluteQuantile(0.5), std::nullopt);
}

}  // namespace
}  // namespace figures
