// SPDX-License-Identifier: Apache-2.0
#include "AutoExposureCandidates.h"

#include <algorithm>

#include "ALMath.h"

namespace {

/**
 * Times tried for one list. A list of 500 takes a few hundred tries. The limit stops senseless settings, such
 * as steps of a microsecond up to half an hour of which none counts.
 */
constexpr int32_t kMaxTimesTried = 65536;

// Times have 64 bits: limits and factors come from outside, and no product may overflow.

/** The list while it grows. */
struct List {
    uint32_t (*pairs)[kMaxExposures];
    int64_t lowerLimit;  ///< a pair counts if its longer time reaches it
    int64_t maxExpTime;
    int64_t maxSumExpTime;
    int32_t count;
    int32_t tried;

    bool full() const noexcept { return count >= kMaxExposureCandidates || tried >= kMaxTimesTried; }

    /** Stores a pair. One that does not count is overwritten by the next. */
    void store(int64_t shortTime, int64_t longTime, int64_t longest) noexcept {
        pairs[count][0] = static_cast<uint32_t>(shortTime);
        pairs[count][1] = static_cast<uint32_t>(longTime);
        count += longest >= lowerLimit ? 1 : 0;
        ++tried;
    }

    /** Whether a frame may use both times. */
    bool allows(int64_t shortTime, int64_t longTime) const noexcept {
        return longTime <= maxExpTime && longTime + shortTime <= maxSumExpTime;
    }
};

/** Pairs whose long time is a whole multiple of the short one. */
void addWholeMultiples(const AutoExpSettings& settings, int64_t base, List& list) noexcept {
    for (int64_t factor = settings.minLongShortFactor; factor <= settings.maxLongShortFactor; ++factor) {
        const int64_t longTime = factor * base;
        if (!list.allows(base, longTime) || list.full()) {
            return;
        }
        list.store(base, longTime, longTime);
    }
}

/** Pairs whose long time rises by a constant factor, between two multiples of the short time. */
void addSequence(const AutoExpSettings& settings, float32_t ratio, int32_t discretization, int64_t base,
                 List& list) noexcept {
    const int64_t longest = settings.maxLongShortFactor * base;
    int64_t longTime = settings.minLongShortFactor * base;
    while (longTime <= longest && list.allows(base, longTime) && !list.full()) {
        list.store(base, longTime, longTime);
        longTime = getNextExposureTime(longTime, ratio, std::min(list.maxExpTime, list.maxSumExpTime - base),
                                       discretization);
    }
}

void addPairs(const AutoExpSettings& settings, const AutoExposureParam& param, float32_t ratio, int64_t base,
              List& list) noexcept {
    if (settings.minLongShortFactor < 0) {
        return;
    }
    if (param.maintainIntegerFactor != 0) {
        addWholeMultiples(settings, base, list);
    } else {
        addSequence(settings, ratio, param.expTimeDiscretization, base, list);
    }
}

}  // namespace

int64_t getNextExposureTime(int64_t t, float32_t factor, int64_t max, int32_t discretization) noexcept {
    int64_t n = al_truncate(0.5F + static_cast<float32_t>(t) * factor);
    if (t < max && n > max) {
        n = max;
    }
    const int64_t d = std::max(discretization, 1);
    const int64_t onGrid = d * ((n + d / 2) / d);
    return onGrid > t ? onGrid : t + d;
}

uint32_t buildCandidates(const AutoExposureInput* input, const AutoExposureParam* param,
                         AutoExposureState* state) noexcept {
    const AutoExpSettings& settings = input->settings;
    const SingleAlgoSettings& specific = input->specificSettings[input->numExposures - 1];
    List list = {
        state->validExpTimes, settings.expTimeLowerLimit, param->maxExpTime, param->maxSumExpTime, 0, 0};
    const int64_t longestBase = std::min(list.maxExpTime, list.maxSumExpTime);
    int64_t base = param->minExpTime;
    list.pairs[0][0] = 0;
    list.pairs[0][1] = 0;
    for (uint32_t i = 0; i < specific.numExpTimesBase && !list.full(); ++i) {
        if (input->numExposures > 1) {
            addPairs(settings, *param, specific.expTimeFactorBetweenSettings, base, list);
        } else if (base <= longestBase) {
            list.store(base, 0, base);
        }
        base = getNextExposureTime(base, specific.expTimeFactorBetweenSettings, longestBase,
                                   param->expTimeDiscretization);
        if (base > longestBase) {
            break;
        }
        ++list.tried;
    }
    if (list.count == 0 && list.pairs[0][0] != 0) {
        list.count = 1;
    }
    return static_cast<uint32_t>(list.count);
}
