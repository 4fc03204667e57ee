// SPDX-License-Identifier: Apache-2.0
//
// The command qor as its users meet it: arguments in, texts, files and an exit code out.

#include "tools/qor/Command.h"

#include <csignal>

#include "recording/Record.h"
#include "recording/RecordingReader.h"

namespace {

TEST_F(Command, VersionIsPrinted) {
    const Outcome outcome = run("--version");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output.substr(0, outcome.output.find('\n')), "qor " QOR_VERSION);
}

TEST_F(Command, HelpNamesTheSubcommandsAndTheScenes) {
    EXPECT_EQ(run("--help").exitCode, 0);
    for (const char* text : {"simulate", "run", "info", "tree", "show"}) {
        EXPECT_NE(run("--help").output.find(text), std::string::npos) << text;
        EXPECT_EQ(run(std::string(text) + " --help").exitCode, 0) << text;
        EXPECT_NE(run(std::string(text) + " --help").output.find("Exit codes"), std::string::npos) << text;
    }
    const Outcome outcome = run("simulate --help");
    EXPECT_EQ(outcome.exitCode, 0);
    for (const char* text : {"room", "wall", "ramp", "hall", "--no-noise", "Exit codes"}) {
        EXPECT_NE(outcome.output.find(text), std::string::npos) << text;
    }
}

TEST_F(Command, UsageErrorsExitWithTwoAndWriteNothing) {
    for (const char* arguments : {"",
                                  "nonsense",
                                  "simulate --nonsense",
                                  "simulate --scene moon",
                                  "simulate --frames 0",
                                  "simulate --frames x",
                                  "simulate --exposures 1000,200",
                                  "simulate --exposures 0",
                                  "simulate --exposures 1,2,3",
                                  "simulate --frequencies 60Q",
                                  "simulate --frequencies -60MHz",
                                  "simulate --frequencies 60MHz,60MHz",
                                  "simulate --frequencies nan",
                                  "simulate --frequencies 60",
                                  "simulate --frequencies 2000MHz",
                                  "simulate --ambient -1",
                                  "simulate --ambient nan",
                                  "simulate --min-amplitude nan",
                                  "simulate --seed 1x",
                                  "simulate --ambient 1001",
                                  "simulate --temperature hot",
                                  "simulate --seed -1",
                                  "simulate --seed 99999999999999999999",
                                  "simulate --min-amplitude -1",
                                  "simulate --out folder",
                                  "simulate --out .zelta",
                                  "simulate --brightness-steps 5",
                                  "simulate --brightness-steps 5:1,5:2",
                                  "simulate --max-saturated 5",
                                  "simulate --max-exposure 500",
                                  "simulate --plugin libqor.so",
                                  "simulate --auto-exposure --max-exposure 49",
                                  "simulate --auto-exposure --max-saturated -1",
                                  "simulate surplus"}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 2) << arguments;
        EXPECT_FALSE(outcome.errors.empty()) << arguments;
        EXPECT_FALSE(std::filesystem::exists(path("out"))) << arguments;
    }
}

TEST_F(Command, SimulateWritesARecordingAndSaysWhatIsInIt) {
    const Outcome outcome = run("simulate --scene wall --frames 3 --out deep/r.zelta");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.output.substr(0, outcome.output.find('\n')),
              "Simulated 3 frames: scene wall, 60 MHz, 1000 us, seed 1, photon noise");
    EXPECT_NE(outcome.output.find("deep/r.zelta   13 packets, "), std::string::npos) << outcome.output;
    EXPECT_TRUE(std::filesystem::exists(path("deep/r.zelta")));
    EXPECT_FALSE(std::filesystem::exists(path("deep/r.zelta.part")));
}

TEST_F(Command, AutoExposureUsesTheProposalsAndReportsEveryFrame) {
    const nlohmann::json document = jsonOf(
        "simulate --auto-exposure --scene wall --exposures 50 --frames 5 --brightness-steps 3:0.1 --quiet "
        "--max-exposure 1000 --max-saturated 50 --out r.zelta");
    EXPECT_EQ(document["exposuresMicroseconds"], nlohmann::json({50}));  // the times at the start
    const nlohmann::json& control = document["autoExposure"];
    EXPECT_EQ(control["longestExposureMicroseconds"], 1000);
    EXPECT_EQ(control["saturatedPixelsAllowed"], 50);
    ASSERT_EQ(control["frames"].size(), 5U);
    for (std::size_t k = 0; k < 5; ++k) {
        const nlohmann::json& frame = control["frames"][k];
        EXPECT_EQ(frame["frame"], k);
        EXPECT_EQ(frame["brightness"], k < 3 ? 1.0 : 0.1);
        EXPECT_GT(frame["medianAmplitude"], 0.0);
        if (k > 0) {
            EXPECT_EQ(frame["exposuresMicroseconds"], control["frames"][k - 1]["proposedMicroseconds"]);
        }
    }
    EXPECT_EQ(control["frames"][0]["exposuresMicroseconds"], nlohmann::json({50}));
    EXPECT_NE(control["frames"][0]["proposedMicroseconds"], nlohmann::json({50}));
    // The recording holds the images as they were taken.
    recording::RecordingReader reader(path("r.zelta"));
    std::size_t image = 0;
    while (const recording::RecordedPacket* packet = reader.next()) {
        if (const zelta::ZeltaChunk* input = recording::findChunk(packet->chunks, 3208)) {
            EXPECT_EQ(recording::numberOf(*input, "QorDistanceImageIFInput.phaseInfo.exposureTime"),
                      control["frames"][image / 4]["exposuresMicroseconds"][0]);
            ++image;
        }
    }
    EXPECT_EQ(image, 20U);
}

TEST_F(Command, AutoExposurePrintsALineForEachFrame) {
    const Outcome outcome = run("simulate --auto-exposure --exposures 100,400 --frames 2 --out r.zelta");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_NE(outcome.output.find("Frame  Brightness"), std::string::npos) << outcome.output;
    EXPECT_NE(outcome.output.find("    0           1      100 us + 400 us"), std::string::npos)
        << outcome.output;
    EXPECT_NE(outcome.output.find("\n    1           1"), std::string::npos) << outcome.output;
}

TEST_F(Command, AutoExposureWithoutAPluginSaysSoAndWritesNothing) {
    const Outcome outcome = run("simulate --auto-exposure --plugin none.so --out r.zelta");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("Cannot open the plug-in none.so"), std::string::npos) << outcome.errors;
    EXPECT_FALSE(std::filesystem::exists(path("r.zelta")));
    EXPECT_FALSE(std::filesystem::exists(path("r.zelta.part")));
}

// Calibration first, then a packet for each raw image; the truth travels with the first.
TEST_F(Command, ARecordingBeginsWithTheCalibration) {
    simulate("--frames 2");
    recording::RecordingReader reader(path("r.zelta"));
    std::vector<std::vector<int>> channels;
    while (const recording::RecordedPacket* packet = reader.next()) {
        channels.emplace_back();
        for (const zelta::ZeltaChunk& chunk : packet->chunks) {
            channels.back().push_back(chunk.channelID);
        }
    }
    ASSERT_EQ(channels.size(), 9U);
    EXPECT_EQ(channels[0], (std::vector<int>{3212, 3226, 9004}));
    EXPECT_EQ(channels[1], (std::vector<int>{3208, 3200, 9000, 9002}));
    for (std::size_t k = 2; k < channels.size(); ++k) {
        EXPECT_EQ(channels[k], (std::vector<int>{3208, 3200})) << k;
    }
}

TEST_F(Command, WhatWasMadeIsMachineReadable) {
    const nlohmann::json figures =
        jsonOf("simulate --frames 2 --seed 5 --exposures 200,1000 --frequencies 60MHz,80MHz --out r.zelta");
    EXPECT_EQ(figures.at("command"), "simulate");
    EXPECT_EQ(figures.at("frames"), 2);
    EXPECT_EQ(figures.at("seed"), 5);
    EXPECT_EQ(figures.at("packets"), 1 + 2 * 16);
    EXPECT_EQ(figures.at("bytes"), std::filesystem::file_size(path("r.zelta")));
    EXPECT_EQ(figures.at("exposuresMicroseconds"), (std::vector<int>{200, 1000}));
    EXPECT_EQ(figures.at("files"), (std::vector<std::string>{"r.zelta"}));
}

TEST_F(Command, OneSeedMeansOneRecording) {
    simulate("--seed 3", "a.zelta");
    simulate("--seed 3", "b.zelta");
    simulate("--seed 4", "c.zelta");
    EXPECT_EQ(contentOf(path("a.zelta")), contentOf(path("b.zelta")));
    EXPECT_NE(contentOf(path("a.zelta")), contentOf(path("c.zelta")));
}

// The signal comes while the command works on far more frames than it can finish in that time.
TEST_F(Command, AnInterruptedSimulationLeavesAWholeRecording) {
    const Outcome outcome =
        run("simulate --scene wall --frames 100000 --out r.zelta --json", "timeout --foreground -s INT 2");
    EXPECT_EQ(outcome.exitCode, 124) << "the code by which timeout tells that it sent its signal";
    EXPECT_NE(outcome.errors.find("interrupted after"), std::string::npos) << outcome.errors;
    const nlohmann::json document = nlohmann::json::parse(outcome.output);
    ASSERT_EQ(document.at("findings").size(), 1U);
    EXPECT_NE(outcome.errors.find(document.at("findings")[0]), std::string::npos) << outcome.errors;
    const Outcome info = run("info r.zelta");
    EXPECT_EQ(info.exitCode, 0) << info.errors;
}

TEST_F(Command, FrequenciesTakeUnits) {
    const auto hertz = [this](const char* frequency) {
        return nlohmann::json::parse(
                   run(std::string("simulate --json --scene wall --out r.zelta --frequencies ") + frequency)
                       .output)
            .at("frequenciesHertz")
            .at(0)
            .get<double>();
    };
    EXPECT_EQ(hertz("60MHz"), 60.0e6);
    EXPECT_EQ(hertz("60000kHz"), 60.0e6);
    EXPECT_EQ(hertz("60e6"), 60.0e6);
    EXPECT_EQ(
        run("simulate --scene wall --out r.zelta --frequencies 60").errors,
        "qor simulate: A modulation frequency is from 1 MHz to 1 GHz, not 60 Hz; a unit may be missing, "
        "as in 60MHz.\n");
}

TEST_F(Command, APlaceThatCannotBeWrittenExitsWithThreeAndIsNamed) {
    std::ofstream(path("file")) << "x";
    const Outcome outcome = run("simulate --scene wall --out file/r.zelta");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("Cannot write file/r.zelta"), std::string::npos) << outcome.errors;
    const nlohmann::json document =
        nlohmann::json::parse(run("simulate --scene wall --json --out file/r.zelta").output);
    EXPECT_EQ("qor simulate: " + document.at("error").get<std::string>() + "\n", outcome.errors);
}

}  // namespace
