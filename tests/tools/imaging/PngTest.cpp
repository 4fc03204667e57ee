// SPDX-License-Identifier: Apache-2.0

#include "imaging/Png.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <stdexcept>

#include "tools/TestFolder.h"
#include "tools/imaging/ReadPng.h"

namespace imaging {
namespace {

TEST(WritePng, ReadsBackPixelByPixel) {
    const TestFolder folder;
    Canvas canvas(3, 2, {10, 20, 30});
    canvas.set(2, 0, {255, 0, 1});
    canvas.set(0, 1, {7, 8, 9});
    writePng(folder.path() / "a.png", canvas);
    const ReadPicture picture = readPng(folder.path() / "a.png");
    EXPECT_EQ(picture.width, 3);
    EXPECT_EQ(picture.height, 2);
    EXPECT_EQ(picture.bitDepth, 8);
    EXPECT_EQ(picture.channels, 3);
    EXPECT_EQ(picture.values, (std::vector<std::uint16_t>{10, 20, 30, 10, 20, 30, 255, 0, 1,  //
                                                          7, 8, 9, 10, 20, 30, 10, 20, 30}));
}

TEST(WritePng16, ReadsBackAllSixteenBits) {
    const TestFolder folder;
    const std::vector<std::uint16_t> values{0, 1, 255, 256, 0x1234, 65535};
    writePng16(folder.path() / "a.png", values, 2, 3);
    const ReadPicture picture = readPng(folder.path() / "a.png");
    EXPECT_EQ(picture.width, 2);
    EXPECT_EQ(picture.height, 3);
    EXPECT_EQ(picture.bitDepth, 16);
    EXPECT_EQ(picture.channels, 1);
    EXPECT_EQ(picture.values, values);
}

TEST(WritePng16, StoresTexts) {
    const TestFolder folder;
    writePng16(folder.path() / "a.png", std::vector<std::uint16_t>{5}, 1, 1,
               {{"Unit", "mm"}, {"Title", "x"}});
    const ReadPicture picture = readPng(folder.path() / "a.png");
    EXPECT_EQ(picture.texts.at("Unit"), "mm");
    EXPECT_EQ(picture.texts.at("Title"), "x");
}

TEST(WritePng16, RefusesACountThatIsNotTheSize) {
    const TestFolder folder;
    const std::vector<std::uint16_t> values{1, 2, 3};
    EXPECT_THROW(writePng16(folder.path() / "a.png", values, 2, 2), std::invalid_argument);
    EXPECT_THROW(writePng16(folder.path() / "a.png", values, 0, 0), std::invalid_argument);
    EXPECT_THROW(writePng16(folder.path() / "a.png", values, -1, -3), std::invalid_argument);
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "a.png"));
}

// 1.2345 m rounds to 1235 mm; 65.6 m is more than 65535 mm; 0.2 mm is a measurement and
// must not look like a missing one.
TEST(WriteDistancePng, HoldsWholeMillimetresAndZeroForNoMeasurement) {
    const TestFolder folder;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    const std::vector<float> metres{1.2346F, 2.0F, 65.6F, 0.0F, -1.0F, nan, infinity, 0.0002F};
    const std::vector<std::uint8_t> valid{1, 0, 1, 1, 1, 1, 1, 1};
    writeDistancePng(folder.path() / "d.png", metres, valid, 4, 2);
    const ReadPicture picture = readPng(folder.path() / "d.png");
    EXPECT_EQ(picture.values, (std::vector<std::uint16_t>{1235, 0, 65535, 0, 0, 0, 65535, 1}));
    EXPECT_EQ(picture.texts.at("Scale"), "0.001 metres per count");
    EXPECT_EQ(picture.texts.at("Unit"), "mm");
}

// A scale finer than numbers can tell makes 0 * infinity of the value at its start.
TEST(CountsOf, EveryValueHasACountWhateverTheScale) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double largest = std::numeric_limits<double>::max();
    const Counts fine = countsOf(std::vector<double>{1.0, 2.0, -infinity, infinity, largest, -largest},
                                 {1.0, infinity, 1, true});
    EXPECT_EQ(fine.values, (std::vector<std::uint16_t>{1, 65535, 1, 65535, 65535, 1}));
    const Counts coarse = countsOf(std::vector<double>{largest, -largest}, {-largest, 0.0, 1, true});
    EXPECT_EQ(coarse.values, (std::vector<std::uint16_t>{1, 1}));
}

TEST(WriteDistancePng, RefusesAValidityOfAnotherSize) {
    const TestFolder folder;
    EXPECT_THROW(
        writeDistancePng(folder.path() / "d.png", std::vector<float>(4), std::vector<std::uint8_t>(3), 2, 2),
        std::invalid_argument);
}

TEST(WritePng, MakesMissingFoldersAndLeavesNoUnfinishedFile) {
    const TestFolder folder;
    writePng(folder.path() / "x" / "y" / "a.png", Canvas(1, 1, {}));
    EXPECT_TRUE(std::filesystem::exists(folder.path() / "x" / "y" / "a.png"));
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "x" / "y" / "a.png.part"));
}

TEST(WritePng, AFileWithTheNameOfAnUnfinishedOneIsLeftAlone) {
    const TestFolder folder;
    writeBytes(folder.path() / "a.png.part", {1, 2, 3});
    writePng(folder.path() / "a.png", Canvas(2, 2, {}));
    EXPECT_EQ(readPng(folder.path() / "a.png").width, 2);
    EXPECT_EQ(fileBytes(folder.path() / "a.png.part"), (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST(WritePng, ReplacesAnOlderFile) {
    const TestFolder folder;
    writePng(folder.path() / "a.png", Canvas(1, 1, {1, 1, 1}));
    writePng(folder.path() / "a.png", Canvas(2, 1, {2, 2, 2}));
    EXPECT_EQ(readPng(folder.path() / "a.png").width, 2);
}

TEST(WritePng, AFileInPlaceOfAFolderIsToldWithThePath) {
    const TestFolder folder;
    std::ofstream(folder.path() / "file") << "x";
    const std::filesystem::path path = folder.path() / "file" / "a.png";
    try {
        writePng(path, Canvas(1, 1, {}));
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("Cannot write " + path.string() + ": "), std::string::npos)
            << error.what();
    }
}

TEST(WritePng, AFolderInPlaceOfTheFileIsToldAndLeavesNoUnfinishedFile) {
    const TestFolder folder;
    std::filesystem::create_directory(folder.path() / "a.png");
    std::ofstream(folder.path() / "a.png" / "inside") << "x";
    EXPECT_THROW(writePng(folder.path() / "a.png", Canvas(1, 1, {})), std::runtime_error);
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "a.png.part"));
}

}  // namespace
}  // namespace imaging
