// SPDX-License-Identifier: Apache-2.0

#include "recording/Salvage.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <thread>

#include "recording/Record.h"
#include "recording/RecordingError.h"
#include "tools/TestFolder.h"

namespace recording {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes packet(int channel, std::size_t size) {
    const Bytes definition(8, static_cast<std::uint8_t>(channel));
    const Bytes data(size, static_cast<std::uint8_t>(channel + 1));
    return packetOf({{definition.data(), static_cast<int>(definition.size()), data.data(),
                      static_cast<int>(data.size()), channel},
                     {definition.data(), static_cast<int>(definition.size()), data.data(),
                      static_cast<int>(data.size()), channel + 1}});
}

Bytes joined(const std::vector<Bytes>& parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

std::vector<Stretch> salvage(const Bytes& bytes) {
    FileBytes file{std::span<const std::uint8_t>(bytes)};
    Salvage salvage(file);
    std::vector<Stretch> stretches;
    while (std::optional<Stretch> stretch = salvage.next()) {
        stretches.push_back(*stretch);
    }
    return stretches;
}

Stretch firstPacket(const Bytes& bytes) {
    FileBytes file{std::span<const std::uint8_t>(bytes)};
    return packetAt(file, 0);
}

// Every byte belongs to one stretch.
void expectWhole(const std::vector<Stretch>& stretches, std::size_t size) {
    std::size_t offset = 0;
    for (const Stretch& stretch : stretches) {
        EXPECT_EQ(stretch.offset, offset);
        EXPECT_GT(stretch.size, 0U);
        offset += stretch.size;
    }
    EXPECT_EQ(offset, size);
}

TEST(Salvage, AGoodRecordingIsItsPackets) {
    const Bytes bytes = joined({packet(1, 5), packetOf({}), packet(3, 100)});
    const auto stretches = salvage(bytes);
    ASSERT_EQ(stretches.size(), 3U);
    expectWhole(stretches, bytes.size());
    for (const Stretch& stretch : stretches) {
        EXPECT_EQ(stretch.fault, "");
    }
    EXPECT_TRUE(salvage({}).empty());
}

TEST(Salvage, TheRuleThatIsBrokenIsToldWithItsByte) {
    Bytes bytes = packet(1, 5);
    bytes[16] ^= 1U;  // the mark before the first definition
    const Stretch mark = firstPacket(bytes);
    EXPECT_EQ(mark.faultAt, 16U);
    EXPECT_EQ(mark.fault, "the mark after the header of chunk 0 is not there");
    bytes = packet(1, 5);
    bytes[8] = 0;  // the size of the first definition
    EXPECT_EQ(firstPacket(bytes).fault, "the size of the definition of chunk 0 is 0");
    EXPECT_EQ(firstPacket(bytes).faultAt, 8U);
    bytes = packet(1, 5);
    bytes[1] = 5;
    EXPECT_EQ(firstPacket(bytes).fault, "the number of chunks is 1282, where 1024 are possible");
    bytes = packet(1, 5);
    bytes.pop_back();
    EXPECT_EQ(firstPacket(bytes).fault, "the file ends in the mark after the data of chunk 1");
    EXPECT_EQ(firstPacket(bytes).faultAt, bytes.size());
}

TEST(Salvage, WhatComesAfterTheDamageIsFound) {
    const Bytes bad(37, 0xEE);
    const Bytes bytes = joined({packet(1, 5), bad, packet(3, 7), packet(5, 9)});
    const auto stretches = salvage(bytes);
    ASSERT_EQ(stretches.size(), 4U);
    expectWhole(stretches, bytes.size());
    EXPECT_NE(stretches[1].fault, "");
    EXPECT_EQ(stretches[1].size, bad.size());
    EXPECT_EQ(stretches[2].size, packet(3, 7).size());
}

// Where the mark after the data of its second chunk is due, that of the next packet's first chunk stands.
TEST(Salvage, APacketThatWasCutDoesNotSwallowTheNext) {
    Bytes cut = packet(1, 60);
    const Bytes next = packet(3, 5);
    // What is left of the second chunk's data, and 4 + 16 + 8 + 4 + 5 bytes of the next packet, make 60
    // bytes.
    cut.resize(cut.size() - 4 - 37);
    const Bytes bytes = joined({cut, next, packet(5, 9)});
    EXPECT_EQ(firstPacket(bytes).fault, "");
    const auto stretches = salvage(bytes);
    ASSERT_EQ(stretches.size(), 3U);
    expectWhole(stretches, bytes.size());
    EXPECT_EQ(stretches[0].fault, "the next packet begins before this one ends");
    EXPECT_EQ(stretches[0].size, cut.size());
    EXPECT_EQ(stretches[1].fault, "");
    EXPECT_EQ(stretches[2].fault, "");
}

TEST(Salvage, ANumberOfChunksThatIsTooSmallOrTooLargeDamagesItsPacketOnly) {
    for (const int count : {0, 1, 3, 200}) {
        SCOPED_TRACE(count);
        Bytes wrong = packet(1, 60);
        wrong[0] = static_cast<std::uint8_t>(count);
        const Bytes bytes = joined({packet(3, 5), wrong, packet(5, 9)});
        const auto stretches = salvage(bytes);
        ASSERT_EQ(stretches.size(), 3U);
        EXPECT_EQ(stretches[0].fault, "");
        EXPECT_NE(stretches[1].fault, "");
        EXPECT_EQ(stretches[1].faultAt, packet(3, 5).size());
        EXPECT_EQ(stretches[1].size, wrong.size());
        EXPECT_EQ(stretches[2].fault, "");
    }
}

// Bits, cuts and insertions anywhere: each packet that was not touched is found where it is.
TEST(Salvage, EveryPacketThatIsNotDamagedIsFound) {
    constexpr unsigned int seed = 20260115;
    std::mt19937 random(seed);
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", round " << round);
        std::vector<Bytes> packets;
        for (int k = 0; k < 6; ++k) {
            packets.push_back(packet(10 * k, 20 + random() % 300));
        }
        const std::size_t hit = random() % packets.size();
        Bytes& target = packets[hit];
        const std::size_t at = random() % target.size();
        const auto kind = random() % 3;
        if (kind == 0) {
            target[at] = static_cast<std::uint8_t>(target[at] ^ (1U << (random() % 8U)));
        } else if (kind == 1) {
            target.erase(target.begin() + static_cast<std::ptrdiff_t>(at), target.end());
        } else {
            target.insert(target.begin() + static_cast<std::ptrdiff_t>(at), 1 + random() % 40, 0x5A);
        }
        const Bytes bytes = joined(packets);
        const auto stretches = salvage(bytes);
        expectWhole(stretches, bytes.size());
        std::size_t offset = 0;
        EXPECT_LE(std::count_if(stretches.begin(), stretches.end(),
                                [](const Stretch& stretch) { return !stretch.fault.empty(); }),
                  1);
        for (std::size_t k = 0; k < packets.size(); ++k) {
            const bool found = std::any_of(stretches.begin(), stretches.end(), [&](const Stretch& stretch) {
                return stretch.fault.empty() && stretch.offset == offset && stretch.size == packets[k].size();
            });
            EXPECT_TRUE(found || k == hit) << "packet " << k << ", damaged " << hit;
            offset += packets[k].size();
        }
    }
}

TEST(FileBytes, AFileAndWhatIsNoneAreRead) {
    const TestFolder folder;
    writeBytes(folder.path() / "f", {1, 2, 3});
    FileBytes file(folder.path() / "f");
    EXPECT_TRUE(file.reach(3));
    EXPECT_FALSE(file.reach(4));
    EXPECT_EQ(file.size(), 3U);
    EXPECT_EQ(file.part(1, 2)[1], 3);
    EXPECT_FALSE(FileBytes("/dev/null").reach(1));
    EXPECT_THROW(FileBytes(folder.path() / "none"), RecordingError);
    EXPECT_THROW(FileBytes(folder.path()).reach(1), RecordingError);
}

// 40 megabytes come through a pipe of which some packets are damaged.
TEST(FileBytes, OfAPipeOnlyWhatIsWantedIsInMemory) {
    const TestFolder folder;
    const std::filesystem::path pipe = folder.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    constexpr std::size_t count = 400;
    const Bytes good = packet(1, 50000);
    std::thread writer([&] {
        std::ofstream stream(pipe, std::ios::binary);
        for (std::size_t k = 0; k < count; ++k) {
            Bytes bytes = good;
            bytes[16] = static_cast<std::uint8_t>(bytes[16] ^ (k % 10 == 9 ? 1U : 0U));
            stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()));
        }
    });
    FileBytes file(pipe);
    Salvage salvage(file);
    std::size_t most = 0;
    std::size_t whole = 0;
    while (const std::optional<Stretch> stretch = salvage.next()) {
        most = std::max(most, file.bytesInMemory());
        const auto bytes = file.part(stretch->offset, stretch->size);
        whole += std::ranges::equal(bytes, good) ? 1 : 0;
    }
    writer.join();
    EXPECT_EQ(whole, count / 10 * 9);
    EXPECT_EQ(file.size(), count * good.size());
    EXPECT_LT(most, 4'000'000U);
}

}  // namespace
}  // namespace recording
