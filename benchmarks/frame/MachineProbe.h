// SPDX-License-Identifier: Apache-2.0
//
// What this machine can do at most, one core, at the time of the run: the measure of what a frame needs at
// least.
#pragma once

#include <cstddef>
#include <cstdint>

namespace frame_benchmark {

/** Copied bytes a second, in 1e9, from one block of `bytes` to another. */
double copyRate(std::size_t bytes);

/** Products and sums of floats a second, in 1e9, one instruction each, with the vectors of a target. */
double arithmeticRate(std::int64_t target);

/** Nanoseconds of a look-up in a table of 257 floats. */
double lookupTime();

/** Nanoseconds of one pixel's update of a histogram of 4096 bins. */
double histogramTime();

}  // namespace frame_benchmark
