// SPDX-License-Identifier: Apache-2.0
//
// A recording as the page works on it: any frame of it, processed with settings of the page's choice.

#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
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
    std::vector<float> confidence;      // its bits as numbers
    std::vector<std::uint8_t> usable;   // 1 where the frame has a distance to work with
    std::vector<float> errors;          // metres, NaN where unknown; empty without truth
    std::vector<RawImage> raw;          // in the order of the recording
    std::vector<std::string> troubles;  // sentences
    Bytes latest;                       // all that the plug-in gave at the end of the frame
};

class Session {
 public:
    explicit Session(const std::filesystem::path& path);

    RecordingIndex& index() { return index_; }

    // Processes the frame, after the `runIn` frames before it, as for a recording that begins there. Frames
    // that were processed with the same settings are not processed again. True when it is done; false if the
    // time was over before: the same call goes on with it. Settings are lines as --settings takes them.
    // Throws recording::RecordError for a setting that does not fit, recording::RecordingError if the frame
    // cannot be read.
    bool compute(std::size_t frame, const std::string& settings, std::size_t runIn, double milliseconds);

    // The frame that a call of compute() which ran out of time reached.
    std::size_t reached() const { return fed_.value_or(0); }

    const Outcome& outcome() const { return outcome_; }

    // The packet that `qor run` writes for the frame computed last.
    Bytes result() const;

    // The settings as the recording has them: every member of the customization and of the parameters, and
    // the single numbers of the calibration.
    nlohmann::ordered_json settings() const;

    // Figures, times and findings of the frame computed last.
    nlohmann::ordered_json report() const;

    // An image of the frame computed last by name: "distance", "amplitude", "confidence", "noise",
    // "intensity", "error", "X", "Y", "Z", "raw3"; empty if the frame has none. It stays until the next
    // frame.
    std::span<const float> image(const std::string& name) const;

    // The same in colours, four bytes a pixel; black where there is no value.
    std::vector<std::uint8_t> painted(const std::string& name, const std::string& map, double minimum,
                                      double maximum) const;

 private:
    void begin(const std::string& settings);
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
    std::optional<std::size_t> latest_;  // that was computed with these settings, the outcome's
    std::optional<std::size_t> fed_;     // up to which the algorithm has run in with these settings
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
