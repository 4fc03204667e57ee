// SPDX-License-Identifier: Apache-2.0
//
// qor export: which files it writes, what it tells, what it refuses. The numbers in the files are compared in
// exporting/read_back.py, by the readers of others.

#include <random>

#include "arrays/NumpyFile.h"
#include "tools/imaging/ReadPng.h"
#include "tools/qor/Command.h"

namespace {

class Export : public Command {
 protected:
    // Results of frames of the wall in res.zelta; what is more to say to the camera goes into `arguments`.
    void makeResults(const std::string& arguments = "") const {
        simulate(arguments);
        const Outcome outcome = run("run r.zelta --quiet --out run");
        ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
        std::filesystem::copy_file(path("run/result.zelta"), path("res.zelta"));
    }

    std::vector<std::string> filesIn(const std::string& name) const {
        std::vector<std::string> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path(name))) {
            if (entry.is_regular_file()) {
                files.push_back(entry.path().lexically_relative(path(name)).string());
            }
        }
        std::sort(files.begin(), files.end());
        return files;
    }
};

TEST_F(Export, NamesFilesAfterFrameAndChannelAndTellsThem) {
    makeResults("--frames 2");
    const nlohmann::json written =
        jsonOf("export res.zelta --format npy,csv --images distance,amplitude --out x");
    EXPECT_EQ(filesIn("x"),
              (std::vector<std::string>{"00000_amplitude.npy", "00000_distance.npy", "00000_images.csv",
                                        "00001_amplitude.npy", "00001_distance.npy", "00001_images.csv"}));
    EXPECT_EQ(written.at("items"), 2);
    EXPECT_EQ(written.at("rows"), 2 * 38528);
    ASSERT_EQ(written.at("files").size(), 6U);
    std::uintmax_t bytes = 0;
    for (const nlohmann::json& file : written.at("files")) {
        const std::uintmax_t size = std::filesystem::file_size(path(file.at("file")));
        EXPECT_EQ(file.at("bytes"), size) << file;
        bytes += size;
    }
    EXPECT_EQ(written.at("bytes"), bytes);
}

TEST_F(Export, TellsFilesRowsAndBytes) {
    makeResults();
    const Outcome outcome = run("export res.zelta --format csv,ply --out x");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_NE(outcome.output.find("  x/00000_distance.csv   38528 rows, "), std::string::npos)
        << outcome.output;
    EXPECT_NE(outcome.output.find("  x/00000_points.ply   38528 points, "), std::string::npos)
        << outcome.output;
    EXPECT_NE(outcome.output.find("  2 files, 1 frame, 77056 rows, "), std::string::npos) << outcome.output;
}

TEST_F(Export, ALongListOfFilesIsCutOnTheTerminalAndWholeInTheDocument) {
    simulate("--frames 6");
    const Outcome outcome = run("export r.zelta --format npy,png16 --images raw --out x");
    EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1 + 20 + 1 + 1);
    EXPECT_NE(outcome.output.find("  and 10 more\n"), std::string::npos) << outcome.output;
    EXPECT_EQ(jsonOf("export r.zelta --format npy,png16 --images raw --out x --force").at("files").size(),
              30U);
}

TEST_F(Export, FramesAreChosenAndKeepTheirNumbers) {
    makeResults("--frames 4");
    ASSERT_EQ(run("export res.zelta --format npy --frames 1:4:2 --out x").exitCode, 0);
    EXPECT_EQ(filesIn("x"), (std::vector<std::string>{"00001_distance.npy", "00003_distance.npy"}));
    ASSERT_EQ(run("export r.zelta --format npy --frames 2 --images raw --out y").exitCode, 0);
    EXPECT_EQ(filesIn("y"), (std::vector<std::string>{"00002_raw.npy"}));
}

TEST_F(Export, NamesFollowATemplate) {
    makeResults("--frames 2");
    ASSERT_EQ(run("export res.zelta --format png,png16 --limits distance=0:3 --out x "
                  "--names '{recording}/{channel}-{format}-{frame:3}'")
                  .exitCode,
              0);
    EXPECT_EQ(filesIn("x"),
              (std::vector<std::string>{"res/distance-png-000.png", "res/distance-png-001.png",
                                        "res/distance-png16-000.png", "res/distance-png16-001.png"}));
}

TEST_F(Export, NamesThatClashAreRefused) {
    makeResults("--frames 2");
    const Outcome formats = run("export res.zelta --format png,png16 --out x");
    EXPECT_EQ(formats.exitCode, 2);
    EXPECT_EQ(formats.errors,
              "qor export: png and png16 would have the same names; put {format} into --names.\n");
    EXPECT_FALSE(std::filesystem::exists(path("x")));
    const Outcome frames = run("export res.zelta --format npy --names '{channel}' --out x");
    EXPECT_EQ(frames.exitCode, 2);
    EXPECT_NE(frames.errors.find("x/distance.npy would be written twice"), std::string::npos)
        << frames.errors;
    std::filesystem::copy_file(path("res.zelta"), path("b.zelta"));
    EXPECT_EQ(run("export res.zelta b.zelta --format npy --out y").exitCode, 0);
    EXPECT_EQ(filesIn("y"), (std::vector<std::string>{"b_00000_distance.npy", "b_00001_distance.npy",
                                                      "res_00000_distance.npy", "res_00001_distance.npy"}));
}

TEST_F(Export, FilesThatAreThereAreReplacedByForceOnlyAndTheRecordingNever) {
    makeResults();
    ASSERT_EQ(run("export res.zelta --format npy --out x").exitCode, 0);
    const Outcome again = run("export res.zelta --format npy --out x");
    EXPECT_EQ(again.exitCode, 2);
    EXPECT_EQ(again.errors, "qor export: x/00000_distance.npy is there already; --force replaces it.\n");
    EXPECT_EQ(run("export res.zelta --format npy --out x --force").exitCode, 0);
    std::filesystem::create_symlink(path("res.zelta"), path("x/00000_distance.ply"));
    const std::string before = contentOf(path("res.zelta"));
    const Outcome itself = run("export res.zelta --format ply --names '{frame:5}_distance' --out x --force");
    EXPECT_EQ(itself.exitCode, 2);
    EXPECT_NE(itself.errors.find("is the recording itself"), std::string::npos) << itself.errors;
    EXPECT_EQ(contentOf(path("res.zelta")), before);
}

TEST_F(Export, NothingWrittenIsAFinding) {
    simulate();
    const Outcome outcome = run("export r.zelta --format npy --out x");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors,
              "qor export: the recording has no distance in its results (qor run makes results of a "
              "recording).\nqor export: nothing was written.\n");
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(run("export r.zelta --format npy --images raw --frames 5 --out x").exitCode, 1);
    EXPECT_EQ(run("export r.zelta --format npy --member Nope.nope --out x").exitCode, 1);
    EXPECT_FALSE(std::filesystem::exists(path("x")));
}

TEST_F(Export, AnImageThatTheFramesDoNotHaveIsAFindingBesideTheOthers) {
    makeResults();
    const Outcome outcome = run("export res.zelta --format npy --images distance,noise --out x");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors, "qor export: the recording has no noise in its results.\n");
    EXPECT_EQ(filesIn("x"), (std::vector<std::string>{"00000_distance.npy"}));
}

TEST_F(Export, PointsNeedCoordinates) {
    simulate();
    ASSERT_EQ(run("run r.zelta --quiet --out run --set "
                  "QorDistanceImageIFInput.customization.disableCalcCartesian=1")
                  .exitCode,
              0);
    const Outcome outcome = run("export run/result.zelta --format pcd --out x");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("no valid coordinates"), std::string::npos) << outcome.errors;
}

// The scale of the second frame alone would be another: its wall is a fifth as bright.
TEST_F(Export, TheScaleIsThatOfAllFramesOrAsGiven) {
    makeResults("--frames 2 --brightness-steps 1:0.2");
    const nlohmann::json both = jsonOf("export res.zelta --format png --images amplitude --out x");
    const nlohmann::json second =
        jsonOf("export res.zelta --format png --images amplitude --frames 1 --out y");
    EXPECT_LT(second.at("scales").at(0).at("maximum").get<double>(),
              0.5 * both.at("scales").at(0).at("maximum").get<double>());
    const auto maximum = [this](const char* name) { return readPng(path(name)).texts.at("Maximum"); };
    EXPECT_EQ(maximum("x/00000_amplitude.png"), maximum("x/00001_amplitude.png"));
    EXPECT_NE(maximum("x/00001_amplitude.png"), maximum("y/00001_amplitude.png"));
    ASSERT_EQ(run("export res.zelta --format png --images amplitude --limits amplitude=0:7 --out z").exitCode,
              0);
    EXPECT_EQ(maximum("z/00001_amplitude.png"), "7");
}

TEST_F(Export, ValuesBeyondAScaleOfCountsAreTold) {
    makeResults();
    const Outcome outcome = run("export res.zelta --format png16 --limits distance=0.1:0.2 --out x");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_NE(outcome.output.find("Beyond the scale of distance, drawn as its end: 38528 values\n"),
              std::string::npos)
        << outcome.output;
}

TEST_F(Export, AStreamNeedsItsScaleGiven) {
    makeResults();
    const Outcome outcome = run("export - --format png --out x", "cat res.zelta |");
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_NE(outcome.errors.find("--limits NAME=MIN:MAX"), std::string::npos) << outcome.errors;
    EXPECT_EQ(run("export - --format png --limits distance=0:3 --out x", "cat res.zelta |").exitCode, 0);
    EXPECT_EQ(run("export - --format png16,npy --out y", "cat res.zelta |").exitCode, 0);
    EXPECT_EQ(filesIn("y"), (std::vector<std::string>{"00000_distance.npy", "00000_distance.png"}));
}

TEST_F(Export, ATableOfMembersHasARowForEachPacket) {
    simulate("--exposures 200,1000");
    ASSERT_EQ(
        run("export r.zelta --format csv --member QorDistanceImageIFInput.phaseInfo.exposureTime --member "
            "QorDistanceImageIFInput.customization.filterSet.spatMedianSettings --out x --names t")
            .exitCode,
        0);
    const std::string text = contentOf(path("x/t.csv"));
    EXPECT_EQ(text.substr(0, text.find('\n')),
              "packet,frame,QorDistanceImageIFInput.phaseInfo.exposureTime,"
              "QorDistanceImageIFInput.customization.filterSet.spatMedianSettings.maskSize");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 9);
    EXPECT_NE(text.find("\n1,0,200,"), std::string::npos) << text;
    EXPECT_NE(text.find("\n8,0,1000,"), std::string::npos) << text;
}

TEST_F(Export, ATableGoesToStandardOutputOnlyWhereItIsAskedTo) {
    makeResults("--frames 2");
    const Outcome outcome = run("export res.zelta --format csv --out -");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_TRUE(outcome.output.starts_with("frame,row,column,distance\n0,0,0,"));
    EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1 + 2 * 38528);
    EXPECT_NE(outcome.errors.find("  standard output   77056 rows, "), std::string::npos) << outcome.errors;
    EXPECT_EQ(run("export res.zelta --format npy --out -").exitCode, 2);
    EXPECT_EQ(run("export res.zelta --format csv,npy --out -").exitCode, 2);
    EXPECT_EQ(run("export res.zelta res.zelta --format csv --out -").exitCode, 2);
}

TEST_F(Export, AMemberMayBeASliceOrAStructureAndAChannelMayBeChosen) {
    simulate();
    ASSERT_EQ(run("export r.zelta --format npy --member 'SceneTruth.distance[:2][::56]' --out x").exitCode,
              0);
    const arrays::Array slice = arrays::readNpy(path("x/00001_SceneTruth.distance[_2][__56].npy"));
    EXPECT_EQ(slice.shape, (std::vector<std::size_t>{2, 4}));
    ASSERT_EQ(run("export r.zelta --format npz --member QorDistanceImageIFInput.phaseInfo --channel input "
                  "--frames 0 --out y")
                  .exitCode,
              0);
    EXPECT_EQ(filesIn("y").size(), 4U);
    EXPECT_EQ(arrays::namesInNpz(path("y/00001_members.npz")).size(), 7U);
    EXPECT_EQ(
        run("export r.zelta --format npy --member QorDistanceImageIFInput.phaseInfo --channel 3200 --out z")
            .exitCode,
        1);
}

TEST_F(Export, AMemberOfTwoDimensionsIsAPicture) {
    simulate();
    ASSERT_EQ(run("export r.zelta --format png16 --member SceneTruth.distance --out x").exitCode, 0);
    EXPECT_EQ(readPng(path("x/00001_SceneTruth.distance.png")).width, 224);
    const Outcome single =
        run("export r.zelta --format png --member QorDistanceImageIFInput.phaseInfo.freqIdx --out y");
    EXPECT_EQ(single.exitCode, 2);
    EXPECT_NE(single.errors.find("is a single number, which makes no picture"), std::string::npos)
        << single.errors;
}

TEST_F(Export, WhatCannotBeIsRefusedBeforeAnythingIsWritten) {
    simulate();
    for (const char* arguments :
         {"export r.zelta --out x", "export r.zelta --format npy", "export --format npy --out x",
          "export r.zelta --format gif --out x", "export r.zelta --format npy --images depth --out x",
          "export r.zelta --format npy --images raw --names '{frame' --out x",
          "export r.zelta --format npy --images raw --names '{frame:99999999}' --out x",
          "export r.zelta --format npy --images raw --limits raw=1 --out x",
          "export r.zelta --format npy --images raw --limits raw=2:1 --out x",
          "export r.zelta --format npy --images raw --colors jet --out x",
          "export r.zelta --format npy --images raw --frames 3:1 --out x",
          "export r.zelta --format npy --images raw --member SceneTruth.distance --out x",
          "export r.zelta --format npy --images raw --channel input --out x",
          "export r.zelta --format npy --member SceneTruth.distance --channel nope --out x",
          "export r.zelta --format npy --member 'SceneTruth..x' --out x",
          "export r.zelta --format npy --member SceneTruth.nope --out x",
          "export r.zelta --format csv --member SceneTruth.distance --out x",
          "export r.zelta --format ply --member SceneTruth.distance --out x",
          "export r.zelta --format ply --images distance --out x"}) {
        EXPECT_EQ(run(arguments).exitCode, 2) << arguments;
        EXPECT_FALSE(std::filesystem::exists(path("x"))) << arguments;
    }
    EXPECT_EQ(run("export none.zelta --format npy --out x").exitCode, 3);
}

TEST_F(Export, TheMembersOfATableBelongToOneRecord) {
    simulate();
    const Outcome outcome =
        run("export r.zelta --format csv --member QorDistanceImageIFInput.phaseInfo.freqIdx "
            "--member Simulation.seed --out x");
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_NE(outcome.errors.find("members of one table belong to one record"), std::string::npos)
        << outcome.errors;
    EXPECT_TRUE(filesIn("x").empty());
}

TEST_F(Export, ADamagedRecordingGivesTheFramesBeforeTheDamage) {
    makeResults("--frames 3");
    std::filesystem::resize_file(path("res.zelta"), std::filesystem::file_size(path("res.zelta")) - 1);
    const Outcome outcome =
        run("export res.zelta --format npy,png16,csv --images distance,amplitude --out x");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("res.zelta is damaged at byte"), std::string::npos) << outcome.errors;
    EXPECT_EQ(filesIn("x").size(), 2U * (2 + 2 + 1));
}

TEST_F(Export, AMillionRandomBytesAreToldInWords) {
    constexpr unsigned int seed = 14;
    std::mt19937 random(seed);
    std::vector<std::uint8_t> bytes(1'000'000);
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<std::uint8_t>(random()); });
    writeBytes(path("r.zelta"), bytes);
    for (const char* wish :
         {"--format npy,npz,csv,png16,ply,pcd --images distance,raw", "--format csv --member A.b"}) {
        const Outcome outcome = run(std::string("export r.zelta --out x ") + wish);
        EXPECT_EQ(outcome.exitCode, 3) << wish << " seed " << seed;
        EXPECT_NE(outcome.errors.find("r.zelta is damaged at byte 0"), std::string::npos) << outcome.errors;
    }
    EXPECT_FALSE(std::filesystem::exists(path("x")));
}

// Definitions, values and sizes of a true result with random bytes in them: whatever they say, the command
// ends with words and a code, or finds nothing wrong.
TEST_F(Export, RandomDamageInAResultEndsInWordsNeverInACrash) {
    makeResults();
    const std::string good = contentOf(path("res.zelta"));
    for (unsigned int seed = 0; seed < 24; ++seed) {
        std::mt19937 random(seed);
        std::string bad = good;
        // Half of the places lie in the definition, which stands at the start.
        for (int change = 0; change < 8; ++change) {
            const std::size_t reach = change % 2 == 0 ? 400 : bad.size();
            bad[random() % reach] = static_cast<char>(random());
        }
        std::ofstream(path("bad.zelta"), std::ios::binary) << bad;
        const Outcome outcome =
            run("export bad.zelta --force --format npy,npz,csv,png,ply,pcd-text --images "
                "distance,amplitude,confidence,x,intensity --out x");
        EXPECT_TRUE(outcome.exitCode >= 0 && outcome.exitCode <= 3)
            << "seed " << seed << ": " << outcome.exitCode << " " << outcome.errors;
        EXPECT_EQ(outcome.exitCode == 0, outcome.errors.empty()) << "seed " << seed;
    }
}

}  // namespace
