// SPDX-License-Identifier: Apache-2.0
//
// qor calibration, and qor import with a camera of one's own.

#include <gtest/gtest.h>

#include <fstream>

#include "arrays/NumpyFile.h"
#include "recording/Channels.h"
#include "recording/Record.h"
#include "recording/RecordingReader.h"
#include "tools/importing/Stacks.h"
#include "tools/qor/Command.h"

namespace {

class CalibrationCommand : public Command {
 protected:
    void writeText(const std::string& name, const std::string& text) const {
        std::ofstream(path(name)) << text;
    }

    // The bytes of the first calibration record.
    std::vector<std::uint8_t> calibrationIn(const std::string& name) const {
        recording::RecordingReader reader(path(name));
        const recording::RecordedPacket* const packet = reader.next();
        const auto* const chunk = packet == nullptr
                                      ? nullptr
                                      : recording::findChunk(packet->chunks, recording::channel::calibration);
        if (chunk == nullptr) {
            ADD_FAILURE() << name;
            return {};
        }
        const auto* const bytes = static_cast<const std::uint8_t*>(chunk->data);
        return {bytes, bytes + chunk->dataSize};
    }
};

TEST_F(CalibrationCommand, WhatIsShownMakesTheSameCalibrationBitForBit) {
    simulate("--frequencies 60MHz,80MHz --frames 1");
    EXPECT_EQ(run("calibration show r.zelta --arrays camera/arrays -o camera/camera.json").exitCode, 0);
    const Outcome made = run("calibration make camera/camera.json -o cal.zelta");
    EXPECT_EQ(made.exitCode, 0) << made.errors;
    EXPECT_TRUE(calibrationIn("cal.zelta") == calibrationIn("r.zelta"));
    // The same from elsewhere: names of arrays are seen from the file.
    EXPECT_EQ(run("calibration show r.zelta --arrays camera/arrays > here.json").exitCode, 0);
    EXPECT_EQ(run("calibration make here.json -o cal2.zelta --quiet").exitCode, 0);
    EXPECT_TRUE(calibrationIn("cal2.zelta") == calibrationIn("r.zelta"));
}

TEST_F(CalibrationCommand, ShowPrintsASummaryWithoutArrays) {
    simulate("--frames 1");
    const Outcome outcome = run("calibration show r.zelta");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    const auto document = nlohmann::json::parse(outcome.output);
    EXPECT_EQ(document["frequencies"][0]["frequency"], 60.0e6);
    EXPECT_EQ(document["vignetting"]["values"], 38528);
    EXPECT_EQ(document["maxUniqueRange"], -1.0);
}

TEST_F(CalibrationCommand, ShowTellsWhatIsWrong) {
    simulate("--frames 1");
    recording::RecordingReader reader(path("r.zelta"));
    recording::RecordedPacket* const packet = reader.next();
    ASSERT_NE(packet, nullptr);
    const auto* const chunk = recording::findChunk(packet->chunks, recording::channel::calibration);
    const auto begin = static_cast<const std::uint8_t*>(chunk->data) - packet->bytes.data();
    recording::setFromText(
        recording::typeOf(*chunk), "QorDistanceImageIFCalib.imagerCalib.frequencies[0]", "60",
        packet->bytes.subspan(static_cast<std::size_t>(begin), static_cast<std::size_t>(chunk->dataSize)));
    writeBytes(path("bad.zelta"), {packet->bytes.begin(), packet->bytes.end()});
    const Outcome outcome = run("calibration show bad.zelta");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(
        outcome.errors,
        "qor calibration show: frequencies[0].frequency: The calibration has 60 as frequency 0, where hertz "
        "are due, such as 2e7.\n");
}

TEST_F(CalibrationCommand, ARecordingWithoutCalibrationIsTold) {
    simulate("--frames 1");
    ASSERT_EQ(run("extract r.zelta --channels 3200,3208 -o images.zelta --quiet").exitCode, 0);
    const Outcome outcome = run("calibration show images.zelta");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(outcome.errors, "qor calibration show: images.zelta holds no calibration.\n");
}

TEST_F(CalibrationCommand, MakeSaysWhatIsNeutralAndWhatItWrote) {
    writeText("camera.json", R"({"frequencies": [60e6]})");
    const auto document = jsonOf("calibration make camera.json -o cal.zelta");
    EXPECT_EQ(document["frequenciesHertz"], nlohmann::json::array({60.0e6}));
    EXPECT_EQ(document["neutral"][0], "minDiff");
    EXPECT_EQ(document["files"], nlohmann::json::array({"cal.zelta"}));
    EXPECT_EQ(run("doctor cal.zelta").exitCode, 0);
}

TEST_F(CalibrationCommand, EachFaultHasItsFileAndPlaceAndNothingIsWritten) {
    writeText("camera.json", R"({"frequencies": [60], "vignetting": 0})");
    const Outcome outcome = run("calibration make camera.json -o cal.zelta");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(
        outcome.errors,
        "qor calibration make: camera.json: vignetting: The vignetting of 38528 pixels is not above 0: they "
        "have no amplitude.\n"
        "qor calibration make: camera.json: frequencies[0].frequency: The calibration has 60 as frequency 0, "
        "where hertz are due, such as 2e7.\n");
    EXPECT_FALSE(std::filesystem::exists(path("cal.zelta")));
}

TEST_F(CalibrationCommand, WhatIsProbablyNotMeantIsMadeAndTold) {
    std::vector<double> dark(38528, 5.0);
    dark[9] = 0.0;
    arrays::writeNpy(path("dark.npy"), stacks::arrayOf(dark, {172, 224}));
    writeText("camera.json", R"({"frequencies": [60e6], "FPN": "dark.npy"})");
    const Outcome outcome = run("calibration make camera.json -o cal.zelta --quiet");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(
        outcome.errors,
        "qor calibration make: FPN: The dark level of 1 pixel is 0: the whole table counts as absent.\n");
    EXPECT_TRUE(std::filesystem::exists(path("cal.zelta")));
}

TEST_F(CalibrationCommand, ACalibrationBeforeImagesTakesTheirPlaceInTheRun) {
    // Without noise, pattern and harmonics, a phase that is 0.3 radians off is 0.3 / (2 pi) of the unique
    // range off: 119.27 mm at 60 MHz.
    simulate("--frames 1 --no-noise --no-wiggling --no-fixed-pattern --temperature 40");
    ASSERT_EQ(run("calibration show r.zelta --arrays arrays -o camera.json").exitCode, 0);
    auto camera = nlohmann::json::parse(contentOf(path("camera.json")));
    EXPECT_EQ(camera["frequencies"][0]["phaseWigg"][0], 0.0);
    camera["frequencies"][0]["phaseWigg"][0] = -0.3;
    writeText("camera.json", camera.dump());
    ASSERT_EQ(run("calibration make camera.json -o cal.zelta --quiet").exitCode, 0);
    ASSERT_EQ(run("extract r.zelta --channels 3200,3208,9000,9002 -o images.zelta --quiet").exitCode, 0);
    ASSERT_EQ(run("concat cal.zelta images.zelta -o other.zelta --quiet").exitCode, 0);
    const auto before = jsonOf("run r.zelta -o before");
    const auto after = jsonOf("run other.zelta -o after");
    EXPECT_NEAR(before["medianErrorMetres"].get<double>(), 0.0, 0.0005);
    EXPECT_NEAR(after["medianErrorMetres"].get<double>(), 0.11927, 0.001);
}

// Raw phases of a slope, and its distances.
class ImportWithCamera : public CalibrationCommand {
 protected:
    void writePhases(double offset) const {
        stacks::Signal signal;
        signal.offset = offset;
        arrays::writeNpy(path("a.npy"),
                         stacks::arrayOf(stacks::phases(60.0e6, 224, 172, signal), {4, 172, 224}));
        arrays::writeNpy(path("ref.npy"), stacks::distancesOf(224, 172));
    }
};

TEST_F(ImportWithCamera, TheCalibrationIsThatOfTheCamera) {
    writePhases(0.4);
    writeText("camera.json",
              R"({"frequencies": [{"frequency": 60e6, "phaseWigg": [0.4, 0, 0, 0, 0, 0, 0]}], "minDiff": 50,
                  "straylight": {"enableStraylightCorrection": true, "absDistStraylightThreshold": 0.25}})");
    const Outcome made = run("calibration make camera.json -o cal.zelta --quiet");
    ASSERT_EQ(made.exitCode, 0) << made.errors;
    const Outcome imported =
        run("import a.npy --camera camera.json --order 0,90,180,270 --sign + -o a.zelta --quiet");
    ASSERT_EQ(imported.exitCode, 0) << imported.errors;
    EXPECT_TRUE(calibrationIn("a.zelta") == calibrationIn("cal.zelta"));
    const Outcome shown = run("calibration show a.zelta");
    const auto document = nlohmann::json::parse(shown.output);
    EXPECT_EQ(document["straylight"]["enableStraylightCorrection"], true);
    EXPECT_EQ(document["straylight"]["absDistStraylightThreshold"], 0.25);
}

TEST_F(ImportWithCamera, AReferenceJudgesTheCamera) {
    writePhases(0.4);
    const auto import = [&](const char* offset) {
        writeText("camera.json", std::string(R"({"frequencies": [{"frequency": 60e6, "phaseWigg": [)") +
                                     offset + R"(, 0, 0, 0, 0, 0, 0]}]})");
        return run("import a.npy --camera camera.json --reference ref.npy:mm -o a.zelta --quiet");
    };
    EXPECT_EQ(import("0.4").exitCode, 0);
    EXPECT_LT(std::abs(jsonOf("run a.zelta -o out")["medianErrorMetres"].get<double>()), 0.0015);
    const Outcome wrong = import("2.4");
    EXPECT_EQ(wrong.exitCode, 1);
    EXPECT_EQ(wrong.errors,
              "qor import: The distances say that the phase at distance 0 is 0.40 radians at 60.00 MHz; the "
              "camera's "
              "phaseWigg[0] is 2.40.\n");
}

TEST_F(ImportWithCamera, FrequenciesComeFromTheCameraOrTheLine) {
    writePhases(0.0);
    writeText("camera.json", R"({"frequencies": [60e6]})");
    const Outcome none = run("import a.npy -o a.zelta");
    EXPECT_EQ(none.exitCode, 2);
    EXPECT_EQ(none.errors, "qor import: --frequencies is required, or --camera with a file that has them.\n");
    const Outcome other = run("import a.npy --camera camera.json --frequencies 80MHz -o a.zelta");
    EXPECT_EQ(other.exitCode, 2);
    EXPECT_EQ(other.errors, "qor import: --frequencies says 80 MHz, the camera has 60 MHz.\n");
    EXPECT_EQ(run("import a.npy --camera camera.json --frequencies 60MHz -o a.zelta").exitCode, 0);
}

TEST_F(ImportWithCamera, FaultsOfTheCameraAreToldWithTheirPlace) {
    writePhases(0.0);
    writeText("camera.json", R"({"frequencies": [60e6], "vignetting": 0})");
    const Outcome outcome = run("import a.npy --camera camera.json -o a.zelta");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_EQ(
        outcome.errors,
        "qor import: camera.json: vignetting: The vignetting of 38528 pixels is not above 0: they have no "
        "amplitude.\n");
    EXPECT_FALSE(std::filesystem::exists(path("a.zelta")));
}

TEST_F(ImportWithCamera, PixelsWithoutASampleNeedALimit) {
    const std::vector<double> samples = stacks::phases(60.0e6, 100, 80);
    arrays::writeNpy(path("a.npy"), stacks::arrayOf(samples, {4, 80, 100}));
    writeText("camera.json", R"({"frequencies": [60e6], "minDiff": 0})");
    const Outcome outcome = run("import a.npy --camera camera.json --fit pad -o a.zelta");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("The camera has a minDiff below 1"), std::string::npos) << outcome.errors;
}

}  // namespace
