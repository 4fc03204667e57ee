// SPDX-License-Identifier: Apache-2.0
//
// How numbers are distributed, in a fixed amount of memory however many there are; and the limits of scales.

#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace exporting {

// From one number to a larger one.
struct Limits {
    double minimum = 0.0;
    double maximum = 1.0;
};

// Counts numbers in bins that are less than 1 % of a number wide.
class Distribution {
 public:
    Distribution();

    // What is NaN or infinite is not counted.
    void add(std::span<const double> values);

    std::uint64_t count() const { return count_; }
    double minimum() const { return minimum_; }  // of no number, 0
    double maximum() const { return maximum_; }

    // Bounds of the bin that holds the smallest number which at least `share` of all do not exceed. They
    // never lie beyond the smallest and the largest number. Of no number, 0.
    Limits bin(double share) const;

 private:
    std::vector<std::uint64_t> bins_;
    std::uint64_t count_ = 0;
    double minimum_ = 0.0;
    double maximum_ = 0.0;
};

// Limits of colours: all but the farthest hundredth at each end; from 0 if no number is negative.
Limits colorLimits(const Distribution& distribution);

// Limits of counts, which are to lose nothing: from the smallest to the largest number. Only numbers that lie
// farther beyond the middle 99.8 % than these span are left out.
Limits countLimits(const Distribution& distribution);

}  // namespace exporting
