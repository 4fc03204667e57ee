// SPDX-License-Identifier: Apache-2.0
#include "QorDistanceImageKernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "QorDistanceImageKernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include "ALSimd-inl.h"
#include "Confidence-inl.h"

HWY_BEFORE_NAMESPACE();
namespace distanceimage {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
namespace conf = confidence::HWY_NAMESPACE;

/** Distance of a phase, 0 where the pixel is invalid. */
template <class DF, class V = hn::Vec<DF>>
HWY_INLINE V phaseToMetres(DF df, const PhaseToMetresParam& param, V phase, conf::Bits<DF> confidence) {
    const V range = hn::Set(df, param.range);
    const V oneDivRange = hn::Set(df, 1.0F / param.range);
    const V positive =
        hn::Add(hn::Mul(hn::Sub(phase, hn::Set(df, param.tempCorr)), hn::Set(df, param.metresPerRadian)),
                hn::Set(df, param.offset));
    const V metres = alsimd::HWY_NAMESPACE::ModN(df, positive, hn::Abs(range), hn::Abs(oneDivRange));
    return hn::IfThenZeroElse(conf::isInvalid(df, confidence), metres);
}

void PhaseToMetres(const PhaseToMetresParam& param, float32_t* distance, const uint16_t* confidence) {
    const hn::ScalableTag<float32_t> df;
    const auto step = static_cast<int32_t>(hn::Lanes(df));
    for (int32_t pixel = 0; pixel < kPixelCount; pixel += step) {
        const auto metres =
            phaseToMetres(df, param, hn::LoadU(df, distance + pixel), conf::load(df, confidence + pixel));
        hn::StoreU(metres, df, distance + pixel);
    }
}

void CorrectedPhaseToMetres(const PhaseToMetresParam& param, const StraylightComparison& straylight,
                            float32_t* distance, uint16_t* confidence) {
    const hn::ScalableTag<float32_t> df;
    const auto step = static_cast<int32_t>(hn::Lanes(df));
    const auto pi = hn::Set(df, 3.1415927F);
    const auto twoPi = hn::Set(df, 6.2831855F);
    const auto oneDivTwoPi = hn::Set(df, 0.15915494F);
    const auto zero = hn::Zero(df);
    const auto maxPhaseChange = hn::Set(df, straylight.maxPhaseChange);
    const auto maxAmplitudeChange = hn::Set(df, straylight.maxAmplitudeChange);
    const auto phaseLimited = hn::Gt(maxPhaseChange, zero);
    const auto amplitudeLimited = hn::Gt(maxAmplitudeChange, zero);

    for (int32_t pixel = 0; pixel < kPixelCount; pixel += step) {
        const auto measured = hn::LoadU(df, distance + pixel);
        const auto corrected = hn::LoadU(df, straylight.phaseAfterSLC + pixel);
        const auto turned = hn::Add(hn::Abs(hn::Sub(corrected, measured)), pi);
        const auto folded = alsimd::HWY_NAMESPACE::ModN(df, turned, twoPi, oneDivTwoPi);
        const auto phaseFails = hn::And(hn::Gt(hn::Abs(hn::Sub(folded, pi)), maxPhaseChange), phaseLimited);

        const auto amplitude = hn::LoadU(df, straylight.amplitude + pixel);
        const auto change = hn::Abs(hn::Sub(amplitude, hn::LoadU(df, straylight.amplAfterSLC + pixel)));
        const auto amplitudeFails =
            hn::And(hn::Gt(change, hn::Mul(amplitude, maxAmplitudeChange)), amplitudeLimited);

        const auto marked =
            hn::Or(conf::load(df, confidence + pixel),
                   conf::marksWhere(df, hn::Or(phaseFails, amplitudeFails), kConfidenceInvalid));
        conf::store(df, marked, confidence + pixel);
        hn::StoreU(phaseToMetres(df, param, corrected, marked), df, distance + pixel);
    }
}

void ApplyVignetting(float32_t* amplitude, const float32_t* gain) {
    const hn::ScalableTag<float32_t> df;
    const auto step = static_cast<int32_t>(hn::Lanes(df));
    for (int32_t pixel = 0; pixel < kPixelCount; pixel += step) {
        hn::StoreU(hn::Mul(hn::LoadU(df, amplitude + pixel), hn::LoadU(df, gain + pixel)), df,
                   amplitude + pixel);
    }
}

void NarrowConfidence(const uint16_t* confidence, uint8_t* narrowed) {
    const hn::ScalableTag<uint16_t> d16;
    const hn::RebindToSigned<decltype(d16)> di16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const auto step = static_cast<int32_t>(hn::Lanes(d16));
    for (int32_t pixel = 0; pixel < kPixelCount; pixel += step) {
        const auto low = hn::And(hn::LoadU(d16, confidence + pixel), hn::Set(d16, 0x00FF));
        hn::StoreU(hn::DemoteTo(d8, hn::BitCast(di16, low)), d8, narrowed + pixel);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace distanceimage
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace distanceimage {
namespace {

HWY_EXPORT(PhaseToMetres);
HWY_EXPORT(CorrectedPhaseToMetres);
HWY_EXPORT(ApplyVignetting);
HWY_EXPORT(NarrowConfidence);

}  // namespace
}  // namespace distanceimage

void DistanceImage_PhaseToMetres(const PhaseToMetresParam& param, float32_t* distance,
                                 const uint16_t* confidence) noexcept {
    using namespace distanceimage;
    HWY_DYNAMIC_DISPATCH(PhaseToMetres)(param, distance, confidence);
}

void DistanceImage_CorrectedPhaseToMetres(const PhaseToMetresParam& param,
                                          const StraylightComparison& straylight, float32_t* distance,
                                          uint16_t* confidence) noexcept {
    using namespace distanceimage;
    HWY_DYNAMIC_DISPATCH(CorrectedPhaseToMetres)(param, straylight, distance, confidence);
}

void DistanceImage_ApplyVignetting(float32_t* amplitude, const float32_t* gain) noexcept {
    using namespace distanceimage;
    HWY_DYNAMIC_DISPATCH(ApplyVignetting)(amplitude, gain);
}

void DistanceImage_NarrowConfidence(const uint16_t* confidence, uint8_t* narrowed) noexcept {
    using namespace distanceimage;
    HWY_DYNAMIC_DISPATCH(NarrowConfidence)(confidence, narrowed);
}

#endif  // HWY_ONCE
