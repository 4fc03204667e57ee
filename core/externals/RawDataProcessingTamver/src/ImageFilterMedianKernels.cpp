// SPDX-License-Identifier: Apache-2.0
#include "ImageFilterMedianKernels.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <limits>
#include <type_traits>
#include <utility>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageFilterMedianKernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace imagefiltermedian {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

/** At most sixteen lanes, so that one bit per lane fits into an integer. */
using Keys = hn::CappedTag<int32_t, 16>;
using Key = hn::Vec<Keys>;
using KeyMask = hn::Mask<Keys>;

constexpr int32_t kLargestKey = std::numeric_limits<int32_t>::max();
constexpr int32_t kMinValues = 4;  ///< fewer in a mask give no median

constexpr int32_t kLanes = static_cast<int32_t>(hn::MaxLanes(Keys()));
constexpr int32_t kBlock = 256;  ///< columns that are sorted at once

// ---------------------------------------------------------------------------------------------------------------------
// Keys

/** Bits of positive numbers are keys already; those of negative numbers fall as the number rises. */
HWY_INLINE Key turnNegatives(Keys d, Key bits) {
    return hn::Xor(bits, hn::And(hn::ShiftRight<31>(bits), hn::Set(d, kLargestKey)));
}

/** Key of the bits of a float; 0 for both zeros. */
HWY_INLINE Key keyOf(Keys d, Key bits) {
    const Key key = turnNegatives(d, bits);
    const Key negativeZero = hn::Set(d, -1);
    return hn::IfThenZeroElse(hn::Eq(key, negativeZero), key);
}

HWY_INLINE hn::Vec<hn::RebindToFloat<Keys>> valueOf(Keys d, Key key) {
    return hn::BitCast(hn::RebindToFloat<Keys>(), turnNegatives(d, key));
}

/** The bits of the `count` pixels at `pixels`, at most a vector, filled up with values that are
 * neither holes nor negative. */
HWY_INLINE Key loadBits(Keys d, const float32_t* pixels, int32_t count) {
    const hn::RebindToFloat<Keys> df;
    if (count >= kLanes) {
        return hn::BitCast(d, hn::LoadU(df, pixels));
    }
    HWY_ALIGN float32_t padded[kLanes];
    std::fill_n(std::copy_n(pixels, count, padded), kLanes - count, 1.0F);
    return hn::BitCast(d, hn::Load(df, padded));
}

/** Calls `step` with 0, 1, .. as constants, so that the values it indexes can stay in registers. */
template <class Step, size_t... kIndex>
HWY_INLINE void forEach(std::index_sequence<kIndex...>, Step step) {
    (step(std::integral_constant<size_t, kIndex>()), ...);
}

/** a becomes the smaller, b the larger one. */
HWY_INLINE void compareExchange(Key& a, Key& b) {
    const Key smaller = hn::Min(a, b);
    b = hn::Max(a, b);
    a = smaller;
}

/**
 * Calls `write(i, p)`, which stores a vector of results at p, from result i on, until all `count`
 * results at `dst` are written. The last vector repeats some results. If there are fewer than a
 * vector, they pass through a buffer.
 */
template <class Write>
HWY_INLINE void writeResults(float32_t* dst, int32_t count, Write write) {
    int32_t i = 0;
    for (; i + kLanes <= count; i += kLanes) {
        write(i, dst + i);
    }
    if (i == count) {
        return;
    }
    if (count >= kLanes) {
        write(count - kLanes, dst + count - kLanes);
        return;
    }
    HWY_ALIGN float32_t results[kLanes];
    std::copy_n(dst, count, results);
    write(0, results);
    std::copy_n(results, count, dst);
}

// ---------------------------------------------------------------------------------------------------------------------
// 3 x 3

constexpr int32_t kCarried3 = 2;  ///< columns that a mask shares with those of the next column

/** Sorted columns of three. After the last one there is room for a vector that may be written
 * and read but does not count. */
struct Columns3 {
    int32_t min[kCarried3 + kBlock + kLanes];
    int32_t med[kCarried3 + kBlock + kLanes];
    int32_t max[kCarried3 + kBlock + kLanes];
    int32_t holes[kCarried3 + kBlock + kLanes];
};

struct Column3 {
    Key min;
    Key med;
    Key max;
};

HWY_INLINE Column3 sort3(Column3 v) {
    compareExchange(v.med, v.max);
    compareExchange(v.min, v.med);
    compareExchange(v.med, v.max);
    return v;
}

HWY_INLINE Key median(Key a, Key b, Key c) {
    return hn::Max(hn::Min(a, b), hn::Min(hn::Max(a, b), c));
}

/** Decides whether a hole counts as 0 or as 1e10. Keeps the state of the scan between vectors. */
class Toggle {
 public:
    /** The columns with an odd number of holes before them. `odd`: those with an odd number inside. */
    KeyMask before(Keys d, KeyMask odd) {
        uint64_t bits = 0;
        hn::StoreMaskBits(d, odd, reinterpret_cast<uint8_t*>(&bits));
        auto upTo = static_cast<uint32_t>(bits);
        upTo ^= upTo << 1;
        upTo ^= upTo << 2;
        upTo ^= upTo << 4;
        upTo ^= upTo << 8;
        bits = ((upTo << 1) ^ odd_) & ((1U << kLanes) - 1);
        odd_ ^= 0U - (upTo >> (kLanes - 1) & 1U);
        return hn::LoadMaskBits(d, reinterpret_cast<const uint8_t*>(&bits));
    }

 private:
    uint32_t odd_ = 0;  ///< all bits set: an odd number of holes so far
};

/** Replaces and counts the holes of a vector of columns. Their lines are min, med and max. */
HWY_INLINE Column3 treatInvalid(Keys d, Column3 v, Toggle& toggle, Key& holes) {
    const Key zero = hn::Zero(d);
    const Key far = hn::Set(d, 0x501502F9);  // 1e10
    const KeyMask above = hn::Eq(v.min, zero);
    const KeyMask at = hn::Eq(v.med, zero);
    const KeyMask below = hn::Eq(v.max, zero);
    const KeyMask before = toggle.before(d, hn::Xor(hn::Xor(above, at), below));
    const KeyMask beforeAt = hn::Xor(before, above);
    const KeyMask beforeBelow = hn::Xor(beforeAt, at);
    v.min = hn::IfThenElse(hn::And(above, before), far, v.min);
    v.med = hn::IfThenElse(hn::And(at, beforeAt), far, v.med);
    v.max = hn::IfThenElse(hn::And(below, beforeBelow), far, v.max);
    holes = hn::Sub(hn::Sub(zero, hn::VecFromMask(d, above)),
                    hn::Add(hn::VecFromMask(d, at), hn::VecFromMask(d, below)));
    return v;
}

/** Sorts `count` columns around those at `src`. Returns whether there is a hole or a negative value among
 * them. */
HWY_INLINE bool sortColumns(Keys d, const float32_t* src, ptrdiff_t width, int32_t count, Columns3& columns,
                            int32_t at, Toggle& toggle) {
    bool special = false;
    for (int32_t i = 0; i < count; i += kLanes) {
        const Column3 bits = {loadBits(d, src + i - width, count - i), loadBits(d, src + i, count - i),
                              loadBits(d, src + i + width, count - i)};
        Column3 sorted = sort3(bits);
        Key holes = hn::Zero(d);
        if (!hn::AllTrue(d, hn::Gt(sorted.min, holes))) {
            const Column3 keys = {keyOf(d, bits.min), keyOf(d, bits.med), keyOf(d, bits.max)};
            sorted = sort3(treatInvalid(d, keys, toggle, holes));
            special = true;
        }
        hn::StoreU(sorted.min, d, columns.min + at + i);
        hn::StoreU(sorted.med, d, columns.med + at + i);
        hn::StoreU(sorted.max, d, columns.max + at + i);
        hn::StoreU(holes, d, columns.holes + at + i);
    }
    return special;
}

/** From `i` on, the sum of every three neighbours, or their median, largest or smallest. */
template <class Combine>
HWY_INLINE Key ofThree(Keys d, const int32_t* values, int32_t i, Combine combine) {
    return combine(hn::LoadU(d, values + i), hn::LoadU(d, values + i + 1), hn::LoadU(d, values + i + 2));
}

HWY_INLINE Key medianOfColumns(Keys d, const Columns3& columns, int32_t i) {
    const auto largest = [](Key a, Key b, Key c) HWY_ATTR { return hn::Max(hn::Max(a, b), c); };
    const auto smallest = [](Key a, Key b, Key c) HWY_ATTR { return hn::Min(hn::Min(a, b), c); };
    const auto middle = [](Key a, Key b, Key c) HWY_ATTR { return median(a, b, c); };
    return median(ofThree(d, columns.min, i, largest), ofThree(d, columns.med, i, middle),
                  ofThree(d, columns.max, i, smallest));
}

/** The medians of `count` masks. */
HWY_INLINE void writeMedians(Keys d, const Columns3& columns, bool special, float32_t* dst, int32_t count) {
    const hn::RebindToFloat<Keys> df;
    if (!special) {
        writeResults(dst, count, [&](int32_t i, float32_t* to) HWY_ATTR {
            hn::StoreU(hn::BitCast(df, medianOfColumns(d, columns, i)), df, to);
        });
        return;
    }
    const auto sum = [](Key a, Key b, Key c) HWY_ATTR { return hn::Add(hn::Add(a, b), c); };
    writeResults(dst, count, [&](int32_t i, float32_t* to) HWY_ATTR {
        const KeyMask tooFew = hn::Gt(ofThree(d, columns.holes, i, sum), hn::Set(d, 9 - kMinValues));
        const auto value = valueOf(d, medianOfColumns(d, columns, i));
        hn::StoreU(hn::IfThenZeroElse(hn::RebindMask(df, tooFew), value), df, to);
    });
}

/** Moves the last two of `count` columns to the front. */
void carryColumns(Columns3& columns, int32_t count) {
    for (int32_t* const values : {columns.min, columns.med, columns.max, columns.holes}) {
        std::copy_n(values + count - kCarried3, kCarried3, values);
    }
}

void Median3x3(const float32_t* src, float32_t* dst, int32_t width, int32_t firstLine, int32_t endLine) {
    const Keys d;
    Toggle toggle;
    Columns3 columns;
    for (int32_t y = firstLine; y < endLine; ++y) {
        const ptrdiff_t line = ptrdiff_t{y} * width;
        bool special = false;
        int32_t carried = 0;
        for (int32_t x = 0; x < width; x += kBlock) {
            const int32_t count = std::min(kBlock, width - x);
            special |= sortColumns(d, src + line + x, width, count, columns, carried, toggle);
            const int32_t available = carried + count;
            writeMedians(d, columns, special, dst + line + x - carried + 1, available - kCarried3);
            carryColumns(columns, available);
            carried = kCarried3;
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// 5 x 5

constexpr int32_t kMask = 5;
constexpr int32_t kMiddle = kMask / 2;
constexpr int32_t kBlock5 = kBlock - (kMask - 1);  ///< masks of a block of columns

/** Sorted columns of five, row 0 the smallest values. */
struct Columns5 {
    int32_t sorted[kMask][kBlock + kLanes];
    int32_t holes[kBlock + kLanes];
};

/** What the columns of a block hold. */
struct Contents {
    bool special;   ///< a hole or a negative value
    bool negative;  ///< a negative value
};

struct Column5 {
    Key rows[kMask];
};

using EachOfFive = std::make_index_sequence<kMask>;

/** Two wires of a sorting network: the smaller value goes to the first. */
struct Pair {
    uint8_t first;
    uint8_t second;
};

/** Compares and exchanges the pairs kBegin up to kEnd of a network. */
template <const auto& kNetwork, size_t kBegin = 0, size_t kEnd = std::size(kNetwork)>
HWY_INLINE void exchange(Key* wires) {
    forEach(std::make_index_sequence<kEnd - kBegin>(), [&](auto i) HWY_ATTR {
        constexpr Pair kPair = kNetwork[kBegin + i];
        compareExchange(wires[kPair.first], wires[kPair.second]);
    });
}

constexpr Pair kSortFive[] = {{0, 1}, {3, 4}, {2, 4}, {2, 3}, {1, 4}, {0, 3}, {0, 2}, {1, 3}, {1, 2}};

HWY_INLINE Column5 sort5_col(Column5 v) {
    exchange<kSortFive>(v.rows);
    return v;
}

HWY_INLINE Column5 loadColumns(Keys d, const float32_t* src, ptrdiff_t width, int32_t count) {
    return {{loadBits(d, src, count), loadBits(d, src + width, count), loadBits(d, src + 2 * width, count),
             loadBits(d, src + 3 * width, count), loadBits(d, src + 4 * width, count)}};
}

HWY_INLINE Column5 keysOf(Keys d, const Column5& bits) {
    return {{keyOf(d, bits.rows[0]), keyOf(d, bits.rows[1]), keyOf(d, bits.rows[2]), keyOf(d, bits.rows[3]),
             keyOf(d, bits.rows[4])}};
}

HWY_INLINE void store(Keys d, const Column5& column, Columns5& columns, int32_t i) {
    forEach(EachOfFive(),
            [&](auto row) HWY_ATTR { hn::Store(column.rows[row], d, columns.sorted[row] + i); });
}

/** Moves every second hole of a column to the upper end of the order and leaves the others at
 * the lower end. Counts them. */
HWY_INLINE Column5 spreadHoles(Keys d, Column5 v, Key& holes) {
    const Key zero = hn::Zero(d);
    KeyMask odd = hn::Eq(zero, hn::Set(d, 1));
    holes = zero;
    forEach(EachOfFive(), [&](auto line) HWY_ATTR {
        Key& key = v.rows[line];
        const KeyMask hole = hn::Eq(key, zero);
        key = hn::IfThenElse(hn::And(hole, odd), hn::Set(d, kLargestKey), key);
        odd = hn::Xor(odd, hole);
        holes = hn::Sub(holes, hn::VecFromMask(d, hole));
    });
    return v;
}

/** Sorts `count` columns whose top pixels are at `src`, their holes spread to both ends. */
Contents sortColumns(Keys d, const float32_t* src, ptrdiff_t width, int32_t count, Columns5& columns) {
    Contents contents = {};
    for (int32_t i = 0; i < count; i += kLanes) {
        const Column5 bits = loadColumns(d, src + i, width, count - i);
        Column5 sorted = sort5_col(bits);
        Key holes = hn::Zero(d);
        if (!hn::AllTrue(d, hn::Gt(sorted.rows[0], holes))) {
            const Column5 keys = keysOf(d, bits);
            contents.special = true;
            contents.negative |= !hn::AllFalse(d, hn::Lt(sorted.rows[0], holes));
            sorted = sort5_col(spreadHoles(d, keys, holes));
        }
        store(d, sorted, columns, i);
        hn::Store(holes, d, columns.holes + i);
    }
    return contents;
}

/** Sorts the columns; their holes count as zeros. */
void sortColumnsAsTheyAre(Keys d, const float32_t* src, ptrdiff_t width, int32_t count, Columns5& columns) {
    for (int32_t i = 0; i < count; i += kLanes) {
        store(d, sort5_col(keysOf(d, loadColumns(d, src + i, width, count - i))), columns, i);
    }
}

/** Sorts each row (wires row * 5 + column) only as far as the median of sorted columns can lie in it. */
constexpr Pair kSortRows[] = {
    {0, 1},   {3, 4},   {2, 4},   {2, 3},   {1, 4},   {0, 3},   {1, 3},                        //
    {5, 6},   {8, 9},   {7, 9},   {7, 8},   {6, 9},   {5, 8},   {6, 8},   {6, 7},              //
    {10, 11}, {13, 14}, {12, 14}, {12, 13}, {11, 14}, {10, 13}, {10, 12}, {11, 13}, {11, 12},  //
    {15, 16}, {18, 19}, {17, 18}, {16, 19}, {15, 18}, {15, 17}, {16, 18},                      //
    {20, 21}, {23, 24}, {21, 24}, {20, 23}, {20, 22}, {21, 23}, {21, 22}};
constexpr size_t kRowBegins[kMask + 1] = {0, 7, 15, 24, 31, std::size(kSortRows)};

/** Selects the median from the thirteen values that can still be it; it ends on wire 20. */
constexpr Pair kSelect[] = {{15, 3}, {7, 11}, {8, 4},  {20, 12}, {9, 17},  {3, 11},
                            {8, 20}, {4, 12}, {16, 9}, {4, 20},  {16, 13}, {11, 4},
                            {4, 20}, {21, 9}, {4, 21}, {11, 4},  {20, 16}, {4, 20}};
constexpr size_t kMedianWire = 20;

/**
 * Median of five sorted columns; `load(row, column)` gives their values. Outputs of a pair that nobody reads
 * are not computed. The network is right for all numbers if it is right for zeros and ones, and there are
 * only 6^5 sets of such sorted columns.
 */
template <class Load>
HWY_INLINE Key medianOfColumns(Load load) {
    Key wires[kMask * kMask];
    forEach(EachOfFive(), [&](auto row) HWY_ATTR {
        forEach(EachOfFive(), [&](auto column) HWY_ATTR { wires[row * kMask + column] = load(row, column); });
        exchange<kSortRows, kRowBegins[row], kRowBegins[row + 1]>(wires);
    });
    exchange<kSelect>(wires);
    return wires[kMedianWire];
}

HWY_INLINE Key medianWithoutHoles(Keys d, const Columns5& columns, int32_t i) {
    return medianOfColumns([&](size_t row, size_t column)
                               HWY_ATTR { return hn::LoadU(d, columns.sorted[row] + i + column); });
}

/**
 * The same with holes. A column with an odd number of them has one more at the lower end than at
 * the upper. In every second such column of a mask one hole moves to the upper end and the values
 * move one row down. The holes of the whole mask then lie evenly on both sides of the median, one
 * more below if their number is odd.
 */
HWY_INLINE Key medianWithHoles(Keys d, const Columns5& columns, const Key (&holes)[kMask], int32_t i) {
    const Key one = hn::Set(d, 1);
    KeyMask turned[kMask];
    KeyMask odd = hn::Eq(one, hn::Zero(d));
    forEach(EachOfFive(), [&](auto column) HWY_ATTR {
        const KeyMask oddColumn = hn::TestBit(holes[column], one);
        turned[column] = hn::And(oddColumn, odd);
        odd = hn::Xor(odd, oddColumn);
    });
    return medianOfColumns([&](auto row, auto column) HWY_ATTR {
        const Key key = hn::LoadU(d, columns.sorted[row] + i + column);
        if constexpr (column == 0) {
            return key;
        } else if constexpr (row + 1 == kMask) {
            return hn::IfThenElse(turned[column], hn::Set(d, kLargestKey), key);
        } else {
            return hn::IfThenElse(turned[column], hn::LoadU(d, columns.sorted[row + 1] + i + column), key);
        }
    });
}

/** The medians of `count` masks whose columns hold neither holes nor negative values. */
void writePlainMedians(Keys d, const Columns5& columns, float32_t* dst, int32_t count) {
    const hn::RebindToFloat<Keys> df;
    writeResults(dst, count, [&](int32_t i, float32_t* to) HWY_ATTR {
        hn::StoreU(hn::BitCast(df, medianWithoutHoles(d, columns, i)), df, to);
    });
}

/** The medians of `count` masks of any values; masks with a negative value have no result yet. */
void writeMedians(Keys d, const Columns5& columns, float32_t* dst, int32_t count) {
    const hn::RebindToFloat<Keys> df;
    writeResults(dst, count, [&](int32_t i, float32_t* to) HWY_ATTR {
        Key holes[kMask];
        Key sum = hn::Zero(d);
        forEach(EachOfFive(), [&](auto column) HWY_ATTR {
            holes[column] = hn::LoadU(d, columns.holes + i + column);
            sum = hn::Add(sum, holes[column]);
        });
        if (hn::AllTrue(d, hn::Eq(sum, hn::Zero(d)))) {
            hn::StoreU(valueOf(d, medianWithoutHoles(d, columns, i)), df, to);
            return;
        }
        const KeyMask tooFew = hn::Gt(sum, hn::Set(d, kMask * kMask - kMinValues));
        const auto value = valueOf(d, medianWithHoles(d, columns, holes, i));
        hn::StoreU(hn::IfThenZeroElse(hn::RebindMask(df, tooFew), value), df, to);
    });
}

/** The medians of the masks with a negative value: they count zeros as values like others. */
void writeMediansWithNegatives(Keys d, const Columns5& columns, float32_t* dst, int32_t count) {
    const hn::RebindToFloat<Keys> df;
    writeResults(dst, count, [&](int32_t i, float32_t* to) HWY_ATTR {
        Key smallest = hn::Zero(d);
        for (int32_t column = 0; column < kMask; ++column) {
            smallest = hn::Min(smallest, hn::LoadU(d, columns.sorted[0] + i + column));
        }
        const auto negative = hn::RebindMask(df, hn::Lt(smallest, hn::Zero(d)));
        const auto value = valueOf(d, medianWithoutHoles(d, columns, i));
        hn::StoreU(hn::IfThenElse(negative, value, hn::LoadU(df, to)), df, to);
    });
}

void Median5x5(const float32_t* src, float32_t* dst, int32_t width, int32_t firstLine, int32_t endLine) {
    const Keys d;
    HWY_ALIGN Columns5 columns;
    for (int32_t top = firstLine; top < endLine; ++top) {
        for (int32_t x = 0; x < width - (kMask - 1); x += kBlock5) {
            const float32_t* const from = src + ptrdiff_t{top} * width + x;
            float32_t* const to = dst + ptrdiff_t{top + kMiddle} * width + x + kMiddle;
            const int32_t count = std::min(kBlock, width - x);
            const int32_t masks = count - (kMask - 1);
            const Contents contents = sortColumns(d, from, width, count, columns);
            if (!contents.special) {
                writePlainMedians(d, columns, to, masks);
                continue;
            }
            writeMedians(d, columns, to, masks);
            if (contents.negative) {
                sortColumnsAsTheyAre(d, from, width, count, columns);
                writeMediansWithNegatives(d, columns, to, masks);
            }
        }
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace imagefiltermedian
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace imagefiltermedian {
namespace {

HWY_EXPORT(Median3x3);
HWY_EXPORT(Median5x5);

}  // namespace
}  // namespace imagefiltermedian

void ImageFilter_Median3x3(const float32_t* src, float32_t* dst, int32_t width, int32_t firstLine,
                           int32_t endLine) noexcept {
    using namespace imagefiltermedian;
    HWY_DYNAMIC_DISPATCH(Median3x3)(src, dst, width, firstLine, endLine);
}

void ImageFilter_Median5x5(const float32_t* src, float32_t* dst, int32_t width, int32_t firstLine,
                           int32_t endLine) noexcept {
    using namespace imagefiltermedian;
    HWY_DYNAMIC_DISPATCH(Median5x5)(src, dst, width, firstLine, endLine);
}

#endif  // HWY_ONCE
