// SPDX-License-Identifier: Apache-2.0
//
// A container of packets, ".zeltaz": each packet compressed and with a checksum, an index at the end.
//
//     head     8 bytes
//     packets  each a header of 28 bytes, then the compressed bytes
//     index    where each packet begins
//
// Numbers are little-endian. docs/recordings.md has the bytes.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

struct ZSTD_CCtx_s;
struct ZSTD_DCtx_s;

namespace recording {

// Whether a recording of this name is written as a container.
bool isContainerName(const std::filesystem::path& path);

namespace container {

inline constexpr std::size_t headSize = 8;
inline constexpr std::size_t headerSize = 28;      // before each packet
inline constexpr std::size_t indexFrameSize = 40;  // the index less its offsets, 8 bytes each

// The first word of a container. No plain recording begins with it: it is more chunks than a packet has.
inline constexpr std::uint32_t firstWord = 0x544C455A;  // "ZELT"
inline constexpr std::uint32_t packetMark = 0x4B50515A;
inline constexpr std::uint32_t indexMark = 0x5849515A;

std::vector<std::uint8_t> head();

struct Header {
    std::size_t storedSize = 0;
    std::size_t packetSize = 0;
    std::uint64_t checksum = 0;  // of the packet
};

// Of headerSize bytes; none if they are no header, or damaged.
std::optional<Header> headerIn(std::span<const std::uint8_t> bytes);

class Packer {
 public:
    Packer();
    // Header and compressed bytes. Throws std::runtime_error.
    std::vector<std::uint8_t> packed(std::span<const std::uint8_t> packet);

 private:
    struct Free {
        void operator()(ZSTD_CCtx_s* context) const;
    };
    std::unique_ptr<ZSTD_CCtx_s, Free> context_;
};

class Unpacker {
 public:
    Unpacker();
    // Memory grows with what is really there. Empty if all is well, otherwise what is wrong, as a part of a
    // sentence.
    std::string unpack(const Header& header, std::span<const std::uint8_t> stored,
                       std::vector<std::uint8_t>& packet);

 private:
    struct Free {
        void operator()(ZSTD_DCtx_s* context) const;
    };
    std::unique_ptr<ZSTD_DCtx_s, Free> context_;
};

// An index that begins at byte `at`.
std::vector<std::uint8_t> index(std::span<const std::uint64_t> offsets, std::uint64_t at);

// Where packets begin, by an index of known bytes; none if it is damaged.
std::optional<std::vector<std::uint64_t>> offsetsIn(std::span<const std::uint8_t> index, std::uint64_t at);

// The number of packets that an index of at least 16 bytes tells.
std::uint64_t countIn(std::span<const std::uint8_t> index);

}  // namespace container
}  // namespace recording
