// SPDX-License-Identifier: Apache-2.0
//
// Figures of the errors e of a set of pixels, measured distance less true distance:
//     bias = mean(e)
//     rms = sqrt(mean(e^2))
//     quantile of the absolute error = the smallest |e| that at least so large a share of them does not
//     exceed

#pragma once

#include <cmath>
#include <cstddef>
#include <deque>
#include <optional>

namespace figures {

// Errors in metres. Of no error there is no figure.
class Errors {
 public:
    void add(double error) {
        sum_ += error;
        squares_ += error * error;
        absolute_.push_back(static_cast<float>(std::abs(error)));
    }

    std::size_t count() const { return absolute_.size(); }
    std::optional<double> bias() const;
    std::optional<double> rms() const;
    std::optional<double> absoluteQuantile(double share) const;

 private:
    double sum_ = 0.0;
    double squares_ = 0.0;
    std::deque<float> absolute_;  // grows without being copied
};

}  // namespace figures
