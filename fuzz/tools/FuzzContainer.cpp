// SPDX-License-Identifier: Apache-2.0
//
// Any bytes as a container of packets, as what doctor and recover look through, and as the compressed bytes
// of one packet, which the checksums keep from the reader otherwise. Input: what it is, 1 byte, then its
// bytes.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "MemoryFile.h"
#include "PacketZelta.h"
#include "recording/Container.h"
#include "recording/RecordingReader.h"
#include "recording/Salvage.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void readPackets(Bytes bytes) {
    const fuzz::MemoryFile file(bytes);
    try {
        recording::RecordingReader reader(file.path());
        while (reader.next() != nullptr) {
        }
    } catch (const recording::RecordingError& error) {
        require(!std::string(error.what()).empty());
    }
    zelta::PacketCacheClear();
}

/** Every stretch lies within the file and after the one before it, and a damaged one is told with its place.
 */
void lookThrough(Bytes bytes) {
    recording::FileBytes file(bytes);
    recording::Salvage salvage(file);
    std::size_t end = 0;
    while (const auto stretch = salvage.next()) {
        require(stretch->offset >= end && stretch->offset + stretch->size <= bytes.size());
        require(stretch->fault.empty() || stretch->faultAt <= bytes.size());
        salvage.bytesOf(*stretch);
        end = stretch->offset + stretch->size;
    }
}

/** A header that fits the bytes, but for the size that it claims. */
void unpackOne(Bytes bytes) {
    recording::container::Header header;
    std::uint32_t claimed = 0;
    if (bytes.size() < sizeof claimed) {
        return;
    }
    std::memcpy(&claimed, bytes.data(), sizeof claimed);
    const Bytes stored = bytes.subspan(sizeof claimed);
    header.storedSize = stored.size();
    header.packetSize = claimed & 0x7FFFFFFFU;
    std::vector<std::uint8_t> packet;
    recording::container::Unpacker().unpack(header, stored, packet);
}

void readIndex(Bytes bytes) {
    const std::uint64_t at = recording::container::headSize;
    const auto offsets = recording::container::offsetsIn(bytes, at);
    for (const std::uint64_t offset : offsets.value_or(std::vector<std::uint64_t>())) {
        require(offset < at);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const Bytes bytes(data + 1, size - 1);
    switch (data[0] % 4) {
        case 0:
            readPackets(bytes);
            break;
        case 1:
            lookThrough(bytes);
            break;
        case 2:
            unpackOne(bytes);
            break;
        default:
            readIndex(bytes);
            break;
    }
    return 0;
}
