// SPDX-License-Identifier: Apache-2.0
//
// The calibration record of a recording as the description of a camera, and the way back.

#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "calibrating/CameraDescription.h"
#include "recording/Record.h"

namespace calibrating {

// Everything that a record of any layout says; members that it lacks are 0, as the plug-in takes them. Throws
// CalibrationError if it tells of more frequencies or bad pixels than there is room for, RecordError if it
// cannot be read.
CameraDescription cameraIn(const zelta::ZeltaChunk& calibration);

// What the input record of an image asks for, beside the calibration. Throws RecordError.
void readSettings(const zelta::ZeltaChunk& input, CameraDescription& camera);

// The first calibration of a recording, with what its first image after it asks for. Throws CalibrationError
// if there is none, recording::RecordingError if it cannot be read, else as cameraIn.
CameraDescription cameraOfRecording(const std::filesystem::path& path);

// The record that the plug-in takes. cameraIn and this are inverse to each other, bit for bit.
recording::Record recordOf(const CameraDescription& camera);

// The packet that begins a recording of this camera.
std::vector<std::uint8_t> packetOf(const CameraDescription& camera);

}  // namespace calibrating
