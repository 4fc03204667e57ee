// SPDX-License-Identifier: Apache-2.0

#include "recording/RecordingReader.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <array>
#include <csignal>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "recording/Record.h"
#include "recording/RecordingWriter.h"
#include "tools/TestFolder.h"

namespace recording {
namespace {

using Bytes = std::vector<std::uint8_t>;

// A chunk whose definition and data are given bytes.
struct Part {
    int channel;
    Bytes description;
    Bytes data;
};

Bytes packet(const std::vector<Part>& parts) {
    std::vector<zelta::ZeltaChunk> chunks;
    for (const Part& part : parts) {
        chunks.push_back({part.description.data(), static_cast<int>(part.description.size()),
                          part.data.data(), static_cast<int>(part.data.size()), part.channel});
    }
    return packetOf(chunks);
}

// Three packets: one chunk, none, two chunks.
std::vector<Bytes> samplePackets() {
    return {packet({{1, Bytes(8, 0x11), Bytes(5, 0x22)}}), packet({}),
            packet({{2, Bytes(4, 0x33), Bytes(16, 0x44)}, {-3, Bytes(1, 0x55), Bytes(1, 0x66)}})};
}

Bytes joined(const std::vector<Bytes>& packets) {
    Bytes all;
    for (const Bytes& bytes : packets) {
        all.insert(all.end(), bytes.begin(), bytes.end());
    }
    return all;
}

struct Read {
    std::vector<Bytes> packets;
    std::string fault;
};

Read readAll(const std::filesystem::path& path) {
    Read result;
    RecordingReader reader(path);
    try {
        while (const RecordedPacket* next = reader.next()) {
            EXPECT_EQ(next->index, result.packets.size());
            // Every byte that the chunks point to can be read.
            for (const zelta::ZeltaChunk& chunk : next->chunks) {
                volatile std::uint8_t sum = 0;
                for (int k = 0; k < chunk.descSize; ++k) {
                    sum = static_cast<std::uint8_t>(sum +
                                                    static_cast<const std::uint8_t*>(chunk.description)[k]);
                }
                for (int k = 0; k < chunk.dataSize; ++k) {
                    sum = static_cast<std::uint8_t>(sum + static_cast<const std::uint8_t*>(chunk.data)[k]);
                }
            }
            result.packets.emplace_back(next->bytes.begin(), next->bytes.end());
        }
    } catch (const RecordingError& error) {
        result.fault = error.what();
        EXPECT_EQ(reader.next(), nullptr) << "after a fault the recording is at its end";
    }
    return result;
}

class Reader : public testing::Test {
 protected:
    Read readBytes(const Bytes& bytes) const {
        writeBytes(path(), bytes);
        return readAll(path());
    }
    std::filesystem::path path() const { return folder_.path() / "r.zelta"; }

    TestFolder folder_;
};

TEST_F(Reader, GivesEveryPacketOnceInOrder) {
    const Read read = readBytes(joined(samplePackets()));
    EXPECT_EQ(read.packets, samplePackets());
    EXPECT_EQ(read.fault, "");
}

TEST_F(Reader, TellsChunksAndOffsets) {
    writeBytes(path(), joined(samplePackets()));
    RecordingReader reader(path());
    const RecordedPacket* first = reader.next();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->offset, 0U);
    ASSERT_EQ(first->chunks.size(), 1U);
    EXPECT_EQ(first->chunks[0].channelID, 1);
    EXPECT_EQ(first->chunks[0].descSize, 8);
    EXPECT_EQ(first->chunks[0].dataSize, 5);
    const RecordedPacket* second = reader.next();
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->offset, samplePackets()[0].size());
    EXPECT_TRUE(second->chunks.empty());
    const RecordedPacket* third = reader.next();
    ASSERT_NE(third, nullptr);
    EXPECT_EQ(third->chunks[1].channelID, -3);
    EXPECT_EQ(reader.next(), nullptr);
    EXPECT_EQ(reader.packetsRead(), 3U);
    EXPECT_EQ(reader.bytesRead(), joined(samplePackets()).size());
    EXPECT_EQ(reader.fileSize(), joined(samplePackets()).size());
}

TEST_F(Reader, AnEmptyFileHoldsNoPacket) {
    const Read read = readBytes({});
    EXPECT_TRUE(read.packets.empty());
    EXPECT_EQ(read.fault, "");
}

TEST_F(Reader, AMissingFileAndAFolderAreToldByName) {
    for (const auto& [name, reason] : std::vector<std::pair<std::filesystem::path, std::string>>{
             {folder_.path() / "none.zelta", "No such file or directory"},
             {folder_.path(), "it is a folder"}}) {
        try {
            const RecordingReader reader(name);
            FAIL() << name;
        } catch (const RecordingError& error) {
            EXPECT_EQ(error.what(), "Cannot read " + name.string() + ": " + reason + ".");
        }
    }
}

// Cut at every byte: all whole packets are read, and only a cut between packets is no fault.
TEST_F(Reader, ACutFileGivesWhatIsWholeAndTheByteOfTheCut) {
    const std::vector<Bytes> packets = samplePackets();
    const Bytes all = joined(packets);
    std::set<std::size_t> borders{0};
    for (const Bytes& bytes : packets) {
        borders.insert(*borders.rbegin() + bytes.size());
    }
    for (std::size_t size = 0; size <= all.size(); ++size) {
        const Read read = readBytes(Bytes(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(size)));
        const auto whole =
            static_cast<std::size_t>(std::distance(borders.begin(), borders.upper_bound(size))) - 1;
        ASSERT_EQ(read.packets.size(), whole) << size;
        for (std::size_t k = 0; k < whole; ++k) {
            EXPECT_EQ(read.packets[k], packets[k]);
        }
        if (borders.contains(size)) {
            EXPECT_EQ(read.fault, "") << size;
        } else {
            EXPECT_NE(read.fault.find("is damaged at byte " + std::to_string(size) + ", in packet " +
                                      std::to_string(whole) + " "),
                      std::string::npos)
                << size << ": " << read.fault;
            EXPECT_NE(read.fault.find("the file ends in"), std::string::npos) << read.fault;
        }
    }
}

// The fields of the first packet: count at 0, channel 4, sizes 8 and 12, marks 16, 28 and 37.
TEST_F(Reader, EveryFaultOfTheStructureIsToldWithItsByte) {
    struct Fault {
        std::size_t at;
        std::uint32_t value;
        const char* text;
    };
    const Bytes good = joined(samplePackets());
    for (const Fault& fault :
         {Fault{
              0, 1025,
              "byte 0, in packet 0 (from byte 0): it says that it has 1025 chunks, where 1024 are possible"},
          Fault{0, 0xFFFFFFFF, "it says that it has 4294967295 chunks"},
          Fault{8, 0, "byte 8, in packet 0 (from byte 0): the size of the definition of chunk 0 is 0"},
          Fault{8, 0xFFFFFFFF,
                "byte 8, in packet 0 (from byte 0): the size of the definition of chunk 0 is -1"},
          Fault{12, 0, "byte 12, in packet 0 (from byte 0): the size of the data of chunk 0 is 0"},
          Fault{12, 0x80000000, "the size of the data of chunk 0 is -2147483648"},
          Fault{16, 0,
                "byte 16, in packet 0 (from byte 0): the mark after the header of chunk 0 is not there"},
          Fault{28, 0,
                "byte 28, in packet 0 (from byte 0): the mark after the definition of chunk 0 is not there"},
          Fault{37, 0, "byte 37, in packet 0 (from byte 0): the mark after the data of chunk 0 is not there"},
          Fault{8, 0x7FFFFFFF, "the packet is larger than 2147483647 bytes"},
          Fault{8, 0x7FFFFF00, "the file ends in the definition of chunk 0"},
          Fault{12, 0x70000000, "the file ends in the data of chunk 0"}}) {
        Bytes bytes = good;
        std::memcpy(bytes.data() + fault.at, &fault.value, sizeof(fault.value));
        const Read read = readBytes(bytes);
        EXPECT_TRUE(read.packets.empty());
        EXPECT_NE(read.fault.find(fault.text), std::string::npos) << fault.text << "\n" << read.fault;
    }
}

TEST_F(Reader, AFaultInALaterPacketLeavesThoseBeforeIt) {
    Bytes bytes = joined(samplePackets());
    bytes.back() ^= 0xFFU;
    const Read read = readBytes(bytes);
    EXPECT_EQ(read.packets.size(), 2U);
    EXPECT_NE(read.fault.find("in packet 2"), std::string::npos) << read.fault;
    EXPECT_NE(read.fault.find("the mark after the data of chunk 1 is not there"), std::string::npos);
}

// Random words, bytes and cuts at and around every field: no crash, no packet that was not there before the
// first changed byte, and a fault or a good end.
TEST_F(Reader, MutationsNeverDoHarm) {
    const std::vector<Bytes> packets = samplePackets();
    const Bytes good = joined(packets);
    constexpr unsigned int seed = 20261121;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::vector<std::uint32_t> words{
        0, 1, 2, 1024, 1025, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x01234567, 0x76543210, 0x89ABCDEF, 16};
    for (int round = 0; round < 1200; ++round) {
        Bytes bytes = good;
        const std::size_t at = random() % bytes.size();
        if (round % 3 == 0) {
            bytes[at] = static_cast<std::uint8_t>(random());
        } else if (round % 3 == 1) {
            const std::uint32_t word = words[random() % words.size()];
            const std::size_t count = std::min<std::size_t>(sizeof(word), bytes.size() - at);
            std::memcpy(bytes.data() + at, &word, count);
        } else {
            bytes.erase(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                        bytes.begin() + static_cast<std::ptrdiff_t>(
                                            std::min<std::size_t>(at + 1 + random() % 8, bytes.size())));
        }
        const Read read = readBytes(bytes);
        std::size_t before = 0;
        for (std::size_t k = 0; k < packets.size() && before + packets[k].size() <= at; ++k) {
            ASSERT_GT(read.packets.size(), k) << "a packet before byte " << at << " is lost";
            EXPECT_EQ(read.packets[k], packets[k]);
            before += packets[k].size();
        }
        std::size_t used = 0;
        for (const Bytes& bytesOfPacket : read.packets) {
            used += bytesOfPacket.size();
        }
        EXPECT_TRUE(!read.fault.empty() || used == bytes.size()) << "bytes were passed over in silence";
    }
}

TEST_F(Reader, APipeIsReadLikeAFile) {
    const std::filesystem::path pipe = folder_.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread writer([&pipe] { writeBytes(pipe, joined(samplePackets())); });
    RecordingReader reader(pipe);
    EXPECT_EQ(reader.fileSize(), 0U);
    std::size_t count = 0;
    while (reader.next() != nullptr) {
        ++count;
    }
    writer.join();
    EXPECT_EQ(count, 3U);
}

TEST_F(Reader, BytesOfAPacketMayBeChangedThroughIt) {
    writeBytes(path(), joined(samplePackets()));
    RecordingReader reader(path());
    RecordedPacket* const first = reader.next();
    first->bytes[32] = 0x99;  // the first byte of the data
    EXPECT_EQ(*static_cast<const std::uint8_t*>(first->chunks[0].data), 0x99);
}

TEST_F(Reader, WhatWasLookedAtIsGivenAgain) {
    writeBytes(path(), joined(samplePackets()));
    RecordingReader reader(path());
    const RecordedPacket* const first = reader.lookAhead();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->index, 0U);
    const RecordedPacket* const second = reader.lookAhead();
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->index, 1U);
    EXPECT_EQ(second->offset, samplePackets()[0].size());
    EXPECT_EQ(reader.packetsRead(), 0U);
    EXPECT_EQ(reader.bytesAhead(), samplePackets()[0].size() + samplePackets()[1].size());
    constexpr std::array<std::size_t, 3> chunkCounts{1, 0, 2};
    for (std::size_t k = 0; k < 3; ++k) {
        const RecordedPacket* const packet = reader.next();
        ASSERT_NE(packet, nullptr);
        EXPECT_EQ(packet->index, k);
        EXPECT_EQ(Bytes(packet->bytes.begin(), packet->bytes.end()), samplePackets()[k]);
        EXPECT_EQ(packet->chunks.size(), chunkCounts[k]);
    }
    EXPECT_EQ(reader.next(), nullptr);
    EXPECT_EQ(reader.bytesAhead(), 0U);
}

TEST_F(Reader, DamageThatWasLookedAtIsToldInItsPlace) {
    Bytes bytes = joined(samplePackets());
    bytes.pop_back();
    writeBytes(path(), bytes);
    RecordingReader reader(path());
    EXPECT_NE(reader.lookAhead(), nullptr);
    EXPECT_NE(reader.lookAhead(), nullptr);
    EXPECT_EQ(reader.lookAhead(), nullptr);
    EXPECT_NE(reader.next(), nullptr);
    EXPECT_NE(reader.next(), nullptr);
    EXPECT_THROW(reader.next(), RecordingError);
    EXPECT_EQ(reader.next(), nullptr);
}

TEST_F(Reader, AFileThatShrinksWhileItIsReadEndsAtADamageInWords) {
    const std::vector<Bytes> packets(5, packet({{1, Bytes(8, 0x11), Bytes(50000, 0x22)}}));
    writeBytes(path(), joined(packets));
    RecordingReader reader(path());
    ASSERT_NE(reader.next(), nullptr);
    std::filesystem::resize_file(path(), 3 * packets[0].size() + 1000);
    std::size_t read = 1;
    std::string sentence;
    try {
        while (reader.next() != nullptr) {
            ++read;
        }
    } catch (const RecordingError& error) {
        sentence = error.what();
    }
    EXPECT_EQ(read, 3U);
    EXPECT_NE(sentence.find("the file ends in the data of chunk 0"), std::string::npos) << sentence;
}

class Writer : public Reader {};

TEST_F(Writer, WritesWhatTheReaderGives) {
    {
        RecordingWriter writer(path());
        for (const Bytes& bytes : samplePackets()) {
            writer.write(bytes);
        }
        writer.finish();
        EXPECT_EQ(writer.packets(), 3U);
        EXPECT_EQ(writer.bytes(), joined(samplePackets()).size());
    }
    EXPECT_EQ(readAll(path()).packets, samplePackets());
}

TEST_F(Writer, TheFileHasItsNameOnlyWhenItIsFinished) {
    const std::filesystem::path deep = folder_.path() / "a/b/r.zelta";
    RecordingWriter writer(deep);
    writer.write(samplePackets()[0]);
    EXPECT_FALSE(std::filesystem::exists(deep));
    EXPECT_TRUE(std::filesystem::exists(folder_.path() / "a/b/r.zelta.part"));
    writer.finish();
    writer.finish();
    EXPECT_TRUE(std::filesystem::exists(deep));
    EXPECT_FALSE(std::filesystem::exists(folder_.path() / "a/b/r.zelta.part"));
}

TEST_F(Writer, WhatIsNotFinishedLeavesNothingAndTheOldFileAsItWas) {
    writeBytes(path(), {1, 2, 3});
    {
        RecordingWriter writer(path());
        writer.write(samplePackets()[0]);
    }
    EXPECT_EQ(fileBytes(path()), (Bytes{1, 2, 3}));
    EXPECT_FALSE(std::filesystem::exists(folder_.path() / "r.zelta.part"));
}

TEST_F(Writer, WithoutPacketsThereIsNoFile) {
    RecordingWriter writer(path());
    writer.finish();
    EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(Writer, APlaceThatCannotBeWrittenIsTold) {
    writeBytes(folder_.path() / "file", {1});
    EXPECT_THROW(RecordingWriter(folder_.path() / "file/r.zelta"), RecordingError);
    EXPECT_THROW(RecordingWriter(folder_.path()), RecordingError);
}

// The limit of a file's size stands for the end of the disk.
TEST_F(Writer, AWriteThatFailsIsToldAndNothingRemains) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handlerBefore = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit few{4, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &few), 0);
    std::string sentence;
    try {
        RecordingWriter writer(path());
        writer.write(samplePackets()[0]);
        writer.finish();
    } catch (const RecordingError& error) {
        sentence = error.what();
    }
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handlerBefore);
    EXPECT_EQ(sentence, "Cannot write " + path().string() + ": File too large.");
    EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(Writer, AFullDiskLeavesTheWholePacketsBeforeUnderTheUnfinishedName) {
    const std::vector<Bytes> packets = samplePackets();
    const std::size_t whole = packets[0].size() + packets[1].size();
    for (const std::size_t room : {whole, whole + 1, whole + packets[2].size() - 1}) {
        rlimit before{};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
        const auto handlerBefore = std::signal(SIGXFSZ, SIG_IGN);
        const rlimit few{room, before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &few), 0);
        std::string sentence;
        try {
            RecordingWriter writer(path());
            for (const Bytes& bytes : packets) {
                writer.write(bytes);
            }
            writer.finish();
        } catch (const RecordingError& error) {
            sentence = error.what();
        }
        setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, handlerBefore);
        const std::filesystem::path kept = folder_.path() / "r.zelta.part";
        EXPECT_EQ(sentence, "Cannot write " + path().string() +
                                ": File too large. The packets before are in " + kept.string() + ": 2.");
        EXPECT_EQ(readAll(kept).packets, (std::vector<Bytes>{packets[0], packets[1]}));
        EXPECT_EQ(readAll(kept).fault, "");
        EXPECT_FALSE(std::filesystem::exists(path()));
        std::filesystem::remove(kept);
    }
}

TEST_F(Writer, AFileWithTheNameOfAnUnfinishedOneIsLeftAlone) {
    const std::filesystem::path other = folder_.path() / "r.zelta.part";
    writeBytes(other, {1, 2, 3});
    RecordingWriter first(path());
    RecordingWriter second(path());
    EXPECT_TRUE(std::filesystem::exists(folder_.path() / "r.zelta.part1"));
    EXPECT_TRUE(std::filesystem::exists(folder_.path() / "r.zelta.part2"));
    first.write(samplePackets()[0]);
    second.write(samplePackets()[2]);
    first.finish();
    EXPECT_EQ(readAll(path()).packets, (std::vector<Bytes>{samplePackets()[0]}));
    second.finish();
    EXPECT_EQ(readAll(path()).packets, (std::vector<Bytes>{samplePackets()[2]}));
    EXPECT_EQ(fileBytes(other), (Bytes{1, 2, 3}));
    EXPECT_FALSE(std::filesystem::exists(folder_.path() / "r.zelta.part1"));
    EXPECT_FALSE(std::filesystem::exists(folder_.path() / "r.zelta.part2"));
}

TEST_F(Writer, ARecordingCanBeReadAndChangedLikeAnyNewFile) {
    const mode_t mask = umask(027);
    RecordingWriter writer(path());
    writer.write(samplePackets()[0]);
    writer.finish();
    umask(mask);
    EXPECT_EQ(std::filesystem::status(path()).permissions(), std::filesystem::perms(0640));
}

}  // namespace
}  // namespace recording
