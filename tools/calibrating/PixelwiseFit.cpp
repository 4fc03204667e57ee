// SPDX-License-Identifier: Apache-2.0

#include "calibrating/PixelwiseFit.h"

#include <Eigen/Cholesky>
#include <cmath>

namespace calibrating {

PixelwiseFit::PixelwiseFit(std::span<const double> prior) {
    const auto count = static_cast<Eigen::Index>(prior.size());
    normal_ = Eigen::MatrixXd::Zero(count, count);
    right_ = Eigen::VectorXd::Zero(count);
    for (Eigen::Index k = 0; k < count; ++k) {
        const double deviation = prior[static_cast<std::size_t>(k)];
        normal_(k, k) = 1.0 / (deviation * deviation);
    }
}

void PixelwiseFit::add(std::span<const PixelRow> rows) {
    const Eigen::Index count = right_.size();
    double weight = 0.0;
    double meanValue = 0.0;
    Regressors mean = Regressors::Zero();
    for (const PixelRow& row : rows) {
        weight += row.weight;
        meanValue += row.weight * row.value;
        mean += row.weight * row.regressors;
    }
    if (!(weight > 0.0)) {
        return;
    }
    meanValue /= weight;
    mean /= weight;
    for (const PixelRow& row : rows) {
        if (row.weight > 0.0) {
            const Regressors relative = row.regressors - mean;
            const auto used = relative.head(count);
            normal_.noalias() += row.weight * used * used.transpose();
            right_.noalias() += row.weight * (row.value - meanValue) * used;
        }
    }
}

SharedParameters PixelwiseFit::solve() const {
    const Eigen::Index count = right_.size();
    SharedParameters parameters;
    if (count == 0) {
        return parameters;
    }
    // Parameters of very different sizes are brought to the same one.
    const Eigen::VectorXd scale = normal_.diagonal().cwiseSqrt().cwiseInverse();
    const Eigen::MatrixXd scaled = scale.asDiagonal() * normal_ * scale.asDiagonal();
    const Eigen::LDLT<Eigen::MatrixXd> solver(scaled);
    const Eigen::VectorXd values = scale.asDiagonal() * solver.solve(scale.asDiagonal() * right_);
    const Eigen::MatrixXd inverse = solver.solve(Eigen::MatrixXd::Identity(count, count));
    parameters.values.head(count) = values;
    parameters.errors.head(count) =
        (inverse.diagonal().cwiseMax(0.0).cwiseSqrt().array() * scale.array()).matrix();
    return parameters;
}

double constantOf(std::span<const PixelRow> rows, const Regressors& parameters) {
    double weight = 0.0;
    double sum = 0.0;
    for (const PixelRow& row : rows) {
        weight += row.weight;
        sum += row.weight * (row.value - row.regressors.dot(parameters));
    }
    return weight > 0.0 ? sum / weight : 0.0;
}

}  // namespace calibrating
