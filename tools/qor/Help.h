// SPDX-License-Identifier: Apache-2.0
//
// qor help and qor completion: texts about the command itself, made from the definition of its command line.

#pragma once

#include <CLI/CLI.hpp>

namespace qor {

// Add subcommands, after all others: the texts name those. When one is chosen on the command line, it runs at
// the end of parsing and leaves its exit code in `exitCode`, which must outlive the parsing.
void addHelp(CLI::App& app, int& exitCode);
void addCompletion(CLI::App& app, int& exitCode);

// For the installation, and not shown in help: writes all manual pages and completions into a folder.
void addWriteManual(CLI::App& app, int& exitCode);

}  // namespace qor
