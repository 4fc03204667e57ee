// SPDX-License-Identifier: Apache-2.0
//
// The loops of the multi-frequency stage equal their plain statement bit for bit on every target: for scenes,
// for any distances, sizes and stripes, and up to the pixel that fails.
#include "MultiFreqKernels.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

#include "MultiFreqRule.h"
#include "MultiFreqStage.h"
#include "support/Floats.h"
#include "support/Random.h"
#include "support/Targets.h"

namespace {

using testing_support::MultiFreqStage;
using testing_support::Random;
using testing_support::sameFloats;
using testing_support::sameValues;
using Lines = std::vector<int32_t>;

class MultiFreqKernels : public testing_support::OnEveryTarget {
 protected:
    /** Both distances as measured of a rough scene with noise, gaps and stray values. */
    void fillScene(Random& random, float noise) {
        for (int32_t i = 0; i < stage_.pixelCount(); ++i) {
            const auto p = static_cast<size_t>(i);
            const double metres = static_cast<double>(random.real(0.0F, 7.5F));
            stage_.currentDistance[p] = stage_.wrapped(metres, 1) + random.real(-noise, noise);
            stage_.previousDistance[p] = stage_.wrapped(metres, 0) + random.real(-noise, noise);
            if (random.bits() % 8 == 0) {
                stage_.currentDistance[p] = random.bits() % 2 == 0 ? 0.0F : -0.0F;
            }
            if (random.bits() % 8 == 0) {
                stage_.previousDistance[p] = 0.0F;
            }
            stage_.currentConfidence[p] = static_cast<uint16_t>(random.bits() & random.bits());
            stage_.previousConfidence[p] = static_cast<uint16_t>(random.bits() & random.bits());
            if (random.bits() % 4 != 0) {
                stage_.currentConfidence[p] &= 0xFFFE;
                stage_.previousConfidence[p] &= 0xFFFE;
            }
        }
    }

    /** A pair whose frequency 1 follows frequency 0. */
    void beginPair() {
        stage_.state->precedingFreqIdx = 0;
        stage_.input.currentFreqIdx = 1;
    }

    /** One stripe with the stage and with the rule; everything must be equal, and `result` the outcome. */
    void expectEqualStripe(float percentage, int32_t startLine, int32_t endLine) {
        const rule::PairSettings settings = stage_.settings(percentage);
        const TwoFreqLUT& lut = stage_.state->LUTBackward[0];
        std::vector<float> distance = stage_.distance;
        std::vector<uint16_t> confidence = stage_.confidence;
        const bool voted = stage_.input.filterAssignment != 0;
        *expectedScratch_ = *stage_.scratch;
        const bool possible =
            voted ? rule::assignPairByVote(lut, settings, stage_.pairInput(), expectedScratch_->lineIndices,
                                           distance.data(), confidence.data(), startLine, endLine)
                  : rule::assignPair(lut, settings, stage_.pairInput(), distance.data(), confidence.data(),
                                     startLine, endLine);
        stage_.forgetErrors();
        const int32_t result = assign2QDistance(stage_.state.get(), &stage_.input, stage_.scratch.get(),
                                                percentage, stage_.distance.data(), stage_.confidence.data(),
                                                startLine, endLine, &stage_.calib, &stage_.param);
        EXPECT_EQ(result, possible ? 0 : 1);
        EXPECT_EQ(stage_.lines(), possible ? Lines() : Lines({voted ? 812 : 752}));
        EXPECT_TRUE(sameFloats(stage_.distance.data(), distance.data(), distance.size()));
        EXPECT_TRUE(sameValues(stage_.confidence.data(), confidence.data(), confidence.size()));
        EXPECT_TRUE(sameValues(stage_.scratch->lineIndices, expectedScratch_->lineIndices, kPixelCount));
        failed_ += possible ? 0 : 1;
    }

    /** Every way of assigning. */
    void setWay(int way) {
        stage_.input.filterAssignment = way & 1;
        stage_.param.verticalAssignment = way & 2;
        stage_.param.maxRange = (way & 4) != 0 ? 6.0F : -1.0F;
        stage_.param.halfLineDist = (way & 8) != 0 ? 0.2F : -1.0F;
    }

    MultiFreqStage stage_;
    std::unique_ptr<MultiFreqScratch> expectedScratch_ = std::make_unique<MultiFreqScratch>();
    int failed_ = 0;
};
INSTANTIATE_ON_EVERY_TARGET(MultiFreqKernels);

TEST_P(MultiFreqKernels, EqualTheRuleForAScene) {
    Random random(61);
    SCOPED_TRACE(random.seedText());
    for (int way = 0; way < 16; ++way) {
        SCOPED_TRACE(way);
        setWay(way);
        ASSERT_EQ(stage_.init(), 0);
        beginPair();
        fillScene(random, 0.1F);
        expectEqualStripe(random.real(10.0F, 120.0F), 0, kImageHeight);
    }
    EXPECT_EQ(failed_, 0);
}

TEST_P(MultiFreqKernels, EqualTheRuleForAnySizeAndStripe) {
    Random random(62);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 300; ++round) {
        setWay(round);
        const int32_t width = round < 40 ? 1 + round : random.integer(1, kImageWidth);
        const int32_t height = random.integer(1, 20);
        stage_.setSize(width, height);
        ASSERT_EQ(stage_.init(), 0);
        beginPair();
        fillScene(random, 0.05F);
        const int32_t startLine = random.integer(0, height);
        expectEqualStripe(80.0F, startLine, random.integer(startLine, height));
    }
    EXPECT_EQ(failed_, 0);
}

TEST_P(MultiFreqKernels, EqualTheRuleUpToThePixelThatFails) {
    Random random(63);
    SCOPED_TRACE(random.seedText());
    constexpr float kOutside[] = {std::numeric_limits<float>::infinity(), -1e30F,
                                  std::numeric_limits<float>::max(), 4.6F, -3.0F};
    for (int round = 0; round < 120; ++round) {
        setWay(round);
        const int32_t width = round % 2 == 0 ? kImageWidth : random.integer(1, kImageWidth);
        const int32_t height = random.integer(1, 10);
        stage_.setSize(width, height);
        ASSERT_EQ(stage_.init(), 0);
        beginPair();
        fillScene(random, 0.05F);
        const auto pixel = static_cast<size_t>(random.integer(0, width * height - 1));
        stage_.currentDistance[pixel] = kOutside[random.bits() % std::size(kOutside)];
        stage_.previousDistance[pixel] = 0.01F;
        expectEqualStripe(80.0F, 0, height);
    }
    EXPECT_EQ(failed_, 120);
}

TEST_P(MultiFreqKernels, EqualTheRuleForAnyDistances) {
    Random random(64);
    SCOPED_TRACE(random.seedText());
    stage_.setSize(40, 4);
    for (int round = 0; round < 400; ++round) {
        setWay(round);
        ASSERT_EQ(stage_.init(), 0);
        beginPair();
        for (size_t i = 0; i < stage_.currentDistance.size(); ++i) {
            stage_.currentDistance[i] = random.anyFloat();
            // Half of the pairs differ by little, so that not all of them fail at once.
            stage_.previousDistance[i] =
                random.bits() % 16 != 0 ? stage_.currentDistance[i] : random.anyFloat();
        }
        expectEqualStripe(80.0F, 0, 4);
    }
    EXPECT_GT(failed_, 0);
}

TEST_P(MultiFreqKernels, EqualTheRuleForAnyTable) {
    Random random(65);
    SCOPED_TRACE(random.seedText());
    stage_.setSize(33, 5);
    ASSERT_EQ(stage_.init(), 0);
    TwoFreqLUT& lut = stage_.state->LUTBackward[0];
    for (int round = 0; round < 200; ++round) {
        setWay(round);
        beginPair();
        fillScene(random, 0.3F);
        for (int k = 0; k < kTwoFreqBins; ++k) {
            lut.offset[k] = random.bits() % 4 == 0 ? -1.0F : random.anyFloat();
            lut.abscissa[k] = random.bits() % 4 == 0 ? random.anyFloat() : random.real(-3.0F, 3.0F);
            lut.lineIndices[k] = random.integer(0, 99);
            lut.offsetLut[k] = random.anyFloat();
        }
        lut.autoMaxRange = random.integer(0, 1);
        lut.halfLineDist = random.real(0.0F, 4.0F);
        stage_.state->uniqueRangesTwoFreq[0] = random.bits() % 2 == 0 ? random.anyFloat() : 3.0F;
        expectEqualStripe(100.0F, 0, 5);
    }
    EXPECT_EQ(failed_, 0);
}

// The rows beside a stripe hold whatever another worker, or another stage, left in the scratch memory.
TEST_P(MultiFreqKernels, EqualTheRuleForAnyLinesBesideTheStripe) {
    Random random(66);
    SCOPED_TRACE(random.seedText());
    stage_.input.filterAssignment = 1;
    ASSERT_EQ(stage_.init(), 0);
    beginPair();
    for (int round = 0; round < 20; ++round) {
        fillScene(random, 0.1F);
        for (int32_t& line : stage_.scratch->lineIndices) {
            line = random.bits() % 4 == 0 ? static_cast<int32_t>(random.bits()) : random.integer(-2, 101);
        }
        const int32_t startLine = random.integer(1, 160);
        expectEqualStripe(80.0F, startLine, startLine + random.integer(1, 3));
    }
    EXPECT_EQ(failed_, 0);
}

TEST_P(MultiFreqKernels, CombineEqualsTheRule) {
    Random random(67);
    SCOPED_TRACE(random.seedText());
    const auto pair0 = std::make_unique<IntermediateRes3Freq>();
    const auto pair1 = std::make_unique<IntermediateRes3Freq>();
    for (int round = 0; round < 60; ++round) {
        for (int32_t i = 0; i < kPixelCount; ++i) {
            const bool any = random.bits() % 4 == 0;
            pair0->distance[i] = any ? random.anyFloat() : random.real(0.0F, 8.0F);
            pair1->distance[i] = any && random.bits() % 2 == 0
                                     ? random.anyFloat()
                                     : pair0->distance[i] + random.real(-0.2F, 0.2F);
            pair0->confidence[i] = static_cast<uint16_t>(random.bits());
            pair1->confidence[i] = static_cast<uint16_t>(random.bits());
        }
        const float range = round % 4 == 0 ? random.anyFloat() : 7.5F;
        const float maxDiff = round % 3 == 0 ? random.anyFloat() : 0.1F;
        const int32_t first = random.integer(0, 100);
        const int32_t last = round % 2 == 0 ? kPixelCount : random.integer(first, 200);
        std::vector<float> distance(kPixelCount, 5.0F);
        std::vector<uint16_t> confidence(kPixelCount, 7);
        std::vector<float> expected = distance;
        std::vector<uint16_t> expectedConfidence = confidence;
        rule::combinePairs(*pair0, *pair1, range, maxDiff, expected.data(), expectedConfidence.data(), first,
                           last);
        MultiFreq_CombinePairs(
            {pair0->distance, pair1->distance, pair0->confidence, pair1->confidence, range, maxDiff},
            distance.data(), confidence.data(), first, last);
        ASSERT_TRUE(sameFloats(distance.data(), expected.data(), kPixelCount));
        ASSERT_TRUE(sameValues(confidence.data(), expectedConfidence.data(), kPixelCount));
    }
}

}  // namespace
