// SPDX-License-Identifier: Apache-2.0
//
// qor report: what the plug-in makes of recordings, as one page for reading, printing and trying settings.

#pragma once

#include <CLI/CLI.hpp>

namespace qor {

// Adds the subcommand. When it is chosen on the command line, it runs at the end of parsing and leaves its
// exit code in `exitCode`, which must outlive the parsing.
void addReport(CLI::App& app, int& exitCode);

}  // namespace qor
