// SPDX-License-Identifier: Apache-2.0
//
// Finds the packets of a damaged recording, even after the damage.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recording/Container.h"

namespace recording {

// The bytes of a recording, by their offset. Of what cannot be mapped, such as a pipe, those are in memory
// that were reached and not forgotten.
class FileBytes {
 public:
    // "-" is standard input. Throws RecordingError if it cannot be opened.
    explicit FileBytes(const std::filesystem::path& path);

    // Of memory that outlives it.
    explicit FileBytes(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    ~FileBytes();
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;

    // Whether there are bytes up to an end. Reads on if need be; throws RecordingError if that fails.
    bool reach(std::size_t end);

    // Of the whole, once reach() found an end; until then, of what was reached.
    std::size_t size() const { return forgotten_ + bytes_.size(); }

    // Valid until the next call of reach() or forget(); all of it must be reached, nothing forgotten.
    std::span<const std::uint8_t> part(std::size_t offset, std::size_t size) const {
        return bytes_.subspan(offset - forgotten_, size);
    }

    // What comes before an offset is no longer wanted.
    void forget(std::size_t offset);

    // Gives the memory of a mapped file back to the system. What is touched again is there again.
    void freePages();

    std::size_t bytesInMemory() const { return read_.size(); }

 private:
    void readOn();

    std::string name_;
    int file_ = -1;  // while there may be more to read
    std::span<const std::uint8_t> bytes_;
    void* mapped_ = nullptr;
    std::vector<std::uint8_t> read_;  // what cannot be mapped
    std::size_t forgotten_ = 0;
};

// A stretch of the file: a packet, or bytes that are none.
struct Stretch {
    std::size_t offset = 0;
    std::size_t size = 0;
    std::size_t faultAt = 0;  // the byte that breaks the rule
    std::string fault;        // a sentence part; empty for a packet
};

// What stands at an offset: a packet and its size, or the rule that it breaks and where.
Stretch packetAt(FileBytes& bytes, std::size_t offset);

// Goes through a recording or a container, whatever is wrong with it. After damage, the next packet with
// chunks is searched; all bytes before it belong to the damage.
class Salvage {
 public:
    explicit Salvage(FileBytes& bytes);

    // In order and, but for head and index of a container, without gaps; none at the end.
    std::optional<Stretch> next();

    // The bytes of the packet that next() gave, or of the damage. They are there until the next call.
    std::span<const std::uint8_t> bytesOf(const Stretch& stretch) const;

 private:
    std::optional<Stretch> nextPlain();
    std::optional<Stretch> nextStored();
    std::optional<Stretch> faultOfIndex();
    std::optional<Stretch> faultOfEnd();
    Stretch damagedFrom(const std::string& fault);

    FileBytes& bytes_;
    std::optional<container::Unpacker> unpacker_;  // of a container
    std::vector<std::uint8_t> packet_;             // of a container
    std::vector<std::uint64_t> offsets_;           // of the good packets of a container
    bool damaged_ = false;                         // a stretch of a container was
    bool indexSeen_ = false;                       // whole or damaged
    std::size_t given_ = 0;                        // offset after the stretches given
    std::optional<Stretch> next_;                  // looked at already
};

}  // namespace recording
