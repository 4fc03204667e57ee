// SPDX-License-Identifier: Apache-2.0
#include "MultiFreqTables.h"

#include <algorithm>

#include "ALErrorHandling.h"
#include "ALMath.h"
#include "ALUtil.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/RawDataProcessingTamver/src/MultiFreq";
constexpr FixedLineReport fail = {kSourceFile};

// Lines under which failures are reported, whatever the source looks like today.
constexpr int32_t kLineRatioXNull = 425;
constexpr int32_t kLineRatioHalfLineDistNull = 426;
constexpr int32_t kLineRatioMaxRangeNull = 427;
constexpr int32_t kLineNoRatio = 462;
constexpr int32_t kLineNoLineDistance = 464;
constexpr int32_t kLineMaxRangeNull = 486;
constexpr int32_t kLineRatioFailed = 504;
constexpr int32_t kLineBinOutOfRange = 522;
constexpr int32_t kLineCornerBinTaken = 545;
constexpr int32_t kLineFirstBinEmpty = 598;
constexpr int32_t kLineTableNumber = 650;
constexpr int32_t kLineSameFrequency = 651;
constexpr int32_t kLineFirstFrequency = 655;
constexpr int32_t kLineSecondFrequency = 656;
constexpr int32_t kLineCombination = 657;
constexpr int32_t kLineUniqueRange = 669;
constexpr int32_t kLineForwardTable = 672;
constexpr int32_t kLineBackwardTable = 674;
constexpr int32_t kLineHoppingToItself = 981;

constexpr char_t kHoppingText[] = "Error in frequency hopping table";
constexpr char_t kCornerText[] = "begin/end of the LUT contains lines - maxRange too high?!";

/**
 * In vacuum, m/s. The driver folds and scales with the speed in air, 0.03 %
 * less. The results depend on both.
 */
constexpr float32_t kHalfSpeedOfLightInVacuum = 149896224.0F;
constexpr int32_t kMaxMultiplier = 9;
constexpr float32_t kWholeTolerance = 0.05F;
constexpr float32_t kBinsPerRange = 0.01010101F;  // 1 / 99
constexpr float32_t kRangeShare = 0.99F;          // the walk stops before both frequencies wrap together
constexpr int32_t kLastBin = kTwoFreqBins - 1;

bool isNearWhole(float32_t v) noexcept {
    return al_fabsf(static_cast<float32_t>(al_truncate(v + 0.5F)) - v) < kWholeTolerance;
}

/** The bin of a difference of distances, or -1 if it lies outside the table. */
int32_t binOf(const TwoFreqLUT& lut, float32_t difference) noexcept {
    const float32_t position = (difference + lut.lutOffset) / lut.lutResolution + 0.5F;
    const bool inside = position > -1.0F && position < static_cast<float32_t>(kTwoFreqBins);
    return inside ? al_truncate(position) : -1;
}

/**
 * Follows the true distance up to `maxRange` and enters each line where it begins. A line in the first or the
 * last bin means that both frequencies wrap nearly together: from there on the lines repeat.
 */
int32_t enterLines(float32_t UR1, float32_t UR2, float32_t maxRange, TwoFreqLUT& lut) noexcept {
    int32_t wraps = 0;  // of the first frequency
    float32_t realDist = 0.0F;
    float32_t d1 = 0.0F;
    float32_t d2 = 0.0F;
    while (realDist <= maxRange * kRangeShare) {
        const float32_t delta1 = UR1 - d1;
        const float32_t delta2 = UR2 - d2;
        const float32_t difference = d1 - d2;
        const int32_t idx = binOf(lut, difference);
        if (idx < 0) {
            return fail(kLineBinOutOfRange, "Index out of range");
        }
        if (idx == 0 || idx == kLastBin) {
            return fail(kLineCornerBinTaken, kCornerText);
        }
        lut.offset[idx] = static_cast<float32_t>(wraps) * UR1;
        lut.abscissa[idx] = difference;
        if (delta1 < delta2) {
            realDist = realDist + delta1;
            d2 = d2 + delta1;
            d1 = 0.0F;
            ++wraps;
        } else {
            realDist = realDist + delta2;
            d1 = d1 + delta2;
            d2 = 0.0F;
        }
    }
    return 0;
}

/** The points just before the wrap, where the difference of the distances reaches its extremes. */
void enterCorners(float32_t UR1, float32_t UR2, float32_t maxRange, TwoFreqLUT& lut) noexcept {
    lut.offset[0] = 0.0F;
    lut.abscissa[0] = -UR2;
    if (lut.autoMaxRange != 0) {
        lut.abscissa[kLastBin] = UR1;
        lut.offset[kLastBin] = maxRange - UR1;
    }
}

/** The smallest number of bins from one line to the next, or from the last one to the end of the table. */
int32_t smallestSpacing(const TwoFreqLUT& lut) noexcept {
    int32_t count = 0;
    int32_t best = kTwoFreqBins;
    for (int32_t k = 1; k < kTwoFreqBins; ++k) {
        ++count;
        if (lut.offset[k] != kNoLine) {
            best = al_mini(count, best);
            count = 0;
        }
    }
    return count != 0 ? al_mini(count, best) : best;
}

void enterLine(TwoFreqLUT& lut, int32_t bin, float32_t offset, float32_t abscissa, int32_t line) noexcept {
    lut.offset[bin] = offset;
    lut.abscissa[bin] = abscissa;
    lut.lineIndices[bin] = line;
}

/** Numbers the lines and widens each of them by its half width, in bins, to both sides. */
int32_t widenLines(TwoFreqLUT& lut) noexcept {
    if (lut.offset[0] == kNoLine) {
        return fail(kLineFirstBinEmpty, "Unable to propagate invalid offset");
    }
    const int32_t halfWidth =
        std::clamp(al_truncate(lut.halfLineDist / lut.lutResolution + 0.5F), 0, kTwoFreqBins);
    int32_t line = 0;
    int32_t k = 0;
    while (k < kTwoFreqBins) {
        const float32_t offset = lut.offset[k];
        const float32_t abscissa = lut.abscissa[k];
        lut.offsetLut[line] = offset;
        const int32_t first = std::max(k - halfWidth, 0);
        const int32_t last = std::min(k + halfWidth, kLastBin);
        for (int32_t bin = first; bin <= last; ++bin) {
            enterLine(lut, bin, offset, abscissa, line);
        }
        k = last + 1;
        while (k < kTwoFreqBins && lut.offset[k] == kNoLine) {
            ++k;
        }
        ++line;
    }
    return 0;
}

/** Whether `id` is below the number of frequencies and is one of the four slots. */
bool isFrequencyId(const MultiFreqCalib& calib, int32_t id) noexcept {
    return id >= 0 && id < calib.freqCount && id < kFrequencySlots;
}

}  // namespace

int64_t getCombinationIndex(int32_t a, int32_t b, int32_t count) noexcept {
    const int64_t first = a;
    const int64_t pairsBefore = first * (int64_t{count} - 1) - first * (first - 1) / 2;
    return pairsBefore + (b - first - 1);
}

int32_t combinationOfIds(const MultiFreqCalib& calib, int32_t a, int32_t b) noexcept {
    if (!isFrequencyId(calib, a) || !isFrequencyId(calib, b)) {
        return -1;
    }
    const int64_t index = getCombinationIndex(al_mini(a, b), al_maxi(a, b), calib.freqCount);
    return index >= 0 && index < kFrequencyPairs ? static_cast<int32_t>(index) : -1;
}

int32_t calcFrequencyRatio(float32_t UR1, float32_t UR2, float32_t* x, float32_t* halfLineDist,
                           float32_t* maxRange) noexcept {
    if (x == nullptr) {
        return fail(kLineRatioXNull);
    }
    if (halfLineDist == nullptr) {
        return fail(kLineRatioHalfLineDistNull);
    }
    if (maxRange == nullptr) {
        return fail(kLineRatioMaxRangeNull);
    }
    const float32_t diff = al_fabsf(UR2 - UR1);
    const float32_t inv = 1.0F / diff;
    const float32_t big = UR2 > UR1 ? UR2 : UR1;
    const float32_t small = UR2 > UR1 ? UR1 : UR2;
    const float32_t a = big * inv;
    const float32_t b = small * inv;
    *x = 0.0F;
    for (int32_t i = 1; i <= kMaxMultiplier; ++i) {
        const auto multiplier = static_cast<float32_t>(i);
        if (isNearWhole(a * multiplier) && isNearWhole(b * multiplier)) {
            *x = multiplier;
            break;
        }
    }
    if (*x <= 0.0F) {
        return fail(kLineNoRatio, "Unable to calculate the ratio between the two frequencies");
    }
    *halfLineDist = diff / (*x + *x);
    if (*halfLineDist <= 0.0F) {
        return fail(kLineNoLineDistance, "Line distance invalid - bad ratio between the frequencies");
    }
    const float32_t ratio = big / small;
    *maxRange = ((ratio * *x) / (ratio - 1.0F)) * small;
    return 0;
}

int32_t fillLookup(float32_t UR1, float32_t UR2, float32_t* maxRange, float32_t halfLineDist,
                   TwoFreqLUT* lut) noexcept {
    if (maxRange == nullptr) {
        return fail(kLineMaxRangeNull);
    }
    if (lut == nullptr) {
        return reportFailure(kSourceFile);
    }
    lut->autoMaxRange = 0;
    lut->lutOffset = UR2;
    lut->lutResolution = (UR1 + UR2) * kBinsPerRange;
    std::fill_n(lut->offset, kTwoFreqBins, kNoLine);
    if (*maxRange < 0.0F) {
        lut->autoMaxRange = 1;
        float32_t x = 0.0F;
        if (calcFrequencyRatio(UR1, UR2, &x, &lut->halfLineDist, maxRange) != 0) {
            return fail(kLineRatioFailed);
        }
    }
    if (enterLines(UR1, UR2, *maxRange, *lut) != 0) {
        return 1;
    }
    enterCorners(UR1, UR2, *maxRange, *lut);
    lut->halfLineDist = halfLineDist > 0.0F
                            ? halfLineDist
                            : lut->lutResolution * 0.5F * static_cast<float32_t>(smallestSpacing(*lut));
    return widenLines(*lut);
}

int32_t create2QHoppingMap(MultiFreqState& state, const MultiFreqCalib& calib) noexcept {
    const RuvoFrequencyHoppingTable& hopping = *calib.hoppingTable;
    std::fill_n(state.frequencyHoppingIndices, kFrequencyPairs, int16_t{-1});
    int16_t next = 0;
    for (int32_t position = 0; position < hopping.frequencyHoppingTableLength; ++position) {
        const HoppingTableEntry& entry = hopping.frequencyHoppingTable[position];
        const int32_t end = entry.nextline + entry.numlines;
        for (int32_t j = entry.nextline; j < end; ++j) {
            if (j >= kMaxHoppingEntries) {
                return reportFailure(kSourceFile, kHoppingText);
            }
            const int32_t successor = hopping.frequencyHoppingTable[j].fid;
            if (successor == entry.fid) {
                return fail(kLineHoppingToItself, kHoppingText);
            }
            const int32_t combination = combinationOfIds(calib, entry.fid, successor);
            if (combination < 0) {
                return reportFailure(kSourceFile, kHoppingText);
            }
            if (state.frequencyHoppingIndices[combination] == -1) {
                state.frequencyHoppingIndices[combination] = next++;
            }
        }
    }
    return 0;
}

int32_t create2QLookup(MultiFreqState& state, const MultiFreqParam& param, const MultiFreqCalib& calib,
                       int32_t i, int32_t j) noexcept {
    const int64_t combination = getCombinationIndex(i, j, calib.freqCount);
    const bool hasTableNumber = combination >= 0 && combination < kFrequencyPairs;
    const int32_t h = hasTableNumber ? state.frequencyHoppingIndices[combination] : 0;
    if (h >= kFrequencyPairs) {
        return fail(kLineTableNumber);
    }
    if (i == j) {
        return fail(kLineSameFrequency, "Unable to create two freq lookup for identical frequencies");
    }
    if (h < 0) {
        return 0;
    }
    if (i < 0 || i >= calib.freqCount) {
        return fail(kLineFirstFrequency);
    }
    if (j < 0 || j >= calib.freqCount) {
        return fail(kLineSecondFrequency);
    }
    if (!hasTableNumber) {
        return fail(kLineCombination);
    }
    const float32_t rangeOfI = kHalfSpeedOfLightInVacuum / calib.frequencies[i];
    const float32_t rangeOfJ = kHalfSpeedOfLightInVacuum / calib.frequencies[j];
    const float32_t big = rangeOfI > rangeOfJ ? rangeOfI : rangeOfJ;
    const float32_t small = rangeOfI > rangeOfJ ? rangeOfJ : rangeOfI;
    if (big <= 0.0F || small <= 0.0F) {
        return fail(kLineUniqueRange, "Frequency setting invalid");
    }
    float32_t range = param.maxRange;
    if (fillLookup(big, small, &range, param.halfLineDist, &state.LUTForward[h]) != 0) {
        return fail(kLineForwardTable);
    }
    range = param.maxRange;
    if (fillLookup(small, big, &range, param.halfLineDist, &state.LUTBackward[h]) != 0) {
        return fail(kLineBackwardTable);
    }
    state.uniqueRangesTwoFreq[h] = range;
    return 0;
}
