// SPDX-License-Identifier: Apache-2.0
//
// The exported functions, called as a host calls them: through dlopen.
#include <cxxabi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <set>

#include "ElfSymbols.h"
#include "HostInC.h"
#include "Plugin.h"
#include "TestMemory.h"

namespace {

using host_testing::Bytes;
using host_testing::Camera;
using host_testing::channelsOf;
using host_testing::Plugin;

const Plugin::Answer kNothing = {0, false};
const Plugin::Answer kInitialised = {1, false};
const Plugin::Answer kFailed = {0, true};

class QorPlugin : public ::testing::Test {
 protected:
    QorPlugin() { plugin_.createAlgo(); }

    /** Calibration and the first image of a frame. */
    void start() {
        EXPECT_EQ(plugin_.process(camera_.calibrationPacket()), kNothing);
        EXPECT_EQ(plugin_.process(camera_.imagePacket()), kInitialised) << plugin_.lastExceptionMessage();
    }

    std::string exceptionMessage() const { return plugin_.lastExceptionMessage(); }

    Plugin plugin_;
    Camera camera_;
};

TEST_F(QorPlugin, ANewAlgorithmHasANameAndNothingToSay) {
    EXPECT_STREQ(plugin_.prettyName(), "Qor Distance Image");
    EXPECT_STREQ(plugin_.lastMessage(), "");
    EXPECT_EQ(plugin_.getRequiredOutputSize(0), 0);
}

TEST_F(QorPlugin, TheVersionIs036) {
    AlgoVersion version = {9, 9, 9};
    plugin_.getAlgoVersion(&version);
    EXPECT_EQ(version.major, 0U);
    EXPECT_EQ(version.minor, 3U);
    EXPECT_EQ(version.patch, 6U);
}

TEST_F(QorPlugin, AHostInCFindsItsFunctions) {
    uint32_t version[3] = {9, 9, 9};
    ASSERT_EQ(versionFromC(QOR_PLUGIN_FILE, version), 0);
    EXPECT_EQ(version[0], 0U);
    EXPECT_EQ(version[1], 3U);
    EXPECT_EQ(version[2], 6U);
}

TEST_F(QorPlugin, TheInitialisationIsTheLastMessage) {
    start();
    EXPECT_STREQ(plugin_.lastMessage(), "QorDistanceImage_Init() called successfully");
}

TEST_F(QorPlugin, CustomPin1Counts) {
    EXPECT_EQ(plugin_.process(camera_.calibrationPacket(), 1), kFailed);
    EXPECT_EQ(exceptionMessage(), "Unable to find requested channel 3228 in ZeltaChunk vector");
}

TEST_F(QorPlugin, CustomPin2CountsAsFalse) {
    EXPECT_EQ(plugin_.process(camera_.calibrationPacket(), 2), kNothing);
    EXPECT_EQ(plugin_.process(camera_.calibrationPacket(), -1), kNothing);
    EXPECT_EQ(plugin_.process(camera_.customizationPacket(), 2), kNothing);
    camera_.input.customization.minAmplitude = 77.0F;
    EXPECT_EQ(plugin_.process(camera_.imagePacket()), kInitialised);
    const auto input = host_testing::recordOn<QorDistanceImageIFInput>(plugin_.result(), 3208);
    ASSERT_TRUE(input);
    EXPECT_EQ(input->customization.minAmplitude, 77.0F);
}

TEST_F(QorPlugin, Pil2CountsAsFalse) {
    start();
    EXPECT_EQ(plugin_.getRequiredOutputSize(2), plugin_.getRequiredOutputSize(0));
    EXPECT_EQ(plugin_.getRequiredOutputSize(-1), plugin_.getRequiredOutputSize(0));
    EXPECT_LT(plugin_.getRequiredOutputSize(1), plugin_.getRequiredOutputSize(0));
}

TEST_F(QorPlugin, ASecondCreateReplacesTheAlgorithm) {
    start();
    plugin_.createAlgo();
    EXPECT_STREQ(plugin_.lastMessage(), "");
    EXPECT_EQ(plugin_.getRequiredOutputSize(0), 0);
    camera_.restartFrame();
    EXPECT_EQ(plugin_.process(camera_.imagePacket()), kNothing) << "the calibration went with the old one";
    EXPECT_EQ(plugin_.process(camera_.calibrationPacket()), kInitialised);
}

TEST_F(QorPlugin, ClearWithoutAnAlgorithmDoesNothing) {
    plugin_.clearAlgo();
    plugin_.clearAlgo();
    plugin_.createAlgo();
    start();
}

/** Nobody requires it, but a host's mistake must not take its process down. */
TEST_F(QorPlugin, WithoutAnAlgorithmTheFunctionsAnswerNothing) {
    plugin_.clearAlgo();
    EXPECT_EQ(plugin_.process(camera_.calibrationPacket()), kNothing);
    EXPECT_EQ(plugin_.getRequiredOutputSize(0), 0);
    Bytes untouched(4, 9);
    EXPECT_EQ(plugin_.packResult(untouched.data(), 4), -1);
    EXPECT_EQ(untouched, Bytes(4, 9));
    EXPECT_STREQ(plugin_.lastMessage(), "");
    EXPECT_STREQ(plugin_.prettyName(), "");
    AlgoVersion version = {9, 9, 9};
    plugin_.getAlgoVersion(&version);
    EXPECT_EQ(version.major, 9U);
}

TEST_F(QorPlugin, BetweenFramesTheResultHasTheDebugChannels) {
    start();
    EXPECT_EQ(channelsOf(plugin_.result()), (std::vector<int>{3208, 3214, 3216, 3218, 3220, 3222, 3200}));
}

TEST_F(QorPlugin, AFinishedFrameAddsTheResult) {
    start();
    for (int image = 1; image < 4; ++image) {
        EXPECT_EQ(plugin_.process(camera_.imagePacket()), kNothing);
    }
    EXPECT_EQ(channelsOf(plugin_.result()),
              (std::vector<int>{3208, 3214, 3216, 3218, 3220, 3222, 3200, 3210}));
    EXPECT_EQ(channelsOf(plugin_.result(true)), (std::vector<int>{3208, 3220, 3222, 3210}));
}

/** Old contents of memory must not leave the process in the padding of a record. */
TEST_F(QorPlugin, ThePaddingOfTheResultIsZero) {
    plugin_.clearAlgo();
    test_memory::g_newMemoryIsDirty = true;
    plugin_.createAlgo();
    test_memory::g_newMemoryIsDirty = false;
    start();
    for (int image = 1; image < 4; ++image) {
        EXPECT_EQ(plugin_.process(camera_.imagePacket()), kNothing);
    }
    const Bytes result = plugin_.result();
    const auto chunk = host_testing::chunkOn(host_testing::parsed(result), 3210);
    ASSERT_TRUE(chunk);
    const auto* const bytes = static_cast<const std::uint8_t*>(chunk->data);
    constexpr std::size_t kCounterAt = offsetof(QorDistanceImageIFOutput, unitVectorChangeCounter);
    constexpr std::size_t kNextAt = offsetof(QorDistanceImageIFOutput, distToCartesian);
    static_assert(kNextAt == kCounterAt + 4);
    for (std::size_t i = kCounterAt + 1; i < kNextAt; ++i) {
        EXPECT_EQ(bytes[i], 0) << i;
    }
}

TEST_F(QorPlugin, ACallWithoutAnImageHasNoResult) {
    start();
    ASSERT_GT(plugin_.getRequiredOutputSize(0), 0);
    EXPECT_EQ(plugin_.process(camera_.inputPacket()), kNothing);
    EXPECT_EQ(plugin_.getRequiredOutputSize(0), 0);
    EXPECT_EQ(plugin_.getRequiredOutputSize(1), 0);
}

TEST_F(QorPlugin, TheCalibrationGoesBackInFull) {
    EXPECT_EQ(plugin_.process(camera_.calibrationPacket()), kNothing);
    const Bytes result = plugin_.result();
    EXPECT_EQ(channelsOf(result), (std::vector<int>{3224, 3226, 3212}));
    const host_testing::OwnedChunk sent = camera_.calibrationChunk();
    const auto returned = host_testing::chunkOn(host_testing::parsed(result), 3212);
    ASSERT_TRUE(returned);
    ASSERT_EQ(static_cast<std::size_t>(returned->dataSize), sent.data.size());
    EXPECT_EQ(std::memcmp(returned->data, sent.data.data(), sent.data.size()), 0);
    ASSERT_EQ(static_cast<std::size_t>(returned->descSize), sent.description.size());
    EXPECT_EQ(std::memcmp(returned->description, sent.description.data(), sent.description.size()), 0);
}

TEST_F(QorPlugin, InTheShortFormTheCalibrationGoesOutOnce) {
    EXPECT_EQ(plugin_.process(camera_.calibrationPacket()), kNothing);
    EXPECT_EQ(channelsOf(plugin_.result(true)), (std::vector<int>{3212}));
    EXPECT_EQ(plugin_.getRequiredOutputSize(1), 0);
    EXPECT_EQ(channelsOf(plugin_.result()), (std::vector<int>{3224, 3226, 3212}));
}

TEST_F(QorPlugin, AResultOfAWrongSizeThrowsOnToTheHost) {
    start();
    const int required = plugin_.getRequiredOutputSize(1);
    Bytes packet(static_cast<std::size_t>(required) + 1);
    try {
        plugin_.packResult(packet.data(), required + 1);
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& e) {
        EXPECT_EQ(std::string(e.what()), "Unexpected payload size (got: " + std::to_string(required + 1) +
                                             " expected: " + std::to_string(required));
    }
}

TEST_F(QorPlugin, WhatIsNoPacketIsAnException) {
    EXPECT_EQ(plugin_.process({1, 2, 3}), kFailed);
    EXPECT_EQ(exceptionMessage(), "Unable to parse zelta packet");
    EXPECT_EQ(plugin_.getRequiredOutputSize(0), 0);
}

TEST_F(QorPlugin, TheLastExceptionOutlivesSuccesses) {
    EXPECT_EQ(plugin_.process({1, 2, 3}), kFailed);
    start();
    EXPECT_EQ(exceptionMessage(), "Unable to parse zelta packet");
}

TEST_F(QorPlugin, TheExceptionOfTheAlgorithmIsItsText) {
    EXPECT_EQ(plugin_.process(host_testing::packetOf({camera_.calibrationChunk()})), kFailed);
    EXPECT_EQ(exceptionMessage(),
              "CalibInterpreter_Apply Exception: Unable to find requested channel 3226 in ZeltaChunk vector");
}

TEST_F(QorPlugin, AnExceptionOfAnUnknownTypeIsUnknown) {
    const Bytes packet = camera_.calibrationPacket();
    int32_t exceptionOccured = 0;
    test_memory::g_nextAllocationThrowsANumber = true;
    const int32_t result =
        plugin_.processZelta(packet.data(), static_cast<int32_t>(packet.size()), 0, &exceptionOccured);
    ASSERT_FALSE(test_memory::g_nextAllocationThrowsANumber) << "the plug-in allocates elsewhere";
    EXPECT_EQ(result, 0);
    EXPECT_EQ(exceptionOccured, 1);
    EXPECT_EQ(exceptionMessage(), "Unknown exception");
    start();
}

/** The flag is set and nothing escapes, even when there is no memory left for the text. */
TEST_F(QorPlugin, NoExceptionLeavesWhereverMemoryRunsOut) {
    const std::string whole = "Unable to find requested channel 3228 in ZeltaChunk vector";
    const std::string noMemory = "std::bad_alloc";
    const Bytes packet = camera_.calibrationPacket();
    EXPECT_EQ(plugin_.process(camera_.customizationPacket(), 1), kNothing)
        << "what the plug-in keeps is there";
    std::string message;
    bool wasCut = false;
    for (std::size_t allocations = 0; message != whole && allocations < 1000; ++allocations) {
        int32_t exceptionOccured = 0;
        test_memory::g_allocationsLeft = allocations;
        const int32_t result =
            plugin_.processZelta(packet.data(), static_cast<int32_t>(packet.size()), 1, &exceptionOccured);
        test_memory::g_allocationsLeft = test_memory::kWithoutEnd;
        ASSERT_EQ(result, 0) << allocations;
        ASSERT_EQ(exceptionOccured, 1) << allocations;
        message = exceptionMessage();
        ASSERT_TRUE(message == noMemory || (!message.empty() && whole.rfind(message, 0) == 0)) << message;
        wasCut = wasCut || (message != noMemory && message.size() < whole.size());
    }
    EXPECT_EQ(message, whole);
    EXPECT_TRUE(wasCut) << "memory never ran out at the text itself";
    start();
}

/** Gives the packet again and again, each time with memory for one allocation more, until it is enough. */
void insist(const Plugin& plugin, const Bytes& packet, int fromCustomPin, std::size_t& faults) {
    for (std::size_t allocations = 0;; ++allocations) {
        int32_t exceptionOccured = 0;
        test_memory::g_failedAllocations = 0;
        test_memory::g_allocationsLeft = allocations;
        plugin.processZelta(packet.data(), static_cast<int32_t>(packet.size()), fromCustomPin,
                            &exceptionOccured);
        const bool ranOut = test_memory::g_failedAllocations > 0;
        test_memory::g_allocationsLeft = test_memory::kWithoutEnd;
        if (!ranOut) {
            ASSERT_EQ(exceptionOccured, 0) << plugin.lastExceptionMessage();
            return;
        }
        ++faults;
        ASSERT_TRUE(exceptionOccured == 0 || std::string(plugin.lastExceptionMessage()) != "");
    }
}

/** Memory runs out at each place of a session: what was given again makes the frame of an untroubled one. */
TEST_F(QorPlugin, AfterMemoryRanOutTheSamePacketsMakeTheSameFrame) {
    const auto session = [](bool withFaults) {
        const Plugin plugin;
        plugin.createAlgo();
        Camera camera;
        std::size_t faults = 0;
        std::vector<std::pair<Bytes, int>> packets = {{camera.customizationPacket(), 1},
                                                      {camera.calibrationPacket(), 0}};
        for (int image = 0; image < camera.imagesPerFrame(); ++image) {
            packets.emplace_back(camera.imagePacket(), 0);
        }
        for (const auto& [packet, pin] : packets) {
            if (withFaults) {
                insist(plugin, packet, pin, faults);
            } else {
                plugin.process(packet, pin);
            }
        }
        EXPECT_EQ(faults > 20, withFaults) << faults;
        return plugin.result();
    };
    const Bytes untroubled = host_testing::inNewProcess([&] { return session(false); });
    const Bytes troubled = host_testing::inNewProcess([&] { return session(true); });
    const auto expected =
        host_testing::recordOn<QorDistanceImageIFOutput>(untroubled, host_testing::kResultChannel);
    const auto actual =
        host_testing::recordOn<QorDistanceImageIFOutput>(troubled, host_testing::kResultChannel);
    ASSERT_TRUE(expected);
    ASSERT_TRUE(actual);
    EXPECT_EQ(std::memcmp(&*actual, &*expected, sizeof *actual), 0);
}

TEST_F(QorPlugin, ADeclaredSizeOf4GiBIsReadAndAllocatesNothingOfThatSize) {
    host_testing::OwnedChunk calibration = camera_.calibrationChunk();
    std::fill_n(calibration.description.begin() + 8, 4, std::uint8_t{0xFF});
    const Bytes packet = host_testing::packetOf({calibration, camera_.auxiliaryChunk()});
    test_memory::g_largestAllocation = 0;
    EXPECT_EQ(plugin_.process(packet), kNothing) << exceptionMessage();
    EXPECT_LE(test_memory::g_largestAllocation, packet.size());
    EXPECT_EQ(plugin_.process(camera_.imagePacket()), kInitialised) << "the calibration was taken";
}

/** Packets of strangers, each with a definition of its own. */
TEST_F(QorPlugin, ClearGivesBackWhatThePluginKeepsOfDefinitions) {
    start();
    host_testing::OwnedChunk unknown = camera_.rawChunk();
    plugin_.clearAlgo();
    const std::size_t before = test_memory::g_blocks;
    plugin_.createAlgo();
    for (std::uint8_t key = 0; key < 100; ++key) {
        unknown.description[7] = key;  // without a cipher method nothing reads it
        plugin_.process(host_testing::packetOf({unknown}));
    }
    EXPECT_GT(test_memory::g_blocks, before + 100);
    plugin_.clearAlgo();
    EXPECT_EQ(test_memory::g_blocks, before);
}

TEST_F(QorPlugin, ASecondCreateDestroysTheFirstAlgorithm) {
    plugin_.createAlgo();
    const std::size_t before = test_memory::g_blocks;
    plugin_.createAlgo();
    EXPECT_EQ(test_memory::g_blocks, before);
}

// ---------------------------------------------------------------------------------------------------------------------
// Calls out of order: what was chosen from one packet is gone with the next

class QorPluginResult : public QorPlugin {
 protected:
    /** A calibration without auxiliary parameters: it fails, and its answer holds a copy of it. */
    Plugin::Answer failToCalibrate() {
        return plugin_.process(host_testing::packetOf({camera_.calibrationChunk()}));
    }

    /** What packResult returns for a result of this size. */
    std::string packFailure(int size) {
        Bytes packet(static_cast<std::size_t>(size));
        try {
            plugin_.packResult(packet.data(), size);
        } catch (const std::runtime_error& e) {
            return e.what();
        }
        return "a result";
    }

    std::string nothingChosen(int size) const {
        return "Unexpected payload size (got: " + std::to_string(size) + " expected: 4";
    }
};

TEST_F(QorPluginResult, OfAFailedCalibrationIsGoneWithTheNextFailure) {
    EXPECT_EQ(failToCalibrate(), kFailed);
    const int size = plugin_.getRequiredOutputSize(0);
    ASSERT_GT(size, static_cast<int>(sizeof(QorDistanceImageIFCalib)));
    EXPECT_EQ(failToCalibrate(), kFailed);
    EXPECT_EQ(packFailure(size), nothingChosen(size));
}

TEST_F(QorPluginResult, OfAnImageIsGoneWithWhateverFailsNext) {
    start();
    const int size = plugin_.getRequiredOutputSize(0);
    EXPECT_EQ(plugin_.process({1, 2, 3}), kFailed);
    EXPECT_EQ(packFailure(size), nothingChosen(size));
    EXPECT_EQ(plugin_.process(camera_.imagePacket()), kNothing);
    EXPECT_EQ(plugin_.getRequiredOutputSize(0), size);
    EXPECT_EQ(plugin_.process(camera_.inputPacket(), 1), kFailed) << "no customization on the custom pin";
    EXPECT_EQ(packFailure(size), nothingChosen(size));
}

TEST_F(QorPluginResult, IsGoneWithAPacketThatSucceedsToo) {
    start();
    const int size = plugin_.getRequiredOutputSize(0);
    EXPECT_EQ(plugin_.process(camera_.imagePacket()), kNothing);
    EXPECT_EQ(packFailure(size), nothingChosen(size));
    EXPECT_EQ(plugin_.getRequiredOutputSize(0), size) << "and is chosen anew";
    EXPECT_EQ(packFailure(size), "a result");
}

/** Memory runs out at each place of choosing and packing: asked again, the host gets the whole result. */
TEST_F(QorPluginResult, IsWholeAfterMemoryRanOut) {
    start();
    Bytes packet(std::size_t{8} << 20U);
    int size = 0;
    std::size_t faults = 0;
    for (bool ranOut = true; ranOut; faults += ranOut ? 1 : 0) {
        test_memory::g_allocationsLeft = faults;
        try {
            size = plugin_.getRequiredOutputSize(1);
            plugin_.packResult(packet.data(), size);
            ranOut = false;
        } catch (const std::bad_alloc&) {
        }
        test_memory::g_allocationsLeft = test_memory::kWithoutEnd;
    }
    EXPECT_GT(faults, 0U);
    packet.resize(static_cast<std::size_t>(size));
    EXPECT_EQ(packet, plugin_.result(true));
    EXPECT_FALSE(packet.empty());
}

TEST_F(QorPluginResult, StaysWhenItWasFetchedWithAWrongSize) {
    start();
    const int size = plugin_.getRequiredOutputSize(0);
    EXPECT_NE(packFailure(size + 1), "a result");
    EXPECT_EQ(packFailure(size), "a result");
}

TEST_F(QorPlugin, ATruncatedPacketIsRefusedWhereverItIsCut) {
    const Bytes packet = host_testing::packetOf({camera_.auxiliaryChunk()});
    for (std::size_t size = 0; size < packet.size(); ++size) {
        const Bytes cut(packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(plugin_.process(cut), kFailed) << size;
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The dynamic symbol table

std::string readable(const std::string& symbol) {
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status), &std::free);
    return status == 0 ? name.get() : symbol;
}

TEST(ExportedSymbols, AreTheInterfaceAndNothingElse) {
    std::set<std::string> expected = {
        "createAlgo", "clearAlgo", "processZelta", "getRequiredOutputSize", "packResult", "getAlgoVersion",
        "lastMessage", "prettyName", "lastExceptionMessage",
        // The pipeline.
        "QorDistanceImage_Init", "QorDistanceImage_Apply", "QorDistanceImage_GetErrorString",
        "QorDistanceImage_QueryVersion", "g_vStr",
        // The calibration interpreter, in C++.
        "DICI_Qor::CalibInterpreter_Apply", "DICI_Qor::GetLastErrorString"};
    for (const char* record :
         {"QorDistanceImageProfiling", "QorDistanceImageCalib", "QorDistanceImageState",
          "QorDistanceImageOutput", "QorDistanceImageParam", "QorDistanceImageInput", "QorDistanceImageInOut",
          "QorDistanceImageDebug", "QorDistanceImageIFInput", "QorDistanceImageIFCalib",
          "QorDistanceImageCustomization", "QorDistanceImageIFOutput", "QorRawPhaseData", "QorDICIError",
          "QorDICIAuxiliaryParam"}) {
        expected.insert(std::string("zeltaGet_") + record);
    }
    std::set<std::string> names;
    for (const std::string& symbol : host_testing::exportedSymbols(QOR_PLUGIN_FILE)) {
        const std::string name = readable(symbol);
        // Without the arguments and without the mark of the string's ABI.
        EXPECT_TRUE(names.insert(name.substr(0, name.find_first_of("[("))).second) << symbol;
    }
    EXPECT_EQ(names, expected);
}

TEST(ExportedSymbols, TheNameOfTheAlgorithmIsText) {
    const Plugin plugin;
    const auto* const text = static_cast<const char* const*>(plugin.symbol("g_vStr"));
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(*text, "Qor Version AL_VERSION_MAJOR.AL_VERSION_MINOR.AL_VERSION_PATCH");
}

}  // namespace
