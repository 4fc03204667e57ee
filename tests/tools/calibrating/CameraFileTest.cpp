// SPDX-License-Identifier: Apache-2.0

#include "calibrating/CameraFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>

#include "arrays/NumpyFile.h"
#include "calibrating/CalibrationError.h"
#include "calibrating/CalibrationRecord.h"
#include "calibrating/CameraText.h"
#include "simulation/Image.h"
#include "tools/TestFolder.h"
#include "tools/calibrating/Cameras.h"

namespace calibrating {
namespace {

using nlohmann::json;
using simulation::pixelCount;

// What is said of a text; empty if it is read.
std::string faultIn(const std::string& text, const std::filesystem::path& folder = "") {
    try {
        readCameraText(text, folder);
        return "";
    } catch (const CalibrationError& error) {
        return error.what();
    }
}

// A file with these members beside a frequency.
std::string with(const std::string& members) {
    return R"({"frequencies": [60e6], )" + members + "}";
}

std::string withFrequency(const std::string& members) {
    return R"({"frequencies": [{"frequency": 60e6, )" + members + "}]}";
}

TEST(CameraFile, FrequenciesSufficeAndTheRestIsNeutral) {
    const CameraFile file = readCameraText(R"({"frequencies": [60e6, 80e6]})", "");
    simulation::Calibration neutral =
        neutralCalibration({{60.0e6, 80.0e6},
                            {0.0, 0.0},
                            lensOf(usualFieldOfView, simulation::imageWidth, simulation::imageHeight)});
    // The record has single precision.
    neutral.lens.fx = neutral.lens.fy = static_cast<double>(static_cast<float>(neutral.lens.fx));
    neutral.unitVectors = unitVectorsOf(neutral.lens);
    CameraDescription expected;
    expected.calibration = neutral;
    EXPECT_TRUE(recordOf(file.camera).data() == recordOf(expected).data());
    EXPECT_EQ(file.camera.maxUniqueRange, -1.0F);
    EXPECT_EQ(file.camera.mid, 2048.0);
    EXPECT_EQ(file.neutral,
              (std::vector<std::string>{"minDiff", "maxDiff", "mid", "vignetting", "FPN", "badPixelIdx",
                                        "fieldOfView", "maxUniqueRange", "straylight"}));
}

TEST(CameraFile, TheTextOfACameraGivesTheSameRecordBitForBit) {
    const TestFolder folder;
    for (const std::uint32_t seed : {1U, 2U, 3U}) {
        const CameraDescription camera = cameras::filled(seed);
        const CameraText described = describe(camera, ArrayFolder{folder.path() / "arrays", "arrays"});
        const CameraDescription again = readCameraText(described.text, folder.path()).camera;
        EXPECT_TRUE(recordOf(again).data() == recordOf(camera).data()) << seed;
        EXPECT_EQ(again.mid, camera.mid);
        EXPECT_EQ(again.maxUniqueRange, camera.maxUniqueRange);
        EXPECT_EQ(again.straylight.enable, camera.straylight.enable);
        EXPECT_EQ(again.straylight.distanceThreshold, camera.straylight.distanceThreshold);
        EXPECT_EQ(again.straylight.amplitudeThreshold, camera.straylight.amplitudeThreshold);
    }
}

TEST(CameraFile, ATextWithoutArraysIsForReadersOnly) {
    const std::string text = describe(cameras::filled(1), std::nullopt).text;
    EXPECT_EQ(json::parse(text)["vignetting"]["values"], pixelCount);
    EXPECT_NE(
        faultIn(text).find("vignetting: It must be a number for all pixels, or the name of a .npy file."),
        std::string::npos);
}

TEST(CameraFile, WhatIsNoNumberBecomesNull) {
    CameraDescription camera = cameras::filled(1);
    camera.calibration.frequencies[0].ampWigg[0] = std::numeric_limits<float>::quiet_NaN();
    const std::string text = describe(camera, std::nullopt).text;
    EXPECT_TRUE(json::parse(text)["frequencies"][0]["ampWigg"][0].is_null());
    EXPECT_NE(faultIn(text).find("frequencies[0].ampWigg[0]: It must be a number."), std::string::npos);
}

TEST(CameraFile, UnknownKeysAreRefusedInEverySection) {
    EXPECT_EQ(faultIn(with(R"("vigneting": 1)")),
              "vigneting: There is no such key; did you mean \"vignetting\"?");
    EXPECT_EQ(faultIn(withFrequency(R"("phasewig": [])")),
              "frequencies[0].phasewig: There is no such key; did you mean \"phaseWigg\"?");
    EXPECT_EQ(
        faultIn(with(R"("intrinsicCalibration": {"fx": 160, "fy": 160, "mx": 112, "my": 86, "colour": 1})")),
        "intrinsicCalibration.colour: There is no such key.");
    EXPECT_EQ(faultIn(with(R"("straylight": {"enable": true})")), "straylight.enable: There is no such key.");
}

TEST(CameraFile, AKeyThatStandsTwiceIsRefused) {
    EXPECT_EQ(faultIn(with(R"("minDiff": 1, "minDiff": 2)")), "The key \"minDiff\" stands there twice.");
    // In sections beside each other it is not the same key.
    EXPECT_EQ(faultIn(R"({"frequencies": [{"frequency": 6e7}, {"frequency": 8e7}]})"), "");
}

TEST(CameraFile, WhatIsNoJsonIsToldWithItsPlace) {
    EXPECT_NE(faultIn("{\"frequencies\": [60e6\n}").find("It is no JSON: parse error at line 2"),
              std::string::npos);
    EXPECT_NE(faultIn("").find("It is no JSON"), std::string::npos);
    EXPECT_NE(faultIn(with(R"("minDiff": 1e999)")).find("It is no JSON"), std::string::npos);
    EXPECT_EQ(faultIn("[]"), "The file: An object in braces is needed.");
}

TEST(CameraFile, DeepNestingDoesNoHarm) {
    EXPECT_NE(faultIn(with("\"mid\": " + std::string(100000, '[') + std::string(100000, ']'))), "");
}

TEST(CameraFile, AFrequencyWithoutItsUnitIsTold) {
    EXPECT_EQ(
        faultIn(R"({"frequencies": [60]})"),
        "frequencies[0].frequency: The calibration has 60 as frequency 0, where hertz are due, such as 2e7.");
}

TEST(CameraFile, FrequenciesAreNeeded) {
    const std::string sentence = "frequencies: A list of 1 to 4 modulation frequencies is needed.";
    EXPECT_EQ(faultIn("{}"), sentence);
    EXPECT_EQ(faultIn(R"({"frequencies": []})"), sentence);
    EXPECT_EQ(faultIn(R"({"frequencies": [2e7, 3e7, 4e7, 5e7, 6e7]})"), sentence);
    EXPECT_EQ(faultIn(R"({"frequencies": [{}]})"),
              "frequencies[0].frequency: The modulation frequency in Hz is needed.");
}

TEST(CameraFile, VignettingIsAboveZero) {
    EXPECT_EQ(faultIn(with(R"("vignetting": 0)")),
              "vignetting: The vignetting of 38528 pixels is not above 0: they have no amplitude.");
}

TEST(CameraFile, TwoFrequenciesNeedARange) {
    EXPECT_EQ(faultIn(R"({"frequencies": [60e6, 80e6], "maxUniqueRange": 0})"),
              "maxUniqueRange: maxUniqueRange is 0 with two frequencies: they leave no distance.");
    EXPECT_EQ(faultIn(with(R"("maxUniqueRange": 0)")), "");
}

TEST(CameraFile, NumbersFitTheirType) {
    EXPECT_EQ(faultIn(with(R"("minDiff": 1.5)")), "minDiff: 1.5 is no whole number from -32768 to 32767.");
    EXPECT_EQ(faultIn(with(R"("minDiff": 32768)")),
              "minDiff: 32768 is no whole number from -32768 to 32767.");
    EXPECT_EQ(faultIn(with(R"("maxUniqueRange": 1e39)")), "maxUniqueRange: 1e+39 is too large.");
    EXPECT_EQ(faultIn(with(R"("mid": "2048")")), "mid: It must be a number.");
    EXPECT_EQ(faultIn(withFrequency(R"("xyCorrection": [1])")),
              "frequencies[0].xyCorrection: A list of 2 numbers is needed.");
    EXPECT_EQ(faultIn(withFrequency(R"("xyCorrection": [1, null])")),
              "frequencies[0].xyCorrection[1]: It must be a number.");
    EXPECT_EQ(faultIn(with(R"("straylight": {"enableStraylightCorrection": 1})")),
              "straylight.enableStraylightCorrection: It must be true or false.");
}

TEST(CameraFile, AllFaultsAreToldAtOnce) {
    EXPECT_EQ(faultIn(R"({"minDiff": "a", "mid": []})"),
              "frequencies: A list of 1 to 4 modulation frequencies is needed.\n"
              "minDiff: It must be a number.\nmid: It must be a number.");
}

TEST(CameraFile, TheLensIsGivenOnce) {
    EXPECT_EQ(
        faultIn(with(R"("fieldOfView": 60, "intrinsicCalibration": {"fx": 1, "fy": 1, "mx": 0, "my": 0})")),
        "fieldOfView: Either fieldOfView or intrinsicCalibration is possible, not both.");
    EXPECT_EQ(faultIn(with(R"("intrinsicCalibration": {"fx": 160})")),
              "intrinsicCalibration.fy: It is needed, in pixels.\n"
              "intrinsicCalibration.mx: It is needed, in pixels.\n"
              "intrinsicCalibration.my: It is needed, in pixels.\n"
              "intrinsicCalibration: The focal lengths fx and fy must be above 0 pixels.");
    EXPECT_EQ(faultIn(with(R"("fieldOfView": 0)")),
              "fieldOfView: 0 is no angle from 1 to 170 degrees over the width.");
}

TEST(CameraFile, TheFieldOfViewIsThatOverTheWidth) {
    const simulation::Lens lens = readCameraText(with(R"("fieldOfView": 90)"), "").camera.calibration.lens;
    EXPECT_NEAR(lens.fx, 112.0, 1e-5);  // half the width over the tangent of 45 degrees
    EXPECT_EQ(lens.fx, lens.fy);
    EXPECT_EQ(lens.mx, 112.0);
    EXPECT_EQ(lens.my, 86.0);
}

class ArraysOfCameras : public testing::Test {
 protected:
    void write(const std::string& name, const std::vector<double>& values,
               std::vector<std::size_t> shape) const {
        const auto* const begin = reinterpret_cast<const std::uint8_t*>(values.data());
        constexpr arrays::ElementType type{arrays::ElementKind::Float, 8,
                                           std::endian::native == std::endian::big};
        arrays::writeNpy(folder_.path() / name,
                         arrays::makeArray(type, std::move(shape), {begin, begin + 8 * values.size()}));
    }
    std::string fault(const std::string& text) const { return faultIn(text, folder_.path()); }
    CameraDescription read(const std::string& text) const {
        return readCameraText(text, folder_.path()).camera;
    }

    TestFolder folder_;
    std::vector<double> ones_ = std::vector<double>(pixelCount, 1.0);
};

TEST_F(ArraysOfCameras, StandInFilesBesideTheFile) {
    ones_[300] = 1.5;
    write("v.npy", ones_, {172, 224});
    const CameraDescription camera = read(with(R"("vignetting": "v.npy")"));
    EXPECT_EQ(camera.calibration.vignetting[300], 1.5F);
    EXPECT_EQ(camera.calibration.vignetting[301], 1.0F);
}

TEST_F(ArraysOfCameras, HaveTheSizeOfTheImager) {
    write("v.npy", ones_, {224, 172});
    EXPECT_EQ(fault(with(R"("vignetting": "v.npy")")),
              "vignetting: v.npy is 224 x 172, where 172 x 224 is needed.");
    EXPECT_EQ(fault(with(R"("unitVectors": "v.npy")")),
              "unitVectors: v.npy is 224 x 172, where 172 x 224 x 3 is needed.");
}

TEST_F(ArraysOfCameras, HoldNumbers) {
    ones_[7] = std::numeric_limits<double>::quiet_NaN();
    ones_[8] = std::numeric_limits<double>::infinity();
    write("v.npy", ones_, {172, 224});
    EXPECT_EQ(fault(withFrequency(R"("FPPN": "v.npy")")),
              "frequencies[0].FPPN: Of 38528 values one or more (1) is too large.");
    ones_[8] = 0.0;
    write("v.npy", ones_, {172, 224});
    EXPECT_EQ(fault(withFrequency(R"("FPPN": "v.npy")")),
              "frequencies[0].FPPN: 1 of 38528 values are no finite numbers.");
    EXPECT_EQ(fault(with(R"("FPN": "v.npy")")),
              "FPN: Of 38528 values one or more (1) is no whole number from -32768 to 32767.");
}

TEST_F(ArraysOfCameras, ThatAreNotThereAreTold) {
    EXPECT_NE(fault(with(R"("vignetting": "none.npy")")).find("vignetting: "), std::string::npos);
    EXPECT_NE(fault(with(R"("vignetting": "none.npy")")).find("none.npy"), std::string::npos);
}

TEST_F(ArraysOfCameras, RaysHaveALength) {
    write("r.npy", std::vector<double>(3 * pixelCount, 0.0), {172, 224, 3});
    EXPECT_EQ(fault(with(R"("unitVectors": "r.npy")")),
              "unitVectors: The rays of 38528 pixels have no length: their points lie in the camera.");
}

TEST_F(ArraysOfCameras, BadPixelsAreAListOrAnImage) {
    std::vector<double> mask(pixelCount, 0.0);
    mask[3] = mask[500] = 1.0;
    write("mask.npy", mask, {172, 224});
    write("list.npy", {500.0, 3.0}, {2});
    const auto indices = [&](const std::string& value) {
        return read(with("\"badPixelIdx\": " + value)).calibration.badPixelIdx;
    };
    EXPECT_EQ(indices("\"mask.npy\""), (std::vector<std::int32_t>{3, 500}));
    EXPECT_EQ(indices("\"list.npy\""), (std::vector<std::int32_t>{500, 3}));
    EXPECT_EQ(indices("[9, 8]"), (std::vector<std::int32_t>{9, 8}));
    write("many.npy", std::vector<double>(pixelCount, 1.0), {172, 224});
    EXPECT_EQ(fault(with(R"("badPixelIdx": "many.npy")")),
              "badPixelIdx: There is room for 15 bad pixels, and 38528 are given.");
    EXPECT_EQ(fault(with(R"("badPixelIdx": [38528])")),
              "badPixelIdx: There is no pixel 38528; they are from 0 to 38527: row * 224 + column.");
}

// The schema that editors use, and the reader, know the same keys.
TEST(CameraSchema, HasTheKeysOfTheReader) {
    const json schema = json::parse(std::ifstream(QOR_CAMERA_SCHEMA));
    const std::map<std::string, json> sections{
        {"", schema},
        {"frequencies[]", schema["$defs"]["frequency"]},
        {"intrinsicCalibration", schema["properties"]["intrinsicCalibration"]},
        {"intrinsicCalibration.internalTransRot",
         schema["properties"]["intrinsicCalibration"]["properties"]["internalTransRot"]},
        {"straylight", schema["properties"]["straylight"]}};
    ASSERT_EQ(sections.size(), keysOfCameraFile().size());
    for (const auto& [name, section] : sections) {
        EXPECT_EQ(section.at("additionalProperties"), false) << name;
        std::set<std::string> keys;
        for (const auto& [key, property] : section.at("properties").items()) {
            keys.insert(key);
        }
        const std::vector<std::string>& known = keysOfCameraFile().at(name);
        EXPECT_EQ(keys, std::set<std::string>(known.begin(), known.end())) << name;
    }
}

// Whether the schema takes a value of this JSON type; references and alternatives are followed.
bool takes(const json& schema, const json& property, const std::string& type) {
    if (property.contains("$ref")) {
        return takes(schema, schema["$defs"]["frequency"], type);
    }
    if (property.contains("anyOf")) {
        return std::ranges::any_of(property["anyOf"],
                                   [&](const json& one) { return takes(schema, one, type); });
    }
    const json& types = property.at("type");
    const auto isType = [&](const json& one) {
        return one == type || (one == "integer" && type == "number");
    };
    return types.is_array() ? std::ranges::any_of(types, isType) : isType(types);
}

// Whether the reader says of a value that it is of the wrong kind.
bool isOfWrongKind(const std::string& fault) {
    return std::ranges::any_of(std::array{"It must be", "A list of", "An object"}, [&](const char* sentence) {
        return fault.find(sentence) != std::string::npos;
    });
}

TEST(CameraSchema, TakesTheKindsOfValuesThatTheReaderTakes) {
    const json schema = json::parse(std::ifstream(QOR_CAMERA_SCHEMA));
    const std::array<std::pair<const char*, const char*>, 5> samples{{{"boolean", "true"},
                                                                      {"number", "1"},
                                                                      {"string", "\"none.npy\""},
                                                                      {"array", "[60e6]"},
                                                                      {"object", "{}"}}};
    for (const auto& [key, property] : schema["properties"].items()) {
        if (key == "frequencies" || key == "$schema") {
            continue;  // stands in the file already; is not looked at
        }
        for (const auto& [type, sample] : samples) {
            const std::string fault = faultIn(with("\"" + key + "\": " + sample));
            EXPECT_EQ(takes(schema, property, type), !isOfWrongKind(fault))
                << key << ": " << type << ": " << fault;
        }
    }
}

TEST(CameraSchema, NeedsWhatTheReaderNeeds) {
    const json schema = json::parse(std::ifstream(QOR_CAMERA_SCHEMA));
    EXPECT_EQ(schema.at("required"), json::array({"frequencies"}));
    EXPECT_EQ(schema["$defs"]["frequency"].at("required"), json::array({"frequency"}));
    EXPECT_EQ(schema["properties"]["intrinsicCalibration"].at("required"),
              json::array({"fx", "fy", "mx", "my"}));
}

}  // namespace
}  // namespace calibrating
