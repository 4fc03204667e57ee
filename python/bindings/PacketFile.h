// SPDX-License-Identifier: Apache-2.0
//
// The packets of a recording where they lie: in the mapped file, or unpacked from a container.

#pragma once

#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recording/Container.h"
#include "recording/Salvage.h"
#include "zelta_packet.h"

namespace bindings {

// The bytes of one packet, and whoever keeps them. The chunks point into the bytes.
class PacketBytes {
 public:
    // Throws recording::RecordingError, with the sentence, if the bytes are no packet.
    PacketBytes(std::shared_ptr<const void> owner, std::span<const std::uint8_t> bytes, std::size_t index,
                std::uint64_t offset);

    std::span<const std::uint8_t> bytes() const { return bytes_; }
    const zelta::Packet& chunks() const { return chunks_; }
    std::size_t index() const { return index_; }
    std::uint64_t offset() const { return offset_; }

 private:
    std::shared_ptr<const void> owner_;
    std::span<const std::uint8_t> bytes_;
    std::size_t index_;
    std::uint64_t offset_;
    zelta::Packet chunks_;
};

// Finds the packets one after the other, as far as they are asked for. Needs the interpreter lock.
class PacketFile {
 public:
    // Throws recording::RecordingError.
    explicit PacketFile(const std::filesystem::path& path);

    // None after the last. The bytes live as long as the packet.
    std::optional<PacketBytes> packet(std::size_t index);

    // Of packets before the end or the damage. Looks through the whole file.
    std::size_t count();

    // Why the file cannot be read beyond the packets found so far, with the place; empty if it can.
    const std::string& damage() const { return damage_; }
    bool isContainer() const { return unpacker_.has_value(); }

 private:
    bool findNext();
    bool findNextPlain();
    bool findNextStored();
    bool endOfContainer();
    bool breakAt(std::uint64_t at, const std::string& reason);
    void freePagesNowAndThen();
    std::shared_ptr<std::vector<std::uint8_t>> unpacked(std::size_t index);

    std::filesystem::path path_;
    std::shared_ptr<recording::FileBytes> file_;
    std::optional<recording::container::Unpacker> unpacker_;  // of a container
    std::vector<std::uint64_t> offsets_;                      // of the packets found
    std::uint64_t end_ = 0;                                   // after them
    bool ended_ = false;
    std::string damage_;
    std::size_t touched_ = 0;  // packets since pages were freed
};

void addPacketFile(pybind11::module_& module);

}  // namespace bindings
