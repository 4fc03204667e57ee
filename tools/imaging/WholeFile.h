// SPDX-License-Identifier: Apache-2.0
//
// Files that appear under their name only when they are complete.

#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

namespace imaging {

// Makes missing folders. Throws std::runtime_error with a sentence that names the path.
void writeWhole(const std::filesystem::path& path, std::span<const std::uint8_t> bytes);

}  // namespace imaging
