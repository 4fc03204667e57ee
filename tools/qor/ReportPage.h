// SPDX-License-Identifier: Apache-2.0
//
// The part of a report that is read and printed: it needs no script.

#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "qor/SceneProducts.h"

namespace qor {

struct ReportedFrame {
    std::size_t number = 0;
    std::vector<std::filesystem::path> pictures;  // PNG files
};

// One recording and what the plug-in made of it.
struct ReportedRun {
    std::string recording;
    std::string plugin;  // name and version
    std::size_t packets = 0;
    std::vector<std::pair<std::string, std::string>>
        changes;           // expression and value, of --set and --settings
    std::string settings;  // all of them, as a file for --settings
    std::vector<SceneProducts> scenes;
    std::vector<ReportedFrame> frames;
    std::vector<std::vector<double>> exposures;  // microseconds, of each frame
    std::vector<std::string> findings;
};

// HTML with its own style. Throws std::runtime_error if a picture cannot be read.
std::string reportPart(const std::vector<ReportedRun>& runs);

}  // namespace qor
