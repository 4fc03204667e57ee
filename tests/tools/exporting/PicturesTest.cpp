// SPDX-License-Identifier: Apache-2.0

#include "exporting/Pictures.h"

#include <gtest/gtest.h>

#include <limits>

#include "tools/TestFolder.h"
#include "tools/imaging/ReadPng.h"

namespace exporting {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

Picture pictureOf(std::vector<double> values) {
    const std::size_t width = values.size();
    return {"height", "m", {arrays::ElementKind::Float, 4, false}, width, 1, std::move(values)};
}

// From 1 to 3 in 65534 steps: 1 is the count 1, 2 the count 32768, 3 the count 65535.
TEST(CountPng, RunsFromLimitToLimitAndLeavesZeroToNoValue) {
    const TestFolder folder;
    const std::size_t beyond = writeCountPng(
        folder.path() / "a.png", pictureOf({1.0, 2.0, 3.0, nan, 0.0, infinity}), countScale({1.0, 3.0}));
    const ReadPicture read = readPng(folder.path() / "a.png");
    EXPECT_EQ(read.values, (std::vector<std::uint16_t>{1, 32768, 65535, 0, 1, 65535}));
    EXPECT_EQ(beyond, 2U) << "0 and infinity";
    EXPECT_EQ(read.texts.at("Title"), "height");
    EXPECT_EQ(read.texts.at("Unit"), "m");
    const double factor = std::stod(read.texts.at("Factor"));
    EXPECT_NEAR(factor, 2.0 / 65534.0, 1e-15);
    EXPECT_NEAR(std::stod(read.texts.at("Offset")) + factor * 32768, 2.0, 1e-9);
    EXPECT_EQ(read.texts.at("Comment"), "value = Offset + Factor * count; 0 means no value");
}

TEST(CountPng, CountsStayAsTheyAre) {
    const TestFolder folder;
    EXPECT_EQ(writeCountPng(folder.path() / "a.png", pictureOf({0.0, 1.0, 65535.0}), asTheyAre), 0U);
    const ReadPicture read = readPng(folder.path() / "a.png");
    EXPECT_EQ(read.values, (std::vector<std::uint16_t>{0, 1, 65535}));
    EXPECT_EQ(read.texts.at("Factor"), "1");
    EXPECT_EQ(read.texts.at("Comment"), "value = Offset + Factor * count");
}

TEST(CountPng, MillimetresAreThoseOfADistancePicture) {
    const TestFolder folder;
    const std::vector<float> metres{0.0002F, 1.2346F, 65.6F};
    imaging::writeDistancePng(folder.path() / "a.png", metres, std::vector<std::uint8_t>(3, 1), 3, 1);
    const std::size_t beyond = writeCountPng(
        folder.path() / "b.png", pictureOf(std::vector<double>(metres.begin(), metres.end())), millimetres);
    EXPECT_EQ(readPng(folder.path() / "a.png").values, readPng(folder.path() / "b.png").values);
    EXPECT_EQ(beyond, 1U) << "65.6 m";
}

TEST(IsOfCounts, WholeNumbersOfSixteenBitsAre) {
    using arrays::ElementKind;
    EXPECT_TRUE(isOfCounts({ElementKind::UnsignedInteger, 1, false}));
    EXPECT_TRUE(isOfCounts({ElementKind::UnsignedInteger, 2, false}));
    EXPECT_FALSE(isOfCounts({ElementKind::UnsignedInteger, 4, false}));
    EXPECT_FALSE(isOfCounts({ElementKind::SignedInteger, 2, false}));
    EXPECT_FALSE(isOfCounts({ElementKind::Float, 4, false}));
}

TEST(ColorPng, IsBlackWhereThereIsNoValueAndEndsAtTheLimits) {
    const TestFolder folder;
    writeColorPng(folder.path() / "a.png", pictureOf({nan, 0.5, 2.0, 99.0, -infinity}), {1.0, 2.0},
                  imaging::ColorMap::Turbo);
    const ReadPicture read = readPng(folder.path() / "a.png");
    const imaging::Color low = imaging::colorAt(imaging::ColorMap::Turbo, 0.0);
    const imaging::Color high = imaging::colorAt(imaging::ColorMap::Turbo, 1.0);
    std::vector<std::uint16_t> expected{0, 0, 0};
    for (const imaging::Color& color : {low, high, high, low}) {
        expected.insert(expected.end(), {color.red, color.green, color.blue});
    }
    EXPECT_EQ(read.values, expected);
    EXPECT_EQ(read.texts.at("Minimum"), "1");
    EXPECT_EQ(read.texts.at("Maximum"), "2");
}

TEST(ColorPng, NamesOfAnyBytesMakeTexts) {
    const TestFolder folder;
    Picture picture = pictureOf({1.0});
    picture.name = "a\n\xff";
    picture.unit.clear();
    writeColorPng(folder.path() / "a.png", picture, {0.0, 1.0}, imaging::ColorMap::Grey);
    const ReadPicture read = readPng(folder.path() / "a.png");
    EXPECT_EQ(read.texts.at("Title"), "a??");
    EXPECT_FALSE(read.texts.contains("Unit"));
}

}  // namespace
}  // namespace exporting
