// SPDX-License-Identifier: Apache-2.0

#include "qor/Measurement.h"

#include <cmath>
#include <utility>

#include "qor/Arguments.h"
#include "simulation/Image.h"

namespace qor {
namespace {

// A plane across the optical axis at this distance: each ray meets it at distance / (ray * axis).
simulation::Truth facingTarget(double distance, const Rays& rays) {
    simulation::Truth truth;
    truth.distance.assign(simulation::pixelCount, 0.0);
    for (std::size_t i = 0; i < simulation::pixelCount && !rays.vectors.empty(); ++i) {
        double along = 0.0;
        for (std::size_t k = 0; k < 3; ++k) {
            along += static_cast<double>(rays.vectors[3 * i + k]) * rays.axis[k];
        }
        truth.distance[i] = std::isfinite(along) && along > 0.0 ? distance / along : 0.0;
    }
    return truth;
}

}  // namespace

std::string valueText(const figures::Figure& figure) {
    switch (figure.unit) {
        case figures::Unit::Count:
            return numberText(figure.value, 0);
        case figures::Unit::Share:
            return numberText(figure.value, 5);
        default:
            return numberText(figure.value, 4);
    }
}

Measurement::Measurement(Settings settings) : settings_(std::move(settings)) {}

void Measurement::add(std::size_t number, const ResultFrame& frame, const Rays& rays,
                      const simulation::Truth* truth, const recording::SimulationSettings* simulation) {
    if (parts_.empty()) {
        frequencies_ = simulation != nullptr ? simulation->frequencies : std::vector<double>{};
        parts_ = startFigures();
    }
    std::optional<simulation::Truth> target;
    if (settings_.distance) {
        target = facingTarget(*settings_.distance, rays);
        truth = &*target;
    }
    figures::Frame view = viewOf(frame);
    view.rays = rays.vectors;
    ++frames_;
    for (figures::FrameFigures& part : parts_) {
        part.add(view, truth);
    }
    if (settings_.frame) {
        std::vector<figures::FrameFigures> alone = startFigures();
        for (figures::FrameFigures& part : alone) {
            part.add(view, truth);
        }
        settings_.frame(number, frame.timestamp, figuresOf(alone));
    }
}

std::vector<figures::FrameFigures> Measurement::startFigures() const {
    std::vector<figures::FrameFigures> parts;
    parts.emplace_back(frequencies_);
    for (const Region& region : settings_.regions) {
        parts.emplace_back(frequencies_, region.mask);
    }
    return parts;
}

std::vector<RegionFigures> Measurement::figuresOf(const std::vector<figures::FrameFigures>& parts) const {
    std::vector<RegionFigures> figures;
    for (std::size_t k = 0; k < parts.size(); ++k) {
        figures.push_back(
            {k == 0 ? "" : settings_.regions[k - 1].name, parts[k].figures(), parts[k].noiseByAmplitude()});
    }
    return figures;
}

std::vector<RegionFigures> Measurement::figures() const {
    return figuresOf(parts_.empty() ? startFigures() : parts_);
}

}  // namespace qor
