// SPDX-License-Identifier: Apache-2.0
//
// qor run, with the real plug-in and with one that does as it is told.

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "recording/Channels.h"
#include "recording/Record.h"
#include "recording/RecordingReader.h"
#include "recording/RecordingWriter.h"
#include "tools/imaging/ReadPng.h"
#include "tools/qor/Command.h"

namespace {

constexpr std::array pictureNames{"distance_mm.png", "distance.png", "amplitude.png", "confidence.png",
                                  "error.png"};
const std::string fake = " --plugin '" FAKE_PLUGIN "'";

class RunCommand : public Command {
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

    // The channels that a recording has chunks of, each once.
    std::vector<int> channelsIn(const std::string& name) const {
        const nlohmann::json info = jsonOf("info " + name);
        std::vector<int> channels;
        for (const auto& channel : info.at("channels")) {
            channels.push_back(channel.at("channel"));
        }
        return channels;
    }

    void writePackets(const char* name, const Packets& packets) const {
        recording::RecordingWriter writer(path(name));
        for (const auto& packet : packets) {
            writer.write(packet);
        }
        writer.finish();
    }
};

TEST_F(RunCommand, WritesResultsAndPicturesAndSaysWhatItDid) {
    simulate("--no-noise --frames 2");
    const Outcome outcome = run("run r.zelta --out deep/p --enlarge 1");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    for (const char* text : {"packets read                   9\n", "packets processed              9\n",
                             "packets failed                 0\n", "packets written                2 ",
                             "finished frames                2", "valid pixels", "median absolute error",
                             "99th percentile", "deep/p/result.zelta"}) {
        EXPECT_NE(outcome.output.find(text), std::string::npos) << text << "\n" << outcome.output;
    }
    for (const char* name : pictureNames) {
        const std::string file = std::string("deep/p/00000_") + name;
        EXPECT_NE(outcome.output.find(file + "\n"), std::string::npos) << file;
        EXPECT_TRUE(std::filesystem::exists(path(file))) << file;
        EXPECT_FALSE(std::filesystem::exists(path(std::string("deep/p/00001_") + name))) << name;
    }
    EXPECT_EQ(run("info deep/p/result.zelta").exitCode, 0);
}

TEST_F(RunCommand, TheUsualOutputIsTheResultOfEachFrame) {
    simulate("--frames 3");
    EXPECT_EQ(jsonOf("run r.zelta --out p").at("packets").at("written"), 3);
    const nlohmann::json channels = jsonOf("info p/result.zelta").at("channels");
    ASSERT_EQ(channels.size(), 1U);
    EXPECT_EQ(channels[0].at("channel"), 3210);
    EXPECT_EQ(channels[0].at("chunks"), 3);
    EXPECT_LT(std::filesystem::file_size(path("p/result.zelta")), 5'000'000U);
}

TEST_F(RunCommand, ChannelsAreAddedByNameAndNumber) {
    simulate("--frames 2");
    ASSERT_EQ(run("run --channels profiling,3220 r.zelta --out p").exitCode, 0);
    EXPECT_EQ(channelsIn("p/result.zelta"), (std::vector<int>{3210, 3220, 3222}));
}

// A channel that this command takes for one of the short results, and the plug-in does not, would be missing.
TEST_F(RunCommand, EachChannelOfThePlugInHasANameAndComesWhenItIsAskedFor) {
    simulate("--frames 1");
    ASSERT_EQ(run("run r.zelta --out all --channels all").exitCode, 0);
    const std::string help = run("run --help").output;
    for (const int channel : channelsIn("all/result.zelta")) {
        const std::string number = std::to_string(channel);
        EXPECT_NE(help.find(" " + number + "  "), std::string::npos) << number;
        ASSERT_EQ(run("run r.zelta --enlarge 1 --force --out p --channels " + number).exitCode, 0);
        const std::vector<int> channels = channelsIn("p/result.zelta");
        EXPECT_EQ(std::count(channels.begin(), channels.end(), channel), 1) << number;
    }
}

// What is told beforehand rests on sizes that this command knows of the plug-in.
TEST_F(RunCommand, TheSizeToExpectIsThatOfTheResult) {
    simulate("--frames 5");
    for (const char* arguments :
         {"", " --channels debug", " --channels all --frames 1", " --channels raw,state --frames 1:3",
          " --channels calibration,auxiliary,calibration-error", " --channels pipeline-input,pipeline-output",
          " --channels input,profiling --frames ::2"}) {
        const nlohmann::json figures =
            jsonOf(std::string("run r.zelta --enlarge 1 --force --out p") + arguments);
        const auto written = figures.at("packets").at("writtenBytes").get<double>();
        EXPECT_NEAR(figures.at("expectedBytes").get<double>(), written, 0.01 * written) << arguments;
    }
}

TEST_F(RunCommand, TheSizeToExpectIsToldBeforeTheFirstFrame) {
    simulate("--frames 2");
    const Outcome outcome = run("run r.zelta --out p --channels all");
    EXPECT_EQ(outcome.output.substr(0, outcome.output.find('\n')),
              "r.zelta: 2 frames to keep, about 129.9 MB in p/result.zelta");
    const Outcome piped = run("run /dev/stdin --force --out p", "cat r.zelta |");
    EXPECT_EQ(piped.output.substr(0, piped.output.find('\n')),
              "/dev/stdin: about 1.5 MB for each frame in p/result.zelta");
    EXPECT_EQ(jsonOf("run /dev/stdin --force --out p", "cat r.zelta |").at("expectedBytes"), nullptr);
}

TEST_F(RunCommand, NoiseAndIntensityAreDrawnIfTheFrameHasThem) {
    simulate("--frames 2");
    const std::string arguments = "--force --out p --enlarge 1 --plugin '" FAKE_PLUGIN "'";
    ASSERT_EQ(run("run r.zelta " + arguments).exitCode, 0);
    EXPECT_FALSE(std::filesystem::exists(path("p/00000_noise.png")));
    EXPECT_FALSE(std::filesystem::exists(path("p/00000_intensity.png")));
    const nlohmann::json figures = jsonOf("run r.zelta " + arguments, "FAKE_PLUGIN_NOISE=1");
    EXPECT_TRUE(std::filesystem::exists(path("p/00000_noise.png")));
    EXPECT_TRUE(std::filesystem::exists(path("p/00000_intensity.png")));
    EXPECT_NEAR(figures.at("temporalNoise").at("medianDeliveredMetres").get<double>(), 0.004, 1e-6);
}

// The wall stands at 1.2 m; the pixel next to the optical axis sees it at 1200 mm, a corner further away.
TEST_F(RunCommand, DistancePictureHoldsMillimetres) {
    simulate("--no-noise");
    ASSERT_EQ(run("run r.zelta --out p --enlarge 1").exitCode, 0);
    const ReadPicture picture = readPng(path("p/00000_distance_mm.png"));
    EXPECT_EQ(picture.width, 224);
    EXPECT_EQ(picture.height, 172);
    EXPECT_EQ(picture.bitDepth, 16);
    EXPECT_EQ(picture.channels, 1);
    EXPECT_NEAR(picture.values[86 * 224 + 111], 1200, 1);
    EXPECT_GT(picture.values[0], 1400);
}

TEST_F(RunCommand, ColourPicturesAreEnlarged) {
    simulate();
    ASSERT_EQ(run("run r.zelta --out small --enlarge 1").exitCode, 0);
    ASSERT_EQ(run("run r.zelta --out large --enlarge 3").exitCode, 0);
    for (const char* name : {"distance.png", "amplitude.png", "confidence.png", "error.png"}) {
        const ReadPicture small = readPng(path("small") / (std::string("00000_") + name));
        const ReadPicture large = readPng(path("large") / (std::string("00000_") + name));
        EXPECT_EQ(large.height - small.height, 2 * 172) << name;
        EXPECT_GE(small.width, 224) << name;
    }
}

TEST_F(RunCommand, FiguresAreMachineReadable) {
    ASSERT_EQ(run("simulate --scene room --frames 2 --seed 5 --quiet --out r.zelta").exitCode, 0);
    const nlohmann::json figures = jsonOf("run r.zelta --enlarge 1 --out p");
    EXPECT_EQ(figures.at("packets").at("read"), 9);
    EXPECT_EQ(figures.at("packets").at("processed"), 9);
    EXPECT_EQ(figures.at("packets").at("failed"), 0);
    EXPECT_EQ(figures.at("packets").at("written"), 2);
    EXPECT_EQ(figures.at("packets").at("writtenBytes"), std::filesystem::file_size(path("p/result.zelta")));
    EXPECT_EQ(figures.at("finishedFrames"), 2);
    EXPECT_EQ(figures.at("simulation").at("seed"), 5);
    EXPECT_EQ(figures.at("pixels"), 2 * 38528);
    EXPECT_GT(figures.at("validShare").get<double>(), 0.95);
    EXPECT_EQ(figures.at("files").size(), 3 + pictureNames.size());
    EXPECT_EQ(figures.at("damage"), nullptr);
    EXPECT_GT(figures.at("medianErrorMetres").get<double>(), 0.0);
    EXPECT_LT(figures.at("medianErrorMetres").get<double>(), 0.004);
    ASSERT_FALSE(figures.at("noise").empty());
    for (const auto& bin : figures.at("noise")) {
        EXPECT_NEAR(bin.at("ratio").get<double>(), 1.0, 0.2);
    }
}

TEST_F(RunCommand, MeasuredAndPredictedNoiseStandSideBySide) {
    simulate("--frames 2");
    const Outcome outcome = run("run r.zelta --enlarge 1 --out p");
    EXPECT_EQ(outcome.exitCode, 0);
    for (const char* text : {"measured", "predicted", "ratio"}) {
        EXPECT_NE(outcome.output.find(text), std::string::npos) << text;
    }
}

TEST_F(RunCommand, OneRecordingMeansOneResult) {
    simulate();
    const auto figures = [this](const char* folder) {
        nlohmann::json json = jsonOf(std::string("run r.zelta --enlarge 1 --out ") + folder);
        json.erase("seconds");
        json.erase("files");
        return json;
    };
    EXPECT_EQ(figures("a"), figures("b"));
    EXPECT_EQ(contentOf(path("a/00000_distance_mm.png")), contentOf(path("b/00000_distance_mm.png")));
    EXPECT_EQ(run("show a/result.zelta 3210 QorDistanceImageIFOutput.distance").output,
              run("show b/result.zelta 3210 QorDistanceImageIFOutput.distance").output);
}

TEST_F(RunCommand, TwoFrequenciesAndTwoExposuresGiveFrames) {
    simulate("--frequencies 60MHz,80MHz --exposures 200,1000 --frames 2 --no-noise");
    const nlohmann::json figures = jsonOf("run r.zelta --enlarge 1 --out p");
    EXPECT_EQ(figures.at("packets").at("read"), 33);
    EXPECT_EQ(figures.at("finishedFrames"), 2);
    EXPECT_GT(figures.at("validShare").get<double>(), 0.9);
    EXPECT_LT(figures.at("medianErrorMetres").get<double>(), 0.002);
}

TEST_F(RunCommand, PixelsBeyondTheUniqueRangeAreTold) {
    simulate();
    EXPECT_EQ(run("run r.zelta --enlarge 1 --out p").output.find("beyond unique range"), std::string::npos);
    ASSERT_EQ(run("simulate --scene hall --quiet --out h.zelta").exitCode, 0);
    EXPECT_NE(run("run h.zelta --enlarge 1 --out q").output.find("beyond unique range"), std::string::npos);
}

// With every pixel below the amplitude asked for nothing is valid: that is a finding.
TEST_F(RunCommand, ASetMemberReachesTheAlgorithm) {
    simulate("--no-fixed-pattern");
    const Outcome outcome =
        run("run r.zelta --enlarge 1 --out p --channels input --set "
            "QorDistanceImageIFInput.customization.minAmplitude=100000");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("no pixel of the finished frames is valid"), std::string::npos)
        << outcome.errors;
    EXPECT_EQ(run("show p/result.zelta 3208 QorDistanceImageIFInput.customization.minAmplitude").output,
              "100000\n");
}

TEST_F(RunCommand, TheRecordedAmplitudeLimitReachesTheAlgorithm) {
    simulate("--no-fixed-pattern --min-amplitude 100000");
    EXPECT_EQ(run("run r.zelta --enlarge 1 --out p").exitCode, 1);
}

TEST_F(RunCommand, CloudsHoldThePointsInMetres) {
    simulate("--no-noise");
    const nlohmann::json figures = jsonOf("run --cloud ply,pcd r.zelta --enlarge 1 --out p");
    EXPECT_EQ(figures.at("files").size(), 5 + pictureNames.size());
    const std::string ply = contentOf(path("p/00000_points.ply"));
    const std::size_t vertices = std::stoul(ply.substr(ply.find("element vertex ") + 15));
    EXPECT_EQ(vertices,
              static_cast<std::size_t>(std::lround(figures.at("validShare").get<double>() * 38528)));
    EXPECT_EQ(ply.size(), ply.find("end_header\n") + 11 + 16 * vertices);
    const std::string pcd = contentOf(path("p/00000_points.pcd"));
    EXPECT_EQ(pcd.size(), pcd.find("DATA binary\n") + 12 + std::size_t{16} * 38528);
}

TEST_F(RunCommand, WithoutCoordinatesACloudIsAFindingThatIsTold) {
    simulate();
    const Outcome outcome =
        run("run r.zelta --enlarge 1 --out p --cloud ply --set "
            "QorDistanceImageIFInput.customization.disableCalcCartesian=1");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("frame 0 carries no valid coordinates (coord3Dinvalid is not 0); no "
                                  "p/00000_points.ply was written."),
              std::string::npos)
        << outcome.errors;
    EXPECT_FALSE(std::filesystem::exists(path("p/00000_points.ply")));
}

TEST_F(RunCommand, SelectedFramesAreDrawnUnderTheirNumber) {
    simulate("--frames 4");
    const nlohmann::json figures = jsonOf("run r.zelta --enlarge 1 --out p --frames 1:4:2");
    EXPECT_EQ(figures.at("finishedFrames"), 2);
    for (const auto& [frame, drawn] : std::vector<std::pair<const char*, bool>>{
             {"00000", false}, {"00001", true}, {"00002", false}, {"00003", true}}) {
        EXPECT_EQ(std::filesystem::exists(path(std::string("p/") + frame + "_distance.png")), drawn) << frame;
    }
    const Outcome none = run("run r.zelta --out q --frames 9");
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_EQ(none.errors, "qor run: --frames 9 selects none of the 4 frames.\n");
    EXPECT_EQ(run("run r.zelta --out other --frames 4:").errors,
              "qor run: --frames 4: selects none of the 4 frames.\n");
}

TEST_F(RunCommand, ValidPixelsWithoutADistanceAreCountedAndInNoCloud) {
    simulate();
    const std::string arguments = "run r.zelta --out p --cloud ply" + fake;
    const nlohmann::json figures = jsonOf(arguments, "FAKE_PLUGIN_COORDINATES=1 FAKE_PLUGIN_DISTANCE=0");
    EXPECT_EQ(figures.at("validPixels"), 38528);
    EXPECT_EQ(figures.at("usablePixels"), 38527);
    EXPECT_EQ(figures.at("validUnusablePixels"), 1);
    const std::string ply = contentOf(path("p/00000_points.ply"));
    EXPECT_NE(ply.find("element vertex 38527\n"), std::string::npos);
    EXPECT_NE(run("run r.zelta --force --out p" + fake, "FAKE_PLUGIN_DISTANCE=0")
                  .output.find("valid, not usable              1 "),
              std::string::npos);
}

TEST_F(RunCommand, ResultsThatAreNoNumbersAreAFinding) {
    simulate();
    for (const char* value : {"inf", "nan"}) {
        const Outcome outcome =
            run("run r.zelta --json --force --out p" + fake, std::string("FAKE_PLUGIN_DISTANCE=") + value);
        EXPECT_EQ(outcome.exitCode, 1);
        const std::string sentence = "of the valid pixels 1 distance is infinite or NaN.";
        EXPECT_EQ(outcome.errors, "qor run: " + sentence + "\n");
        const nlohmann::json document = nlohmann::json::parse(outcome.output);
        EXPECT_EQ(document.at("findings"), nlohmann::json({sentence}));
        EXPECT_EQ(document.at("notFinite").at("distances"), 1);
    }
}

TEST_F(RunCommand, AMeasurementThatIsMissingIsNullAndADash) {
    simulate();
    const nlohmann::json one = jsonOf("run r.zelta --out p");
    EXPECT_EQ(one.at("temporalNoise").at("medianMeasuredMetres"), nullptr);
    EXPECT_EQ(one.at("temporalNoise").at("medianRatio"), nullptr);
    const recording::Record unlike(recording::structure("None", {recording::uint8("none")}));
    writePackets("none.zelta", {recording::packetOf({unlike.chunk(1)})});
    const Outcome none = run("run none.zelta --json --out q" + fake);
    EXPECT_EQ(none.exitCode, 1);
    const nlohmann::json document = nlohmann::json::parse(none.output);
    for (const char* figure : {"validShare", "medianErrorMetres", "meanErrorMetres", "noise", "scales"}) {
        EXPECT_EQ(document.at(figure), nullptr) << figure;
    }
    EXPECT_EQ(document.at("findings").size(), 1U);
    const std::string text = run("run none.zelta --force --out q" + fake).output;
    EXPECT_NE(text.find("valid pixels                   - %\n"), std::string::npos) << text;
    EXPECT_NE(text.find("Distances against the truth: -"), std::string::npos) << text;
    EXPECT_EQ(text.find("0.000 mm"), std::string::npos) << text;
}

// As of a camera whose scene was measured by other means: distances, and nothing about how they came about.
TEST_F(RunCommand, ATruthOfDistancesAloneGivesFigures) {
    simulate("--no-noise");
    recording::Record truth(recording::structure("SceneTruth", {recording::float32("distance", {172, 224})}));
    recording::RecordingReader reader(path("r.zelta"));
    recording::RecordingWriter writer(path("alone.zelta"));
    while (const recording::RecordedPacket* packet = reader.next()) {
        std::vector<zelta::ZeltaChunk> kept;
        for (const zelta::ZeltaChunk& chunk : packet->chunks) {
            if (chunk.channelID == recording::channel::sceneTruth) {
                truth.set<float>("SceneTruth.distance",
                                 recording::imageOf(chunk, "SceneTruth.distance", 38528));
                kept.push_back(truth.chunk(recording::channel::sceneTruth));
            } else if (chunk.channelID < recording::channel::sceneTruth) {
                kept.push_back(chunk);
            }
        }
        writer.write(recording::packetOf(kept));
    }
    writer.finish();
    const nlohmann::json figures = jsonOf("run alone.zelta --enlarge 1 --out p");
    EXPECT_FALSE(figures.contains("simulation"));
    EXPECT_EQ(figures.at("judgedPixels"), figures.at("usablePixels"));
    EXPECT_LT(figures.at("medianErrorMetres").get<double>(), 0.0006);
    EXPECT_GT(figures.at("medianErrorMetres").get<double>(), 0.0);
    EXPECT_EQ(figures.at("noise"), nlohmann::json::array());
    EXPECT_TRUE(std::filesystem::exists(path("p/00000_error.png")));
    const std::string text = run("run alone.zelta --enlarge 1 --force --out p").output;
    EXPECT_NE(text.find("Distances against the truth\n"), std::string::npos) << text;
    EXPECT_NE(text.find("usable pixels with a truth\n"), std::string::npos) << text;
}

TEST_F(RunCommand, ErrorsOfTheCommandLineAreADocumentToo) {
    for (const auto& [arguments, command] :
         std::vector<std::pair<const char*, const char*>>{{"run --json", "run"},
                                                          {"run r.zelta --json --frames x", "run"},
                                                          {"simulate --scene moon --json", "simulate"},
                                                          {"info --json", "info"},
                                                          {"nonsense --json", "qor"}}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 2) << arguments;
        const nlohmann::json document = nlohmann::json::parse(outcome.output);
        EXPECT_EQ(document.at("command"), command);
        EXPECT_FALSE(document.at("error").get<std::string>().empty());
    }
    EXPECT_EQ(run("run").output, "");
}

TEST_F(RunCommand, UsageErrorsExitWithTwoAndWriteNothing) {
    simulate();
    for (const char* arguments : {"run",
                                  "run r.zelta surplus",
                                  "run r.zelta --frames 2:1",
                                  "run r.zelta --frames x",
                                  "run r.zelta --cloud obj",
                                  "run r.zelta --channels images",
                                  "run r.zelta --channels -1",
                                  "run r.zelta --channels 3210x",
                                  "run r.zelta --pil",
                                  "run r.zelta --enlarge 0",
                                  "run r.zelta --enlarge 33",
                                  "run r.zelta --distance-range 3:1",
                                  "run r.zelta --distance-range 1",
                                  "run r.zelta --distance-range nan:1",
                                  "run r.zelta --error-range 0",
                                  "run r.zelta --error-range nan",
                                  "run r.zelta --set minAmplitude",
                                  "run r.zelta --set minAmplitude=3",
                                  "run r.zelta --set None.a=3",
                                  "run r.zelta --set QorDistanceImageIFInput.none=3",
                                  "run r.zelta --set QorDistanceImageIFInput.phaseInfo=3",
                                  "run r.zelta --set QorDistanceImageIFInput.phaseInfo.freqIdx=1.5"}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 2) << arguments;
        EXPECT_FALSE(outcome.errors.empty()) << arguments;
        EXPECT_FALSE(std::filesystem::exists(path("out"))) << arguments;
    }
    EXPECT_NE(run("run r.zelta --set None.a=3")
                  .errors.find("no packet of r.zelta holds a record None, which None.a=3 names."),
              std::string::npos);
}

TEST_F(RunCommand, ASetMemberIsAddressedByAnExpressionAndNothingElse) {
    simulate();
    const std::string input = "QorDistanceImageIFInput.customization.autoExpSet.roiSettings.rois.ROIs";
    for (const char* rest : {"[0:3].type", "[0,1].type", "[1.type", "[1e0].type", "[1]].type"}) {
        const Outcome outcome = run("run r.zelta --set '" + input + rest + "=1'");
        EXPECT_EQ(outcome.exitCode, 2) << rest;
        EXPECT_NE(outcome.errors.find("--set: \"" + input + rest + "\" is no expression"), std::string::npos)
            << outcome.errors;
        EXPECT_FALSE(std::filesystem::exists(path("out"))) << rest;
    }
}

TEST_F(RunCommand, TheRecordingIsNeverOverwritten) {
    simulate("", "result.zelta");
    const std::string before = contentOf(path("result.zelta"));
    const Outcome outcome = run("run result.zelta --out .");
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(contentOf(path("result.zelta")), before);
}

TEST_F(RunCommand, ARecordingWithTheNameOfAnUnfinishedResultIsLeftAlone) {
    std::filesystem::create_directories(path("p"));
    simulate();
    std::filesystem::rename(path("r.zelta"), path("p/result.zelta.part"));
    const std::string before = contentOf(path("p/result.zelta.part"));
    EXPECT_EQ(run("run p/result.zelta.part --enlarge 1 --out p").exitCode, 0);
    EXPECT_EQ(contentOf(path("p/result.zelta.part")), before);
    EXPECT_TRUE(std::filesystem::exists(path("p/result.zelta")));
}

TEST_F(RunCommand, AMissingRecordingAndAMissingPluginExitWithThree) {
    const Outcome recording = run("run none.zelta --out p");
    EXPECT_EQ(recording.exitCode, 3);
    EXPECT_NE(recording.errors.find("Cannot read none.zelta: No such file or directory."), std::string::npos)
        << recording.errors;
    simulate();
    const Outcome plugin = run("run r.zelta --out p --plugin none.so");
    EXPECT_EQ(plugin.exitCode, 3);
    EXPECT_NE(plugin.errors.find("Cannot open the plug-in none.so"), std::string::npos) << plugin.errors;
    EXPECT_FALSE(std::filesystem::exists(path("p")));
}

TEST_F(RunCommand, AnErrorThatEndsTheCommandIsADocument) {
    simulate();
    std::ofstream(path("file")) << "x";
    std::filesystem::create_directories(path("p/00000_distance.png"));
    for (const auto& [arguments, exitCode] :
         std::vector<std::pair<const char*, int>>{{"none.zelta --out q", 3},
                                                  {". --out q", 3},
                                                  {"r.zelta --out q --plugin none.so", 3},
                                                  {"r.zelta --out file/q", 3},
                                                  {"r.zelta --out p", 2},
                                                  {"r.zelta --out q --set None.a=3", 2},
                                                  {"r.zelta --out q --set 'None.a[0:3]=3'", 2}}) {
        const Outcome outcome = run(std::string("run --json --quiet ") + arguments);
        EXPECT_EQ(outcome.exitCode, exitCode) << arguments;
        const nlohmann::json document = nlohmann::json::parse(outcome.output);
        EXPECT_EQ(document.at("command"), "run");
        EXPECT_EQ(document.at("version"), QOR_VERSION);
        EXPECT_EQ("qor run: " + document.at("error").get<std::string>() + "\n", outcome.errors) << arguments;
    }
}

TEST_F(RunCommand, AnEmptyRecordingExitsWithThree) {
    std::ofstream(path("r.zelta")) << "";
    const Outcome outcome = run("run r.zelta --out p" + fake);
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("the recording holds no packets."), std::string::npos) << outcome.errors;
}

TEST_F(RunCommand, ADamagedRecordingIsUsedUpToTheDamageAndExitsWithThree) {
    simulate("--frames 2");
    std::filesystem::resize_file(path("r.zelta"), std::filesystem::file_size(path("r.zelta")) - 1);
    const Outcome outcome = run("run r.zelta --enlarge 1 --out p");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("r.zelta is damaged at byte"), std::string::npos) << outcome.errors;
    EXPECT_TRUE(std::filesystem::exists(path("p/00000_distance.png")));
    EXPECT_EQ(run("info p/result.zelta").exitCode, 0);
}

TEST_F(RunCommand, AFailureOfThePluginExitsWithThreeInItsWords) {
    simulate("--frames 2");
    const Outcome outcome = run("run r.zelta --enlarge 1 --out p" + fake, "FAKE_PLUGIN_FAIL=,2,");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("told to fail at packet 2"), std::string::npos) << outcome.errors;
    EXPECT_NE(outcome.errors.find("1 of 9 packets failed."), std::string::npos) << outcome.errors;
    EXPECT_NE(outcome.output.find("packets failed                 1\n"), std::string::npos) << outcome.output;
}

TEST_F(RunCommand, APluginWithoutResultsIsAFinding) {
    simulate();
    const Outcome outcome = run("run r.zelta --out p" + fake, "FAKE_PLUGIN_SILENT=1");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("the plug-in gave no result; nothing was written."), std::string::npos)
        << outcome.errors;
    EXPECT_FALSE(std::filesystem::exists(path("p/result.zelta")));
}

// The camera's noise gets smaller; with a value for the filter alone, the others are those of the recording.
TEST_F(RunCommand, EachFilterIsSwitchedOnByOneMember) {
    simulate("--frames 8");
    const auto noise = [this](const std::string& setting) {
        const std::string filter = "QorDistanceImageIFInput.customization.filterSet." + setting;
        return jsonOf("run r.zelta --force --out p --set " + filter)
            .at("temporalNoise")
            .at("medianMeasuredMetres")
            .get<double>();
    };
    const double unfiltered = noise("spatialFilter=0");
    for (const char* filter :
         {"spatialFilter=1", "spatialFilter=2", "spatialFilter=3", "temporalFilter=1", "temporalFilter=2"}) {
        EXPECT_LT(noise(filter), 0.8 * unfiltered) << filter;
    }
}

// Only 0 and 1 are mask sizes. The frame is finished all the same, without the filter.
TEST_F(RunCommand, AStageThatFailsWithinAFrameIsTold) {
    simulate("--frames 2");
    const std::string settings = "QorDistanceImageIFInput.customization.filterSet.";
    const Outcome outcome =
        run("run r.zelta --out p --set " + settings + "applyDistanceFilter=1 --set " + settings +
            "spatialFilter=1 --set " + settings + "spatMedianSettings.maskSize=5");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("packet 4 "), std::string::npos) << outcome.errors;
    EXPECT_NE(outcome.errors.find("packet 8 "), std::string::npos) << outcome.errors;
    EXPECT_NE(outcome.errors.find("Unsupported mask size"), std::string::npos) << outcome.errors;
    EXPECT_NE(outcome.output.find("finished frames                2"), std::string::npos);
}

TEST_F(RunCommand, AnIncompleteFrameIsHeldBackAndToldAndTheNextOneIsWhole) {
    ASSERT_EQ(run("simulate --frequencies 60MHz,80MHz --frames 3 --quiet --out r.zelta").exitCode, 0);
    recording::RecordingReader reader(path("r.zelta"));
    recording::RecordingWriter writer(path("lossy.zelta"));
    while (const recording::RecordedPacket* const packet = reader.next()) {
        if (packet->index != 10) {  // the second image of the second frame
            writer.write(packet->bytes);
        }
    }
    writer.finish();
    const Outcome outcome = run("run lossy.zelta --out p");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(
        outcome.errors.find("Frame 1 is incomplete: image 1 is missing; the rest of the frame is held back."),
        std::string::npos)
        << outcome.errors;
    EXPECT_NE(outcome.output.find("packets held back              6"), std::string::npos) << outcome.output;
    EXPECT_NE(outcome.output.find("finished frames                2"), std::string::npos) << outcome.output;
}

TEST_F(RunCommand, WholeFramesThatAreMissingAreCounted) {
    simulate("--frames 3");
    recording::RecordingReader reader(path("r.zelta"));
    recording::RecordingWriter writer(path("lossy.zelta"));
    while (const recording::RecordedPacket* const packet = reader.next()) {
        if (packet->index < 5 || packet->index > 8) {
            writer.write(packet->bytes);
        }
    }
    writer.finish();
    const Outcome outcome = run("run lossy.zelta --json --out p");
    EXPECT_EQ(outcome.exitCode, 0);
    const nlohmann::json document = nlohmann::json::parse(outcome.output);
    EXPECT_EQ(document.at("missingImages").get<int>(), 4);
    EXPECT_EQ(document.at("finishedFrames").get<int>(), 2);
    EXPECT_EQ(document.at("packets").at("held").get<int>(), 0);
}

TEST_F(RunCommand, WhatThePluginPrintsStaysOutOfTheDocument) {
    simulate("--frames 2");
    const Outcome outcome =
        run("run r.zelta --json --out p --set QorDistanceImageIFInput.param.numExposures=3");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_GT(nlohmann::json::parse(outcome.output).at("packets").at("failed").get<int>(), 0);
    EXPECT_NE(outcome.errors.find("Unexpected Error!"), std::string::npos);
}

TEST_F(RunCommand, WithTwoFrequenciesNoNoiseIsPredicted) {
    ASSERT_EQ(run("simulate --frequencies 60MHz,80MHz --quiet --out r.zelta").exitCode, 0);
    EXPECT_TRUE(jsonOf("run r.zelta --out p").at("noise").empty());
}

TEST_F(RunCommand, AnOutputThatCannotBeWrittenExitsWithThree) {
    simulate();
    for (const char* arguments : {"run r.zelta --out p >/dev/full", "info r.zelta --json >/dev/full",
                                  "--version >/dev/full", "info r.zelta >&-"}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 3) << arguments;
        EXPECT_NE(outcome.errors.find("standard output cannot be written"), std::string::npos) << arguments;
    }
}

TEST_F(RunCommand, ErrorsThatNobodyCanReadEndNothing) {
    simulate("--frames 2");
    const std::string failing =
        "run r.zelta --json --force --out p --set QorDistanceImageIFInput.param.numExposures=3 2>";
    for (const char* nowhere : {"/dev/full", "&-"}) {
        const Outcome outcome = run(failing + nowhere);
        EXPECT_EQ(outcome.exitCode, 3) << nowhere;
        EXPECT_EQ(nlohmann::json::parse(outcome.output).at("packets").at("read").get<int>(), 9) << nowhere;
    }
}

TEST_F(RunCommand, ImagesWithoutACalibrationAreAFinding) {
    simulate("--frames 2");
    const auto packets = packetsIn("r.zelta");
    writePackets("late.zelta", {packets[1], packets[2], packets[3], packets[4], packets[0], packets[5],
                                packets[6], packets[7], packets[8]});
    writePackets("none.zelta", {packets.begin() + 1, packets.end()});
    const Outcome none = run("run none.zelta --enlarge 1 --out p");
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_EQ(none.errors,
              "qor run: no calibration (channel 3212) came before the first 8 images.\n"
              "qor run: the plug-in gave no result; nothing was written.\n");
    const Outcome late = run("run late.zelta --enlarge 1 --out q");
    EXPECT_EQ(late.exitCode, 1);
    EXPECT_EQ(late.errors, "qor run: no calibration (channel 3212) came before the first 4 images.\n");
}

TEST_F(RunCommand, AnotherCalibrationIsToldOnceAndTheSameOneNot) {
    simulate("--frames 2");
    simulate("--seed 2", "other.zelta");
    const auto packets = packetsIn("r.zelta");
    const auto other = packetsIn("other.zelta")[0];
    writePackets("same.zelta", {packets[0], packets[0], packets[1], packets[2], packets[3], packets[4]});
    writePackets("two.zelta", {packets[0], other, packets[1], packets[2], packets[3], packets[4], other});
    EXPECT_EQ(run("run same.zelta --enlarge 1 --out p").errors, "");
    const Outcome two = run("run two.zelta --enlarge 1 --out q");
    EXPECT_EQ(two.exitCode, 1);
    EXPECT_EQ(two.errors, "qor run: packet 1 (byte " + std::to_string(packets[0].size()) +
                              "): another calibration; the plug-in keeps the first.\n");
}

// The figures of each scene are those of its own recording, and none are averaged.
TEST_F(RunCommand, ConcatenatedScenesAreJudgedOneByOne) {
    simulate("--frames 3 --no-noise");
    ASSERT_EQ(run("simulate --scene ramp --frames 2 --quiet --out s.zelta").exitCode, 0);
    ASSERT_EQ(run("concat r.zelta s.zelta --out both.zelta").exitCode, 0);
    const nlohmann::json wall = jsonOf("run r.zelta --enlarge 1 --out r");
    const nlohmann::json ramp = jsonOf("run s.zelta --enlarge 1 --out s");
    const nlohmann::json both = jsonOf("run both.zelta --enlarge 1 --out b");
    ASSERT_EQ(both.at("scenes").size(), 2U);
    const nlohmann::json& first = both.at("scenes")[0];
    const nlohmann::json& second = both.at("scenes")[1];
    EXPECT_EQ(first.at("firstFrame"), 0);
    EXPECT_EQ(first.at("lastFrame"), 2);
    EXPECT_EQ(second.at("firstFrame"), 3);
    EXPECT_EQ(second.at("lastFrame"), 4);
    EXPECT_EQ(second.at("simulation").at("scene"), "ramp");
    for (const char* figure : {"finishedFrames", "validPixels", "judgedPixels", "medianErrorMetres",
                               "percentile99ErrorMetres", "meanErrorMetres", "temporalNoise", "scales"}) {
        EXPECT_EQ(first.at(figure), wall.at(figure)) << figure;
        EXPECT_EQ(second.at(figure), ramp.at(figure)) << figure;
    }
    for (const char* figure : {"judgedPixels", "medianErrorMetres", "noise", "temporalNoise", "scales"}) {
        EXPECT_EQ(both.at(figure), nullptr) << figure;
    }
    EXPECT_EQ(both.at("finishedFrames"), 5);
    EXPECT_FALSE(both.contains("simulation"));
    for (const char* name : {"b/00000_distance.png", "b/00003_distance.png"}) {
        EXPECT_TRUE(std::filesystem::exists(path(name))) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(path("b/00001_distance.png")));
}

TEST_F(RunCommand, ConcatenatedScenesStandOneAfterTheOtherInTheReport) {
    simulate("--frames 1");
    ASSERT_EQ(run("simulate --scene ramp --frames 2 --quiet --out s.zelta").exitCode, 0);
    ASSERT_EQ(run("concat r.zelta s.zelta --out both.zelta").exitCode, 0);
    const std::string report = run("run both.zelta --enlarge 1 --out b").output;
    const std::size_t first = report.find("\nScene 1: 1 frame, numbers 0 to 0\n");
    const std::size_t second = report.find("\nScene 2: 2 frames, numbers 1 to 2\n");
    ASSERT_NE(first, std::string::npos) << report;
    ASSERT_NE(second, std::string::npos) << report;
    EXPECT_LT(report.find("scene wall"), second);
    EXPECT_GT(report.find("scene ramp"), second);
    EXPECT_EQ(run("run r.zelta --enlarge 1 --out r").output.find("Scene 1"), std::string::npos);
}

// A truth describes the scene of its own recording, so it ends where another begins.
TEST_F(RunCommand, ASceneWithoutATruthIsNotJudgedByTheTruthBeforeIt) {
    simulate("--frames 1");
    Packets packets = packetsIn("r.zelta");
    recording::RecordingReader reader(path("r.zelta"));
    while (const recording::RecordedPacket* packet = reader.next()) {
        zelta::Packet kept = packet->chunks;
        std::erase_if(kept,
                      [](const auto& chunk) { return chunk.channelID == recording::channel::sceneTruth; });
        packets.push_back(recording::packetOf(kept));
    }
    writePackets("two.zelta", packets);
    const nlohmann::json scenes = jsonOf("run two.zelta --enlarge 1 --out p").at("scenes");
    ASSERT_EQ(scenes.size(), 2U);
    EXPECT_GT(scenes[0].at("judgedPixels"), 0);
    EXPECT_EQ(scenes[1].at("judgedPixels"), nullptr);
}

TEST_F(RunCommand, ASceneWithoutAUsablePixelIsToldByItsNumber) {
    simulate("--frames 1");
    simulate("--frames 1 --min-amplitude 100000", "dark.zelta");
    ASSERT_EQ(run("concat r.zelta dark.zelta --out both.zelta").exitCode, 0);
    const Outcome outcome = run("run both.zelta --enlarge 1 --out b");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors, "qor run: no pixel of scene 2 is valid.\n");
}

TEST_F(RunCommand, ManyFailuresAreNotAllPrinted) {
    simulate("--frames 10");
    const Outcome outcome = run("run r.zelta --out p" + fake, "FAKE_PLUGIN_BAD_RESULT=1");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("21 more of this kind."), std::string::npos) << outcome.errors;
    EXPECT_NE(outcome.errors.find("41 of 41 packets failed."), std::string::npos) << outcome.errors;
}

TEST_F(RunCommand, QuietSaysNothingWhenAllIsWell) {
    simulate();
    const Outcome outcome = run("run r.zelta --enlarge 1 --out p --quiet");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output + outcome.errors, "");
}

// Large pictures of every frame take far longer than the signal. It comes once: a second one ends at once.
TEST_F(RunCommand, AnInterruptionLeavesAWholeResult) {
    simulate("--frames 40");
    const Outcome outcome =
        run("run r.zelta --enlarge 16 --out p --frames ::1", "timeout --foreground -s INT 2");
    EXPECT_EQ(outcome.exitCode, 124) << "the code by which timeout tells that it sent its signal";
    EXPECT_NE(outcome.errors.find("interrupted after"), std::string::npos) << outcome.errors;
    const Outcome info = run("info p/result.zelta");
    EXPECT_EQ(info.exitCode, 0) << info.errors;
}

TEST_F(RunCommand, AFolderThatCannotBeMadeExitsWithThreeAndIsNamed) {
    simulate();
    std::ofstream(path("file")) << "x";
    const Outcome outcome = run("run r.zelta --out file/p");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("Cannot make file/p"), std::string::npos) << outcome.errors;
}

}  // namespace
