// SPDX-License-Identifier: Apache-2.0
//
// What the command line asks of qor run.

#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <string>
#include <vector>

#include "qor/Replay.h"

namespace qor {

struct RunOptions {
    std::filesystem::path recording;
    std::filesystem::path plugin;
    std::filesystem::path folder = "out/run";
    std::vector<std::string> overrides;
    std::vector<std::string> channels;
    std::vector<std::filesystem::path> settingsFiles;
    bool force = false;
    std::string frames;
    std::vector<std::string> clouds;
    std::string distanceRange;
    std::string amplitudeRange;
    double errorRange = 0.0;  // millimetres; 0 chooses by the noise
    int enlargement = 4;
    bool json = false;
    bool quiet = false;
};

// The plug-in and the settings that it gets, for every command that feeds it.
void addPluginOptions(CLI::App& command, RunOptions& options);

void addRunOptions(CLI::App& command, RunOptions& options);

// Whether --out names something that takes the result packets alone: a stream, or a container.
bool isOneFile(const std::filesystem::path& out);

// What they mean for the replay. Throws as readSettings does.
ReplaySettings replaySettings(const RunOptions& options);

}  // namespace qor
