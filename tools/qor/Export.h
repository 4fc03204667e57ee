// SPDX-License-Identifier: Apache-2.0
//
// qor export: frames and records in other people's formats.

#pragma once

#include <CLI/CLI.hpp>

namespace qor {

void addExport(CLI::App& app, int& exitCode);

}  // namespace qor
