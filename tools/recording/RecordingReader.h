// SPDX-License-Identifier: Apache-2.0
//
// Reads a recording packet by packet. A recording is packets of the wire format one after the other and
// nothing else, or a container of them. Everything before a damaged place stays readable.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "recording/Container.h"
#include "recording/RecordingError.h"
#include "zelta_packet.h"

namespace recording {

// One packet of a recording. Its bytes may be changed in place, except sizes and marks.
struct RecordedPacket {
    std::size_t index = 0;     // in the recording, from 0
    std::uint64_t offset = 0;  // in the file, bytes
    std::span<std::uint8_t> bytes;
    zelta::Packet chunks;  // they point into `bytes`
};

// "-" is standard input.
bool isStandardInput(const std::filesystem::path& path);

// The path, or "standard input".
std::string nameOf(const std::filesystem::path& recording);

class RecordingReader {
 public:
    // Throws RecordingError if there is no such file.
    explicit RecordingReader(const std::filesystem::path& path);

    // The next packet, valid until the next call; null at the end. Throws RecordingError at a damaged place;
    // from then on, the recording is at its end.
    RecordedPacket* next();

    // The packet after those already looked at; null at the end or at a damaged place. next() returns it
    // again, as it was recorded, so that a recording from a pipe can be looked into as well. Packets looked
    // at stay in memory until next() has returned them.
    const RecordedPacket* lookAhead();

    const std::filesystem::path& path() const { return path_; }
    bool isStream() const { return fileSize_ == 0 || isStandardInput(path_); }  // it can be read once

    std::size_t packetsRead() const { return packetsGiven_; }      // by next()
    std::uint64_t bytesRead() const { return position_; }          // by next()
    std::uint64_t fileSize() const { return fileSize_; }           // 0 if unknown, as for a pipe
    std::uint64_t bytesAhead() const { return end_ - position_; }  // of the packets looked at

 private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    // A packet as it lies in memory, and the bytes that it takes in the file.
    struct HeldPacket {
        std::vector<std::uint8_t> bytes;
        std::size_t stored = 0;
    };

    bool readNext();
    bool readStored();
    void readIndex();
    RecordedPacket* packetIn(std::size_t index, std::uint64_t offset, std::vector<std::uint8_t>& bytes);
    void readPacket();
    void readChunk(std::uint32_t number);
    std::uint32_t readWord(const char* what);
    std::int32_t readSize(std::uint32_t number, const char* what);
    void readMark(std::uint32_t expected, std::uint32_t number, const char* after);
    void readBytes(std::size_t count, const char* what);
    std::uint64_t offset() const { return end_ + buffer_.size(); }
    [[noreturn]] void fail(std::uint64_t at, const std::string& reason) const;

    std::filesystem::path path_;
    std::unique_ptr<std::FILE, CloseFile> file_;
    std::uint64_t fileSize_ = 0;
    std::uint64_t position_ = 0;  // after the packets given
    std::uint64_t end_ = 0;       // after the packets read from the file
    std::size_t packetsGiven_ = 0;
    std::size_t packetsRead_ = 0;
    bool ended_ = false;
    std::string damage_;            // met while looking ahead; empty if none
    std::deque<HeldPacket> ahead_;  // looked at, but not given
    std::vector<std::uint8_t> buffer_;
    std::size_t stored_ = 0;                         // bytes in the file of what is in the buffer
    std::unique_ptr<container::Unpacker> unpacker_;  // of a container
    std::vector<std::uint64_t> offsets_;             // of the packets of a container
    RecordedPacket packet_;
};

}  // namespace recording
