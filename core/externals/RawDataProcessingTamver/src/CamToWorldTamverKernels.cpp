// SPDX-License-Identifier: Apache-2.0
#include "CamToWorldTamverKernels.h"

#include <algorithm>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "CamToWorldTamverKernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
//
#include "ALPixels-inl.h"
#include "Confidence-inl.h"

HWY_BEFORE_NAMESPACE();
namespace camtoworld {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;
namespace conf = confidence::HWY_NAMESPACE;

constexpr uint32_t kClippedBits = kConfidenceInvalid | kConfidenceOutside;

/** A copy that no store through a pointer can change, so that it stays in registers. */
struct Rotation {
    explicit Rotation(const float32_t (&matrix)[3][3]) { std::memcpy(rows, matrix, sizeof rows); }
    float32_t rows[3][3];
};

template <class DF>
HWY_INLINE void rotateVectors(DF df, const Rotation& rotation, const float32_t* vectors, float32_t* rotated) {
    hn::Vec<DF> x;
    hn::Vec<DF> y;
    hn::Vec<DF> z;
    hn::LoadInterleaved3(df, vectors, x, y, z);
    const auto along = [&](const float32_t(&row)[3]) HWY_ATTR {
        auto sum = hn::Add(hn::Zero(df), hn::Mul(hn::Set(df, row[0]), x));  // the zero turns -0 into 0
        sum = hn::Add(sum, hn::Mul(hn::Set(df, row[1]), y));
        return hn::Add(sum, hn::Mul(hn::Set(df, row[2]), z));
    };
    const auto rotatedX = along(rotation.rows[0]);
    const auto rotatedY = along(rotation.rows[1]);
    const auto rotatedZ = along(rotation.rows[2]);
    hn::StoreInterleaved3(rotatedX, rotatedY, rotatedZ, df, rotated);
}

void RotateVectors(const float32_t (&matrix)[3][3], const float32_t* vectors, float32_t* rotated,
                   int32_t count) {
    const Rotation rotation(matrix);
    alpixels::HWY_NAMESPACE::forPixels(
        hn::ScalableTag<float32_t>(), 0, count,
        [&](auto df, int32_t i) HWY_ATTR { rotateVectors(df, rotation, vectors + 3 * i, rotated + 3 * i); });
}

/** The cuboid, and half the edge of the largest cube around the origin that lies in
 * it; below 0 if there is none. */
struct Clipping {
    explicit Clipping(const ClippingCuboid& c)
        : cuboid(c), halfCube(std::min({-c.xMin, c.xMax, -c.yMin, c.yMax, -c.zMin, c.zMax})) {}
    ClippingCuboid cuboid;
    float32_t halfCube;
};

/** Confidence bits of the points outside of the cuboid, whose distance is not 0. */
template <class DF, class V = hn::Vec<DF>>
HWY_INLINE conf::Bits<DF> clippedBits(DF df, const ClippingCuboid& cuboid, V distance, V x, V y, V z) {
    const auto beyond = [df](V v, float32_t lowest, float32_t highest) HWY_ATTR {
        return hn::Or(hn::Gt(hn::Set(df, lowest), v), hn::Gt(v, hn::Set(df, highest)));
    };
    const auto outside =
        hn::Or(hn::Or(beyond(x, cuboid.xMin, cuboid.xMax), beyond(y, cuboid.yMin, cuboid.yMax)),
               beyond(z, cuboid.zMin, cuboid.zMax));
    const auto clipped = hn::AndNot(hn::Eq(distance, hn::Zero(df)), outside);
    return conf::marksWhere(df, clipped, kClippedBits);
}

/**
 * True only if no point lies outside of the cuboid. One comparison with the cube replaces those with the six
 * faces: most cuboids are far larger than what a camera sees. A point with a NaN is not in the cube, because
 * its other coordinates may lie outside. On NEON the branch would cost more than the comparisons.
 */
template <class DF, class V = hn::Vec<DF>>
HWY_INLINE bool allInCube(DF df, const Clipping& clipping, V x, V y, V z) {
    if constexpr (HWY_ARCH_X86 == 0) {
        return false;
    }
    const V half = hn::Set(df, clipping.halfCube);
    const auto inPlane = hn::And(hn::Le(hn::Abs(x), half), hn::Le(hn::Abs(y), half));
    return hn::AllTrue(df, hn::And(inPlane, hn::Le(hn::Abs(z), half)));
}

template <class DF>
HWY_INLINE void computePoints(DF df, const CamToWorldPixels& pixels, const AlgoPoint3D& origin,
                              const Clipping& clipping, int32_t i) {
    const hn::RebindToUnsigned<DF> du;
    const hn::RebindToSigned<DF> di;
    hn::Vec<DF> x;
    hn::Vec<DF> y;
    hn::Vec<DF> z;
    hn::LoadInterleaved3(df, pixels.unitVectors + 3 * i, x, y, z);
    const auto distance = hn::LoadU(df, pixels.distance + i);
    x = hn::Add(hn::Set(df, origin.x), hn::Mul(distance, x));
    y = hn::Add(hn::Set(df, origin.y), hn::Mul(distance, y));
    z = hn::Add(hn::Set(df, origin.z), hn::Mul(distance, z));

    auto confidence = conf::load(df, pixels.conf + i);
    if (!allInCube(df, clipping, x, y, z)) {
        confidence = hn::Or(confidence, clippedBits(df, clipping.cuboid, distance, x, y, z));
        conf::store(df, confidence, pixels.conf + i);
    }
    const auto validBit = hn::AndNot(confidence, hn::Set(du, uint32_t{kConfidenceInvalid}));
    const auto validity = hn::ConvertTo(df, hn::BitCast(di, validBit));
    hn::StoreU(hn::Mul(x, validity), df, pixels.X + i);
    hn::StoreU(hn::Mul(y, validity), df, pixels.Y + i);
    hn::StoreU(hn::Mul(z, validity), df, pixels.Z + i);
    hn::StoreU(hn::Mul(distance, validity), df, pixels.distance + i);
}

// The records come by value: no store to an image can change them, so that they stay in registers.
void ComputePoints(CamToWorldPixels pixels, AlgoPoint3D origin, ClippingCuboid cuboid, int32_t count) {
    const Clipping clipping(cuboid);
    alpixels::HWY_NAMESPACE::forPixels(hn::ScalableTag<float32_t>(), 0, count,
                                       [&](auto df, int32_t i)
                                           HWY_ATTR { computePoints(df, pixels, origin, clipping, i); });
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace camtoworld
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace camtoworld {
namespace {

HWY_EXPORT(RotateVectors);
HWY_EXPORT(ComputePoints);

}  // namespace
}  // namespace camtoworld

void CamToWorld_RotateVectors(const float32_t (&rotation)[3][3], const float32_t* vectors, float32_t* rotated,
                              int32_t count) noexcept {
    using namespace camtoworld;
    HWY_DYNAMIC_DISPATCH(RotateVectors)(rotation, vectors, rotated, count);
}

void CamToWorld_ComputePoints(const CamToWorldPixels& pixels, const AlgoPoint3D& origin,
                              const ClippingCuboid& clipping, int32_t count) noexcept {
    using namespace camtoworld;
    HWY_DYNAMIC_DISPATCH(ComputePoints)(pixels, origin, clipping, count);
}

#endif  // HWY_ONCE
