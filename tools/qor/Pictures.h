// SPDX-License-Identifier: Apache-2.0
//
// The pictures and point clouds of a finished frame.

#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "qor/Arguments.h"
#include "qor/ResultFrame.h"

namespace qor {

struct PictureSettings {
    std::filesystem::path folder;
    std::string subtitle;          // what the frame shows, for the head of each picture
    Range distance{0.0, 2.5};      // metres
    Range amplitude{0.0, 3.0};     // counts per microsecond
    Range intensity{0.0, 4095.0};  // counts
    double error = 0.002;          // metres; the scale of errors runs from minus to plus this
    double noise = 0.02;           // metres; the scale of the noise runs from 0 to this
    int enlargement = 4;
    std::function<void(const std::string& name)> announce = {};  // told of each file before it is made
};

// FOLDER/00012_distance.png
std::filesystem::path filePath(const std::filesystem::path& folder, std::size_t frame, std::string_view name);

// Writes distance_mm.png (16 bit, millimetres, 0 for no measurement), distance.png, amplitude.png and
// confidence.png; noise.png and intensity.png, if the frame has them; and, if the errors of the pixels in
// metres are given, error.png. The number of the frame stands before each name. Returns their paths. Throws
// std::runtime_error with a sentence that names the path.
std::vector<std::filesystem::path> writePictures(const PictureSettings& settings, std::size_t frameNumber,
                                                 const ResultFrame& frame, std::span<const float> errors);

// Writes points.ply or points.pcd in the same way. The frame must have coordinates.
std::filesystem::path writeCloud(const std::filesystem::path& folder, std::size_t frameNumber,
                                 const std::string& format, const ResultFrame& frame);

// A scale from 0 to a round number that holds all but the farthest hundredth of the usable pixels.
Range distanceRangeOf(const ResultFrame& frame);

// The same for the amplitude. For a frame without usable pixels, the usual one.
Range amplitudeRangeOf(const ResultFrame& frame);

// The same for the intensity, over all pixels. For a frame without intensity, the range of a sample.
Range intensityRangeOf(const ResultFrame& frame);

}  // namespace qor
