// SPDX-License-Identifier: Apache-2.0
//
// The products of a run's frames: figures, pictures and point clouds.

#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "qor/Accuracy.h"
#include "qor/Pictures.h"
#include "qor/PixelCounts.h"
#include "qor/ResultFrame.h"
#include "qor/RunFolder.h"
#include "qor/RunOptions.h"
#include "qor/TemporalNoise.h"
#include "recording/TruthRecords.h"
#include "simulation/Truth.h"

namespace qor {

class RunProducts {
 public:
    // Without a folder there are no pictures.
    RunProducts(const RunOptions& options, RunFolder* folder) : options_(options), folder_(folder) {}

    // Takes a finished frame. The truth and how it was simulated are null if the recording lacks them.
    void add(std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
             const recording::SimulationSettings* simulation);

    std::size_t frames() const { return counts_.frames; }
    const PixelCounts& counts() const { return counts_; }
    const std::optional<recording::SimulationSettings>& simulation() const { return simulation_; }
    // The scales of the pictures; none where none was drawn.
    const std::optional<PictureSettings>& pictures() const { return pictures_; }
    const std::vector<std::filesystem::path>& files() const { return files_; }

    // Sentences about what could not be written.
    const std::vector<std::string>& missing() const { return missing_; }

    TemporalNoiseSummary temporalNoise() const { return temporalNoise_.summary(); }

    // Figures against the truth, if there was one.
    std::optional<AccuracySummary> accuracy() const;

 private:
    void draw(std::size_t number, const ResultFrame& frame, const simulation::Truth* truth);

    // One scale for all pictures of a run, so that they can be compared.
    PictureSettings pictureSettings(const ResultFrame& frame) const;

    const RunOptions& options_;
    RunFolder* folder_;
    PixelCounts counts_;
    TemporalNoise temporalNoise_;
    std::optional<Accuracy> accuracy_;
    std::optional<recording::SimulationSettings> simulation_;
    std::optional<PictureSettings> pictures_;
    std::vector<std::filesystem::path> files_;
    std::vector<std::string> missing_;
};

}  // namespace qor
