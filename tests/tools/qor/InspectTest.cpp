// SPDX-License-Identifier: Apache-2.0
//
// qor info, qor tree and qor show on recordings of any records.

#include "recording/Record.h"
#include "recording/RecordingWriter.h"
#include "tools/qor/Command.h"

namespace {

using recording::Record;

// Three packets of records that no camera knows: channel 7 in all, channel 8 in the second.
class Inspect : public Command {
 protected:
    void SetUp() override {
        Record engine(recording::structure(
            "Engine",
            {recording::int8("name", {8}), recording::uint16("speed"),
             recording::structure("valve", {recording::float32("lift"), recording::uint8("open")}, {2})}));
        engine.set<signed char>("Engine.name", std::vector<signed char>{'V', '8', 0, 0, 0, 0, 0, 0});
        const Record other(recording::structure("Other", {recording::float64("x", {2, 3})}));
        recording::RecordingWriter writer(path("e.zelta"));
        for (unsigned short k = 0; k < 3; ++k) {
            engine.set<unsigned short>("Engine.speed", static_cast<unsigned short>(1000 + k));
            engine.set<float>("Engine.valve[1].lift", static_cast<float>(k) + 0.5F);
            std::vector<zelta::ZeltaChunk> chunks{engine.chunk(7)};
            if (k == 1) {
                chunks.push_back(other.chunk(8));
            }
            writer.write(recording::packetOf(chunks));
        }
        writer.finish();
    }
};

TEST_F(Inspect, InfoListsTheChannels) {
    const Outcome outcome = run("info e.zelta");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    const std::string size = std::to_string(std::filesystem::file_size(path("e.zelta")));
    EXPECT_NE(outcome.output.find("e.zelta: 3 packets, " + size + " bytes, 0 frames\n"), std::string::npos)
        << outcome.output;
    EXPECT_NE(outcome.output.find("      7  Engine       3            1            28"), std::string::npos)
        << outcome.output;
    EXPECT_NE(outcome.output.find("      8  Other        1            1            48"), std::string::npos)
        << outcome.output;
    const nlohmann::json json = jsonOf("info e.zelta");
    EXPECT_EQ(json.at("packets"), 3);
    EXPECT_EQ(json.at("channels").at(0).at("record"), "Engine");
    EXPECT_EQ(json.at("channels").at(0).at("chunks"), 3);
    EXPECT_EQ(json.at("channels").at(1).at("recordBytes"), 48);
    EXPECT_EQ(json.at("damage"), nullptr);
}

TEST_F(Inspect, InfoCountsFrames) {
    simulate("--frames 3");
    EXPECT_EQ(jsonOf("info r.zelta").at("frames"), 3);
    EXPECT_EQ(jsonOf("info r.zelta").at("packets"), 13);
}

TEST_F(Inspect, TreeShowsKindsDimensionsOffsetsAndSizes) {
    const Outcome outcome = run("tree e.zelta 7");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.output,
              "channel 7, from packet 0 on, little-endian\n"
              "     offset       size  kind      name\n"
              "          0         28  struct    Engine\n"
              "          0          1  int8        name[8]\n"
              "          8          2  uint16      speed\n"
              "         12          8  struct      valve[2]\n"
              "         12          4  float32       lift\n"
              "         16          1  uint8         open\n");
    const nlohmann::json json = jsonOf("tree e.zelta");
    ASSERT_EQ(json.at("definitions").size(), 2U);
    const nlohmann::json& other = json.at("definitions").at(1);
    EXPECT_EQ(other.at("channel"), 8);
    EXPECT_EQ(other.at("packet"), 1);
    EXPECT_EQ(other.at("record").at("members").at(0).at("dimensions"), (std::vector<int>{2, 3}));
    EXPECT_EQ(other.at("record").at("members").at(0).at("kind"), "float64");
}

TEST_F(Inspect, ShowPrintsTheFirstPacketThatHasTheChannel) {
    EXPECT_EQ(run("show e.zelta 7 Engine.speed").output, "1000\n");
    EXPECT_EQ(run("show e.zelta 8 Other.x").output, "0 0 0\n0 0 0\n");
    EXPECT_EQ(run("show e.zelta 7 Engine.speed --packet 2").output, "1002\n");
    EXPECT_EQ(run("show e.zelta 7 Engine.speed --all").output, "1000\n1001\n1002\n");
    EXPECT_EQ(run("show e.zelta 7 Engine.valve[1] --packet 1").output,
              "Engine.valve[1].lift = 1.5\nEngine.valve[1].open = 0\n");
    EXPECT_EQ(run("show e.zelta 7 Engine.name").output, "\"V8\"\n");
}

TEST_F(Inspect, ShowSpeaksJson) {
    const nlohmann::json json = jsonOf("show e.zelta 7 Engine --all");
    ASSERT_EQ(json.at("packets").size(), 3U);
    EXPECT_EQ(json.at("packets").at(2).at("packet"), 2);
    EXPECT_EQ(json.at("packets").at(2).at("values").at("Engine.speed"), 1002);
    EXPECT_EQ(json.at("packets").at(2).at("values").at("Engine.name"), "V8");
}

TEST_F(Inspect, ShowTakesSlices) {
    EXPECT_EQ(run("show e.zelta 8 'Other.x[:][::2]'").output, "0 0\n0 0\n");
    EXPECT_EQ(run("show e.zelta 8 'Other.x[1][1:]'").output, "0 0\n");
    EXPECT_EQ(run("show e.zelta 7 'Engine.valve[:].lift' --packet 2").output,
              "Engine.valve[0].lift = 0\nEngine.valve[1].lift = 2.5\n");
    EXPECT_EQ(run("show e.zelta 8 'Other.x[2:]'").exitCode, 2);
}

TEST_F(Inspect, ADashIsStandardInput) {
    for (const char* arguments : {"info -", "tree -", "show - 7 Engine.speed"}) {
        const Outcome outcome = run(arguments, "cat e.zelta |");
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        EXPECT_NE(outcome.output, "") << arguments;
    }
    EXPECT_EQ(run("info -", "cat e.zelta |").output.rfind("standard input: 3 packets", 0), 0U);
    EXPECT_EQ(run("show - 7 Engine.speed </dev/null").errors, "qor show: standard input holds no packets.\n");
}

TEST_F(Inspect, ShowNamesEnumeratorsAndKeepsTheirNumbersInTheDocument) {
    simulate();
    const std::string filter = "QorDistanceImageIFInput.customization.filterSet.temporalFilter";
    EXPECT_EQ(run("show r.zelta 3208 " + filter).output, "none\n");
    const nlohmann::json packet = jsonOf("show r.zelta 3208 " + filter).at("packets").at(0);
    EXPECT_EQ(packet.at("values").at(filter), 0);
    EXPECT_EQ(packet.at("names").at(filter), "none");
}

TEST_F(Inspect, ShowLeavesOutRegionsThatAreNotInUse) {
    simulate();
    const std::string regions =
        "show r.zelta 3208 QorDistanceImageIFInput.customization.autoExpSet.roiSettings.rois";
    EXPECT_EQ(run(regions).output,
              "QorDistanceImageIFInput.customization.autoExpSet.roiSettings.rois.noROIs = 0\n");
    EXPECT_NE(run(regions + " --unused").output.find("rois.ROIs[63].polygon.points2D[31].x = 0\n"),
              std::string::npos);
    EXPECT_EQ(run(regions + ".ROIs[63].type").output, "invalid\n");
}

TEST_F(Inspect, WhatIsNotThereIsAFinding) {
    for (const auto& [arguments, sentence] : std::vector<std::pair<const char*, const char*>>{
             {"show e.zelta 9 X.x", "qor show: e.zelta holds nothing on channel 9.\n"},
             {"show e.zelta 8 Other.x --packet 0",
              "qor show: e.zelta holds nothing on channel 8 in packet 0.\n"},
             {"show e.zelta 8 Other.x --packet 3", "qor show: e.zelta has no packet 3; it has 3 packets.\n"},
             {"tree e.zelta 9", "qor tree: e.zelta holds nothing on channel 9.\n"}}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 1) << arguments;
        EXPECT_EQ(outcome.errors, sentence) << arguments;
    }
}

TEST_F(Inspect, UsageErrorsExitWithTwo) {
    for (const char* arguments :
         {"info", "info e.zelta x", "tree", "tree e.zelta x", "show e.zelta", "show e.zelta 7",
          "show e.zelta x Engine", "show e.zelta 7 Engine.none", "show e.zelta 7 Engine.valve[2]",
          "show e.zelta 7 Engine --packet -1", "show e.zelta 7 Engine --packet 1.5",
          "show e.zelta 7 Engine --packet 1 --all"}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 2) << arguments;
        EXPECT_FALSE(outcome.errors.empty()) << arguments;
    }
    EXPECT_EQ(
        run("show e.zelta 7 Engine.none").errors,
        "qor show: \"Engine.none\" addresses nothing in the record Engine; qor tree lists its members.\n");
    EXPECT_EQ(run("show e.zelta 7 Engine.vlave[1].lift").errors,
              "qor show: \"Engine.vlave[1].lift\" addresses nothing in the record Engine; qor tree lists its "
              "members. Did you mean \"Engine.valve[0].lift\"?\n");
}

TEST_F(Inspect, AnExpressionThatIsNoneIsRefused) {
    for (const char* expression :
         {"Other.x[0:1:2:3]", "Other.x[:x]", "Other.x[1,2]", "Other.x[1x]", "Other.x[1", "Other.x[1]]",
          "Other.x[1]foo", "Other.x[ 1]", "Other..x", "Other."}) {
        const Outcome outcome = run("show e.zelta 8 '" + std::string(expression) + "'");
        EXPECT_EQ(outcome.exitCode, 2) << expression;
        EXPECT_EQ(outcome.output, "") << expression;
        EXPECT_NE(outcome.errors.find("is no expression"), std::string::npos) << outcome.errors;
    }
}

TEST_F(Inspect, FilesThatCannotBeReadExitWithThree) {
    std::ofstream(path("empty.zelta")) << "";
    for (const char* arguments : {"info none.zelta", "tree none.zelta", "show none.zelta 7 Engine",
                                  "info empty.zelta", "tree empty.zelta", "tree empty.zelta 7",
                                  "show empty.zelta 7 Engine", "show empty.zelta 7 Engine --packet 3"}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 3) << arguments;
        EXPECT_FALSE(outcome.errors.empty()) << arguments;
    }
    EXPECT_EQ(run("show empty.zelta 7 Engine").errors, "qor show: empty.zelta holds no packets.\n");
}

TEST_F(Inspect, AnErrorThatEndsACommandIsADocument) {
    for (const auto& [arguments, command, exitCode] :
         std::vector<std::tuple<const char*, const char*, int>>{{"info none.zelta", "info", 3},
                                                                {"tree none.zelta", "tree", 3},
                                                                {"show none.zelta 7 Engine", "show", 3},
                                                                {"show e.zelta 7 Engine.none", "show", 2},
                                                                {"show e.zelta 7 Engine[", "show", 2}}) {
        const Outcome outcome = run(std::string(arguments) + " --json");
        EXPECT_EQ(outcome.exitCode, exitCode) << arguments;
        const nlohmann::json document = nlohmann::json::parse(outcome.output);
        EXPECT_EQ(document.at("command"), command);
        EXPECT_EQ(document.at("version"), QOR_VERSION);
        EXPECT_EQ("qor " + std::string(command) + ": " + document.at("error").get<std::string>() + "\n",
                  outcome.errors);
    }
}

TEST_F(Inspect, DocumentsTellTheDamage) {
    EXPECT_EQ(jsonOf("tree e.zelta").at("damage"), nullptr);
    EXPECT_EQ(jsonOf("show e.zelta 7 Engine").at("damage"), nullptr);
    std::filesystem::resize_file(path("e.zelta"), std::filesystem::file_size(path("e.zelta")) - 1);
    for (const char* arguments :
         {"info e.zelta --json", "tree e.zelta --json", "show e.zelta 7 Engine --all --json"}) {
        const std::string damage =
            nlohmann::json::parse(run(arguments).output).at("damage").get<std::string>();
        EXPECT_EQ(damage.rfind("e.zelta is damaged at byte", 0), 0U) << damage;
    }
}

// Zeros are packets of no chunks, one for each four bytes.
TEST_F(Inspect, PacketsWithoutChunksAreAFinding) {
    writeBytes(path("zeros.zelta"), std::vector<std::uint8_t>(4000, 0));
    const Outcome outcome = run("info zeros.zelta --json");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors, "qor info: 1000 of 1000 packets without chunks.\n");
    EXPECT_EQ(nlohmann::json::parse(outcome.output).at("emptyPackets"), 1000);
    EXPECT_EQ(jsonOf("info e.zelta").at("emptyPackets"), 0);
}

TEST_F(Inspect, TheNameOfAFileCannotSteerATerminal) {
    std::filesystem::copy(path("e.zelta"), path("\x1b[2J.zelta"));
    const Outcome outcome = run("info '\x1b[2J.zelta'");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output.rfind("\\x1b[2J.zelta: 3 packets", 0), 0U) << outcome.output;
    std::ofstream(path("\x1b[2J.empty")) << "";
    for (const char* command : {"info", "tree"}) {
        EXPECT_EQ(run(std::string(command) + " '\x1b[2J.empty'").errors,
                  "qor " + std::string(command) + ": \\x1b[2J.empty holds no packets.\n");
    }
}

TEST_F(Inspect, WhatComesBeforeADamagedPlaceIsShown) {
    std::filesystem::resize_file(path("e.zelta"), std::filesystem::file_size(path("e.zelta")) - 1);
    for (const char* arguments : {"info e.zelta", "tree e.zelta", "show e.zelta 7 Engine.speed --all"}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 3) << arguments;
        EXPECT_NE(outcome.errors.find("e.zelta is damaged at byte"), std::string::npos) << outcome.errors;
        EXPECT_FALSE(outcome.output.empty()) << arguments;
    }
    EXPECT_EQ(run("show e.zelta 7 Engine.speed --all").output, "1000\n1001\n");
    EXPECT_EQ(run("show e.zelta 7 Engine.speed").exitCode, 0) << "the first packet is whole";
}

TEST_F(Inspect, ADamagedDefinitionIsAFindingOfInfoAndTree) {
    std::string bytes = contentOf(path("e.zelta"));
    bytes[20 + 2] = static_cast<char>(bytes[20 + 2] ^ 0x7F);  // inside the first definition
    std::ofstream(path("e.zelta"), std::ios::binary) << bytes;
    for (const char* arguments : {"info e.zelta", "tree e.zelta"}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 1) << arguments;
        EXPECT_NE(outcome.errors.find("The definition on channel 7 is damaged."), std::string::npos)
            << outcome.errors;
    }
    EXPECT_EQ(run("show e.zelta 7 Engine.speed").exitCode, 3);
    EXPECT_EQ(run("show e.zelta 7 Engine.speed --packet 1").output, "1001\n");
}

TEST_F(Inspect, ADamagedRecordLeavesTheOthersToShow) {
    std::string bytes = contentOf(path("e.zelta"));
    bytes[20 + 2] = static_cast<char>(bytes[20 + 2] ^ 0x7F);  // inside the first definition
    std::ofstream(path("e.zelta"), std::ios::binary) << bytes;
    const Outcome text = run("show e.zelta 7 Engine.speed --all");
    EXPECT_EQ(text.exitCode, 3);
    EXPECT_EQ(text.output, "1001\n1002\n");
    EXPECT_EQ(text.errors, "qor show: packet 0: The definition on channel 7 is damaged.\n");
    const Outcome outcome = run("show e.zelta 7 Engine.speed --all --json");
    EXPECT_EQ(outcome.exitCode, 3);
    const nlohmann::json document = nlohmann::json::parse(outcome.output);
    EXPECT_EQ(document.at("packets").size(), 2U);
    const std::vector<std::string> findings{"packet 0: The definition on channel 7 is damaged."};
    EXPECT_EQ(document.at("findings"), findings);
    EXPECT_EQ(nlohmann::json::parse(run("tree e.zelta --json").output).at("findings"), findings);
}

// Whatever the exit code, the document says why.
TEST_F(Inspect, TheDocumentOfEachCommandSaysWhatStandardErrorSays) {
    std::ofstream(path("empty.zelta"));
    for (const char* arguments :
         {"info empty.zelta", "tree empty.zelta", "show empty.zelta 7 Engine.speed",
          "show e.zelta 9 Engine.speed", "show e.zelta 7 Engine.speed --packet 9", "tree e.zelta 9",
          "extract e.zelta --channels 99 --out x.zelta", "concat empty.zelta e.zelta --out x.zelta"}) {
        const Outcome outcome = run(std::string(arguments) + " --json");
        EXPECT_GT(outcome.exitCode, 0) << arguments;
        const nlohmann::json findings = nlohmann::json::parse(outcome.output).at("findings");
        ASSERT_EQ(findings.size(), 1U) << arguments;
        const std::string command(arguments, std::string(arguments).find(' '));
        EXPECT_EQ("qor " + command + ": " + findings[0].get<std::string>() + "\n", outcome.errors)
            << arguments;
    }
}

TEST_F(Inspect, DataThatDoesNotFitItsDefinitionIsAFinding) {
    const Record engine(recording::structure("Engine", {recording::uint32("speed")}));
    zelta::ZeltaChunk chunk = engine.chunk(7);
    chunk.dataSize = 3;
    recording::RecordingWriter writer(path("s.zelta"));
    writer.write(recording::packetOf({chunk}));
    writer.finish();
    const Outcome outcome = run("info s.zelta");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(
        outcome.errors.find("A definition on channel 7 describes 4 bytes, where 3 bytes of data follow."),
        std::string::npos)
        << outcome.errors;
    EXPECT_EQ(run("show s.zelta 7 Engine.speed").exitCode, 3);
}

}  // namespace
