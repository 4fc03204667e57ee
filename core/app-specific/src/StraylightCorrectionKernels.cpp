// SPDX-License-Identifier: Apache-2.0
#include "StraylightCorrectionKernels.h"

#include <algorithm>
#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "StraylightCorrectionKernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include "ALPixels-inl.h"

HWY_BEFORE_NAMESPACE();
namespace straylight {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// All rows between a line of the scattered part and its neighbours use that line. So it is interpolated once
// along its length, and each row is a weighted sum of two such lines.

/** Interpolates along a line, by vectors of at most kLanes pixels; `step` is a multiple of kLanes. */
template <size_t kLanes>
void interpolateByVectors(const float32_t* scattered, size_t width, size_t step, float32_t* line) {
    const hn::CappedTag<float32_t, kLanes> d;
    for (size_t k = 0; k < step; k += hn::Lanes(d)) {
        const auto right = hn::Iota(d, static_cast<float32_t>(k));
        const auto left = hn::Sub(hn::Set(d, static_cast<float32_t>(step)), right);
        for (size_t x = 0; x + 1 < width; ++x) {
            const auto sum = hn::Add(hn::Mul(left, hn::Set(d, scattered[x])),
                                     hn::Mul(right, hn::Set(d, scattered[x + 1])));
            hn::StoreU(sum, d, line + x * step + k);
        }
    }
}

/** The pixels of a line up to the last scattered value, times `step`. */
void interpolateLine(const float32_t* scattered, size_t width, size_t step, float32_t* line) {
    if (step >= 8) {
        return interpolateByVectors<8>(scattered, width, step, line);
    }
    if (step == 4) {
        return interpolateByVectors<4>(scattered, width, step, line);
    }
    for (size_t x = 0; x + 1 < width; ++x) {
        for (size_t k = 0; k < step; ++k) {
            line[x * step + k] = static_cast<float32_t>(step - k) * scattered[x] +
                                 static_cast<float32_t>(k) * scattered[x + 1];
        }
    }
}

/** The lines above and below a row, and their weights. */
struct RowSource {
    const float32_t* lineAbove;
    const float32_t* lineBelow;
    float32_t above;
    float32_t below;
};

/** Subtracts two weighted lines from the `count` pixels of a row. */
void subtractLines(const RowSource& source, float32_t factor, float32_t* HWY_RESTRICT row, int32_t count) {
    // Copies that no store to the row can change, so that they stay in registers.
    const RowSource from = source;
    alpixels::HWY_NAMESPACE::forPixels(
        hn::ScalableTag<float32_t>(), 0, count, [=](auto d, int32_t x) HWY_ATTR {
            const auto up = hn::Add(hn::Mul(hn::LoadU(d, from.lineAbove + x), hn::Set(d, from.above)),
                                    hn::Mul(hn::LoadU(d, from.lineBelow + x), hn::Set(d, from.below)));
            hn::StoreU(hn::Sub(hn::LoadU(d, row + x), hn::Mul(hn::Set(d, factor), up)), d, row + x);
        });
}

void subtractValue(float32_t value, float32_t* row, int32_t count) {
    alpixels::HWY_NAMESPACE::forPixels(
        hn::CappedTag<float32_t, 4>(), 0, count, [=](auto d, int32_t x) HWY_ATTR {
            hn::StoreU(hn::Sub(hn::LoadU(d, row + x), hn::Set(d, value)), d, row + x);
        });
}

void Subtract(const StraylightSubtraction& s) {
    const size_t width = s.width;
    const size_t step = size_t{1} << s.levels;
    const float32_t inv = 1.0F / static_cast<float32_t>(step * step);
    const size_t lastColumn = s.scatteredWidth - 1;
    const size_t lastRow = s.scatteredHeight - 1;
    const size_t interpolated = lastColumn * step;  // columns; those after them hold the last value

    float32_t* current = s.lines;
    float32_t* other = s.lines + interpolated;
    interpolateLine(s.scattered, s.scatteredWidth, step, current);
    for (size_t first = 0; first < s.height; first += step) {
        const size_t rowAbove = std::min(first / step, lastRow);
        const size_t rowBelow = std::min(rowAbove + 1, lastRow);
        const float32_t* const above = s.scattered + rowAbove * s.scatteredWidth;
        const float32_t* const below = s.scattered + rowBelow * s.scatteredWidth;
        const bool between = rowAbove != rowBelow;
        if (between) {
            interpolateLine(below, s.scatteredWidth, step, other);
        }
        const size_t end = std::min<size_t>(first + step, s.height);
        for (size_t y = first; y < end; ++y) {
            const auto wAbove = static_cast<float32_t>(between ? rowBelow * step - y : step);
            const auto wBelow = static_cast<float32_t>(between ? y - rowAbove * step : 0);
            const RowSource source = {.lineAbove = current,
                                      .lineBelow = between ? other : current,
                                      .above = wAbove * inv,
                                      .below = wBelow * inv};
            float32_t* const row = s.image + y * width;
            subtractLines(source, s.factor, row, static_cast<int32_t>(interpolated));
            const float32_t held = (above[lastColumn] * source.above + below[lastColumn] * source.below) *
                                   static_cast<float32_t>(step);
            subtractValue(s.factor * held, row + interpolated, static_cast<int32_t>(width - interpolated));
        }
        if (between) {
            std::swap(current, other);
        }
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace straylight
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace straylight {
namespace {

HWY_EXPORT(Subtract);

}  // namespace
}  // namespace straylight

void Straylight_Subtract(const StraylightSubtraction& s) noexcept {
    using namespace straylight;
    HWY_DYNAMIC_DISPATCH(Subtract)(s);
}

#endif  // HWY_ONCE
