// SPDX-License-Identifier: Apache-2.0
#include "MultiFreqKernels.h"

#include <algorithm>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "MultiFreqKernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include "ALPixels-inl.h"
#include "Confidence-inl.h"

HWY_BEFORE_NAMESPACE();
namespace multifreq {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
namespace conf = confidence::HWY_NAMESPACE;

// On most machines reading a table is not a vector operation. So pixels go through in blocks and passes:
// vectors find the bins, plain loads fetch their contents, vectors compute the results. What one pass leaves
// for the next stays in the first-level cache.
constexpr int32_t kBlock = kImageWidth;

constexpr uint32_t kNoLineBits = kConfidenceInvalid | kConfidenceNoLine;
constexpr uint32_t kDisagreeing = kConfidenceInvalid | kConfidenceOutside;

template <class DF>
using OneLane = hn::CappedTag<hn::TFromD<DF>, 1>;

/** The bits of `confidence`, and `bits` as well where `mask` holds. */
template <class DF>
HWY_INLINE conf::NarrowBits<DF> markWhere(DF df, hn::Mask<DF> mask, uint32_t bits,
                                          conf::NarrowBits<DF> confidence) {
    return hn::Or(confidence, conf::narrow(df, conf::marksWhere(df, mask, bits)));
}

/** Both distances of a vector of pixels. */
template <class DF>
struct Measurement {
    hn::Vec<DF> current;
    hn::Vec<DF> previous;
    hn::Vec<DF> difference;
    hn::Mask<DF> missing;  ///< one of them is 0
};

template <class DF>
HWY_INLINE Measurement<DF> loadMeasurement(DF df, const LinePixels& pixels, int32_t pixel) {
    const auto zero = hn::Zero(df);
    const auto current = hn::LoadU(df, pixels.currentDistance + pixel);
    const auto previous = hn::LoadU(df, pixels.previousDistance + pixel);
    return {current, previous, hn::Sub(current, previous),
            hn::Or(hn::Eq(current, zero), hn::Eq(previous, zero))};
}

template <class DF>
HWY_INLINE conf::NarrowBits<DF> mergedConfidence(DF df, const LinePixels& pixels, int32_t pixel) {
    return hn::Or(conf::loadNarrow(df, pixels.previousConfidence + pixel),
                  conf::loadNarrow(df, pixels.currentConfidence + pixel));
}

/** Bins of `count` pixels, whole vectors. False if one lies
 * outside the table. NaN becomes 0. */
template <class DF>
HWY_INLINE bool findBins(DF df, const LineTable& table, const LinePixels& pixels, int32_t first,
                         int32_t count, int32_t* bins) {
    const hn::RebindToSigned<DF> di32;
    const auto step = static_cast<int32_t>(hn::Lanes(df));
    const auto half = hn::Set(df, 0.5F);
    const auto lutOffset = hn::Set(df, table.lutOffset);
    const auto invResolution = hn::Set(df, table.invResolution);
    const auto below = hn::Set(df, -1.0F);
    const auto beyond = hn::Set(df, static_cast<float32_t>(kLineBins));
    auto inside = hn::Lt(below, beyond);
    for (int32_t i = 0; i < count; i += step) {
        const auto m = loadMeasurement(df, pixels, first + i);
        const auto position = hn::Add(half, hn::Mul(hn::Add(m.difference, lutOffset), invResolution));
        const auto measured = hn::IfThenElseZero(hn::AndNot(m.missing, hn::Eq(position, position)), position);
        inside = hn::And(inside, hn::And(hn::Gt(measured, below), hn::Lt(measured, beyond)));
        hn::StoreU(hn::ConvertTo(di32, measured), di32, bins + i);
    }
    return hn::AllTrue(df, inside);
}

/** Fetches the bins; abscissa and value alternate. */
HWY_INLINE void fetchBins(const LineTable& table, const int32_t* bins, int32_t count, float32_t* fetched) {
    static_assert(sizeof(LineBin) == 2 * sizeof(float32_t));
    for (int32_t i = 0; i < count; ++i) {
        std::memcpy(fetched + 2 * i, &table.bins[bins[i]], sizeof(LineBin));
    }
}

/** Distance on the line: the current measurement, or the mean of both, each shifted onto the line. */
template <class DF>
HWY_INLINE hn::Vec<DF> distanceOnLine(DF df, const LineTable& table, const Measurement<DF>& m,
                                      hn::Vec<DF> abscissa) {
    if (table.currentOnly) {
        return m.current;
    }
    return hn::Mul(hn::Add(hn::Add(m.current, m.previous), abscissa), hn::Set(df, 0.5F));
}

/** A distance of the pair, and whether it lies within the pair's range. */
template <class DF>
struct RangedDistance {
    hn::Vec<DF> value;
    hn::Mask<DF> outside;
};

template <class DF>
HWY_INLINE RangedDistance<DF> intoRange(DF df, const LineTable& table, hn::Vec<DF> value) {
    const auto zero = hn::Zero(df);
    const auto range = hn::Set(df, table.uniqueRange);
    if (!table.autoMaxRange) {
        return {value, hn::Or(hn::Lt(value, zero), hn::Gt(value, range))};
    }
    const auto raised = hn::IfThenElse(hn::Lt(value, zero), hn::Add(value, range), value);
    return {hn::IfThenElse(hn::Gt(raised, range), hn::Sub(raised, range), raised), hn::MaskFromVec(zero)};
}

/** Results of `count` pixels from their bins: unwrapped distances, or the first pass of the vote. */
template <bool kForVote, class DF>
HWY_INLINE void assignBlock(DF df, const LineTable& table, const LinePixels& pixels, int32_t* lineIndices,
                            int32_t first, int32_t count, const float32_t* fetched) {
    const hn::RebindToSigned<DF> di32;
    const auto step = static_cast<int32_t>(hn::Lanes(df));
    const auto maxLineDist = hn::Set(df, table.maxLineDist);
    for (int32_t i = 0; i < count; i += step) {
        const int32_t pixel = first + i;
        const auto m = loadMeasurement(df, pixels, pixel);
        hn::Vec<DF> abscissa;
        hn::Vec<DF> lineValue;
        hn::LoadInterleaved2(df, fetched + 2 * i, abscissa, lineValue);
        auto refused = hn::Not(hn::Gt(maxLineDist, hn::Abs(hn::Sub(m.difference, abscissa))));
        auto distance = distanceOnLine(df, table, m, abscissa);
        if constexpr (!kForVote) {
            const auto ranged = intoRange(df, table, hn::Add(distance, lineValue));
            refused = hn::Or(refused, ranged.outside);
            distance = ranged.value;
        }
        const auto empty = hn::Or(m.missing, refused);
        hn::StoreU(hn::IfThenZeroElse(empty, distance), df, pixels.distance + pixel);
        const auto marked =
            markWhere(df, hn::AndNot(m.missing, refused), kNoLineBits, mergedConfidence(df, pixels, pixel));
        conf::storeNarrow(df, marked, pixels.confidence + pixel);
        if constexpr (kForVote) {
            const auto line =
                hn::IfThenElse(empty, hn::Set(df, static_cast<float32_t>(kNoLineIndex)), lineValue);
            hn::StoreU(hn::ConvertTo(di32, line), di32, lineIndices + pixel);
        }
    }
}

/** Whole vectors of pixels. False, with nothing stored, if one of their bins lies outside the table. */
template <bool kForVote, class DF>
HWY_INLINE bool tryBlock(DF df, const LineTable& table, const LinePixels& pixels, int32_t* lineIndices,
                         int32_t first, int32_t count) {
    HWY_ALIGN int32_t bins[kBlock];
    HWY_ALIGN float32_t fetched[2 * kBlock];
    if (!findBins(df, table, pixels, first, count, bins)) {
        return false;
    }
    fetchBins(table, bins, count, fetched);
    assignBlock<kForVote>(df, table, pixels, lineIndices, first, count, fetched);
    return true;
}

/** A pixel whose bin lies outside the table keeps its distance. */
HWY_INLINE void stopAt(const LinePixels& pixels, int32_t* lineIndices, int32_t pixel) {
    pixels.confidence[pixel] =
        static_cast<uint16_t>(pixels.previousConfidence[pixel] | pixels.currentConfidence[pixel]);
    if (lineIndices != nullptr) {
        lineIndices[pixel] = kNoLineIndex;
    }
}

template <bool kForVote>
HWY_INLINE int32_t assignPixels(const LineTable& table, const LinePixels& pixels, int32_t* lineIndices,
                                int32_t first, int32_t last) {
    const hn::ScalableTag<float32_t> df;
    const OneLane<decltype(df)> oneLane;
    const auto step = static_cast<int32_t>(hn::Lanes(df));
    int32_t pixel = first;
    while (pixel < last) {
        const int32_t count = std::min(kBlock, last - pixel) / step * step;
        if (count == 0 || !tryBlock<kForVote>(df, table, pixels, lineIndices, pixel, count)) {
            break;
        }
        pixel += count;
    }
    // Pixels that do not fill a vector, or the block in which a pixel fails.
    for (; pixel < last; ++pixel) {
        if (!tryBlock<kForVote>(oneLane, table, pixels, lineIndices, pixel, 1)) {
            stopAt(pixels, lineIndices, pixel);
            return 1;
        }
    }
    return 0;
}

int32_t AssignDistances(const LineTable& table, const LinePixels& pixels, int32_t first, int32_t last) {
    return assignPixels<false>(table, pixels, nullptr, first, last);
}

int32_t AssignLines(const LineTable& table, const LinePixels& pixels, int32_t* lineIndices, int32_t first,
                    int32_t last) {
    return assignPixels<true>(table, pixels, lineIndices, first, last);
}

// The vote runs on bytes. A line number beyond the range of a byte becomes its limit. No line of the table, 0
// to 99, is a neighbour of that, so neither the votes nor the lines that add a distance change.
constexpr int32_t kMargin = 64;  // at least a vector of bytes

/** Line numbers of a row; what stands in the margins does not count. */
class LineRow {
 public:
    int8_t* columns() { return lines_ + kMargin; }
    const int8_t* columns() const { return lines_ + kMargin; }

 private:
    HWY_ALIGN int8_t lines_[kMargin + kImageWidth + kMargin] = {};
};

HWY_INLINE void narrowRow(const LineVote& vote, int32_t y, LineRow& row) {
    const int32_t* const lineIndices = vote.lineIndices + y * vote.width;
    int8_t* const columns = row.columns();
    alpixels::HWY_NAMESPACE::forPixels(
        hn::ScalableTag<int32_t>(), 0, vote.width, [&](auto di, int32_t column) HWY_ATTR {
            const hn::Rebind<int8_t, decltype(di)> d8;
            hn::StoreU(hn::DemoteTo(d8, hn::LoadU(di, lineIndices + column)), d8, columns + column);
        });
}

/** Votes of a vector of pixels, counted downward from 0: a comparison that holds is -1. */
template <class D8>
struct Votes {
    hn::Vec<D8> stay;
    hn::Vec<D8> oneUp;
    hn::Vec<D8> oneDown;
};

template <class D8>
HWY_INLINE void compareNeighborLine(D8 d8, hn::Vec<D8> line, const int8_t* neighbor, Votes<D8>& votes) {
    const auto change = hn::Sub(hn::LoadU(d8, neighbor), line);
    votes.stay = hn::Add(votes.stay, hn::VecFromMask(d8, hn::Eq(change, hn::Zero(d8))));
    votes.oneUp = hn::Add(votes.oneUp, hn::VecFromMask(d8, hn::Eq(change, hn::Set(d8, int8_t{1}))));
    votes.oneDown = hn::Add(votes.oneDown, hn::VecFromMask(d8, hn::Eq(change, hn::Set(d8, int8_t{-1}))));
}

/** Lines of a vector of pixels after the vote. Staying wins every tie, up wins over down. */
template <class D8>
HWY_INLINE hn::Vec<D8> votedLines(D8 d8, const int8_t* above, const int8_t* row, const int8_t* below) {
    const auto line = hn::LoadU(d8, row);
    Votes<D8> votes = {hn::Zero(d8), hn::Zero(d8), hn::Zero(d8)};
    compareNeighborLine(d8, line, above - 1, votes);
    compareNeighborLine(d8, line, above, votes);
    compareNeighborLine(d8, line, above + 1, votes);
    compareNeighborLine(d8, line, row - 1, votes);
    compareNeighborLine(d8, line, row + 1, votes);
    compareNeighborLine(d8, line, below - 1, votes);
    compareNeighborLine(d8, line, below, votes);
    compareNeighborLine(d8, line, below + 1, votes);
    // A smaller number means more votes here.
    const auto winner = hn::Min(votes.stay, votes.oneUp);
    const auto up = hn::VecFromMask(d8, hn::Lt(votes.oneUp, votes.stay));
    const auto down = hn::Lt(votes.oneDown, winner);
    return hn::Sub(line, hn::IfThenElse(down, hn::Set(d8, int8_t{1}), up));
}

/** Lines of a row after the vote. The first and the last column keep theirs. */
HWY_INLINE void voteOnRow(const LineRow& above, const LineRow& row, const LineRow& below, int32_t width,
                          LineRow& voted) {
    const hn::ScalableTag<int8_t> d8;
    static_assert(hn::MaxLanes(d8) <= kMargin);
    const auto step = static_cast<int32_t>(hn::Lanes(d8));
    for (int32_t column = 0; column < width; column += step) {
        hn::StoreU(votedLines(d8, above.columns() + column, row.columns() + column, below.columns() + column),
                   d8, voted.columns() + column);
    }
    voted.columns()[0] = row.columns()[0];
    voted.columns()[width - 1] = row.columns()[width - 1];
}

/** Adds the distances of the lines to a vector of pixels. */
template <class DF>
HWY_INLINE void addLines(DF df, const LineTable& table, const float32_t* addends, float32_t* distance,
                         uint16_t* confidence) {
    const auto withinLine = hn::LoadU(df, distance);
    const auto merged = conf::loadNarrow(df, confidence);
    const auto invalid = conf::isInvalid(df, hn::PromoteTo(hn::RebindToUnsigned<DF>(), merged));
    const auto ranged = intoRange(df, table, hn::Add(withinLine, hn::LoadU(df, addends)));
    const auto assigned = hn::IfThenZeroElse(ranged.outside, ranged.value);
    hn::StoreU(hn::IfThenElse(invalid, withinLine, assigned), df, distance);
    conf::storeNarrow(df, markWhere(df, hn::AndNot(invalid, ranged.outside), kNoLineBits, merged),
                      confidence);
}

void VoteOnLines(const LineTable& table, const float32_t* offsetOfLine, const LineVote& vote,
                 int32_t startLine, int32_t endLine) {
    float32_t addendOfLine[256];
    std::fill_n(addendOfLine, 256, -0.0F);  // adding it changes nothing, not even -0
    std::copy_n(offsetOfLine, kLineBins, addendOfLine);
    LineRow rows[3];  // row y is number y % 3
    if (startLine < endLine) {
        narrowRow(vote, std::max(startLine - 1, 0), rows[(startLine + 2) % 3]);
        narrowRow(vote, startLine, rows[startLine % 3]);
    }
    for (int32_t y = startLine; y < endLine; ++y) {
        const LineRow* lines = &rows[y % 3];
        LineRow voted;
        if (y + 1 < vote.height) {
            narrowRow(vote, y + 1, rows[(y + 1) % 3]);
            if (y > 0) {
                voteOnRow(rows[(y + 2) % 3], rows[y % 3], rows[(y + 1) % 3], vote.width, voted);
                lines = &voted;
            }
        }
        HWY_ALIGN float32_t addends[kImageWidth];
        for (int32_t x = 0; x < vote.width; ++x) {
            addends[x] = addendOfLine[static_cast<uint8_t>(lines->columns()[x])];
        }
        float32_t* const distance = vote.distance + y * vote.width;
        uint16_t* const confidence = vote.confidence + y * vote.width;
        alpixels::HWY_NAMESPACE::forPixels(
            hn::ScalableTag<float32_t>(), 0, vote.width, [&](auto df, int32_t column) HWY_ATTR {
                addLines(df, table, addends + column, distance + column, confidence + column);
            });
    }
}

/** The distances of a vector of pixels on which both pairs agree. */
template <class DF>
HWY_INLINE void combinePairs(DF df, const PairResults& pairs, float32_t* distance, uint16_t* confidence,
                             int32_t pixel) {
    const auto zero = hn::Zero(df);
    const auto range = hn::Set(df, pairs.range);
    const auto d0 = hn::LoadU(df, pairs.distance0 + pixel);
    const auto d1 = hn::LoadU(df, pairs.distance1 + pixel);
    const auto empty = hn::Or(hn::Eq(d0, zero), hn::Eq(d1, zero));
    const auto inRange = hn::And(hn::Le(d0, range), hn::Le(d1, range));
    const auto close = hn::Gt(hn::Set(df, pairs.maxDiff), hn::Abs(hn::Sub(d0, d1)));
    const auto agree = hn::AndNot(empty, hn::And(inRange, close));
    const auto merged = hn::Or(conf::loadNarrow(df, pairs.confidence0 + pixel),
                               conf::loadNarrow(df, pairs.confidence1 + pixel));
    hn::StoreU(hn::IfThenElseZero(agree, d0), df, distance + pixel);
    conf::storeNarrow(df, markWhere(df, hn::Not(agree), kDisagreeing, merged), confidence + pixel);
}

// The record comes by value: no store to an image can change it, so that it stays in registers.
void CombinePairs(PairResults pairs, float32_t* distance, uint16_t* confidence, int32_t first, int32_t last) {
    alpixels::HWY_NAMESPACE::forPixels(
        hn::ScalableTag<float32_t>(), first, last,
        [=](auto df, int32_t pixel) HWY_ATTR { combinePairs(df, pairs, distance, confidence, pixel); });
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace multifreq
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace multifreq {
namespace {

HWY_EXPORT(AssignDistances);
HWY_EXPORT(AssignLines);
HWY_EXPORT(VoteOnLines);
HWY_EXPORT(CombinePairs);

}  // namespace
}  // namespace multifreq

int32_t MultiFreq_AssignDistances(const LineTable& table, const LinePixels& pixels, int32_t first,
                                  int32_t last) noexcept {
    using namespace multifreq;
    return HWY_DYNAMIC_DISPATCH(AssignDistances)(table, pixels, first, last);
}

int32_t MultiFreq_AssignLines(const LineTable& table, const LinePixels& pixels, int32_t* lineIndices,
                              int32_t first, int32_t last) noexcept {
    using namespace multifreq;
    return HWY_DYNAMIC_DISPATCH(AssignLines)(table, pixels, lineIndices, first, last);
}

void MultiFreq_VoteOnLines(const LineTable& table, const float32_t* offsetOfLine, const LineVote& vote,
                           int32_t startLine, int32_t endLine) noexcept {
    using namespace multifreq;
    HWY_DYNAMIC_DISPATCH(VoteOnLines)(table, offsetOfLine, vote, startLine, endLine);
}

void MultiFreq_CombinePairs(const PairResults& pairs, float32_t* distance, uint16_t* confidence,
                            int32_t first, int32_t last) noexcept {
    using namespace multifreq;
    HWY_DYNAMIC_DISPATCH(CombinePairs)(pairs, distance, confidence, first, last);
}

#endif  // HWY_ONCE
