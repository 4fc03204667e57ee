// SPDX-License-Identifier: Apache-2.0
//
// What is found in recordings that are damaged, and what is saved of them.

#include "qor/Diagnosis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "qor/Recovery.h"
#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "recording/Record.h"
#include "recording/RecordingReader.h"
#include "simulation/RawPacking.h"
#include "tools/TestFolder.h"

namespace qor {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Packets = std::vector<Bytes>;

constexpr std::uint32_t frames = 3;
constexpr std::uint32_t imagesPerFrame = 4;

class DamagedRecording : public testing::Test {
 protected:
    // A calibration packet, then frames of four images.
    static void SetUpTestSuite() {
        const simulation::Calibration calibration = simulation::makeCalibration({});
        good_.push_back(recording::calibrationPacket(calibration, 1));
        recording::ImagePackets packets(calibration, {});
        for (std::uint32_t k = 0; k < frames * imagesPerFrame; ++k) {
            simulation::RawImage image;
            image.sequenceCounter = static_cast<int>(k % imagesPerFrame);
            image.frameCounter = static_cast<std::uint16_t>(k);
            image.timestamp = 100000 * (k / imagesPerFrame) + 1000 * (k % imagesPerFrame);
            image.exposureTime = 500;
            image.phaseData.assign(simulation::rawImageBytes, static_cast<std::uint8_t>(k));
            good_.push_back(packets.packetOf(image));
        }
    }

    static void TearDownTestSuite() { good_.clear(); }

    static Bytes joined(const Packets& packets) {
        Bytes all;
        for (const Bytes& packet : packets) {
            all.insert(all.end(), packet.begin(), packet.end());
        }
        return all;
    }

    static std::vector<Finding> findingsIn(const Bytes& bytes) {
        recording::FileBytes file{std::span<const std::uint8_t>(bytes)};
        return diagnose(file).findings;
    }

    Packets savedOf(const Bytes& bytes) const {
        const std::filesystem::path path = folder_.path() / "saved.zelta";
        std::filesystem::remove(path);
        recording::FileBytes file{std::span<const std::uint8_t>(bytes)};
        recording::RecordingWriter writer(path);
        recover(file, writer);
        Packets packets;
        recording::RecordingReader reader(path);
        while (const recording::RecordedPacket* packet = reader.next()) {
            packets.emplace_back(packet->bytes.begin(), packet->bytes.end());
        }
        return packets;
    }

    // Whether a finding names a byte of a packet, or the end of it where the file ends there.
    static bool isNamed(const std::vector<Finding>& findings, const Packets& packets, std::size_t number) {
        const auto start = std::accumulate(
            packets.begin(), packets.begin() + static_cast<std::ptrdiff_t>(number), std::size_t{0},
            [](std::size_t sum, const Bytes& packet) { return sum + packet.size(); });
        const std::size_t end = start + packets[number].size() + (number + 1 == packets.size() ? 1 : 0);
        return std::ranges::any_of(
            findings, [&](const Finding& finding) { return finding.byte >= start && finding.byte < end; });
    }

    // Whether all packets but one are among the saved ones, in their order.
    static void expectSaved(const Packets& saved, const Packets& packets, std::size_t damaged) {
        auto from = saved.begin();
        for (std::size_t k = 0; k < packets.size(); ++k) {
            if (k == damaged) {
                continue;
            }
            from = std::find(from, saved.end(), packets[k]);
            ASSERT_NE(from, saved.end()) << "packet " << k << " is not saved";
            ++from;
        }
    }

    // The bytes of a packet that are not the data of a record: number of chunks, channels, sizes, marks, and
    // the definitions of packets that the recording repeats. Elsewhere a bit that flips leaves no trace.
    static std::vector<std::size_t> telling(const Bytes& packet, bool withDefinitions) {
        Bytes copy = packet;
        zelta::Packet chunks;
        zelta::packet_parse(copy.data(), static_cast<int>(copy.size()), chunks);
        std::vector<bool> tells(packet.size(), true);
        const auto exclude = [&](const void* start, int size) {
            const auto at = static_cast<const std::uint8_t*>(start) - copy.data();
            std::fill_n(tells.begin() + at, size, false);
        };
        for (const zelta::ZeltaChunk& chunk : chunks) {
            exclude(chunk.data, chunk.dataSize);
            if (!withDefinitions) {
                exclude(chunk.description, chunk.descSize);
            }
        }
        std::vector<std::size_t> places;
        for (std::size_t k = 0; k < tells.size(); ++k) {
            if (tells[k]) {
                places.push_back(k);
            }
        }
        return places;
    }

    static inline Packets good_;
    TestFolder folder_;
};

TEST_F(DamagedRecording, AGoodOneHasNoFindingsAndIsSavedWhole) {
    EXPECT_TRUE(findingsIn(joined(good_)).empty());
    EXPECT_EQ(savedOf(joined(good_)), good_);
}

constexpr int rounds = 50;  // of each kind
constexpr unsigned int seed = 20260211;

TEST_F(DamagedRecording, AFlippedBitIsFoundAndTheOtherPacketsAreSaved) {
    std::mt19937 random(seed);
    for (int round = 0; round < rounds; ++round) {
        Packets packets = good_;
        const std::size_t hit = random() % packets.size();
        const std::vector<std::size_t> places = telling(packets[hit], hit > 0);
        const std::size_t at = places[random() % places.size()];
        const unsigned int bit = random() % 8U;
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", round " << round << ", packet " << hit
                                        << ", byte " << at << ", bit " << bit);
        packets[hit][at] = static_cast<std::uint8_t>(packets[hit][at] ^ (1U << bit));
        const Bytes bytes = joined(packets);
        EXPECT_TRUE(isNamed(findingsIn(bytes), packets, hit));
        expectSaved(savedOf(bytes), packets, hit);
    }
}

TEST_F(DamagedRecording, ACutIsFoundAndTheOtherPacketsAreSaved) {
    std::mt19937 random(seed);
    for (int round = 0; round < rounds; ++round) {
        Packets packets = good_;
        const std::size_t hit = random() % packets.size();
        Bytes& target = packets[hit];
        const std::size_t at = random() % target.size();
        const std::size_t count = std::min(1 + random() % (target.size() - 1), target.size() - at);
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", round " << round << ", packet " << hit
                                        << ", byte " << at << ", " << count << " bytes");
        const auto from = target.begin() + static_cast<std::ptrdiff_t>(at);
        target.erase(from, from + static_cast<std::ptrdiff_t>(count));
        const Bytes bytes = joined(packets);
        EXPECT_TRUE(isNamed(findingsIn(bytes), packets, hit));
        expectSaved(savedOf(bytes), packets, hit);
    }
}

TEST_F(DamagedRecording, AnInsertionIsFoundAndTheOtherPacketsAreSaved) {
    std::mt19937 random(seed);
    for (int round = 0; round < rounds; ++round) {
        Packets packets = good_;
        const std::size_t hit = random() % packets.size();
        Bytes& target = packets[hit];
        const std::size_t at = 1 + random() % (target.size() - 1);
        Bytes more(1 + random() % 5000);
        std::ranges::generate(more, [&random] { return static_cast<std::uint8_t>(random()); });
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", round " << round << ", packet " << hit
                                        << ", byte " << at << ", " << more.size() << " bytes");
        target.insert(target.begin() + static_cast<std::ptrdiff_t>(at), more.begin(), more.end());
        const Bytes bytes = joined(packets);
        EXPECT_TRUE(isNamed(findingsIn(bytes), packets, hit));
        expectSaved(savedOf(bytes), packets, hit);
    }
}

TEST_F(DamagedRecording, SwappedPacketsAreFoundAndAllAreSaved) {
    std::mt19937 random(seed);
    for (int round = 0; round < rounds; ++round) {
        Packets packets = good_;
        const std::size_t one = random() % packets.size();
        const std::size_t other = (one + 1 + random() % (packets.size() - 1)) % packets.size();
        SCOPED_TRACE(testing::Message()
                     << "seed " << seed << ", round " << round << ", packets " << one << " and " << other);
        std::swap(packets[one], packets[other]);
        const Bytes bytes = joined(packets);
        const std::vector<Finding> findings = findingsIn(bytes);
        EXPECT_TRUE(isNamed(findings, packets, one) || isNamed(findings, packets, other));
        EXPECT_EQ(savedOf(bytes), packets);
    }
}

class RulesOfRecordings : public DamagedRecording {
 protected:
    // Sets a member of a record of a packet.
    void set(std::size_t packet, int channel, const std::string& expression, const std::string& value) {
        Bytes& bytes = packets_[packet];
        zelta::Packet chunks;
        zelta::packet_parse(bytes.data(), static_cast<int>(bytes.size()), chunks);
        const zelta::ZeltaChunk* const chunk = recording::findChunk(chunks, channel);
        ASSERT_NE(chunk, nullptr);
        const auto start = static_cast<const std::uint8_t*>(chunk->data) - bytes.data();
        recording::setFromText(recording::typeOf(*chunk), expression, value,
                               std::span(bytes).subspan(static_cast<std::size_t>(start),
                                                        static_cast<std::size_t>(chunk->dataSize)));
    }

    void setCalibration(const std::string& member, const std::string& value) {
        set(0, recording::channel::calibration, "QorDistanceImageIFCalib.imagerCalib." + member, value);
    }

    void setInput(std::size_t packet, const std::string& member, const std::string& value) {
        set(packet, recording::channel::input, "QorDistanceImageIFInput." + member, value);
    }

    // "PACKET RULE" of all findings.
    std::vector<std::string> told() const {
        std::vector<std::string> all;
        for (const Finding& finding : findingsIn(joined(packets_))) {
            all.push_back(std::to_string(finding.packet) + " " + finding.rule);
            EXPECT_NE(finding.advice, "") << finding.rule;
        }
        return all;
    }

    using Told = std::vector<std::string>;

    Packets packets_ = good_;
};

TEST_F(RulesOfRecordings, FrequenciesAreInHertz) {
    for (const char* const value : {"20", "0", "-2e7", "2e10"}) {
        setCalibration("frequencies[0]", value);
        const Told all = told();
        ASSERT_EQ(all.size(), 1U) << value;
        EXPECT_NE(all[0].find("as frequency 0, where hertz are due, such as 2e7."), std::string::npos)
            << all[0];
    }
}

TEST_F(RulesOfRecordings, TwoFrequenciesDiffer) {
    setCalibration("numberOfFrequencies", "2");
    setCalibration("frequencies[0]", "2e7");
    setCalibration("frequencies[1]", "2e7");
    setCalibration("freqDependent[1].ampWigg[0]", "1");
    EXPECT_EQ(told(),
              (Told{"0 The calibration has the frequency of 20000000 Hz twice: two frequencies that are "
                    "the same cannot tell distances apart."}));
}

TEST_F(RulesOfRecordings, TheNumberOfFrequenciesIsPossible) {
    for (const char* const value : {"0", "5", "-1"}) {
        setCalibration("numberOfFrequencies", value);
        EXPECT_EQ(told(), (Told{std::string("0 The calibration has ") + value +
                                " frequencies, where 1 to 4 are possible."}));
    }
}

TEST_F(RulesOfRecordings, AmplitudesHaveAFactor) {
    setCalibration("freqDependent[0].ampWigg[0]", "0");
    EXPECT_EQ(told(), (Told{"0 The amplitude factor of frequency 0 is 0: no pixel has an amplitude."}));
}

TEST_F(RulesOfRecordings, VignettingIsAboveZero) {
    setCalibration("freqIndependent.vignetting[7]", "0");
    setCalibration("freqIndependent.vignetting[9]", "-1");
    EXPECT_EQ(told(), (Told{"0 The vignetting of 2 pixels is not above 0: they have no amplitude."}));
}

TEST_F(RulesOfRecordings, ImagesAreOfFrequenciesThatTheCalibrationHas) {
    setInput(3, "phaseInfo.freqIdx", "1");
    const Told all = told();
    EXPECT_EQ(std::ranges::count(all, "3 The image names frequency 1, and the calibration has 1."), 1);
}

TEST_F(RulesOfRecordings, ExposuresAreWhatTheCameraCanDo) {
    set(0, recording::channel::auxiliary, "QorDICIAuxiliaryParam.expTimeStep", "100");
    set(0, recording::channel::auxiliary, "QorDICIAuxiliaryParam.maxExpDurationThresh", "2000");
    EXPECT_EQ(told(), Told{});
    const auto setFrame = [&](std::size_t frame, const char* value) {
        for (std::size_t k = 0; k < imagesPerFrame; ++k) {
            setInput(1 + imagesPerFrame * frame + k, "phaseInfo.exposureTime", value);
        }
    };
    setFrame(0, "0");
    setFrame(1, "550");
    setFrame(2, "2100");
    EXPECT_EQ(told(), (Told{"1 The exposure time is 0; amplitudes are divided by it.",
                            "5 The exposure time is 550, no multiple of the camera's step of 100.",
                            "9 The exposure time is 2100, and 2000 is the camera's longest."}));
}

TEST_F(RulesOfRecordings, ParametersArePossible) {
    for (std::size_t k = 1; k < packets_.size(); ++k) {
        setInput(k, "param.numExposures", "3");
    }
    EXPECT_EQ(told(), (Told{"1 numExposures is 3, where 1 and 2 are possible."}));
}

TEST_F(RulesOfRecordings, TwoFrequenciesNeedARange) {
    packets_.resize(2);  // a calibration and one image
    setInput(1, "param.numFrequencies", "2");
    const std::string rule = "1 maxUniqueRange is 0 with two frequencies: they leave no distance.";
    EXPECT_EQ(std::ranges::count(told(), rule), 0);  // -1 stands for all that the frequencies can tell
    setInput(1, "param.maxUniqueRange", "0");
    EXPECT_EQ(std::ranges::count(told(), rule), 1);
    setInput(1, "param.numFrequencies", "1");
    EXPECT_EQ(std::ranges::count(told(), rule), 0);
}

TEST_F(RulesOfRecordings, TheClockDoesNotJump) {
    for (std::size_t k = 0; k < imagesPerFrame; ++k) {
        setInput(9 + k, "phaseInfo.timestamp", "400000");
    }
    EXPECT_EQ(told(), (Told{"9 The frame begins 0.300 s after the one before, where 0.100 s are usual."}));
}

TEST_F(RulesOfRecordings, RecordsStandOnTheirChannels) {
    constexpr std::size_t channelInPacket = 4;
    packets_[0][channelInPacket] ^= 1U;
    const Told all = told();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0],
              "0 The record \"QorDistanceImageIFCalib\" stands on channel 3213; channel 3212 is for "
              "\"QorDistanceImageIFCalib\".");
    EXPECT_EQ(all[1], "1 An image comes before any calibration, and the plug-in drops it.");
}

TEST_F(RulesOfRecordings, ImagesAreWhole) {
    zelta::Packet chunks;
    zelta::packet_parse(packets_[12].data(), static_cast<int>(packets_[12].size()), chunks);
    std::erase_if(
        chunks, [](const zelta::ZeltaChunk& chunk) { return chunk.channelID == recording::channel::input; });
    packets_[12] = recording::packetOf(chunks);
    EXPECT_EQ(told(), (Told{"11 Frame 2 is incomplete: nothing came after its image 2.",
                            "12 The packet has a raw image and no input record."}));
}

}  // namespace
}  // namespace qor
