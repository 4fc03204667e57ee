// SPDX-License-Identifier: Apache-2.0
//
// Reads the frames of a result of `qor run`, each with its truth.

#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>

#include "qor/FrameSelection.h"
#include "qor/ResultFrame.h"
#include "recording/RecordingReader.h"
#include "recording/TruthRecords.h"
#include "simulation/Truth.h"

namespace qor {

// Whether the file is a result: one of its first packets was made by the plug-in. The packets looked at come
// again from next().
bool holdsResults(recording::RecordingReader& reader);

// What is reported while a result is read.
struct ResultListener {
    // Each packet. May be left out.
    std::function<void(const recording::RecordedPacket& packet)> packet;
    // A finished frame among those selected. The truth and how it was simulated are null if unknown.
    std::function<void(std::size_t number, const ResultFrame& frame, const zelta::Packet& result,
                       const simulation::Truth* truth, const recording::SimulationSettings* simulation)>
        frame;
    // What is wrong with one packet, and the exit code that belongs to it.
    std::function<void(int exitCode, const std::string& sentence)> trouble;
    // Whether the work is to end.
    std::function<bool()> interrupted;
};

struct ResultCounts {
    std::size_t packets = 0;
    bool interrupted = false;
    std::string damage;  // why the file cannot be read any further; empty if it can
};

// `truth` is the recording that the result was made of; empty: the truth is that of the result itself, if it
// has one.
ResultCounts readResults(recording::RecordingReader& reader, const FrameSelection& frames,
                         const std::filesystem::path& truth, const ResultListener& listener);

}  // namespace qor
