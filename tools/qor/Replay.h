// SPDX-License-Identifier: Apache-2.0
//
// Feeds a recording to the plug-in: every packet once, in order, as fast as it is taken.

#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "plugin/Plugin.h"
#include "qor/ChannelSelection.h"
#include "qor/FrameSelection.h"
#include "qor/Override.h"
#include "qor/ResultFrame.h"
#include "recording/RecordingReader.h"
#include "recording/TruthRecords.h"

namespace qor {

struct ReplaySettings {
    std::filesystem::path recording;
    std::filesystem::path results;  // the recording of the result packets; empty: they are not written
    ChannelSelection channels;      // of a result that are written
    bool withCoordinates = false;
    FrameSelection frames;  // whose results are kept; numbers are those of the recording
    std::vector<Override> overrides;
};

struct ReplayCounts {
    std::size_t read = 0;       // packets of the recording
    std::size_t processed = 0;  // that the plug-in took
    std::size_t failed = 0;     // at which it failed
    std::size_t held = 0;       // held back, as their frame is incomplete
    std::size_t results = 0;    // packets of results, of selected frames
    std::size_t written = 0;    // those that hold a selected channel
    std::uint64_t writtenBytes = 0;
    std::size_t framesBegun = 0;         // in the packets read
    std::size_t uncalibratedImages = 0;  // raw images that came before any calibration
    std::size_t frames = 0;              // finished frames among those selected
    std::size_t missingImages = 0;       // between whole frames, by their counters
    bool interrupted = false;            // before the end of the recording
    bool stopped = false;                // after the last selected frame
    std::string damage;                  // why the recording cannot be read any further; empty if it can
};

// What a replay reports while it runs.
struct ReplayListener {
    // A packet as it is about to be fed, with its overrides. May be left out.
    std::function<void(const recording::RecordedPacket& packet)> feeding;
    // The frames from here on are of another scene: a calibration came, as at the start of each recording
    // of concatenated ones. A truth ends there. May be left out.
    std::function<void()> scene;
    // The packet of results of a call, of a selected frame, before `frame`. May be left out.
    std::function<void(const zelta::Packet& result)> result;
    // A finished frame among those selected. The truth is null if the recording has none.
    std::function<void(std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
                       const recording::SimulationSettings* simulation)>
        frame;
    // A packet at which the plug-in failed, that shows that images are missing, whose result or truth cannot
    // be used, or whose calibration is not the first one.
    std::function<void(const std::string& sentence)> trouble;
    // After each packet: the share of the recording that is done, below 0 if its size is unknown, and the
    // number of frames that have begun.
    std::function<void(double share, std::size_t frames)> progress;
    // Whether the work is to end.
    std::function<bool()> interrupted;
};

// A frame begins with each input record whose sequenceCounter is 0. Results of packets before the first
// frame are always kept. Images of an incomplete frame are held back from the break on. Throws
// recording::RecordingError if the results cannot be written, and whatever the listener throws; even then
// the results so far are complete.
ReplayCounts replay(recording::RecordingReader& reader, const ReplaySettings& settings,
                    plugin::Plugin& plugin, const ReplayListener& listener);

}  // namespace qor
