// SPDX-License-Identifier: Apache-2.0

#include "calibrating/PixelwiseFit.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

namespace calibrating {
namespace {

PixelRow rowOf(double value, double first, double second, double weight = 1.0) {
    PixelRow row{value, weight, Regressors::Zero()};
    row.regressors[0] = first;
    row.regressors[1] = second;
    return row;
}

constexpr std::array wide{1.0e6, 1.0e6};

TEST(PixelwiseFit, FindsSharedParametersBesideAConstantOfEachPixel) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> any(-1.0, 1.0);
    PixelwiseFit fit(wide);
    std::vector<std::vector<PixelRow>> pixels;
    std::vector<double> constants;
    for (int pixel = 0; pixel < 50; ++pixel) {
        constants.push_back(10.0 * any(random));
        std::vector<PixelRow> rows;
        for (int k = 0; k < 4; ++k) {
            const double a = any(random);
            const double b = any(random);
            rows.push_back(rowOf(constants.back() + 0.25 * a - 3.0 * b, a, b, 1.0 + any(random)));
        }
        fit.add(rows);
        pixels.push_back(rows);
    }
    const SharedParameters parameters = fit.solve();
    EXPECT_NEAR(parameters.values[0], 0.25, 1e-9);
    EXPECT_NEAR(parameters.values[1], -3.0, 1e-9);
    for (std::size_t k = 0; k < pixels.size(); ++k) {
        EXPECT_NEAR(constantOf(pixels[k], parameters.values), constants[k], 1e-9);
    }
}

TEST(PixelwiseFit, RowsWithoutWeightDoNotCount) {
    PixelwiseFit fit(wide);
    fit.add(std::vector{rowOf(1.0, 1.0, 0.0), rowOf(3.0, 2.0, 0.0), rowOf(1000.0, 3.0, 0.0, 0.0)});
    EXPECT_NEAR(fit.solve().values[0], 2.0, 1e-9);
}

TEST(PixelwiseFit, APixelWithOneRowSaysNothing) {
    PixelwiseFit fit(wide);
    fit.add(std::vector{rowOf(1.0, 1.0, 0.0), rowOf(3.0, 2.0, 0.0)});
    fit.add(std::vector{rowOf(50.0, -7.0, 0.0)});
    fit.add(std::vector<PixelRow>{});
    EXPECT_NEAR(fit.solve().values[0], 2.0, 1e-9);
}

TEST(PixelwiseFit, WhatTheRowsDoNotTellStaysNearZero) {
    constexpr std::array prior{1.0e6, 0.5};
    PixelwiseFit fit(prior);
    fit.add(std::vector{rowOf(1.0, 1.0, 4.0), rowOf(3.0, 2.0, 4.0)});  // the second regressor never changes
    const SharedParameters parameters = fit.solve();
    EXPECT_NEAR(parameters.values[0], 2.0, 1e-9);
    EXPECT_NEAR(parameters.values[1], 0.0, 1e-9);
    EXPECT_NEAR(parameters.errors[1], 0.5, 1e-9);
}

// Two rows of weight w at +1 and -1: the normal equation is 2 w, the variance 1 / (2 w).
TEST(PixelwiseFit, ErrorsFollowFromTheWeights) {
    constexpr std::array one{1.0e6};
    PixelwiseFit fit(one);
    fit.add(std::vector{rowOf(1.0, 1.0, 0.0, 8.0), rowOf(-1.0, -1.0, 0.0, 8.0)});
    EXPECT_NEAR(fit.solve().errors[0], 0.25, 1e-6);
}

TEST(PixelwiseFit, WithoutWeightTheConstantIsZero) {
    EXPECT_EQ(constantOf(std::vector{rowOf(3.0, 1.0, 1.0, 0.0)}, Regressors::Zero()), 0.0);
}

}  // namespace
}  // namespace calibrating
