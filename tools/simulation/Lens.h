// SPDX-License-Identifier: Apache-2.0
//
// The lens: where each pixel looks.

#pragma once

#include <vector>

#include "simulation/Vector.h"

namespace simulation {

// Focal lengths and principal point in pixels, the centre of the top left pixel at (0.5, 0.5); alpha is the
// skew of the axes; k1, k2, k5 are the radial coefficients of the second, fourth and sixth power, k3 and k4
// the tangential ones. The polynomial leads from the pixel to the ray, so no iteration is needed.
struct Lens {
    double fx = 160.0;
    double fy = 160.0;
    double mx = 112.0;
    double my = 86.0;
    double alpha = 0.0;
    double k1 = 0.0;
    double k2 = 0.0;
    double k5 = 0.0;
    double k3 = 0.0;
    double k4 = 0.0;
};

// Unit ray through an imager position; (column + 0.5, row + 0.5) is the centre of a pixel.
Vector rayThrough(const Lens& lens, double x, double y);

// Unit rays through all pixel centres.
std::vector<Vector> pixelRays(const Lens& lens);

}  // namespace simulation
