// SPDX-License-Identifier: Apache-2.0
//
// The way of a kernel through a range of pixels of any length.

#if defined(QOR_CORE_EXTERNALS_UTIL_SRC_ALPIXELS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef QOR_CORE_EXTERNALS_UTIL_SRC_ALPIXELS_INL_H_
#undef QOR_CORE_EXTERNALS_UTIL_SRC_ALPIXELS_INL_H_
#else
#define QOR_CORE_EXTERNALS_UTIL_SRC_ALPIXELS_INL_H_
#endif

#include <hwy/highway.h>

#include <cstdint>

HWY_BEFORE_NAMESPACE();
namespace alpixels {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/** Calls `step(d, i)` with the first pixel of each vector while it returns true. Returns the next pixel. */
template <class D, class Step>
HWY_INLINE int32_t whileVectors(D d, int32_t i, int32_t last, Step step) {
    const auto lanes = static_cast<int32_t>(hn::Lanes(d));
    while (i <= last - lanes && step(d, i)) {
        i += lanes;
    }
    return i;
}

/**
 * Calls `step(tag, i)` for all pixels from `first` up to below `last`: with whole vectors of `d`, then with
 * vectors of four, then pixel by pixel. `tag` says how many lanes a call has; `i` is the pixel of the first
 * one. Nothing outside the range is touched. `step` is a lambda with HWY_ATTR.
 */
template <class D, class Step>
HWY_INLINE void forPixels(D d, int32_t first, int32_t last, Step step) {
    const auto always = [&](auto tag, int32_t i) HWY_ATTR {
        step(tag, i);
        return true;
    };
    int32_t i = whileVectors(d, first, last, always);
    if (hn::MaxLanes(d) > 4) {
        i = whileVectors(hn::CappedTag<hn::TFromD<D>, 4>(), i, last, always);
    }
    whileVectors(hn::CappedTag<hn::TFromD<D>, 1>(), i, last, always);
}

/**
 * The same for a `step` that returns false where it cannot do all its pixels, and then has done none of them.
 * Returns the first pixel that was not done, `last` after all.
 */
template <class D, class Step>
HWY_INLINE int32_t forPixelsWhile(D d, int32_t first, int32_t last, Step step) {
    const int32_t i = whileVectors(d, first, last, step);
    return whileVectors(hn::CappedTag<hn::TFromD<D>, 1>(), i, last, step);
}

}  // namespace HWY_NAMESPACE
}  // namespace alpixels
HWY_AFTER_NAMESPACE();

#endif  // QOR_CORE_EXTERNALS_UTIL_SRC_ALPIXELS_INL_H_
