// SPDX-License-Identifier: Apache-2.0
//
// Loops over the rays and pixels of the distance to cartesian stage.
#pragma once

#include "ALTypes.h"

/** What the points of a stretch of pixels are computed from; the pointers stand at its first pixel. */
struct CamToWorldPixels {
    const float32_t* unitVectors;  ///< x, y, z per pixel
    uint16_t* conf;
    float32_t* distance;
    float32_t* X;
    float32_t* Y;
    float32_t* Z;
};

/** `rotated` = `rotation` times each of `count` vectors; x, y, z one after the other. */
void CamToWorld_RotateVectors(const float32_t (&rotation)[3][3], const float32_t* vectors, float32_t* rotated,
                              int32_t count) noexcept;

/**
 * Points, clipping and validity of `count` pixels, a multiple of 4. The point is `origin` + distance * ray;
 * outside of `clipping` a pixel with a distance other than 0 gets confidence 0x0401. Distance, X, Y and Z are
 * multiplied with 1 for a valid and with 0 for an invalid pixel, so a NaN stays one.
 */
void CamToWorld_ComputePoints(const CamToWorldPixels& pixels, const AlgoPoint3D& origin,
                              const ClippingCuboid& clipping, int32_t count) noexcept;
