// SPDX-License-Identifier: Apache-2.0

#include "simulation/Truth.h"

#include <cmath>
#include <optional>

#include "simulation/Image.h"
#include "simulation/Lens.h"

namespace simulation {
namespace {

using Hits = std::vector<std::optional<Hit>>;

constexpr double smallestStep = 0.01;  // metres; a smaller gap in depth is no step
constexpr int bisections = 20;

bool isSameSurface(const std::optional<Hit>& a, const std::optional<Hit>& b) {
    return a.has_value() == b.has_value() && (!a || a->surface == b->surface);
}

// Whether the depth steps somewhere between two neighbouring rays. Extra rays close in
// on each border of surfaces between them: where two surfaces meet in a fold, the gap
// in depth vanishes at the border.
bool hasStepBetween(const Scene& scene, Vector from, std::optional<Hit> hitFrom, const Vector& to,
                    const std::optional<Hit>& hitTo) {
    constexpr int mostBorders = 4;
    for (int border = 0; border < mostBorders && !isSameSurface(hitFrom, hitTo); ++border) {
        Vector far = to;
        std::optional<Hit> hitFar = hitTo;
        for (int k = 0; k < bisections; ++k) {
            const Vector middle = normalised(from + far);
            const std::optional<Hit> hit = scene.cast(middle);
            const bool beforeBorder = isSameSurface(hit, hitFrom);
            (beforeBorder ? from : far) = middle;
            (beforeBorder ? hitFrom : hitFar) = hit;
        }
        if (!hitFrom || !hitFar || std::abs(hitFrom->distance - hitFar->distance) > smallestStep) {
            return true;
        }
        from = far;
        hitFrom = hitFar;
    }
    return false;
}

std::vector<std::uint8_t> findEdges(const Scene& scene, const Hits& hits, const std::vector<Vector>& rays) {
    std::vector<std::uint8_t> edge(pixelCount, 0);
    const auto compare = [&](std::size_t i, std::size_t k) {
        if (hasStepBetween(scene, rays[i], hits[i], rays[k], hits[k])) {
            edge[i] = 1;
            edge[k] = 1;
        }
    };
    constexpr auto width = static_cast<std::size_t>(imageWidth);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        const bool hasRight = i % width != width - 1;
        const bool hasLeft = i % width != 0;
        const bool hasBelow = i + width < pixelCount;
        if (hasRight) {
            compare(i, i + 1);
        }
        if (hasBelow) {
            compare(i, i + width);
        }
        if (hasBelow && hasRight) {
            compare(i, i + width + 1);
        }
        if (hasBelow && hasLeft) {
            compare(i, i + width - 1);
        }
    }
    return edge;
}

}  // namespace

View viewScene(const Scene& scene, const Calibration& calibration, double ambient) {
    const std::vector<Vector> rays = pixelRays(calibration.lens);
    View view;
    for (std::vector<double>* image : {&view.truth.distance, &view.truth.X, &view.truth.Y, &view.truth.Z,
                                       &view.truth.amplitude, &view.light.ambient}) {
        image->assign(pixelCount, 0.0);
    }
    Hits hits(pixelCount);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        hits[i] = scene.cast(rays[i]);
        if (!hits[i]) {
            continue;
        }
        const Hit& hit = *hits[i];
        const Vector point = rays[i] * hit.distance;
        const double facing = -dot(hit.normal, rays[i]);
        view.truth.distance[i] = hit.distance;
        view.truth.X[i] = point.x;
        view.truth.Y[i] = point.y;
        view.truth.Z[i] = point.z;
        view.truth.amplitude[i] =
            calibration.sensor.illumination * hit.reflectivity * facing / (hit.distance * hit.distance);
        view.light.ambient[i] = calibration.sensor.ambientElectrons * ambient * hit.reflectivity /
                                static_cast<double>(calibration.vignetting[i]);
    }
    view.truth.edge = findEdges(scene, hits, rays);
    view.truth.badPixel.assign(pixelCount, 0);
    for (const std::int32_t pixel : calibration.badPixelIdx) {
        view.truth.badPixel[static_cast<std::size_t>(pixel)] = 1;
    }
    view.light.distance = view.truth.distance;
    view.light.amplitude = view.truth.amplitude;
    return view;
}

}  // namespace simulation
