// SPDX-License-Identifier: Apache-2.0
//
// The pipeline, called as plain functions on simulated raw images. This is the only place in the tools that
// knows the pipeline's records.

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulation/Calibration.h"
#include "simulation/Camera.h"

namespace qor {

struct PipelineSettings {
    int exposureCount = 1;
    float minAmplitude = 20.0F;       // raw counts
    float maximumRawSymmetry = 0.5F;  // of the amplitude
};

// A finished frame, row by row.
struct PipelineFrame {
    std::vector<float> distance;   // metres, 0 where invalid
    std::vector<float> amplitude;  // counts per microsecond
    std::vector<std::uint8_t> confidence;
    std::uint32_t frameCounter = 0;
    std::uint32_t timestamp = 0;  // microseconds
};

// A failure of the pipeline, with its own words.
class PipelineError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// One object at a time, as one pipeline exists per process.
class DirectPipeline {
 public:
    // Throws PipelineError if the pipeline refuses the calibration.
    DirectPipeline(const simulation::Calibration& calibration, const PipelineSettings& settings);
    ~DirectPipeline();
    DirectPipeline(const DirectPipeline&) = delete;
    DirectPipeline& operator=(const DirectPipeline&) = delete;

    // Takes one raw image; gives the frame that it finishes, if it does. Throws PipelineError.
    std::optional<PipelineFrame> process(const simulation::RawImage& image);

    // Major, minor and patch number of the pipeline.
    static std::string version();

 private:
    struct Records;
    std::unique_ptr<Records> records_;
};

}  // namespace qor
