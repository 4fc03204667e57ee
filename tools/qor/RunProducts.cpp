// SPDX-License-Identifier: Apache-2.0

#include "qor/RunProducts.h"

#include <fmt/format.h>

#include "qor/Arguments.h"
#include "qor/Report.h"
#include "simulation/Image.h"

namespace qor {
namespace {

// The distances between which a simulated scene lies.
std::optional<Range> spanOf(const std::optional<recording::SimulationSettings>& simulation) {
    return simulation && simulation->nearest && simulation->furthest
               ? std::optional(Range{*simulation->nearest, *simulation->furthest})
               : std::nullopt;
}

}  // namespace

void RunProducts::add(std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
                      const recording::SimulationSettings* simulation) {
    counts_.add(frame);
    temporalNoise_.add(frame);
    if (simulation != nullptr) {
        simulation_ = *simulation;
    }
    if (!accuracy_) {
        accuracy_.emplace(simulation_ ? simulation_->frequencies : std::vector<double>{});
    }
    if (truth != nullptr) {
        accuracy_->add(*truth, frame.distance, frame.confidence);
    }
    if (folder_ != nullptr && (counts_.frames == 1 || !options_.frames.empty())) {
        draw(number, frame, truth);
    }
}

std::optional<AccuracySummary> RunProducts::accuracy() const {
    if (!accuracy_ || accuracy_->frames() == 0) {
        return std::nullopt;
    }
    return accuracy_->summary();
}

void RunProducts::draw(std::size_t number, const ResultFrame& frame, const simulation::Truth* truth) {
    std::vector<float> errors;
    if (truth != nullptr) {
        errors.resize(simulation::pixelCount);
        for (std::size_t i = 0; i < errors.size(); ++i) {
            errors[i] = static_cast<float>(
                accuracy_->errorOf(static_cast<double>(frame.distance[i]), truth->distance[i]));
        }
    }
    if (!pictures_) {
        pictures_ = pictureSettings(frame);
    }
    const auto paths = writePictures(*pictures_, number, frame, errors);
    files_.insert(files_.end(), paths.begin(), paths.end());
    for (const std::string& format : options_.clouds) {
        if (frame.coordinates) {
            folder_->add({filePath(options_.folder, number, "points." + format).filename().string()});
            files_.push_back(writeCloud(options_.folder, number, format, frame));
        } else {
            missing_.push_back(fmt::format(
                "frame {} carries no valid coordinates (coord3Dinvalid is not 0); no {} was written", number,
                filePath(options_.folder, number, "points." + format).string()));
        }
    }
}

PictureSettings RunProducts::pictureSettings(const ResultFrame& frame) const {
    PictureSettings settings;
    settings.folder = options_.folder;
    settings.announce = [this](const std::string& name) { folder_->add({name}); };
    settings.subtitle = simulation_ ? describe(*simulation_) : options_.recording.filename().string();
    settings.distance =
        readRange(options_.distanceRange).value_or(spanOf(simulation_).value_or(distanceRangeOf(frame)));
    settings.amplitude = readRange(options_.amplitudeRange).value_or(amplitudeRangeOf(frame));
    settings.intensity = intensityRangeOf(frame);
    const double standardRange = simulation_ && !simulation_->photonNoise.value_or(true) ? 2.0 : 20.0;
    settings.error = (options_.errorRange > 0.0 ? options_.errorRange : standardRange) / 1000.0;
    settings.enlargement = options_.enlargement;
    return settings;
}

}  // namespace qor
