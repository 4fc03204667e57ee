// SPDX-License-Identifier: Apache-2.0

#include "importing/StackSource.h"

#include <gtest/gtest.h>

#include "arrays/NumpyFile.h"
#include "imaging/Png.h"
#include "importing/ImportError.h"
#include "tools/TestFolder.h"
#include "tools/importing/Stacks.h"

namespace {

using importing::Axis;
using importing::ImportError;
using importing::readStack;
using importing::StackRequest;

class StackSource : public testing::Test {
 protected:
    std::string path(const std::string& name) const { return (folder_.path() / name).string(); }

    void png(const std::string& name, std::uint16_t value) const {
        imaging::writePng16(path(name), std::vector<std::uint16_t>(6, value), 3, 2);
    }

    std::string refusalOf(const StackRequest& request) const {
        try {
            readStack(request);
        } catch (const ImportError& error) {
            return error.what();
        }
        return "";
    }

    TestFolder folder_;
};

std::vector<double> counting(std::size_t count) {
    std::vector<double> samples;
    for (std::size_t k = 0; k < count; ++k) {
        samples.push_back(static_cast<double>(k));
    }
    return samples;
}

TEST_F(StackSource, DimensionsAreGuessedWhereTheyLeaveNoChoice) {
    arrays::writeNpy(path("a.npy"), stacks::arrayOf(counting(48), {2, 4, 2, 3}));
    StackRequest request;
    request.files = {path("a.npy")};
    EXPECT_EQ(readStack(request).stack.size()[Axis::Frame], 2U);
    EXPECT_EQ(readStack(request).assumptions.size(), 1U);
    request.frequencies = 2;
    const importing::StackSource source = readStack(request);
    EXPECT_EQ(source.stack.size()[Axis::Frame], 1U);
    EXPECT_EQ(source.stack.size()[Axis::Frequency], 2U);
    EXPECT_EQ(source.stack.image({0, 1, 0, 3})[5], 47.0);
    request.axes = importing::readAxes("freq,phase,y,x");
    EXPECT_TRUE(readStack(request).assumptions.empty());
}

TEST_F(StackSource, DimensionsThatLeaveAChoiceAreAskedFor) {
    arrays::writeNpy(path("a.npy"), stacks::arrayOf(counting(24), {24}));
    StackRequest request;
    request.files = {path("a.npy")};
    EXPECT_NE(refusalOf(request).find("--axes"), std::string::npos);
}

TEST_F(StackSource, LengthsThatDisagreeWithTheOptionsAreTold) {
    arrays::writeNpy(path("a.npy"), stacks::arrayOf(counting(48), {2, 4, 2, 3}));
    StackRequest request;
    request.files = {path("a.npy")};
    request.axes = importing::readAxes("exposure,phase,y,x");
    EXPECT_NE(refusalOf(request).find("--exposures names 1"), std::string::npos);
    request.axes = importing::readAxes("freq,phase,y,x");
    EXPECT_NE(refusalOf(request).find("--frequencies names 1"), std::string::npos);
}

TEST_F(StackSource, NamedArraysAreThePhasesOfAllFrequencies) {
    std::vector<arrays::NamedArray> named;
    for (int k = 0; k < 8; ++k) {
        named.push_back({"p" + std::to_string(k), stacks::arrayOf({static_cast<double>(k)}, {1, 1})});
    }
    arrays::writeNpz(path("a.npz"), named);
    StackRequest request;
    request.files = {path("a.npz")};
    request.arrays = {"p3", "p2", "p1", "p0"};
    EXPECT_EQ(readStack(request).stack.image({0, 0, 0, 0})[0], 3.0);
    request.arrays = {"p0", "p1", "p2", "p3", "p4", "p5", "p6", "p7"};
    request.frequencies = 2;
    EXPECT_EQ(readStack(request).stack.image({0, 1, 0, 1})[0], 5.0);
    request.arrays = {"p0", "p1", "p2"};
    EXPECT_NE(refusalOf(request).find("From 3 arrays"), std::string::npos);
}

TEST_F(StackSource, APatternFindsItsFilesWhateverTheirNumbers) {
    for (const int frame : {8, 9, 10}) {
        for (const int phase : {0, 90, 180, 270}) {
            png("shot_" + std::to_string(frame) + "_" + std::to_string(phase) + ".png",
                static_cast<std::uint16_t>(1000 * frame + phase));
        }
    }
    png("shot_8.png", 1);
    StackRequest request;
    request.files = {path("shot_{frame}_{phase}.png")};
    const importing::StackSource source = readStack(request);
    EXPECT_EQ(source.stack.size()[Axis::Frame], 3U);
    EXPECT_EQ(source.stack.image({2, 0, 0, 1})[0], 10090.0);
    EXPECT_EQ(source.stack.image({0, 0, 0, 3})[0], 8270.0);
}

TEST_F(StackSource, PatternsWithMissingOrDoubleFilesAndUnknownNamesAreTold) {
    png("a_0_0.png", 0);
    png("a_0_1.png", 0);
    png("a_1_0.png", 0);
    StackRequest request;
    request.files = {path("a_{frame}_{phase}.png")};
    EXPECT_NE(refusalOf(request).find("there are 3 of 4"), std::string::npos);
    png("a_1_1.png", 0);
    png("a_01_1.png", 0);
    EXPECT_NE(refusalOf(request).find("same image"), std::string::npos);
    request.files = {path("b_{phase}.png")};
    EXPECT_NE(refusalOf(request).find("No file"), std::string::npos);
    request.files = {path("a_{colour}.png")};
    EXPECT_NE(refusalOf(request).find("in braces"), std::string::npos);
}

TEST_F(StackSource, PicturesWithoutAHeaderAreDividedIntoFrames) {
    std::vector<std::uint8_t> bytes;
    for (int k = 0; k < 16; ++k) {
        bytes.push_back(static_cast<std::uint8_t>(k));
    }
    writeBytes(path("a.bin"), bytes);
    StackRequest request;
    request.files = {path("a.bin")};
    request.format = arrays::readRawFormat("u8,1x1");
    EXPECT_EQ(readStack(request).stack.size()[Axis::Frame], 4U);
    request.frequencies = 2;
    EXPECT_EQ(readStack(request).stack.image({1, 0, 0, 2})[0], 10.0);
    request.axes = importing::readAxes("phase,frame,freq,y,x");
    EXPECT_EQ(readStack(request).stack.image({1, 0, 0, 2})[0],
              10.0);  // 2 of the phases * 4 + 1 of the frames * 2
    request.axes = importing::readAxes("freq,phase,y,x");
    EXPECT_NE(refusalOf(request).find("16 pictures"), std::string::npos);
    request.axes = importing::readAxes("x,y,phase");
    EXPECT_NE(refusalOf(request).find("end in y,x"), std::string::npos);
}

}  // namespace
