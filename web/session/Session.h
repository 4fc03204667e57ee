// SPDX-License-Identifier: Apache-2.0
//
// A recording as the page works on it: any frame of it, processed with settings of the page's choice.

#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "plugin/FrameGuard.h"
#include "plugin/Plugin.h"
#include "qor/Override.h"
#include "qor/ResultFrame.h"
#include "recording/TruthRecords.h"
#include "session/RecordingIndex.h"

namespace web {

// One packet of raw samples of the frame.
struct RawImage {
    std::vector<float> samples;  // 0 to 4095
    std::int32_t exposure = 0;   // microseconds
    std::int32_t frequency = 0;  // number of it
    bool isIntensity = false;
};

// What was computed of one frame.
struct Outcome {
    std::optional<qor::ResultFrame> frame;
    std::vector<float> errors;          // metres, NaN where unknown; empty without truth
    std::vector<RawImage> raw;          // in the order of the recording
    Bytes result;                       // the packet that `qor run` writes for it
    std::vector<std::string> troubles;  // sentences
    Bytes latest;                       // all that the plug-in gave at the end of the frame
};

class Session {
 public:
    explicit Session(const std::filesystem::path& path);

    RecordingIndex& index() { return index_; }

    // Processes the frame. It goes on from the frame before it if that one was the latest and had the same
    // settings; else the algorithm starts anew with the frame `runIn` frames before, as for a recording that
    // begins there. Settings are lines as --settings takes them. Throws recording::RecordError for a setting
    // that does not fit, recording::RecordingError if the frame cannot be read.
    void compute(std::size_t frame, const std::string& settings, std::size_t runIn);

    const Outcome& outcome() const { return outcome_; }

    // The settings as the recording has them: every member of the customization and of the parameters, and
    // the single numbers of the calibration.
    nlohmann::ordered_json settings() const;

    // Figures, times and findings of the frame computed last.
    nlohmann::ordered_json report() const;

    // An image of the frame computed last by name: "distance", "amplitude", "confidence", "noise",
    // "intensity", "error", "X", "Y", "Z", "raw3"; empty if the frame has none.
    std::vector<float> image(const std::string& name) const;

    // The same in colours, four bytes a pixel; black where there is no value.
    std::vector<std::uint8_t> painted(const std::string& name, const std::string& map, double minimum,
                                      double maximum) const;

 private:
    void start();
    void feedFrame(std::size_t frame);
    void feed(Bytes bytes, std::size_t number);
    std::vector<Bytes> packetsOf(std::size_t first, std::size_t end) const;
    void readSimulation(const zelta::Packet& chunks);
    void readTruth(std::size_t frame);
    void keepRaw(const zelta::Packet& chunks);
    void takeResult();
    void findErrors();

    RecordingIndex index_;
    plugin::Plugin plugin_;
    std::optional<plugin::FrameGuard> guard_;
    std::vector<qor::Override> overrides_;
    std::string settings_;
    std::optional<std::size_t> latest_;  // that was computed with these settings
    std::vector<Bytes> prelude_;         // the packets before the first frame
    std::optional<std::size_t> loaded_;  // the frame whose packets, truth and raw images are here
    std::vector<Bytes> packets_;
    std::optional<std::size_t> truthPacket_;  // where truth_ comes from
    std::optional<simulation::Truth> truth_;
    std::string truthTrouble_;
    std::optional<recording::SimulationSettings> simulation_;
    Outcome outcome_;
};

// A colour map as 1024 colours of four bytes.
std::vector<std::uint8_t> colorsOf(const std::string& map);

}  // namespace web
