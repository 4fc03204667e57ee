// SPDX-License-Identifier: Apache-2.0
//
// The truth in a recording: how it was simulated, and what is true about its frames.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "recording/Record.h"
#include "simulation/Truth.h"

namespace recording {

// How a recording was simulated. What a recording does not tell is empty.
struct SimulationSettings {
    std::string scene;
    std::optional<double> nearest = 0.0;  // distances, metres, between which the scene lies
    std::optional<double> furthest = 1.0;
    std::optional<std::uint64_t> seed = 1;
    std::optional<bool> photonNoise = true;
    std::optional<double> ambient = 0.0;      // kilolux
    std::optional<double> temperature = 0.0;  // degrees Celsius
    std::vector<double> frequencies;          // Hz
    std::vector<std::int32_t> exposureTimes;  // microseconds
};

// Of settings that are complete.
Record recordOf(const SimulationSettings& settings);

// The records of a truth, one for the scene and one for what its frequencies and exposures see. All
// frequencies have the same number of exposures.
Record sceneRecord(const simulation::Truth& truth);
// A truth of which only the distances are known: metres, row by row, 0 where there is none.
Record distanceRecord(const std::vector<float>& distance);
Record frequencyRecord(const simulation::Truth& truth);

// What a packet says about the simulation; none if it says nothing. Of a truth the distances are needed;
// images that the recording does not hold are empty. Throw RecordError for malformed records.
std::optional<SimulationSettings> simulationSettingsIn(const zelta::Packet& packet);
std::optional<simulation::Truth> truthIn(const zelta::Packet& packet);

}  // namespace recording
