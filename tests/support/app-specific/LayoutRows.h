// SPDX-License-Identifier: Apache-2.0
//
// Definitions as rows of text, to be compared with the tables of layouts: a difference shows as the row.
#pragma once

#include <string>
#include <vector>

#include "ALLayout.h"
#include "zelta_type.h"

namespace host_testing {

std::string textOf(const layout::Row& row);

/** A table as text. */
template <class Rows>
std::vector<std::string> textsOf(const Rows& table) {
    std::vector<std::string> texts;
    for (const layout::Row& row : table) {
        texts.push_back(textOf(row));
    }
    return texts;
}

/** A definition as text, its rows down to level `depth`. */
std::vector<std::string> textsOf(const zelta::TypeRef& type, unsigned int depth = layout::kAllLevels);

}  // namespace host_testing
