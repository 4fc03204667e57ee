// SPDX-License-Identifier: Apache-2.0

#include "qor/Replay.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <span>
#include <utility>

#include "plugin/FrameGuard.h"
#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "recording/Record.h"
#include "recording/RecordingWriter.h"

namespace qor {
namespace {

class Replay {
 public:
    Replay(recording::RecordingReader& reader, const ReplaySettings& settings, plugin::Plugin& plugin,
           const ReplayListener& listener)
        : reader_(reader),
          settings_(settings),
          plugin_(plugin),
          guard_(plugin,
                 [this](const std::string& sentence) { listener_.trouble(place_ + ": " + sentence); }),
          listener_(listener) {
        if (!settings.results.empty()) {
            writer_.emplace(settings.results);
        }
    }

    ReplayCounts run() {
        try {
            feedAll();
        } catch (...) {
            finish();
            throw;
        }
        finish();
        return counts_;
    }

 private:
    // Number of the frame that packets belong to now; none before the first.
    std::optional<std::size_t> currentFrame() const {
        return counts_.framesBegun == 0 ? std::nullopt : std::optional(counts_.framesBegun - 1);
    }

    bool isSelected() const {
        const std::optional<std::size_t> frame = currentFrame();
        return !frame || settings_.frames.contains(*frame);
    }

    void feedAll() {
        while (!counts_.interrupted) {
            recording::RecordedPacket* const packet = nextPacket();
            if (packet == nullptr) {
                endOfRecording();
                return;
            }
            if (recording::beginsFrame(packet->chunks)) {
                if (settings_.frames.isOver(counts_.framesBegun)) {
                    counts_.stopped = true;
                    return;
                }
                ++counts_.framesBegun;
            }
            ++counts_.read;
            feed(*packet);
            listener_.progress(share(), counts_.framesBegun);
            counts_.interrupted = listener_.interrupted();
        }
    }

    void endOfRecording() {
        if (counts_.damage.empty()) {
            place_ = "the end of the recording";
            guard_.finish();
        }
    }

    // The share of the work done; below 0 if unknown. A selection with an end is done after so many frames.
    double share() const {
        const double ofBytes = reader_.fileSize() == 0 ? -1.0
                                                       : static_cast<double>(reader_.bytesRead()) /
                                                             static_cast<double>(reader_.fileSize());
        if (!settings_.frames.ends() || counts_.framesBegun == 0) {
            return ofBytes;
        }
        const double ofFrames =
            static_cast<double>(counts_.framesBegun - 1) / static_cast<double>(settings_.frames.end);
        return std::max(ofBytes, ofFrames);
    }

    recording::RecordedPacket* nextPacket() {
        try {
            return reader_.next();
        } catch (const recording::RecordingError& error) {
            counts_.damage = error.what();
            return nullptr;
        }
    }

    void feed(recording::RecordedPacket& packet) {
        if (calibration_ && recording::findChunk(packet.chunks, recording::channel::calibration) != nullptr) {
            beginScene();
        }
        readTruth(packet);
        checkCalibration(packet);
        const auto fail = [&](const std::string& reason) {
            ++counts_.failed;
            listener_.trouble(where(packet) + ": " + reason);
        };
        bool failed = false;
        try {
            applyOverrides(settings_.overrides, packet);
            if (listener_.feeding) {
                listener_.feeding(packet);
            }
            // A separate customization goes in through its own pin.
            const bool fromCustomPin =
                recording::findChunk(packet.chunks, recording::channel::customization) != nullptr;
            place_ = where(packet);
            if (!guard_.process(packet.bytes, packet.chunks, fromCustomPin)) {
                ++counts_.held;
                return;
            }
        } catch (const recording::RecordError& error) {
            return fail(error.what());
        } catch (const plugin::PluginError& error) {
            failed = true;
            fail(error.what());
        }
        // After a failure the plug-in may still offer information about it.
        try {
            takeResult(packet, failed);
        } catch (const plugin::PluginError& error) {
            if (!failed) {
                failed = true;
                fail(error.what());
            }
        }
        counts_.processed += failed ? 0 : 1;
    }

    void takeResult(const recording::RecordedPacket& packet, bool failed) {
        const std::vector<std::uint8_t> bytes = plugin_.result(settings_.channels.isInShortForm());
        if (bytes.empty() || !isSelected()) {
            return;
        }
        const zelta::Packet result = resultPacket(bytes);
        ++counts_.results;
        keep(bytes, result);
        std::optional<ResultFrame> frame;
        try {
            const std::optional<std::string> error = errorIn(result);
            if (error && !failed) {
                listener_.trouble(where(packet) + ": the frame went on without a stage: " + *error);
            }
            if (listener_.result) {
                listener_.result(result);
            }
            frame = frameIn(result, settings_.withCoordinates);
        } catch (const recording::RecordError& error) {
            listener_.trouble(where(packet) + ": its result cannot be used: " + error.what());
        }
        if (frame) {
            ++counts_.frames;
            listener_.frame(currentFrame().value_or(0), *frame, truth_ ? &*truth_ : nullptr,
                            simulation_ ? &*simulation_ : nullptr);
        }
    }

    // Writes the selected channels of a result.
    void keep(const std::vector<std::uint8_t>& bytes, const zelta::Packet& result) {
        if (!writer_) {
            return;
        }
        zelta::Packet kept;
        std::copy_if(result.begin(), result.end(), std::back_inserter(kept),
                     [this](const auto& chunk) { return settings_.channels.contains(chunk.channelID); });
        if (kept.size() == result.size()) {
            writer_->write(bytes);
        } else if (!kept.empty()) {
            writer_->write(recording::packetOf(kept));
        }
    }

    // What was told of the scene before holds no longer.
    void beginScene() {
        truth_.reset();
        simulation_.reset();
        if (listener_.scene) {
            listener_.scene();
        }
    }

    void readTruth(const recording::RecordedPacket& packet) {
        try {
            if (auto simulation = recording::simulationSettingsIn(packet.chunks)) {
                simulation_ = std::move(simulation);
            }
            if (auto truth = recording::truthIn(packet.chunks)) {
                truth_ = std::move(truth);
            }
        } catch (const recording::RecordError& error) {
            truth_.reset();
            listener_.trouble(where(packet) + ": the truth cannot be used: " + error.what());
        }
    }

    // The plug-in takes only the first calibration, and silently drops images before it.
    void checkCalibration(const recording::RecordedPacket& packet) {
        const zelta::ZeltaChunk* const chunk =
            recording::findChunk(packet.chunks, recording::channel::calibration);
        if (chunk == nullptr) {
            const bool image = recording::findChunk(packet.chunks, recording::channel::rawImage) != nullptr;
            counts_.uncalibratedImages += image && !calibration_ ? 1 : 0;
            return;
        }
        const auto* const data = static_cast<const std::uint8_t*>(chunk->data);
        const std::span<const std::uint8_t> bytes(data, static_cast<std::size_t>(chunk->dataSize));
        if (!calibration_) {
            calibration_.emplace(bytes.begin(), bytes.end());
            return;
        }
        if (!otherCalibration_ && !std::ranges::equal(*calibration_, bytes)) {
            otherCalibration_ = true;
            listener_.trouble(where(packet) + ": another calibration; the plug-in keeps the first.");
        }
    }

    static std::string where(const recording::RecordedPacket& packet) {
        return "packet " + std::to_string(packet.index) + " (byte " + std::to_string(packet.offset) + ")";
    }

    void finish() {
        counts_.missingImages = guard_.sequence().missingBetweenFrames();
        if (writer_) {
            counts_.written = writer_->packets();
            counts_.writtenBytes = writer_->bytes();
            writer_->finish();
        }
    }

    recording::RecordingReader& reader_;
    const ReplaySettings& settings_;
    plugin::Plugin& plugin_;
    plugin::FrameGuard guard_;
    std::string place_;  // of the packet that the guard judges
    const ReplayListener& listener_;
    std::optional<recording::RecordingWriter> writer_;
    ReplayCounts counts_;
    std::optional<std::vector<std::uint8_t>> calibration_;  // the first
    bool otherCalibration_ = false;
    std::optional<simulation::Truth> truth_;
    std::optional<recording::SimulationSettings> simulation_;
};

}  // namespace

ReplayCounts replay(recording::RecordingReader& reader, const ReplaySettings& settings,
                    plugin::Plugin& plugin, const ReplayListener& listener) {
    return Replay(reader, settings, plugin, listener).run();
}

}  // namespace qor
