// SPDX-License-Identifier: Apache-2.0
//
// How long something takes: half of the times are no longer than p50, 95 of 100 no longer than p95, 99 of 100
// no longer than p99.

#pragma once

#include <optional>
#include <span>

namespace figures {

// In the unit of the times. Of no time there is none.
struct Percentiles {
    std::optional<double> p50;
    std::optional<double> p95;
    std::optional<double> p99;
};

// Times that are NaN do not count.
Percentiles percentilesOf(std::span<const double> times);

}  // namespace figures
