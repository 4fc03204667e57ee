// SPDX-License-Identifier: Apache-2.0
#include "IntensityImageKernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "IntensityImageKernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include "RawUnpack-inl.h"

HWY_BEFORE_NAMESPACE();
namespace intensityimage {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

void SubtractDarkLevel(const uint8_t* samples, uint16_t* fpn, uint16_t* intensity) {
    const hn::ScalableTag<uint16_t> d;
    const rawunpack::HWY_NAMESPACE::SampleUnpacker<decltype(d)> unpacker(d);
    const auto step = static_cast<int32_t>(hn::Lanes(d));

    const auto subtract = [=](hn::Vec<decltype(d)> sample, int32_t pixel) HWY_ATTR {
        const auto level = hn::Min(hn::LoadU(d, fpn + pixel), sample);
        hn::StoreU(level, d, fpn + pixel);
        hn::StoreU(hn::Sub(sample, level), d, intensity + pixel);
    };
    // Nothing lies before the first samples, and nothing after the last ones.
    subtract(unpacker.startingAt(samples), 0);
    for (int32_t pixel = step; pixel < kPixelCount; pixel += step) {
        subtract(unpacker.endingAt(samples + (pixel + step) * 3 / 2), pixel);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace intensityimage
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace intensityimage {
namespace {

HWY_EXPORT(SubtractDarkLevel);

}  // namespace
}  // namespace intensityimage

void IntensityImg_SubtractDarkLevel(const uint8_t* samples, uint16_t* fpn, uint16_t* intensity) noexcept {
    using namespace intensityimage;
    HWY_DYNAMIC_DISPATCH(SubtractDarkLevel)(samples, fpn, intensity);
}

#endif  // HWY_ONCE
