// SPDX-License-Identifier: Apache-2.0
//
// Manual pages, made from the definition of the command line.

#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "qor/OptionText.h"

namespace qor {

// qor(1): what the command is, and its subcommands.
std::string manPageOf(const CLI::App& app);

// qor-COMMAND(1).
std::string manPageOf(const NamedCommand& command);

// "qor-calibration-show" of "calibration show".
std::string manPageName(const std::string& path);

}  // namespace qor
