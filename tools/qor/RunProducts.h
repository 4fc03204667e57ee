// SPDX-License-Identifier: Apache-2.0
//
// The products of a run's frames: figures of each scene, pictures and point clouds.

#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "figures/PixelCounts.h"
#include "qor/ResultFrame.h"
#include "qor/RunFolder.h"
#include "qor/RunOptions.h"
#include "qor/SceneProducts.h"

namespace qor {

class RunProducts {
 public:
    // Without a folder there are no pictures.
    RunProducts(const RunOptions& options, RunFolder* folder) : options_(options), folder_(folder) {}

    // The frames from here on show another scene.
    void beginScene();

    // Takes a finished frame. The truth and how it was simulated are null if the recording lacks them.
    void add(std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
             const recording::SimulationSettings* simulation);

    std::size_t frames() const { return counts_.frames; }
    // Of all scenes.
    const figures::PixelCounts& counts() const { return counts_; }
    // Those that have a finished frame.
    const std::vector<SceneProducts>& scenes() const { return scenes_; }
    const std::vector<std::filesystem::path>& files() const { return files_; }

    // Sentences about what could not be written.
    const std::vector<std::string>& missing() const { return missing_; }

 private:
    void draw(std::size_t number, const ResultFrame& frame, const simulation::Truth* truth);

    // One scale for all pictures of a scene, so that they can be compared.
    PictureSettings pictureSettings(const ResultFrame& frame) const;

    const RunOptions& options_;
    RunFolder* folder_;
    figures::PixelCounts counts_;
    bool anotherScene_ = true;
    std::vector<SceneProducts> scenes_;
    std::vector<std::filesystem::path> files_;
    std::vector<std::string> missing_;
};

}  // namespace qor
