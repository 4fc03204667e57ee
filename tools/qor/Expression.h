// SPDX-License-Identifier: Apache-2.0
//
// Expressions as users write them: names, each followed by any number of indices, joined by dots, as in
// `SceneTruth.distance[5][7]`. Readers of records accept more, and may read it differently.

#pragma once

#include <string>

namespace qor {

enum class Slices { Refused, Allowed };

// An empty text for a valid expression, otherwise a sentence that says where it is wrong. Where slices are
// allowed, an index may be [FROM:TO] or [FROM:TO:STEP]; each of the three may be left out.
std::string checkSyntax(const std::string& expression, Slices slices = Slices::Refused);

}  // namespace qor
