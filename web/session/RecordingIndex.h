// SPDX-License-Identifier: Apache-2.0
//
// Where the frames of a recording stand. The recording stays where it is; the index grows piece by piece.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "recording/RecordingReader.h"

namespace web {

using Bytes = std::vector<std::uint8_t>;

class RecordingIndex {
 public:
    // Throws recording::RecordingError if there is no such file.
    explicit RecordingIndex(const std::filesystem::path& path);

    // Reads on until the time is over, but one packet at least. False at the end or at a damaged place.
    bool grow(double milliseconds);

    // Whose end is known, because the next frame or the end of the recording came.
    std::size_t frames() const;
    std::size_t packets() const { return places_.size(); }
    std::uint64_t bytesRead() const { return reader_.bytesRead(); }
    std::uint64_t fileSize() const { return reader_.fileSize(); }
    bool isComplete() const { return complete_; }
    const std::string& damage() const { return damage_; }  // a sentence; empty if there is none

    // Number of the first packet of a frame; of the number of frames, the packets read.
    std::size_t firstPacketOf(std::size_t frame) const;

    // The latest packet with a truth that comes before the end of the frame, and no calibration after it.
    std::optional<std::size_t> truthPacketOf(std::size_t frame) const;

    // The bytes of one packet. Throws recording::RecordingError if the file has changed.
    Bytes packet(std::size_t number) const;

 private:
    struct Place {
        std::uint64_t offset;
        std::size_t size;
    };

    recording::RecordingReader reader_;
    std::vector<Place> places_;
    std::optional<std::size_t> truthPacket_;                // as the index stands
    std::vector<std::optional<std::size_t>> truthPackets_;  // of each frame that has begun
    std::vector<std::size_t> firstPackets_;                 // of each frame that has begun
    bool complete_ = false;
    std::string damage_;
};

}  // namespace web
