// SPDX-License-Identifier: Apache-2.0

#include "qor/SceneProducts.h"

#include <vector>

#include "simulation/Image.h"

namespace qor {

void SceneProducts::add(std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
                        const recording::SimulationSettings* simulation) {
    if (counts_.frames == 0) {
        firstFrame_ = number;
    }
    lastFrame_ = number;
    counts_.add(viewOf(frame));
    temporalNoise_.add(viewOf(frame));
    if (simulation != nullptr) {
        simulation_ = *simulation;
    }
    if (!accuracy_) {
        accuracy_.emplace(simulation_ ? simulation_->frequencies : std::vector<double>{});
    }
    if (truth != nullptr) {
        accuracy_->add(*truth, frame.distance, frame.confidence);
    }
}

std::optional<figures::AccuracySummary> SceneProducts::accuracy() const {
    if (!accuracy_ || accuracy_->frames() == 0) {
        return std::nullopt;
    }
    return accuracy_->summary();
}

std::vector<float> SceneProducts::errorsOf(const ResultFrame& frame, const simulation::Truth* truth) const {
    std::vector<float> errors;
    if (truth == nullptr || !accuracy_) {
        return errors;
    }
    errors.resize(simulation::pixelCount);
    for (std::size_t i = 0; i < errors.size(); ++i) {
        errors[i] = static_cast<float>(
            accuracy_->errorOf(static_cast<double>(frame.distance[i]), truth->distance[i]));
    }
    return errors;
}

}  // namespace qor
