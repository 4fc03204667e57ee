// SPDX-License-Identifier: Apache-2.0
//
// The pictures of a finished frame.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "qor/Accuracy.h"
#include "qor/DirectPipeline.h"
#include "simulation/Truth.h"

namespace qor {

struct Range {
    double minimum = 0.0;
    double maximum = 1.0;
};

struct PictureSettings {
    std::filesystem::path folder;
    std::string subtitle;       // what the frame shows, for the head of each picture
    Range distance{0.0, 2.5};   // metres
    Range amplitude{0.0, 3.0};  // counts per microsecond
    double error = 0.002;       // metres; the scale of errors runs from minus to plus this
    int enlargement = 4;
};

// Writes distance_mm.png (16 bit, millimetres, 0 for no measurement), distance.png, amplitude.png,
// confidence.png and error.png. Returns their paths. Throws std::runtime_error with a sentence that names the
// path.
std::vector<std::filesystem::path> writePictures(const PictureSettings& settings, const PipelineFrame& frame,
                                                 const simulation::Truth& truth, const Accuracy& accuracy);

}  // namespace qor
