// SPDX-License-Identifier: Apache-2.0
//
// Standard output as a file of data.

#pragma once

#include <filesystem>
#include <string>

namespace files {

// Whether the path is "-" or a name of standard output such as /dev/stdout. A file "-" is "./-".
bool isStandardOutput(const std::filesystem::path& path);

// The path, or "standard output".
std::string nameOf(const std::filesystem::path& path);

// The descriptor of standard output, for data. From the first call on, printed text goes to standard error
// instead, so that it never mixes with the data.
int standardOutputForData();

}  // namespace files
