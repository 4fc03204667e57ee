// SPDX-License-Identifier: Apache-2.0
//
// qor import: a recording from the raw phases of another camera.

#pragma once

#include <CLI/CLI.hpp>

namespace qor {

// Adds the subcommand. `exitCode` is set when it runs.
void addImport(CLI::App& app, int& exitCode);

}  // namespace qor
