// SPDX-License-Identifier: Apache-2.0

#include "figures/TemporalNoise.h"

#include <cmath>

#include "figures/Confidence.h"
#include "figures/Quantile.h"
#include "simulation/Image.h"

namespace figures {

void TemporalNoise::add(const Frame& frame, const Mask& mask) {
    pixels_.resize(simulation::pixelCount);
    ++frames_;
    framesWithNoise_ += frame.noise.empty() ? 0 : 1;
    for (std::size_t i = 0; i < pixels_.size(); ++i) {
        const auto distance = static_cast<double>(frame.distance[i]);
        if (!holds(mask, i) || !isUsable(frame.confidence[i], frame.distance[i])) {
            continue;
        }
        Pixel& pixel = pixels_[i];
        ++pixel.usable;
        const double step = distance - pixel.mean;
        pixel.mean += step / static_cast<double>(pixel.usable);
        pixel.squares += step * (distance - pixel.mean);
        if (!frame.noise.empty()) {
            const auto noise = static_cast<double>(frame.noise[i]);
            pixel.deliveredVariance += noise * noise;
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
    for (const Pixel& pixel : pixels_) {
        if (pixel.usable != frames_) {
            continue;
        }
        const double deviation = std::sqrt(pixel.squares / static_cast<double>(frames_ - 1));
        deviations.push_back(deviation);
        const double noise = std::sqrt(pixel.deliveredVariance / static_cast<double>(frames_));
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
