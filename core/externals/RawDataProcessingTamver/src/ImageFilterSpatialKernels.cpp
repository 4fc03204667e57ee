// SPDX-License-Identifier: Apache-2.0
#include "ImageFilterSpatialKernels.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageFilterSpatialKernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include "ALPixels-inl.h"
#include "ALSimd-inl.h"
#include "Confidence-inl.h"

HWY_BEFORE_NAMESPACE();
namespace imagefilter {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
namespace al = alsimd::HWY_NAMESPACE;
namespace conf = confidence::HWY_NAMESPACE;

using OneLane = hn::CappedTag<float32_t, 1>;

// Lines are filtered in tiles of columns, so that intermediate results stay in the first-level cache. The
// last vector of a tile overlaps the one before it, so nothing beyond the tile is touched. What is written
// twice is the same both times. A tile narrower than a vector goes pixel by pixel.

/** Where the vector after the one at i begins; `count` after the last one. */
HWY_INLINE int32_t nextVector(int32_t i, int32_t lanes, int32_t count) {
    const int32_t next = i + lanes;
    return next < count ? std::min(next, count - lanes) : count;
}

template <class DF>
HWY_INLINE int32_t lanesOf(DF df) {
    return static_cast<int32_t>(hn::Lanes(df));
}

// ---------------------------------------------------------------------------------------------------------------------
// Mean

constexpr int32_t kMeanTile = 224;
constexpr float32_t kLeastValues = 4.0F;

/** Sums of the measurements and their number, for each column of a tile and its margins. */
struct ColumnSums {
    HWY_ALIGN float32_t sum[kMeanTile + 4];
    HWY_ALIGN float32_t count[kMeanTile + 4];
};

template <int32_t kHalf, class DF>
HWY_INLINE void sumColumns(DF df, const float32_t* topLine, int32_t width, int32_t columns,
                           ColumnSums& sums) {
    const auto zero = hn::Zero(df);
    const auto one = hn::Set(df, 1.0F);
    for (int32_t c = 0; c < columns; c = nextVector(c, lanesOf(df), columns)) {
        auto sum = zero;
        auto count = zero;
        HWY_UNROLL(5)
        for (int32_t line = 0; line < 2 * kHalf + 1; ++line) {
            // Holes add their 0, which changes no sum.
            const auto value = hn::LoadU(df, topLine + line * width + c);
            sum = hn::Add(sum, value);
            count = hn::Add(count, hn::IfThenZeroElse(hn::Eq(value, zero), one));
        }
        hn::StoreU(sum, df, sums.sum + c);
        hn::StoreU(count, df, sums.count + c);
    }
}

/**
 * The columns of a mask are added in the order of a ring, in which each image column has a fixed slot: its
 * number modulo the mask's size. The columns of a mask that begins at column c are therefore turned by c
 * modulo the size. This holds the bits of that number for each pixel of a tile, as masks.
 */
struct RingTurns {
    HWY_ALIGN uint32_t bit[3][kMeanTile];
};

HWY_INLINE void prepareTurns(int32_t firstColumn, int32_t maskSize, int32_t count, RingTurns& turns) {
    for (int32_t i = 0; i < count; ++i) {
        const auto turn = static_cast<uint32_t>((firstColumn + i) % maskSize);
        for (uint32_t b = 0; b < 3; ++b) {
            turns.bit[b][i] = (turn >> b & 1U) != 0 ? 0xFFFFFFFFU : 0U;
        }
    }
}

/** The sums of a mask's columns. */
template <class V, size_t kSize>
struct Ring {
    V sum[kSize];
};

/** The columns of the masks that begin at `first` and after it. */
template <class DF, size_t... k>
HWY_INLINE Ring<hn::Vec<DF>, sizeof...(k)> loadRing(DF df, const float32_t* first,
                                                    std::index_sequence<k...> /*places*/) {
    return {{hn::LoadU(df, first + k)...}};
}

/** The columns turned by kTurn slots where the mask says so. */
template <size_t kTurn, class DF, class V, size_t... k>
HWY_INLINE Ring<V, sizeof...(k)> turnRing(DF df, const uint32_t* where, const Ring<V, sizeof...(k)>& ring,
                                          std::index_sequence<k...> /*slots*/) {
    constexpr size_t kSize = sizeof...(k);
    const auto turned = hn::MaskFromVec(hn::BitCast(df, hn::LoadU(hn::RebindToUnsigned<DF>(), where)));
    return {{hn::IfThenElse(turned, ring.sum[(k + kSize - kTurn) % kSize], ring.sum[k])...}};
}

template <size_t kSlot = 0, class V, size_t kSize>
HWY_INLINE V sumOf(const Ring<V, kSize>& ring, V sum) {
    if constexpr (kSlot == kSize) {
        return sum;
    } else {
        return sumOf<kSlot + 1>(ring, hn::Add(sum, ring.sum[kSlot]));
    }
}

template <int32_t kHalf, class DF, class V = hn::Vec<DF>>
HWY_INLINE void writeMeans(DF df, const ColumnSums& sums, const RingTurns& turns, int32_t count,
                           float32_t* target) {
    constexpr std::make_index_sequence<2 * kHalf + 1> places;
    for (int32_t i = 0; i < count; i = nextVector(i, lanesOf(df), count)) {
        auto ring = loadRing(df, sums.sum + i, places);
        ring = turnRing<1>(df, turns.bit[0] + i, ring, places);
        ring = turnRing<2>(df, turns.bit[1] + i, ring, places);
        if constexpr (kHalf == 2) {
            ring = turnRing<4>(df, turns.bit[2] + i, ring, places);
        }
        const V sum = sumOf(ring, hn::Zero(df));
        const V values = sumOf(loadRing(df, sums.count + i, places), hn::Zero(df));
        const auto enough = hn::Ge(values, hn::Set(df, kLeastValues));
        hn::StoreU(hn::IfThenElseZero(enough, al::Divide(df, sum, values)), df, target + i);
    }
}

template <int32_t kHalf, class DF>
void meansOfTile(DF df, const FilterBand& band, int32_t firstColumn, int32_t count) {
    ColumnSums sums;
    RingTurns turns;
    prepareTurns(firstColumn, 2 * kHalf + 1, count, turns);
    for (int32_t y = band.firstLine; y < band.lastLine; ++y) {
        sumColumns<kHalf>(df, band.source + (y - kHalf) * band.width + firstColumn, band.width,
                          count + 2 * kHalf, sums);
        writeMeans<kHalf>(df, sums, turns, count, band.target + y * band.width + kHalf + firstColumn);
    }
}

template <int32_t kHalf>
void computeMeans(const FilterBand& band) {
    const hn::ScalableTag<float32_t> df;
    if (band.firstLine >= band.lastLine) {
        return;  // an image without lines may be of any width
    }
    const int32_t columns = band.width - 2 * kHalf;
    for (int32_t first = 0; first < columns; first += kMeanTile) {
        const int32_t count = std::min(columns - first, kMeanTile);
        if (count >= lanesOf(df)) {
            meansOfTile<kHalf>(df, band, first, count);
        } else {
            meansOfTile<kHalf>(OneLane(), band, first, count);
        }
    }
}

void ComputeMeans(int32_t halfSize, const FilterBand& band) {
    return halfSize == 1 ? computeMeans<1>(band) : computeMeans<2>(band);
}

// ---------------------------------------------------------------------------------------------------------------------
// Bilateral filter
//
// The difference of two pixels does not depend on which of them is the centre, so one weight serves both.
// Each line's weights towards the pixels after it in the image are computed once, and kept until the
// lines below have used them too.

constexpr int32_t kBilateralTile = 112;
constexpr int32_t kTileColumns = kBilateralTile + 4;  ///< with the margins of the larger mask

/** The range table with offset and slope side by side: one load fetches both. */
struct RangeTable {
    explicit RangeTable(const BilateralWeights& weights) {
        for (int32_t k = 0; k < kRangeIntervals; ++k) {
            samples[k][0] = weights.offset[k];
            samples[k][1] = weights.slope[k];
        }
    }

    HWY_ALIGN float32_t samples[kRangeIntervals][2];
};

/**
 * True for the tables of regular settings: finite, falling at their end, with the same weight at opposite
 * places of the mask. Then an infinite difference has the weight 0.
 */
HWY_INLINE bool areRegular(const BilateralWeights& weights, int32_t maskPlaces) {
    bool regular =
        weights.step > 0.0F && std::isfinite(weights.step) && weights.slope[kRangeIntervals - 1] < 0.0F;
    for (int32_t k = 0; k < kRangeIntervals; ++k) {
        regular = regular && std::isfinite(weights.slope[k]) && std::isfinite(weights.offset[k]);
    }
    for (int32_t i = 0; i < maskPlaces; ++i) {
        regular = regular && std::isfinite(weights.spatial[i]) &&
                  weights.spatial[i] == weights.spatial[maskPlaces - 1 - i];
    }
    return regular;
}

/** Loads offsets and slopes at every second index, side by side, as many as fill a vector. */
template <class DF>
HWY_INLINE hn::Vec<DF> loadPairs(DF df, const RangeTable& table, const int32_t* index) {
    constexpr size_t kPairs = hn::MaxLanes(DF()) / 2;
    if constexpr (kPairs == 1) {
        return hn::LoadU(df, table.samples[*index]);
    } else {
        const hn::Half<DF> half;
        const auto lower = loadPairs(half, table, index);
        return hn::Combine(df, loadPairs(half, table, index + kPairs), lower);
    }
}

template <class V>
struct Line {
    V offset;
    V slope;
};

/** The range table's lines at the indices of a vector of pixels. */
template <class DF, class V = hn::Vec<DF>>
HWY_INLINE Line<V> lookUp(DF df, const RangeTable& table, const int32_t* index) {
    if constexpr (hn::MaxLanes(DF()) == 1) {
        return {hn::Set(df, table.samples[*index][0]), hn::Set(df, table.samples[*index][1])};
    } else {
        const hn::Repartition<uint64_t, DF> pairs;
        const V even = loadPairs(df, table, index);
        const V odd = loadPairs(df, table, index + 1);
        const auto lower = hn::BitCast(pairs, hn::InterleaveLower(df, even, odd));
        const auto upper = hn::BitCast(pairs, hn::InterleaveUpper(df, even, odd));
        return {hn::BitCast(df, hn::InterleaveLower(pairs, lower, upper)),
                hn::BitCast(df, hn::InterleaveUpper(pairs, lower, upper))};
    }
}

/** offset + delta slope, not below 0. */
template <class DF, class V = hn::Vec<DF>>
HWY_INLINE V weightOnLine(DF df, const Line<V>& line, V delta) {
    return al::SelectMax(hn::Zero(df), hn::Add(line.offset, hn::Mul(delta, line.slope)));  // NaN stays
}

/** Differences of a line's pairs of pixels, and the intervals of the range table in which they lie. */
struct Differences {
    HWY_ALIGN float32_t delta[kTileColumns];
    HWY_ALIGN int32_t interval[kTileColumns];
};

template <class DF, class V = hn::Vec<DF>>
HWY_INLINE void findIntervals(DF df, float32_t step, const float32_t* a, const float32_t* b, int32_t count,
                              Differences& differences) {
    const hn::RebindToSigned<DF> di;
    const V zero = hn::Zero(df);
    const V last = hn::Set(df, static_cast<float32_t>(kRangeIntervals - 1));
    for (int32_t i = 0; i < count; i = nextVector(i, lanesOf(df), count)) {
        const V delta = hn::Abs(hn::Sub(hn::LoadU(df, a + i), hn::LoadU(df, b + i)));
        const V quotient = al::SelectMax(al::Divide(df, delta, hn::Set(df, step)), zero);  // 0 for NaN
        const V interval = hn::Trunc(al::MinOfNumbers(quotient, last));
        hn::StoreU(delta, df, differences.delta + i);
        hn::StoreU(al::WholeToInt32(df, interval), di, differences.interval + i);
    }
}

/** Places of a mask, numbered row by row. */
template <int32_t kHalf>
struct Mask {
    static constexpr int32_t kSize = 2 * kHalf + 1;
    static constexpr int32_t kPlaces = kSize * kSize;
    static constexpr int32_t kCentre = kPlaces / 2;

    static constexpr int32_t column(int32_t place) { return place % kSize - kHalf; }
    static constexpr int32_t line(int32_t place) { return place / kSize - kHalf; }
    static constexpr int32_t opposite(int32_t place) { return kPlaces - 1 - place; }
};

/**
 * The filter on one tile of columns. Columns of the tile are counted from its left margin. With regular
 * tables the kept weights include the spatial weight, and are 0 towards holes.
 */
template <bool kRegular, int32_t kHalf, class DF>
class BilateralTile {
    using V = hn::Vec<DF>;
    using M = Mask<kHalf>;

 public:
    BilateralTile(const BilateralWeights& weights, const RangeTable& table, const FilterBand& band,
                  int32_t firstColumn, int32_t count)
        : weights_(weights),
          table_(table),
          source_(band.source + firstColumn),
          target_(band.target + firstColumn),
          width_(band.width),
          count_(count) {}

    void filter(int32_t firstLine, int32_t lastLine) {
        int32_t y = firstLine - kHalf;
        for (; y < firstLine; ++y) {
            keepPixels(y);
        }
        for (y = firstLine - kHalf; y < lastLine; ++y) {
            keepPixels(y + kHalf);
            keepWeights(y);
            if (y >= firstLine) {
                writeLine(y);
            }
        }
    }

 private:
    static constexpr int32_t kKept = kHalf + 1;  ///< a line and those below it in its mask

    /** Copies a line. Holes become infinite, which gives them the weight 0. */
    HWY_INLINE void keepPixels(int32_t y) {
        const DF df;
        const float32_t* const from = source_ + y * width_;
        float32_t* const kept = pixels_[y % kKept];
        const int32_t columns = count_ + 2 * kHalf;
        for (int32_t c = 0; c < columns; c = nextVector(c, lanesOf(df), columns)) {
            V pixel = hn::LoadU(df, from + c);
            if constexpr (kRegular) {
                const V infinite = hn::BitCast(df, hn::Set(hn::RebindToUnsigned<DF>(), 0x7F800000U));
                pixel = hn::IfThenElse(hn::Eq(pixel, hn::Zero(df)), infinite, pixel);
            }
            hn::StoreU(pixel, df, kept + c);
        }
    }

    /** The weights between the pixels of line y and those after them in their masks. */
    HWY_INLINE void keepWeights(int32_t y) {
        for (int32_t place = M::kCentre + 1; place < M::kPlaces; ++place) {
            const int32_t u = M::column(place);
            // Extends into the margins as far as the pixels on both ends of a pair need.
            const int32_t begin = kHalf - std::max(u, 0);
            const int32_t count = count_ + std::abs(u);
            keepWeightsOfPlace(pixels_[y % kKept] + begin, pixels_[(y + M::line(place)) % kKept] + begin + u,
                               weights_.spatial[place], count, keptWeights(y, place) + begin);
        }
    }

    HWY_INLINE void keepWeightsOfPlace(const float32_t* a, const float32_t* b, float32_t spatialWeight,
                                       int32_t count, float32_t* kept) {
        const DF df;
        findIntervals(df, weights_.step, a, b, count, differences_);
        for (int32_t i = 0; i < count; i = nextVector(i, lanesOf(df), count)) {
            const V delta = hn::LoadU(df, differences_.delta + i);
            V weight = weightOnLine(df, lookUp(df, table_, differences_.interval + i), delta);
            if constexpr (kRegular) {
                weight = hn::Mul(weight, hn::Set(df, spatialWeight));
            }
            hn::StoreU(weight, df, kept + i);
        }
    }

    HWY_INLINE float32_t* keptWeights(int32_t y, int32_t place) {
        return pairWeights_[y % kKept][place - M::kCentre - 1];
    }

    HWY_INLINE void writeLine(int32_t y) {
        const DF df;
        const V zero = hn::Zero(df);
        const float32_t* sourceLines[M::kSize];
        const float32_t* weightLines[kKept];  // of line y and those above it
        for (int32_t v = -kHalf; v <= kHalf; ++v) {
            sourceLines[v + kHalf] = source_ + (y + v) * width_ + kHalf;
        }
        for (int32_t v = 0; v < kKept; ++v) {
            weightLines[v] = keptWeights(y - v, M::kCentre + 1) + kHalf;
        }
        const V centreSpatial = hn::Set(df, weights_.spatial[M::kCentre]);
        const Line<V> centreLine = {hn::Set(df, table_.samples[0][0]), hn::Set(df, table_.samples[0][1])};
        float32_t* const target = target_ + y * width_ + kHalf;
        for (int32_t i = 0; i < count_; i = nextVector(i, lanesOf(df), count_)) {
            const V centre = hn::LoadU(df, sourceLines[kHalf] + i);
            V sum = zero;
            V sumWeight = zero;
            HWY_UNROLL(25)
            for (int32_t place = 0; place < M::kPlaces; ++place) {
                const int32_t u = M::column(place);
                const int32_t v = M::line(place);
                const V value = hn::LoadU(df, sourceLines[v + kHalf] + i + u);
                V weight;
                if (place < M::kCentre) {
                    const int32_t pair = M::opposite(place) - M::kCentre - 1;
                    weight = hn::LoadU(df, weightLines[-v] + pair * kTileColumns + i + u);
                } else if (place > M::kCentre) {
                    const int32_t pair = place - M::kCentre - 1;
                    weight = hn::LoadU(df, weightLines[0] + pair * kTileColumns + i);
                } else {
                    weight = weightOnLine(df, centreLine, hn::Abs(hn::Sub(centre, centre)));
                    weight = kRegular ? hn::Mul(weight, centreSpatial) : weight;
                }
                V counted = weight;
                if constexpr (!kRegular) {
                    weight = hn::Mul(weight, hn::Set(df, weights_.spatial[place]));
                    counted = hn::IfThenZeroElse(hn::Eq(value, zero), weight);
                }
                sum = hn::Add(sum, hn::Mul(weight, value));
                sumWeight = hn::Add(sumWeight, counted);
            }
            hn::StoreU(hn::IfThenZeroElse(hn::Eq(centre, zero), al::Divide(df, sum, sumWeight)), df,
                       target + i);
        }
    }

    const BilateralWeights& weights_;
    const RangeTable& table_;
    const float32_t* source_;
    float32_t* target_;
    int32_t width_;
    int32_t count_;
    Differences differences_;
    HWY_ALIGN float32_t pixels_[kKept][kTileColumns];
    HWY_ALIGN float32_t pairWeights_[kKept][M::kPlaces / 2][kTileColumns];
};

template <bool kRegular, int32_t kHalf>
void computeBilateral(const BilateralWeights& weights, const FilterBand& band) {
    const hn::ScalableTag<float32_t> df;
    if (band.firstLine >= band.lastLine) {
        return;  // the lines above an empty band may not exist
    }
    const RangeTable table(weights);
    const int32_t columns = band.width - 2 * kHalf;
    for (int32_t first = 0; first < columns; first += kBilateralTile) {
        const int32_t count = std::min(columns - first, kBilateralTile);
        if (count >= lanesOf(df)) {
            BilateralTile<kRegular, kHalf, decltype(df)>(weights, table, band, first, count)
                .filter(band.firstLine, band.lastLine);
        } else {
            BilateralTile<kRegular, kHalf, OneLane>(weights, table, band, first, count)
                .filter(band.firstLine, band.lastLine);
        }
    }
}

template <int32_t kHalf>
void computeBilateral(const BilateralWeights& weights, const FilterBand& band) {
    return areRegular(weights, Mask<kHalf>::kPlaces) ? computeBilateral<true, kHalf>(weights, band)
                                                     : computeBilateral<false, kHalf>(weights, band);
}

void ComputeBilateral(int32_t halfSize, const BilateralWeights& weights, const FilterBand& band) {
    return halfSize == 1 ? computeBilateral<1>(weights, band) : computeBilateral<2>(weights, band);
}

// ---------------------------------------------------------------------------------------------------------------------
// Confidence

constexpr float32_t kSmallestDistance = 1e-6F;

template <class DF>
HWY_INLINE void updatePixels(DF df, const float32_t* distance, uint16_t* confidence) {
    const hn::Rebind<uint16_t, DF> du16;
    const auto invalidBit = hn::Set(du16, kConfidenceInvalid);
    const auto isInvalid = hn::Le(hn::LoadU(df, distance), hn::Set(df, kSmallestDistance));
    const auto invalidNow = conf::narrow(df, conf::marksWhere(df, isInvalid, kConfidenceInvalid));
    const auto before = conf::loadNarrow(df, confidence);
    const auto differs = hn::Ne(hn::And(before, invalidBit), invalidNow);
    const auto changed = hn::IfThenElseZero(differs, hn::Set(du16, kConfidenceChanged));
    conf::storeNarrow(df, hn::Or(hn::Or(hn::AndNot(invalidBit, before), invalidNow), changed), confidence);
}

void UpdateConfidence(const float32_t* distance, uint16_t* confidence, int32_t pixelCount) {
    alpixels::HWY_NAMESPACE::forPixels(hn::ScalableTag<float32_t>(), 0, pixelCount,
                                       [&](auto df, int32_t i)
                                           HWY_ATTR { updatePixels(df, distance + i, confidence + i); });
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace imagefilter
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace imagefilter {
namespace {

HWY_EXPORT(ComputeMeans);
HWY_EXPORT(ComputeBilateral);
HWY_EXPORT(UpdateConfidence);

}  // namespace
}  // namespace imagefilter

void ImageFilter_ComputeMeans(int32_t halfSize, const FilterBand& band) noexcept {
    using namespace imagefilter;
    HWY_DYNAMIC_DISPATCH(ComputeMeans)(halfSize, band);
}

void ImageFilter_ComputeBilateral(int32_t halfSize, const BilateralWeights& weights,
                                  const FilterBand& band) noexcept {
    using namespace imagefilter;
    HWY_DYNAMIC_DISPATCH(ComputeBilateral)(halfSize, weights, band);
}

void ImageFilter_UpdateConfidence(const float32_t* distance, uint16_t* confidence,
                                  int32_t pixelCount) noexcept {
    using namespace imagefilter;
    HWY_DYNAMIC_DISPATCH(UpdateConfidence)(distance, confidence, pixelCount);
}

#endif  // HWY_ONCE
