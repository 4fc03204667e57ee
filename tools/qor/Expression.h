// SPDX-License-Identifier: Apache-2.0
//
// Expressions as users write them: names, each followed by any number of indices, joined by dots, as in
// `SceneTruth.distance[5][7]`. What reads records takes more than that and may mean something else by it.

#pragma once

#include <string>

namespace qor {

enum class Slices { Refused, Allowed };

// An empty text for an expression that is one, otherwise a sentence that says where it is not. Where slices
// are allowed, an index may be [FROM:TO] or [FROM:TO:STEP], each of the three left out at will.
std::string checkSyntax(const std::string& expression, Slices slices = Slices::Refused);

}  // namespace qor
