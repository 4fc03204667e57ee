// SPDX-License-Identifier: Apache-2.0
#include "ALCameraModel.h"

#include "ALErrorHandling.h"
#include "ALMath.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/Util/src/ALCameraModel";

/** Where a viewing ray meets the plane at distance 1 before the lens. */
AlgoPoint2D transformToImagerCoordinates(const AlgoIntrinsicCalibration& ic,
                                         const AlgoPoint2D& pixCoord) noexcept {
    return {(pixCoord.x + 0.5F - ic.mx) / ic.fx, (pixCoord.y + 0.5F - ic.my) / ic.fy};
}

AlgoPoint2D applyDistortion(const AlgoIntrinsicCalibration& ic, const AlgoPoint2D& point) noexcept {
    const float32_t x = point.x;
    const float32_t y = point.y;
    const float32_t r2 = x * x + y * y;
    const float32_t radial = 1.0F + (ic.k1 + (ic.k2 + ic.k5 * r2) * r2) * r2;
    const float32_t t = (y + y) * x;
    return {radial * x + (ic.k3 * t + ic.k4 * (r2 + 2.0F * x * x)),
            radial * y + (ic.k4 * t + ic.k3 * (r2 + 2.0F * y * y))};
}

AlgoPoint2D transformToPixel(const AlgoIntrinsicCalibration& ic, const AlgoPoint2D& point) noexcept {
    return {(ic.mx - 0.5F) + (point.x + point.y * ic.alpha) * ic.fx, (ic.my - 0.5F) + point.y * ic.fy};
}

}  // namespace

std::int32_t bouguetModel(const AlgoIntrinsicCalibration* ic, const AlgoPoint2D* pixCoord,
                          AlgoPoint3D* cartCoord, std::int32_t toUnitVectors) noexcept {
    if (ic == nullptr || pixCoord == nullptr || cartCoord == nullptr) {
        return reportFailure(kSourceFile);
    }
    AlgoPoint2D point = transformToImagerCoordinates(*ic, *pixCoord);
    if (toUnitVectors == 0) {
        const AlgoPoint2D pixel = transformToPixel(*ic, applyDistortion(*ic, point));
        *cartCoord = {pixel.x, pixel.y, 0.0F};
        return 0;
    }
    point.x = point.x - ic->alpha * point.y;
    const AlgoPoint2D ray = applyDistortion(*ic, point);
    const float32_t n = 1.0F / al_sqrtf(ray.y * ray.y + ray.x * ray.x + 1.0F);
    *cartCoord = {ray.x * n, ray.y * n, n};
    return 0;
}

std::int32_t bouguetModelInverse(const AlgoIntrinsicCalibration* invIc, const AlgoPoint3D* cartCoord,
                                 AlgoPoint2D* pixCoord) noexcept {
    if (invIc == nullptr || cartCoord == nullptr || pixCoord == nullptr) {
        return reportFailure(kSourceFile);
    }
    const AlgoPoint2D point = {cartCoord->x / cartCoord->z, cartCoord->y / cartCoord->z};
    *pixCoord = transformToPixel(*invIc, applyDistortion(*invIc, point));
    return 0;
}
