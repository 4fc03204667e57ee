// SPDX-License-Identifier: Apache-2.0
//
// Figures of a replay as text and as JSON.

#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "figures/Accuracy.h"
#include "figures/PixelCounts.h"
#include "figures/TemporalNoise.h"
#include "recording/TruthRecords.h"

namespace qor {

// "of the valid pixels 3 distances and 1 amplitude are infinite or NaN"; empty if all are numbers.
std::string notFiniteText(const figures::PixelCounts& counts);

// What the recording tells of it: "scene room, 60 MHz, 1000 us, seed 1, photon noise"
std::string describe(const recording::SimulationSettings& simulation);

// Of a recording without a truth.
void printNoAccuracy();
void addNoAccuracy(nlohmann::ordered_json& document);

void printAccuracy(const figures::AccuracySummary& accuracy,
                   const std::optional<recording::SimulationSettings>& simulation);

// The noise stays empty where there is no prediction to compare it with: without photon
// noise, and with two frequencies.
void addAccuracy(nlohmann::ordered_json& document, const figures::AccuracySummary& accuracy,
                 const std::optional<recording::SimulationSettings>& simulation);

void printTemporalNoise(const figures::TemporalNoiseSummary& noise);

nlohmann::ordered_json temporalNoiseJson(const figures::TemporalNoiseSummary& noise);

nlohmann::ordered_json simulationJson(const recording::SimulationSettings& simulation);

}  // namespace qor
