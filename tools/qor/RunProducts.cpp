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

void RunProducts::beginScene() {
    anotherScene_ = true;
}

void RunProducts::add(std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
                      const recording::SimulationSettings* simulation) {
    counts_.add(viewOf(frame));
    if (anotherScene_) {
        anotherScene_ = false;
        scenes_.emplace_back();
    }
    SceneProducts& scene = scenes_.back();
    scene.add(number, frame, truth, simulation);
    if (folder_ != nullptr && (scene.counts().frames == 1 || !options_.frames.empty())) {
        draw(number, frame, truth);
    }
}

void RunProducts::draw(std::size_t number, const ResultFrame& frame, const simulation::Truth* truth) {
    SceneProducts& scene = scenes_.back();
    if (!scene.pictures()) {
        scene.setPictures(pictureSettings(frame));
    }
    const auto paths = writePictures(*scene.pictures(), number, frame, scene.errorsOf(frame, truth));
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
    const std::optional<recording::SimulationSettings>& simulation = scenes_.back().simulation();
    settings.subtitle = simulation ? describe(*simulation) : options_.recording.filename().string();
    settings.distance =
        readRange(options_.distanceRange).value_or(spanOf(simulation).value_or(distanceRangeOf(frame)));
    settings.amplitude = readRange(options_.amplitudeRange).value_or(amplitudeRangeOf(frame));
    settings.intensity = intensityRangeOf(frame);
    const double standardRange = simulation && !simulation->photonNoise.value_or(true) ? 2.0 : 20.0;
    settings.error = (options_.errorRange > 0.0 ? options_.errorRange : standardRange) / 1000.0;
    settings.enlargement = options_.enlargement;
    return settings;
}

}  // namespace qor
