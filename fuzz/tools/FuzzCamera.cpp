// SPDX-License-Identifier: Apache-2.0
//
// Any text as the file of a camera: it makes a calibration record, or it is refused in words.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "calibrating/CalibrationError.h"
#include "calibrating/CalibrationRecord.h"
#include "calibrating/CameraFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const calibrating::CameraFile file = calibrating::readCameraText(text, "/nonexistent");
        calibrating::recordOf(file.camera);
    } catch (const calibrating::CalibrationError& error) {
        if (std::string(error.what()).empty()) {
            std::abort();
        }
    }
    return 0;
}
