// SPDX-License-Identifier: Apache-2.0
#include "ImageFilterTemporalKernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageFilterTemporalKernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include "ALPixels-inl.h"
#include "ALSimd-inl.h"

HWY_BEFORE_NAMESPACE();
namespace imagefilter {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
namespace al = alsimd::HWY_NAMESPACE;

/**
 * A vector of pixels from i on. False, and nothing written, if one of them has a negative number of
 * measurements.
 */
template <class DF, class V = hn::Vec<DF>>
HWY_INLINE bool averagePixels(DF df, const TemporalMeanImages& images, int32_t i) {
    const V zero = hn::Zero(df);
    const V one = hn::Set(df, 1.0F);
    const V oldest = hn::LoadU(df, images.oldest + i);
    const V current = hn::LoadU(df, images.image + i);
    const V oldCount = hn::LoadU(df, images.validFrames + i);
    const V left = hn::IfThenElse(hn::Eq(oldest, zero), oldCount, hn::Sub(oldCount, one));
    const V count = hn::IfThenElse(hn::Eq(current, zero), left, hn::Add(left, one));
    if (!hn::AllFalse(df, hn::Lt(count, zero))) {
        return false;
    }
    const V sum = hn::Add(hn::Sub(hn::LoadU(df, images.sum + i), oldest), current);
    const V mean = hn::IfThenZeroElse(hn::Eq(count, zero), al::Divide(df, sum, count));
    hn::StoreU(current, df, images.oldest + i);
    hn::StoreU(count, df, images.validFrames + i);
    hn::StoreU(sum, df, images.sum + i);
    hn::StoreU(mean, df, images.image + i);
    return true;
}

/** The pixel at which the filter stops: its history moves on, its image value stays. */
HWY_INLINE void moveHistoryOn(const TemporalMeanImages& images, int32_t i) {
    const float32_t oldest = images.oldest[i];
    const float32_t current = images.image[i];
    images.sum[i] -= oldest;
    images.sum[i] += current;
    images.validFrames[i] -= oldest != 0.0F ? 1.0F : 0.0F;
    images.validFrames[i] += current != 0.0F ? 1.0F : 0.0F;
    images.oldest[i] = current;
}

int32_t AverageOverTime(const TemporalMeanImages& images, int32_t first, int32_t last) {
    const int32_t stop = alpixels::HWY_NAMESPACE::forPixelsWhile(
        hn::ScalableTag<float32_t>(), first, last,
        [&](auto df, int32_t i) HWY_ATTR { return averagePixels(df, images, i); });
    if (stop < last) {
        moveHistoryOn(images, stop);
        return 1;
    }
    return 0;
}

template <class DF, class V = hn::Vec<DF>>
HWY_INLINE void smoothPixels(DF df, const AdaptiveWeight& weight, const AdaptiveImages& images, int32_t i) {
    const V zero = hn::Zero(df);
    const V current = hn::LoadU(df, images.image + i);
    const V other = hn::LoadU(df, images.other + i);
    V past = hn::LoadU(df, images.smoothed + i);
    past = hn::IfThenElse(hn::Eq(past, zero), current, past);
    past = hn::IfThenZeroElse(hn::Eq(current, zero), past);
    const V change = hn::Abs(hn::Sub(other, hn::LoadU(df, images.previousOther + i)));
    V alpha = hn::Add(hn::Set(df, weight.offset), hn::Mul(change, hn::Set(df, weight.slope)));
    alpha = al::SelectMax(hn::Set(df, weight.smallest), alpha);  // NaN stays
    alpha = al::SelectMin(hn::Set(df, weight.largest), alpha);
    const V smoothed = hn::Add(hn::Mul(alpha, current), hn::Mul(hn::Sub(hn::Set(df, 1.0F), alpha), past));
    hn::StoreU(other, df, images.previousOther + i);
    hn::StoreU(smoothed, df, images.image + i);
    hn::StoreU(smoothed, df, images.smoothed + i);
}

void SmoothAdaptively(const AdaptiveWeight& weight, const AdaptiveImages& images, int32_t first,
                      int32_t last) {
    alpixels::HWY_NAMESPACE::forPixels(hn::ScalableTag<float32_t>(), first, last,
                                       [&](auto df, int32_t i)
                                           HWY_ATTR { smoothPixels(df, weight, images, i); });
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace imagefilter
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace imagefilter {
namespace {

HWY_EXPORT(AverageOverTime);
HWY_EXPORT(SmoothAdaptively);

}  // namespace
}  // namespace imagefilter

int32_t ImageFilter_AverageOverTime(const TemporalMeanImages& images, int32_t first, int32_t last) noexcept {
    using namespace imagefilter;
    return HWY_DYNAMIC_DISPATCH(AverageOverTime)(images, first, last);
}

void ImageFilter_SmoothAdaptively(const AdaptiveWeight& weight, const AdaptiveImages& images, int32_t first,
                                  int32_t last) noexcept {
    using namespace imagefilter;
    HWY_DYNAMIC_DISPATCH(SmoothAdaptively)(weight, images, first, last);
}

#endif  // HWY_ONCE
