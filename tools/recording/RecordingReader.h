// SPDX-License-Identifier: Apache-2.0
//
// Reads a recording packet by packet. A recording is packets of the wire format one after the other and
// nothing else. What comes before a damaged place stays readable.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>
#include <vector>

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

class RecordingReader {
 public:
    // Throws RecordingError if there is no such file.
    explicit RecordingReader(const std::filesystem::path& path);

    // The next packet, valid until the next call; null at the end. Throws RecordingError at a damaged place;
    // from then on, the recording is at its end.
    RecordedPacket* next();

    std::size_t packetsRead() const { return packets_; }
    std::uint64_t bytesRead() const { return position_; }
    std::uint64_t fileSize() const { return fileSize_; }  // 0 if unknown, as for a pipe

 private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void readPacket();
    void readChunk(std::uint32_t number);
    std::uint32_t readWord(const char* what);
    std::int32_t readSize(std::uint32_t number, const char* what);
    void readMark(std::uint32_t expected, std::uint32_t number, const char* behind);
    void readBytes(std::size_t count, const char* what);
    std::uint64_t offset() const { return packet_.offset + buffer_.size(); }
    [[noreturn]] void fail(std::uint64_t at, const std::string& reason) const;

    std::filesystem::path path_;
    std::unique_ptr<std::FILE, CloseFile> file_;
    std::uint64_t fileSize_ = 0;
    std::uint64_t position_ = 0;
    std::size_t packets_ = 0;
    bool ended_ = false;
    std::vector<std::uint8_t> buffer_;
    RecordedPacket packet_;
};

}  // namespace recording
