// SPDX-License-Identifier: Apache-2.0
//
// The lens: from a pixel to its viewing ray, and from a point in space to its pixel. Radial distortion of
// second, fourth and sixth order, tangential distortion, skew. Both directions use the same polynomial, each
// with its own coefficients from the calibration; nothing is iterated.
//
// Pixel positions count from the centre of the first pixel, so that pixel (0, 0) is at position (0, 0), and
// the principal point (mx, my) is given where that centre lies at (0.5, 0.5). Single precision; the errors of
// the al_ functions are part of the results. Pure functions. Each returns 0, or 1 after a reported failure,
// which is a null argument; the result then stays as it was.
#pragma once

#include "ALTypes.h"

/**
 * With `toUnitVectors` non-zero `cartCoord` becomes the viewing ray of the pixel, z above 0, of length 1
 * within the error of al_sqrtf. With 0 it becomes the pixel position, z = 0, to which the distortion moves
 * `pixCoord`; the skew is then added at the end without having been removed at the start.
 */
std::int32_t bouguetModel(const AlgoIntrinsicCalibration* ic, const AlgoPoint2D* pixCoord,
                          AlgoPoint3D* cartCoord, std::int32_t toUnitVectors) noexcept;

/**
 * The pixel position at which a point of the optical system is seen. `invIc` holds the coefficients fitted
 * for this direction. With z = 0 the result is whatever the division gives.
 * The pipeline itself does not call it.
 */
std::int32_t bouguetModelInverse(const AlgoIntrinsicCalibration* invIc, const AlgoPoint3D* cartCoord,
                                 AlgoPoint2D* pixCoord) noexcept;
