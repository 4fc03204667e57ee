// SPDX-License-Identifier: Apache-2.0
//
// The truth of the frames of a result, from the recording that it was made of.

#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "plugin/ImageInfo.h"
#include "recording/RecordingReader.h"
#include "recording/TruthRecords.h"
#include "simulation/Truth.h"

namespace qor {

class TruthFollower {
 public:
    // Throws recording::RecordingError if there is no such file.
    explicit TruthFollower(const std::filesystem::path& recording);

    // Whether the recording has an image of this time stamp. If so, it now tells what holds for that image.
    // Frames are asked for in their order; a time stamp may come again in a recording of several. Throws
    // recording::RecordingError at a damaged place, recording::RecordError for a truth that is malformed.
    bool find(std::uint32_t timestamp);

    const simulation::Truth* truth() const { return truth_ ? &*truth_ : nullptr; }
    const recording::SimulationSettings* simulation() const { return simulation_ ? &*simulation_ : nullptr; }

 private:
    void rewind();
    bool findAhead(std::uint32_t timestamp);

    std::optional<recording::RecordingReader> reader_;
    std::filesystem::path path_;
    plugin::ImageInfoReader images_;
    std::optional<simulation::Truth> truth_;
    std::optional<recording::SimulationSettings> simulation_;
};

}  // namespace qor
