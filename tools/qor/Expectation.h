// SPDX-License-Identifier: Apache-2.0
//
// How much a run is going to write, estimated before it begins.

#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "qor/Replay.h"

namespace qor {

// What a recording is likely to hold.
struct ExpectedFrames {
    std::uint64_t frames = 0;
    double imagesPerFrame = 0.0;
};

// A short recording is counted. Of a long one the first two frames are read, and the others are assumed to be
// as long as the second. None if the recording is no regular file (it can be read only once), if it cannot be
// read, or if no frames are found in it.
std::optional<ExpectedFrames> expectedFrames(const std::filesystem::path& recording);

// What a replay is going to write: the results of the frames that are kept.
struct ExpectedOutput {
    std::uint64_t frames = 0;
    std::uint64_t bytes = 0;
};

std::optional<ExpectedOutput> expectedOutput(const ReplaySettings& settings);

}  // namespace qor
