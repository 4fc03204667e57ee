// SPDX-License-Identifier: Apache-2.0
//
// qor calibrate, from recordings of walls to distances of another scene.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>

#include "tools/qor/Command.h"

namespace {

class Calibrate : public Command {
 protected:
    // Recordings of one specimen at these distances, each with noise of its own; their names.
    std::string recordWalls(const std::vector<double>& distances, int frames) const {
        std::string names;
        for (std::size_t k = 0; k < distances.size(); ++k) {
            const std::string name = "wall" + std::to_string(k) + ".zelta";
            const Outcome outcome =
                run("simulate --wall " + std::to_string(distances[k]) + " --seed 7 --noise-seed " +
                    std::to_string(100 + k) + " --exposures 500 --frames " + std::to_string(frames) +
                    " --quiet -o " + name);
            EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
            names += name + " ";
        }
        return names;
    }

    // Errors of the room with the calibration of a file in place of its own.
    nlohmann::json errorsWith(const std::string& calibration) const {
        EXPECT_EQ(run("calibration make " + calibration + " -o cal.zelta --quiet").exitCode, 0);
        EXPECT_EQ(run("concat cal.zelta images.zelta -o other.zelta --quiet").exitCode, 0);
        return jsonOf("run other.zelta --force -o other");
    }
};

TEST_F(Calibrate, TheRoomIsAsGoodWithItsResultAsWithTheTrueCalibration) {
    const std::string walls =
        recordWalls({0.5, 0.68, 0.85, 1.02, 1.19, 1.36, 1.53, 1.7, 1.87, 2.04, 2.21, 2.4}, 6);
    const Outcome outcome = run("calibrate " + walls + "-o fit/camera.json --json");
    EXPECT_EQ(outcome.exitCode, 1);  // the drift with the temperature is not known
    const auto document = nlohmann::json::parse(outcome.output);
    EXPECT_EQ(document["findings"].size(), 1U) << document["findings"];
    EXPECT_EQ(document["badPixels"].size(), 9U);
    ASSERT_EQ(run("simulate --scene room --seed 7 --noise-seed 1 --frames 4 --quiet -o room.zelta").exitCode,
              0);
    ASSERT_EQ(run("extract room.zelta --channels 3200,3208,9000,9002 -o images.zelta --quiet").exitCode, 0);
    const auto truth = jsonOf("run room.zelta -o true");
    const auto fitted = errorsWith("fit/camera.json");
    EXPECT_NEAR(fitted["validShare"].get<double>(), truth["validShare"].get<double>(), 0.001);
    for (const auto& [figure, limit] :
         {std::pair{"medianErrorMetres", 0.0003}, std::pair{"percentile99ErrorMetres", 0.001}}) {
        EXPECT_NEAR(fitted[figure].get<double>(), truth[figure].get<double>(), limit) << figure;
    }
}

TEST_F(Calibrate, NumbersOfDistancesAndRecordingsAgree) {
    const std::string walls = recordWalls({0.8, 1.2}, 1);
    const Outcome outcome = run("calibrate " + walls + "--distance 0.8 -o camera.json");
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.errors, "qor calibrate: --distance has 1 distance, and there are 2 recordings.\n");
    EXPECT_FALSE(std::filesystem::exists(path("camera.json")));
}

TEST_F(Calibrate, ItsFilesStandBesideEachOther) {
    const std::string walls = recordWalls({0.8, 1.2}, 1);
    const Outcome outcome = run("calibrate " + walls + "--distance 80cm,1.2m -o fit/camera.json --quiet");
    EXPECT_EQ(outcome.exitCode, 1) << outcome.errors;
    EXPECT_EQ(outcome.output, "");
    EXPECT_TRUE(std::filesystem::exists(path("fit/camera.html")));
    EXPECT_TRUE(std::filesystem::exists(path("fit/camera/FPPN0.npy")));
    EXPECT_EQ(run("calibration make fit/camera.json -o cal.zelta --quiet").exitCode, 0);
}

TEST_F(Calibrate, WrongDistancesAreToldAndNothingIsWritten) {
    const std::string walls = recordWalls({0.8, 1.2, 1.9}, 1);
    const Outcome outcome = run("calibrate " + walls + "--distance 0.8,2.03,3.57 -o camera.json");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("the phases do not agree with the distances"), std::string::npos)
        << outcome.errors;
    EXPECT_FALSE(std::filesystem::exists(path("camera.json")));
}

}  // namespace
