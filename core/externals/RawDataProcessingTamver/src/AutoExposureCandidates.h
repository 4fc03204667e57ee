// SPDX-License-Identifier: Apache-2.0
//
// The exposure times that auto exposure chooses from: pairs (short, long), sorted by rising short time.
#pragma once

#include "AutoExposure.h"

/**
 * The time that follows `t` in a rising sequence: about `factor` times as long, limited to `max` if it rises
 * past it, then rounded to a multiple of `discretization` (1 if that is below 1), which may again exceed
 * `max`. If the result is not longer than `t`, it is `t` plus one `discretization`. Microseconds.
 */
int64_t getNextExposureTime(int64_t t, float32_t factor, int64_t max, int32_t discretization) noexcept;

/**
 * Fills `state->validExpTimes` and returns the number of candidates, 0 to 500. Candidates whose only or
 * longer time is below `expTimeLowerLimit` do not count. If that is true of all, the last one stored is the
 * only candidate. Without base times there is no candidate, and the first entry is cleared.
 * `input->numExposures` must be 1 or 2.
 */
uint32_t buildCandidates(const AutoExposureInput* input, const AutoExposureParam* param,
                         AutoExposureState* state) noexcept;
