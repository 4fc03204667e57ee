// SPDX-License-Identifier: Apache-2.0
//
// The part of a report that is read and printed: it needs no script.

#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "qor/Measurement.h"
#include "qor/SceneProducts.h"

namespace qor {

// A setting that is not as the simulated camera sends it.
struct ReportedSetting {
    std::string expression;
    std::string value;
    std::string standard;  // empty if that camera has no such member
    bool isOfRun = false;  // --set or --settings changed it
};

struct ReportedScene {
    SceneProducts products;
    RegionFigures figures;  // of the whole image
};

struct ReportedFrame {
    std::size_t number = 0;
    std::vector<std::filesystem::path> pictures;  // PNG files
};

// One file, and what the plug-in made of it.
struct ReportedRun {
    std::string file;
    std::string origin;  // "run through NAME 1.2.3", "a result"
    std::size_t packets = 0;
    bool tellsSettings = false;
    std::vector<ReportedSetting> changes;
    std::string settings;  // all of them, as a file for --settings
    std::vector<ReportedScene> scenes;
    std::vector<ReportedFrame> frames;
    std::size_t leftFrames = 0;                  // whose pictures did not fit the page
    std::vector<std::vector<double>> exposures;  // microseconds, of each frame
    std::vector<std::string> findings;
};

// HTML with its own style. `notes` are sentences about the page itself. Throws std::runtime_error if a
// picture cannot be read.
std::string reportPart(const std::vector<ReportedRun>& runs, const std::vector<std::string>& notes);

}  // namespace qor
