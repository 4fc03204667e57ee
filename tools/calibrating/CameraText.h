// SPDX-License-Identifier: Apache-2.0
//
// The description of a camera as a text that readCameraFile reads.

#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "calibrating/CameraDescription.h"

namespace calibrating {

// Where the arrays go that are not the same number everywhere.
struct ArrayFolder {
    std::filesystem::path folder;      // is made if needed
    std::filesystem::path nameInText;  // of the folder, as seen from the file of the text
};

struct CameraText {
    std::string text;
    std::vector<std::filesystem::path> files;  // that were written
};

// Numbers have as many digits as tell them apart in single precision. Without a folder, arrays are
// summarised; such a text is for readers only. Throws std::runtime_error if a file cannot be written.
CameraText describe(const CameraDescription& camera, const std::optional<ArrayFolder>& folder);

}  // namespace calibrating
