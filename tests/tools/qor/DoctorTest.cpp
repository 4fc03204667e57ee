// SPDX-License-Identifier: Apache-2.0
//
// qor doctor and qor recover.

#include <gtest/gtest.h>

#include "recording/Record.h"
#include "recording/RecordingReader.h"
#include "recording/RecordingWriter.h"
#include "tools/qor/Command.h"

namespace {

class Doctor : public Command {
 protected:
    using Packets = std::vector<std::vector<std::uint8_t>>;

    Packets packetsIn(const char* name) const {
        Packets packets;
        recording::RecordingReader reader(path(name));
        while (const recording::RecordedPacket* packet = reader.next()) {
            packets.emplace_back(packet->bytes.begin(), packet->bytes.end());
        }
        return packets;
    }

    void writePackets(const char* name, const Packets& packets) const {
        recording::RecordingWriter writer(path(name));
        for (const auto& packet : packets) {
            writer.write(packet);
        }
        writer.finish();
    }

    nlohmann::json findingsIn(const std::string& name) const {
        const Outcome outcome = run("doctor " + name + " --json");
        EXPECT_EQ(outcome.exitCode, 1) << outcome.errors;
        return nlohmann::json::parse(outcome.output).at("findings");
    }
};

TEST_F(Doctor, AGoodRecordingHasNoFindingsAndIsRecoveredWhole) {
    simulate("--frames 2");
    const Outcome outcome = run("doctor r.zelta");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output, "r.zelta: 9 packets, 0 findings\n");
    ASSERT_EQ(run("recover - --out x.zelta", "cat r.zelta |").exitCode, 0);
    EXPECT_EQ(contentOf(path("x.zelta")), contentOf(path("r.zelta")));
}

TEST_F(Doctor, DamageIsToldWithByteChunkAndRuleAndWhatIsAroundItIsRecovered) {
    simulate("--frames 2");
    Packets packets = packetsIn("r.zelta");
    const Packets good = packets;
    packets[3][16] ^= 1U;                                                // a mark
    packets[6][24] = static_cast<std::uint8_t>(packets[6][24] ^ 0x55U);  // within a definition
    std::vector<std::uint8_t> bytes;
    for (const auto& packet : packets) {
        bytes.insert(bytes.end(), packet.begin(), packet.end());
    }
    writeBytes(path("d.zelta"), bytes);
    const std::size_t third = good[0].size() + good[1].size() + good[2].size();
    const nlohmann::json findings = findingsIn("d.zelta");
    EXPECT_EQ(findings.at(0).at("byte"), third + 16);
    EXPECT_EQ(findings.at(0).at("packet"), 3);
    EXPECT_NE(findings.at(0).at("rule").get<std::string>().find(
                  "the mark after the header of chunk 0 is not there"),
              std::string::npos);
    EXPECT_NE(findings.at(0).at("advice").get<std::string>().find("qor recover"), std::string::npos);
    const auto definition = std::find_if(findings.begin(), findings.end(), [](const nlohmann::json& finding) {
        return finding.at("chunk") == 0;
    });
    ASSERT_NE(definition, findings.end());
    EXPECT_EQ(definition->at("damage"), true);
    const Outcome recovered = run("recover d.zelta --out x.zelta");
    EXPECT_EQ(recovered.exitCode, 1);
    EXPECT_NE(recovered.errors.find("lost " + std::to_string(good[3].size() + good[6].size()) + " bytes of "),
              std::string::npos)
        << recovered.errors;
    EXPECT_EQ(packetsIn("x.zelta"), (Packets{good[0], good[1], good[2], good[4], good[5], good[7], good[8]}));
}

TEST_F(Doctor, ImagesThatDoNotFitAreFindings) {
    simulate("--frames 2");
    const Packets packets = packetsIn("r.zelta");
    writePackets("late.zelta", {packets[1], packets[0], packets[2], packets[3], packets[4]});
    EXPECT_EQ(findingsIn("late.zelta").at(0).at("rule"),
              "An image comes before any calibration, and the plug-in drops it.");
    writePackets("lossy.zelta", {packets[0], packets[1], packets[2], packets[4]});
    const nlohmann::json lossy = findingsIn("lossy.zelta");
    EXPECT_EQ(lossy.at(0).at("packet"), 3);
    EXPECT_EQ(lossy.at(0).at("byte"), packets[0].size() + packets[1].size() + packets[2].size());
    EXPECT_NE(lossy.at(0).at("rule").get<std::string>().find("image 2 is missing"), std::string::npos);
    simulate("--seed 2", "other.zelta");
    writePackets("two.zelta", {packets[0], packetsIn("other.zelta")[0]});
    EXPECT_EQ(findingsIn("two.zelta").at(0).at("packet"), 1);
}

TEST_F(Doctor, ACalibrationThatCannotGiveAPictureIsAFinding) {
    simulate();
    const std::string bytes = contentOf(path("r.zelta"));
    EXPECT_TRUE(run("doctor r.zelta").exitCode == 0);
    ASSERT_EQ(run("doctor -", "printf '' |").exitCode, 3);
    recording::RecordingReader reader(path("r.zelta"));
    recording::RecordedPacket* const packet = reader.next();
    const std::string root = "QorDistanceImageIFCalib.";
    const zelta::ZeltaChunk* const chunk = recording::findChunk(packet->chunks, 3212);
    const auto start =
        static_cast<std::size_t>(static_cast<const std::uint8_t*>(chunk->data) - packet->bytes.data());
    const auto data = packet->bytes.subspan(start, static_cast<std::size_t>(chunk->dataSize));
    recording::setFromText(recording::typeOf(*chunk), root + "imagerCalib.freqIndependent.vignetting[7]", "0",
                           data);
    for (const char* index : {"[30]", "[31]", "[32]"}) {
        recording::setFromText(recording::typeOf(*chunk), root + "unitVectors" + index, "0", data);
    }
    writePackets("dark.zelta", {{packet->bytes.begin(), packet->bytes.end()}});
    const nlohmann::json findings = findingsIn("dark.zelta");
    ASSERT_EQ(findings.size(), 2U);
    EXPECT_EQ(findings.at(0).at("rule"), "The vignetting of 1 pixel is not above 0: they have no amplitude.");
    EXPECT_EQ(findings.at(1).at("rule"),
              "The rays of 1 pixel have no length: their points lie in the camera.");
}

TEST_F(Doctor, PacketsWithoutChunksAreLeftOut) {
    simulate();
    std::string bytes = contentOf(path("r.zelta"));
    std::ofstream(path("z.zelta"), std::ios::binary) << bytes << std::string(8, '\0');
    EXPECT_EQ(findingsIn("z.zelta").size(), 2U);
    EXPECT_EQ(run("recover z.zelta --out x.zelta").exitCode, 1);
    EXPECT_EQ(contentOf(path("x.zelta")), bytes);
}

TEST_F(Doctor, WhatHoldsNothingGoodOrCannotBeReadExitsWithThree) {
    std::ofstream(path("noise.zelta")) << "this is no recording";
    EXPECT_EQ(run("recover noise.zelta --out x.zelta").exitCode, 3);
    EXPECT_FALSE(std::filesystem::exists(path("x.zelta")));
    EXPECT_EQ(run("doctor noise.zelta").exitCode, 1);
    for (const char* arguments : {"doctor none.zelta", "doctor .", "recover none.zelta --out x.zelta"}) {
        EXPECT_EQ(run(arguments).exitCode, 3) << arguments;
    }
    for (const char* arguments : {"doctor", "recover noise.zelta", "recover noise.zelta --out ''"}) {
        EXPECT_EQ(run(arguments).exitCode, 2) << arguments;
    }
}

}  // namespace
