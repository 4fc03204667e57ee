// SPDX-License-Identifier: Apache-2.0
#include "DistnoiseKernels.h"

#include "QorRecords.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "DistnoiseKernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include <hwy/highway.h>

#include "ALSimd-inl.h"

HWY_BEFORE_NAMESPACE();
namespace distnoise {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
namespace al = alsimd::HWY_NAMESPACE;

/** Invalid, as its noise is above the limit. */
constexpr int32_t kTooNoisy = 0x0209;

/** sqrt(v), NaN for a negative v, 0 for zeros and subnormal numbers. */
template <class DF, class V = hn::Vec<DF>>
HWY_INLINE V deviationOf(DF df, V variance) {
    const V noNumber = hn::BitCast(df, hn::Set(hn::RebindToUnsigned<DF>(), 0x7FC00000U));
    return hn::IfThenElse(hn::Le(variance, hn::Set(df, -al::kSmallestNormal)), noNumber,
                          al::SquareRoot(df, variance));
}

/** The values on the way to the noise, of a line of pixels. */
struct Line {
    HWY_ALIGN float32_t amplitude[kImageWidth];
    HWY_ALIGN float32_t variance[kImageWidth];  ///< of the phase, times the square of the amplitude
};

/** Calls `step` with the index in the line of each vector's first pixel. */
template <class DF, class Step>
HWY_INLINE void forLine(DF df, Step step) {
    for (int32_t i = 0; i < kImageWidth; i += static_cast<int32_t>(hn::Lanes(df))) {
        step(i);
    }
}

/** Of a pair of values the one that belongs to each pixel's exposure. */
template <class DF>
HWY_INLINE hn::Vec<DF> ofExposure(DF df, const uint16_t* confidence, const float32_t (&value)[2]) {
    const hn::RebindToSigned<DF> di;
    const hn::Rebind<uint16_t, DF> du16;
    const auto conf = hn::PromoteTo(di, hn::LoadU(du16, confidence));
    const auto last = hn::TestBit(conf, hn::Set(di, int32_t{kConfidenceLastExposure}));
    return hn::IfThenElse(hn::RebindMask(df, last), hn::Set(df, value[1]), hn::Set(df, value[0]));
}

/** The noise of a line of pixels, the first of which is `begin`. */
template <class DF>
HWY_INLINE void processLine(DF df, const DistnoiseFactors& factors, const DistnoiseImages& images,
                            int32_t begin, Line& line) {
    // Three loops: in a single one each pixel would be a chain too long for the processor to overlap pixels.
    forLine(df, [&](int32_t i) HWY_ATTR {
        const auto re = hn::LoadU(df, images.xyReal + begin + i);
        const auto im = hn::LoadU(df, images.xyImag + begin + i);
        const auto length = al::SquareRoot(df, hn::Add(hn::Mul(re, re), hn::Mul(im, im)));
        const auto factor = ofExposure(df, images.confidence + begin + i, factors.invAmpNormFactors);
        hn::Store(hn::Mul(length, factor), df, line.amplitude + i);
    });
    forLine(df, [&](int32_t i) HWY_ATTR {
        const hn::Rebind<int16_t, DF> di16;
        const hn::Rebind<uint16_t, DF> du16;
        const auto p0 = hn::Set(df, factors.calib.param[0]);
        const auto p1 = hn::Set(df, factors.calib.param[1]);
        const auto p2 = hn::Set(df, factors.calib.param[2]);
        const auto p3 = hn::Set(df, factors.calib.param[3]);
        const auto counts = hn::BitCast(di16, hn::LoadU(du16, images.intensity + begin + i));
        const auto light = hn::ConvertTo(df, hn::PromoteTo(hn::RebindToSigned<DF>(), counts));
        const auto lightRate = hn::Mul(p2, hn::Mul(light, hn::Set(df, factors.invIntensityExpTime)));
        const auto ambient =
            hn::Mul(lightRate, ofExposure(df, images.confidence + begin + i, factors.expTimes));
        const auto x = hn::Add(hn::Mul(p0, hn::Load(df, line.amplitude + i)), ambient);
        const auto aboveKnee = hn::Add(hn::Add(x, x), hn::Sub(p1, p3));
        hn::Store(hn::IfThenElse(hn::Le(x, p3), hn::Add(x, p1), aboveKnee), df, line.variance + i);
    });
    forLine(df, [&](int32_t i) HWY_ATTR {
        const auto divisor = al::SelectMax(hn::Load(df, line.amplitude + i), hn::Set(df, 1e-8F));
        const auto inverse = al::RefineReciprocal(df, divisor, al::ReciprocalEstimateOfPositive(df, divisor));
        const auto radians = hn::Mul(deviationOf(df, hn::Load(df, line.variance + i)), inverse);
        hn::StoreU(hn::Mul(radians, hn::Set(df, factors.combinedFactor)), df, images.noise + begin + i);
    });
}

/** Drops the valid pixels of a line whose noise is above the limit. */
template <class DF>
HWY_INLINE void applyThreshold(DF df, float32_t distNoiseThreshold, const DistnoiseImages& images,
                               int32_t begin) {
    const hn::RebindToSigned<DF> di;
    const hn::Rebind<uint16_t, DF> du16;
    forLine(df, [&](int32_t i) HWY_ATTR {
        const auto conf = hn::PromoteTo(di, hn::LoadU(du16, images.confidence + begin + i));
        const auto invalid = hn::TestBit(conf, hn::Set(di, int32_t{kConfidenceInvalid}));
        const auto above = hn::Gt(hn::LoadU(df, images.noise + begin + i), hn::Set(df, distNoiseThreshold));
        const auto dropped = hn::AndNot(invalid, hn::RebindMask(di, above));
        const auto bits = hn::IfThenElseZero(dropped, hn::Set(di, kTooNoisy));
        hn::StoreU(hn::DemoteTo(du16, hn::Or(conf, bits)), du16, images.confidence + begin + i);
        const auto distance = hn::LoadU(df, images.distance + begin + i);
        const auto kept = hn::IfThenZeroElse(hn::RebindMask(df, dropped), distance);
        hn::StoreU(kept, df, images.distance + begin + i);
    });
}

// The records come by value: no store to an image can change them, so that they stay in registers.
void ComputeNoise(DistnoiseFactors factors, DistnoiseImages images) {
    const hn::CappedTag<float32_t, 16> df;
    static_assert(kImageWidth % 16 == 0);
    Line line;
    for (int32_t begin = 0; begin < kPixelCount; begin += kImageWidth) {
        processLine(df, factors, images, begin, line);
        if (factors.distNoiseThreshold > 0.0F) {
            applyThreshold(df, factors.distNoiseThreshold, images, begin);
        }
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace distnoise
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace distnoise {
namespace {

HWY_EXPORT(ComputeNoise);

}  // namespace
}  // namespace distnoise

void Distnoise_ComputeNoise(const DistnoiseFactors& factors, const DistnoiseImages& images) noexcept {
    using namespace distnoise;
    HWY_DYNAMIC_DISPATCH(ComputeNoise)(factors, images);
}

#endif  // HWY_ONCE
