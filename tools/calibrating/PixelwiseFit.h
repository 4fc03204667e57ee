// SPDX-License-Identifier: Apache-2.0
//
// Linear least squares with parameters that all pixels share and one constant for each pixel. The constants
// are eliminated: within a pixel, values and regressors are taken relative to their weighted means.

#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <span>
#include <vector>

namespace calibrating {

inline constexpr int mostParameters = 12;

using Regressors = Eigen::Matrix<double, mostParameters, 1>;

struct PixelRow {
    double value = 0.0;
    double weight = 0.0;  // 1 / variance; 0 takes the row out
    Regressors regressors = Regressors::Zero();
};

struct SharedParameters {
    Regressors values = Regressors::Zero();
    Regressors errors = Regressors::Zero();  // standard errors, as the weights promise
};

class PixelwiseFit {
 public:
    // Of the regressors, the first `parameters` count. `prior` are standard deviations around 0 that are
    // expected of the parameters; they decide only where the rows say nothing.
    explicit PixelwiseFit(std::span<const double> prior);

    // All rows of one pixel.
    void add(std::span<const PixelRow> rows);

    SharedParameters solve() const;

 private:
    Eigen::MatrixXd normal_;
    Eigen::VectorXd right_;
};

// The constant of a pixel with these parameters: the weighted mean of what they leave. 0 without weight.
double constantOf(std::span<const PixelRow> rows, const Regressors& parameters);

}  // namespace calibrating
