// SPDX-License-Identifier: Apache-2.0
//
// qor sweep: many recordings with many settings. The Python package qor.sweep does it, which hands the rows
// out with Dask; the command finds Python and the package.

#pragma once

#include <CLI/CLI.hpp>

namespace qor {

void addSweep(CLI::App& app, int& exitCode);

}  // namespace qor
