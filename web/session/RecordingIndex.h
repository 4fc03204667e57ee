// SPDX-License-Identifier: Apache-2.0
//
// Where the frames of a recording stand. The recording stays where it is; the index grows piece by piece.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "recording/Container.h"
#include "recording/RecordingReader.h"

namespace web {

using Bytes = std::vector<std::uint8_t>;

class RecordingIndex {
 public:
    // Throws recording::RecordingError if there is no such file.
    explicit RecordingIndex(const std::filesystem::path& path);

    // Reads on until the time is over, but one packet at least. False at the end, at a damaged place and in a
    // hole: a file of zeros is packets of nothing, and millions of them say no more than a few.
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
    // In the file, where a container has compressed bytes.
    struct Place {
        std::uint64_t offset;
        std::size_t size;
    };

    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void note(const recording::RecordedPacket& packet);
    bool isHole(const recording::RecordedPacket& packet);

    recording::RecordingReader reader_;
    std::unique_ptr<std::FILE, CloseFile> file_;                // for packets out of their order
    std::unique_ptr<recording::container::Unpacker> unpacker_;  // if it is a container
    std::optional<std::uint64_t> emptyFrom_;                    // where the empty packets read last begin
    std::vector<Place> places_;
    std::optional<std::size_t> truthPacket_;                // as the index stands
    std::vector<std::optional<std::size_t>> truthPackets_;  // of each frame that has begun
    std::vector<std::size_t> firstPackets_;                 // of each frame that has begun
    bool complete_ = false;
    std::string damage_;
};

}  // namespace web
