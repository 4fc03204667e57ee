// SPDX-License-Identifier: Apache-2.0
//
// `qor calibration show` and `qor calibration make`: the calibration of a camera as text, and back.

#pragma once

#include <CLI/CLI.hpp>

namespace qor {

void addCalibration(CLI::App& app, int& exitCode);

}  // namespace qor
