// SPDX-License-Identifier: Apache-2.0
#include "ALfftKernels.h"

#include <algorithm>
#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ALfftKernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace alfft {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// Gathering columns transposes a matrix of pairs of floats. It takes squares of two rows and two pairs, 128
// bits each, down strips of a few columns, so that a row's cache line is used up before it is evicted.

constexpr size_t kStrip = 8;  ///< pairs

using Pairs = hn::FixedTag<uint64_t, 2>;
using Floats = hn::FixedTag<float32_t, 4>;

hn::Vec<Pairs> loadPairs(const float32_t* from) {
    return hn::BitCast(Pairs(), hn::LoadU(Floats(), from));
}

void storePairs(hn::Vec<Pairs> pairs, float32_t* to) {
    hn::StoreU(hn::BitCast(Floats(), pairs), Floats(), to);
}

void copyPair(const float32_t* from, float32_t* to) {
    to[0] = from[0];
    to[1] = from[1];
}

void GatherColumns(const float32_t* rows, size_t width, size_t rowCount, float32_t* columns, size_t height) {
    const size_t pairCount = width / 2;
    for (size_t y = 0; y < rowCount; ++y) {
        const float32_t* const row = rows + y * width;
        columns[y] = row[0];
        columns[height + y] = row[1];
        copyPair(row + 2, columns + 2 * height + 2 * y);
    }
    const size_t evenRows = rowCount / 2 * 2;
    for (size_t strip = 2; strip < pairCount; strip += kStrip) {
        const size_t end = std::min(strip + kStrip, pairCount);
        for (size_t y = 0; y < evenRows; y += 2) {
            const float32_t* const row = rows + y * width;
            for (size_t p = strip; p < end; p += 2) {
                const auto upper = loadPairs(row + 2 * p);
                const auto lower = loadPairs(row + width + 2 * p);
                float32_t* const column = columns + 2 * height * p + 2 * y;
                storePairs(hn::InterleaveLower(Pairs(), upper, lower), column);
                storePairs(hn::InterleaveUpper(Pairs(), upper, lower), column + 2 * height);
            }
        }
        if (evenRows < rowCount) {
            for (size_t p = strip; p < end; ++p) {
                copyPair(rows + evenRows * width + 2 * p, columns + 2 * height * p + 2 * evenRows);
            }
        }
    }
    std::fill(columns + rowCount, columns + height, 0.0F);
    std::fill(columns + height + rowCount, columns + 2 * height, 0.0F);
    for (size_t p = 1; p < pairCount; ++p) {
        std::fill(columns + 2 * height * p + 2 * rowCount, columns + 2 * height * (p + 1), 0.0F);
    }
}

void ScatterColumns(const float32_t* columns, size_t height, float32_t factor, float32_t* rows, size_t width,
                    size_t rowCount) {
    const Pairs pairs;
    const Floats floats;
    const auto scale = hn::Set(floats, factor);
    const size_t pairCount = width / 2;
    for (size_t y = 0; y < rowCount; ++y) {
        float32_t* const row = rows + y * width;
        row[0] = columns[y] * factor;
        row[1] = columns[height + y] * factor;
        row[2] = columns[2 * height + 2 * y] * factor;
        row[3] = columns[2 * height + 2 * y + 1] * factor;
    }
    for (size_t strip = 2; strip < pairCount; strip += kStrip) {
        const size_t end = std::min(strip + kStrip, pairCount);
        for (size_t y = 0; y < rowCount; y += 2) {
            float32_t* const row = rows + y * width;
            for (size_t p = strip; p < end; p += 2) {
                const float32_t* const column = columns + 2 * height * p + 2 * y;
                const auto left = hn::BitCast(pairs, hn::Mul(hn::LoadU(floats, column), scale));
                const auto right = hn::BitCast(pairs, hn::Mul(hn::LoadU(floats, column + 2 * height), scale));
                storePairs(hn::InterleaveLower(pairs, left, right), row + 2 * p);
                storePairs(hn::InterleaveUpper(pairs, left, right), row + width + 2 * p);
            }
        }
    }
}

/** Complex products of `count` floats. */
void multiplyComplex(float32_t* values, const float32_t* others, size_t count) {
    const hn::ScalableTag<float32_t> d;
    const hn::Repartition<uint64_t, decltype(d)> d64;
    const size_t lanes = hn::Lanes(d);
    const auto negateReal = hn::BitCast(d, hn::Set(d64, uint64_t{0x80000000U}));
    size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto value = hn::LoadU(d, values + i);
        const auto other = hn::LoadU(d, others + i);
        // (r1, i1) and (r2, i2): (r2 r1, r1 i2), and (i2 i1, r2 i1) with the first of them subtracted.
        const auto byReal = hn::Mul(hn::DupEven(value), other);
        const auto swapped = hn::Shuffle2301(other);
        const auto byImaginary = hn::Mul(hn::DupOdd(value), swapped);
        hn::StoreU(hn::Add(byReal, hn::Xor(byImaginary, negateReal)), d, values + i);
    }
    for (; i < count; i += 2) {
        const float32_t r1 = values[i];
        const float32_t i1 = values[i + 1];
        const float32_t r2 = others[i];
        const float32_t i2 = others[i + 1];
        values[i] = r2 * r1 - i2 * i1;
        values[i + 1] = r1 * i2 + r2 * i1;
    }
}

void MultiplySpectra(float32_t* spectrum, const float32_t* other, size_t width, size_t height) {
    for (size_t block = 0; block < 2; ++block) {
        float32_t* const values = spectrum + block * height;
        const float32_t* const others = other + block * height;
        values[0] *= others[0];
        values[1] *= others[1];
        multiplyComplex(values + 2, others + 2, height - 2);
    }
    multiplyComplex(spectrum + 2 * height, other + 2 * height, (width - 2) * height);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace alfft
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace alfft {
namespace {

HWY_EXPORT(GatherColumns);
HWY_EXPORT(ScatterColumns);
HWY_EXPORT(MultiplySpectra);

}  // namespace
}  // namespace alfft

void ALfft_GatherColumns(const float32_t* rows, uint32_t width, uint32_t rowCount, float32_t* columns,
                         uint32_t height) noexcept {
    using namespace alfft;
    HWY_DYNAMIC_DISPATCH(GatherColumns)(rows, width, rowCount, columns, height);
}

void ALfft_ScatterColumns(const float32_t* columns, uint32_t height, float32_t factor, float32_t* rows,
                          uint32_t width, uint32_t rowCount) noexcept {
    using namespace alfft;
    HWY_DYNAMIC_DISPATCH(ScatterColumns)(columns, height, factor, rows, width, rowCount);
}

void ALfft_MultiplySpectra(float32_t* spectrum, const float32_t* other, uint32_t width,
                           uint32_t height) noexcept {
    using namespace alfft;
    HWY_DYNAMIC_DISPATCH(MultiplySpectra)(spectrum, other, width, height);
}

#endif  // HWY_ONCE
