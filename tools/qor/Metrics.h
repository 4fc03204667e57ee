// SPDX-License-Identifier: Apache-2.0
//
// qor metrics: the figures of a recording or of a result, and whether they are good enough.

#pragma once

#include <CLI/CLI.hpp>

namespace qor {

void addMetrics(CLI::App& app, int& exitCode);

}  // namespace qor
