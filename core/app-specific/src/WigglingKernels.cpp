// SPDX-License-Identifier: Apache-2.0
#include "WigglingKernels.h"

#include <algorithm>

#include "Wiggling.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "WigglingKernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include "ALSimd-inl.h"

HWY_BEFORE_NAMESPACE();
namespace wiggling {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
namespace al = alsimd::HWY_NAMESPACE;

// Pixels go block by block through two passes. In the first, vectors compute the positions in the tables. In
// the second, one load per pixel fetches two neighbouring samples, and vectors weigh them. That is faster
// than gather instructions. The results of the first pass stay in the first-level cache.

constexpr size_t kBlock = 224;  ///< pixels; a multiple of every vector's lanes

constexpr float32_t kTwoPi = 6.2831855F;
constexpr float32_t kOneDivTwoPi = 0.15915494F;
constexpr float32_t kPi = 3.1415927F;

/** Where a block's pixels stand in a table. */
struct Positions {
    HWY_ALIGN int32_t index[kBlock];       ///< of the first of two samples
    HWY_ALIGN float32_t fraction[kBlock];  ///< weight of the second one
};

template <class DF, class V = hn::Vec<DF>>
HWY_INLINE void storePosition(DF df, V position, int32_t lastIndex, Positions& positions, size_t i) {
    const hn::RebindToSigned<DF> di;
    const V whole = hn::Trunc(al::SelectMax(position, hn::Zero(df)));  // 0 for NaN
    const V bounded = al::MinOfNumbers(whole, hn::Set(df, static_cast<float32_t>(lastIndex)));
    hn::Store(al::WholeToInt32(df, bounded), di, positions.index + i);
    hn::Store(hn::Sub(position, whole), df, positions.fraction + i);
}

/** a (1 - weight) + b weight. */
template <class DF, class V = hn::Vec<DF>>
HWY_INLINE V interpolate(DF df, V a, V b, V weight) {
    return hn::Add(hn::Mul(a, hn::Sub(hn::Set(df, 1.0F), weight)), hn::Mul(b, weight));
}

template <class DF, class V = hn::Vec<DF>>
HWY_INLINE V neonModN_f32(DF df, V v) {
    return al::ModN(df, v, hn::Set(df, kTwoPi), hn::Set(df, kOneDivTwoPi));
}

// ---------------------------------------------------------------------------------------------------------------------
// Backward

constexpr int32_t kClosingSample = kInverseLutSize - 1;

/** The table with its closing sample twice, so that every sample has a neighbour. */
struct InverseTable {
    explicit InverseTable(const float32_t* invCalibLut) {
        std::copy_n(invCalibLut, kInverseLutSize, samples);
        samples[kInverseLutSize] = invCalibLut[kClosingSample];
    }

    float32_t samples[kInverseLutSize + 1];
};

void positionsOfPhases(const float32_t* phi, Positions& inPhase, Positions& quadrature) {
    const hn::ScalableTag<float32_t> df;
    const auto zero = hn::Zero(df);
    const auto twoPi = hn::Set(df, kTwoPi);
    const auto akfTheta = hn::Set(df, 1.5707964F);  // a quarter period
    const auto samplesPerRadian = hn::Set(df, 40.743664F);
    for (size_t i = 0; i < kBlock; i += hn::Lanes(df)) {
        auto phase = neonModN_f32(df, hn::LoadU(df, phi + i));
        phase = hn::IfThenElse(hn::Lt(phase, zero), hn::Add(phase, twoPi), phase);
        storePosition(df, hn::Mul(phase, samplesPerRadian), kClosingSample, inPhase, i);
        auto earlier = hn::Sub(phase, akfTheta);
        earlier = hn::IfThenElse(hn::Lt(earlier, zero), hn::Add(earlier, twoPi), earlier);
        earlier = hn::IfThenElse(hn::Ge(earlier, twoPi), hn::Sub(earlier, twoPi), earlier);
        storePosition(df, hn::Mul(earlier, samplesPerRadian), kClosingSample, quadrature, i);
    }
}

/** Loads the pairs of samples at consecutive entries of `index`, as many as half a vector's lanes. */
template <class DF>
HWY_INLINE hn::Vec<DF> loadPairs(DF df, const float32_t* samples, const int32_t* index) {
    constexpr size_t kPairs = hn::MaxLanes(DF()) / 2;
    if constexpr (kPairs == 1) {
        return hn::LoadU(df, samples + *index);
    } else {
        const hn::Half<DF> half;
        const auto lower = loadPairs(half, samples, index);
        return hn::Combine(df, loadPairs(half, samples, index + kPairs / 2), lower);
    }
}

template <class DF>
HWY_INLINE hn::Vec<DF> lookUp(DF df, const InverseTable& table, const Positions& positions, size_t i) {
    const auto lower = loadPairs(df, table.samples, positions.index + i);
    const auto upper = loadPairs(df, table.samples, positions.index + i + hn::Lanes(df) / 2);
    return interpolate(df, hn::ConcatEven(df, upper, lower), hn::ConcatOdd(df, upper, lower),
                       hn::Load(df, positions.fraction + i));
}

/** Work memory of a block. */
struct BackwardBlock {
    Positions inPhase;
    Positions quadrature;
};

void rawOfBlock(const InverseTable& table, const WigglingBackwardImages& images, BackwardBlock& block) {
    positionsOfPhases(images.phi, block.inPhase, block.quadrature);
    const hn::ScalableTag<float32_t> df;
    for (size_t i = 0; i < kBlock; i += hn::Lanes(df)) {
        const auto ampl = hn::LoadU(df, images.ampl + i);
        hn::StoreU(hn::Mul(lookUp(df, table, block.inPhase, i), ampl), df, images.xyReal + i);
        hn::StoreU(hn::Mul(lookUp(df, table, block.quadrature, i), ampl), df, images.xyImag + i);
    }
}

void ComputeRaw(const float32_t* invCalibLut, const WigglingBackwardImages& images) {
    const InverseTable table(invCalibLut);
    BackwardBlock block;
    size_t begin = 0;
    for (; begin + kBlock <= images.pixelCount; begin += kBlock) {
        rawOfBlock(table,
                   {.pixelCount = kBlock,
                    .phi = images.phi + begin,
                    .ampl = images.ampl + begin,
                    .xyReal = images.xyReal + begin,
                    .xyImag = images.xyImag + begin},
                   block);
    }
    const size_t rest = images.pixelCount - begin;
    if (rest > 0) {
        HWY_ALIGN float32_t phi[kBlock] = {};
        HWY_ALIGN float32_t ampl[kBlock] = {};
        HWY_ALIGN float32_t xyReal[kBlock];
        HWY_ALIGN float32_t xyImag[kBlock];
        std::copy_n(images.phi + begin, rest, phi);
        std::copy_n(images.ampl + begin, rest, ampl);
        rawOfBlock(table,
                   {.pixelCount = kBlock, .phi = phi, .ampl = ampl, .xyReal = xyReal, .xyImag = xyImag},
                   block);
        std::copy_n(xyReal, rest, images.xyReal + begin);
        std::copy_n(xyImag, rest, images.xyImag + begin);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Forward

constexpr int32_t kLastSample = kReferenceLutSize - 1;

/** Both tables, with two neighbouring samples of each side by side. The last sample is its own neighbour. */
struct ReferenceTable {
    ReferenceTable(const float32_t* lutPhase, const float32_t* lutAmp) {
        for (int32_t i = 0; i < kReferenceLutSize; ++i) {
            const int32_t next = std::min(i + 1, kLastSample);
            samples[i][0] = lutPhase[i];
            samples[i][1] = lutPhase[next];
            samples[i][2] = lutAmp[i];
            samples[i][3] = lutAmp[next];
        }
    }

    HWY_ALIGN float32_t samples[kReferenceLutSize][4];
};

/** Position of (x, y) in the tables and its radius, for a vector of pixels. */
template <class V>
struct Reference {
    V position;
    V radius;
};

/** Length along the perimeter of a square, from its corner (1, -1) on; a period is 2 pi. */
template <class DF, class V = hn::Vec<DF>>
HWY_INLINE Reference<V> unit_square_ref_x4(DF df, V x, V y) {
    const V zero = hn::Zero(df);
    const V one = hn::Set(df, 1.0F);
    const V absX = hn::Abs(x);
    const V absY = hn::Abs(y);
    const V radius = al::SelectMax(absX, absY);
    const V divisor = hn::IfThenElse(hn::Lt(radius, hn::Set(df, 1e-10F)), one, radius);
    V ratio = hn::Mul(al::SelectMin(absX, absY),
                      al::RefineReciprocal(df, divisor, al::ReciprocalEstimateOfPositive(df, divisor)));
    const auto left = hn::Le(x, zero);
    const auto below = hn::Le(y, zero);
    ratio = hn::IfThenElse(hn::Xor(left, below), hn::Neg(ratio), ratio);
    const V halfTurn = hn::Set(df, 4.0F);
    const V alongX = hn::Add(hn::Add(one, ratio), hn::IfThenElseZero(left, halfTurn));
    const V alongY = hn::Add(hn::Sub(hn::Set(df, 3.0F), ratio), hn::IfThenElseZero(below, halfTurn));
    const V eighths = hn::IfThenElse(hn::Ge(absX, absY), alongX, alongY);
    const V theta = hn::Mul(eighths, hn::Set(df, 0.7853982F));
    return {hn::Mul(theta, hn::Set(df, 40.58451F)), radius};
}

/** The same on the square turned by an eighth. */
template <class DF, class V = hn::Vec<DF>>
HWY_INLINE Reference<V> unit_diamond_ref_x4(DF df, V re, V im) {
    return unit_square_ref_x4(df, hn::Add(re, im), hn::Sub(im, re));
}

/** Angle and length; the period starts at -pi. */
template <class DF, class V = hn::Vec<DF>>
HWY_INLINE Reference<V> unit_circle_ref_x4(DF df, V re, V im) {
    const V rf_min_phi = hn::Set(df, -kPi);
    const V angle = al::neonAtan2_f32(df, im, re);
    const V squared = hn::Add(hn::Mul(re, re), hn::Mul(im, im));
    return {hn::Mul(hn::Sub(angle, rf_min_phi), hn::Set(df, 40.58451F)), al::neonSqrt_f32(df, squared)};
}

template <WigglingCalibReferenceFunc kReferenceFunc, class DF, class V = hn::Vec<DF>>
HWY_INLINE Reference<V> referenceOf(DF df, V re, V im) {
    if constexpr (kReferenceFunc == ReferenceFunc_UnitCircle) {
        return unit_circle_ref_x4(df, re, im);
    } else if constexpr (kReferenceFunc == ReferenceFunc_UnitSquare) {
        return unit_square_ref_x4(df, re, im);
    } else {
        return unit_diamond_ref_x4(df, re, im);
    }
}

/** Work memory of a block. */
struct ForwardBlock {
    Positions positions;
    HWY_ALIGN float32_t radius[kBlock];
};

template <WigglingCalibReferenceFunc kReferenceFunc>
HWY_INLINE void positionsOfRaw(const WigglingForwardImages& images, ForwardBlock& block) {
    const hn::ScalableTag<float32_t> df;
    for (size_t i = 0; i < kBlock; i += hn::Lanes(df)) {
        const auto reference = referenceOf<kReferenceFunc>(df, hn::LoadU(df, images.xyReal + i),
                                                           hn::LoadU(df, images.xyImag + i));
        storePosition(df, reference.position, kLastSample, block.positions, i);
        hn::Store(reference.radius, df, block.radius + i);
    }
}

/** The samples at every fourth `index`, in a 128-bit block each. */
template <class DF>
HWY_INLINE hn::Vec<DF> loadEveryFourth(DF df, const ReferenceTable& table, const int32_t* index) {
    constexpr size_t kBlocks = hn::MaxLanes(DF()) / 4;
    if constexpr (kBlocks == 1) {
        return hn::Load(df, table.samples[*index]);
    } else {
        const hn::Half<DF> half;
        const auto lower = loadEveryFourth(half, table, index);
        return hn::Combine(df, loadEveryFourth(half, table, index + 2 * kBlocks), lower);
    }
}

/** Two neighbouring samples of both tables, for a vector of pixels. */
template <class V>
struct ReferenceSamples {
    V phase0, phase1;
    V factor0, factor1;
};

template <class DF, class V = hn::Vec<DF>>
HWY_INLINE ReferenceSamples<V> lookUp(DF df, const ReferenceTable& table, const int32_t* index) {
    const hn::Repartition<uint64_t, DF> pairs;
    const V pixels0 = loadEveryFourth(df, table, index);
    const V pixels1 = loadEveryFourth(df, table, index + 1);
    const V pixels2 = loadEveryFourth(df, table, index + 2);
    const V pixels3 = loadEveryFourth(df, table, index + 3);
    // Each 128-bit block holds one pixel's row of four samples. Transpose them.
    const auto phases01 = hn::BitCast(pairs, hn::InterleaveLower(df, pixels0, pixels1));
    const auto phases23 = hn::BitCast(pairs, hn::InterleaveLower(df, pixels2, pixels3));
    const auto factors01 = hn::BitCast(pairs, hn::InterleaveUpper(df, pixels0, pixels1));
    const auto factors23 = hn::BitCast(pairs, hn::InterleaveUpper(df, pixels2, pixels3));
    return {hn::BitCast(df, hn::InterleaveLower(pairs, phases01, phases23)),
            hn::BitCast(df, hn::InterleaveUpper(pairs, phases01, phases23)),
            hn::BitCast(df, hn::InterleaveLower(pairs, factors01, factors23)),
            hn::BitCast(df, hn::InterleaveUpper(pairs, factors01, factors23))};
}

void weighSamples(const ReferenceTable& table, const ForwardBlock& block,
                  const WigglingForwardImages& images) {
    const hn::ScalableTag<float32_t> df;
    for (size_t i = 0; i < kBlock; i += hn::Lanes(df)) {
        const auto samples = lookUp(df, table, block.positions.index + i);
        const auto fraction = hn::Load(df, block.positions.fraction + i);
        const auto phase = interpolate(df, samples.phase0, samples.phase1, fraction);
        const auto factor = interpolate(df, samples.factor0, samples.factor1, fraction);
        hn::StoreU(neonModN_f32(df, phase), df, images.phi + i);
        hn::StoreU(hn::Mul(factor, hn::Load(df, block.radius + i)), df, images.ampl + i);
    }
}

template <WigglingCalibReferenceFunc kReferenceFunc>
HWY_INLINE void trueOfBlock(const ReferenceTable& table, const WigglingForwardImages& images,
                            ForwardBlock& block) {
    positionsOfRaw<kReferenceFunc>(images, block);
    weighSamples(table, block, images);
}

template <WigglingCalibReferenceFunc kReferenceFunc>
void computeTrue(const float32_t* lutPhase, const float32_t* lutAmp, const WigglingForwardImages& images) {
    const ReferenceTable table(lutPhase, lutAmp);
    ForwardBlock block;
    size_t begin = 0;
    for (; begin + kBlock <= images.pixelCount; begin += kBlock) {
        trueOfBlock<kReferenceFunc>(table,
                                    {.pixelCount = kBlock,
                                     .xyReal = images.xyReal + begin,
                                     .xyImag = images.xyImag + begin,
                                     .phi = images.phi + begin,
                                     .ampl = images.ampl + begin},
                                    block);
    }
    const size_t rest = images.pixelCount - begin;
    if (rest > 0) {
        HWY_ALIGN float32_t xyReal[kBlock] = {};
        HWY_ALIGN float32_t xyImag[kBlock] = {};
        HWY_ALIGN float32_t phi[kBlock];
        HWY_ALIGN float32_t ampl[kBlock];
        std::copy_n(images.xyReal + begin, rest, xyReal);
        std::copy_n(images.xyImag + begin, rest, xyImag);
        trueOfBlock<kReferenceFunc>(
            table, {.pixelCount = kBlock, .xyReal = xyReal, .xyImag = xyImag, .phi = phi, .ampl = ampl},
            block);
        std::copy_n(phi, rest, images.phi + begin);
        std::copy_n(ampl, rest, images.ampl + begin);
    }
}

void ComputeTrue(WigglingCalibReferenceFunc referenceFunc, const float32_t* lutPhase, const float32_t* lutAmp,
                 const WigglingForwardImages& images) {
    switch (referenceFunc) {
        case ReferenceFunc_UnitCircle:
            return computeTrue<ReferenceFunc_UnitCircle>(lutPhase, lutAmp, images);
        case ReferenceFunc_UnitSquare:
            return computeTrue<ReferenceFunc_UnitSquare>(lutPhase, lutAmp, images);
        case ReferenceFunc_UnitDiamond:
            return computeTrue<ReferenceFunc_UnitDiamond>(lutPhase, lutAmp, images);
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace wiggling
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace wiggling {
namespace {

HWY_EXPORT(ComputeRaw);
HWY_EXPORT(ComputeTrue);

}  // namespace
}  // namespace wiggling

void Wiggling_ComputeRaw(const float32_t* invCalibLut, const WigglingBackwardImages& images) noexcept {
    using namespace wiggling;
    HWY_DYNAMIC_DISPATCH(ComputeRaw)(invCalibLut, images);
}

void Wiggling_ComputeTrue(WigglingCalibReferenceFunc referenceFunc, const float32_t* lutPhase,
                          const float32_t* lutAmp, const WigglingForwardImages& images) noexcept {
    using namespace wiggling;
    HWY_DYNAMIC_DISPATCH(ComputeTrue)(referenceFunc, lutPhase, lutAmp, images);
}

#endif  // HWY_ONCE
