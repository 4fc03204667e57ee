// SPDX-License-Identifier: Apache-2.0
//
// Finds the packets of a damaged recording, even after the damage.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace recording {

// The bytes of a file, or of standard input for "-".
class FileBytes {
 public:
    // Throws RecordingError if they cannot be read.
    explicit FileBytes(const std::filesystem::path& path);
    ~FileBytes();
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;

    std::span<const std::uint8_t> bytes() const { return bytes_; }

 private:
    std::span<const std::uint8_t> bytes_;
    void* mapped_ = nullptr;
    std::vector<std::uint8_t> read_;  // what cannot be mapped
};

// A stretch of the file: a packet, or bytes that are none.
struct Stretch {
    std::size_t offset = 0;
    std::size_t size = 0;
    std::size_t faultAt = 0;  // the byte that breaks the rule
    std::string fault;        // a sentence part; empty for a packet
};

// What stands at an offset: a packet and its size, or the rule that it breaks and where.
Stretch packetAt(std::span<const std::uint8_t> bytes, std::size_t offset);

// All stretches in order, without gaps. After damage, the next packet with chunks is searched; the bytes
// before it belong to the damage, and so do packets without chunks next to it.
std::vector<Stretch> salvage(std::span<const std::uint8_t> bytes);

}  // namespace recording
