// SPDX-License-Identifier: Apache-2.0

#include "session/RecordingIndex.h"

#include <sys/types.h>

#include <chrono>
#include <cstdio>
#include <memory>

#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "recording/Record.h"

namespace web {

RecordingIndex::RecordingIndex(const std::filesystem::path& path) : reader_(path) {}

bool RecordingIndex::grow(double milliseconds) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::duration<double, std::milli>(milliseconds);
    while (!complete_) {
        const recording::RecordedPacket* packet = nullptr;
        try {
            packet = reader_.next();
        } catch (const recording::RecordingError& error) {
            damage_ = error.what();
        }
        if (packet == nullptr) {
            complete_ = true;
            break;
        }
        if (packet->chunks.empty()) {
            if (Clock::now() >= end) {
                break;
            }
            continue;  // a hole in a file is made of these
        }
        const auto holds = [packet](int channel) {
            return recording::findChunk(packet->chunks, channel) != nullptr;
        };
        const bool begins = recording::beginsFrame(packet->chunks);
        if (begins) {
            firstPackets_.push_back(places_.size());
            truthPackets_.push_back(truthPacket_);
        }
        if (holds(recording::channel::calibration)) {
            truthPacket_.reset();
        }
        if (holds(recording::channel::sceneTruth)) {
            truthPacket_ = places_.size();
        }
        if (!truthPackets_.empty()) {
            truthPackets_.back() = truthPacket_;
        }
        places_.push_back({packet->offset, packet->bytes.size()});
        if (Clock::now() >= end) {
            break;
        }
    }
    return !complete_;
}

std::size_t RecordingIndex::frames() const {
    return firstPackets_.size() - (complete_ || firstPackets_.empty() ? 0 : 1);
}

std::size_t RecordingIndex::firstPacketOf(std::size_t frame) const {
    return frame < firstPackets_.size() ? firstPackets_[frame] : places_.size();
}

std::optional<std::size_t> RecordingIndex::truthPacketOf(std::size_t frame) const {
    return frame < truthPackets_.size() ? truthPackets_[frame] : std::nullopt;
}

Bytes RecordingIndex::packet(std::size_t number) const {
    const Place& place = places_.at(number);
    Bytes bytes(place.size);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(reader_.path().c_str(), "rb"),
                                                               &std::fclose);
    if (!file || fseeko(file.get(), static_cast<off_t>(place.offset), SEEK_SET) != 0 ||
        std::fread(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) {
        throw recording::RecordingError("The recording has changed since it was opened; open it again.");
    }
    return bytes;
}

}  // namespace web
