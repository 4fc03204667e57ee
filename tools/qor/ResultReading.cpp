// SPDX-License-Identifier: Apache-2.0

#include "qor/ResultReading.h"

#include <fmt/format.h>

#include <optional>

#include "qor/ExitCode.h"
#include "qor/TruthFollower.h"
#include "recording/Channels.h"
#include "recording/Record.h"

namespace qor {
namespace {

// A frame has at most 32 images, so a result shows itself within so many packets.
constexpr std::size_t mostPacketsToTell = 64;

bool isMadeByPlugin(const zelta::Packet& packet) {
    using namespace recording;
    for (const int number : {channel::result, channel::state, channel::pipelineInput, channel::pipelineOutput,
                             channel::debug, channel::profiling}) {
        if (findChunk(packet, number) != nullptr) {
            return true;
        }
    }
    return false;
}

// Takes one packet after the other.
class Reading {
 public:
    Reading(const FrameSelection& frames, const std::filesystem::path& truth, const ResultListener& listener)
        : frames_(frames), listener_(listener) {
        if (!truth.empty()) {
            follower_.emplace(truth);
        }
    }

    void take(const recording::RecordedPacket& packet) {
        const std::string place = fmt::format("packet {}: ", packet.index);
        try {
            if (listener_.packet) {
                listener_.packet(packet);
            }
            if (auto settingsHere = recording::simulationSettingsIn(packet.chunks)) {
                simulation_ = std::move(settingsHere);
            }
            if (auto truthHere = recording::truthIn(packet.chunks)) {
                own_ = std::move(truthHere);
            }
            const std::optional<ResultFrame> frame = frameIn(packet.chunks, false);
            if (frame && frames_.contains(number_++)) {
                tell(*frame, packet.chunks, place);
            }
        } catch (const recording::RecordError& error) {
            listener_.trouble(ExitCode::BadData, place + error.what());
        }
    }

 private:
    void tell(const ResultFrame& frame, const zelta::Packet& result, const std::string& place) {
        const bool found = follower_ && follower_->find(frame.timestamp);
        if (follower_ && !found) {
            listener_.trouble(ExitCode::Findings,
                              fmt::format("{}the recording of the truth has no image of its time, {} us.",
                                          place, frame.timestamp));
        }
        listener_.frame(number_ - 1, frame, result, found ? follower_->truth() : (own_ ? &*own_ : nullptr),
                        found ? follower_->simulation() : (simulation_ ? &*simulation_ : nullptr));
    }

    const FrameSelection& frames_;
    const ResultListener& listener_;
    std::optional<TruthFollower> follower_;
    std::optional<simulation::Truth> own_;
    std::optional<recording::SimulationSettings> simulation_;
    std::size_t number_ = 0;
};

}  // namespace

bool holdsResults(recording::RecordingReader& reader) {
    for (std::size_t k = 0; k < mostPacketsToTell; ++k) {
        const recording::RecordedPacket* const packet = reader.lookAhead();
        if (packet == nullptr) {
            return false;
        }
        if (isMadeByPlugin(packet->chunks)) {
            return true;
        }
    }
    return false;
}

ResultCounts readResults(recording::RecordingReader& reader, const FrameSelection& frames,
                         const std::filesystem::path& truth, const ResultListener& listener) {
    ResultCounts counts;
    Reading reading(frames, truth, listener);
    try {
        while (const recording::RecordedPacket* const packet = reader.next()) {
            ++counts.packets;
            reading.take(*packet);
            if (listener.interrupted()) {
                counts.interrupted = true;
                break;
            }
        }
    } catch (const recording::RecordingError& error) {
        counts.damage = error.what();
    }
    return counts;
}

}  // namespace qor
