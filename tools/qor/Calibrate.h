// SPDX-License-Identifier: Apache-2.0
//
// `qor calibrate`: a camera's calibration from recordings of scenes whose distances are known.

#pragma once

#include <CLI/CLI.hpp>

namespace qor {

// Adds the subcommand. `exitCode` is set when it runs.
void addCalibrate(CLI::App& app, int& exitCode);

}  // namespace qor
