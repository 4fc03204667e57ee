// SPDX-License-Identifier: Apache-2.0

#include "simulation/Lens.h"

#include "simulation/Image.h"

namespace simulation {

Vector rayThrough(const Lens& lens, double x, double y) {
    const double v = (y - lens.my) / lens.fy;
    const double u = (x - lens.mx) / lens.fx - lens.alpha * v;
    const double r2 = u * u + v * v;
    const double radial = 1.0 + r2 * (lens.k1 + r2 * (lens.k2 + r2 * lens.k5));
    const double cross = 2.0 * u * v;
    const Vector direction{radial * u + lens.k3 * cross + lens.k4 * (r2 + 2.0 * u * u),
                           radial * v + lens.k4 * cross + lens.k3 * (r2 + 2.0 * v * v), 1.0};
    return normalised(direction);
}

std::vector<Vector> pixelRays(const Lens& lens) {
    std::vector<Vector> rays;
    rays.reserve(pixelCount);
    for (int row = 0; row < imageHeight; ++row) {
        for (int column = 0; column < imageWidth; ++column) {
            rays.push_back(rayThrough(lens, column + 0.5, row + 0.5));
        }
    }
    return rays;
}

}  // namespace simulation
