// SPDX-License-Identifier: Apache-2.0
//
// What a report of a fault should name: the version, how it was built, and what it works with here.

#pragma once

#include <string>

namespace qor {

// "qor 0.3.6", then a fact a line: compiler, machine, vector targets built and used, the plug-in and a
// checksum over the definitions of its records.
std::string versionText();

}  // namespace qor
