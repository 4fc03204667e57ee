// SPDX-License-Identifier: Apache-2.0
//
// qor diff: what differs between two recordings or two results.

#pragma once

#include <CLI/CLI.hpp>

namespace qor {

void addDiff(CLI::App& app, int& exitCode);

}  // namespace qor
