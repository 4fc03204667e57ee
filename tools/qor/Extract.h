// SPDX-License-Identifier: Apache-2.0
//
// qor extract: a part of a recording as a recording; qor concat: several recordings as one.

#pragma once

#include <CLI/CLI.hpp>

namespace qor {

// Add the subcommands. When one is chosen on the command line, it runs at the end of parsing and leaves its
// exit code in `exitCode`, which must outlive the parsing.
void addExtract(CLI::App& app, int& exitCode);
void addConcat(CLI::App& app, int& exitCode);

}  // namespace qor
