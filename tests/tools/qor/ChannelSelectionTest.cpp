// SPDX-License-Identifier: Apache-2.0

#include "qor/ChannelSelection.h"

#include <gtest/gtest.h>

namespace qor {
namespace {

TEST(ChannelSelection, IsTheResultsOfTheFramesAtFirst) {
    const ChannelSelection selection;
    EXPECT_TRUE(selection.contains(3210));
    EXPECT_FALSE(selection.contains(3208));
    EXPECT_TRUE(selection.isInShortForm());
}

TEST(ChannelSelection, TakesNamesAndNumbersAndKeepsTheResults) {
    const ChannelSelection selection = readChannels({"debug", "3222", "9999"}).value();
    EXPECT_TRUE(selection.contains(3210));
    EXPECT_TRUE(selection.contains(3220));
    EXPECT_TRUE(selection.contains(3222));
    EXPECT_TRUE(selection.contains(9999));
    EXPECT_FALSE(selection.contains(3214));
}

TEST(ChannelSelection, AllIsEveryChannel) {
    const ChannelSelection selection = readChannels({"all"}).value();
    EXPECT_TRUE(selection.contains(3214));
    EXPECT_TRUE(selection.contains(9999));
    EXPECT_FALSE(selection.isInShortForm());
}

TEST(ChannelSelection, RefusesWhatIsNeitherANameNorANumber) {
    for (const char* text : {"", "debugs", "Debug", "-1", "3220x", "3220,3222", " 3220", "99999999999"}) {
        EXPECT_FALSE(readChannels({text})) << text;
        EXPECT_NE(checkChannel(text), "") << text;
    }
    EXPECT_EQ(checkChannel("debug"), "");
}

TEST(ChannelSelection, TheLongFormIsNeededForWhatTheShortOneLacks) {
    EXPECT_TRUE(readChannels({"input", "calibration", "debug", "profiling"})->isInShortForm());
    for (const char* text :
         {"raw", "state", "pipeline-input", "pipeline-output", "calibration-error", "auxiliary", "9999"}) {
        EXPECT_FALSE(readChannels({text})->isInShortForm()) << text;
    }
}

// A result goes out with each frame, the state with each image, the calibration once.
TEST(ChannelSelection, ExpectedBytesFollowTheRhythmOfEachChannel) {
    const double result = static_cast<double>(ChannelSelection().expectedBytes(1, 4.0));
    EXPECT_EQ(ChannelSelection().expectedBytes(0, 4.0), 0U);
    EXPECT_EQ(ChannelSelection().expectedBytes(10, 16.0), static_cast<std::uint64_t>(10.0 * result));
    const auto extra = [](const char* channel, std::uint64_t frames, double images) {
        return readChannels({channel})->expectedBytes(frames, images) -
               ChannelSelection().expectedBytes(frames, images);
    };
    EXPECT_EQ(extra("state", 3, 4.0), 12 * extra("state", 1, 1.0));
    EXPECT_EQ(extra("calibration", 3, 4.0), extra("calibration", 1, 1.0));
}

}  // namespace
}  // namespace qor
