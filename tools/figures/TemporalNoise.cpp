// SPDX-License-Identifier: Apache-2.0

#include "figures/TemporalNoise.h"

#include <cmath>

#include "figures/Confidence.h"
#include "figures/Quantile.h"
#include "simulation/Image.h"

namespace figures {

void TemporalNoise::add(const Frame& frame, const Mask& mask) {
    if (frames_ == 0) {
        usable_.assign(simulation::pixelCount, 0);
        mean_.assign(simulation::pixelCount, 0.0);
        squares_.assign(simulation::pixelCount, 0.0);
        variances_.assign(simulation::pixelCount, 0.0);
    }
    ++frames_;
    framesWithNoise_ += frame.noise.empty() ? 0 : 1;
    for (std::size_t i = 0; i < simulation::pixelCount; ++i) {
        if (!holds(mask, i) || !isUsable(frame.confidence[i], frame.distance[i])) {
            continue;
        }
        const auto distance = static_cast<double>(frame.distance[i]);
        ++usable_[i];
        const double step = distance - mean_[i];
        mean_[i] += step / static_cast<double>(usable_[i]);
        squares_[i] += step * (distance - mean_[i]);
        if (!frame.noise.empty()) {
            const auto noise = static_cast<double>(frame.noise[i]);
            variances_[i] += noise * noise;
        }
    }
}

TemporalNoiseSummary TemporalNoise::summary() const {
    TemporalNoiseSummary summary;
    summary.frames = frames_;
    if (frames_ < 2) {
        return summary;
    }
    const bool delivered = framesWithNoise_ == frames_;
    std::vector<double> deviations;
    std::vector<double> noises;
    std::vector<double> ratios;
    for (std::size_t i = 0; i < usable_.size(); ++i) {
        if (static_cast<std::size_t>(usable_[i]) != frames_) {
            continue;
        }
        const double deviation = std::sqrt(squares_[i] / static_cast<double>(frames_ - 1));
        deviations.push_back(deviation);
        const double noise = std::sqrt(variances_[i] / static_cast<double>(frames_));
        if (delivered && std::isfinite(noise) && noise > 0.0) {
            noises.push_back(noise);
            ratios.push_back(deviation / noise);
        }
    }
    summary.pixels = deviations.size();
    summary.measured = quantile(deviations, 0.5);
    summary.delivered = quantile(noises, 0.5);
    summary.lowRatio = quantile(ratios, 0.05);
    summary.medianRatio = quantile(ratios, 0.5);
    summary.highRatio = quantile(ratios, 0.95);
    return summary;
}

}  // namespace figures
