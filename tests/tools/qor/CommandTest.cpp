// SPDX-License-Identifier: Apache-2.0
//
// The command qor as its users meet it: arguments in, texts, files and an exit code out.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "tools/imaging/ReadPng.h"

namespace {

struct Outcome {
    int exitCode = -1;
    std::string output;
    std::string errors;
};

std::string contentOf(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class Command : public testing::Test {
 protected:
    Outcome run(const std::string& arguments) const {
        const std::filesystem::path output = folder_.path() / "stdout.txt";
        const std::filesystem::path errors = folder_.path() / "stderr.txt";
        const std::string line = "cd '" + folder_.path().string() + "' && '" QOR_COMMAND "' " + arguments +
                                 " > '" + output.string() + "' 2> '" + errors.string() + "'";
        const int status = std::system(line.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(output), contentOf(errors)};
    }

    std::filesystem::path path(const char* name) const { return folder_.path() / name; }

    TestFolder folder_;
};

constexpr std::array pictureNames{"distance_mm.png", "distance.png", "amplitude.png", "confidence.png",
                                  "error.png"};

TEST_F(Command, VersionIsPrinted) {
    const Outcome outcome = run("--version");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output, "qor " QOR_VERSION "\n");
}

TEST_F(Command, HelpNamesTheSubcommandsAndTheScenes) {
    EXPECT_EQ(run("--help").exitCode, 0);
    EXPECT_NE(run("--help").output.find("simulate"), std::string::npos);
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
                                  "simulate --ambient -1",
                                  "simulate --ambient nan",
                                  "simulate --min-amplitude nan",
                                  "simulate --error-range nan",
                                  "simulate --seed 1x",
                                  "simulate --ambient 1001",
                                  "simulate --temperature hot",
                                  "simulate --seed -1",
                                  "simulate --seed 99999999999999999999",
                                  "simulate --distance-range 3:1",
                                  "simulate --distance-range 1",
                                  "simulate --distance-range 1:x",
                                  "simulate --distance-range nan:1",
                                  "simulate --enlarge 0",
                                  "simulate --enlarge 33",
                                  "simulate --min-amplitude -1",
                                  "simulate --error-range 0",
                                  "simulate surplus"}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 2) << arguments;
        EXPECT_FALSE(outcome.errors.empty()) << arguments;
        EXPECT_FALSE(std::filesystem::exists(path("out"))) << arguments;
    }
}

TEST_F(Command, SimulateWritesPicturesAndPrintsTheirPaths) {
    const Outcome outcome = run("simulate --scene wall --no-noise --out pictures/deep --enlarge 1");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    for (const char* name : pictureNames) {
        const std::string printed = std::string("pictures/deep/") + name;
        EXPECT_NE(outcome.output.find(printed), std::string::npos) << name;
        EXPECT_TRUE(std::filesystem::exists(path("pictures/deep") / name)) << name;
    }
    EXPECT_TRUE(outcome.errors.empty()) << outcome.errors;
}

// The wall stands at 1.2 m; the pixel next to the optical axis sees it at 1200 mm, a corner further away.
TEST_F(Command, DistancePictureHoldsMillimetres) {
    ASSERT_EQ(run("simulate --scene wall --no-noise --out p --enlarge 1").exitCode, 0);
    const ReadPicture picture = readPng(path("p/distance_mm.png"));
    EXPECT_EQ(picture.width, 224);
    EXPECT_EQ(picture.height, 172);
    EXPECT_EQ(picture.bitDepth, 16);
    EXPECT_EQ(picture.channels, 1);
    EXPECT_NEAR(picture.values[86 * 224 + 111], 1200, 1);
    EXPECT_GT(picture.values[0], 1400);
}

TEST_F(Command, ColourPicturesAreEnlarged) {
    ASSERT_EQ(run("simulate --scene wall --out small --enlarge 1").exitCode, 0);
    ASSERT_EQ(run("simulate --scene wall --out large --enlarge 3").exitCode, 0);
    for (const char* name : {"distance.png", "amplitude.png", "confidence.png", "error.png"}) {
        const ReadPicture small = readPng(path("small") / name);
        const ReadPicture large = readPng(path("large") / name);
        EXPECT_EQ(large.height - small.height, 2 * 172) << name;
        EXPECT_GE(small.width, 224) << name;
    }
}

TEST_F(Command, FiguresAreMachineReadable) {
    const Outcome outcome = run("simulate --json --frames 2 --enlarge 1 --seed 5 --out p");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    const nlohmann::json figures = nlohmann::json::parse(outcome.output);
    EXPECT_EQ(figures.at("simulatedFrames"), 2);
    EXPECT_EQ(figures.at("finishedFrames"), 2);
    EXPECT_EQ(figures.at("seed"), 5);
    EXPECT_EQ(figures.at("pixels"), 2 * 38528);
    EXPECT_GT(figures.at("validShare").get<double>(), 0.95);
    EXPECT_EQ(figures.at("files").size(), pictureNames.size());
    EXPECT_GT(figures.at("medianErrorMetres").get<double>(), 0.0);
    ASSERT_FALSE(figures.at("noise").empty());
    for (const auto& bin : figures.at("noise")) {
        EXPECT_GT(bin.at("measuredMetres").get<double>(), 0.0);
        EXPECT_GT(bin.at("predictedMetres").get<double>(), 0.0);
    }
}

TEST_F(Command, MeasuredAndPredictedNoiseStandSideBySide) {
    const Outcome outcome = run("simulate --scene wall --frames 2 --enlarge 1 --out p");
    EXPECT_EQ(outcome.exitCode, 0);
    for (const char* text :
         {"measured", "predicted", "ratio", "median absolute error", "99th percentile", "valid pixels"}) {
        EXPECT_NE(outcome.output.find(text), std::string::npos) << text;
    }
}

TEST_F(Command, OneSeedMeansOneResult) {
    const auto figures = [this](const char* seed) {
        nlohmann::json json = nlohmann::json::parse(
            run(std::string("simulate --json --scene wall --enlarge 1 --out p --seed ") + seed).output);
        json.erase("seed");
        return json;
    };
    EXPECT_EQ(figures("3"), figures("3"));
    EXPECT_NE(figures("3"), figures("4"));
}

TEST_F(Command, FrequenciesTakeUnits) {
    const auto hertz = [this](const char* frequency) {
        return nlohmann::json::parse(
                   run(std::string("simulate --json --scene wall --enlarge 1 --out p --frequencies ") +
                       frequency)
                       .output)
            .at("frequenciesHertz")
            .at(0)
            .get<double>();
    };
    EXPECT_EQ(hertz("60MHz"), 60.0e6);
    EXPECT_EQ(hertz("60000kHz"), 60.0e6);
    EXPECT_EQ(hertz("60e6"), 60.0e6);
}

TEST_F(Command, PixelsBeyondTheUniqueRangeAreTold) {
    EXPECT_EQ(run("simulate --scene room --enlarge 1 --out p").output.find("beyond unique range"),
              std::string::npos);
    EXPECT_NE(run("simulate --scene hall --enlarge 1 --out p").output.find("beyond unique range"),
              std::string::npos);
}

// With every pixel below the amplitude asked for nothing is valid: that is a finding.
TEST_F(Command, AFrameWithoutValidPixelsIsAFinding) {
    const Outcome outcome =
        run("simulate --scene wall --min-amplitude 100000 --no-fixed-pattern --enlarge 1 --out p");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("no pixel"), std::string::npos) << outcome.errors;
}

TEST_F(Command, AFolderThatCannotBeMadeExitsWithThreeAndIsNamed) {
    std::ofstream(path("file")) << "x";
    const Outcome outcome = run("simulate --scene wall --enlarge 1 --out file/p");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("Cannot write file/p/distance_mm.png"), std::string::npos)
        << outcome.errors;
}

}  // namespace
