// SPDX-License-Identifier: Apache-2.0
//
// qor run: a recording through the plug-in, to result packets, pictures, point clouds and figures.

#pragma once

#include <CLI/CLI.hpp>

namespace qor {

// Adds the subcommand. When it is chosen on the command line, it runs at the end of parsing and leaves its
// exit code in `exitCode`, which must outlive the parsing.
void addRun(CLI::App& app, int& exitCode);

}  // namespace qor
