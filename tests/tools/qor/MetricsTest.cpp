// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "tools/qor/Command.h"

namespace {

using MetricsCommand = Command;

TEST_F(MetricsCommand, MeasuresARecordingAndItsResultAlike) {
    simulate("--frames 2 --intensity-image");
    ASSERT_EQ(run("run r.zelta --quiet --out run").exitCode, 0);
    const auto recording = jsonOf("metrics r.zelta");
    const auto result = jsonOf("metrics run/result.zelta --truth r.zelta");
    EXPECT_EQ(recording["kind"], "recording");
    EXPECT_EQ(result["kind"], "result");
    for (const auto& [name, value] : result["figures"].items()) {
        if (name.find("_ms") == std::string::npos && name != "frames_lost" && name != "images_missing") {
            EXPECT_EQ(recording["figures"][name], value) << name;
        }
    }
    EXPECT_EQ(recording["noiseByAmplitude"], result["noiseByAmplitude"]);
    EXPECT_FALSE(recording["noiseByAmplitude"].empty());
}

TEST_F(MetricsCommand, AgreesWithTheReportOfARun) {
    simulate("--frames 2");
    const auto report = jsonOf("run r.zelta --out run");
    const auto figures = jsonOf("metrics r.zelta")["figures"];
    EXPECT_EQ(figures["judged_pixels"], report["judgedPixels"]);
    EXPECT_EQ(figures["median_error_mm"], 1000.0 * report["medianErrorMetres"].get<double>());
    EXPECT_EQ(figures["off_edges_p99_error_mm"], 1000.0 * report["percentile99ErrorMetres"].get<double>());
    EXPECT_EQ(figures["off_edges_bias_mm"], 1000.0 * report["meanErrorMetres"].get<double>());
    EXPECT_EQ(figures["temporal_noise_mm"],
              1000.0 * report["temporalNoise"]["medianMeasuredMetres"].get<double>());
    EXPECT_EQ(figures["valid_share"], report["validShare"]);
}

TEST_F(MetricsCommand, TellsTheTimesOfARecordingAndOfNoOther) {
    simulate("--frames 2");
    ASSERT_EQ(run("run r.zelta --quiet --out run").exitCode, 0);
    const auto recording = jsonOf("metrics r.zelta");
    EXPECT_GT(recording["figures"]["packet_p99_ms"], 0.0);
    EXPECT_GE(recording["figures"]["frame_p50_ms"], recording["figures"]["packet_p50_ms"]);
    EXPECT_EQ(recording["stages"]["total"]["calls"], 8);
    EXPECT_EQ(recording["stages"]["camToWorld"]["calls"], 2);
    EXPECT_EQ(recording["figures"]["frames_lost"], 0);
    const auto result = jsonOf("metrics run/result.zelta");
    EXPECT_TRUE(result["figures"]["frame_p50_ms"].is_null());
    EXPECT_TRUE(result["figures"]["frames_lost"].is_null());
}

// The wall of the simulation stands 1.2 m away, across the axis; the camera may be turned in the world.
TEST_F(MetricsCommand, ADistanceIsThatOfAFlatTargetAlongTheOpticalAxis) {
    simulate("--no-noise");
    const std::string turned =
        " --set QorDistanceImageIFInput.customization.extrinsicCalibrationCamera.rotX=0.4"
        " --set QorDistanceImageIFInput.customization.extrinsicCalibrationCamera.rotY=-0.3"
        " --set QorDistanceImageIFInput.customization.extrinsicCalibrationCamera.rotZ=0.2";
    const auto truth = jsonOf("metrics r.zelta")["figures"];
    for (const std::string& pose : {std::string(), turned}) {
        const auto figures = jsonOf("metrics r.zelta --distance 1.2" + pose)["figures"];
        EXPECT_NEAR(figures["bias_mm"].get<double>(), truth["bias_mm"].get<double>(), 0.05);
        EXPECT_NEAR(figures["plane_bias_mm"].get<double>(), truth["plane_bias_mm"].get<double>(), 0.05);
        const auto nearer = jsonOf("metrics r.zelta --distance 1.19" + pose)["figures"];
        EXPECT_GT(nearer["bias_mm"].get<double>() - figures["bias_mm"].get<double>(), 10.0);
        EXPECT_LT(nearer["bias_mm"].get<double>() - figures["bias_mm"].get<double>(), 14.0);
    }
}

TEST_F(MetricsCommand, EveryFigureIsExplained) {
    simulate();
    const std::string page = contentOf(QOR_CHECKOUT "/docs/figures.md");
    const nlohmann::json figures = jsonOf("metrics r.zelta").at("figures");
    for (const auto& [name, value] : figures.items()) {
        EXPECT_NE(page.find("`" + name + "`"), std::string::npos) << name;
    }
}

TEST_F(MetricsCommand, RegionsHaveFiguresOfTheirOwn) {
    simulate();
    const auto document =
        jsonOf("metrics r.zelta --region a=rect:0,0,10,10 --region b=polygon:0,0,9,0,9,9,0,9");
    EXPECT_EQ(document["regions"]["a"]["figures"]["pixels"], 100);
    EXPECT_EQ(document["regions"]["b"]["figures"]["pixels"], 81);
    EXPECT_EQ(document["figures"]["pixels"], 38528);
}

TEST_F(MetricsCommand, FailsIfAConditionHoldsOrWasNotMeasured) {
    simulate();
    EXPECT_EQ(run("metrics r.zelta --quiet --fail-if 'rms_mm > 1000' --fail-if 'valid_share < 0.5'").exitCode,
              0);
    const Outcome held = run("metrics r.zelta --quiet --fail-if 'rms_mm > 0.001'");
    EXPECT_EQ(held.exitCode, 1);
    EXPECT_NE(held.errors.find("--fail-if rms_mm > 0.001: it is "), std::string::npos) << held.errors;
    const Outcome missing = run("metrics r.zelta --quiet --fail-if 'temporal_noise_mm > 1000'");
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_NE(missing.errors.find("it was not measured"), std::string::npos) << missing.errors;
    EXPECT_EQ(run("metrics r.zelta --quiet --region w=rect:90,70,9,9 --fail-if 'w.rms_mm > 0.001'").exitCode,
              1);
}

TEST_F(MetricsCommand, RefusesWhatItCannotMeasureBeforeItRuns) {
    simulate();
    ASSERT_EQ(run("run r.zelta --quiet --out run").exitCode, 0);
    for (const char* arguments :
         {"r.zelta --fail-if 'rms > 5'", "r.zelta --fail-if 'wall.rms_mm > 5'", "r.zelta --region wall",
          "r.zelta --region a=rect:0,0,5,5 --region a=rect:0,0,5,5", "r.zelta --truth r.zelta",
          "run/result.zelta --set QorDistanceImageIFInput.customization.minAmplitude=5",
          "r.zelta --distance 0", "r.zelta --per-frame table.txt", "r.zelta --set Nothing.here=5"}) {
        const Outcome outcome = run(std::string("metrics ") + arguments);
        EXPECT_EQ(outcome.exitCode, 2) << arguments << outcome.errors;
        EXPECT_EQ(outcome.output, "") << arguments;
    }
    EXPECT_EQ(run("metrics nothing.zelta").exitCode, 3);
}

TEST_F(MetricsCommand, ATruthOfAnotherTimeIsFound) {
    simulate("--frames 3");
    ASSERT_EQ(run("run r.zelta --quiet --out run --frames 1:").exitCode, 0);
    ASSERT_EQ(run("extract r.zelta --frames 0 --quiet --out first.zelta").exitCode, 0);
    EXPECT_FALSE(jsonOf("metrics run/result.zelta --truth r.zelta")["figures"]["rms_mm"].is_null());
    const Outcome other = run("metrics run/result.zelta --truth first.zelta --quiet");
    EXPECT_EQ(other.exitCode, 1);
    EXPECT_NE(other.errors.find("has no image of its time"), std::string::npos) << other.errors;
}

TEST_F(MetricsCommand, FramesAloneGoIntoATable) {
    simulate("--frames 3");
    ASSERT_EQ(run("metrics r.zelta --quiet --frames 1: --region a=rect:0,0,10,10 --per-frame t.csv").exitCode,
              0);
    std::istringstream table(contentOf(path("t.csv")));
    std::string line;
    std::vector<std::string> lines;
    while (std::getline(table, line)) {
        lines.push_back(line);
    }
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_TRUE(lines[0].starts_with("frame,timestamp_us,region,frames,pixels,valid_share,")) << lines[0];
    EXPECT_TRUE(lines[1].starts_with("1,") && lines[2].find(",a,1,100,") != std::string::npos) << lines[2];
    const auto commas = std::count(lines[0].begin(), lines[0].end(), ',');
    for (const std::string& each : lines) {
        EXPECT_EQ(std::count(each.begin(), each.end(), ','), commas) << each;
    }
    // The noise of one frame was not measured: its cell is empty.
    EXPECT_TRUE(lines[1].ends_with(",,,,")) << lines[1];

    const Outcome streamed = run("metrics r.zelta --quiet --per-frame -");
    ASSERT_EQ(streamed.exitCode, 0) << streamed.errors;
    std::istringstream objects(streamed.output);
    std::size_t frames = 0;
    while (std::getline(objects, line)) {
        EXPECT_EQ(nlohmann::json::parse(line)["frame"], frames++);
    }
    EXPECT_EQ(frames, 3U);
}

TEST_F(MetricsCommand, FramesOfSeveralScenesAreAFinding) {
    simulate();
    simulate("--seed 2", "s.zelta");
    ASSERT_NE(run("concat r.zelta s.zelta --quiet --out two.zelta").exitCode, 2);
    const Outcome both = run("metrics two.zelta --quiet");
    EXPECT_EQ(both.exitCode, 1);
    EXPECT_NE(both.errors.find("of 2 scenes"), std::string::npos) << both.errors;
    EXPECT_EQ(run("metrics two.zelta --quiet --frames 0").exitCode, 0);
}

}  // namespace
