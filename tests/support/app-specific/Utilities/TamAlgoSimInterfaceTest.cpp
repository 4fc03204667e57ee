// SPDX-License-Identifier: Apache-2.0
//
// What every algorithm of the plug-in interface inherits, seen with an algorithm that does nothing else.
#include "TamAlgoSimInterface.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <type_traits>

#include "Layouts.h"

namespace {

using host_testing::Bytes;

/** An algorithm that shows what its base class keeps, and does what a test asks for. */
class Algorithm : public TamAlgoSimInterface {
 public:
    explicit Algorithm(int numMeasBuffers = 6) : TamAlgoSimInterface(numMeasBuffers, "Test Algorithm") {}

    void getAlgoVersion(AlgoVersion& version) override { version = {1, 2, 3}; }
    void assignReceivedChunks(bool fromCustomPin) override {
        calls += fromCustomPin ? "pin " : "data ";
        if (onAssign) {
            onAssign();
        }
    }
    bool processAlgo() override {
        calls += "process ";
        return answer;
    }

    /** Offers `size` bytes of `data` and a definition of the same size on a channel. */
    void offer(int pair, int channelID, const void* data, unsigned int size) {
        m_measBuffers[static_cast<std::size_t>(2 * pair)] = {data, size, 0, channelID};
        m_measBuffers[static_cast<std::size_t>(2 * pair + 1)] = {data, size, 0, channelID + 1};
    }
    AlgoMeasBuffer& buffer(int i) { return m_measBuffers[static_cast<std::size_t>(i)]; }

    using TamAlgoSimInterface::m_lastMessage;
    using TamAlgoSimInterface::m_numMeasBuffers;
    using TamAlgoSimInterface::m_pilChannels;
    using TamAlgoSimInterface::m_pilOnceChannels;
    using TamAlgoSimInterface::m_receivedChunks;
    using TamAlgoSimInterface::receivedChunksContain;

    std::string calls;
    bool answer = false;
    std::function<void()> onAssign;
};

/** A packet of chunks on these channels. */
Bytes packetOn(const std::vector<int>& channels) {
    std::vector<host_testing::OwnedChunk> chunks;
    for (const int channel : channels) {
        chunks.push_back({channel, {1, 2, 3, 4}, {5, 6}});
    }
    return host_testing::packetOf(chunks);
}

bool process(Algorithm& algorithm, const Bytes& packet, bool fromCustomPin = false) {
    return algorithm.processZelta(packet.data(), static_cast<int>(packet.size()), fromCustomPin);
}

std::vector<int> resultChannels(Algorithm& algorithm, bool isPIL) {
    const int size = algorithm.getRequiredOutputSize(isPIL);
    if (size == 0) {
        return {};
    }
    Bytes packet(static_cast<std::size_t>(size));
    EXPECT_EQ(algorithm.packResult(packet.data(), size), 0);
    Packet chunks;
    EXPECT_EQ(packet_parse(packet.data(), size, chunks), 0);
    std::vector<int> channels;
    for (const ZeltaChunk& chunk : chunks) {
        channels.push_back(chunk.channelID);
    }
    return channels;
}

/** The text of the exception that `action` throws. */
template <class Exception, class Action>
std::string textThrownBy(Action action) {
    try {
        action();
    } catch (const Exception& e) {
        return e.what();
    }
    return "nothing was thrown";
}

constexpr char kData[] = "some data";

TEST(TamAlgoSimInterface, KeepsItsName) {
    EXPECT_EQ(Algorithm().prettyName(), "Test Algorithm");
    EXPECT_EQ(Algorithm().lastMessage(), "");
}

TEST(TamAlgoSimInterface, AnOddNumberOfBuffersIsRefused) {
    EXPECT_EQ(textThrownBy<std::runtime_error>([] { Algorithm algorithm(3); }),
              "number of measurement buffers must be a even number!");
    EXPECT_EQ(textThrownBy<std::runtime_error>([] { Algorithm algorithm(1); }),
              "number of measurement buffers must be a even number!");
}

TEST(TamAlgoSimInterface, NoBuffersOrLessMakeAnAlgorithmWithoutResult) {
    for (const int number : {0, -1, -2}) {
        Algorithm algorithm(number);
        EXPECT_EQ(algorithm.getRequiredOutputSize(false), 0) << number;
        EXPECT_FALSE(process(algorithm, packetOn({1}))) << number;
    }
}

TEST(TamAlgoSimInterface, TheBuffersAreZeroAtFirst) {
    Algorithm algorithm;
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(algorithm.buffer(i).buffer, nullptr);
        EXPECT_EQ(algorithm.buffer(i).sizeTotal, 0U);
        EXPECT_EQ(algorithm.buffer(i).channelID, 0);
    }
}

TEST(TamAlgoSimInterface, APacketIsAssignedAndThenProcessed) {
    Algorithm algorithm;
    process(algorithm, packetOn({1}));
    process(algorithm, packetOn({1}), true);
    EXPECT_EQ(algorithm.calls, "data process pin process ");
}

TEST(TamAlgoSimInterface, TheAnswerOfTheAlgorithmIsGivenBack) {
    Algorithm algorithm;
    EXPECT_FALSE(process(algorithm, packetOn({1})));
    algorithm.answer = true;
    EXPECT_TRUE(process(algorithm, packetOn({1})));
}

TEST(TamAlgoSimInterface, APacketZeroesTheBuffersFirst) {
    Algorithm algorithm;
    algorithm.offer(2, 30, kData, 4);
    const void* seen = kData;
    algorithm.onAssign = [&] { seen = algorithm.buffer(4).buffer; };
    process(algorithm, packetOn({1}));
    EXPECT_EQ(seen, nullptr);
    EXPECT_EQ(algorithm.getRequiredOutputSize(false), 0);
}

TEST(TamAlgoSimInterface, WhatIsNoPacketIsRefusedBeforeAnythingIsAssigned) {
    Algorithm algorithm;
    algorithm.offer(0, 10, kData, 4);
    const Bytes garbage = {1, 0, 0, 0, 9, 9};
    EXPECT_EQ(textThrownBy<std::runtime_error>([&] { process(algorithm, garbage); }),
              "Unable to parse zelta packet");
    EXPECT_EQ(algorithm.calls, "");
    EXPECT_EQ(algorithm.buffer(0).buffer, nullptr);
}

TEST(TamAlgoSimInterface, NoBytesAreNoPacket) {
    Algorithm algorithm;
    for (const int size : {0, 3, -1}) {
        EXPECT_EQ(textThrownBy<std::runtime_error>([&] { algorithm.processZelta(kData, size, false); }),
                  "Unable to parse zelta packet")
            << size;
    }
    EXPECT_EQ(textThrownBy<std::runtime_error>([&] { algorithm.processZelta(nullptr, 4, false); }),
              "Unable to parse zelta packet");
}

TEST(TamAlgoSimInterface, TheReceivedChunksAreThoseOfTheLastPacket) {
    Algorithm algorithm;
    process(algorithm, packetOn({7, 8}));
    EXPECT_TRUE(algorithm.receivedChunksContain(7));
    EXPECT_TRUE(algorithm.receivedChunksContain(8));
    EXPECT_FALSE(algorithm.receivedChunksContain(9));
    process(algorithm, packetOn({9}));
    EXPECT_FALSE(algorithm.receivedChunksContain(7));
    EXPECT_TRUE(algorithm.receivedChunksContain(9));
    process(algorithm, packetOn({}));
    EXPECT_FALSE(algorithm.receivedChunksContain(9));
}

TEST(TamAlgoSimInterface, TheReceivedChunksPointIntoTheHostsPacket) {
    Algorithm algorithm;
    const Bytes packet = packetOn({7});
    const void* data = nullptr;
    algorithm.onAssign = [&] { data = algorithm.m_receivedChunks.at(0).data; };
    process(algorithm, packet);
    EXPECT_EQ(data, packet.data() + 4 + 16 + 4 + 4);
}

TEST(TamAlgoSimInterface, APairWithoutDataOrDefinitionIsPassedOver) {
    Algorithm algorithm;
    algorithm.offer(0, 10, kData, 4);
    algorithm.offer(1, 20, kData, 4);
    algorithm.offer(2, 30, kData, 4);
    algorithm.buffer(0).buffer = nullptr;
    algorithm.buffer(3).buffer = nullptr;
    EXPECT_EQ(resultChannels(algorithm, false), (std::vector<int>{30}));
}

TEST(TamAlgoSimInterface, AChunkOfTheResultHasDataChannelAndDefinitionOfItsPair) {
    Algorithm algorithm;
    algorithm.buffer(2) = {"abc", 3, 99, 20};
    algorithm.buffer(3) = {"defgh", 5, 99, 77};
    const int size = algorithm.getRequiredOutputSize(false);
    ASSERT_EQ(size, 4 + 24 + 3 + 5);
    Bytes packet(static_cast<std::size_t>(size));
    ASSERT_EQ(algorithm.packResult(packet.data(), size), 0);
    Packet chunks;
    ASSERT_EQ(packet_parse(packet.data(), size, chunks), 0);
    ASSERT_EQ(chunks.size(), 1U);
    EXPECT_EQ(chunks[0].channelID, 20);
    EXPECT_EQ(std::string(static_cast<const char*>(chunks[0].data), 3), "abc");
    EXPECT_EQ(chunks[0].dataSize, 3);
    EXPECT_EQ(std::string(static_cast<const char*>(chunks[0].description), 5), "defgh");
    EXPECT_EQ(chunks[0].descSize, 5);
}

TEST(TamAlgoSimInterface, TheShortFormHasTheListedChannelsInTheOrderOfTheBuffers) {
    Algorithm algorithm;
    algorithm.offer(0, 10, kData, 4);
    algorithm.offer(1, 20, kData, 4);
    algorithm.offer(2, 30, kData, 4);
    algorithm.m_pilChannels = {30, 10, 50};
    EXPECT_EQ(resultChannels(algorithm, true), (std::vector<int>{10, 30}));
    EXPECT_EQ(resultChannels(algorithm, true), (std::vector<int>{10, 30}));
    EXPECT_EQ(resultChannels(algorithm, false), (std::vector<int>{10, 20, 30}));
}

TEST(TamAlgoSimInterface, AOnceChannelGoesOutInOneShortResult) {
    Algorithm algorithm;
    algorithm.offer(0, 10, kData, 4);
    algorithm.offer(1, 20, kData, 4);
    algorithm.m_pilOnceChannels = {10};
    EXPECT_EQ(resultChannels(algorithm, true), (std::vector<int>{10}));
    EXPECT_EQ(resultChannels(algorithm, true), std::vector<int>());
}

TEST(TamAlgoSimInterface, AOnceChannelWaitsForTheFirstResultThatHoldsIt) {
    Algorithm algorithm;
    algorithm.offer(0, 20, kData, 4);
    algorithm.m_pilOnceChannels = {10};
    EXPECT_EQ(resultChannels(algorithm, true), std::vector<int>());
    algorithm.offer(1, 10, kData, 4);
    EXPECT_EQ(resultChannels(algorithm, false), (std::vector<int>{20, 10}));
    EXPECT_EQ(resultChannels(algorithm, true), (std::vector<int>{10}));
    EXPECT_EQ(resultChannels(algorithm, true), std::vector<int>());
}

TEST(TamAlgoSimInterface, AllOccurrencesOfAOnceChannelGoTogether) {
    Algorithm algorithm;
    algorithm.offer(0, 10, kData, 4);
    algorithm.m_pilOnceChannels = {10, 20, 10};
    EXPECT_EQ(resultChannels(algorithm, true), (std::vector<int>{10}));
    EXPECT_EQ(algorithm.m_pilOnceChannels, (std::vector<int>{20}));
}

TEST(TamAlgoSimInterface, AOnceChannelThatIsListedAsWellGoesOutAlways) {
    Algorithm algorithm;
    algorithm.offer(0, 10, kData, 4);
    algorithm.m_pilChannels = {10};
    algorithm.m_pilOnceChannels = {10};
    EXPECT_EQ(resultChannels(algorithm, true), (std::vector<int>{10}));
    EXPECT_TRUE(algorithm.m_pilOnceChannels.empty());
    EXPECT_EQ(resultChannels(algorithm, true), (std::vector<int>{10}));
}

TEST(TamAlgoSimInterface, AResultOfAnotherSizeThanAskedForThrowsWithBothNumbers) {
    Algorithm algorithm;
    algorithm.offer(0, 10, kData, 4);
    ASSERT_EQ(algorithm.getRequiredOutputSize(false), 36);
    Bytes packet(37);
    EXPECT_EQ(textThrownBy<std::runtime_error>([&] { algorithm.packResult(packet.data(), 37); }),
              "Unexpected payload size (got: 37 expected: 36");
    EXPECT_EQ(textThrownBy<std::runtime_error>([&] { algorithm.packResult(packet.data(), -1); }),
              "Unexpected payload size (got: -1 expected: 36");
}

TEST(TamAlgoSimInterface, AnEmptyResultIsAPacketWithoutChunks) {
    Algorithm algorithm;
    EXPECT_EQ(algorithm.getRequiredOutputSize(false), 0);
    Bytes packet(4, 0xFF);
    EXPECT_EQ(algorithm.packResult(packet.data(), 4), 0);
    EXPECT_EQ(packet, Bytes(4, 0));
}

/** This holds for any packet: handling it may free what the result pointed at. */
TEST(TamAlgoSimInterface, AResultThatWasChosenIsGoneWithTheNextPacket) {
    const std::vector<std::function<void(Algorithm&)>> calls = {
        [](Algorithm& algorithm) { process(algorithm, packetOn({1})); },
        [](Algorithm& algorithm) {
            EXPECT_THROW(process(algorithm, {1, 2, 3}), std::runtime_error);
        },
        [](Algorithm& algorithm) {
            algorithm.onAssign = [] { throw 42; };
            EXPECT_THROW(process(algorithm, packetOn({1})), int);
        }};
    for (const auto& call : calls) {
        Algorithm algorithm;
        algorithm.offer(0, 10, kData, 4);
        ASSERT_EQ(algorithm.getRequiredOutputSize(false), 36);
        call(algorithm);
        Bytes packet(36);
        EXPECT_EQ(textThrownBy<std::runtime_error>([&] { algorithm.packResult(packet.data(), 36); }),
                  "Unexpected payload size (got: 36 expected: 4");
    }
}

/** The place of a virtual function in the table that hosts built against this class rely on. A pointer to a
 * virtual member begins with the offset of its slot in bytes; on PCs 1 is added. */
template <class Member>
std::size_t slotOf(Member member) {
    std::size_t offset = 0;
    std::memcpy(&offset, &member, sizeof offset);
    return offset / sizeof(void*);
}

TEST(TamAlgoSimInterface, VirtualFunctionsStandInTheOrderThatHostsRelyOn) {
    // The two destructors, one of which deletes, are slots 0 and 1.
    EXPECT_EQ(slotOf(&TamAlgoSimInterface::processZelta), 2U);
    EXPECT_EQ(slotOf(&TamAlgoSimInterface::getRequiredOutputSize), 3U);
    EXPECT_EQ(slotOf(&TamAlgoSimInterface::packResult), 4U);
    EXPECT_EQ(slotOf(&TamAlgoSimInterface::getAlgoVersion), 5U);
    EXPECT_EQ(slotOf(&TamAlgoSimInterface::assignReceivedChunks), 6U);
    EXPECT_EQ(slotOf(&TamAlgoSimInterface::processAlgo), 7U);
}

TEST(TamAlgoSimInterface, NoPlaceForTheResultIsRefused) {
    Algorithm algorithm;
    algorithm.offer(0, 10, kData, 4);
    EXPECT_EQ(algorithm.packResult(nullptr, algorithm.getRequiredOutputSize(false)), -1);
}

TEST(TamAlgoSimInterface, AnAlgoExceptionIsARuntimeErrorWithItsText) {
    const std::string text = "the reason";
    const TamAlgoSimInterface::AlgoException exception(text);
    const TamAlgoSimInterface::AlgoException copy(exception);
    EXPECT_STREQ(copy.what(), "the reason");
    EXPECT_TRUE((std::is_base_of_v<std::runtime_error, TamAlgoSimInterface::AlgoException>));
}

TEST(TamAlgoSimInterface, WhatTheAlgorithmThrowsGoesOnToTheCaller) {
    Algorithm algorithm;
    algorithm.onAssign = [] { throw TamAlgoSimInterface::AlgoException("the reason"); };
    EXPECT_EQ(textThrownBy<TamAlgoSimInterface::AlgoException>([&] { process(algorithm, packetOn({1})); }),
              "the reason");
    algorithm.onAssign = [] { throw 42; };
    EXPECT_THROW(process(algorithm, packetOn({1})), int);
}

}  // namespace
