// SPDX-License-Identifier: Apache-2.0

#include "simulation/Scene.h"

#include <algorithm>
#include <cmath>

namespace simulation {

double reflectivityAt(const Texture& texture, double u, double v) {
    const auto isOdd = [](double fields) { return std::fmod(std::abs(fields), 2.0) == 1.0; };
    switch (texture.pattern) {
        case Texture::Pattern::Uniform:
            return texture.high;
        case Texture::Pattern::Checker:
            return isOdd(std::floor(u / texture.period) + std::floor(v / texture.period)) ? texture.high
                                                                                          : texture.low;
        case Texture::Pattern::Stripes:
            return isOdd(std::floor(2.0 * u / texture.period)) ? texture.high : texture.low;
        case Texture::Pattern::Gradient:
            return texture.low +
                   (texture.high - texture.low) * std::clamp(v / texture.period + 0.5, 0.0, 1.0);
    }
    return texture.high;
}

std::optional<Hit> Scene::cast(const Vector& ray) const {
    std::optional<Intersection> front;
    std::size_t frontObject = 0;
    for (std::size_t k = 0; k < objects.size(); ++k) {
        const std::optional<Intersection> found =
            std::visit([&ray](const auto& shape) { return intersect(shape, ray); }, objects[k].shape);
        if (found && (!front || found->distance < front->distance)) {
            front = found;
            frontObject = k;
        }
    }
    if (!front) {
        return std::nullopt;
    }
    constexpr std::uint32_t facesPerObject = 6;
    return Hit{
        front->distance, front->normal, reflectivityAt(objects[frontObject].texture, front->u, front->v),
        static_cast<std::uint32_t>(frontObject) * facesPerObject + static_cast<std::uint32_t>(front->face)};
}

}  // namespace simulation
