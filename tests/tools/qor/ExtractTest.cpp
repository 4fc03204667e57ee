// SPDX-License-Identifier: Apache-2.0
//
// qor extract, qor concat and what qor info tells about the course of a recording.

#include <gtest/gtest.h>

#include <algorithm>

#include "recording/RecordingReader.h"
#include "tools/qor/Command.h"

namespace {

class Extract : public Command {
 protected:
    // Offsets do not matter: the bytes of a packet are the same wherever it stands.
    std::vector<std::vector<std::uint8_t>> packetsIn(const char* name) const {
        std::vector<std::vector<std::uint8_t>> packets;
        recording::RecordingReader reader(path(name));
        while (const recording::RecordedPacket* packet = reader.next()) {
            packets.emplace_back(packet->bytes.begin(), packet->bytes.end());
        }
        return packets;
    }
};

TEST_F(Extract, FramesComeWithWhatStandsBeforeTheFirst) {
    simulate("--frames 4");
    ASSERT_EQ(run("extract r.zelta --frames 1:4:2 --out x.zelta").exitCode, 0);
    const auto all = packetsIn("r.zelta");
    const auto some = packetsIn("x.zelta");
    ASSERT_EQ(some.size(), 9U);
    EXPECT_EQ(some[0], all[0]);
    EXPECT_EQ(some[1], all[5]);
    EXPECT_EQ(some[4], all[8]);
    EXPECT_EQ(some[5], all[13]);
    EXPECT_EQ(jsonOf("info x.zelta").at("frames"), 2);
}

TEST_F(Extract, FramesThatTheRecordingDoesNotHaveAreAFinding) {
    simulate("--frames 2");
    const Outcome outcome = run("extract r.zelta --frames 2: --out x.zelta");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors, "qor extract: --frames 2: selects none of the 2 frames of r.zelta.\n");
    EXPECT_EQ(run("extract r.zelta --frames 1: --out x.zelta").exitCode, 0);
}

TEST_F(Extract, ChannelsLeaveTheOthersOutAndNoEmptyPackets) {
    simulate();
    ASSERT_EQ(run("extract r.zelta --channels 3208,9000 --out x.zelta").exitCode, 0);
    const nlohmann::json info = jsonOf("info x.zelta");
    EXPECT_EQ(info.at("packets"), 4);
    ASSERT_EQ(info.at("channels").size(), 2U);
    EXPECT_EQ(info.at("channels").at(0).at("channel"), 3208);
    EXPECT_EQ(run("show x.zelta 9000 SceneTruth.distance").output,
              run("show r.zelta 9000 SceneTruth.distance").output);
}

TEST_F(Extract, AConditionChoosesPacketsAndKeepsThoseWithoutTheRecord) {
    simulate("--exposures 200,1000");
    const std::string member = "QorDistanceImageIFInput.phaseInfo.exposureTime";
    ASSERT_EQ(run("extract r.zelta --where '" + member + " >= 500' --out x.zelta").exitCode, 0);
    EXPECT_EQ(run("show x.zelta 3208 " + member + " --all").output, "1000\n1000\n1000\n1000\n");
    EXPECT_EQ(packetsIn("x.zelta")[0], packetsIn("r.zelta")[0]);
    ASSERT_EQ(run("extract r.zelta --where '" + member +
                  " == 200' --where 'QorDistanceImageIFInput.phaseInfo.sequenceCounter > 1' --out y.zelta")
                  .exitCode,
              0);
    EXPECT_EQ(packetsIn("y.zelta").size(), 3U);
}

TEST_F(Extract, WhatSelectsNothingIsAFindingAndWhatCannotBeIsRefused) {
    simulate();
    const Outcome none = run("extract r.zelta --channels 1 --out x.zelta");
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_EQ(none.errors, "qor extract: nothing is selected; nothing was written.\n");
    EXPECT_EQ(run("extract r.zelta --where 'None.x == 1' --out x.zelta").exitCode, 1);
    std::filesystem::remove(path("x.zelta"));
    for (const char* arguments :
         {"extract r.zelta", "extract r.zelta --out ''", "extract r.zelta --out x", "extract --out x.zelta",
          "extract r.zelta --frames 2:1 --out x.zelta", "extract r.zelta --where x --out x.zelta",
          "extract r.zelta --channels x --out x.zelta",
          "extract r.zelta --where 'QorDistanceImageIFInput.phaseInfo.none == 1' --out x.zelta",
          "concat r.zelta", "concat --out x.zelta"}) {
        EXPECT_EQ(run(arguments).exitCode, 2) << arguments;
        EXPECT_FALSE(std::filesystem::exists(path("x.zelta"))) << arguments;
    }
}

TEST_F(Extract, OptionsDoNotSwallowTheRecording) {
    simulate("--frames 2");
    EXPECT_EQ(run("extract --where 'QorDistanceImageIFInput.phaseInfo.sequenceCounter == 0' --channels 3208 "
                  "r.zelta --out x.zelta")
                  .exitCode,
              0);
    EXPECT_EQ(packetsIn("x.zelta").size(), 2U);
}

TEST_F(Extract, StreamsAreTakenAndGiven) {
    simulate("--frames 2");
    const Outcome outcome = run("extract - --frames 1 --out -", "cat r.zelta |");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    ASSERT_EQ(run("extract r.zelta --frames 1 --out x.zelta").exitCode, 0);
    EXPECT_EQ(outcome.output, contentOf(path("x.zelta")));
}

TEST_F(Extract, ADamagedRecordingIsTakenUpToTheDamage) {
    simulate();
    std::filesystem::resize_file(path("r.zelta"), std::filesystem::file_size(path("r.zelta")) - 1);
    for (const char* arguments : {"extract r.zelta --out x.zelta", "concat r.zelta --out x.zelta"}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 3) << arguments;
        EXPECT_NE(outcome.errors.find("r.zelta is damaged at byte"), std::string::npos) << outcome.errors;
        EXPECT_EQ(packetsIn("x.zelta").size(), 4U) << arguments;
    }
}

TEST_F(Extract, RecordingsInARowAreTheirBytesInARow) {
    simulate("--frames 2", "a.zelta");
    simulate("", "b.zelta");
    ASSERT_EQ(run("concat a.zelta b.zelta --out c.zelta").exitCode, 0);
    EXPECT_EQ(contentOf(path("c.zelta")), contentOf(path("a.zelta")) + contentOf(path("b.zelta")));
    ASSERT_EQ(run("concat a.zelta b.zelta --out a.zelta").exitCode, 0);
    EXPECT_EQ(contentOf(path("c.zelta")), contentOf(path("a.zelta")));
}

TEST_F(Extract, AnotherCalibrationInTheRowIsAFinding) {
    simulate("", "a.zelta");
    simulate("--seed 2", "b.zelta");
    const Outcome outcome = run("concat a.zelta b.zelta --out c.zelta");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("b.zelta, packet 0: another calibration"), std::string::npos)
        << outcome.errors;
    EXPECT_EQ(packetsIn("c.zelta").size(), 10U);
}

TEST_F(Extract, AContainerIsWrittenAndReadByEveryCommand) {
    simulate("--frames 2");
    simulate("--frames 2", "s.zeltaz");
    ASSERT_EQ(run("extract r.zelta --out c.zeltaz").exitCode, 0);
    ASSERT_EQ(run("extract c.zeltaz --out back.zelta").exitCode, 0);
    EXPECT_EQ(contentOf(path("back.zelta")), contentOf(path("r.zelta")));
    EXPECT_EQ(contentOf(path("s.zeltaz")), contentOf(path("c.zeltaz")));
    EXPECT_LT(std::filesystem::file_size(path("c.zeltaz")), std::filesystem::file_size(path("r.zelta")));
    const std::string member = "3208 QorDistanceImageIFInput.phaseInfo.timestamp --all";
    EXPECT_EQ(run("show c.zeltaz " + member).output, run("show r.zelta " + member).output);
    EXPECT_EQ(jsonOf("info c.zeltaz").at("frames"), 2);
    EXPECT_EQ(jsonOf("info c.zeltaz").at("checksum"), jsonOf("info r.zelta").at("checksum"));
    EXPECT_EQ(run("tree c.zeltaz 3208").output, run("tree r.zelta 3208").output);
    EXPECT_EQ(run("doctor c.zeltaz").exitCode, 0);
    EXPECT_EQ(run("show - " + member, "cat c.zeltaz |").output, run("show r.zelta " + member).output);
    ASSERT_EQ(run("concat c.zeltaz r.zelta --out d.zeltaz").exitCode, 0);
    EXPECT_EQ(jsonOf("info d.zeltaz").at("packets"), 2 * jsonOf("info r.zelta").at("packets").get<int>());
}

TEST_F(Extract, ARunTakesAContainerAndWritesItsResultsAsOne) {
    simulate("--frames 2");
    ASSERT_EQ(run("extract r.zelta --out c.zeltaz").exitCode, 0);
    ASSERT_EQ(run("run r.zelta --quiet --out plain").exitCode, 0);
    ASSERT_EQ(run("run c.zeltaz --quiet --out packed.zeltaz").exitCode, 0);
    ASSERT_EQ(run("extract packed.zeltaz --out back.zelta").exitCode, 0);
    EXPECT_EQ(contentOf(path("back.zelta")), contentOf(path("plain/result.zelta")));
    EXPECT_EQ(run("run c.zeltaz --cloud ply --out other.zeltaz").exitCode, 2);
}

TEST_F(Extract, ADamagedContainerIsToldAndItsOtherPacketsAreSaved) {
    simulate("--frames 2", "c.zeltaz");
    simulate("--frames 2");
    std::string bytes = contentOf(path("c.zeltaz"));
    bytes[bytes.size() * 3 / 4] = static_cast<char>(bytes[bytes.size() * 3 / 4] ^ 1);
    std::ofstream(path("c.zeltaz"), std::ios::binary) << bytes;
    const Outcome shown = run("show c.zeltaz 3208 QorDistanceImageIFInput.phaseInfo.timestamp --all");
    EXPECT_EQ(shown.exitCode, 3);
    EXPECT_NE(shown.errors.find("c.zeltaz is damaged at byte"), std::string::npos) << shown.errors;
    EXPECT_EQ(run("doctor c.zeltaz").exitCode, 1);
    EXPECT_EQ(run("recover c.zeltaz --out saved.zelta").exitCode, 1);
    EXPECT_EQ(packetsIn("saved.zelta").size() + 1, packetsIn("r.zelta").size());
    for (const auto& packet : packetsIn("saved.zelta")) {
        const auto all = packetsIn("r.zelta");
        EXPECT_NE(std::find(all.begin(), all.end(), packet), all.end());
    }
}

TEST_F(Extract, InfoTellsTheCourseOfARecording) {
    simulate("--frames 3");
    const nlohmann::json whole = jsonOf("info r.zelta");
    EXPECT_EQ(whole.at("images"), 12);
    EXPECT_GT(whole.at("framesPerSecond").get<double>(), 0.0);
    EXPECT_TRUE(whole.at("gaps").empty());
    EXPECT_TRUE(whole.at("settingsChanges").empty());
    // Without the second frame, and with another limit in the last.
    ASSERT_EQ(run("extract r.zelta --frames 0 --out a.zelta").exitCode, 0);
    simulate("--frames 3 --min-amplitude 33", "b.zelta");
    ASSERT_EQ(run("extract b.zelta --frames 2 --out c.zelta").exitCode, 0);
    ASSERT_EQ(run("concat a.zelta c.zelta --out d.zelta").exitCode, 0);
    const nlohmann::json gappy = jsonOf("info d.zelta");
    ASSERT_EQ(gappy.at("gaps").size(), 1U);
    EXPECT_EQ(gappy.at("gaps").at(0).at("packet"), 6);
    EXPECT_EQ(gappy.at("gaps").at(0).at("sentence"), "Missing between two frames: 4 images.");
    EXPECT_EQ(gappy.at("settingsChanges"),
              (std::vector<std::string>{
                  "from packet 6 on: QorDistanceImageIFInput.customization.minAmplitude = 33"}));
    EXPECT_NE(run("info d.zelta").output.find("  gaps      packet 6: "), std::string::npos);
}

TEST_F(Extract, InfoTellsChecksumsAndSizesOfChannels) {
    simulate("", "a.zelta");
    simulate("", "b.zelta");
    simulate("--seed 2", "c.zelta");
    const nlohmann::json a = jsonOf("info a.zelta");
    EXPECT_EQ(a.at("checksum"), jsonOf("info b.zelta").at("checksum"));
    EXPECT_NE(a.at("checksum"), jsonOf("info c.zelta").at("checksum"));
    const nlohmann::json& raw = a.at("channels").at(0);
    EXPECT_EQ(raw.at("channel"), 3200);
    EXPECT_EQ(raw.at("dataBytes"), 4 * 58128);
    EXPECT_EQ(raw.at("bytes"), raw.at("dataBytes").get<int>() + raw.at("definitionBytes").get<int>());
    EXPECT_EQ(raw.at("checksum").get<std::string>().size(), 16U);
}

}  // namespace
