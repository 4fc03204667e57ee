// SPDX-License-Identifier: Apache-2.0
//
// The files of hashes: one for each recording, so that a change shows which recordings moved.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "Layouts.h"

namespace golden {

/** The lines of a file, without comments. Throws std::runtime_error if it cannot be read. */
std::vector<std::string> readLines(const std::filesystem::path& path);

void writeLines(const std::filesystem::path& path, const std::vector<std::string>& lines);

host_testing::Bytes readBytes(const std::filesystem::path& path);

void writeBytes(const std::filesystem::path& path, const host_testing::Bytes& bytes);

/** FOLDER/NAME.txt */
std::filesystem::path hashFile(const std::filesystem::path& folder, const std::string& recording);

}  // namespace golden
