// SPDX-License-Identifier: Apache-2.0

#include <string>

#include "tools/qor/Command.h"

namespace {

using DiffCommand = Command;

TEST_F(DiffCommand, ARecordingEqualsItself) {
    simulate();
    EXPECT_EQ(run("diff r.zelta r.zelta --quiet").exitCode, 0);
    const auto document = jsonOf("diff r.zelta r.zelta");
    EXPECT_EQ(document["equal"], true);
    EXPECT_EQ(document["channels"]["3200"]["pairs"], 4);
    EXPECT_EQ(document["channels"]["3200"]["equalPairs"], 4);
    EXPECT_EQ(document["channels"]["3200"]["members"]["QorRawPhaseData.phaseData"]["elements"], 4 * 58128);
}

TEST_F(DiffCommand, TwoRunsDifferInTheirClocksAlone) {
    simulate();
    const std::string all = "run r.zelta --quiet --channels debug,profiling,result --out ";
    ASSERT_EQ(run(all + "a").exitCode, 0);
    ASSERT_EQ(run(all + "b").exitCode, 0);
    const Outcome equal = run("diff a/result.zelta b/result.zelta");
    EXPECT_EQ(equal.exitCode, 0) << equal.output;
    EXPECT_NE(equal.output.find("Left out: QorDistanceImageDebug.monotonicTimestamp"), std::string::npos)
        << equal.output;
    EXPECT_EQ(run("diff a/result.zelta b/result.zelta --quiet --clocks").exitCode, 1);
}

TEST_F(DiffCommand, ASettingThatChangesDistancesIsADifferenceOfTheResult) {
    simulate();
    ASSERT_EQ(run("run r.zelta --quiet --out a").exitCode, 0);
    ASSERT_EQ(run("run r.zelta --quiet --out b --set "
                  "QorDistanceImageIFInput.customization.filterSet.spatialFilter=median")
                  .exitCode,
              0);
    const Outcome told = run("diff a/result.zelta b/result.zelta --json --pictures differences");
    EXPECT_EQ(told.exitCode, 1);
    const auto document = nlohmann::json::parse(told.output);
    const auto& members = document["channels"]["3210"]["members"];
    EXPECT_EQ(members["QorDistanceImageIFOutput.width"]["equal"], true);
    const auto& distance = members["QorDistanceImageIFOutput.distance"];
    EXPECT_GT(distance["different"], 1000);
    EXPECT_GT(distance["largestDifference"], 0.0);
    EXPECT_GT(distance["unitsInTheLastPlace"], 1);
    EXPECT_TRUE(
        distance["first"]["element"].get<std::string>().starts_with("QorDistanceImageIFOutput.distance["));
    EXPECT_FALSE(document["files"].empty());
    EXPECT_TRUE(std::filesystem::exists(path("differences/3210_QorDistanceImageIFOutput.distance.png")));

    EXPECT_EQ(
        run("diff a/result.zelta b/result.zelta --quiet --tolerance QorDistanceImageIFOutput=1000").exitCode,
        0);
    EXPECT_EQ(run("diff a/result.zelta b/result.zelta --quiet --leave-out QorDistanceImageIFOutput.distance "
                  "--leave-out QorDistanceImageIFOutput.X --leave-out QorDistanceImageIFOutput.Y "
                  "--leave-out QorDistanceImageIFOutput.Z --leave-out QorDistanceImageIFOutput.confidence")
                  .exitCode,
              0);
}

TEST_F(DiffCommand, ResultsOfSelectedFramesAreMatchedByFrame) {
    simulate("--frames 3");
    ASSERT_EQ(run("run r.zelta --quiet --out all").exitCode, 0);
    ASSERT_EQ(run("run r.zelta --quiet --frames 1:2 --out one").exitCode, 0);
    EXPECT_EQ(run("diff all/result.zelta one/result.zelta --quiet").exitCode, 1);
    const Outcome told = run("diff all/result.zelta one/result.zelta --by-frame --json");
    EXPECT_EQ(told.exitCode, 1) << "two frames are in one of them alone";
    const auto channel = nlohmann::json::parse(told.output)["channels"]["3210"];
    EXPECT_EQ(channel["pairs"], 1);
    EXPECT_EQ(channel["equalPairs"], 1);
    EXPECT_EQ(channel["onlyInA"], 2);
    EXPECT_EQ(channel["onlyInB"], 0);
}

TEST_F(DiffCommand, RecordsThatOneLacksAreADifferenceUnlessTheirChannelIsNotAskedFor) {
    simulate();
    ASSERT_EQ(run("extract r.zelta --channels 3200,3208 --quiet --out part.zelta").exitCode, 0);
    EXPECT_EQ(run("diff r.zelta part.zelta --quiet").exitCode, 1);
    EXPECT_EQ(run("diff part.zelta r.zelta --quiet").exitCode, 1);
    EXPECT_EQ(run("diff r.zelta part.zelta --channels 3200,3208 --quiet").exitCode, 0);
    EXPECT_EQ(run("diff r.zelta part.zelta --channels 77 --quiet").exitCode, 1) << "nothing was compared";
}

TEST_F(DiffCommand, RefusesWhatItCannotCompare) {
    simulate();
    for (const char* arguments : {"r.zelta", "- -", "r.zelta r.zelta --tolerance Nothing",
                                  "r.zelta r.zelta --tolerance Nothing.here=1"}) {
        EXPECT_EQ(run(std::string("diff ") + arguments).exitCode, 2) << arguments;
    }
    EXPECT_EQ(run("diff r.zelta nothing.zelta").exitCode, 3);
    ASSERT_EQ(run("extract r.zelta --quiet --out cut.zelta").exitCode, 0);
    std::filesystem::resize_file(path("cut.zelta"), std::filesystem::file_size(path("cut.zelta")) - 5);
    const Outcome damaged = run("diff r.zelta cut.zelta --quiet");
    EXPECT_EQ(damaged.exitCode, 3);
    EXPECT_NE(damaged.errors.find("cut.zelta"), std::string::npos) << damaged.errors;
}

TEST_F(DiffCommand, OneOfTheTwoMayBeStandardInput) {
    simulate();
    EXPECT_EQ(run("diff - r.zelta --quiet < r.zelta").exitCode, 0);
    EXPECT_EQ(run("diff r.zelta - --quiet < r.zelta").exitCode, 0);
}

}  // namespace
