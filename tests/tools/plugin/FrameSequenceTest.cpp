// SPDX-License-Identifier: Apache-2.0

#include "plugin/FrameSequence.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

namespace plugin {
namespace {

// The images of frames as a camera sends them.
struct Shape {
    int exposures = 1;
    int frequencies = 1;
    std::vector<int> intensityBefore{};  // groups before which an intensity image stands
};

std::vector<ImageInfo> imagesOf(const Shape& shape, int frames, std::uint16_t firstCounter = 0) {
    std::vector<ImageInfo> images;
    for (int frame = 0; frame < frames; ++frame) {
        ImageInfo image;
        image.numExposures = shape.exposures;
        image.numFrequencies = shape.frequencies;
        std::int32_t sequence = 0;
        const auto send = [&] {
            image.sequence = sequence++;
            image.counter = static_cast<std::uint16_t>((firstCounter + images.size()) & 0xFFF);
            image.clock =
                static_cast<std::uint32_t>(100 * images.size() + 5000 * static_cast<std::size_t>(frame));
            images.push_back(image);
        };
        const int groups = shape.exposures * shape.frequencies;
        for (int group = 0; group <= groups; ++group) {
            if (std::ranges::find(shape.intensityBefore, group) != shape.intensityBefore.end()) {
                image.intensity = true;
                image.exposure = 77;
                send();
                image.intensity = false;
            }
            for (int phase = 0; phase < 4 && group < groups; ++phase) {
                image.exposure = group % shape.exposures == 0 ? 400 : 1600;
                image.frequency = group / shape.exposures;
                send();
            }
        }
    }
    return images;
}

// What became of all images.
struct Outcome {
    std::string taken;  // for each image '+' taken, 'A' taken after a start anew, '-' held back
    std::vector<std::string> losses;
};

Outcome judge(const std::vector<ImageInfo>& images) {
    FrameSequence sequence;
    Outcome outcome;
    for (const ImageInfo& image : images) {
        const FrameSequence::Verdict verdict = sequence.next(image);
        outcome.taken += !verdict.fits ? '-' : verdict.startsAnew ? 'A' : '+';
        if (!verdict.loss.empty()) {
            outcome.losses.push_back(verdict.loss);
        }
    }
    if (!sequence.atEnd().empty()) {
        outcome.losses.push_back(sequence.atEnd());
    }
    return outcome;
}

using Losses = std::vector<std::string>;
constexpr const char* heldBack = "; the rest of the frame is held back.";

std::vector<ImageInfo> without(std::vector<ImageInfo> images, std::size_t first, std::size_t count = 1) {
    const auto at = images.begin() + static_cast<std::ptrdiff_t>(first);
    images.erase(at, at + static_cast<std::ptrdiff_t>(count));
    return images;
}

std::string times(char mark, std::size_t count) {
    return std::string(count, mark);
}

TEST(FrameSequence, WholeFramesOfEveryShapeAreTaken) {
    for (int exposures = 1; exposures <= 2; ++exposures) {
        for (int frequencies = 1; frequencies <= 2; ++frequencies) {
            for (const auto& intensity : {std::vector<int>{}, {0}, {1}, {0, 1}}) {
                const auto images = imagesOf({exposures, frequencies, intensity}, 3);
                const Outcome outcome = judge(images);
                EXPECT_EQ(outcome.taken, times('+', images.size()));
                EXPECT_EQ(outcome.losses, Losses{});
            }
        }
    }
}

TEST(FrameSequence, TheCounterAndTheClockMayWrap) {
    auto images = imagesOf({2, 2}, 2, 4090);
    for (ImageInfo& image : images) {
        image.clock += 0xFFFFFF00U;
    }
    EXPECT_EQ(judge(images).taken, times('+', images.size()));
}

TEST(FrameSequence, AClockThatStandsStillIsNoFault) {
    auto images = imagesOf({1, 2}, 3);
    for (ImageInfo& image : images) {
        image.clock = 0;
    }
    EXPECT_EQ(judge(images).taken, times('+', images.size()));
}

TEST(FrameSequence, AMissingImageBreaksItsFrameAndTheNextStartsAnew) {
    const Outcome outcome = judge(without(imagesOf({1, 1}, 3), 5));
    EXPECT_EQ(outcome.taken, "+++++--A+++");
    EXPECT_EQ(outcome.losses, Losses{std::string("Frame 1 is incomplete: image 1 is missing") + heldBack});
}

TEST(FrameSequence, SeveralMissingImagesAreNamed) {
    const Outcome outcome = judge(without(imagesOf({1, 2}, 2), 2, 4));
    EXPECT_EQ(outcome.taken, "++--A+++++++");
    EXPECT_EQ(outcome.losses,
              Losses{std::string("Frame 0 is incomplete: images 2 to 5 are missing") + heldBack});
}

TEST(FrameSequence, AMissingLastImageIsToldByTheNextFrame) {
    const Outcome outcome = judge(without(imagesOf({1, 1}, 3), 7));
    EXPECT_EQ(outcome.taken, "+++++++A+++");
    EXPECT_EQ(outcome.losses, Losses{"Frame 1 is incomplete: nothing came after its image 2."});
}

TEST(FrameSequence, AMissingLastImageOfAllIsToldAtTheEnd) {
    EXPECT_EQ(judge(without(imagesOf({1, 1}, 2), 7)).losses,
              Losses{"Frame 1 is incomplete: nothing came after its image 2."});
}

// The algorithm has nothing of the broken frame, so it goes on as it is.
TEST(FrameSequence, AMissingFirstImageCostsTheFrameAndNoStart) {
    const Outcome outcome = judge(without(imagesOf({1, 1}, 3), 4));
    EXPECT_EQ(outcome.taken, "++++---++++");
    EXPECT_EQ(
        outcome.losses,
        Losses{std::string("The frame after Frame 0 is incomplete: it begins with image 1") + heldBack});
}

TEST(FrameSequence, AStreamThatBeginsInAFrameBeginsWithTheNext) {
    const Outcome outcome = judge(without(imagesOf({1, 1}, 2), 0, 2));
    EXPECT_EQ(outcome.taken, "--++++");
    EXPECT_EQ(outcome.losses,
              Losses{std::string("The frame before the first whole one is incomplete: it begins "
                                 "with image 2") +
                     heldBack});
}

// Groups of four of two frames that follow one another in sequence: the counter tells.
TEST(FrameSequence, EightMissingImagesOfTwoFramesAreSeenByTheCounter) {
    const Outcome outcome = judge(without(imagesOf({1, 2}, 3), 4, 8));
    EXPECT_EQ(outcome.taken, "++++----A+++++++");
    EXPECT_EQ(outcome.losses,
              Losses{std::string("Frame 0 is mixed up: image 4 has the frame counter 12 where 4 "
                                 "was due") +
                     heldBack});
}

// 4096 images later the counter is the same again.
TEST(FrameSequence, AWholeTurnOfTheCounterIsSeenByTheClock) {
    auto images = imagesOf({1, 2}, 514);
    images = without(images, 12, 4096);
    const Outcome outcome = judge(images);
    EXPECT_EQ(outcome.taken, times('+', 12) + "----");
    EXPECT_EQ(outcome.losses,
              Losses{std::string("Frame 1 is mixed up: image 4 is far younger than the image before it") +
                     heldBack});
}

TEST(FrameSequence, AClockThatRunsBackMixesUpTheFrame) {
    auto images = imagesOf({1, 1}, 2);
    images[2].clock = images[1].clock - 1;
    const Outcome outcome = judge(images);
    EXPECT_EQ(outcome.taken, "++--A+++");
    EXPECT_EQ(
        outcome.losses,
        Losses{std::string("Frame 0 is mixed up: image 2 is older than the image before it") + heldBack});
}

TEST(FrameSequence, AnImageThatComesTwiceIsHeldBackAndTheFrameStaysWhole) {
    for (const std::size_t which : {1U, 3U, 4U, 7U}) {
        auto images = imagesOf({1, 2}, 2);
        images.insert(images.begin() + static_cast<std::ptrdiff_t>(which), images[which]);
        const Outcome outcome = judge(images);
        EXPECT_EQ(outcome.taken, times('+', which + 1) + "-" + times('+', 15 - which));
        EXPECT_EQ(outcome.losses, Losses{"Frame 0: image " + std::to_string(which) +
                                         " came twice; what came later is held back."});
    }
}

TEST(FrameSequence, AFirstImageThatComesTwiceBeginsTheFrameAgain) {
    auto images = imagesOf({1, 1}, 2);
    images.insert(images.begin(), images[0]);
    const Outcome outcome = judge(images);
    EXPECT_EQ(outcome.taken, "+A+++++++");
    EXPECT_EQ(outcome.losses, Losses{"Frame 0 is incomplete: nothing came after its image 0."});
}

TEST(FrameSequence, SwappedImagesBreakTheirFrame) {
    auto images = imagesOf({1, 1}, 2);
    std::swap(images[1], images[2]);
    const Outcome outcome = judge(images);
    EXPECT_EQ(outcome.taken, "+---A+++");
    EXPECT_EQ(outcome.losses.size(), 1U);
}

TEST(FrameSequence, AnImageOfAnotherFrameAtTheRightPlaceIsNotTaken) {
    auto images = imagesOf({1, 2}, 3);
    images[5] = images[13];
    EXPECT_EQ(judge(images).taken, "+++++---A+++++++++++++++");
}

TEST(FrameSequence, TheFourPhasesOfAGroupHaveOneExposureTime) {
    auto images = imagesOf({1, 1}, 2);
    images[3].exposure = 401;
    const Outcome outcome = judge(images);
    EXPECT_EQ(outcome.taken, "+++-A+++");
    EXPECT_EQ(outcome.losses,
              Losses{std::string("Frame 0 is mixed up: image 3 has the exposure time 401 where 400 was due") +
                     heldBack});
}

TEST(FrameSequence, TheFourPhasesOfAGroupHaveOneFrequency) {
    auto images = imagesOf({1, 1}, 2);
    images[1].frequency = 1;
    EXPECT_EQ(judge(images).taken, "+---A+++");
}

TEST(FrameSequence, TheExposuresOfAFrequencyDoNotGetShorter) {
    auto images = imagesOf({2, 1}, 2);
    for (std::size_t i = 4; i < 8; ++i) {
        images[i].exposure = 399;
    }
    EXPECT_EQ(judge(images).taken, "++++----A+++++++");
}

TEST(FrameSequence, EqualExposuresOfAFrequencyAreTaken) {
    auto images = imagesOf({2, 2}, 2);
    for (ImageInfo& image : images) {
        image.exposure = 500;
    }
    EXPECT_EQ(judge(images).taken, times('+', images.size()));
}

TEST(FrameSequence, TheExposuresOfAFrequencyHaveThatFrequency) {
    auto images = imagesOf({2, 1}, 2);
    images[4].frequency = 1;
    EXPECT_EQ(judge(images).taken, "++++----A+++++++");
}

TEST(FrameSequence, AFrequencyDoesNotComeTwice) {
    auto images = imagesOf({1, 2}, 2);
    for (std::size_t i = 4; i < 8; ++i) {
        images[i].frequency = 0;
    }
    EXPECT_EQ(judge(images).taken, "++++----A+++++++");
}

TEST(FrameSequence, AnIntensityImageAmongFourPhasesBreaksTheFrame) {
    auto images = imagesOf({1, 1}, 2);
    images[2].intensity = true;
    EXPECT_EQ(judge(images).taken, "++--A+++");
}

TEST(FrameSequence, AnImageAfterTheLastGroupIsNotTaken) {
    auto images = imagesOf({1, 1}, 1);
    ImageInfo extra = images.back();
    extra.sequence = 4;
    extra.counter = 4;
    images.push_back(extra);
    const Outcome outcome = judge(images);
    EXPECT_EQ(outcome.taken, "++++-");
    EXPECT_EQ(outcome.losses.size(), 1U);
}

TEST(FrameSequence, ParametersThatChangeWithinAFrameBreakIt) {
    auto images = imagesOf({1, 1}, 2);
    images[2].parameters[4] = 1;
    EXPECT_EQ(judge(images).taken, "++--A+++");
}

TEST(FrameSequence, ParametersThatChangeBetweenFramesAreNoFault) {
    auto images = imagesOf({1, 1}, 1);
    for (ImageInfo image : imagesOf({1, 2}, 1, 4)) {
        image.parameters[1] = 2;
        image.clock += 5000;
        images.push_back(image);
    }
    EXPECT_EQ(judge(images).taken, times('+', 12));
}

// The algorithm refuses them in its own words.
TEST(FrameSequence, ImagesOfNoKnownShapeAreNotJudged) {
    auto images = imagesOf({1, 1}, 3);
    for (ImageInfo& image : images) {
        image.numExposures = 3;
    }
    EXPECT_EQ(judge(without(images, 5)).taken, times('+', 11));
}

TEST(FrameSequence, WholeFramesThatAreMissingAreCountedAndBreakNothing) {
    FrameSequence sequence;
    for (const ImageInfo& image : without(imagesOf({1, 2}, 5), 8, 16)) {
        const FrameSequence::Verdict verdict = sequence.next(image);
        EXPECT_TRUE(verdict.fits);
        EXPECT_FALSE(verdict.startsAnew);
        EXPECT_EQ(verdict.loss, "");
    }
    EXPECT_EQ(sequence.missingBetweenFrames(), 16U);
}

// A camera that counts from 0 in each frame loses nothing.
TEST(FrameSequence, ACounterThatGoesBackBetweenFramesTellsNothing) {
    FrameSequence sequence;
    for (ImageInfo image : imagesOf({1, 1}, 3)) {
        image.counter = static_cast<std::uint16_t>(image.sequence);
        EXPECT_TRUE(sequence.next(image).fits);
    }
    EXPECT_EQ(sequence.missingBetweenFrames(), 0U);
}

TEST(FrameSequence, SequencesAtTheLimitsAreFaultsLikeOthers) {
    for (const std::int32_t sequence :
         {std::numeric_limits<std::int32_t>::min(), -1, std::numeric_limits<std::int32_t>::max()}) {
        auto images = imagesOf({1, 1}, 2);
        images[1].sequence = sequence;
        EXPECT_EQ(judge(images).taken, "+---A+++") << sequence;
    }
}

}  // namespace
}  // namespace plugin
