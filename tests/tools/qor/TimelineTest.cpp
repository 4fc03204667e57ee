// SPDX-License-Identifier: Apache-2.0

#include "qor/Timeline.h"

#include <gtest/gtest.h>

namespace qor {
namespace {

class TimelineOfImages : public testing::Test {
 protected:
    void add(std::uint16_t counter, int position, std::uint32_t time) {
        plugin::ImageInfo image;
        image.numExposures = 1;
        image.numFrequencies = 1;
        image.counter = counter;
        image.sequence = position;
        image.clock = time;
        timeline_.add(image, packets_++);
    }

    // A frame of four images, 100 ms after the one of the number before.
    void addFrame(std::uint32_t number) { addFrameAt(number, 100000 * number); }

    void addFrameAt(std::uint32_t number, std::uint32_t time) {
        for (std::uint32_t k = 0; k < 4; ++k) {
            add(static_cast<std::uint16_t>((4 * number + k) % 4096), static_cast<int>(k), time + 1000 * k);
        }
    }

    std::vector<std::string> told() const {
        std::vector<std::string> all;
        for (const Gap& gap : timeline_.gaps()) {
            all.push_back(std::to_string(gap.packet) + " " + gap.sentence);
        }
        return all;
    }

    using Told = std::vector<std::string>;

    Timeline timeline_;
    std::size_t packets_ = 0;
};

TEST_F(TimelineOfImages, TheRateIsThatOfTheMedianPeriod) {
    EXPECT_EQ(timeline_.framesPerSecond(), std::nullopt);
    for (const unsigned int number : {0U, 1U, 2U, 3U}) {
        addFrame(number);
    }
    EXPECT_EQ(timeline_.framesPerSecond(), 10.0);
    EXPECT_EQ(timeline_.images(), 16U);
    EXPECT_EQ(told(), Told{});
}

TEST_F(TimelineOfImages, CounterAndClockWrap) {
    for (const unsigned int number : {1022U, 1023U, 1024U, 1025U}) {
        addFrameAt(number, 0xFFFFFFFFU - 1023U * 100000U - 50000U + 100000U * number);
    }
    EXPECT_EQ(timeline_.framesPerSecond(), 10.0);
    EXPECT_EQ(told(), Told{});
}

TEST_F(TimelineOfImages, AnImageThatIsMissingFromItsFrameIsTold) {
    addFrame(0);
    add(4, 0, 100000);
    add(6, 2, 102000);
    EXPECT_EQ(told(),
              (Told{"5 Frame 1 is incomplete: image 1 is missing; the rest of the frame is held back."}));
}

TEST_F(TimelineOfImages, ImagesMissingBetweenFramesAreCounted) {
    addFrame(0);
    addFrameAt(2, 100000);
    EXPECT_EQ(told(), (Told{"4 Missing between two frames: 4 images."}));
}

TEST_F(TimelineOfImages, AFrameThatIsNotWholeAtTheEndIsTold) {
    addFrame(0);
    add(4, 0, 100000);
    EXPECT_EQ(told(), (Told{"4 Frame 1 is incomplete: nothing came after its image 0."}));
}

// 150 ms are no gap at a usual 100 ms, more are.
TEST_F(TimelineOfImages, ATimeOfMoreThanHalfAsMuchAgainStandsOut) {
    for (const unsigned int number : {0U, 1U, 2U, 3U}) {
        addFrame(number);
    }
    addFrameAt(4, 450000);
    EXPECT_EQ(told(), Told{});
    addFrameAt(5, 600001);
    EXPECT_EQ(told(), (Told{"20 The frame begins 0.150 s after the one before, where 0.100 s are usual."}));
}

TEST_F(TimelineOfImages, AClockThatGoesBackIsToldAndIsNoPeriod) {
    for (const unsigned int number : {0U, 1U, 2U}) {
        addFrame(number);
    }
    addFrameAt(3, 50000);
    EXPECT_EQ(told(), (Told{"12 The clock goes back by 0.150000 s."}));
    EXPECT_EQ(timeline_.framesPerSecond(), 10.0);
}

TEST_F(TimelineOfImages, AClockThatStandsStillHasNoRate) {
    for (const unsigned int number : {0U, 1U, 2U}) {
        for (std::uint16_t k = 0; k < 4; ++k) {
            add(static_cast<std::uint16_t>(4 * number + k), k, 5);
        }
    }
    EXPECT_EQ(timeline_.framesPerSecond(), std::nullopt);
    EXPECT_EQ(told(), Told{});
}

}  // namespace
}  // namespace qor
