// SPDX-License-Identifier: Apache-2.0
//
// The dynamic symbol table of a shared object.
#pragma once

#include <string>
#include <vector>

namespace host_testing {

/** Names that an ELF file of this machine defines for others, as they stand in its table. Throws
 * std::runtime_error for a file that is not one. */
std::vector<std::string> exportedSymbols(const std::string& file);

}  // namespace host_testing
