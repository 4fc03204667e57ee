// SPDX-License-Identifier: Apache-2.0
//
// Figures of a replay as text and as JSON.

#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "qor/Accuracy.h"
#include "qor/TemporalNoise.h"
#include "recording/TruthRecords.h"

namespace qor {

// What the recording tells of it: "scene room, 60 MHz, 1000 us, seed 1, photon noise"
std::string describe(const recording::SimulationSettings& simulation);

// Of a recording without a truth.
void printNoAccuracy();
void addNoAccuracy(nlohmann::ordered_json& document);

void printAccuracy(const AccuracySummary& accuracy,
                   const std::optional<recording::SimulationSettings>& simulation);

// The noise stays empty where there is no prediction to compare it with: without photon
// noise, and with two frequencies.
void addAccuracy(nlohmann::ordered_json& document, const AccuracySummary& accuracy,
                 const std::optional<recording::SimulationSettings>& simulation);

void printTemporalNoise(const TemporalNoiseSummary& noise);

nlohmann::ordered_json temporalNoiseJson(const TemporalNoiseSummary& noise);

nlohmann::ordered_json simulationJson(const recording::SimulationSettings& simulation);

}  // namespace qor
