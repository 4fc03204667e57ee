// SPDX-License-Identifier: Apache-2.0
//
// Makes a recording from the raw phases of another camera, and tells what it took them for.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "calibrating/CameraDescription.h"
#include "importing/FrameMaker.h"
#include "importing/PhaseOrder.h"
#include "importing/ReferenceFit.h"
#include "importing/Samples.h"
#include "importing/SizeFit.h"
#include "importing/StackSource.h"
#include "simulation/Lens.h"

namespace importing {

// A phase at distance 0, as radians or as the distance that it makes.
struct PhaseOffset {
    double value = 0.0;
    bool isMetres = false;
};

struct ReferenceRequest {
    std::string file;                 // array of distances, y,x or frame,y,x
    double metres = 1.0;              // of its unit
    std::optional<std::string> mask;  // array of the same shape; 0 takes a pixel out
};

struct ImportRequest {
    StackRequest stack;
    std::vector<double> frequencies;          // Hz, one or two
    std::vector<std::int32_t> exposureTimes;  // microseconds, one or two, not falling
    SampleFormat samples;
    bool isSampleFormatGiven = false;  // then it is not doubted
    std::optional<PhaseOrder> order;   // none: from the images
    std::optional<bool> isReversed;    // none: as the reference says, else not
    std::vector<PhaseOffset> offsets;  // none, or one for each frequency
    std::optional<FitKind> fit;
    std::optional<calibrating::CameraDescription> camera;  // of the 224 x 172 pixels; none: a neutral one
    std::optional<simulation::Lens> lens;                  // of the pictures as they come
    double fieldOfView =
        calibrating::usualFieldOfView;  // degrees over the width of the pictures, where there is no lens
    std::optional<ReferenceRequest> reference;
    std::optional<std::string> intensity;  // file of pictures
    std::int32_t intensityExposureTime = 200;
    float temperature = 0.0F;
    float minAmplitude = 20.0F;  // raw counts, of the settings in the recording
    std::filesystem::path output;
};

struct ImportResult {
    StackSize size;
    PhaseOrder order;
    bool isReversed = false;
    std::vector<double> offsets;  // radians, that the calibration takes off
    SampleFormat samples;
    std::optional<ReferenceFit> reference;
    ImageFigures figures;
    RoundingReport rounding;
    std::size_t packets = 0;
    std::uint64_t bytes = 0;
    std::vector<std::string> assumptions;  // sentences
    std::vector<std::string> warnings;     // sentences; what is probably not as it should be
};

// Throws ImportError, arrays::ArrayError, recording::RecordError or recording::RecordingError, with a
// sentence; nothing is written then.
ImportResult importRecording(const ImportRequest& request);

}  // namespace importing
