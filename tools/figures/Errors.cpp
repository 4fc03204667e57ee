// SPDX-License-Identifier: Apache-2.0

#include "figures/Errors.h"

#include <cmath>

#include "figures/Quantile.h"

namespace figures {

void Errors::add(double error) {
    sum_ += error;
    squares_ += error * error;
    absolute_.push_back(static_cast<float>(std::abs(error)));
}

std::optional<double> Errors::bias() const {
    return count() == 0 ? std::nullopt : std::optional(sum_ / static_cast<double>(count()));
}

std::optional<double> Errors::rms() const {
    return count() == 0 ? std::nullopt : std::optional(std::sqrt(squares_ / static_cast<double>(count())));
}

std::optional<double> Errors::absoluteQuantile(double share) const {
    return quantile(absolute_, share);
}

}  // namespace figures
