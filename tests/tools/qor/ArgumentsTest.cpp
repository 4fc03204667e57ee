// SPDX-License-Identifier: Apache-2.0

#include "qor/Arguments.h"

#include <gtest/gtest.h>

#include "qor/FrameSelection.h"
#include "qor/Override.h"
#include "qor/Progress.h"

namespace qor {
namespace {

std::vector<std::size_t> framesOf(const std::string& text) {
    const FrameSelection selection = readFrameSelection(text).value();
    std::vector<std::size_t> frames;
    for (std::size_t k = 0; k < 12; ++k) {
        if (selection.contains(k)) {
            frames.push_back(k);
        }
    }
    return frames;
}

TEST(FrameSelection, EndIsNotAmongTheFrames) {
    using Frames = std::vector<std::size_t>;
    EXPECT_EQ(framesOf("3"), (Frames{3}));
    EXPECT_EQ(framesOf("2:5"), (Frames{2, 3, 4}));
    EXPECT_EQ(framesOf("1:9:3"), (Frames{1, 4, 7}));
    EXPECT_EQ(framesOf(":2"), (Frames{0, 1}));
    EXPECT_EQ(framesOf("9:"), (Frames{9, 10, 11}));
    EXPECT_EQ(framesOf("::5"), (Frames{0, 5, 10}));
    EXPECT_EQ(framesOf("4::4"), (Frames{4, 8}));
    EXPECT_TRUE(readFrameSelection("2:5")->isOver(5));
    EXPECT_FALSE(readFrameSelection("2:5")->isOver(4));
    EXPECT_FALSE(readFrameSelection("2:")->isOver(1000000));
}

TEST(FrameSelection, WhatSelectsNothingIsRefused) {
    for (const char* text : {"", "x", "-1", "5:5", "5:2", "1:2:0", "1:2:3:4", "1.5", " 1", "1 ", "1:x", "x:1",
                             "1:2:x", "18446744073709551615", "18446744073709551616"}) {
        EXPECT_FALSE(readFrameSelection(text)) << text;
        EXPECT_FALSE(checkFrameSelection(text).empty()) << text;
    }
    EXPECT_TRUE(checkFrameSelection("1:2").empty());
}

TEST(BrightnessStep, IsAFrameAndAFactor) {
    EXPECT_EQ(readBrightnessStep("10:0.05")->frame, 10U);
    EXPECT_EQ(readBrightnessStep("10:0.05")->factor, 0.05);
    EXPECT_EQ(readBrightnessStep("0:1000")->factor, 1000.0);
    EXPECT_TRUE(checkBrightnessStep("4294967295:0").empty());
    for (const char* text : {"", ":", "10", "10:", ":1", "-1:1", "1.5:1", "x:1", "1:x", "1:-0.1", "1:1000.1",
                             "1:nan", "1:inf", "4294967296:1", " 1:1", "1 :1", "1:1x"}) {
        EXPECT_FALSE(readBrightnessStep(text)) << text;
        EXPECT_FALSE(checkBrightnessStep(text).empty()) << text;
    }
}

TEST(Override, TheRecordIsTheFirstPartOfTheExpression) {
    const auto override = readOverride("R.a[3].b=1,2=3");
    ASSERT_TRUE(override);
    EXPECT_EQ(override->expression, "R.a[3].b");
    EXPECT_EQ(override->value, "1,2=3");
    EXPECT_EQ(override->recordName(), "R");
    EXPECT_EQ(override->text(), "R.a[3].b=1,2=3");
}

TEST(Override, BlanksAroundItsPartsAreNoPartOfThem) {
    const auto override = readOverride("  R.a =  1,2 \t");
    ASSERT_TRUE(override);
    EXPECT_EQ(override->text(), "R.a=1,2");
}

TEST(Override, WhatSetsNothingIsRefused) {
    for (const char* text : {"", "=", "R.a", "R.a=", "=1", ".a=1", "[0]=1", " = 1", "R.a= "}) {
        EXPECT_FALSE(readOverride(text)) << text;
        EXPECT_FALSE(checkOverride(text).empty()) << text;
    }
}

TEST(Arguments, ANameOfARecordingEndsInItsSuffix) {
    EXPECT_EQ(checkRecordingName("a.zelta"), "");
    EXPECT_EQ(checkRecordingName("/x/y.z/a.zelta"), "");
    for (const char* text : {"", "a", "a.zelt", ".zelta", "a/.zelta", "a.zelta/"}) {
        EXPECT_NE(checkRecordingName(text), "") << text;
    }
}

TEST(Arguments, BytesHaveOneDecimal) {
    EXPECT_EQ(byteText(0), "0 bytes");
    EXPECT_EQ(byteText(999), "999 bytes");
    EXPECT_EQ(byteText(1000), "1.0 kB");
    EXPECT_EQ(byteText(999949), "999.9 kB");
    EXPECT_EQ(byteText(999950), "1.0 MB");
    EXPECT_EQ(byteText(123456789), "123.5 MB");
    EXPECT_EQ(byteText(18446744073709551615ULL), "18446744.1 TB");
}

TEST(Arguments, CountsKnowTheirPlural) {
    EXPECT_EQ(counted(0, "packet"), "0 packets");
    EXPECT_EQ(counted(1, "packet"), "1 packet");
    EXPECT_EQ(counted(2, "packet"), "2 packets");
}

TEST(Arguments, PacketsAreNumberedFromZero) {
    EXPECT_EQ(checkPacketNumber("0"), "");
    EXPECT_EQ(checkPacketNumber("18446744073709551615"), "");
    for (const char* bad : {"", "-1", "+1", "1.5", "1e3", " 1", "x", "18446744073709551616"}) {
        EXPECT_NE(checkPacketNumber(bad), "") << bad;
    }
    EXPECT_EQ(checkPacketNumber("-1"), "\"-1\" is no number of a packet; these are 0, 1, 2 and so on");
}

TEST(Arguments, NamesFromAFileCannotSteerATerminal) {
    EXPECT_EQ(printable("a\x1b[2J\n\x7f\xff~"), "a\\x1b[2J\\x0a\\x7f\\xff~");
}

TEST(Progress, TheBarHasShareRateAndTimeLeft) {
    EXPECT_EQ(progressBar("qor run", 0.0, 0, 0.0),
              "qor run  [..............................]   0 %  - frames/s");
    EXPECT_EQ(progressBar("qor run", 0.5, 100, 10.0),
              "qor run  [###############...............]  50 %  10.0 frames/s  0:10 left");
    EXPECT_EQ(progressBar("qor run", 1.0, 200, 20.0),
              "qor run  [##############################] 100 %  10.0 frames/s");
    EXPECT_EQ(progressBar("qor run", -1.0, 7, 2.0), "qor run  7 frames  3.5 frames/s");
}

TEST(Progress, ThePlainLineSaysTheSame) {
    EXPECT_EQ(progressLine("qor run", 0.25, 100, 100.0),
              "qor run: 25 %, 100 frames, 1.0 frames/s, 5:00 left");
    EXPECT_EQ(progressLine("qor run", 0.01, 1, 100.0), "qor run: 1 %, 1 frame, 0.0 frames/s, 2:45:00 left");
    EXPECT_EQ(progressLine("qor run", -1.0, 7, 2.0), "qor run: 7 frames, 3.5 frames/s");
    EXPECT_EQ(progressLine("qor run", 1.0e-12, 1, 100.0),
              "qor run: 0 %, 1 frame, 0.0 frames/s, 99:59:59 left");
}

}  // namespace
}  // namespace qor
