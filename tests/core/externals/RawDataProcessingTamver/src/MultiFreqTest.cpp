// SPDX-License-Identifier: Apache-2.0
//
// The multi-frequency stage: which images make a result, what happens to a pixel, how the neighbours vote,
// how the rows are divided among workers, and what fails.
#include "MultiFreq.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "MultiFreqStage.h"
#include "support/Floats.h"
#include "support/Random.h"
#include "support/Threads.h"

namespace {

using testing_support::MultiFreqStage;
using testing_support::Random;
using testing_support::sameFloats;
using testing_support::sameValues;
using testing_support::ThreadServices;
using Lines = std::vector<int32_t>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

class MultiFreq : public ::testing::Test {
 protected:
    /** A ramp of true distances, 0.1 m to 7.3 m. */
    static double trueDistance(int32_t pixel) { return 0.1 + 7.2 * pixel / kPixelCount; }

    void measureRamp() {
        for (int32_t i = 0; i < stage_.pixelCount(); ++i) {
            stage_.measure(i, trueDistance(i));
        }
    }

    void expectUntouched() const {
        for (size_t i = 0; i < stage_.distance.size(); ++i) {
            ASSERT_EQ(stage_.distance[i], MultiFreqStage::kUntouched);
            ASSERT_EQ(stage_.confidence[i], MultiFreqStage::kUntouchedConfidence);
        }
    }

    TwoFreqLUT& lut() { return stage_.state->LUTBackward[0]; }

    MultiFreqStage stage_;
};

// --- Two frequencies -----------------------------------------------------------------------------

TEST_F(MultiFreq, TwoFrequenciesGiveTheTrueDistance) {
    measureRamp();
    ASSERT_EQ(stage_.applyPair(), 0);
    for (int32_t i = 0; i < kPixelCount; ++i) {
        ASSERT_NEAR(static_cast<double>(stage_.distance[static_cast<size_t>(i)]), trueDistance(i), 2e-5) << i;
        ASSERT_EQ(stage_.confidence[static_cast<size_t>(i)], 0);
    }
}

TEST_F(MultiFreq, TheOrderOfTheFrequenciesDoesNotMatter) {
    ASSERT_EQ(stage_.init(), 0);
    for (int32_t i = 0; i < kPixelCount; ++i) {
        stage_.currentDistance[static_cast<size_t>(i)] = stage_.wrapped(trueDistance(i), 0);
        stage_.previousDistance[static_cast<size_t>(i)] = stage_.wrapped(trueDistance(i), 1);
    }
    ASSERT_EQ(stage_.apply(1), 0);
    ASSERT_EQ(stage_.apply(0), 0);
    for (int32_t i = 0; i < kPixelCount; ++i) {
        ASSERT_NEAR(static_cast<double>(stage_.distance[static_cast<size_t>(i)]), trueDistance(i), 2e-5) << i;
    }
}

TEST_F(MultiFreq, TwoEqualFrequenciesUseTheForwardTable) {
    ASSERT_EQ(stage_.init(), 0);
    stage_.frequencies = {60e6F, 60e6F};
    stage_.calib.frequencies = stage_.frequencies.data();
    TwoFreqLUT& forward = stage_.state->LUTForward[0];
    std::fill_n(forward.offset, kTwoFreqBins, 0.5F);
    stage_.param.verticalAssignment = 1;
    stage_.currentDistance[0] = 1.0F;
    stage_.previousDistance[0] = 1.0F;
    ASSERT_EQ(stage_.apply(0), 0);
    ASSERT_EQ(stage_.apply(1), 0);
    EXPECT_EQ(stage_.distance[0], 1.5F);
}

TEST_F(MultiFreq, TheMeanOfBothMeasurementsHasHalfTheError) {
    stage_.currentDistance[0] = 1.0F + 0.04F;
    stage_.previousDistance[0] = 1.0F;
    ASSERT_EQ(stage_.applyPair(), 0);
    EXPECT_NEAR(stage_.distance[0], 1.02F, 1e-6F);
}

TEST_F(MultiFreq, VerticalAssignmentTakesTheCurrentMeasurementAlone) {
    stage_.param.verticalAssignment = 1;
    stage_.currentDistance[0] = 1.0F + 0.04F;
    stage_.previousDistance[0] = 1.0F;
    ASSERT_EQ(stage_.applyPair(), 0);
    EXPECT_EQ(stage_.distance[0], 1.04F);
}

TEST_F(MultiFreq, APixelWithoutMeasurementKeepsItsMergedConfidence) {
    stage_.measure(0, 3.0);
    stage_.currentDistance[0] = 0.0F;
    stage_.measure(1, 3.0);
    stage_.previousDistance[1] = -0.0F;
    stage_.currentConfidence = std::vector<uint16_t>(stage_.currentConfidence.size(), 0x8011);
    stage_.input.currentConfidence = stage_.currentConfidence.data();
    std::fill(stage_.previousConfidence.begin(), stage_.previousConfidence.end(), uint16_t{0x4008});
    ASSERT_EQ(stage_.applyPair(), 0);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(stage_.distance[i], 0.0F);
        EXPECT_EQ(stage_.confidence[i], 0xC019);
    }
}

TEST_F(MultiFreq, TheOtherBitsPassThrough) {
    stage_.measure(0, 3.0);
    stage_.currentDistance[1] = 1.0F;
    stage_.previousDistance[1] = 1.3F;  // between two lines
    std::fill(stage_.currentConfidence.begin(), stage_.currentConfidence.end(), uint16_t{0x8010});
    std::fill(stage_.previousConfidence.begin(), stage_.previousConfidence.end(), uint16_t{0x0010});
    ASSERT_EQ(stage_.applyPair(), 0);
    EXPECT_EQ(stage_.confidence[0], 0x8010);
    EXPECT_EQ(stage_.confidence[1], 0x8031);
    EXPECT_EQ(stage_.distance[1], 0.0F);
}

TEST_F(MultiFreq, TheConfidenceOfTheResultMayBeThatOfTheCurrentImage) {
    measureRamp();
    std::fill(stage_.currentConfidence.begin(), stage_.currentConfidence.end(), uint16_t{0x0010});
    std::fill(stage_.previousConfidence.begin(), stage_.previousConfidence.end(), uint16_t{0x8000});
    stage_.output.confidence = stage_.currentConfidence.data();
    ASSERT_EQ(stage_.applyPair(), 0);
    EXPECT_EQ(stage_.currentConfidence[0], 0x8010);
    EXPECT_EQ(stage_.currentConfidence[kPixelCount - 1], 0x8010);
}

// A line of exactly representable numbers: bins of 1 m, the line of all bins at difference 0, half width 50
// m, so that a percent of acceptance is 0.5 m.
class LineDistance : public MultiFreq {
 protected:
    void useLine(float percentage) {
        ASSERT_EQ(stage_.init(), 0);
        stage_.state->uniqueRangesTwoFreq[0] = 50.0F;
        lut() = {};
        lut().lutOffset = 10.0F;
        lut().lutResolution = 1.0F;
        lut().halfLineDist = 50.0F;
        stage_.input.twoFreqMaxLineDistPercentage = percentage;
    }
    int32_t applyPair() {
        stage_.forgetErrors();
        EXPECT_EQ(stage_.apply(0), 0);
        return stage_.apply(1);
    }
};

TEST_F(LineDistance, ExactlyTheThresholdIsRefused) {
    useLine(1.0F);
    const float threshold = 1.0F * (50.0F * 0.01F);
    EXPECT_EQ(threshold, 0.5F);
    stage_.currentDistance[0] = 2.5F;
    stage_.previousDistance[0] = 2.0F;
    stage_.currentDistance[1] = std::nextafter(2.5F, 0.0F);
    stage_.previousDistance[1] = 2.0F;
    stage_.currentDistance[2] = 2.0F;
    stage_.previousDistance[2] = 2.5F;
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.distance[0], 0.0F);
    EXPECT_EQ(stage_.confidence[0], 0x0021);
    EXPECT_NEAR(stage_.distance[1], 2.25F, 1e-6F);
    EXPECT_EQ(stage_.confidence[1], 0);
    EXPECT_EQ(stage_.confidence[2], 0x0021);
}

TEST_F(LineDistance, AnAcceptanceOfZeroRefusesEveryPixel) {
    useLine(0.0F);
    stage_.currentDistance[0] = 2.0F;
    stage_.previousDistance[0] = 2.0F;
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.distance[0], 0.0F);
    EXPECT_EQ(stage_.confidence[0], 0x0021);
    EXPECT_EQ(stage_.confidence[1], 0);  // not measured
}

TEST_F(LineDistance, AnAcceptanceOfNaNRefusesEveryPixel) {
    useLine(kNaN);
    stage_.currentDistance[0] = 2.0F;
    stage_.previousDistance[0] = 2.0F;
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.confidence[0], 0x0021);
}

TEST_F(LineDistance, ABinWithoutLineIsRefused) {
    useLine(100.0F);
    lut().offset[12] = -1.0F;
    stage_.currentDistance[0] = 4.0F;  // 4 - 2 + 10
    stage_.previousDistance[0] = 2.0F;
    stage_.currentDistance[1] = 5.0F;
    stage_.previousDistance[1] = 2.0F;
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.confidence[0], 0x0021);
    EXPECT_EQ(stage_.confidence[1], 0);
}

TEST_F(LineDistance, ABinIsRoundedToTheNearest) {
    useLine(100.0F);
    lut().offset[12] = 7.0F;
    stage_.param.verticalAssignment = 1;
    const float differences[] = {std::nextafter(1.5F, 0.0F), 1.5F, 2.25F, 2.5F};
    for (size_t i = 0; i < 4; ++i) {
        stage_.currentDistance[i] = 8.0F + differences[i];
        stage_.previousDistance[i] = 8.0F;
    }
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.distance[1], 16.5F);  // bin 12 begins at 1.5
    EXPECT_EQ(stage_.distance[2], 17.25F);
    EXPECT_EQ(stage_.distance[3], 10.5F);  // bin 13 at 2.5
}

// Position 0.5 + (difference + 10): its integer part is cut towards 0, so above -1 counts as bin 0.
TEST_F(LineDistance, TheFirstBinReachesDownToMinusOne) {
    useLine(100.0F);
    lut().offset[0] = 3.0F;
    stage_.param.verticalAssignment = 1;
    stage_.currentDistance[0] = 1.0F;
    stage_.previousDistance[0] = 12.25F;  // position -0.75
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.distance[0], 4.0F);
    stage_.previousDistance[0] = 12.5F;  // position -1
    EXPECT_EQ(applyPair(), 1);
    EXPECT_EQ(stage_.lines(), Lines({752, 185, 400, 332}));
}

TEST_F(LineDistance, TheLastBinReachesUpToOneHundred) {
    useLine(1000.0F);
    lut().offset[99] = 3.0F;
    stage_.param.verticalAssignment = 1;
    stage_.state->uniqueRangesTwoFreq[0] = 200.0F;
    stage_.currentDistance[0] = 90.25F;  // position 99.75
    stage_.previousDistance[0] = 1.0F;
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.distance[0], 93.25F);
    stage_.currentDistance[0] = 90.5F;  // position 100
    EXPECT_EQ(applyPair(), 1);
    EXPECT_EQ(stage_.lines(), Lines({752, 185, 400, 332}));
}

// NaN, cut to an integer, is 0. But it lies close to no line, even if bin 0 has one.
TEST_F(LineDistance, NaNCostsItsPixelAndNoOther) {
    useLine(100.0F);
    stage_.param.verticalAssignment = 1;
    lut().offset[0] = 3.0F;
    for (const int32_t vote : {0, 1}) {
        stage_.input.filterAssignment = vote;
        std::fill(stage_.currentDistance.begin(), stage_.currentDistance.end(), 3.0F);
        std::fill(stage_.previousDistance.begin(), stage_.previousDistance.end(), 3.0F);
        stage_.currentDistance[7] = kNaN;
        stage_.previousDistance[1000] = kNaN;
        stage_.currentDistance[kPixelCount - 1] = kInfinity;
        stage_.previousDistance[kPixelCount - 1] = kInfinity;
        ASSERT_EQ(applyPair(), 0);
        EXPECT_EQ(stage_.output.outputComplete, 1);
        for (size_t i = 0; i < stage_.distance.size(); ++i) {
            const bool lost = i == 7 || i == 1000 || i == kPixelCount - 1;
            ASSERT_EQ(stage_.distance[i], lost ? 0.0F : 3.0F) << i;
            ASSERT_EQ(stage_.confidence[i], lost ? 0x0021 : 0) << i;
        }
    }
}

TEST_F(LineDistance, InfinityFailsUnderTheLineOfItsWay) {
    useLine(100.0F);
    stage_.currentDistance[7] = kInfinity;
    stage_.previousDistance[7] = 2.0F;
    EXPECT_EQ(applyPair(), 1);
    EXPECT_EQ(stage_.lines(), Lines({752, 185, 400, 332}));
    stage_.input.filterAssignment = 1;
    EXPECT_EQ(applyPair(), 1);
    EXPECT_EQ(stage_.lines(), Lines({812, 185, 400, 332}));
    EXPECT_EQ(stage_.output.outputComplete, 0);
}

TEST_F(LineDistance, ThePixelsBeforeTheOneThatFailsHaveTheirResult) {
    useLine(100.0F);
    stage_.param.verticalAssignment = 1;
    std::fill(stage_.currentDistance.begin(), stage_.currentDistance.end(), 3.0F);
    std::fill(stage_.previousDistance.begin(), stage_.previousDistance.end(), 3.0F);
    for (const size_t failing : {size_t{0}, size_t{1}, size_t{223}, size_t{1000}, size_t{kPixelCount - 1}}) {
        std::fill(stage_.distance.begin(), stage_.distance.end(), MultiFreqStage::kUntouched);
        std::fill(stage_.confidence.begin(), stage_.confidence.end(), MultiFreqStage::kUntouchedConfidence);
        stage_.currentDistance[failing] = kInfinity;
        EXPECT_EQ(applyPair(), 1);
        stage_.currentDistance[failing] = 3.0F;
        for (size_t i = 0; i < failing; ++i) {
            ASSERT_EQ(stage_.distance[i], 3.0F) << i;
            ASSERT_EQ(stage_.confidence[i], 0) << i;
        }
        EXPECT_EQ(stage_.distance[failing], MultiFreqStage::kUntouched);
        EXPECT_EQ(stage_.confidence[failing], 0);
        if (failing + 1 < stage_.distance.size()) {
            EXPECT_EQ(stage_.distance[failing + 1], MultiFreqStage::kUntouched);
            EXPECT_EQ(stage_.confidence[failing + 1], MultiFreqStage::kUntouchedConfidence);
        }
    }
}

TEST_F(LineDistance, OutsideAFixedRangeIsRefused) {
    useLine(100.0F);
    stage_.param.verticalAssignment = 1;
    const float distances[] = {50.0F, std::nextafter(50.0F, 100.0F), 0.5F, -0.5F};
    for (size_t i = 0; i < 4; ++i) {
        stage_.currentDistance[i] = distances[i];
        stage_.previousDistance[i] = distances[i];
    }
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.distance[0], 50.0F);
    EXPECT_EQ(stage_.distance[1], 0.0F);
    EXPECT_EQ(stage_.confidence[1], 0x0021);
    EXPECT_EQ(stage_.distance[2], 0.5F);
    EXPECT_EQ(stage_.distance[3], 0.0F);
    EXPECT_EQ(stage_.confidence[3], 0x0021);
}

TEST_F(LineDistance, OutsideTheRangeOfTheRatioComesRound) {
    useLine(100.0F);
    lut().autoMaxRange = 1;
    stage_.param.verticalAssignment = 1;
    const float distances[] = {50.0F, 50.5F, 0.5F, -0.5F};
    for (size_t i = 0; i < 4; ++i) {
        stage_.currentDistance[i] = distances[i];
        stage_.previousDistance[i] = distances[i];
    }
    ASSERT_EQ(applyPair(), 0);
    const float expected[] = {50.0F, 0.5F, 0.5F, 49.5F};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(stage_.distance[i], expected[i]);
        EXPECT_EQ(stage_.confidence[i], 0);
    }
}

// --- The vote on the line ------------------------------------------------------------------------

// Lines of whole metres: the line of difference n adds 10 n. A pixel of line n measures n more in the current
// image than in the previous one.
class LineVotes : public LineDistance {
 protected:
    static constexpr int32_t kMiddle = 5 * kImageWidth + 9;

    void SetUp() override {
        useLine(100.0F);
        for (int k = 0; k < kTwoFreqBins; ++k) {
            lut().lineIndices[k] = k - 10;
            lut().abscissa[k] = static_cast<float>(k - 10);
            lut().offset[k] = static_cast<float>(k - 10) * 10.0F;
            lut().offsetLut[k] = static_cast<float>(k) * 10.0F;
        }
        stage_.state->uniqueRangesTwoFreq[0] = 1000.0F;
        stage_.input.filterAssignment = 1;
        stage_.param.verticalAssignment = 1;
    }

    void setLine(int32_t pixel, int line) {
        stage_.currentDistance[static_cast<size_t>(pixel)] = 5.0F + static_cast<float>(line);
        stage_.previousDistance[static_cast<size_t>(pixel)] = 5.0F;
    }

    /** The line that a pixel of line 20 gets from eight neighbours on these lines. */
    int vote(const std::vector<int>& neighbors) {
        constexpr int32_t kAround[] = {-kImageWidth - 1, -kImageWidth, -kImageWidth + 1, -1, 1,
                                       kImageWidth - 1,  kImageWidth,  kImageWidth + 1};
        setLine(kMiddle, 20);
        for (size_t n = 0; n < 8; ++n) {
            setLine(kMiddle + kAround[n], neighbors.at(n));
        }
        EXPECT_EQ(applyPair(), 0);
        return static_cast<int>((stage_.distance[kMiddle] - 25.0F) / 10.0F);
    }

    /** The same for every order of the neighbours: all of them count equally. */
    int voteInAnyOrder(std::vector<int> neighbors) {
        std::sort(neighbors.begin(), neighbors.end());
        const int line = vote(neighbors);
        while (std::next_permutation(neighbors.begin(), neighbors.end())) {
            if (++orders_ % 37 == 0) {
                EXPECT_EQ(vote(neighbors), line);
            }
        }
        return line;
    }

    int orders_ = 0;
};

TEST_F(LineVotes, ThreeStayThreeUpTwoDownStay) {
    EXPECT_EQ(voteInAnyOrder({20, 20, 20, 21, 21, 21, 19, 19}), 20);
}

TEST_F(LineVotes, TwoStayThreeUpThreeDownGoUp) {
    EXPECT_EQ(voteInAnyOrder({20, 20, 21, 21, 21, 19, 19, 19}), 21);
}

TEST_F(LineVotes, TwoStayTwoUpFourDownGoDown) {
    EXPECT_EQ(voteInAnyOrder({20, 20, 21, 21, 19, 19, 19, 19}), 19);
}

TEST_F(LineVotes, StayWinsATieWithDown) {
    EXPECT_EQ(vote({20, 20, 20, 20, 19, 19, 19, 19}), 20);
}

TEST_F(LineVotes, MoreThanOneLineAwayDoesNotVote) {
    EXPECT_EQ(vote({22, 22, 22, 22, 18, 18, 18, 18}), 20);
    EXPECT_EQ(vote({22, 22, 22, 22, 18, 18, 18, 21}), 21);
    EXPECT_EQ(vote({22, 22, 22, 22, 18, 18, 18, 19}), 19);
}

TEST_F(LineVotes, PixelsWithoutLineDoNotVote) {
    setLine(kMiddle, 20);
    setLine(kMiddle + 1, 19);
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.distance[kMiddle], 25.0F + 190.0F);
    EXPECT_EQ(stage_.scratch->lineIndices[kMiddle], 20);
    EXPECT_EQ(stage_.scratch->lineIndices[kMiddle - 1], -100);
}

TEST_F(LineVotes, ThePixelsOfTheBorderKeepTheirLine) {
    for (int32_t i = 0; i < kPixelCount; ++i) {
        setLine(i, 21);
    }
    constexpr int32_t kBorder[] = {0,
                                   100,
                                   kImageWidth - 1,
                                   50 * kImageWidth,
                                   50 * kImageWidth + kImageWidth - 1,
                                   kPixelCount - kImageWidth,
                                   kPixelCount - 30,
                                   kPixelCount - 1};
    for (const int32_t pixel : kBorder) {
        setLine(pixel, 20);
    }
    setLine(kImageWidth + 1, 20);
    ASSERT_EQ(applyPair(), 0);
    for (const int32_t pixel : kBorder) {
        EXPECT_EQ(stage_.distance[static_cast<size_t>(pixel)], 25.0F + 200.0F) << pixel;
    }
    EXPECT_EQ(stage_.distance[kImageWidth + 1], 25.0F + 210.0F);
}

TEST_F(LineVotes, AnImageOfOneOrTwoRowsOrColumnsIsAllBorder) {
    for (const auto& [width, height] : {std::pair{1, 9}, {2, 9}, {9, 1}, {9, 2}, {1, 1}}) {
        stage_.setSize(width, height);
        for (int32_t i = 0; i < width * height; ++i) {
            setLine(i, i % 2 == 0 ? 20 : 21);
        }
        ASSERT_EQ(applyPair(), 0);
        for (int32_t i = 0; i < width * height; ++i) {
            ASSERT_EQ(stage_.distance[static_cast<size_t>(i)], i % 2 == 0 ? 225.0F : 236.0F);
        }
    }
}

TEST_F(LineVotes, AnInvalidPixelOfBothImagesKeepsItsValueBeforeTheOffset) {
    setLine(kMiddle, 20);
    stage_.previousConfidence[kMiddle] = 0x0001;
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.distance[kMiddle], 25.0F);
    EXPECT_EQ(stage_.confidence[kMiddle], 0x0001);
}

TEST_F(LineVotes, AnUnmeasuredPixelThatIsValidKeepsDistanceZero) {
    lut().offsetLut[0] = 7.0F;
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.distance[kMiddle], 0.0F);
    EXPECT_EQ(stage_.confidence[kMiddle], 0);
}

TEST_F(LineVotes, APixelTooFarFromItsLineHasNone) {
    setLine(kMiddle, 20);
    stage_.currentDistance[kMiddle] += 0.25F;
    stage_.input.twoFreqMaxLineDistPercentage = 0.5F;  // 0.25 m
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.distance[kMiddle], 0.0F);
    EXPECT_EQ(stage_.confidence[kMiddle], 0x0021);
    EXPECT_EQ(stage_.scratch->lineIndices[kMiddle], -100);
}

TEST_F(LineVotes, ALineBelowTheFirstOrAboveTheLastAddsNothing) {
    lut().offsetLut[99] = 990.0F;
    for (const int own : {0, 99}) {
        lut().lineIndices[30] = own;  // the bin of line 20
        lut().lineIndices[31] = own == 0 ? -1 : 100;
        setLine(kMiddle, 20);
        setLine(kMiddle + 1, 21);
        setLine(kMiddle + kImageWidth, 21);
        ASSERT_EQ(applyPair(), 0);
        EXPECT_EQ(stage_.distance[kMiddle], 25.0F) << own;
    }
}

TEST_F(LineVotes, OutsideTheRangeIsRefusedAfterTheVote) {
    stage_.state->uniqueRangesTwoFreq[0] = 224.0F;
    setLine(kMiddle, 20);  // 225 m
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.distance[kMiddle], 0.0F);
    EXPECT_EQ(stage_.confidence[kMiddle], 0x0021);
    lut().autoMaxRange = 1;
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.distance[kMiddle], 1.0F);
    EXPECT_EQ(stage_.confidence[kMiddle], 0);
}

TEST_F(LineVotes, TheMeanIsTakenBeforeTheVote) {
    stage_.param.verticalAssignment = 0;
    setLine(kMiddle, 20);  // ((25 + 5) + 20) / 2
    setLine(kMiddle + 1, 21);
    ASSERT_EQ(applyPair(), 0);
    EXPECT_EQ(stage_.distance[kMiddle], 25.0F + 210.0F);
}

TEST_F(MultiFreq, TheVoteOfAPlainSceneChangesNothing) {
    measureRamp();
    ASSERT_EQ(stage_.applyPair(), 0);
    const std::vector<float> unfiltered = stage_.distance;
    stage_.input.filterAssignment = 1;
    ASSERT_EQ(stage_.applyPair(), 0);
    // The ramp rises by 2e-4 m a pixel: only where it steps from line to line do neighbours disagree.
    int differing = 0;
    for (size_t i = 0; i < unfiltered.size(); ++i) {
        differing += unfiltered[i] == stage_.distance[i] ? 0 : 1;
    }
    EXPECT_EQ(differing, 0);
}

// --- Which images make a result ------------------------------------------------------------------

TEST_F(MultiFreq, WithoutOverlapEverySecondImageCompletesAPair) {
    measureRamp();
    ASSERT_EQ(stage_.init(), 0);
    for (int pair = 0; pair < 2; ++pair) {
        std::fill(stage_.distance.begin(), stage_.distance.end(), MultiFreqStage::kUntouched);
        std::fill(stage_.confidence.begin(), stage_.confidence.end(), MultiFreqStage::kUntouchedConfidence);
        ASSERT_EQ(stage_.apply(0), 0);
        EXPECT_EQ(stage_.state->assign2Q, 0);
        EXPECT_EQ(stage_.output.outputComplete, 0);
        expectUntouched();
        ASSERT_EQ(stage_.apply(1), 0);
        EXPECT_EQ(stage_.state->assign2Q, 1);
        EXPECT_EQ(stage_.state->precedingFreqIdx, 0);
        EXPECT_EQ(stage_.state->prevFreqIdx, -1);
        EXPECT_EQ(stage_.output.outputComplete, 1);
        EXPECT_NEAR(static_cast<double>(stage_.distance[30000]), trueDistance(30000), 2e-5);
    }
}

TEST_F(MultiFreq, WithOverlapEveryImageCompletesAPairWithTheOneBefore) {
    stage_.param.continuousMultiFreq = 1;
    ASSERT_EQ(stage_.init(), 0);
    ASSERT_EQ(stage_.apply(0), 0);
    EXPECT_EQ(stage_.output.outputComplete, 0);
    for (int image = 1; image < 6; ++image) {
        ASSERT_EQ(stage_.apply(image % 2), 0);
        EXPECT_EQ(stage_.output.outputComplete, 1);
        EXPECT_EQ(stage_.state->precedingFreqIdx, 1 - image % 2);
        EXPECT_EQ(stage_.state->prevFreqIdx, image % 2);
    }
}

TEST_F(MultiFreq, OneFrequencyIsCompleteAtOnceAndNotWrittenHere) {
    stage_.calib.frequencyMode = MultiFreq_FModeSingleFreq;
    stage_.hopping.frequencyHoppingTableLength = 1;
    stage_.param.numThreads = 4;
    stage_.services = {ThreadServices::create, ThreadServices::join};
    const ThreadServices threads;
    ASSERT_EQ(stage_.init(), 0);
    ASSERT_EQ(stage_.apply(0), 0);
    EXPECT_EQ(stage_.output.outputComplete, 1);
    EXPECT_EQ(threads.created, 0);
    EXPECT_EQ(stage_.state->prevFreqIdx, -1);
    expectUntouched();
}

TEST_F(MultiFreq, TheSizeGoesToTheOutput) {
    stage_.setSize(7, 3);
    ASSERT_EQ(stage_.applyPair(), 0);
    EXPECT_EQ(stage_.output.width, 7);
    EXPECT_EQ(stage_.output.height, 3);
}

TEST_F(MultiFreq, AFailedPairStartsAnew) {
    ASSERT_EQ(stage_.init(), 0);
    ASSERT_EQ(stage_.apply(0), 0);
    stage_.currentDistance[0] = kInfinity;
    stage_.previousDistance[0] = 1.0F;
    EXPECT_EQ(stage_.apply(1), 1);
    EXPECT_EQ(stage_.output.outputComplete, 0);
    EXPECT_EQ(stage_.state->prevFreqIdx, -1);
}

// --- Three frequencies ---------------------------------------------------------------------------

class ThreeFreq : public MultiFreq {
 protected:
    ThreeFreq() { stage_.useThreeFrequencies(); }

    /** Shows image number `image` of the frequencies in turn, all pixels at one true distance. */
    int32_t show(int image, double metres) {
        const int32_t current = image % 3;
        std::fill(stage_.previousDistance.begin(), stage_.previousDistance.end(),
                  stage_.wrapped(metres, (image + 2) % 3));
        std::fill(stage_.currentDistance.begin(), stage_.currentDistance.end(),
                  stage_.wrapped(metres, current));
        return stage_.apply(current);
    }
};

TEST_F(ThreeFreq, TheThirdImageCompletesTheFirstResult) {
    ASSERT_EQ(stage_.init(), 0);
    for (int frame = 0; frame < 2; ++frame) {
        std::fill(stage_.distance.begin(), stage_.distance.end(), MultiFreqStage::kUntouched);
        std::fill(stage_.confidence.begin(), stage_.confidence.end(), MultiFreqStage::kUntouchedConfidence);
        ASSERT_EQ(show(0, 3.3), 0);
        EXPECT_EQ(stage_.state->assign2Q, 0);
        EXPECT_EQ(stage_.output.outputComplete, 0);
        ASSERT_EQ(show(1, 3.3), 0);
        EXPECT_EQ(stage_.state->assign2Q, 1);
        EXPECT_EQ(stage_.state->threeFreqCombine, 0);
        EXPECT_EQ(stage_.output.outputComplete, 0);
        expectUntouched();
        ASSERT_EQ(show(2, 3.3), 0);
        EXPECT_EQ(stage_.state->threeFreqCombine, 1);
        EXPECT_EQ(stage_.output.outputComplete, 1);
        EXPECT_EQ(stage_.state->prevFreqIdx, -1);
        EXPECT_EQ(stage_.state->prevPrevFreqIdx, -1);
        EXPECT_NEAR(stage_.distance[777], 3.3F, 1e-5F);
        EXPECT_EQ(stage_.confidence[777], 0);
    }
}

TEST_F(ThreeFreq, WithOverlapEveryImageFromTheThirdOnCompletesAResult) {
    stage_.param.continuousMultiFreq = 1;
    ASSERT_EQ(stage_.init(), 0);
    for (int image = 0; image < 9; ++image) {
        ASSERT_EQ(show(image, 2.2), 0);
        EXPECT_EQ(stage_.output.outputComplete, image >= 2 ? 1 : 0);
        EXPECT_EQ(stage_.state->rollingCounter, (image + 1) % 2);
    }
    EXPECT_NEAR(stage_.distance[0], 2.2F, 1e-5F);
}

TEST_F(ThreeFreq, TwoBuffersTakeTurns) {
    ASSERT_EQ(stage_.init(), 0);
    ASSERT_EQ(show(0, 3.3), 0);
    EXPECT_EQ(static_cast<const IntermediateRes3Freq*>(stage_.state->inter0),
              &stage_.state->intermediateResults[0]);
    EXPECT_EQ(static_cast<const IntermediateRes3Freq*>(stage_.state->inter1),
              &stage_.state->intermediateResults[1]);
    ASSERT_EQ(show(1, 3.3), 0);
    EXPECT_EQ(static_cast<const IntermediateRes3Freq*>(stage_.state->inter0),
              &stage_.state->intermediateResults[1]);
    EXPECT_EQ(static_cast<const IntermediateRes3Freq*>(stage_.state->inter1),
              &stage_.state->intermediateResults[0]);
    EXPECT_NEAR(stage_.state->intermediateResults[1].distance[5], 3.3F, 1e-5F);
    ASSERT_EQ(show(2, 3.3), 0);
    EXPECT_NEAR(stage_.state->intermediateResults[0].distance[5], 3.3F, 1e-5F);
    EXPECT_EQ(stage_.state->intermediateResults[2].distance[5], 0.0F);
}

TEST_F(ThreeFreq, PairsThatDisagreeMakeThePixelInvalid) {
    ASSERT_EQ(stage_.init(), 0);
    ASSERT_EQ(show(0, 3.3), 0);
    ASSERT_EQ(show(1, 3.3), 0);
    ASSERT_EQ(show(2, 4.3), 0);  // 0.749 m are the half distance of the lines, 80 percent of them 0.6 m
    EXPECT_EQ(stage_.distance[0], 0.0F);
    EXPECT_EQ(stage_.confidence[0], 0x0401);
}

TEST_F(ThreeFreq, OnlyADifferenceBelowTheThresholdAgrees) {
    ASSERT_EQ(stage_.init(), 0);
    MultiFreqState& state = *stage_.state;
    state.assign2Q = 0;
    state.threeFreqCombine = 1;
    state.inter0 = &state.intermediateResults[0];
    state.inter1 = &state.intermediateResults[1];
    state.effectiveMeasurementRange = 6.0F;
    state.halfLineDist3Freq = 50.0F;
    stage_.input.threeFreqMax3FLineDistPercentage = 1.0F;  // 0.5 m
    struct Case {
        float d0, d1;
        bool agree;
    };
    const Case cases[] = {{3.0F, 3.5F, false}, {3.0F, std::nextafter(3.5F, 3.0F), true},
                          {6.0F, 6.0F, true},  {6.0F, std::nextafter(6.0F, 7.0F), false},
                          {6.1F, 6.0F, false}, {0.0F, 0.1F, false},
                          {0.1F, 0.0F, false}, {-0.0F, 0.1F, false},
                          {kNaN, 1.0F, false}, {1.0F, kNaN, false},
                          {-1.0F, -1.2F, true}};
    for (size_t i = 0; i < std::size(cases); ++i) {
        state.intermediateResults[0].distance[i] = cases[i].d0;
        state.intermediateResults[1].distance[i] = cases[i].d1;
        state.intermediateResults[0].confidence[i] = 0x8000;
        state.intermediateResults[1].confidence[i] = 0x0010;
    }
    ASSERT_EQ(ApplyThreeFreq(&state, &stage_.calib, stage_.scratch.get(), &stage_.param, &stage_.input,
                             &stage_.output, 0, 1),
              0);
    EXPECT_EQ(stage_.output.outputComplete, 1);
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(stage_.distance[i], cases[i].agree ? cases[i].d0 : 0.0F) << i;
        EXPECT_EQ(stage_.confidence[i], cases[i].agree ? 0x8010 : 0x8411) << i;
    }
    EXPECT_EQ(stage_.distance[kImageWidth], MultiFreqStage::kUntouched);
}

TEST_F(ThreeFreq, APairThatFailsIsReportedUpToTheCaller) {
    ASSERT_EQ(stage_.init(), 0);
    ASSERT_EQ(show(0, 3.3), 0);
    stage_.input.previousDistance = nullptr;
    EXPECT_EQ(show(1, 3.3), 1);
    EXPECT_EQ(stage_.lines(), Lines({719, 207, 404, 332}));
}

TEST_F(ThreeFreq, APairWithoutTableFails) {
    stage_.setFrequencies({100e6F, 75e6F, 60e6F});
    stage_.hopping.frequencyHoppingTable[2] = {2, 1, 1};  // no table for (0, 2)
    ASSERT_EQ(stage_.init(), 0);
    ASSERT_EQ(stage_.apply(0), 0);
    EXPECT_EQ(stage_.apply(2), 1);
    EXPECT_EQ(stage_.lines(), Lines({720, 207, 404, 332}));
}

TEST_F(ThreeFreq, WithoutBuffersTheStepFails) {
    ASSERT_EQ(stage_.init(), 0);
    EXPECT_EQ(ApplyThreeFreq(stage_.state.get(), &stage_.calib, stage_.scratch.get(), &stage_.param,
                             &stage_.input, &stage_.output, 0, 1),
              1);
}

// --- Workers -------------------------------------------------------------------------------------

class Workers : public MultiFreq {
 protected:
    Workers() { stage_.services = {ThreadServices::create, ThreadServices::join}; }

    /** A rough scene, in which neighbours often disagree on their line. */
    void measureRoughScene() {
        Random random(71);
        for (int32_t i = 0; i < stage_.pixelCount(); ++i) {
            stage_.measure(i, static_cast<double>(random.real(0.1F, 7.3F)));
            stage_.currentDistance[static_cast<size_t>(i)] += random.real(-0.25F, 0.25F);
            stage_.previousDistance[static_cast<size_t>(i)] += random.real(-0.25F, 0.25F);
        }
    }

    /** The first and the last row that stripe `t` of `n` writes. */
    std::pair<int32_t, int32_t> rowsOfStripe(int32_t t, int32_t n) {
        MultiFreqApplyArgs args = {stage_.state.get(),  &stage_.param,  &stage_.calib,
                                   &stage_.input,       &stage_.output, n,
                                   stage_.scratch.get()};
        const MultiFreqThreadData data = {&args, t};
        std::fill(stage_.distance.begin(), stage_.distance.end(), MultiFreqStage::kUntouched);
        EXPECT_EQ(MultiFreq_ApplyMultiThread(&data), 0);
        int32_t first = -1;
        int32_t last = -1;
        for (int32_t row = 0; row < stage_.input.height; ++row) {
            const auto begin = stage_.distance.begin() + row * stage_.input.width;
            const auto touched = std::count_if(begin, begin + stage_.input.width,
                                               [](float v) { return v != MultiFreqStage::kUntouched; });
            if (touched > 0) {
                EXPECT_EQ(touched, stage_.input.width) << row;
                EXPECT_TRUE(first < 0 || last == row - 1) << row;
                first = first < 0 ? row : first;
                last = row;
            }
        }
        return {first, last};
    }

    void beginPair() {
        ASSERT_EQ(stage_.init(), 0);
        stage_.state->precedingFreqIdx = 0;
        stage_.state->assign2Q = 1;
        stage_.input.currentFreqIdx = 1;
    }

    ThreadServices threads_;
};

TEST_F(Workers, FourStripesOf172RowsHave43Rows) {
    beginPair();
    for (int32_t t = 0; t < 4; ++t) {
        EXPECT_EQ(rowsOfStripe(t, 4), std::pair(43 * t, 43 * t + 42));
    }
}

TEST_F(Workers, FiveStripesOf172RowsHave34RowsAndTheLastHas36) {
    beginPair();
    for (int32_t t = 0; t < 4; ++t) {
        EXPECT_EQ(rowsOfStripe(t, 5), std::pair(34 * t, 34 * t + 33));
    }
    EXPECT_EQ(rowsOfStripe(4, 5), std::pair(136, 171));
}

TEST_F(Workers, MoreStripesThanRowsLeaveAllRowsToTheLast) {
    stage_.setSize(8, 3);
    beginPair();
    for (int32_t t = 0; t < 9; ++t) {
        EXPECT_EQ(rowsOfStripe(t, 10), std::pair(-1, -1));
    }
    EXPECT_EQ(rowsOfStripe(9, 10), std::pair(0, 2));
}

TEST_F(Workers, EveryNumberOfWorkersGivesTheSameResult) {
    measureRoughScene();
    for (const int32_t height : {kImageHeight, 3}) {
        threads_.joinAll();
        stage_.input.height = height;
        stage_.param.numThreads = 0;
        ASSERT_EQ(stage_.applyPair(), 0);
        EXPECT_EQ(threads_.created, 0);
        const std::vector<float> distance = stage_.distance;
        const std::vector<uint16_t> confidence = stage_.confidence;
        for (int32_t n = -1; n <= kMaxThreads; ++n) {
            threads_.joinAll();
            std::fill(stage_.distance.begin(), stage_.distance.begin() + height * kImageWidth, 5.0F);
            stage_.param.numThreads = n;
            ASSERT_EQ(stage_.init(), 0);
            ASSERT_EQ(stage_.apply(0), 0);
            EXPECT_EQ(stage_.output.outputComplete, 0);
            ASSERT_EQ(stage_.apply(1), 0);
            EXPECT_EQ(stage_.output.outputComplete, 1);
            EXPECT_EQ(threads_.created, 2 * std::max(n, 0));
            EXPECT_TRUE(sameFloats(stage_.distance.data(), distance.data(), distance.size())) << n;
            EXPECT_TRUE(sameValues(stage_.confidence.data(), confidence.data(), confidence.size())) << n;
        }
    }
}

TEST_F(Workers, ThreeFrequenciesGiveTheSameResultWithEveryNumberOfWorkers) {
    stage_.useThreeFrequencies();
    Random random(72);
    std::vector<std::vector<float>> images(3, std::vector<float>(kPixelCount));
    for (int32_t i = 0; i < kPixelCount; ++i) {
        for (int32_t f = 0; f < 3; ++f) {
            images[static_cast<size_t>(f)][static_cast<size_t>(i)] =
                stage_.wrapped(trueDistance(i), f) + random.real(-0.1F, 0.1F);
        }
    }
    std::vector<float> distance;
    std::vector<uint16_t> confidence;
    for (int32_t n = 0; n <= kMaxThreads; ++n) {
        stage_.param.numThreads = n;
        ASSERT_EQ(stage_.init(), 0);
        for (size_t f = 0; f < 3; ++f) {
            stage_.input.currentDistance = images[f].data();
            stage_.input.previousDistance = images[(f + 2) % 3].data();
            ASSERT_EQ(stage_.apply(static_cast<int32_t>(f)), 0);
        }
        threads_.joinAll();
        EXPECT_EQ(stage_.output.outputComplete, 1);
        if (n == 0) {
            distance = stage_.distance;
            confidence = stage_.confidence;
        }
        EXPECT_TRUE(sameFloats(stage_.distance.data(), distance.data(), distance.size())) << n;
        EXPECT_TRUE(sameValues(stage_.confidence.data(), confidence.data(), confidence.size())) << n;
    }
}

TEST_F(Workers, WithTheVoteOnlyTheRowsAtASeamMayDiffer) {
    measureRoughScene();
    stage_.input.filterAssignment = 1;
    ASSERT_EQ(stage_.applyPair(), 0);
    const std::vector<float> distance = stage_.distance;
    const std::vector<uint16_t> confidence = stage_.confidence;
    for (int32_t n = 1; n <= kMaxThreads; ++n) {
        stage_.param.numThreads = n;
        ASSERT_EQ(stage_.applyPair(), 0);
        threads_.joinAll();
        const int32_t lines = kImageHeight / n;
        for (int32_t row = 0; row < kImageHeight; ++row) {
            const int32_t stripe = std::min(row / lines, n - 1);
            const bool firstOfStripe = row == stripe * lines && stripe > 0;
            const bool lastOfStripe = row == (stripe + 1) * lines - 1 && stripe < n - 1;
            if (firstOfStripe || lastOfStripe) {
                continue;
            }
            const int32_t begin = row * kImageWidth;
            ASSERT_TRUE(sameFloats(&stage_.distance[static_cast<size_t>(begin)],
                                   &distance[static_cast<size_t>(begin)], kImageWidth))
                << "row " << row << " of " << n << " stripes";
            ASSERT_TRUE(sameValues(&stage_.confidence[static_cast<size_t>(begin)],
                                   &confidence[static_cast<size_t>(begin)], kImageWidth));
        }
    }
}

// One stripe after the other, each finds the lines of the next stripe as the scratch memory was before: the
// last row of a stripe, and no other, sees other neighbours than with one stripe.
TEST_F(Workers, AtASeamTheVoteSeesTheLinesOfBefore) {
    measureRoughScene();
    stage_.input.filterAssignment = 1;
    ASSERT_EQ(stage_.applyPair(), 0);
    const std::vector<float> distance = stage_.distance;
    beginPair();
    std::fill_n(stage_.scratch->lineIndices, kPixelCount, -100);
    MultiFreqApplyArgs args = {stage_.state.get(),  &stage_.param,  &stage_.calib,
                               &stage_.input,       &stage_.output, 4,
                               stage_.scratch.get()};
    for (int32_t t = 0; t < 4; ++t) {
        const MultiFreqThreadData data = {&args, t};
        ASSERT_EQ(MultiFreq_ApplyMultiThread(&data), 0);
    }
    for (int32_t row = 0; row < kImageHeight; ++row) {
        const auto begin = static_cast<size_t>(row * kImageWidth);
        const bool same =
            static_cast<bool>(sameFloats(&stage_.distance[begin], &distance[begin], kImageWidth));
        const bool seam = row == 42 || row == 85 || row == 128;
        EXPECT_EQ(same, !seam) << "row " << row;
    }
}

/** Handles in the order in which they were joined. */
std::vector<alif_int32_t> g_joined;

alif_int32_t joinAndNote(alif_int32_t handle) {
    g_joined.push_back(handle);
    return ThreadServices::join(handle);
}

alif_int32_t joinButSayThatTheSecondFailed(alif_int32_t handle) {
    const alif_int32_t result = joinAndNote(handle);
    return g_joined.size() == 2 ? 1 : result;
}

TEST_F(Workers, TheyAreJoinedInOrder) {
    g_joined.clear();
    stage_.services.fctJoinThread = joinAndNote;
    stage_.param.numThreads = 6;
    ASSERT_EQ(stage_.init(), 0);
    ASSERT_EQ(stage_.apply(0), 0);
    ASSERT_EQ(g_joined.size(), 6U);
    EXPECT_TRUE(std::is_sorted(g_joined.begin(), g_joined.end()));
    EXPECT_EQ(threads_.joined, 6);
}

TEST_F(Workers, AWorkerThatCannotBeStartedFails) {
    stage_.param.numThreads = 4;
    ASSERT_EQ(stage_.init(), 0);
    threads_.createFailsAt = 2;
    EXPECT_EQ(stage_.apply(0), 1);
    EXPECT_EQ(stage_.lines(), Lines({340}));
    EXPECT_EQ(stage_.firstText(), "Error creating thread");
    EXPECT_EQ(threads_.created, 2);
    EXPECT_EQ(threads_.joined, 0);
    threads_.joinAll();
}

TEST_F(Workers, AWorkerThatCannotBeJoinedFailsTheCallWhenTheOthersHaveEnded) {
    g_joined.clear();
    stage_.services.fctJoinThread = joinButSayThatTheSecondFailed;
    stage_.param.numThreads = 4;
    ASSERT_EQ(stage_.init(), 0);
    EXPECT_EQ(stage_.apply(0), 1);
    EXPECT_EQ(stage_.lines(), Lines({346}));
    EXPECT_EQ(stage_.firstText(), "Error joining thread");
    EXPECT_EQ(threads_.joined, 4);
}

TEST_F(Workers, AWorkerThatFailsFailsTheCall) {
    measureRoughScene();
    stage_.currentDistance[kPixelCount - 1] = kInfinity;  // in the last stripe
    stage_.previousDistance[kPixelCount - 1] = 1.0F;
    stage_.param.numThreads = 3;
    EXPECT_EQ(stage_.applyPair(), 1);
    EXPECT_EQ(stage_.lines(), Lines({752, 185, 400, 349}));
    EXPECT_NE(stage_.distance[0], MultiFreqStage::kUntouched);  // the other stripes are there
}

TEST_F(Workers, AnEarlierErrorOfTheFrameFailsTheCallWithWorkersOnly) {
    measureRamp();
    reportError("elsewhere", 1, nullptr);
    EXPECT_EQ(stage_.applyPair(), 0);
    stage_.param.numThreads = 1;
    ASSERT_EQ(stage_.init(), 0);
    EXPECT_EQ(stage_.apply(0), 1);
    EXPECT_EQ(stage_.lines(), Lines({1, 349}));
}

TEST_F(Workers, MoreThanTenWorkersFail) {
    ASSERT_EQ(stage_.init(), 0);
    for (const int32_t n : {11, 2147483647}) {
        stage_.param.numThreads = n;
        EXPECT_EQ(stage_.apply(0), 1);
        EXPECT_EQ(threads_.created, 0);
    }
}

TEST_F(Workers, WorkersWithoutServicesFail) {
    ASSERT_EQ(stage_.init(), 0);
    stage_.param.numThreads = 1;
    stage_.services.fctJoinThread = nullptr;
    EXPECT_EQ(stage_.apply(0), 1);
    stage_.services = {nullptr, ThreadServices::join};
    EXPECT_EQ(stage_.apply(0), 1);
    EXPECT_EQ(stage_.lines().size(), 2U);
}

TEST_F(Workers, AWorkerTestsItsPointersInOrder) {
    ASSERT_EQ(stage_.init(), 0);
    EXPECT_EQ(Call_MultiFreq_Apply(nullptr), nullptr);
    MultiFreqApplyArgs args = {};
    MultiFreqThreadData data = {&args, 0};
    Call_MultiFreq_Apply(&data);
    args.state = stage_.state.get();
    Call_MultiFreq_Apply(&data);
    args.param = &stage_.param;
    Call_MultiFreq_Apply(&data);
    args.input = &stage_.input;
    Call_MultiFreq_Apply(&data);
    EXPECT_EQ(stage_.lines(), Lines({358, 366, 367, 368, 369}));
    args.output = &stage_.output;
    EXPECT_EQ(MultiFreq_ApplyMultiThread(&data), 1);  // no calibration
    data.applyArg = nullptr;
    EXPECT_EQ(MultiFreq_ApplyMultiThread(&data), 1);
}

TEST_F(Workers, AWorkerRefusesAnUnknownMode) {
    stage_.calib.frequencyMode = MultiFreq_FModeMax;
    MultiFreqApplyArgs args = {stage_.state.get(),  &stage_.param,  &stage_.calib,
                               &stage_.input,       &stage_.output, 1,
                               stage_.scratch.get()};
    const MultiFreqThreadData data = {&args, 0};
    EXPECT_EQ(MultiFreq_ApplyMultiThread(&data), 1);
    EXPECT_EQ(stage_.lines(), Lines({408}));
    EXPECT_EQ(stage_.firstText(), "Unsupported frequency mode");
}

// --- What fails ----------------------------------------------------------------------------------

TEST_F(MultiFreq, EveryRecordMustBeThere) {
    ASSERT_EQ(stage_.init(), 0);
    for (int missing = 0; missing < 5; ++missing) {
        EXPECT_EQ(
            MultiFreq_Apply(missing == 0 ? nullptr : stage_.state.get(), stage_.scratch.get(),
                            missing == 1 ? nullptr : &stage_.calib, missing == 2 ? nullptr : &stage_.input,
                            missing == 3 ? nullptr : &stage_.param, missing == 4 ? nullptr : &stage_.output,
                            &stage_.services),
            1)
            << missing;
    }
    EXPECT_EQ(stage_.lines().size(), 5U);
}

TEST_F(MultiFreq, WithoutVoteAndWorkersNeitherScratchMemoryNorServicesAreNeeded) {
    measureRamp();
    ASSERT_EQ(stage_.applyPair(), 0);
    const std::vector<float> expected = stage_.distance;
    std::fill(stage_.distance.begin(), stage_.distance.end(), MultiFreqStage::kUntouched);
    for (const int32_t freqIdx : {0, 1}) {
        stage_.input.currentFreqIdx = freqIdx;
        ASSERT_EQ(MultiFreq_Apply(stage_.state.get(), nullptr, &stage_.calib, &stage_.input, &stage_.param,
                                  &stage_.output, nullptr),
                  0);
    }
    EXPECT_EQ(stage_.output.outputComplete, 1);
    EXPECT_EQ(stage_.distance, expected);
}

TEST_F(MultiFreq, AVoteWithoutScratchMemoryFails) {
    ASSERT_EQ(stage_.init(), 0);
    ASSERT_EQ(stage_.apply(0), 0);
    stage_.input.filterAssignment = 1;
    stage_.input.currentFreqIdx = 1;
    EXPECT_EQ(MultiFreq_Apply(stage_.state.get(), nullptr, &stage_.calib, &stage_.input, &stage_.param,
                              &stage_.output, &stage_.services),
              1);
    EXPECT_EQ(stage_.output.outputComplete, 0);
    EXPECT_EQ(stage_.distance[0], MultiFreqStage::kUntouched);
}

TEST_F(Workers, WorkersWithoutServiceRecordFail) {
    ASSERT_EQ(stage_.init(), 0);
    stage_.param.numThreads = 1;
    EXPECT_EQ(MultiFreq_Apply(stage_.state.get(), stage_.scratch.get(), &stage_.calib, &stage_.input,
                              &stage_.param, &stage_.output, nullptr),
              1);
    EXPECT_EQ(stage_.lines().size(), 1U);
}

TEST_F(MultiFreq, AFrequencyIdOutsideTheSlotsFails) {
    ASSERT_EQ(stage_.init(), 0);
    for (const int32_t id : {-1, 4, 2147483647, -2147483647 - 1}) {
        stage_.forgetErrors();
        EXPECT_EQ(stage_.apply(id), 1);
        EXPECT_EQ(stage_.lines(), Lines({252}));
        EXPECT_EQ(stage_.state->prevFreqIdx, -1);
    }
}

TEST_F(MultiFreq, AnImageWithoutDistancesFails) {
    ASSERT_EQ(stage_.init(), 0);
    stage_.input.currentDistance = nullptr;
    EXPECT_EQ(stage_.apply(0), 1);
    EXPECT_EQ(stage_.lines(), Lines({253}));
}

TEST_F(MultiFreq, ASizeOutsideTheImageFails) {
    ASSERT_EQ(stage_.init(), 0);
    for (const int32_t size : {0, -1, 225, 2147483647, -2147483647 - 1}) {
        stage_.forgetErrors();
        stage_.input.width = size;
        EXPECT_EQ(stage_.apply(0), 1);
        stage_.input.width = kImageWidth;
        stage_.input.height = size == 225 ? 173 : size;
        EXPECT_EQ(stage_.apply(0), 1);
        stage_.input.height = kImageHeight;
        EXPECT_EQ(stage_.lines(), Lines({254, 255}));
    }
}

TEST_F(MultiFreq, AnUnknownModeFailsAfterTheOutputWasReset) {
    ASSERT_EQ(stage_.init(), 0);
    stage_.calib.frequencyMode = MultiFreq_FModeMax;
    stage_.output.outputComplete = 1;
    EXPECT_EQ(stage_.apply(0), 1);
    EXPECT_EQ(stage_.lines(), Lines({308}));
    EXPECT_EQ(stage_.firstText(), "Unsupported frequency mode");
    EXPECT_EQ(stage_.output.outputComplete, 0);
}

TEST_F(MultiFreq, APairWithoutPreviousImageFails) {
    stage_.input.previousDistance = nullptr;
    EXPECT_EQ(stage_.applyPair(), 1);
    EXPECT_EQ(stage_.lines(), Lines({719, 185, 400, 332}));
    expectUntouched();
}

TEST_F(MultiFreq, APairWithoutTableFails) {
    // Ids that have no frequency, an id that follows itself, and an unused pair.
    for (const auto& [first, second] : {std::pair{0, 2}, {3, 1}, {2, 3}, {0, 0}}) {
        stage_.forgetErrors();
        ASSERT_EQ(stage_.init(), 0);
        ASSERT_EQ(stage_.apply(first), 0);
        EXPECT_EQ(stage_.apply(second), 1);
        EXPECT_EQ(stage_.lines(), Lines({720, 185, 400, 332}));
    }
    stage_.setFrequencies({60e6F, 80e6F, 100e6F});
    for (const auto& [first, second] : {std::pair{0, 2}, {2, 1}, {0, 3}}) {
        stage_.forgetErrors();
        ASSERT_EQ(stage_.init(), 0);
        ASSERT_EQ(stage_.apply(first), 0);
        EXPECT_EQ(stage_.apply(second), 1);
        EXPECT_EQ(stage_.lines(), Lines({720, 185, 400, 332}));
    }
    expectUntouched();
}

TEST_F(MultiFreq, ATableNumberOutsideTheTablesFails) {
    for (const int16_t number : {int16_t{-1}, int16_t{6}, int16_t{32767}, int16_t{-32768}}) {
        stage_.forgetErrors();
        ASSERT_EQ(stage_.init(), 0);
        stage_.state->frequencyHoppingIndices[0] = number;
        ASSERT_EQ(stage_.apply(0), 0);
        EXPECT_EQ(stage_.apply(1), 1);
        EXPECT_EQ(stage_.lines(), Lines({720, 185, 400, 332}));
    }
}

TEST_F(MultiFreq, ANegativeAcceptanceFails) {
    stage_.input.twoFreqMaxLineDistPercentage = -0.001F;
    EXPECT_EQ(stage_.applyPair(), 1);
    EXPECT_EQ(stage_.lines(), Lines({721, 185, 400, 332}));
    EXPECT_EQ(stage_.firstText(), "twoFreqMaxLineDistPercentage out of range");
}

TEST_F(MultiFreq, ATableThatWasNeverBuiltFails) {
    measureRamp();
    ASSERT_EQ(stage_.init(), 0);
    lut() = {};
    ASSERT_EQ(stage_.apply(0), 0);
    EXPECT_EQ(stage_.apply(1), 1);
    EXPECT_EQ(stage_.lines(), Lines({752, 185, 400, 332}));
}

TEST_F(MultiFreq, MissingImagesFail) {
    for (int missing = 0; missing < 4; ++missing) {
        stage_.setSize(kImageWidth, kImageHeight);
        stage_.forgetErrors();
        Ref<uint16_t>* const confidences[] = {&stage_.input.currentConfidence,
                                              &stage_.input.previousConfidence, &stage_.output.confidence};
        if (missing < 3) {
            *confidences[missing] = nullptr;
        } else {
            stage_.output.distance = nullptr;
        }
        EXPECT_EQ(stage_.applyPair(), 1) << missing;
        EXPECT_EQ(stage_.lines().size(), 4U);
    }
}

TEST_F(ThreeFreq, MissingImagesOfTheResultFail) {
    ASSERT_EQ(stage_.init(), 0);
    ASSERT_EQ(show(0, 3.3), 0);
    ASSERT_EQ(show(1, 3.3), 0);
    stage_.output.distance = nullptr;
    EXPECT_EQ(show(2, 3.3), 1);
    EXPECT_EQ(stage_.output.outputComplete, 0);
}

}  // namespace
