// SPDX-License-Identifier: Apache-2.0
// The packet as bytes: its writer, and its readers from a buffer, a file and a stream.
#include "zelta_packet.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <istream>
#include <map>

namespace zelta {
namespace {

// The marks around description and data. All words are in the byte order of the machine.
constexpr std::uint32_t kMarkBeforeDescription = 0x01234567;
constexpr std::uint32_t kMarkBehindDescription = 0x76543210;
constexpr std::uint32_t kMarkBehindData = 0x89ABCDEF;

constexpr int kWordBytes = 4;
constexpr int kChunkOverheadBytes = 6 * kWordBytes;  // channel, both sizes, three marks

const char* const kEndOfFile = "End of file reached";

}  // namespace

int packet_get_required_size(const std::vector<ZeltaChunk>& chunks) {
    std::uint64_t size = kWordBytes;
    for (const ZeltaChunk& chunk : chunks) {
        if (chunk.dataSize <= 0 || chunk.descSize <= 0) {
            return -1;
        }
        size += kChunkOverheadBytes + static_cast<std::uint64_t>(chunk.dataSize) +
                static_cast<std::uint64_t>(chunk.descSize);
    }
    return size <= INT_MAX ? static_cast<int>(size) : -1;
}

// --- Writer ---

namespace {

class Writer {
 public:
    explicit Writer(void* buffer) : m_to(static_cast<unsigned char*>(buffer)) {}

    void word(std::uint32_t value) { bytes(&value, kWordBytes); }

    void bytes(const void* data, int size) {
        std::memcpy(m_to, data, static_cast<std::size_t>(size));
        m_to += size;
    }

 private:
    unsigned char* m_to;
};

}  // namespace

int packet_create(void* buffer, int bufferSize, const std::vector<ZeltaChunk>& chunks) {
    const int required = packet_get_required_size(chunks);
    if (required < 0 || required != bufferSize || buffer == nullptr) {
        return -1;
    }
    Writer writer(buffer);
    writer.word(static_cast<std::uint32_t>(chunks.size()));
    for (const ZeltaChunk& chunk : chunks) {
        writer.word(static_cast<std::uint32_t>(chunk.channelID));
        writer.word(static_cast<std::uint32_t>(chunk.descSize));
        writer.word(static_cast<std::uint32_t>(chunk.dataSize));
        writer.word(kMarkBeforeDescription);
        writer.bytes(chunk.description, chunk.descSize);
        writer.word(kMarkBehindDescription);
        writer.bytes(chunk.data, chunk.dataSize);
        writer.word(kMarkBehindData);
    }
    return 0;
}

// --- Reader from a buffer ---

namespace {

/// The rest of a packet in memory. Each step fails if there are too few bytes.
class BufferReader {
 public:
    BufferReader(const void* buffer, int size)
        : m_at(static_cast<const unsigned char*>(buffer)), m_remaining(size) {}

    bool number(int& value) {
        std::uint32_t bits = 0;
        const bool isThere = word(bits);
        value = static_cast<int>(bits);
        return isThere;
    }

    bool mark(std::uint32_t expected) {
        std::uint32_t bits = 0;
        return word(bits) && bits == expected;
    }

    /// Leaves `data` alone on failure. `size` is not negative.
    bool block(const void*& data, int size) {
        if (m_remaining < size) {
            return false;
        }
        data = m_at;
        m_at += size;
        m_remaining -= size;
        return true;
    }

 private:
    bool word(std::uint32_t& bits) {
        const void* data = nullptr;
        if (!block(data, kWordBytes)) {
            return false;
        }
        std::memcpy(&bits, data, kWordBytes);
        return true;
    }

    const unsigned char* m_at;
    int m_remaining;
};

/// The pointers are set only when the whole chunk is good.
bool parseChunk(BufferReader& reader, ZeltaChunk& chunk) {
    const void* description = nullptr;
    const void* data = nullptr;
    const bool isGood = reader.number(chunk.channelID) && reader.number(chunk.descSize) &&
                        reader.number(chunk.dataSize) && chunk.descSize > 0 && chunk.dataSize > 0 &&
                        reader.mark(kMarkBeforeDescription) && reader.block(description, chunk.descSize) &&
                        reader.mark(kMarkBehindDescription) && reader.block(data, chunk.dataSize) &&
                        reader.mark(kMarkBehindData);
    if (isGood) {
        chunk.description = description;
        chunk.data = data;
    }
    return isGood;
}

}  // namespace

int packet_parse(const void* buffer, int size, std::vector<ZeltaChunk>& chunks) {
    chunks.clear();
    if (buffer == nullptr) {
        return -1;
    }
    BufferReader reader(buffer, size);
    int count = 0;
    if (!reader.number(count) || static_cast<unsigned int>(count) > kMaxChunks) {
        return -1;
    }
    chunks.resize(static_cast<std::size_t>(count));
    const bool isGood = std::all_of(chunks.begin(), chunks.end(),
                                    [&reader](ZeltaChunk& chunk) { return parseChunk(reader, chunk); });
    return isGood ? 0 : -1;
}

// --- Readers from a file and from a stream ---

namespace {

/// Bytes of a file; the end of the file throws.
class FileSource {
 public:
    explicit FileSource(FILE* file) : m_file(file) {}

    unsigned char byte() {
        unsigned char value = 0;
        block(&value, 1);
        return value;
    }

    bool block(unsigned char* bytes, std::size_t size) {
        if (std::fread(bytes, 1, size, m_file) != size) {
            throw ZltEOFException(kEndOfFile);
        }
        return true;
    }

 private:
    FILE* m_file;
};

/// Bytes of a stream. Words are read without checking its state: after its end each byte repeats the last
/// one, at first 0. A mark has no four equal bytes, so a stream that ends after a count above 0 is refused.
class StreamSource {
 public:
    explicit StreamSource(std::istream& stream) : m_stream(stream) {}

    unsigned char byte() {
        m_stream.read(&m_byte, 1);
        return static_cast<unsigned char>(m_byte);
    }

    bool block(unsigned char* bytes, std::size_t size) {
        m_stream.read(reinterpret_cast<char*>(bytes), static_cast<std::streamsize>(size));
        return static_cast<std::size_t>(m_stream.gcount()) == size;
    }

 private:
    std::istream& m_stream;
    char m_byte = 0;
};

/// Collects one packet from a source.
template <typename Source>
class SourceReader {
 public:
    SourceReader(Source source, std::vector<ZeltaChunk>& chunks) : m_source(source), m_chunks(chunks) {}

    bool read() {
        const std::uint32_t count = word();
        if (count > kMaxChunks) {
            return false;
        }
        m_chunks.resize(count);
        return std::all_of(m_chunks.begin(), m_chunks.end(),
                           [this](ZeltaChunk& chunk) { return readChunk(chunk); });
    }

    /// Moves the bytes to a block of their own, and makes the chunks point into it.
    std::unique_ptr<char[]> release() {
        std::unique_ptr<char[]> storage(new char[m_bytes.size()]);
        std::memcpy(storage.get(), m_bytes.data(), m_bytes.size());
        for (const auto& [pointer, position] : m_positions) {
            *pointer = storage.get() + position;
        }
        return storage;
    }

 private:
    static constexpr std::size_t kFirstPiece = std::size_t{64} * 1024;

    std::uint32_t word() {
        unsigned char bytes[kWordBytes];
        for (unsigned char& byte : bytes) {
            byte = m_source.byte();
        }
        m_bytes.insert(m_bytes.end(), bytes, bytes + kWordBytes);
        std::uint32_t bits = 0;
        std::memcpy(&bits, bytes, kWordBytes);
        return bits;
    }

    /// The size is only a claim, so memory grows with what really arrives: each piece is at most as
    /// large as all the pieces before it.
    bool block(const void** pointer, int size) {
        m_positions[pointer] = m_bytes.size();
        auto missing = static_cast<std::size_t>(size);
        while (missing > 0) {
            const std::size_t have = m_bytes.size();
            const std::size_t piece = std::min(missing, std::max(kFirstPiece, have));
            m_bytes.resize(have + piece);
            if (!m_source.block(m_bytes.data() + have, piece)) {
                return false;
            }
            missing -= piece;
        }
        return true;
    }

    bool readChunk(ZeltaChunk& chunk) {
        chunk.channelID = static_cast<int>(word());
        chunk.descSize = static_cast<int>(word());
        chunk.dataSize = static_cast<int>(word());
        return chunk.descSize > 0 && chunk.dataSize > 0 && word() == kMarkBeforeDescription &&
               block(&chunk.description, chunk.descSize) && word() == kMarkBehindDescription &&
               block(&chunk.data, chunk.dataSize) && word() == kMarkBehindData;
    }

    Source m_source;
    std::vector<ZeltaChunk>& m_chunks;
    std::vector<unsigned char> m_bytes;
    std::map<const void**, std::size_t> m_positions;  ///< the bytes move while they grow
};

template <typename Source>
int parseFrom(Source source, std::vector<ZeltaChunk>& chunks, std::unique_ptr<char[]>& storage) {
    chunks.clear();
    SourceReader<Source> reader(source, chunks);
    const bool isGood = reader.read();
    storage = isGood ? reader.release() : nullptr;
    return isGood ? 0 : -1;
}

}  // namespace

int packet_parse(std::istream& stream, std::vector<ZeltaChunk>& chunks, std::unique_ptr<char[]>& storage) {
    return parseFrom(StreamSource(stream), chunks, storage);
}

int packet_parse(FILE* stream, std::vector<ZeltaChunk>& chunks, std::unique_ptr<char[]>& storage) {
    return parseFrom(FileSource(stream), chunks, storage);
}

// --- Size of a packet in a file ---

namespace {

int readNumber(FILE* stream) {
    int value = 0;
    if (std::fread(&value, kWordBytes, 1, stream) != 1) {
        throw ZltEOFException(kEndOfFile);
    }
    return value;
}

bool seekBy(FILE* stream, std::int64_t distance) {
    return fseeko(stream, static_cast<off_t>(distance), SEEK_CUR) == 0;
}

}  // namespace

int packet_size(FILE* stream) {
    constexpr std::int64_t kNumbersBytes = std::int64_t{3} * kWordBytes;
    constexpr std::int64_t kMarksBytes = std::int64_t{3} * kWordBytes;
    const int count = readNumber(stream);
    std::int64_t total = kWordBytes;
    for (int i = 0; i < count; ++i) {
        readNumber(stream);  // the channel
        const int descSize = readNumber(stream);
        const int dataSize = readNumber(stream);
        if (descSize <= 0 || dataSize <= 0) {
            return -1;
        }
        const std::int64_t rest = std::int64_t{descSize} + dataSize + kMarksBytes;
        total += kNumbersBytes + rest;
        if (total > INT_MAX || !seekBy(stream, rest)) {
            return -1;
        }
    }
    return seekBy(stream, -total) ? static_cast<int>(total) : -1;
}

}  // namespace zelta
