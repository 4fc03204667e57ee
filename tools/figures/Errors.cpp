// SPDX-License-Identifier: Apache-2.0

#include "figures/Errors.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <iterator>
#include <vector>

#include "figures/Quantile.h"

namespace figures {
namespace {

// The upper half of the bits of a number from 0 on: larger numbers have no smaller one.
std::size_t upperHalf(float value) {
    return std::bit_cast<std::uint32_t>(value) >> 16U;
}

// As quantile(), for many numbers from 0 on: only those that share the upper half of their bits with the one
// that is looked for are put in order.
std::optional<double> quantileOfAbsolute(const std::deque<float>& values, double share) {
    if (values.empty()) {
        return std::nullopt;
    }
    std::vector<std::size_t> counts(std::size_t{1} << 16U);
    for (const float value : values) {
        ++counts[upperHalf(value)];
    }
    std::size_t rank = rankOf(values.size(), share);
    std::size_t half = 0;
    while (rank >= counts[half]) {
        rank -= counts[half];
        ++half;
    }
    std::vector<float> near;
    near.reserve(counts[half]);
    std::copy_if(values.begin(), values.end(), std::back_inserter(near),
                 [half](float value) { return upperHalf(value) == half; });
    const auto found = near.begin() + static_cast<std::ptrdiff_t>(rank);
    std::nth_element(near.begin(), found, near.end());
    return static_cast<double>(*found);
}

}  // namespace

std::optional<double> Errors::bias() const {
    return count() == 0 ? std::nullopt : std::optional(sum_ / static_cast<double>(count()));
}

std::optional<double> Errors::rms() const {
    return count() == 0 ? std::nullopt : std::optional(std::sqrt(squares_ / static_cast<double>(count())));
}

std::optional<double> Errors::absoluteQuantile(double share) const {
    return quantileOfAbsolute(absolute_, share);
}

}  // namespace figures
