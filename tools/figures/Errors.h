// SPDX-License-Identifier: Apache-2.0
//
// Figures of the errors e of a set of pixels, measured distance less true distance:
//     bias = mean(e)
//     rms = sqrt(mean(e^2))
//     quantile of the absolute error = the smallest |e| that at least so large a share of them does not
//     exceed

#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace figures {

// Errors in metres. Of no error there is no figure.
class Errors {
 public:
    void add(double error);

    std::size_t count() const { return absolute_.size(); }
    std::optional<double> bias() const;
    std::optional<double> rms() const;
    std::optional<double> absoluteQuantile(double share) const;

 private:
    double sum_ = 0.0;
    double squares_ = 0.0;
    std::vector<float> absolute_;
};

}  // namespace figures
