// SPDX-License-Identifier: Apache-2.0
//
// The description of a camera in a file of JSON, with arrays in .npy files beside it. Its keys are the
// members of the calibration record; docs/camera.schema.json lists them.

#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "calibrating/CalibrationChecks.h"
#include "calibrating/CameraDescription.h"

namespace calibrating {

// The keys that a section of the file may have. The file itself is the section "".
const std::map<std::string, std::vector<std::string>>& keysOfCameraFile();

struct CameraFile {
    CameraDescription camera;
    std::vector<std::string> neutral;  // keys that the file does not have
    std::vector<Fault> doubts;
};

// What is absent gets its neutral value. Throws CalibrationError with all that is wrong, each with its place.
CameraFile readCameraFile(const std::filesystem::path& path);

// The same of a text; files are looked for in the folder.
CameraFile readCameraText(const std::string& text, const std::filesystem::path& folder);

}  // namespace calibrating
