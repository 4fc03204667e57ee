// SPDX-License-Identifier: Apache-2.0
//
// What the raw phases of recordings say about a scene whose distances are known.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "calibrating/CameraDescription.h"

namespace calibrating {

// The frames of one scene at one frequency, one exposure and one temperature. Images have 38528 pixels.
struct Observation {
    std::size_t frequency = 0;  // its slot
    double exposureTime = 0.0;  // microseconds
    double temperature = 0.0;   // mean, degrees Celsius
    std::size_t frames = 0;
    std::vector<float> X;  // mean over the frames, counts
    std::vector<float> Y;
    std::vector<float> variance;  // of X and of Y over the frames, their mean, counts^2; 0 for a single frame
    std::vector<float> level;     // mean of all samples, counts
    std::vector<std::uint8_t> isGood;  // no sample was outside of the limits
};

struct ObservedScene {
    std::string name;
    std::vector<float> distance;  // radial, metres; 0 where it is not known
    std::vector<Observation> observations;
};

struct SceneRequest {
    std::filesystem::path recording;
    std::optional<double> wall;        // distance of a flat wall along the optical axis, metres
    std::optional<std::string> array;  // file of radial distances
    double metres = 1.0;               // of the unit of that file
};

// Reads all frames. Where the request has no distances, the recording must have them as truth. The camera has
// the rays, the limits of the samples and the number of frequencies. Throws CalibrationError,
// recording::RecordingError, recording::RecordError or arrays::ArrayError.
ObservedScene observe(const SceneRequest& request, const CameraDescription& camera);

}  // namespace calibrating
