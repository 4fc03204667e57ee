// SPDX-License-Identifier: Apache-2.0

#include "recording/Container.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "recording/Record.h"
#include "recording/RecordingReader.h"
#include "recording/RecordingWriter.h"
#include "recording/Salvage.h"
#include "tools/TestFolder.h"

namespace recording {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Packets of one record each, of different sizes, half of whose bytes repeat.
std::vector<Bytes> packetsOf(unsigned int seed, std::size_t count = 6) {
    std::mt19937 random(seed);
    std::vector<Bytes> packets;
    for (std::size_t k = 0; k < count; ++k) {
        const unsigned int length = 50 + static_cast<unsigned int>(random() % 2000);
        Record record(structure("R", {uint8("bytes", {length})}));
        std::vector<unsigned char> values(length, 7);
        std::generate(values.begin() + length / 2, values.end(),
                      [&random] { return static_cast<unsigned char>(random()); });
        record.set("R.bytes", values);
        packets.push_back(packetOf({record.chunk(9100)}));
    }
    return packets;
}

class Container : public testing::Test {
 protected:
    Bytes written(const std::vector<Bytes>& packets) const {
        RecordingWriter writer(path());
        for (const Bytes& packet : packets) {
            writer.write(packet);
        }
        writer.finish();
        EXPECT_EQ(writer.bytes(), std::filesystem::file_size(path()));
        return fileBytes(path());
    }

    // The packets up to a damage, and the sentence about it.
    std::pair<std::vector<Bytes>, std::string> readBack() const {
        std::vector<Bytes> packets;
        try {
            RecordingReader reader(path());
            while (const RecordedPacket* packet = reader.next()) {
                packets.emplace_back(packet->bytes.begin(), packet->bytes.end());
            }
        } catch (const RecordingError& error) {
            return {packets, error.what()};
        }
        return {packets, ""};
    }

    struct Saved {
        std::vector<Bytes> packets;
        std::vector<Stretch> faults;
    };

    static Saved saved(const Bytes& file) {
        FileBytes bytes{std::span<const std::uint8_t>(file)};
        Salvage salvage(bytes);
        Saved saved;
        while (const std::optional<Stretch> stretch = salvage.next()) {
            const auto part = salvage.bytesOf(*stretch);
            if (stretch->fault.empty()) {
                saved.packets.emplace_back(part.begin(), part.end());
            } else {
                saved.faults.push_back(*stretch);
            }
        }
        return saved;
    }

    std::filesystem::path path() const { return folder_.path() / "a.zeltaz"; }

    TestFolder folder_;
};

TEST_F(Container, GivesThePacketsBackAndTakesFewerBytes) {
    const std::vector<Bytes> packets = packetsOf(1);
    const Bytes file = written(packets);
    std::size_t plain = 0;
    for (const Bytes& packet : packets) {
        plain += packet.size();
    }
    EXPECT_LT(file.size(), plain);
    const auto [read, damage] = readBack();
    EXPECT_EQ(damage, "");
    EXPECT_EQ(read, packets);
    EXPECT_EQ(saved(file).packets, packets);
    EXPECT_TRUE(saved(file).faults.empty());
}

TEST_F(Container, MayBeLookedIntoAheadAndTellsPlacesInTheFile) {
    const std::vector<Bytes> packets = packetsOf(2);
    const Bytes file = written(packets);
    RecordingReader reader(path());
    ASSERT_NE(reader.lookAhead(), nullptr);
    const RecordedPacket* ahead = reader.lookAhead();
    ASSERT_NE(ahead, nullptr);
    const std::uint64_t offset = ahead->offset;
    EXPECT_TRUE(container::headerIn(std::span(file).subspan(offset, container::headerSize)));
    reader.next();
    const RecordedPacket* second = reader.next();
    EXPECT_EQ(second->offset, offset);
    EXPECT_EQ(Bytes(second->bytes.begin(), second->bytes.end()), packets[1]);
    while (reader.next() != nullptr) {
    }
    EXPECT_EQ(reader.packetsRead(), packets.size());
}

TEST_F(Container, CutAnywhereItGivesTheWholePacketsBeforeAndSaysSo) {
    const std::vector<Bytes> packets = packetsOf(3, 3);
    const Bytes file = written(packets);
    for (std::size_t size = 1; size < file.size(); size += 7) {
        writeBytes(path(), Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size)));
        const auto [read, damage] = readBack();
        EXPECT_NE(damage.find("is damaged at byte"), std::string::npos) << size;
        ASSERT_LE(read.size(), packets.size()) << size;
        EXPECT_TRUE(std::equal(read.begin(), read.end(), packets.begin())) << size;
        if (size > container::headSize) {
            const Saved kept = saved(fileBytes(path()));
            EXPECT_GE(kept.packets, read) << size;
            EXPECT_FALSE(kept.faults.empty()) << size;
        }
    }
}

TEST_F(Container, AFlippedBitAnywhereIsToldAndNoOtherPacketIsLost) {
    for (unsigned int seed = 0; seed < 200; ++seed) {
        std::mt19937 random(seed);
        const std::vector<Bytes> packets = packetsOf(seed);
        Bytes file = written(packets);
        const std::size_t place = random() % file.size();
        file[place] ^= static_cast<std::uint8_t>(1U << random() % 8);
        writeBytes(path(), file);
        EXPECT_NE(readBack().second, "") << "seed " << seed << " byte " << place;
        const Saved kept = saved(file);
        ASSERT_FALSE(kept.faults.empty()) << "seed " << seed << " byte " << place;
        EXPECT_LE(kept.faults[0].offset, place) << "seed " << seed;
        EXPECT_GT(kept.faults[0].offset + kept.faults[0].size, place) << "seed " << seed;
        EXPECT_GE(kept.packets.size() + 1, packets.size()) << "seed " << seed << " byte " << place;
        for (const Bytes& packet : kept.packets) {
            EXPECT_NE(std::find(packets.begin(), packets.end(), packet), packets.end()) << "seed " << seed;
        }
    }
}

TEST_F(Container, BytesBetweenPacketsCostNone) {
    const std::vector<Bytes> packets = packetsOf(5);
    Bytes file = written(packets);
    RecordingReader reader(path());
    reader.next();
    const auto second = static_cast<std::ptrdiff_t>(reader.next()->offset);
    file.insert(file.begin() + second, {1, 2, 3, 4, 5});
    EXPECT_EQ(saved(file).packets, packets);
    EXPECT_EQ(saved(file).faults.at(0).size, 5U);
}

TEST_F(Container, WithoutItsHeadItIsStillSaved) {
    const std::vector<Bytes> packets = packetsOf(6);
    Bytes file = written(packets);
    file[0] = 0;
    EXPECT_EQ(saved(file).packets, packets);
    EXPECT_EQ(saved(file).faults.at(0).fault, "the head of the container is damaged");
}

TEST_F(Container, AnotherVersionIsNotTakenForThisOne) {
    Bytes file = written(packetsOf(7));
    file[6] = 2;
    writeBytes(path(), file);
    EXPECT_NE(readBack().second.find("of a kind that is not known here"), std::string::npos);
}

TEST_F(Container, BytesAfterTheIndexAreTold) {
    const std::vector<Bytes> packets = packetsOf(8);
    Bytes file = written(packets);
    file.push_back(0);
    writeBytes(path(), file);
    EXPECT_EQ(readBack().first, packets);
    EXPECT_NE(readBack().second.find("bytes follow the index"), std::string::npos);
}

// A header of good checksum may still lie about the packet.
TEST_F(Container, APacketOfAnotherSizeThanItsHeaderSaysIsNone) {
    const Bytes packet = packetsOf(9)[0];
    const Bytes stored = container::Packer().packed(packet);
    const container::Header header =
        container::headerIn(std::span(stored).first(container::headerSize)).value();
    const auto compressed = std::span<const std::uint8_t>(stored).subspan(container::headerSize);
    container::Unpacker unpacker;
    Bytes back;
    EXPECT_EQ(unpacker.unpack(header, compressed, back), "");
    EXPECT_EQ(back, packet);
    for (const std::size_t size :
         {packet.size() - 1, packet.size() + 1, std::size_t{0}, std::size_t{0x7FFFFFFF}}) {
        container::Header other = header;
        other.packetSize = size;
        EXPECT_NE(unpacker.unpack(other, compressed, back), "") << size;
        EXPECT_LE(back.size(), packet.size() + 1) << size;
    }
    EXPECT_NE(unpacker.unpack(header, compressed.first(compressed.size() - 1), back), "");
    EXPECT_NE(unpacker.unpack(header, {}, back), "");
    EXPECT_EQ(unpacker.unpack(header, compressed, back), "") << "a fault leaves nothing behind";
}

TEST(ContainerIndex, GivesTheOffsetsBackAndMayBeEmpty) {
    for (const std::vector<std::uint64_t>& offsets :
         {std::vector<std::uint64_t>{}, {8}, {8, 100, 1ULL << 40U}}) {
        const std::vector<std::uint8_t> bytes = recording::container::index(offsets, 1000);
        EXPECT_EQ(recording::container::offsetsIn(bytes, 1000), offsets);
        EXPECT_FALSE(recording::container::offsetsIn(bytes, 1001).has_value());
    }
}

TEST_F(Container, RandomBytesAfterAHeadAreToldInWords) {
    for (unsigned int seed = 0; seed < 50; ++seed) {
        std::mt19937 random(seed);
        Bytes file = container::head();
        for (int k = 0; k < 5000; ++k) {
            file.push_back(static_cast<std::uint8_t>(random()));
        }
        writeBytes(path(), file);
        EXPECT_NE(readBack().second.find("is damaged at byte 8"), std::string::npos) << seed;
        EXPECT_TRUE(saved(file).packets.empty()) << seed;
    }
}

}  // namespace
}  // namespace recording
