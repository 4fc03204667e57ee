// SPDX-License-Identifier: Apache-2.0

#include "figures/Region.h"

#include "simulation/Image.h"

namespace figures {
namespace {

template <typename IsInside>
Mask maskOf(const IsInside& isInside) {
    Mask mask(simulation::pixelCount);
    for (std::size_t i = 0; i < mask.size(); ++i) {
        constexpr auto width = static_cast<std::size_t>(simulation::imageWidth);
        const std::size_t row = i / width;
        const Point centre{static_cast<double>(i % width) + 0.5, static_cast<double>(row) + 0.5};
        mask[i] = isInside(centre) ? 1 : 0;
    }
    return mask;
}

}  // namespace

Mask rectangle(double x, double y, double width, double height) {
    return maskOf(
        [&](const Point& p) { return p.x >= x && p.x < x + width && p.y >= y && p.y < y + height; });
}

Mask polygon(std::span<const Point> corners) {
    return maskOf([&](const Point& p) {
        bool inside = false;
        for (std::size_t k = 0; k < corners.size(); ++k) {
            const Point& a = corners[k];
            const Point& b = corners[(k + 1) % corners.size()];
            if ((a.y > p.y) != (b.y > p.y) && p.x < a.x + (b.x - a.x) * (p.y - a.y) / (b.y - a.y)) {
                inside = !inside;
            }
        }
        return inside;
    });
}

}  // namespace figures
