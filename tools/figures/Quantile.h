// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

namespace figures {

// The smallest value that at least `share` of the values, 0 to 1, do not exceed; none of no values. None of
// them may be NaN.
template <typename T>
std::optional<double> quantile(std::vector<T> values, double share) {
    if (values.empty()) {
        return std::nullopt;
    }
    const auto count = static_cast<double>(values.size());
    const auto rank = static_cast<std::ptrdiff_t>(std::max(std::ceil(share * count), 1.0)) - 1;
    std::nth_element(values.begin(), values.begin() + rank, values.end());
    return static_cast<double>(values[static_cast<std::size_t>(rank)]);
}

}  // namespace figures
