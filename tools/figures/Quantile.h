// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

namespace figures {

// The place, from 0, of the quantile in the order of `count` values, of which there is one at least.
inline std::size_t rankOf(std::size_t count, double share) {
    return static_cast<std::size_t>(std::max(std::ceil(share * static_cast<double>(count)), 1.0)) - 1;
}

// The smallest value that at least `share` of the values, 0 to 1, do not exceed; none of no values. None of
// them may be NaN.
template <typename T>
std::optional<double> quantile(std::vector<T> values, double share) {
    if (values.empty()) {
        return std::nullopt;
    }
    const auto found = values.begin() + static_cast<std::ptrdiff_t>(rankOf(values.size(), share));
    std::nth_element(values.begin(), found, values.end());
    return static_cast<double>(*found);
}

}  // namespace figures
