// SPDX-License-Identifier: Apache-2.0

#include "session/RecordingIndex.h"

#include <sys/types.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <span>

#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "recording/Record.h"

namespace web {
namespace {

constexpr std::uint64_t largestHole = 1 << 20;  // bytes of empty packets, 4 each, that are read over

}  // namespace

RecordingIndex::RecordingIndex(const std::filesystem::path& path)
    : reader_(path), file_(std::fopen(path.c_str(), "rb")) {
    if (!file_) {
        throw recording::RecordingError("Cannot read " + recording::nameOf(path) + ".");
    }
    Bytes begin(recording::container::headSize);
    begin.resize(std::fread(begin.data(), 1, begin.size(), file_.get()));
    if (begin == recording::container::head()) {
        unpacker_ = std::make_unique<recording::container::Unpacker>();
    }
}

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
        if (packet == nullptr || isHole(*packet)) {
            complete_ = true;
            break;
        }
        if (!packet->chunks.empty()) {
            note(*packet);
        }
        if (Clock::now() >= end) {
            break;
        }
    }
    return !complete_;
}

bool RecordingIndex::isHole(const recording::RecordedPacket& packet) {
    if (!packet.chunks.empty()) {
        emptyFrom_.reset();
        return false;
    }
    emptyFrom_ = emptyFrom_.value_or(packet.offset);
    if (reader_.bytesRead() - *emptyFrom_ < largestHole) {
        return false;
    }
    damage_ = recording::nameOf(reader_.path()) + " has a hole at byte " + std::to_string(*emptyFrom_) +
              ": from there on it holds zeros in place of packets. What comes after them is not shown.";
    return true;
}

void RecordingIndex::note(const recording::RecordedPacket& packet) {
    const auto holds = [&packet](int channel) {
        return recording::findChunk(packet.chunks, channel) != nullptr;
    };
    if (recording::beginsFrame(packet.chunks)) {
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
    places_.push_back({packet.offset, static_cast<std::size_t>(reader_.bytesRead() - packet.offset)});
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
    const recording::RecordingError changed("The recording has changed since it was opened; open it again.");
    const Place& place = places_.at(number);
    Bytes bytes(place.size);
    if (fseeko(file_.get(), static_cast<off_t>(place.offset), SEEK_SET) != 0 ||
        std::fread(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size()) {
        throw changed;
    }
    if (!unpacker_) {
        return bytes;
    }
    using recording::container::headerSize;
    const auto header = bytes.size() > headerSize ? recording::container::headerIn(bytes) : std::nullopt;
    Bytes packet;
    if (!header || !unpacker_->unpack(*header, std::span(bytes).subspan(headerSize), packet).empty()) {
        throw changed;
    }
    return packet;
}

}  // namespace web
