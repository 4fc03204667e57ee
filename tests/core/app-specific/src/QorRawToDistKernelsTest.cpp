// SPDX-License-Identifier: Apache-2.0
//
// The loops of the raw stage: their rules, and their equality with the plain statement on every target.
#include "QorRawToDistKernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "QorRawToDistRule.h"
#include "support/Floats.h"
#include "support/Random.h"
#include "support/RawImages.h"
#include "support/Targets.h"

namespace {

using testing_support::PhaseGroup;
using testing_support::Random;
using testing_support::sameFloats;
using testing_support::sameValues;

class RawToXYS : public testing_support::OnEveryTarget {
 protected:
    RawToXYS()
        : state_(std::make_unique<QorRawToDistState>()), roi_(kPixelCount, 1), histogram_(kHistogramBins, 0) {
        for (int k = 0; k < kPhasesPerExposure; ++k) {
            state_->rawPhases[k] = &group_[static_cast<size_t>(k)];
        }
    }

    void convert(short minDiff = 0, short maxDiff = 4095, int storageIndex = 0,
                 unsigned short mask = 0x0010) {
        NEON_RawToXYS(state_.get(), minDiff, maxDiff, storageIndex, mask);
    }

    void convertWithHistogram(short minDiff = 0, short maxDiff = 4095) {
        NEON_RawToXYS_histo(state_.get(), minDiff, maxDiff, 0, 0x0010, roi_.data(), histogram_.data());
    }

    PhaseGroup group_;
    std::unique_ptr<QorRawToDistState> state_;
    std::vector<uint8_t> roi_;
    std::vector<uint32_t> histogram_;
};
INSTANTIATE_ON_EVERY_TARGET(RawToXYS);

TEST_P(RawToXYS, ASampleOfExactlyMaxDiffIsNotSaturatedOneAboveIs) {
    group_.fill(2000, 2000, 2000, 2000);
    group_.set(5, 3000, 2000, 2000, 2000);
    group_.set(6, 3001, 2000, 2000, 2000);
    convert(1000, 3000);
    EXPECT_EQ(state_->confidence[0][5], 0x0010);
    EXPECT_EQ(state_->confidence[0][6], 0x0013);
}

TEST_P(RawToXYS, ASampleOfExactlyMinDiffIsNotSaturatedOneBelowIs) {
    group_.fill(2000, 2000, 2000, 2000);
    group_.set(38526, 2000, 2000, 2000, 1000);
    group_.set(38527, 2000, 2000, 2000, 999);
    convert(1000, 3000);
    EXPECT_EQ(state_->confidence[0][38526], 0x0010);
    EXPECT_EQ(state_->confidence[0][38527], 0x0013);
}

TEST_P(RawToXYS, ASaturatedPixelStillGetsXYAndS) {
    group_.set(100, 4095, 3000, 1000, 2500);
    convert(500, 3500);
    EXPECT_EQ(state_->confidence[0][100], 0x0013);
    EXPECT_EQ(state_->X[0][100], 3095);
    EXPECT_EQ(state_->Y[0][100], 500);
    EXPECT_EQ(state_->S[0][100], (4095 + 1000) - (3000 + 2500));
}

TEST_P(RawToXYS, FourEqualSamplesGiveZeroAndTheMaskAlone) {
    group_.fill(2048, 2048, 2048, 2048);
    convert(0, 4095, 0, 0);
    EXPECT_EQ(state_->X[0][17], 0);
    EXPECT_EQ(state_->Y[0][17], 0);
    EXPECT_EQ(state_->S[0][17], 0);
    EXPECT_EQ(state_->confidence[0][17], 0);
}

TEST_P(RawToXYS, FourEqualSamplesOutsideTheLimitsAreSaturated) {
    group_.fill(4000, 4000, 4000, 4000);
    convert(0, 3999, 0, 0);
    EXPECT_EQ(state_->X[0][17], 0);
    EXPECT_EQ(state_->confidence[0][17], 0x0003);
}

TEST_P(RawToXYS, ExtremeSamplesStayInsideSixteenBits) {
    group_.set(0, 4095, 0, 4095, 0);
    group_.set(1, 0, 4095, 0, 4095);
    group_.set(2, 4095, 4095, 0, 0);
    group_.set(3, 0, 0, 4095, 4095);
    convert();
    EXPECT_EQ(state_->S[0][0], 8190);
    EXPECT_EQ(state_->S[0][1], -8190);
    EXPECT_EQ(state_->X[0][2], 4095);
    EXPECT_EQ(state_->Y[0][2], 4095);
    EXPECT_EQ(state_->X[0][3], -4095);
    EXPECT_EQ(state_->Y[0][3], -4095);
}

TEST_P(RawToXYS, FullRangeGivesLevelsFromZeroTo2048) {
    group_.fill(2047, 2047, 2047, 2047);     // the middle: zeroDiff is 4095 / 2 = 2047
    group_.set(20, 4095, 2047, 2047, 2047);  // 2048 above it
    group_.set(21, 2047, 0, 2047, 2047);     // 2047 below it
    convertWithHistogram(0, 4095);
    EXPECT_EQ(histogram_[0], static_cast<uint32_t>(kPixelCount - 2));
    EXPECT_EQ(histogram_[2048], 1U);
    EXPECT_EQ(histogram_[2047], 1U);
}

TEST_P(RawToXYS, AMinDiffOfMinusOneHasTheMiddleOfZero) {
    group_.fill(2047, 2047, 2047, 2047);
    convertWithHistogram(-1, 4095);
    EXPECT_EQ(histogram_[0], static_cast<uint32_t>(kPixelCount));
}

TEST_P(RawToXYS, ALevelAbove2048CountsInTheLastBin) {
    group_.fill(4095, 4095, 4095, 4095);
    convertWithHistogram(0, 1000);  // middle 500, level 3595
    EXPECT_EQ(histogram_[2048], static_cast<uint32_t>(kPixelCount));
}

TEST_P(RawToXYS, AMiddleAtTheEndOfSixteenBitsStaysInTheHistogram) {
    group_.fill(4095, 0, 4095, 0);
    convertWithHistogram(-32768, -32768);  // middle -32768: a level of 36863 is no int16
    EXPECT_EQ(histogram_[2048], static_cast<uint32_t>(kPixelCount));
    histogram_.assign(kHistogramBins, 0);
    convertWithHistogram(32767, 32767);
    EXPECT_EQ(histogram_[2048], static_cast<uint32_t>(kPixelCount));
}

TEST_P(RawToXYS, RegionByteThreeWeightsPixelSixAndByteElevenPixelSeven) {
    group_.fill(2047, 2047, 2047, 2047);
    for (int32_t block = 0; block < kPixelCount; block += 16) {
        group_.set(block + 6, 2147, 2047, 2047, 2047);  // level 100
        group_.set(block + 7, 2247, 2047, 2047, 2047);  // level 200
    }
    roi_.assign(kPixelCount, 0);
    roi_[32 + 3] = 1;
    convertWithHistogram();
    EXPECT_EQ(histogram_[100], 1U);
    EXPECT_EQ(histogram_[200], 0U);
    histogram_.assign(kHistogramBins, 0);
    roi_.assign(kPixelCount, 0);
    roi_[32 + 11] = 1;
    convertWithHistogram();
    EXPECT_EQ(histogram_[100], 0U);
    EXPECT_EQ(histogram_[200], 1U);
}

TEST_P(RawToXYS, ARegionByteIsAWeight) {
    group_.fill(2047, 2047, 2047, 2047);
    roi_.assign(kPixelCount, 255);
    convertWithHistogram();
    EXPECT_EQ(histogram_[0], 255U * kPixelCount);
}

TEST_P(RawToXYS, TheHistogramAccumulatesOverCalls) {
    group_.fill(2047, 2047, 2047, 2047);
    convertWithHistogram();
    convertWithHistogram();
    EXPECT_EQ(histogram_[0], 2U * kPixelCount);
}

TEST_P(RawToXYS, TheTwoStorageIndicesStandSideBySide) {
    group_.fill(3000, 2000, 1000, 2000);
    convert(0, 4095, 0, 0);
    group_.fill(1000, 2500, 3000, 1500);
    convert(0, 4095, 1, 0x0010);
    EXPECT_EQ(state_->X[0][7], 2000);
    EXPECT_EQ(state_->X[1][7], -2000);
    EXPECT_EQ(state_->Y[0][7], 0);
    EXPECT_EQ(state_->Y[1][7], 1000);
    EXPECT_EQ(state_->confidence[0][7], 0);
    EXPECT_EQ(state_->confidence[1][7], 0x0010);
}

TEST_P(RawToXYS, EqualsTheRuleForAnyBytes) {
    Random random(21);
    SCOPED_TRACE(random.seedText());
    const auto expected = std::make_unique<QorRawToDistState>();
    for (int round = 0; round < 4; ++round) {
        group_.fillWithRandomBytes(random);
        const auto minDiff =
            static_cast<short>(round == 3 ? random.integer(-32768, 32767) : random.integer(-1, 600));
        const auto maxDiff =
            static_cast<short>(round == 3 ? random.integer(-32768, 32767) : random.integer(3000, 4096));
        for (uint8_t& weight : roi_) {
            weight = static_cast<uint8_t>(random.bits());
        }
        std::vector<uint32_t> expectedHistogram(kHistogramBins, 7);
        histogram_.assign(kHistogramBins, 7);
        *expected = *state_;
        rule::rawToXYS(*expected, minDiff, maxDiff, round % 2, 0x0010, roi_.data(), expectedHistogram.data());
        NEON_RawToXYS_histo(state_.get(), minDiff, maxDiff, round % 2, 0x0010, roi_.data(),
                            histogram_.data());
        EXPECT_TRUE(sameValues(histogram_.data(), expectedHistogram.data(), kHistogramBins));
        EXPECT_TRUE(sameValues(state_->X[0], expected->X[0], 2 * kPixelCount));
        EXPECT_TRUE(sameValues(state_->Y[0], expected->Y[0], 2 * kPixelCount));
        EXPECT_TRUE(sameValues(state_->S[0], expected->S[0], 2 * kPixelCount));
        EXPECT_TRUE(sameValues(state_->confidence[0], expected->confidence[0], 2 * kPixelCount));
        // The form without histogram gives the same images.
        convert(minDiff, maxDiff, 1 - round % 2);
        EXPECT_TRUE(sameValues(state_->X[0], state_->X[1], kPixelCount));
        EXPECT_TRUE(sameValues(state_->Y[0], state_->Y[1], kPixelCount));
        EXPECT_TRUE(sameValues(state_->S[0], state_->S[1], kPixelCount));
        EXPECT_TRUE(sameValues(state_->confidence[0], state_->confidence[1], kPixelCount));
    }
}

// ---------------------------------------------------------------------------------------------------------------------

class MergeExposures : public testing_support::OnEveryTarget {};
INSTANTIATE_ON_EVERY_TARGET(MergeExposures);

TEST_P(MergeExposures, EqualsTheRuleForAnyConfidence) {
    Random random(22);
    SCOPED_TRACE(random.seedText());
    const auto state = std::make_unique<QorRawToDistState>();
    for (int e = 0; e < kMaxExposures; ++e) {
        for (int32_t i = 0; i < kPixelCount; ++i) {
            state->X[e][i] = static_cast<int16_t>(random.bits());
            state->Y[e][i] = static_cast<int16_t>(random.bits());
            state->S[e][i] = static_cast<int16_t>(random.bits());
            state->confidence[e][i] = static_cast<uint16_t>(random.bits());
        }
    }
    const auto expected = std::make_unique<QorRawToDistState>(*state);
    rule::mergeExposures(*expected, 0.01F, 0.001F);
    RawToDist_MergeExposures(state.get(), 0.01F, 0.001F);
    EXPECT_TRUE(sameValues(state->X[0], expected->X[0], 2 * kPixelCount));
    EXPECT_TRUE(sameValues(state->Y[0], expected->Y[0], 2 * kPixelCount));
    EXPECT_TRUE(sameValues(state->S[0], expected->S[0], 2 * kPixelCount));
    EXPECT_TRUE(sameValues(state->confidence[0], expected->confidence[0], 2 * kPixelCount));
    EXPECT_TRUE(sameFloats(state->invExpTimes, expected->invExpTimes, kPixelCount));
}

// ---------------------------------------------------------------------------------------------------------------------

/** Images with room for one frame, and settings that leave them uncorrected. */
class ComputePhase : public testing_support::OnEveryTarget {
 protected:
    ComputePhase()
        : x_(kPixelCount),
          y_(kPixelCount),
          s_(kPixelCount),
          confidence_(kPixelCount, 0x0010),
          intensity_(kPixelCount),
          invExpTimes_(kPixelCount, 1.0F),
          fppn_(kPixelCount),
          phase_(kPixelCount),
          amplitude_(kPixelCount),
          outConfidence_(kPixelCount) {
        input_ = {x_.data(),
                  y_.data(),
                  s_.data(),
                  confidence_.data(),
                  invExpTimes_.data(),
                  fppn_.data(),
                  ampWigg_,
                  phaseWigg_,
                  0.0F,
                  0.0F,
                  0.0F,
                  1.0F,
                  nullptr,
                  {},
                  {}};
    }

    void compute() {
        RawToDist_ComputePhase(input_, {phase_.data(), amplitude_.data(), outConfidence_.data()});
    }

    void expectEqualToTheRule() {
        std::vector<float> phase(kPixelCount);
        std::vector<float> amplitude(kPixelCount);
        std::vector<uint16_t> confidence(kPixelCount);
        rule::computePhase(input_, {phase.data(), amplitude.data(), confidence.data()});
        compute();
        EXPECT_TRUE(sameFloats(phase_.data(), phase.data(), kPixelCount));
        EXPECT_TRUE(sameFloats(amplitude_.data(), amplitude.data(), kPixelCount));
        EXPECT_TRUE(sameValues(outConfidence_.data(), confidence.data(), kPixelCount));
    }

    /** X, Y, S of an imager, one pixel in eight with any value at all. */
    void fillImages(Random& random) {
        for (size_t i = 0; i < x_.size(); ++i) {
            const bool any = random.bits() % 8 == 0;
            x_[i] = static_cast<int16_t>(any ? random.bits()
                                             : static_cast<uint32_t>(random.integer(-4095, 4095)));
            y_[i] = static_cast<int16_t>(any ? random.bits()
                                             : static_cast<uint32_t>(random.integer(-4095, 4095)));
            s_[i] =
                static_cast<int16_t>(any ? random.bits() : static_cast<uint32_t>(random.integer(-50, 50)));
            confidence_[i] = static_cast<uint16_t>(any ? random.bits() : (random.bits() & 0x0013));
            intensity_[i] = static_cast<uint16_t>(random.bits());
            fppn_[i] = random.real(-0.5F, 0.5F);
            invExpTimes_[i] = random.bits() % 2 == 0 ? 0.01F : 0.001F;
        }
    }

    void fillCalibration(Random& random) {
        for (float& v : phaseWigg_) {
            v = random.real(-0.3F, 0.3F);
        }
        for (float& v : ampWigg_) {
            v = random.real(-0.3F, 0.3F);
        }
        ampWigg_[0] = 1.1F;
        input_.xCorrection = random.real(-20.0F, 20.0F);
        input_.yCorrection = random.real(-20.0F, 20.0F);
        input_.minAmpSquare = 900.0F;
        input_.maxSymSquare = 0.01F;
    }

    float ampWigg_[5] = {1.0F, 0.0F, 0.0F, 0.0F, 0.0F};
    float phaseWigg_[7] = {};
    std::vector<int16_t> x_, y_, s_;
    std::vector<uint16_t> confidence_, intensity_;
    std::vector<float> invExpTimes_, fppn_, phase_, amplitude_;
    std::vector<uint16_t> outConfidence_;
    RawToDistPhaseInput input_ = {};
};
INSTANTIATE_ON_EVERY_TARGET(ComputePhase);

TEST_P(ComputePhase, EqualsTheRuleForAnImage) {
    Random random(23);
    SCOPED_TRACE(random.seedText());
    fillImages(random);
    fillCalibration(random);
    expectEqualToTheRule();
}

TEST_P(ComputePhase, EqualsTheRuleWithDriftCompensation) {
    Random random(24);
    SCOPED_TRACE(random.seedText());
    fillImages(random);
    fillCalibration(random);
    input_.intensity = intensity_.data();
    for (int e = 0; e < kMaxExposures; ++e) {
        input_.driftX[e] = random.real(-0.01F, 0.01F);
        input_.driftY[e] = random.real(-0.01F, 0.01F);
    }
    expectEqualToTheRule();
}

TEST_P(ComputePhase, EqualsTheRuleForAnyCalibration) {
    Random random(25);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 6; ++round) {
        fillImages(random);
        for (float& v : phaseWigg_) {
            v = random.anyFloat();
        }
        for (float& v : ampWigg_) {
            v = random.anyFloat();
        }
        for (size_t i = 0; i < fppn_.size(); ++i) {
            fppn_[i] = random.anyFloat();
            invExpTimes_[i] = random.bits() % 4 == 0 ? std::numeric_limits<float>::infinity() : 0.01F;
        }
        input_.xCorrection = random.anyFloat();
        input_.yCorrection = random.anyFloat();
        input_.minAmpSquare = random.anyFloat();
        input_.maxSymSquare = random.anyFloat();
        expectEqualToTheRule();
    }
}

TEST_P(ComputePhase, PhaseStaysBelowTwoPiWithinTwoPeriods) {
    // phaseWigg[0] moves the angle by up to two periods in both directions.
    Random random(26);
    SCOPED_TRACE(random.seedText());
    for (const float shift : {-12.5F, -6.2831855F, -3.0F, 0.0F, 3.0F, 6.2831855F, 9.4F}) {
        fillImages(random);
        std::fill(fppn_.begin(), fppn_.end(), 0.0F);
        phaseWigg_[0] = shift;
        compute();
        for (const float p : phase_) {
            ASSERT_GE(p, 0.0F) << "shift " << shift;
            ASSERT_LT(p, 6.2831855F) << "shift " << shift;
        }
    }
}

TEST_P(ComputePhase, WithoutSignalTheAmplitudeIsAThousandthOfACount) {
    ampWigg_[0] = 2.0F;
    std::fill(invExpTimes_.begin(), invExpTimes_.end(), 0.5F);
    compute();
    EXPECT_EQ(amplitude_[123], (0.0F + 0.001F) * 2.0F * 0.5F);
}

TEST_P(ComputePhase, WithoutSignalAnyMinimumAmplitudeMakesThePixelInvalid) {
    input_.minAmpSquare = 1e-30F;
    compute();
    EXPECT_EQ(outConfidence_[123], 0x0019);
}

TEST_P(ComputePhase, AMinimumAmplitudeOfZeroNeverMakesAPixelInvalid) {
    input_.minAmpSquare = 0.0F;
    compute();
    EXPECT_EQ(outConfidence_[123], 0x0010);
}

TEST_P(ComputePhase, ExactlyTheMinimumAmplitudeIsValid) {
    x_[50] = 3;
    y_[50] = 4;
    x_[51] = 3;
    y_[51] = 3;
    input_.minAmpSquare = 25.0F;
    compute();
    EXPECT_EQ(outConfidence_[50], 0x0010);
    EXPECT_EQ(outConfidence_[51], 0x0019);
}

TEST_P(ComputePhase, ExactlyTheMaximumSymmetryIsValid) {
    x_[60] = 100;
    s_[60] = -50;
    x_[61] = 100;
    s_[61] = 51;
    input_.maxSymSquare = 0.25F;
    compute();
    EXPECT_EQ(outConfidence_[60], 0x0010);
    EXPECT_EQ(outConfidence_[61], 0x0015);
}

TEST_P(ComputePhase, BothPixelTestsCanFailTogether) {
    s_[70] = 1;
    input_.minAmpSquare = 4.0F;
    compute();
    EXPECT_EQ(outConfidence_[70], 0x001D);
}

TEST_P(ComputePhase, TheExposureOfThePixelSelectsTheDrift) {
    std::fill(intensity_.begin(), intensity_.end(), uint16_t{100});
    input_.intensity = intensity_.data();
    input_.driftX[0] = 1.0F;
    input_.driftX[1] = 2.0F;
    std::fill(x_.begin(), x_.end(), int16_t{1000});
    confidence_[0] = 0;       // first exposure: x = 1000 - 100
    confidence_[1] = 0x0010;  // last exposure: x = 1000 - 200
    compute();
    EXPECT_NEAR(amplitude_[0], 900.0, 0.01);
    EXPECT_NEAR(amplitude_[1], 800.0, 0.01);
}

// ---------------------------------------------------------------------------------------------------------------------

class XYStoAmpConf : public testing_support::OnEveryTarget {};
INSTANTIATE_ON_EVERY_TARGET(XYStoAmpConf);

TEST_P(XYStoAmpConf, EqualsTheRule) {
    Random random(27);
    SCOPED_TRACE(random.seedText());
    std::vector<int16_t> x(kPixelCount);
    std::vector<int16_t> y(kPixelCount);
    std::vector<uint16_t> confidence(kPixelCount);
    std::vector<float> amplitude(kPixelCount);
    for (size_t i = 0; i < x.size(); ++i) {
        x[i] = static_cast<int16_t>(random.bits());
        y[i] = static_cast<int16_t>(random.integer(-200, 200));
        confidence[i] = static_cast<uint16_t>(random.bits());
    }
    std::vector<uint16_t> expectedConfidence = confidence;
    std::vector<float> expectedAmplitude(kPixelCount);
    rule::xysToAmpConf(expectedAmplitude.data(), expectedConfidence.data(), x.data(), y.data(), 3.5F, -2.25F,
                       5000.0F);
    NEON_XYStoAmpConf(amplitude.data(), confidence.data(), x.data(), y.data(), 3.5F, -2.25F, 5000.0F);
    EXPECT_TRUE(sameFloats(amplitude.data(), expectedAmplitude.data(), kPixelCount));
    EXPECT_TRUE(sameValues(confidence.data(), expectedConfidence.data(), kPixelCount));
}

TEST_P(XYStoAmpConf, WithoutSignalTheAmplitudeIsZeroAndThePixelInvalid) {
    std::vector<int16_t> zero(kPixelCount);
    std::vector<uint16_t> confidence(kPixelCount, 0x0010);
    std::vector<float> amplitude(kPixelCount, 5.0F);
    NEON_XYStoAmpConf(amplitude.data(), confidence.data(), zero.data(), zero.data(), 0.0F, 0.0F, 1.0F);
    EXPECT_EQ(amplitude[9], 0.0F);
    EXPECT_EQ(confidence[9], 0x0019);
}

}  // namespace
