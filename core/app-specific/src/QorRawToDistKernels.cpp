// SPDX-License-Identifier: Apache-2.0
#include "QorRawToDistKernels.h"

#include "QorRawToDist.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "QorRawToDistKernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include "ALSimd-inl.h"
#include "Confidence-inl.h"
#include "RawUnpack-inl.h"

HWY_BEFORE_NAMESPACE();
namespace rawtodist {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
namespace conf = confidence::HWY_NAMESPACE;

constexpr uint16_t kSaturated = kConfidenceInvalid | kConfidenceSaturated;
constexpr uint32_t kTooDark = kConfidenceInvalid | kConfidenceLowAmplitude;
constexpr uint32_t kAsymmetric = kConfidenceInvalid | kConfidenceAsymmetric;

/** Adds a row's pixels to the histogram; `levels` are at most 2048. The header describes the order of the
 * weights. */
void addToHistogram(const int16_t* levels, const uint8_t* roi, uint32_t* histogram) {
    for (int32_t block = 0; block < kImageWidth; block += 16) {
        for (int32_t k = 0; k < 8; ++k) {
            histogram[levels[block + 2 * k]] += roi[block + k];
            histogram[levels[block + 2 * k + 1]] += roi[block + 8 + k];
        }
    }
}

/** True where the largest or the smallest of a pixel's four samples lies outside the limits. */
template <class DI>
HWY_INLINE hn::Mask<DI> checkSaturation(hn::Vec<DI> largest, hn::Vec<DI> smallest, hn::Vec<DI> upperLimit,
                                        hn::Vec<DI> lowerLimit) {
    return hn::Or(hn::Gt(largest, upperLimit), hn::Lt(smallest, lowerLimit));
}

template <bool kWithHistogram>
HWY_INLINE void rawToXYS(QorRawToDistState* state, int16_t minDiff, int16_t maxDiff, int storageIndex,
                         uint16_t confidenceMask, const uint8_t* roi, uint32_t* histogram) {
    const hn::ScalableTag<uint16_t> du;
    const hn::RebindToSigned<decltype(du)> di;
    // Reading before the first pixels is safe: the imager's line without image data lies there.
    const rawunpack::HWY_NAMESPACE::SampleUnpacker<decltype(du)> samples(du);
    const auto step = static_cast<int32_t>(hn::Lanes(du));
    const auto lowerLimit = hn::Set(di, minDiff);
    const auto upperLimit = hn::Set(di, maxDiff);
    const auto zeroDiff = hn::Set(di, static_cast<int16_t>(maxDiff / 2 + minDiff / 2));
    const auto lastBin = hn::Set(di, static_cast<int16_t>(kHistogramBins - 1));
    const auto valid = hn::Set(du, confidenceMask);
    const auto saturated = hn::Set(du, static_cast<uint16_t>(confidenceMask | kSaturated));

    const uint8_t* phases[kPhasesPerExposure];
    for (int32_t k = 0; k < kPhasesPerExposure; ++k) {
        phases[k] = state->rawPhases[k]->phaseData + kRawRowBytes;
    }
    int16_t* const outX = state->X[storageIndex];
    int16_t* const outY = state->Y[storageIndex];
    int16_t* const outS = state->S[storageIndex];
    uint16_t* const outConfidence = state->confidence[storageIndex];

    for (int32_t row = 0; row < kPixelCount; row += kImageWidth) {
        HWY_ALIGN int16_t levels[kImageWidth];
        for (int32_t column = 0; column < kImageWidth; column += step) {
            const int32_t pixel = row + column;
            const int32_t end = (pixel + step) * 3 / 2;
            const auto a = hn::BitCast(di, samples.endingAt(phases[0] + end));
            const auto b = hn::BitCast(di, samples.endingAt(phases[1] + end));
            const auto c = hn::BitCast(di, samples.endingAt(phases[2] + end));
            const auto d = hn::BitCast(di, samples.endingAt(phases[3] + end));
            hn::StoreU(hn::Sub(a, c), di, outX + pixel);
            hn::StoreU(hn::Sub(b, d), di, outY + pixel);
            hn::StoreU(hn::Sub(hn::Add(a, c), hn::Add(b, d)), di, outS + pixel);

            const auto largest = hn::Max(hn::Max(a, c), hn::Max(b, d));
            const auto smallest = hn::Min(hn::Min(a, c), hn::Min(b, d));
            const auto outside = checkSaturation<decltype(di)>(largest, smallest, upperLimit, lowerLimit);
            hn::StoreU(hn::IfThenElse(hn::RebindMask(du, outside), saturated, valid), du,
                       outConfidence + pixel);
            if constexpr (kWithHistogram) {
                const auto level =
                    hn::Max(hn::SaturatedSub(largest, zeroDiff), hn::SaturatedSub(zeroDiff, smallest));
                hn::StoreU(hn::Min(level, lastBin), di, levels + column);
            }
        }
        if constexpr (kWithHistogram) {
            addToHistogram(levels, roi + row, histogram);
        }
    }
}

void RawToXYS(QorRawToDistState* state, int16_t minDiff, int16_t maxDiff, int storageIndex,
              uint16_t confidenceMask) {
    rawToXYS<false>(state, minDiff, maxDiff, storageIndex, confidenceMask, nullptr, nullptr);
}

void RawToXYSHistogram(QorRawToDistState* state, int16_t minDiff, int16_t maxDiff, int storageIndex,
                       uint16_t confidenceMask, const uint8_t* roi, uint32_t* histogram) {
    rawToXYS<true>(state, minDiff, maxDiff, storageIndex, confidenceMask, roi, histogram);
}

void MergeExposures(QorRawToDistState* state, float32_t invFirstExposure, float32_t invSecondExposure) {
    const hn::ScalableTag<uint16_t> du;
    const hn::RebindToSigned<decltype(du)> di;
    const hn::Repartition<float32_t, decltype(du)> df;
    const hn::RebindToUnsigned<decltype(df)> du32;
    const auto step = static_cast<int32_t>(hn::Lanes(du));
    const auto halfStep = static_cast<int32_t>(hn::Lanes(df));
    const auto saturatedBit = hn::Set(du, kConfidenceSaturated);
    const auto invFirst = hn::Set(df, invFirstExposure);
    const auto invSecond = hn::Set(df, invSecondExposure);

    const auto replace = [&](auto mask, int16_t(*image)[kPixelCount], int32_t pixel) HWY_ATTR {
        const auto first = hn::LoadU(di, image[0] + pixel);
        const auto second = hn::LoadU(di, image[1] + pixel);
        hn::StoreU(hn::IfThenElse(hn::RebindMask(di, mask), first, second), di, image[1] + pixel);
    };
    for (int32_t pixel = 0; pixel < kPixelCount; pixel += step) {
        const auto first = hn::LoadU(du, state->confidence[0] + pixel);
        const auto second = hn::LoadU(du, state->confidence[1] + pixel);
        const auto bits = hn::And(second, saturatedBit);
        const auto saturated = hn::Eq(bits, saturatedBit);
        hn::StoreU(hn::IfThenElse(saturated, first, second), du, state->confidence[1] + pixel);
        replace(saturated, state->X, pixel);
        replace(saturated, state->Y, pixel);
        replace(saturated, state->S, pixel);

        const auto lower = hn::PromoteTo(du32, hn::LowerHalf(bits));
        const auto upper = hn::PromoteTo(du32, hn::UpperHalf(hn::Half<decltype(du)>(), bits));
        const auto zero = hn::Zero(du32);
        hn::StoreU(hn::IfThenElse(hn::RebindMask(df, hn::Eq(lower, zero)), invSecond, invFirst), df,
                   state->invExpTimes + pixel);
        hn::StoreU(hn::IfThenElse(hn::RebindMask(df, hn::Eq(upper, zero)), invSecond, invFirst), df,
                   state->invExpTimes + pixel + halfStep);
    }
}

/** Sixteen-bit samples as floats. */
template <class DF>
HWY_INLINE hn::Vec<DF> loadAsFloat(DF df, const int16_t* samples) {
    const hn::Rebind<int16_t, DF> d16;
    return hn::ConvertTo(df, hn::PromoteTo(hn::RebindToSigned<DF>(), hn::LoadU(d16, samples)));
}

template <class DF>
HWY_INLINE hn::Vec<DF> loadAsFloat(DF df, const uint16_t* samples) {
    const hn::Rebind<uint16_t, DF> d16;
    return hn::ConvertTo(df, hn::PromoteTo(hn::RebindToSigned<DF>(), hn::LoadU(d16, samples)));
}

/** Angle and squared length of the corrected (X, Y), for one row. */
struct RowVectors {
    HWY_ALIGN float32_t angle[kImageWidth];
    HWY_ALIGN float32_t ampSquare[kImageWidth];
};

// The steps of a pixel form one long chain of dependent operations. Each step is a pass over the row, so that
// the processor can work on several vectors at once. What one pass leaves for the next stays in the
// first-level cache.

template <bool kCompensateDrift>
HWY_INLINE void vectorsOfRow(const RawToDistPhaseInput& in, int32_t row, RowVectors& vectors) {
    const hn::ScalableTag<float32_t> df;
    const auto step = static_cast<int32_t>(hn::Lanes(df));
    for (int32_t column = 0; column < kImageWidth; column += step) {
        const int32_t pixel = row + column;
        auto offsetX = hn::Set(df, in.xCorrection);
        auto offsetY = hn::Set(df, in.yCorrection);
        if constexpr (kCompensateDrift) {
            const auto last =
                conf::hasBits(df, conf::load(df, in.confidence + pixel), kConfidenceLastExposure);
            const auto ambient = loadAsFloat(df, in.intensity + pixel);
            const auto driftX = hn::IfThenElse(last, hn::Set(df, in.driftX[1]), hn::Set(df, in.driftX[0]));
            const auto driftY = hn::IfThenElse(last, hn::Set(df, in.driftY[1]), hn::Set(df, in.driftY[0]));
            offsetX = hn::Add(offsetX, hn::Mul(ambient, driftX));
            offsetY = hn::Add(offsetY, hn::Mul(ambient, driftY));
        }
        const auto x = hn::Sub(loadAsFloat(df, in.X + pixel), offsetX);
        const auto y = hn::Sub(loadAsFloat(df, in.Y + pixel), offsetY);
        hn::Store(hn::Add(hn::Mul(x, x), hn::Mul(y, y)), df, vectors.ampSquare + column);
        hn::Store(alsimd::HWY_NAMESPACE::neonAtan2_f32(df, y, x), df, vectors.angle + column);
    }
}

/** One harmonic of a wiggling: the sine of a multiple of the angle, with its phase and its size. */
template <class DF, class V = hn::Vec<DF>>
HWY_INLINE V harmonic(DF df, V multipleOfAngle, float32_t phase, float32_t size) {
    return hn::Mul(alsimd::HWY_NAMESPACE::neonSin_f32(df, hn::Add(multipleOfAngle, hn::Set(df, phase))),
                   hn::Set(df, size));
}

HWY_INLINE void phasesOfRow(const RawToDistPhaseInput& in, const RawToDistPhaseOutput& out, int32_t row,
                            const RowVectors& vectors) {
    const hn::ScalableTag<float32_t> df;
    const auto step = static_cast<int32_t>(hn::Lanes(df));
    const auto zero = hn::Zero(df);
    const auto twoPi = hn::Set(df, 6.2831855F);
    const float32_t* const pw = in.phaseWigg;
    for (int32_t column = 0; column < kImageWidth; column += step) {
        const auto angle = hn::Load(df, vectors.angle + column);
        const auto a = harmonic(df, hn::Mul(angle, hn::Set(df, 4.0F)), pw[2], pw[1]);
        const auto b = harmonic(df, hn::Mul(angle, hn::Set(df, 2.0F)), pw[4], pw[3]);
        const auto c = harmonic(df, hn::Mul(angle, hn::Set(df, 8.0F)), pw[6], pw[5]);
        auto phase = hn::Sub(hn::Sub(angle, hn::Set(df, pw[0])), hn::Add(hn::Add(a, b), c));
        phase = hn::Sub(phase, hn::LoadU(df, in.FPPN + row + column));
        phase = hn::IfThenElse(hn::Lt(phase, zero), hn::Add(phase, twoPi), phase);
        phase = hn::IfThenElse(hn::Lt(phase, zero), hn::Add(phase, twoPi), phase);
        phase = hn::IfThenElse(hn::Ge(phase, twoPi), hn::Sub(phase, twoPi), phase);
        phase = hn::IfThenElse(hn::Ge(phase, twoPi), hn::Sub(phase, twoPi), phase);
        hn::StoreU(phase, df, out.phase + row + column);
    }
}

HWY_INLINE void amplitudesOfRow(const RawToDistPhaseInput& in, const RawToDistPhaseOutput& out, int32_t row,
                                const RowVectors& vectors) {
    const hn::ScalableTag<float32_t> df;
    const auto step = static_cast<int32_t>(hn::Lanes(df));
    const float32_t* const aw = in.ampWigg;
    for (int32_t column = 0; column < kImageWidth; column += step) {
        const auto angle = hn::Load(df, vectors.angle + column);
        const auto ampSquare = hn::Load(df, vectors.ampSquare + column);
        const auto d = harmonic(df, hn::Mul(angle, hn::Set(df, 4.0F)), aw[2], aw[1]);
        const auto e = harmonic(df, hn::Mul(angle, hn::Set(df, 2.0F)), aw[4], aw[3]);
        const auto amplitude =
            hn::Add(alsimd::HWY_NAMESPACE::neonSqrt_f32(df, ampSquare), hn::Set(df, 0.001F));
        const auto corrected = hn::Mul(amplitude, hn::Add(hn::Add(d, e), hn::Set(df, aw[0])));
        hn::StoreU(hn::Mul(corrected, hn::LoadU(df, in.invExpTimes + row + column)), df,
                   out.normalizedAmplitude + row + column);
    }
}

/** The two tests of a pixel: too dark, or four samples that fit no sine. */
HWY_INLINE void NEON_PixelValid(const RawToDistPhaseInput& in, const RawToDistPhaseOutput& out, int32_t row,
                                const RowVectors& vectors) {
    const hn::ScalableTag<float32_t> df;
    const auto step = static_cast<int32_t>(hn::Lanes(df));
    const auto minAmpSquare = hn::Set(df, in.minAmpSquare);
    const auto maxSymSquare = hn::Set(df, in.maxSymSquare);
    for (int32_t column = 0; column < kImageWidth; column += step) {
        const int32_t pixel = row + column;
        const auto ampSquare = hn::Load(df, vectors.ampSquare + column);
        const auto s = loadAsFloat(df, in.S + pixel);
        const auto tooDark = hn::Lt(ampSquare, minAmpSquare);
        const auto asymmetric = hn::Gt(hn::Mul(s, s), hn::Mul(ampSquare, maxSymSquare));
        const auto marks = conf::narrow(df, hn::Or(conf::marksWhere(df, tooDark, kTooDark),
                                                   conf::marksWhere(df, asymmetric, kAsymmetric)));
        conf::storeNarrow(df, hn::Or(conf::loadNarrow(df, in.confidence + pixel), marks),
                          out.confidence + pixel);
    }
}

template <bool kCompensateDrift>
HWY_INLINE void computePhase(const RawToDistPhaseInput& in, const RawToDistPhaseOutput& out) {
    RowVectors vectors;
    for (int32_t row = 0; row < kPixelCount; row += kImageWidth) {
        vectorsOfRow<kCompensateDrift>(in, row, vectors);
        phasesOfRow(in, out, row, vectors);
        amplitudesOfRow(in, out, row, vectors);
        NEON_PixelValid(in, out, row, vectors);
    }
}

void ComputePhase(const RawToDistPhaseInput& input, const RawToDistPhaseOutput& output) {
    if (input.intensity != nullptr) {
        computePhase<true>(input, output);
    } else {
        computePhase<false>(input, output);
    }
}

void XYStoAmpConf(float* ampl, uint16_t* confidence, const int16_t* X, const int16_t* Y, float xCorrection,
                  float yCorrection, float minAmp) {
    const hn::ScalableTag<float32_t> df;
    const auto step = static_cast<int32_t>(hn::Lanes(df));
    const auto minAmpSquare = hn::Set(df, minAmp * minAmp);
    for (int32_t pixel = 0; pixel < kPixelCount; pixel += step) {
        const auto x = hn::Sub(loadAsFloat(df, X + pixel), hn::Set(df, xCorrection));
        const auto y = hn::Sub(loadAsFloat(df, Y + pixel), hn::Set(df, yCorrection));
        const auto ampSquare = hn::Add(hn::Mul(x, x), hn::Mul(y, y));
        hn::StoreU(alsimd::HWY_NAMESPACE::neonSqrt_f32(df, ampSquare), df, ampl + pixel);
        const auto marks = conf::marksWhere(df, hn::Lt(ampSquare, minAmpSquare), kTooDark);
        conf::store(df, hn::Or(conf::load(df, confidence + pixel), marks), confidence + pixel);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace rawtodist
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace rawtodist {
namespace {

HWY_EXPORT(RawToXYS);
HWY_EXPORT(RawToXYSHistogram);
HWY_EXPORT(MergeExposures);
HWY_EXPORT(ComputePhase);
HWY_EXPORT(XYStoAmpConf);

}  // namespace
}  // namespace rawtodist

void NEON_RawToXYS(QorRawToDistState* state, short minDiff, short maxDiff, int storageIndex,
                   unsigned short confidenceMask) noexcept {
    using namespace rawtodist;
    HWY_DYNAMIC_DISPATCH(RawToXYS)(state, minDiff, maxDiff, storageIndex, confidenceMask);
}

void NEON_RawToXYS_histo(QorRawToDistState* state, short minDiff, short maxDiff, int storageIndex,
                         unsigned short confidenceMask, const unsigned char* histogram_roi,
                         unsigned int* histogram) noexcept {
    using namespace rawtodist;
    HWY_DYNAMIC_DISPATCH(RawToXYSHistogram)
    (state, minDiff, maxDiff, storageIndex, confidenceMask, histogram_roi, histogram);
}

void RawToDist_MergeExposures(QorRawToDistState* state, float32_t invFirstExposure,
                              float32_t invSecondExposure) noexcept {
    using namespace rawtodist;
    HWY_DYNAMIC_DISPATCH(MergeExposures)(state, invFirstExposure, invSecondExposure);
}

void RawToDist_ComputePhase(const RawToDistPhaseInput& input, const RawToDistPhaseOutput& output) noexcept {
    using namespace rawtodist;
    HWY_DYNAMIC_DISPATCH(ComputePhase)(input, output);
}

void NEON_XYStoAmpConf(float* ampl, unsigned short* conf, const short* X, const short* Y, float xCorrection,
                       float yCorrection, float minAmp) noexcept {
    using namespace rawtodist;
    HWY_DYNAMIC_DISPATCH(XYStoAmpConf)(ampl, conf, X, Y, xCorrection, yCorrection, minAmp);
}

#endif  // HWY_ONCE
