// SPDX-License-Identifier: Apache-2.0

#include "qor/Timeline.h"

#include <gtest/gtest.h>

#include "recording/Channels.h"
#include "recording/Record.h"

namespace qor {
namespace {

using recording::int32;
using recording::structure;
using recording::uint16;
using recording::uint32;

class TimelineOfImages : public testing::Test {
 protected:
    void add(unsigned short counter, int position, unsigned int time) {
        const std::string info = "QorDistanceImageIFInput.phaseInfo.";
        input_.set<unsigned short>(info + "frameCounter", counter);
        input_.set<int>(info + "sequenceCounter", position);
        input_.set<unsigned int>(info + "timestamp", time);
        timeline_.add({packets_++, 0, {}, {input_.chunk(recording::channel::input)}});
    }

    // Frames of two images, 100 ms apart.
    void addFrame(unsigned int number) {
        add(static_cast<unsigned short>(2 * number % 4096), 0, 100000 * number);
        add(static_cast<unsigned short>((2 * number + 1) % 4096), 1, 100000 * number + 1000);
    }

    std::vector<std::string> sentences() const {
        std::vector<std::string> all;
        for (const Gap& gap : timeline_.gaps()) {
            all.push_back(gap.sentence);
        }
        return all;
    }

    recording::Record input_{structure(
        "QorDistanceImageIFInput",
        {structure("phaseInfo", {uint32("timestamp"), int32("sequenceCounter"), uint16("frameCounter")})})};
    Timeline timeline_;
    std::size_t packets_ = 0;
};

TEST_F(TimelineOfImages, TheRateIsThatOfTheMedianPeriod) {
    EXPECT_EQ(timeline_.framesPerSecond(), std::nullopt);
    for (const unsigned int number : {0U, 1U, 2U, 3U}) {
        addFrame(number);
    }
    EXPECT_EQ(timeline_.framesPerSecond(), 10.0);
    EXPECT_EQ(timeline_.images(), 8U);
    EXPECT_TRUE(sentences().empty());
}

TEST_F(TimelineOfImages, TheImagersCounterWrapsAt4096) {
    add(4095, 0, 0);
    add(0, 1, 1000);
    EXPECT_TRUE(sentences().empty());
}

TEST_F(TimelineOfImages, TheClockWraps) {
    add(0, 0, 0xFFFFFFFFU - 49999U);
    add(1, 0, 50000);  // 100 ms later
    EXPECT_EQ(timeline_.framesPerSecond(), 10.0);
}

TEST_F(TimelineOfImages, MissingImagesAreCounted) {
    add(7, 0, 0);
    add(10, 1, 1000);
    EXPECT_EQ(
        sentences(),
        (std::vector<std::string>{"packet 1: the imager's counter goes from 7 to 10; missing: 2 images."}));
}

TEST_F(TimelineOfImages, ACounterThatStandsStillOrGoesBackIsToldWithoutACount) {
    add(7, 0, 0);
    add(7, 1, 1000);
    add(3, 2, 2000);
    EXPECT_EQ(sentences(), (std::vector<std::string>{"packet 1: the imager's counter goes from 7 to 7.",
                                                     "packet 2: the imager's counter goes from 7 to 3."}));
}

TEST_F(TimelineOfImages, APositionThatIsLeftOutIsTold) {
    add(0, 0, 0);
    add(1, 2, 1000);
    EXPECT_EQ(sentences(), (std::vector<std::string>{"packet 1: image 2 of the frame follows image 0."}));
}

// 150 ms are no gap at a usual 100 ms, more are.
TEST_F(TimelineOfImages, ATimeOfMoreThanHalfAsMuchAgainStandsOut) {
    for (const unsigned int number : {0U, 1U, 2U, 3U}) {
        addFrame(number);
    }
    add(8, 0, 450000);
    EXPECT_TRUE(sentences().empty());
    add(9, 0, 600001);
    EXPECT_EQ(
        sentences(),
        (std::vector<std::string>{"packet 9: 0.150 s after the frame before, where 0.100 s are usual."}));
}

TEST_F(TimelineOfImages, AClockThatStandsStillHasNoRate) {
    for (const unsigned short counter : {0, 1, 2}) {
        add(counter, 0, 5);
    }
    EXPECT_EQ(timeline_.framesPerSecond(), std::nullopt);
    EXPECT_TRUE(sentences().empty());
}

TEST_F(TimelineOfImages, OtherPacketsDoNotCount) {
    const recording::Record other(structure("Other", {uint32("x")}));
    timeline_.add({0, 0, {}, {other.chunk(recording::channel::input)}});
    timeline_.add({1, 0, {}, {other.chunk(1)}});
    EXPECT_EQ(timeline_.images(), 0U);
}

}  // namespace
}  // namespace qor
