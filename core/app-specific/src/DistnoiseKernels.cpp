// SPDX-License-Identifier: Apache-2.0
#include "DistnoiseKernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "DistnoiseKernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include "ALSimd-inl.h"
#include "Confidence-inl.h"

HWY_BEFORE_NAMESPACE();
namespace distnoise {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
namespace al = alsimd::HWY_NAMESPACE;
namespace conf = confidence::HWY_NAMESPACE;

/** Invalid because the noise is above the limit. */
constexpr uint32_t kTooNoisy = kConfidenceInvalid | kConfidenceLowAmplitude | kConfidenceChanged;

/**
 * Intermediate values of a line of pixels. Each loop over them is short: in a long loop a pixel would be a
 * chain of dependent steps, too long for the processor to overlap pixels.
 */
struct Line {
    HWY_ALIGN float32_t squaredLength[kImageWidth];  ///< of the signal
    HWY_ALIGN float32_t variance[kImageWidth];       ///< of the phase, times the square of the amplitude
    HWY_ALIGN float32_t divisor[kImageWidth];        ///< amplitude, 1e-8 at least
    HWY_ALIGN float32_t inverseRoot[kImageWidth];    ///< of squaredLength or variance, refined step by step
    HWY_ALIGN float32_t inverse[kImageWidth];        ///< of the divisor, refined step by step
};

/** Calls `step` with the index in the line of each vector's first pixel. */
template <class DF, class Step>
HWY_INLINE void forLine(DF df, Step step) {
    for (int32_t i = 0; i < kImageWidth; i += static_cast<int32_t>(hn::Lanes(df))) {
        step(i);
    }
}

/** Picks for each pixel the value that belongs to its exposure. */
template <class DF>
HWY_INLINE hn::Vec<DF> ofExposure(DF df, const uint16_t* confidence, const float32_t (&values)[2]) {
    static_assert(kConfidenceLastExposure == 1 << 4);
    const auto atSign = hn::ShiftLeft<31 - 4>(conf::load(df, confidence));
    return hn::IfNegativeThenElse(hn::BitCast(df, atSign), hn::Set(df, values[1]), hn::Set(df, values[0]));
}

/** The squared length of the signal, and the estimate of its inverse root. */
template <class DF>
HWY_INLINE void measureSignal(DF df, const float32_t* xyReal, const float32_t* xyImag, Line& line) {
    forLine(df, [&](int32_t i) HWY_ATTR {
        const auto re = hn::LoadU(df, xyReal + i);
        const auto im = hn::LoadU(df, xyImag + i);
        const auto squared = hn::Add(hn::Mul(re, re), hn::Mul(im, im));
        hn::Store(squared, df, line.squaredLength + i);
        hn::Store(al::ReciprocalSquareRootEstimate(df, squared), df, line.inverseRoot + i);
    });
    forLine(df, [&](int32_t i) HWY_ATTR {
        const auto squared = hn::Load(df, line.squaredLength + i);
        const auto x = hn::Load(df, line.inverseRoot + i);
        hn::Store(al::RefineReciprocalSquareRoot(df, squared, x), df, line.inverseRoot + i);
    });
}

/** The variance that the model gives for the signal and the ambient light, and the divisor. */
template <class DF>
HWY_INLINE void applyModel(DF df, const DistnoiseFactors& factors, const uint16_t* intensity,
                           const uint16_t* confidence, Line& line) {
    const hn::RebindToSigned<DF> di;
    const hn::Rebind<int16_t, DF> di16;
    const hn::Rebind<uint16_t, DF> du16;
    const auto p0 = hn::Set(df, factors.param[0]);
    const auto p1 = hn::Set(df, factors.param[1]);
    const auto p2 = hn::Set(df, factors.param[2]);
    const auto p3 = hn::Set(df, factors.param[3]);
    const auto offsetAboveKnee = hn::Sub(p1, p3);
    forLine(df, [&](int32_t i) HWY_ATTR {
        const auto squared = hn::Load(df, line.squaredLength + i);
        const auto refined = al::RefineReciprocalSquareRoot(df, squared, hn::Load(df, line.inverseRoot + i));
        const auto length = al::SquareRootFromReciprocal(df, squared, refined);
        const auto a = hn::Mul(length, ofExposure(df, confidence + i, factors.invAmpNormFactors));
        hn::Store(al::SelectMax(a, hn::Set(df, 1e-8F)), df, line.divisor + i);

        const auto counts = hn::PromoteTo(di, hn::BitCast(di16, hn::LoadU(du16, intensity + i)));
        const auto rate = hn::Mul(hn::ConvertTo(df, counts), hn::Set(df, factors.invIntensityExpTime));
        const auto light = hn::Mul(hn::Mul(p2, rate), ofExposure(df, confidence + i, factors.expTimes));
        const auto x = hn::Add(hn::Mul(p0, a), light);
        const auto aboveKnee = hn::Add(hn::Add(x, x), offsetAboveKnee);
        hn::Store(hn::IfThenElse(hn::Le(x, p3), hn::Add(x, p1), aboveKnee), df, line.variance + i);
    });
}

/** The root of the variance over the divisor, times `combinedFactor`. */
template <class DF>
HWY_INLINE void divideRoot(DF df, float32_t combinedFactor, float32_t* noise, Line& line) {
    forLine(df, [&](int32_t i) HWY_ATTR {
        const auto variance = hn::Load(df, line.variance + i);
        const auto divisor = hn::Load(df, line.divisor + i);
        hn::Store(al::ReciprocalSquareRootEstimate(df, variance), df, line.inverseRoot + i);
        hn::Store(al::ReciprocalEstimateOfPositive(df, divisor), df, line.inverse + i);
    });
    forLine(df, [&](int32_t i) HWY_ATTR {
        const auto variance = hn::Load(df, line.variance + i);
        const auto x = hn::Load(df, line.inverseRoot + i);
        hn::Store(al::RefineReciprocalSquareRoot(df, variance, x), df, line.inverseRoot + i);
    });
    forLine(df, [&](int32_t i) HWY_ATTR {
        const auto variance = hn::Load(df, line.variance + i);
        const auto refined = al::RefineReciprocalSquareRoot(df, variance, hn::Load(df, line.inverseRoot + i));
        const auto deviation = al::SquareRootFromReciprocal(df, variance, refined);
        const auto divisor = hn::Load(df, line.divisor + i);
        const auto inverse = al::RefineReciprocal(df, divisor, hn::Load(df, line.inverse + i));
        hn::StoreU(hn::Mul(hn::Mul(deviation, inverse), hn::Set(df, combinedFactor)), df, noise + i);
    });
}

/** The noise of a line of pixels, the first of which is `begin`. */
template <class DF>
HWY_INLINE void processLine(DF df, const DistnoiseFactors& factors, const DistnoiseImages& images,
                            int32_t begin, Line& line) {
    measureSignal(df, images.xyReal + begin, images.xyImag + begin, line);
    applyModel(df, factors, images.intensity + begin, images.confidence + begin, line);
    divideRoot(df, factors.combinedFactor, images.noise + begin, line);
}

/** Drops the valid pixels of a line whose noise is above the limit. */
template <class DF>
HWY_INLINE void applyThreshold(DF df, float32_t distNoiseThreshold, const DistnoiseImages& images,
                               int32_t begin) {
    forLine(df, [&](int32_t i) HWY_ATTR {
        const auto confidence = conf::load(df, images.confidence + begin + i);
        const auto above = hn::Gt(hn::LoadU(df, images.noise + begin + i), hn::Set(df, distNoiseThreshold));
        const auto dropped = hn::AndNot(conf::isInvalid(df, confidence), above);
        if (hn::AllFalse(df, dropped)) {
            return;
        }
        const auto marked = hn::Or(confidence, conf::marksWhere(df, dropped, kTooNoisy));
        conf::store(df, marked, images.confidence + begin + i);
        const auto distance = hn::LoadU(df, images.distance + begin + i);
        hn::StoreU(hn::IfThenZeroElse(dropped, distance), df, images.distance + begin + i);
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
