// SPDX-License-Identifier: Apache-2.0
#include "zelta_packet.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <climits>
#include <cstring>
#include <random>
#include <sstream>
#include <string>

namespace {

using Storage = std::unique_ptr<char[]>;

ZeltaChunk chunkOf(const std::string& description, const std::string& data, int channel) {
    return {description.data(), static_cast<int>(description.size()), data.data(),
            static_cast<int>(data.size()), channel};
}

const std::string kDescription = "DEF";
const std::string kData = "12345";

Packet twoChunks() {
    return {chunkOf(kDescription, kData, 3200), chunkOf(kData, kDescription, -2)};
}

std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (const int value : values) {
        text += static_cast<char>(value);
    }
    return text;
}

std::string word(unsigned int value) {
    std::string text(4, '\0');
    std::memcpy(text.data(), &value, 4);
    return text;
}

/// The packet of twoChunks().
std::string goldenPacket() {
    return bytes({2,    0,    0,    0,                   // two chunks
                  0x80, 0x0C, 0,    0,                   // channel 3200
                  3,    0,    0,    0,                   // bytes of description
                  5,    0,    0,    0,                   // bytes of data
                  0x67, 0x45, 0x23, 0x01,                // mark before the description
                  'D',  'E',  'F',                       //
                  0x10, 0x32, 0x54, 0x76,                // mark after it
                  '1',  '2',  '3',  '4',  '5',           //
                  0xEF, 0xCD, 0xAB, 0x89,                // mark after the data
                  0xFE, 0xFF, 0xFF, 0xFF,                // channel -2
                  5,    0,    0,    0,    3,   0, 0, 0,  // sizes
                  0x67, 0x45, 0x23, 0x01,                //
                  '1',  '2',  '3',  '4',  '5',           //
                  0x10, 0x32, 0x54, 0x76,                //
                  'D',  'E',  'F',                       //
                  0xEF, 0xCD, 0xAB, 0x89});
}

std::string create(const Packet& packet) {
    std::string buffer(static_cast<std::size_t>(packet_get_required_size(packet)), '\0');
    EXPECT_EQ(packet_create(buffer.data(), static_cast<int>(buffer.size()), packet), 0);
    return buffer;
}

/// Parses from a heap block of exactly the size given, so that a sanitizer sees any read beyond it.
int parse(const std::string& text, Packet& packet) {
    const std::vector<char> exact(text.begin(), text.end());
    const char nothing = 0;
    return packet_parse(exact.empty() ? &nothing : exact.data(), static_cast<int>(exact.size()), packet);
}

int parseResult(const std::string& text) {
    Packet packet;
    return parse(text, packet);
}

/// A temporary file that holds a text and stands at its start.
class File {
 public:
    explicit File(const std::string& text) : m_file(std::tmpfile()) {
        std::fwrite(text.data(), 1, text.size(), m_file);
        std::rewind(m_file);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { std::fclose(m_file); }
    FILE* get() const { return m_file; }
    long position() const { return std::ftell(m_file); }

 private:
    FILE* m_file;
};

std::string textOf(const void* data, int size) {
    return {static_cast<const char*>(data), static_cast<std::size_t>(size)};
}

void expectTwoChunks(const Packet& packet) {
    ASSERT_EQ(packet.size(), 2U);
    EXPECT_EQ(packet[0].channelID, 3200);
    EXPECT_EQ(textOf(packet[0].description, packet[0].descSize), kDescription);
    EXPECT_EQ(textOf(packet[0].data, packet[0].dataSize), kData);
    EXPECT_EQ(packet[1].channelID, -2);
    EXPECT_EQ(textOf(packet[1].description, packet[1].descSize), kData);
    EXPECT_EQ(textOf(packet[1].data, packet[1].dataSize), kDescription);
}

template <typename Call>
std::string endOfFile(Call call) {
    try {
        call();
    } catch (const ZltEOFException& error) {
        return error.what();
    }
    return "nothing thrown";
}

// --- Writing ---

TEST(PacketSize, OfNoChunksIsFour) {
    EXPECT_EQ(packet_get_required_size({}), 4);
}

TEST(PacketSize, Is24BytesAChunkBesideItsContents) {
    EXPECT_EQ(packet_get_required_size(twoChunks()), 4 + 2 * (24 + 3 + 5));
}

TEST(PacketSize, OfAChunkWithoutDataOrDescriptionIsMinusOne) {
    for (const int size : {0, -1, INT_MIN}) {
        Packet packet = twoChunks();
        packet[1].dataSize = size;
        EXPECT_EQ(packet_get_required_size(packet), -1);
        packet = twoChunks();
        packet[0].descSize = size;
        EXPECT_EQ(packet_get_required_size(packet), -1);
    }
}

TEST(PacketSize, BeyondTheLargestIntIsMinusOne) {
    Packet packet = twoChunks();
    packet[0].dataSize = INT_MAX;
    EXPECT_EQ(packet_get_required_size(packet), -1);
    packet[0].descSize = INT_MAX;
    packet[1].dataSize = INT_MAX;
    EXPECT_EQ(packet_get_required_size(packet), -1);
}

TEST(PacketCreate, WritesTheGoldenBytes) {
    EXPECT_EQ(create(twoChunks()), goldenPacket());
}

TEST(PacketCreate, OfNoChunksWritesFourZeroBytes) {
    EXPECT_EQ(create({}), std::string(4, '\0'));
}

TEST(PacketCreate, NeedsABufferOfExactlyTheRequiredSize) {
    std::string buffer(goldenPacket().size() + 1, 'x');
    const auto size = static_cast<int>(buffer.size());
    EXPECT_EQ(packet_create(buffer.data(), size, twoChunks()), -1);
    EXPECT_EQ(packet_create(buffer.data(), size - 2, twoChunks()), -1);
    EXPECT_EQ(buffer, std::string(buffer.size(), 'x'));
}

TEST(PacketCreate, RefusesABadChunkAndNoBuffer) {
    Packet packet = twoChunks();
    EXPECT_EQ(packet_create(nullptr, packet_get_required_size(packet), packet), -1);
    packet[0].dataSize = 0;
    char buffer[4];
    EXPECT_EQ(packet_create(buffer, -1, packet), -1);
}

// --- Reading in place ---

TEST(PacketParse, ReadsTheGoldenBytesInPlace) {
    const std::string text = goldenPacket();
    Packet packet(7);
    ASSERT_EQ(packet_parse(text.data(), static_cast<int>(text.size()), packet), 0);
    expectTwoChunks(packet);
    EXPECT_EQ(packet[0].description, text.data() + 20);
    EXPECT_EQ(packet[0].data, text.data() + 27);
}

TEST(PacketParse, OfFourZeroBytesIsAnEmptyPacket) {
    Packet packet(3);
    EXPECT_EQ(parse(std::string(4, '\0'), packet), 0);
    EXPECT_TRUE(packet.empty());
}

TEST(PacketParse, OfFewerThanFourBytesFailsWithAnEmptyVector) {
    for (std::size_t size = 0; size < 4; ++size) {
        Packet packet(3);
        EXPECT_EQ(parse(std::string(size, '\0'), packet), -1);
        EXPECT_TRUE(packet.empty());
    }
    Packet packet;
    EXPECT_EQ(packet_parse(nullptr, 100, packet), -1);
    EXPECT_EQ(packet_parse(goldenPacket().data(), -5, packet), -1);
    EXPECT_EQ(packet_parse(goldenPacket().data(), INT_MIN, packet), -1);
}

TEST(PacketParse, OfMoreThan1024ChunksFailsBeforeAnythingIsAllocated) {
    Packet packet;
    EXPECT_EQ(parse(word(1025), packet), -1);
    EXPECT_EQ(packet.capacity(), 0U);
    EXPECT_EQ(parse(word(0xFFFFFFFFU), packet), -1);
    EXPECT_EQ(packet.capacity(), 0U);
}

TEST(PacketParse, Of1024ChunksIsAccepted) {
    const Packet many(1024, chunkOf(kDescription, kData, 1));
    Packet packet;
    EXPECT_EQ(parse(create(many), packet), 0);
    EXPECT_EQ(packet.size(), 1024U);
}

TEST(PacketParse, CutOffAnywhereFails) {
    const std::string whole = goldenPacket();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(parseResult(whole.substr(0, size)), -1) << size;
    }
}

TEST(PacketParse, CutOffJustBeforeTheThirdMarkFails) {
    const std::string whole = create({chunkOf(kDescription, kData, 1)});
    EXPECT_EQ(parseResult(whole.substr(0, whole.size() - 4)), -1);
}

TEST(PacketParse, IgnoresBytesBehindTheLastChunk) {
    Packet packet;
    EXPECT_EQ(parse(goldenPacket() + "garbage", packet), 0);
    EXPECT_EQ(packet.size(), 2U);
}

TEST(PacketParse, NeedsEveryMark) {
    for (const std::size_t mark : {16U, 23U, 32U, 48U, 57U, 64U}) {
        for (std::size_t i = 0; i < 4; ++i) {
            std::string text = goldenPacket();
            text[mark + i] = static_cast<char>(text[mark + i] ^ 0x40);
            EXPECT_EQ(parseResult(text), -1) << mark + i;
        }
    }
}

TEST(PacketParse, RefusesSizesNotAboveZeroOrBeyondTheBytes) {
    for (const unsigned int size : {0U, 0xFFFFFFFFU, 0x80000000U, 0x7FFFFFFFU, 0x7FFFFFF0U, 1000U}) {
        for (const std::size_t at : {8U, 12U}) {
            std::string text = goldenPacket();
            text.replace(at, 4, word(size));
            EXPECT_EQ(parseResult(text), -1) << size << " at " << at;
        }
    }
}

TEST(PacketParse, LeavesTheChunksUpToTheFault) {
    std::string text = goldenPacket();
    text[text.size() - 1] = 0;
    Packet packet;
    EXPECT_EQ(parse(text, packet), -1);
    ASSERT_EQ(packet.size(), 2U);
    EXPECT_EQ(packet[0].dataSize, 5);
    EXPECT_EQ(packet[1].channelID, -2);
    EXPECT_EQ(packet[1].data, nullptr);
}

TEST(PacketParse, OfRandomlyDamagedBytesNeverReadsOutside) {
    constexpr unsigned int kSeed = 99;
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    std::mt19937 random(kSeed);
    int refused = 0;
    for (int i = 0; i < 20000; ++i) {
        std::string text = goldenPacket();
        for (unsigned int k = random() % 3; k-- > 0;) {
            text[random() % text.size()] = static_cast<char>(random());
        }
        text.resize(text.size() - (random() % 2) * (random() % text.size()));
        Packet packet;
        if (parse(text, packet) != 0) {
            ++refused;
            continue;
        }
        for (const ZeltaChunk& chunk : packet) {
            EXPECT_LE(chunk.descSize + chunk.dataSize, static_cast<int>(text.size()));
        }
    }
    EXPECT_GT(refused, 5000);
}

// --- Reading from files and streams ---

int parseFile(const std::string& text, Packet& packet, Storage& storage) {
    const File file(text);
    return packet_parse(file.get(), packet, storage);
}

int parseStream(const std::string& text, Packet& packet, Storage& storage) {
    std::istringstream stream(text);
    return packet_parse(stream, packet, storage);
}

TEST(PacketParseFile, ReadsIntoStorage) {
    Packet packet(9);
    Storage storage(new char[1]);
    EXPECT_EQ(parseFile(goldenPacket() + "behind", packet, storage), 0);
    expectTwoChunks(packet);
    EXPECT_EQ(textOf(storage.get(), static_cast<int>(goldenPacket().size())), goldenPacket());
    EXPECT_EQ(packet[0].description, storage.get() + 20);
}

TEST(PacketParseFile, ReadsOnePacketAfterTheOther) {
    const File file(goldenPacket() + std::string(4, '\0') + goldenPacket());
    Packet packet;
    Storage storage;
    EXPECT_EQ(packet_parse(file.get(), packet, storage), 0);
    expectTwoChunks(packet);
    EXPECT_EQ(packet_parse(file.get(), packet, storage), 0);
    EXPECT_TRUE(packet.empty());
    EXPECT_EQ(packet_parse(file.get(), packet, storage), 0);
    expectTwoChunks(packet);
}

TEST(PacketParseFile, AtTheEndThrows) {
    Packet packet(2);
    Storage storage;
    EXPECT_EQ(endOfFile([&] { parseFile("", packet, storage); }), "End of file reached");
    EXPECT_TRUE(packet.empty());
}

TEST(PacketParseFile, CutOffAnywhereThrowsAndLeavesStorageAlone) {
    const std::string whole = goldenPacket();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        Packet packet;
        Storage storage(new char[1]);
        const char* const before = storage.get();
        EXPECT_EQ(endOfFile([&] { parseFile(whole.substr(0, size), packet, storage); }),
                  "End of file reached");
        EXPECT_EQ(storage.get(), before);
    }
}

TEST(PacketParseFile, OfABadPacketFreesStorage) {
    std::string text = goldenPacket();
    text[16] = 0;
    Packet packet;
    Storage storage(new char[1]);
    EXPECT_EQ(parseFile(text, packet, storage), -1);
    EXPECT_EQ(storage, nullptr);
    storage.reset(new char[1]);
    EXPECT_EQ(parseFile(word(1025), packet, storage), -1);
    EXPECT_EQ(storage, nullptr);
    EXPECT_TRUE(packet.empty());
}

TEST(PacketParseFile, RefusesSizesNotAboveZero) {
    for (const unsigned int size : {0U, 0xFFFFFFFFU}) {
        for (const std::size_t at : {8U, 12U}) {
            std::string text = goldenPacket();
            text.replace(at, 4, word(size));
            Packet packet;
            Storage storage;
            EXPECT_EQ(parseFile(text, packet, storage), -1);
        }
    }
}

TEST(PacketParseFile, OfADeclaredTwoGiBAllocatesOnlyWhatComes) {
    std::string text = goldenPacket();
    text.replace(8, 4, word(0x7FFFFFFFU));
    Packet packet;
    Storage storage;
    EXPECT_EQ(endOfFile([&] { parseFile(text, packet, storage); }), "End of file reached");
    EXPECT_EQ(parseStream(text, packet, storage), -1);
}

TEST(PacketParseFile, ReadsChunksLargerThanItsPieces) {
    const std::string data(1000003, 'q');
    Packet packet;
    Storage storage;
    EXPECT_EQ(parseFile(create({chunkOf(kDescription, data, 1), chunkOf(data, kData, 2)}), packet, storage),
              0);
    ASSERT_EQ(packet.size(), 2U);
    EXPECT_EQ(textOf(packet[0].data, packet[0].dataSize), data);
    EXPECT_EQ(textOf(packet[1].description, packet[1].descSize), data);
    EXPECT_EQ(textOf(packet[1].data, packet[1].dataSize), kData);
}

TEST(PacketParseStream, ReadsIntoStorage) {
    Packet packet;
    Storage storage;
    EXPECT_EQ(parseStream(goldenPacket() + "behind", packet, storage), 0);
    expectTwoChunks(packet);
    EXPECT_EQ(textOf(storage.get(), static_cast<int>(goldenPacket().size())), goldenPacket());
}

TEST(PacketParseStream, CutOffDoesNotThrowAndIsRefused) {
    const std::string whole = goldenPacket();
    for (std::size_t size = 4; size < whole.size(); ++size) {
        Packet packet;
        Storage storage(new char[1]);
        EXPECT_EQ(parseStream(whole.substr(0, size), packet, storage), -1) << size;
        EXPECT_EQ(storage, nullptr);
    }
}

/// After the end of the stream each byte repeats the one before, and the first is 0.
TEST(PacketParseStream, ThatEndsAfterNothingButZeroBytesIsAPacketWithoutChunks) {
    for (std::size_t size = 0; size < 4; ++size) {
        Packet packet(2);
        Storage storage;
        EXPECT_EQ(parseStream(std::string(size, '\0'), packet, storage), 0) << size;
        EXPECT_TRUE(packet.empty());
        EXPECT_EQ(textOf(storage.get(), 4), std::string(4, '\0'));
    }
}

TEST(PacketParseStream, ThatEndsInsideItsCountIsRefused) {
    for (const std::string& text : {bytes({1}), bytes({0, 1}), bytes({0, 0, 1}), bytes({1, 0}),
                                    bytes({1, 0, 0}), bytes({0xFF}), bytes({0, 4, 0})}) {
        Packet packet(2);
        Storage storage(new char[1]);
        EXPECT_EQ(parseStream(text, packet, storage), -1) << testing::PrintToString(text);
        EXPECT_EQ(storage, nullptr);
    }
}

TEST(PacketParseStream, OfABadMarkFails) {
    std::string text = goldenPacket();
    text[text.size() - 1] = 0;
    Packet packet;
    Storage storage;
    EXPECT_EQ(parseStream(text, packet, storage), -1);
}

// --- Size in a file ---

TEST(PacketSizeInFile, LeavesThePositionForTheReader) {
    const File file("xx" + goldenPacket() + "behind");
    std::fseek(file.get(), 2, SEEK_SET);
    EXPECT_EQ(packet_size(file.get()), static_cast<int>(goldenPacket().size()));
    EXPECT_EQ(file.position(), 2);
    Packet packet;
    Storage storage;
    EXPECT_EQ(packet_parse(file.get(), packet, storage), 0);
    expectTwoChunks(packet);
}

TEST(PacketSizeInFile, OfNoChunksIsFour) {
    const File file(std::string(4, '\0'));
    EXPECT_EQ(packet_size(file.get()), 4);
    EXPECT_EQ(file.position(), 0);
    const File negative(word(0xFFFFFFFFU));
    EXPECT_EQ(packet_size(negative.get()), 4);
    EXPECT_EQ(negative.position(), 0);
}

TEST(PacketSizeInFile, AtTheEndThrows) {
    const File empty("");
    EXPECT_EQ(endOfFile([&] { packet_size(empty.get()); }), "End of file reached");
    const File cut(goldenPacket().substr(0, 14));
    EXPECT_EQ(endOfFile([&] { packet_size(cut.get()); }), "End of file reached");
}

TEST(PacketSizeInFile, DoesNotLookAtMarks) {
    std::string text = goldenPacket();
    text[16] = 0;
    const File file(text);
    EXPECT_EQ(packet_size(file.get()), static_cast<int>(text.size()));
}

TEST(PacketSizeInFile, OfASizeNotAboveZeroIsMinusOneWhereItStands) {
    std::string text = goldenPacket();
    text.replace(12, 4, word(0));
    const File file(text);
    EXPECT_EQ(packet_size(file.get()), -1);
    EXPECT_EQ(file.position(), 16);
}

TEST(PacketSizeInFile, OfADescriptionNotAboveZeroIsMinusOne) {
    for (const std::uint32_t size : {0U, 0xFFFFFFFFU}) {
        std::string text = goldenPacket();
        text.replace(8, 4, word(size));
        const File file(text);
        EXPECT_EQ(packet_size(file.get()), -1) << size;
    }
}

TEST(PacketSizeInFile, BeyondTheLargestIntIsMinusOne) {
    std::string text = goldenPacket();
    text.replace(8, 8, word(0x7FFFFFFFU) + word(0x7FFFFFFFU));
    const File file(text);
    EXPECT_EQ(packet_size(file.get()), -1);
}

/// A file that can be read and skipped, but not gone back in.
class ForwardFile {
 public:
    explicit ForwardFile(std::string text) : m_text(std::move(text)) {
        cookie_io_functions_t functions{};
        functions.read = [](void* self, char* bytes, std::size_t size) {
            return static_cast<ForwardFile*>(self)->read(bytes, size);
        };
        functions.seek = [](void* self, off64_t* position, int origin) {
            return static_cast<ForwardFile*>(self)->seek(*position, origin);
        };
        m_file = fopencookie(this, "r", functions);
        std::setvbuf(m_file, nullptr, _IONBF, 0);
    }
    ForwardFile(const ForwardFile&) = delete;
    ForwardFile& operator=(const ForwardFile&) = delete;
    ~ForwardFile() { std::fclose(m_file); }

    FILE* get() const { return m_file; }

 private:
    ssize_t read(char* bytes, std::size_t size) {
        const std::size_t taken = m_text.copy(bytes, size, static_cast<std::size_t>(m_position));
        m_position += static_cast<off64_t>(taken);
        return static_cast<ssize_t>(taken);
    }

    int seek(off64_t& position, int origin) {
        const off64_t wanted = origin == SEEK_CUR ? m_position + position : position;
        if (origin == SEEK_END || wanted < m_position) {
            return -1;
        }
        m_position = wanted;
        position = wanted;
        return 0;
    }

    std::string m_text;
    off64_t m_position = 0;
    FILE* m_file;
};

TEST(PacketSizeInFile, ThatCannotBeGoneBackInIsMinusOne) {
    const ForwardFile packet(goldenPacket());
    EXPECT_EQ(packet_size(packet.get()), -1);
    const ForwardFile empty(std::string(4, '\0'));
    EXPECT_EQ(packet_size(empty.get()), -1);
}

TEST(PacketSizeInFile, OfAPipeIsMinusOne) {
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    const std::string text = goldenPacket();
    ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(ends[1]);
    FILE* const stream = fdopen(ends[0], "r");
    EXPECT_EQ(packet_size(stream), -1);
    std::fclose(stream);
}

}  // namespace
