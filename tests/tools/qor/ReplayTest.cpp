// SPDX-License-Identifier: Apache-2.0
//
// Replay against a plug-in that writes down what happens to it.

#include "qor/Replay.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <thread>

#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "recording/RecordingWriter.h"
#include "simulation/RawPacking.h"
#include "tools/TestFolder.h"

namespace qor {
namespace {

// Sets a variable of the environment as long as it lives.
class Variable {
 public:
    Variable(const char* name, const std::string& value) : name_(name) { setenv(name, value.c_str(), 1); }
    ~Variable() { unsetenv(name_); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

 private:
    const char* name_;
};

class ReplayOfFake : public testing::Test {
 protected:
    // A calibration packet, then frames of four images.
    void SetUp() override {
        calibration_ = simulation::makeCalibration({});
        recording::RecordingWriter writer(recording());
        writer.write(remembered(recording::calibrationPacket(calibration_, 1)));
        recording::ImagePackets packets(calibration_, {});
        for (std::uint16_t frame = 0; frame < frames; ++frame) {
            for (int k = 0; k < 4; ++k) {
                simulation::RawImage image;
                image.sequenceCounter = k;
                image.frameCounter = static_cast<std::uint16_t>(4 * frame + k);
                image.phaseData.assign(simulation::rawImageBytes, static_cast<std::uint8_t>(k));
                writer.write(remembered(packets.packetOf(image)));
            }
        }
        writer.finish();
    }

    const std::vector<std::uint8_t>& remembered(std::vector<std::uint8_t> packet) {
        return packets_.emplace_back(std::move(packet));
    }

    std::filesystem::path recording() const { return folder_.path() / "r.zelta"; }

    ReplaySettings settings() const {
        ReplaySettings result;
        result.results = folder_.path() / "out/result.zelta";
        result.channels.add("all");
        return result;
    }

    ReplayCounts run(const ReplaySettings& settings) { return run(settings, recording()); }

    ReplayCounts run(const ReplaySettings& settings, const std::filesystem::path& path) {
        frames_.clear();
        distances_.clear();
        troubles_.clear();
        const Variable log("FAKE_PLUGIN_LOG", (folder_.path() / "log").string());
        plugin::Plugin algorithm(FAKE_PLUGIN);
        ReplayListener listener;
        listener.frame = [this](std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
                                const recording::SimulationSettings*) {
            frames_.push_back(number);
            distances_.push_back(frame.distance.at(0));
            hasCoordinates_ = frame.coordinates.has_value();
            noise_ = frame.noise;
            intensity_ = frame.intensity;
            EXPECT_EQ(truth, nullptr);
        };
        listener.trouble = [this](const std::string& sentence) { troubles_.push_back(sentence); };
        listener.progress = [this](double share, std::size_t) { lastShare_ = share; };
        listener.interrupted = [this] { return ++packetsSeen_ == interruptAfter_; };
        recording::RecordingReader reader(path);
        return replay(reader, settings, algorithm, listener);
    }

    std::vector<std::string> log() const {
        std::vector<std::string> lines;
        std::ifstream file(folder_.path() / "log");
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    std::size_t packetsIn(const std::filesystem::path& path) const {
        recording::RecordingReader reader(path);
        while (reader.next() != nullptr) {
        }
        return reader.packetsRead();
    }

    // The number of chunks on each channel.
    static std::map<int, std::size_t> channelsIn(const std::filesystem::path& path) {
        std::map<int, std::size_t> chunks;
        recording::RecordingReader reader(path);
        while (const recording::RecordedPacket* packet = reader.next()) {
            for (const zelta::ZeltaChunk& chunk : packet->chunks) {
                ++chunks[chunk.channelID];
            }
        }
        return chunks;
    }

    static constexpr std::uint16_t frames = 5;
    static constexpr std::size_t allPackets = 1 + 4 * frames;

    TestFolder folder_;
    simulation::Calibration calibration_;
    std::vector<std::vector<std::uint8_t>> packets_;
    std::vector<std::size_t> frames_;
    std::vector<float> distances_;
    std::vector<std::string> troubles_;
    bool hasCoordinates_ = false;
    std::vector<float> noise_;
    std::vector<float> intensity_;
    double lastShare_ = 0.0;
    std::size_t packetsSeen_ = 0;
    std::size_t interruptAfter_ = 0;
};

TEST_F(ReplayOfFake, EveryPacketIsFedOnceInOrderAndAskedForItsResult) {
    const ReplayCounts counts = run(settings());
    EXPECT_EQ(counts.read, allPackets);
    EXPECT_EQ(counts.processed, allPackets);
    EXPECT_EQ(counts.failed, 0U);
    EXPECT_EQ(counts.written, allPackets);
    EXPECT_EQ(counts.frames, frames);
    std::vector<std::string> expected{"createAlgo"};
    for (const auto& packet : packets_) {
        expected.push_back("processZelta " + std::to_string(packet.size()) + " 0");
        expected.emplace_back("getRequiredOutputSize 0");
        expected.emplace_back("packResult");
    }
    expected.emplace_back("clearAlgo");
    EXPECT_EQ(log(), expected);
    EXPECT_EQ(lastShare_, 1.0);
}

// The fake's long result begins with the chunks that it was given.
TEST_F(ReplayOfFake, ThePluginMeetsTheBytesOfTheRecording) {
    run(settings());
    recording::RecordingReader results(settings().results);
    for (const std::vector<std::uint8_t>& packet : packets_) {
        zelta::Packet sent;
        ASSERT_EQ(zelta::packet_parse(packet.data(), static_cast<int>(packet.size()), sent), 0);
        const recording::RecordedPacket* const result = results.next();
        ASSERT_NE(result, nullptr);
        for (std::size_t k = 0; k < sent.size(); ++k) {
            ASSERT_EQ(result->chunks[k].dataSize, sent[k].dataSize);
            EXPECT_EQ(
                std::memcmp(result->chunks[k].data, sent[k].data, static_cast<std::size_t>(sent[k].dataSize)),
                0);
        }
    }
}

TEST_F(ReplayOfFake, TheResultsOfTheFramesAreWrittenAndNothingElse) {
    ReplaySettings usual = settings();
    usual.channels = {};
    EXPECT_EQ(run(usual).written, frames);
    EXPECT_EQ(log()[2], "getRequiredOutputSize 1") << "the long form is not needed";
    EXPECT_EQ(channelsIn(usual.results), (std::map<int, std::size_t>{{3210, frames}}));
}

// The fake's long form holds 3208 and 3200 of each image, and what came with the calibration.
TEST_F(ReplayOfFake, AChannelThatIsAskedForIsWrittenToo) {
    ReplaySettings some = settings();
    some.channels = readChannels({"raw"}).value();
    const ReplayCounts counts = run(some);
    EXPECT_EQ(log()[2], "getRequiredOutputSize 0");
    EXPECT_EQ(channelsIn(some.results), (std::map<int, std::size_t>{{3210, frames}, {3200, 4 * frames}}));
    EXPECT_EQ(counts.written, 4U * frames);
    EXPECT_EQ(counts.results, allPackets);
}

TEST_F(ReplayOfFake, SelectedFramesAreKeptAndAllBeforeThemAreFed) {
    ReplaySettings some = settings();
    some.frames = readFrameSelection("1:4:2").value();
    const ReplayCounts counts = run(some);
    EXPECT_EQ(frames_, (std::vector<std::size_t>{1, 3}));
    EXPECT_EQ(counts.read, 1U + 4U * 4U) << "nothing after the last selected frame is needed";
    EXPECT_TRUE(counts.stopped);
    EXPECT_EQ(counts.written, 1U + 2U * 4U) << "the calibration's and those of two frames";
    EXPECT_EQ(packetsIn(some.results), counts.written);
}

TEST_F(ReplayOfFake, ASelectionBehindTheEndFeedsAllAndFindsNothing) {
    ReplaySettings none = settings();
    none.frames = readFrameSelection("7:").value();
    const ReplayCounts counts = run(none);
    EXPECT_EQ(counts.read, allPackets);
    EXPECT_EQ(counts.frames, 0U);
    EXPECT_FALSE(counts.stopped);
}

TEST_F(ReplayOfFake, FailuresAreCountedToldAndDoNotStopTheRest) {
    const Variable fail("FAKE_PLUGIN_FAIL", ",4,6,");
    const ReplayCounts counts = run(settings());
    EXPECT_EQ(counts.read, allPackets);
    EXPECT_EQ(counts.failed, 2U);
    EXPECT_EQ(counts.processed, allPackets - 2);
    ASSERT_EQ(troubles_.size(), 2U);
    std::size_t offset = 0;
    for (std::size_t k = 0; k < 4; ++k) {
        offset += packets_[k].size();
    }
    EXPECT_EQ(troubles_[0], "packet 4 (byte " + std::to_string(offset) +
                                "): The plug-in failed to process the packet: told to fail at packet 4.");
    // Packet 4 would have finished frame 0; the numbers of the others stay those of the recording.
    EXPECT_EQ(frames_, (std::vector<std::size_t>{1, 2, 3, 4}));
}

TEST_F(ReplayOfFake, AResultThatCannotBeHadIsAFailureOfThePacket) {
    const Variable bad("FAKE_PLUGIN_BAD_RESULT", "1");
    const ReplayCounts counts = run(settings());
    EXPECT_EQ(counts.failed, allPackets);
    EXPECT_EQ(counts.processed, 0U);
    EXPECT_EQ(counts.written, 0U);
    EXPECT_FALSE(std::filesystem::exists(settings().results));
}

TEST_F(ReplayOfFake, OverridesReachThePlugin) {
    ReplaySettings changed = settings();
    changed.overrides = {readOverride("QorDistanceImageIFInput.customization.minAmplitude=33.5").value()};
    run(changed);
    EXPECT_EQ(distances_, std::vector<float>(frames, 33.5F));
    run(settings());
    EXPECT_EQ(distances_, std::vector<float>(frames, 20.0F)) << "the recording itself is as it was";
}

TEST_F(ReplayOfFake, CoordinatesComeIfTheyAreWantedAndValid) {
    ReplaySettings wanted = settings();
    wanted.withCoordinates = true;
    run(wanted);
    EXPECT_FALSE(hasCoordinates_);
    const Variable coordinates("FAKE_PLUGIN_COORDINATES", "1");
    run(wanted);
    EXPECT_TRUE(hasCoordinates_);
    run(settings());
    EXPECT_FALSE(hasCoordinates_);
}

TEST_F(ReplayOfFake, NoiseAndIntensityComeIfTheyAreValid) {
    run(settings());
    EXPECT_TRUE(noise_.empty());
    EXPECT_TRUE(intensity_.empty());
    const Variable noise("FAKE_PLUGIN_NOISE", "1");
    run(settings());
    EXPECT_EQ(noise_, std::vector<float>(simulation::pixelCount, 0.004F));
    EXPECT_EQ(intensity_, std::vector<float>(simulation::pixelCount, 100.0F));
}

TEST_F(ReplayOfFake, AnInterruptionLeavesAWholeFile) {
    interruptAfter_ = 7;
    const ReplayCounts counts = run(settings());
    EXPECT_TRUE(counts.interrupted);
    EXPECT_EQ(counts.read, 7U);
    EXPECT_EQ(counts.written, 7U);
    EXPECT_EQ(packetsIn(settings().results), 7U);
}

TEST_F(ReplayOfFake, ADamagedRecordingIsPlayedUpToTheDamage) {
    std::vector<std::uint8_t> bytes = fileBytes(recording());
    bytes.resize(bytes.size() - 10);
    writeBytes(recording(), bytes);
    const ReplayCounts counts = run(settings());
    EXPECT_EQ(counts.read, allPackets - 1);
    EXPECT_EQ(counts.processed, allPackets - 1);
    EXPECT_NE(counts.damage.find("is damaged at byte " + std::to_string(bytes.size())), std::string::npos)
        << counts.damage;
    EXPECT_EQ(packetsIn(settings().results), allPackets - 1);
}

TEST_F(ReplayOfFake, WhatTheListenerThrowsLeavesTheResultsComplete) {
    plugin::Plugin algorithm(FAKE_PLUGIN);
    ReplayListener listener;
    listener.frame = [](std::size_t, const ResultFrame&, const simulation::Truth*,
                        const recording::SimulationSettings*) { throw std::runtime_error("no picture"); };
    listener.trouble = [](const std::string&) {};
    listener.progress = [](double, std::size_t) {};
    listener.interrupted = [] { return false; };
    recording::RecordingReader reader(recording());
    EXPECT_THROW(replay(reader, settings(), algorithm, listener), std::runtime_error);
    EXPECT_EQ(packetsIn(settings().results), 5U);  // the calibration's and those of the first frame
}

TEST_F(ReplayOfFake, ATruthThatCannotBeUsedIsToldAndTheFramesGoOn) {
    const recording::Record odd(recording::structure("SceneTruth", {recording::float32("distance", {3})}));
    recording::ImagePackets images(calibration_, {});
    recording::RecordingWriter writer(recording());
    writer.write(packets_[0]);
    for (int k = 0; k < 4; ++k) {
        simulation::RawImage image;
        image.sequenceCounter = k;
        image.frameCounter = static_cast<std::uint16_t>(k);
        image.phaseData.assign(simulation::rawImageBytes, 0);
        writer.write(images.packetOf(image, {odd.chunk(recording::channel::sceneTruth),
                                             odd.chunk(recording::channel::frequencyTruth)}));
    }
    writer.finish();
    const ReplayCounts counts = run(settings());
    EXPECT_EQ(counts.failed, 0U);
    EXPECT_EQ(counts.frames, 1U);
    ASSERT_EQ(troubles_.size(), 4U);
    EXPECT_NE(
        troubles_[0].find("the truth cannot be used: \"SceneTruth.distance\" has 3 elements, not 38528."),
        std::string::npos)
        << troubles_[0];
}

TEST_F(ReplayOfFake, ARecordingThroughAPipeIsPlayedWhole) {
    const std::filesystem::path pipe = folder_.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread writer([&] { writeBytes(pipe, fileBytes(recording())); });
    const ReplayCounts counts = run(settings(), pipe);
    writer.join();
    EXPECT_EQ(counts.read, allPackets);
    EXPECT_EQ(lastShare_, -1.0);
}

// The last packet of the third and last frame is read after two of the three.
TEST_F(ReplayOfFake, TheEndOfASelectionMakesASharePossible) {
    ReplaySettings piped = settings();
    piped.frames = readFrameSelection("1:3").value();
    const std::filesystem::path pipe = folder_.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::vector<std::uint8_t> bytes = fileBytes(recording());
    bytes.resize(packets_[0].size() + 12 * packets_[1].size());
    std::thread writer([&] { writeBytes(pipe, bytes); });
    run(piped, pipe);
    writer.join();
    EXPECT_EQ(lastShare_, 2.0 / 3.0);
}

TEST_F(ReplayOfFake, ASelectionWithoutAnEndLeavesTheShareToTheBytes) {
    ReplaySettings some = settings();
    some.frames = readFrameSelection("1:").value();
    run(some);
    EXPECT_EQ(lastShare_, 1.0);
}

TEST_F(ReplayOfFake, ACustomizationGoesInByItsOwnPin) {
    const recording::Record custom(
        recording::structure("QorDistanceImageCustomization", {recording::float32("minAmplitude")}));
    recording::RecordingWriter writer(recording());
    writer.write(recording::packetOf({custom.chunk(3228)}));
    writer.finish();
    run(settings());
    EXPECT_EQ(log()[1].substr(log()[1].size() - 2), " 1");
}

}  // namespace
}  // namespace qor
