// SPDX-License-Identifier: Apache-2.0

#include "figures/Percentiles.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <vector>

#include "figures/Quantile.h"

namespace figures {

Percentiles percentilesOf(std::span<const double> times) {
    std::vector<double> numbers;
    std::copy_if(times.begin(), times.end(), std::back_inserter(numbers),
                 [](double time) { return !std::isnan(time); });
    return {quantile(numbers, 0.5), quantile(numbers, 0.95), quantile(numbers, 0.99)};
}

}  // namespace figures
