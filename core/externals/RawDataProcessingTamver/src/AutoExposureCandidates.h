// SPDX-License-Identifier: Apache-2.0
//
// The exposure times that the auto exposure chooses from: a list of pairs (short, long) by rising short time.
#pragma once

#include "AutoExposure.h"

/**
 * The time that follows `t` in a rising sequence: about `factor` times as long, cut to `max` where it would
 * pass it on the way up, then rounded to a multiple of `discretization` (1 if that is below 1), which may lie
 * beyond `max` again. Where that is not longer than `t`, `t` plus one `discretization`. Microseconds.
 */
int64_t getNextExposureTime(int64_t t, float32_t factor, int64_t max, int32_t discretization) noexcept;

/**
 * Fills `state->validExpTimes` and returns the number of candidates, 0 to 500. Candidates whose only or
 * longer time is below `expTimeLowerLimit` do not count; if all are, the one stored last is the only
 * candidate. Without base times there is none, and the first entry is cleared. `input->numExposures` must be
 * 1 or 2.
 */
uint32_t buildCandidates(const AutoExposureInput* input, const AutoExposureParam* param,
                         AutoExposureState* state) noexcept;
