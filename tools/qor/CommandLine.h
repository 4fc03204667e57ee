// SPDX-License-Identifier: Apache-2.0
//
// The command line with all subcommands.

#pragma once

#include <CLI/CLI.hpp>
#include <memory>

namespace qor {

// Parsing a line does what the line asks for and leaves the exit code. `exitCode` outlives the command line.
std::unique_ptr<CLI::App> commandLine(int& exitCode);

// Does what a line asks for, whose first word is the name of the program. What went wrong is told in words.
// Returns the exit code.
int runCommandLine(int argc, const char* const* argv);

}  // namespace qor
