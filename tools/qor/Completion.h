// SPDX-License-Identifier: Apache-2.0
//
// Completion of the command line in shells, made from its definition.

#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace qor {

// Scripts that a shell reads: subcommands, options, values that can be listed, files and folders.
std::string bashCompletion(const CLI::App& app);
std::string zshCompletion(const CLI::App& app);
std::string fishCompletion(const CLI::App& app);

}  // namespace qor
