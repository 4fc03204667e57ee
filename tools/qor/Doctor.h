// SPDX-License-Identifier: Apache-2.0
//
// qor doctor: what is wrong with a recording; qor recover: what is good in a damaged one.

#pragma once

#include <CLI/CLI.hpp>

namespace qor {

// Add the subcommands. When one is chosen on the command line, it runs at the end of parsing and leaves its
// exit code in `exitCode`, which must outlive the parsing.
void addDoctor(CLI::App& app, int& exitCode);
void addRecover(CLI::App& app, int& exitCode);

}  // namespace qor
