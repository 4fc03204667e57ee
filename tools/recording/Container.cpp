// SPDX-License-Identifier: Apache-2.0

#include "recording/Container.h"

#include <xxhash.h>
#include <zstd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string_view>

namespace recording {

bool isContainerName(const std::filesystem::path& path) {
    return path.extension() == ".zeltaz";
}

namespace container {
namespace {

static_assert(std::endian::native == std::endian::little);

constexpr int level = 3;  // of the compression: more costs much time for little
constexpr std::array<std::uint8_t, headSize> headBytes{'Z', 'E', 'L', 'T', 'A', 'Z', 1, '\n'};
constexpr std::array<std::uint8_t, 8> tailBytes{'Z', 'E', 'L', 'T', 'A', 'Z', 0, '\n'};
constexpr std::size_t mostPacketBytes = 0x7FFFFFFF;
constexpr std::size_t checkedSize = headerSize - sizeof(std::uint64_t);  // of a header, before its checksum

template <typename T>
void put(std::span<std::uint8_t> bytes, std::size_t offset, T value) {
    std::memcpy(bytes.data() + offset, &value, sizeof(T));
}

template <typename T>
void append(std::vector<std::uint8_t>& bytes, T value) {
    bytes.resize(bytes.size() + sizeof(T));
    put(bytes, bytes.size() - sizeof(T), value);
}

template <typename T>
T numberAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
    T value{};
    std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
}

std::uint64_t checksumOf(std::span<const std::uint8_t> bytes) {
    return XXH3_64bits(bytes.data(), bytes.size());
}

}  // namespace

std::vector<std::uint8_t> head() {
    return {headBytes.begin(), headBytes.end()};
}

std::optional<Header> headerIn(std::span<const std::uint8_t> bytes) {
    if (numberAt<std::uint32_t>(bytes, 0) != packetMark ||
        numberAt<std::uint64_t>(bytes, checkedSize) != checksumOf(bytes.first(checkedSize))) {
        return std::nullopt;
    }
    const Header header{numberAt<std::uint32_t>(bytes, 4), numberAt<std::uint32_t>(bytes, 8),
                        numberAt<std::uint64_t>(bytes, 12)};
    return header.storedSize <= mostPacketBytes && header.packetSize <= mostPacketBytes
               ? std::optional(header)
               : std::nullopt;
}

void Packer::Free::operator()(ZSTD_CCtx_s* context) const {
    ZSTD_freeCCtx(context);
}

Packer::Packer() : context_(ZSTD_createCCtx()) {
    if (context_ == nullptr) {
        throw std::bad_alloc();
    }
}

std::vector<std::uint8_t> Packer::packed(std::span<const std::uint8_t> packet) {
    std::vector<std::uint8_t> bytes(headerSize + ZSTD_compressBound(packet.size()));
    const std::size_t size =
        ZSTD_compressCCtx(context_.get(), bytes.data() + headerSize, bytes.size() - headerSize, packet.data(),
                          packet.size(), level);
    if (ZSTD_isError(size) != 0 || size > mostPacketBytes) {
        throw std::runtime_error("a packet cannot be compressed");
    }
    bytes.resize(headerSize + size);
    put(bytes, 0, packetMark);
    put(bytes, 4, static_cast<std::uint32_t>(size));
    put(bytes, 8, static_cast<std::uint32_t>(packet.size()));
    put(bytes, 12, checksumOf(packet));
    put(bytes, checkedSize, checksumOf(std::span(bytes).first(checkedSize)));
    return bytes;
}

void Unpacker::Free::operator()(ZSTD_DCtx_s* context) const {
    ZSTD_freeDCtx(context);
}

Unpacker::Unpacker() : context_(ZSTD_createDCtx()) {
    if (context_ == nullptr) {
        throw std::bad_alloc();
    }
}

std::string Unpacker::unpack(const Header& header, std::span<const std::uint8_t> stored,
                             std::vector<std::uint8_t>& packet) {
    constexpr std::size_t largestStep = std::size_t{1} << 20U;
    packet.clear();
    ZSTD_DCtx_reset(context_.get(), ZSTD_reset_session_only);
    ZSTD_inBuffer input{stored.data(), stored.size(), 0};
    std::size_t rest = 1;  // 0 at the end of the compressed bytes
    while (rest != 0 && packet.size() <= header.packetSize) {
        const std::size_t before = packet.size();
        // One byte more than there should be shows what is too long.
        packet.resize(before + std::min(largestStep, header.packetSize + 1 - before));
        ZSTD_outBuffer output{packet.data() + before, packet.size() - before, 0};
        rest = ZSTD_decompressStream(context_.get(), &output, &input);
        packet.resize(before + output.pos);
        if (ZSTD_isError(rest) != 0) {
            return std::string("the compressed packet is damaged: ") + ZSTD_getErrorName(rest);
        }
        if (output.pos == 0 && rest != 0) {
            return "the compressed packet ends too early";
        }
    }
    if (packet.size() != header.packetSize || input.pos != stored.size()) {
        return "the packet has another size than its header says";
    }
    return checksumOf(packet) == header.checksum ? "" : "the checksum of the packet is wrong";
}

std::vector<std::uint8_t> index(std::span<const std::uint64_t> offsets, std::uint64_t at) {
    std::vector<std::uint8_t> bytes;
    append(bytes, indexMark);
    append(bytes, std::uint32_t{0});
    append(bytes, static_cast<std::uint64_t>(offsets.size()));
    for (const std::uint64_t offset : offsets) {
        append(bytes, offset);
    }
    append(bytes, checksumOf(bytes));
    append(bytes, at);
    bytes.insert(bytes.end(), tailBytes.begin(), tailBytes.end());
    return bytes;
}

std::uint64_t countIn(std::span<const std::uint8_t> index) {
    return numberAt<std::uint64_t>(index, 8);
}

std::optional<std::vector<std::uint64_t>> offsetsIn(std::span<const std::uint8_t> bytes, std::uint64_t at) {
    constexpr std::size_t start = 16;
    if (bytes.size() < indexFrameSize || countIn(bytes) != (bytes.size() - indexFrameSize) / 8) {
        return std::nullopt;
    }
    std::vector<std::uint64_t> offsets;
    offsets.reserve((bytes.size() - indexFrameSize) / 8);
    for (std::size_t place = start; place < bytes.size() - (indexFrameSize - start); place += 8) {
        offsets.push_back(numberAt<std::uint64_t>(bytes, place));
    }
    const std::vector<std::uint8_t> expected = index(offsets, at);
    return std::equal(expected.begin(), expected.end(), bytes.begin(), bytes.end()) ? std::optional(offsets)
                                                                                    : std::nullopt;
}

}  // namespace container
}  // namespace recording
