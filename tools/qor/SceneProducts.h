// SPDX-License-Identifier: Apache-2.0
//
// The figures of one scene of a recording. A recording of several, such as concatenated ones, has figures
// of each: averaged over scenes they would mean nothing.

#pragma once

#include <cstddef>
#include <optional>

#include "figures/Accuracy.h"
#include "figures/PixelCounts.h"
#include "figures/TemporalNoise.h"
#include "qor/Pictures.h"
#include "qor/ResultFrame.h"
#include "recording/TruthRecords.h"
#include "simulation/Truth.h"

namespace qor {

class SceneProducts {
 public:
    // Takes a finished frame. The truth and how it was simulated are null if the recording lacks them.
    void add(std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
             const recording::SimulationSettings* simulation);

    // Number of the first and the last finished frame.
    std::size_t firstFrame() const { return firstFrame_; }
    std::size_t lastFrame() const { return lastFrame_; }

    const figures::PixelCounts& counts() const { return counts_; }
    const std::optional<recording::SimulationSettings>& simulation() const { return simulation_; }
    figures::TemporalNoiseSummary temporalNoise() const { return temporalNoise_.summary(); }

    // Figures against the truth, if there was one.
    std::optional<figures::AccuracySummary> accuracy() const;

    // The error of a frame's pixels, metres; empty without a truth. The frame was added.
    std::vector<float> errorsOf(const ResultFrame& frame, const simulation::Truth* truth) const;

    // The scales of its pictures; none where none was drawn.
    const std::optional<PictureSettings>& pictures() const { return pictures_; }
    void setPictures(PictureSettings pictures) { pictures_ = std::move(pictures); }

 private:
    std::size_t firstFrame_ = 0;
    std::size_t lastFrame_ = 0;
    figures::PixelCounts counts_;
    figures::TemporalNoise temporalNoise_;
    std::optional<figures::Accuracy> accuracy_;
    std::optional<recording::SimulationSettings> simulation_;
    std::optional<PictureSettings> pictures_;
};

}  // namespace qor
