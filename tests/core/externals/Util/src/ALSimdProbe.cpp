// SPDX-License-Identifier: Apache-2.0
#include "ALSimdProbe.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tests/core/externals/Util/src/ALSimdProbe.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include "ALSimd-inl.h"

HWY_BEFORE_NAMESPACE();
namespace probe {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
namespace al = alsimd::HWY_NAMESPACE;

/** Runs `f` over whole vectors, the last of them padded with ones. */
template <class F>
HWY_INLINE void overAll(const float* x, const float* y, float* out, size_t count, F f) {
    const hn::ScalableTag<float> d;
    const size_t lanes = hn::Lanes(d);
    HWY_ALIGN float paddedX[hn::MaxLanes(d)];
    HWY_ALIGN float paddedY[hn::MaxLanes(d)];
    HWY_ALIGN float results[hn::MaxLanes(d)];
    for (size_t i = 0; i < count; i += lanes) {
        for (size_t k = 0; k < lanes; ++k) {
            paddedX[k] = i + k < count ? x[i + k] : 1.0F;
            paddedY[k] = i + k < count ? y[i + k] : 1.0F;
        }
        hn::Store(f(d, hn::Load(d, paddedX), hn::Load(d, paddedY)), d, results);
        for (size_t k = 0; k < lanes && i + k < count; ++k) {
            out[i + k] = results[k];
        }
    }
}

int64_t Target() {
    return HWY_TARGET;
}
void SelectMax(const float* a, const float* b, float* out, size_t count) {
    overAll(a, b, out, count, [](auto, auto va, auto vb) HWY_ATTR { return al::SelectMax(va, vb); });
}
void SelectMin(const float* a, const float* b, float* out, size_t count) {
    overAll(a, b, out, count, [](auto, auto va, auto vb) HWY_ATTR { return al::SelectMin(va, vb); });
}
void TruncateThroughInt32(const float* x, float* out, size_t count) {
    overAll(x, x, out, count, [](auto d, auto v, auto) HWY_ATTR { return al::TruncateThroughInt32(d, v); });
}
void FloorThroughInt32(const float* x, float* out, size_t count) {
    overAll(x, x, out, count, [](auto d, auto v, auto) HWY_ATTR { return al::FloorThroughInt32(d, v); });
}
void ReciprocalEstimate(const float* x, float* out, size_t count) {
    overAll(x, x, out, count, [](auto d, auto v, auto) HWY_ATTR { return al::ReciprocalEstimate(d, v); });
}
void ReciprocalSquareRootEstimate(const float* x, float* out, size_t count) {
    overAll(x, x, out, count,
            [](auto d, auto v, auto) HWY_ATTR { return al::ReciprocalSquareRootEstimate(d, v); });
}
void Reciprocal(const float* x, float* out, size_t count) {
    overAll(x, x, out, count, [](auto d, auto v, auto) HWY_ATTR { return al::Reciprocal(d, v); });
}
void SquareRoot(const float* x, float* out, size_t count) {
    overAll(x, x, out, count, [](auto d, auto v, auto) HWY_ATTR { return al::neonSqrt_f32(d, v); });
}
void Sine(const float* x, float* out, size_t count) {
    overAll(x, x, out, count, [](auto d, auto v, auto) HWY_ATTR { return al::neonSin_f32(d, v); });
}
void Atan2(const float* y, const float* x, float* out, size_t count) {
    overAll(y, x, out, count, [](auto d, auto vy, auto vx) HWY_ATTR { return al::neonAtan2_f32(d, vy, vx); });
}
void ModN(const float* v, float n, float oneDivN, float* out, size_t count) {
    overAll(v, v, out, count, [n, oneDivN](auto d, auto value, auto) HWY_ATTR {
        return al::ModN(d, value, hn::Set(d, n), hn::Set(d, oneDivN));
    });
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace probe
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace probe {
namespace {

HWY_EXPORT(Target);
HWY_EXPORT(SelectMax);
HWY_EXPORT(SelectMin);
HWY_EXPORT(TruncateThroughInt32);
HWY_EXPORT(FloorThroughInt32);
HWY_EXPORT(ReciprocalEstimate);
HWY_EXPORT(ReciprocalSquareRootEstimate);
HWY_EXPORT(Reciprocal);
HWY_EXPORT(SquareRoot);
HWY_EXPORT(Sine);
HWY_EXPORT(Atan2);
HWY_EXPORT(ModN);

}  // namespace

int64_t target() {
    return HWY_DYNAMIC_DISPATCH(Target)();
}
void selectMax(const float* a, const float* b, float* out, size_t count) {
    HWY_DYNAMIC_DISPATCH(SelectMax)(a, b, out, count);
}
void selectMin(const float* a, const float* b, float* out, size_t count) {
    HWY_DYNAMIC_DISPATCH(SelectMin)(a, b, out, count);
}
void truncateThroughInt32(const float* x, float* out, size_t count) {
    HWY_DYNAMIC_DISPATCH(TruncateThroughInt32)(x, out, count);
}
void floorThroughInt32(const float* x, float* out, size_t count) {
    HWY_DYNAMIC_DISPATCH(FloorThroughInt32)(x, out, count);
}
void reciprocalEstimate(const float* x, float* out, size_t count) {
    HWY_DYNAMIC_DISPATCH(ReciprocalEstimate)(x, out, count);
}
void reciprocalSquareRootEstimate(const float* x, float* out, size_t count) {
    HWY_DYNAMIC_DISPATCH(ReciprocalSquareRootEstimate)(x, out, count);
}
void reciprocal(const float* x, float* out, size_t count) {
    HWY_DYNAMIC_DISPATCH(Reciprocal)(x, out, count);
}
void squareRoot(const float* x, float* out, size_t count) {
    HWY_DYNAMIC_DISPATCH(SquareRoot)(x, out, count);
}
void sine(const float* x, float* out, size_t count) {
    HWY_DYNAMIC_DISPATCH(Sine)(x, out, count);
}
void atan2(const float* y, const float* x, float* out, size_t count) {
    HWY_DYNAMIC_DISPATCH(Atan2)(y, x, out, count);
}
void modN(const float* v, float n, float oneDivN, float* out, size_t count) {
    HWY_DYNAMIC_DISPATCH(ModN)(v, n, oneDivN, out, count);
}

}  // namespace probe

#endif  // HWY_ONCE
