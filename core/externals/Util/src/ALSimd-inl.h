// SPDX-License-Identifier: Apache-2.0
//
// Vector arithmetic that several kernels share. Every function gives the same bits in every lane on every
// target: multiplications and additions are never fused, selections are a comparison and a choice, truncation
// saturates and gives 0 for NaN, and the two estimates are those of the ARM instructions wherever the code
// runs.
//
// Subnormal numbers count as 0 where a function says so: the vector unit of ARMv7 knows no others.

#if defined(QOR_CORE_EXTERNALS_UTIL_SRC_ALSIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef QOR_CORE_EXTERNALS_UTIL_SRC_ALSIMD_INL_H_
#undef QOR_CORE_EXTERNALS_UTIL_SRC_ALSIMD_INL_H_
#else
#define QOR_CORE_EXTERNALS_UTIL_SRC_ALSIMD_INL_H_
#endif

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace alsimd {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

inline constexpr float kSmallestNormal = 1.17549435e-38F;  ///< 2^-126
inline constexpr float kTwoTo126 = 8.507059173023461e37F;
inline constexpr float kTwoTo31 = 2147483648.0F;

// Which operand a vector maximum or minimum gives for NaN differs between targets. So there are two of
// each here, and kernels use no others on floats: a selection where a NaN can occur, and the bare
// instruction where only numbers can.

// The instructions of x86 select. Those of ARM do not, nor does Highway's emulation of vectors.
#define QOR_MAX_IS_SELECTION (HWY_ARCH_X86 && HWY_TARGET != HWY_EMU128 && HWY_TARGET != HWY_SCALAR)

/** a > b ? a : b, so b where either is NaN. */
template <class V>
HWY_INLINE V SelectMax(V a, V b) {
#if QOR_MAX_IS_SELECTION
    return hn::Max(a, b);
#else
    return hn::IfThenElse(hn::Gt(a, b), a, b);
#endif
}

/** a < b ? a : b, so b where either is NaN. */
template <class V>
HWY_INLINE V SelectMin(V a, V b) {
#if QOR_MAX_IS_SELECTION
    return hn::Min(a, b);
#else
    return hn::IfThenElse(hn::Lt(a, b), a, b);
#endif
}
#undef QOR_MAX_IS_SELECTION

/** The larger of two numbers. Where one is NaN, either; where both are, NaN. */
template <class V>
HWY_INLINE V MaxOfNumbers(V a, V b) {
    return hn::Max(a, b);
}

/** The smaller of two numbers. Where one is NaN, either; where both are, NaN. */
template <class V>
HWY_INLINE V MinOfNumbers(V a, V b) {
    return hn::Min(a, b);
}

/** a / b, correctly rounded. The vector unit of ARMv7 has no division; there
 * each lane uses the scalar one. */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V Divide(D d, V a, V b) {
#if HWY_ARCH_ARM_V7
    HWY_ALIGN hn::TFromD<D> dividend[hn::MaxLanes(D())];
    HWY_ALIGN hn::TFromD<D> divisor[hn::MaxLanes(D())];
    hn::Store(a, d, dividend);
    hn::Store(b, d, divisor);
    for (size_t i = 0; i < hn::Lanes(d); ++i) {
        dividend[i] /= divisor[i];
    }
    return hn::Load(d, dividend);
#else
    (void)d;
    return hn::Div(a, b);
#endif
}

/** v truncated to int32 and back: saturated at the limits of int32, 0 for NaN, never -0. */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V TruncateThroughInt32(D d, V v) {
#if HWY_TARGET == HWY_NEON
    return hn::ConvertTo(d, hn::ConvertTo(hn::RebindToSigned<D>(), v));  // the instruction saturates
#else
    const V ordered = hn::IfThenElseZero(hn::Eq(v, v), v);
    const V clamped = MinOfNumbers(MaxOfNumbers(ordered, hn::Set(d, -kTwoTo31)), hn::Set(d, kTwoTo31));
    return hn::Add(hn::Trunc(clamped), hn::Zero(d));  // the sum turns -0 into 0
#endif
}

/** The largest integer not above v, at most the limits of int32, never -0; for NaN any value. */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V FloorThroughInt32(D d, V v) {
#if HWY_TARGET == HWY_NEON
    const V truncated = TruncateThroughInt32(d, v);
    return hn::Sub(truncated, hn::IfThenElseZero(hn::Gt(truncated, v), hn::Set(d, 1.0F)));
#else
    const V clamped = MinOfNumbers(MaxOfNumbers(hn::Floor(v), hn::Set(d, -kTwoTo31)), hn::Set(d, kTwoTo31));
    return hn::Add(clamped, hn::Zero(d));  // the sum turns -0 into 0
#endif
}

/**
 * A whole number of 0 to 2^23 - 1 as an integer. From 2^23 to 2^24 the mantissa counts the integers: cheaper
 * than a conversion that must saturate. WebAssembly has one instruction for that, and its compiler (Clang 14)
 * does not come to an end with the sum in the bilateral filter.
 */
template <class D, class V = hn::Vec<D>>
HWY_INLINE hn::Vec<hn::RebindToSigned<D>> WholeToInt32(D d, V whole) {
    const hn::RebindToSigned<D> di;
#if HWY_ARCH_WASM
    (void)d;
    return hn::ConvertTo(di, whole);
#else
    const V base = hn::Set(d, 8388608.0F);
    return hn::Xor(hn::BitCast(di, hn::Add(whole, base)), hn::BitCast(di, base));
#endif
}

/** v / 2 for a v whose half is a normal number, any value for others. Avoids a multiplication. */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V HalfOfNormal(D d, V v) {
    const hn::RebindToUnsigned<D> du;
    return hn::BitCast(d, hn::Sub(hn::BitCast(du, v), hn::Set(du, 1U << 23)));
}

/**
 * An estimate's eight bits of mantissa: x rounded, halves up. x must be within 5e-6 of the exact value; none
 * of the values that the two estimates round lies nearer to a half step.
 */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V RoundToEstimate(D d, V x) {
    const hn::RebindToUnsigned<D> du;
    const auto rounded = hn::Add(hn::BitCast(du, x), hn::Set(du, 0x00004000U));
    return hn::BitCast(d, hn::And(rounded, hn::Set(du, 0xFFFF8000U)));
}

/**
 * Estimate of 1 / v for normal positive v, eight bits of mantissa, as the ARM instruction gives it: with v
 * scaled to a in 0.5..1 and q = floor(512 a) it is floor(256 / ((q + 0.5) / 512) + 0.5) / 256, scaled back. 0
 * from 2^126 on; for NaN any value.
 */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V ReciprocalEstimateOfPositive(D d, V v) {
#if HWY_TARGET == HWY_NEON
    const V estimate = hn::ApproximateReciprocal(v);
#else
    const hn::RebindToUnsigned<D> du;
    const auto step = hn::And(hn::BitCast(du, v), hn::Set(du, 0xFFFF8000U));
    const V middle = hn::BitCast(d, hn::Or(step, hn::Set(du, 0x00004000U)));
    // The instruction is good to 3.7e-4 (1.5 * 2^-12), and a refinement to the square of that.
    const V x = hn::ApproximateReciprocal(middle);
    const V estimate = RoundToEstimate(d, hn::Mul(x, hn::Sub(hn::Set(d, 2.0F), hn::Mul(middle, x))));
#endif
    return hn::IfThenZeroElse(hn::Ge(v, hn::Set(d, kTwoTo126)), estimate);
}

/** The same for v of either sign, infinite for 0 and subnormal v. */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V ReciprocalEstimate(D d, V v) {
    const V magnitude = hn::Abs(v);
    const V infinite = hn::BitCast(d, hn::Set(hn::RebindToUnsigned<D>(), 0x7F800000U));
    const V bounded = hn::IfThenElse(hn::Lt(magnitude, hn::Set(d, kSmallestNormal)), infinite,
                                     ReciprocalEstimateOfPositive(d, magnitude));
    return hn::CopySignToAbs(bounded, v);
}

/** Two refinement steps x (2 - v x) of an estimate x of 1 / v. */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V RefineReciprocal(D d, V v, V x) {
    const V two = hn::Set(d, 2.0F);
    x = hn::Mul(x, hn::Sub(two, hn::Mul(v, x)));
    return hn::Mul(x, hn::Sub(two, hn::Mul(v, x)));
}

/** 1 / v by the estimate and two refinement steps. */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V Reciprocal(D d, V v) {
    return RefineReciprocal(d, v, ReciprocalEstimate(d, v));
}

/**
 * Estimate of 1 / sqrt(v) for normal positive v, eight bits of mantissa, as the ARM instruction gives it:
 * with v scaled by an even power of two to a in 0.25..1 and its top seven bits of mantissa taken at the
 * middle of their step, m, it is floor(256 / sqrt(m) + 0.5) / 256, scaled back. For all other v any value.
 */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V ReciprocalSquareRootEstimate(D d, V v) {
#if HWY_TARGET == HWY_NEON
    (void)d;
    return hn::ApproximateReciprocalSqrt(v);
#else
    const hn::RebindToUnsigned<D> du;
    const auto step = hn::And(hn::BitCast(du, v), hn::Set(du, 0xFFFF0000U));
    const V middle = hn::BitCast(d, hn::Or(step, hn::Set(du, 0x00008000U)));
    // The instruction is good to 3.7e-4 (1.5 * 2^-12), and a refinement to one and a half times its square.
    const V x = hn::ApproximateReciprocalSqrt(middle);
    const V error = hn::Mul(hn::Mul(middle, x), HalfOfNormal(d, x));
    return RoundToEstimate(d, hn::Mul(x, hn::Sub(hn::Set(d, 1.5F), error)));
#endif
}

/** A refinement step x (3 - (v x) x) / 2 of an estimate x of 1 / sqrt(v). Halving x first is exact. */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V RefineReciprocalSquareRoot(D d, V v, V x) {
    const V factor = hn::Sub(hn::Set(d, 3.0F), hn::Mul(hn::Mul(v, x), x));
    return hn::Mul(HalfOfNormal(d, x), factor);
}

/** sqrt(v) from the refined estimate x of 1 / sqrt(v): exactly 0 for zeros and subnormal v. */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V SquareRootFromReciprocal(D d, V v, V x) {
    return hn::IfThenZeroElse(hn::Lt(hn::Abs(v), hn::Set(d, kSmallestNormal)), hn::Mul(x, v));
}

/**
 * sqrt(v): the estimate of 1 / sqrt(v), two refinement steps, times v. Exactly 0 for zeros and subnormal v,
 * NaN for negative and infinite v.
 */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V neonSqrt_f32(D d, V v) {
    V x = ReciprocalSquareRootEstimate(d, v);
    x = RefineReciprocalSquareRoot(d, v, x);
    x = RefineReciprocalSquareRoot(d, v, x);
    return SquareRootFromReciprocal(d, v, x);
}

/**
 * Truncating remainder of v by n above 0, with oneDivN = 1 / n: not exact, but within 0..n for v within the
 * range of int32 periods. The sign of v goes to the result.
 */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V ModN(D d, V v, V n, V oneDivN) {
    const V magnitude = hn::Abs(v);
    const V periods = TruncateThroughInt32(d, hn::Mul(v, oneDivN));
    V r = hn::Sub(magnitude, hn::Mul(n, periods));
    r = hn::IfThenElse(hn::Lt(r, n), r, hn::Sub(r, n));
    r = hn::IfThenElse(hn::Lt(r, hn::Zero(d)), hn::Add(r, n), r);
    return hn::IfThenElse(hn::Lt(v, hn::Zero(d)), hn::Neg(r), r);
}

/**
 * sin(x) by folding into 0..pi/2 and five terms of the series. Keeps its accuracy while x lies within the
 * range of int32 periods.
 */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V neonSin_f32(D d, V x) {
    const V pi = hn::Set(d, 3.1415927F);
    const V one = hn::Set(d, 1.0F);
    const V periods = FloorThroughInt32(d, hn::Mul(x, hn::Set(d, 0.15915494F)));
    const V angle = hn::Sub(x, hn::Mul(periods, hn::Set(d, 6.2831855F)));
    // Folding takes the smaller of an angle and its mirror image; each of them is exact where it is taken.
    // The second half of the period is negative.
    const V sign = hn::And(hn::Sub(pi, angle), hn::SignBit(d));
    // For NaN both are NaN.
    V r = MinOfNumbers(angle, hn::Sub(hn::Set(d, 6.2831855F), angle));
    r = MinOfNumbers(r, hn::Sub(pi, r));
    const V q = hn::Mul(r, r);
    V series = hn::Sub(one, hn::Mul(q, hn::Set(d, 0.013888889F)));                 // 1 / 72
    series = hn::Sub(one, hn::Mul(hn::Mul(q, hn::Set(d, 0.023809524F)), series));  // 1 / 42
    series = hn::Sub(one, hn::Mul(hn::Mul(q, hn::Set(d, 0.05F)), series));         // 1 / 20
    series = hn::Sub(one, hn::Mul(hn::Mul(q, hn::Set(d, 0.16666667F)), series));   // 1 / 6
    return hn::Xor(hn::Mul(r, series), sign);
}

/** The angle of (x, y), -pi up to below pi, by a polynomial over one octant; 0 for (0, 0). */
template <class D, class V = hn::Vec<D>>
HWY_INLINE V neonAtan2_f32(D d, V y, V x) {
    constexpr float kCoefficients[] = {-0.33333147F, 0.19993551F,  -0.14208899F,  0.10656264F,
                                       -0.07528964F, 0.042909615F, -0.016165737F, 0.0028662258F};
    const V zero = hn::Zero(d);
    const V pi = hn::Set(d, 3.1415927F);
    const V twoPi = hn::Set(d, 6.2831855F);
    const V absX = hn::Abs(x);
    const V absY = hn::Abs(y);
    const V larger = SelectMax(SelectMax(absX, absY), hn::Set(d, 1e-20F));
    const V t =
        hn::Mul(SelectMin(absX, absY), RefineReciprocal(d, larger, ReciprocalEstimateOfPositive(d, larger)));
    const V u = hn::Mul(t, t);
    V w = hn::Mul(u, hn::Set(d, kCoefficients[7]));
    for (int i = 6; i >= 0; --i) {
        w = hn::Add(hn::Mul(u, hn::Set(d, kCoefficients[i])), hn::Mul(u, w));
    }
    V angle = hn::Add(t, hn::Mul(t, w));
    angle = hn::IfThenElse(hn::Gt(absY, absX), hn::Sub(hn::Set(d, 1.5707964F), angle), angle);
    angle = hn::IfThenElse(hn::Lt(x, zero), hn::Sub(pi, angle), angle);
    angle = hn::Xor(angle, hn::IfThenElseZero(hn::Lt(y, zero), hn::SignBit(d)));
    angle = hn::IfThenElse(hn::Ge(angle, pi), hn::Sub(angle, twoPi), angle);
    return hn::IfThenElse(hn::Lt(angle, hn::Neg(pi)), hn::Add(angle, twoPi), angle);
}

}  // namespace HWY_NAMESPACE
}  // namespace alsimd
HWY_AFTER_NAMESPACE();

#endif  // QOR_CORE_EXTERNALS_UTIL_SRC_ALSIMD_INL_H_
