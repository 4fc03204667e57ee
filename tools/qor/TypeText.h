// SPDX-License-Identifier: Apache-2.0
//
// Types in words.

#pragma once

#include <string>
#include <vector>

#include "zelta_type.h"

namespace qor {

// "int32", "float64", "struct"; "unsigned of 3 bytes" for a size that no processor has.
std::string kindText(const zelta::IType& type);

// "[4][7]"; empty for a single element.
std::string dimensionText(const std::vector<unsigned int>& dimensions);

}  // namespace qor
