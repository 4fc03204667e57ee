// SPDX-License-Identifier: Apache-2.0
//
// The loops of the driver: from phases to metres, the straylight comparison, vignetting, narrow confidence.
#include "QorDistanceImageKernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "core/externals/Util/src/ALSimdRule.h"
#include "support/Floats.h"
#include "support/Random.h"
#include "support/Targets.h"

namespace {

using testing_support::Random;
using testing_support::sameFloat;
using testing_support::sameFloats;
using testing_support::sameValues;

constexpr float kRange = 2.4975386F;  // 60 MHz

class DistanceImageKernels : public testing_support::OnEveryTarget {
 protected:
    DistanceImageKernels()
        : distance_(kPixelCount),
          amplitude_(kPixelCount),
          phaseAfterSLC_(kPixelCount),
          amplAfterSLC_(kPixelCount),
          confidence_(kPixelCount) {
        param_ = {0.0F, kRange * 0.15915494F, kRange, kRange * 4.0F};
        straylight_ = {amplitude_.data(), phaseAfterSLC_.data(), amplAfterSLC_.data(), 0.0F, 0.0F};
    }

    void correct() {
        DistanceImage_CorrectedPhaseToMetres(param_, straylight_, distance_.data(), confidence_.data());
    }

    PhaseToMetresParam param_ = {};
    StraylightComparison straylight_ = {};
    std::vector<float> distance_, amplitude_, phaseAfterSLC_, amplAfterSLC_;
    std::vector<uint16_t> confidence_;
};
INSTANTIATE_ON_EVERY_TARGET(DistanceImageKernels);

/** The plain statement: one pixel's distance. */
float metres(const PhaseToMetresParam& param, float phase, uint16_t confidence) {
    const float d = (phase - param.tempCorr) * param.metresPerRadian + param.offset;
    return (confidence & 1) != 0 ? 0.0F : rule::modN(d, param.range, 1.0F / param.range);
}

/** The plain statement: the confidence after the comparison with the corrected pixel. */
uint16_t compared(const StraylightComparison& s, float phase, float a, float pc, float ac,
                  uint16_t confidence) {
    const float dp = rule::modN(std::fabs(pc - phase) + 3.1415927F, 6.2831855F, 0.15915494F);
    const bool distFail = std::fabs(dp - 3.1415927F) > s.maxPhaseChange && s.maxPhaseChange > 0.0F;
    const bool ampFail = std::fabs(a - ac) > a * s.maxAmplitudeChange && s.maxAmplitudeChange > 0.0F;
    return static_cast<uint16_t>(distFail || ampFail ? confidence | 0x0001 : confidence);
}

TEST_P(DistanceImageKernels, PhaseToMetresEqualsTheRule) {
    Random random(31);
    SCOPED_TRACE(random.seedText());
    for (const bool any : {false, true}) {
        param_.tempCorr = any ? random.anyFloat() : random.real(-0.5F, 0.5F);
        std::vector<float> expected(kPixelCount);
        for (size_t i = 0; i < distance_.size(); ++i) {
            distance_[i] = any ? random.anyFloat() : random.real(0.0F, 6.2831855F);
            confidence_[i] = static_cast<uint16_t>(random.bits());
            expected[i] = metres(param_, distance_[i], confidence_[i]);
        }
        DistanceImage_PhaseToMetres(param_, distance_.data(), confidence_.data());
        EXPECT_TRUE(sameFloats(distance_.data(), expected.data(), kPixelCount));
    }
}

TEST_P(DistanceImageKernels, PhaseToMetresEqualsTheRuleForAnyRange) {
    Random random(32);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 20; ++round) {
        float range = random.anyFloat();
        while (std::fabs(range) == std::numeric_limits<float>::max()) {
            range = random.anyFloat();  // its reciprocal is a subnormal number
        }
        param_ = {random.anyFloat(), random.anyFloat(), range, random.anyFloat()};
        std::vector<float> expected(kPixelCount);
        for (size_t i = 0; i < distance_.size(); ++i) {
            distance_[i] = random.real(0.0F, 6.2831855F);
            expected[i] = metres(param_, distance_[i], 0);
        }
        DistanceImage_PhaseToMetres(param_, distance_.data(), confidence_.data());
        EXPECT_TRUE(sameFloats(distance_.data(), expected.data(), kPixelCount));
    }
}

TEST_P(DistanceImageKernels, HalfAPeriodIsHalfTheUniqueRange) {
    distance_[3] = 3.1415927F;
    DistanceImage_PhaseToMetres(param_, distance_.data(), confidence_.data());
    EXPECT_NEAR(distance_[3], kRange / 2.0F, 2e-6);
}

TEST_P(DistanceImageKernels, APhaseBelowTheTemperatureCorrectionFoldsToTheEndOfTheRange) {
    param_.tempCorr = 0.1F;
    DistanceImage_PhaseToMetres(param_, distance_.data(), confidence_.data());
    EXPECT_NEAR(distance_[3], kRange - 0.1F * kRange / 6.2831853F, 2e-6);
}

TEST_P(DistanceImageKernels, AnInvalidPixelHasDistanceZero) {
    distance_[5] = 1.0F;
    distance_[6] = 1.0F;
    confidence_[5] = 0x0013;
    confidence_[6] = 0x0012;
    DistanceImage_PhaseToMetres(param_, distance_.data(), confidence_.data());
    EXPECT_EQ(distance_[5], 0.0F);
    EXPECT_NE(distance_[6], 0.0F);
}

TEST_P(DistanceImageKernels, CorrectedPhaseToMetresEqualsTheRule) {
    Random random(33);
    SCOPED_TRACE(random.seedText());
    for (const bool any : {false, true}) {
        straylight_.maxPhaseChange = 0.3F;
        straylight_.maxAmplitudeChange = 0.2F;
        std::vector<float> expected(kPixelCount);
        std::vector<uint16_t> expectedConfidence(kPixelCount);
        for (size_t i = 0; i < distance_.size(); ++i) {
            distance_[i] = any ? random.anyFloat() : random.real(0.0F, 6.2831855F);
            phaseAfterSLC_[i] = any ? random.anyFloat() : distance_[i] + random.real(-0.5F, 0.5F);
            amplitude_[i] = any ? random.anyFloat() : random.real(0.0F, 10.0F);
            amplAfterSLC_[i] = any ? random.anyFloat() : amplitude_[i] * random.real(0.7F, 1.3F);
            confidence_[i] = static_cast<uint16_t>(random.bits() & 0xFFFE);
            if (random.bits() % 8 == 0) {
                confidence_[i] |= 1;
            }
            expectedConfidence[i] = compared(straylight_, distance_[i], amplitude_[i], phaseAfterSLC_[i],
                                             amplAfterSLC_[i], confidence_[i]);
            expected[i] = metres(param_, phaseAfterSLC_[i], expectedConfidence[i]);
        }
        correct();
        EXPECT_TRUE(sameValues(confidence_.data(), expectedConfidence.data(), kPixelCount));
        EXPECT_TRUE(sameFloats(distance_.data(), expected.data(), kPixelCount));
    }
}

TEST_P(DistanceImageKernels, TheCorrectedPhaseGivesTheDistance) {
    distance_[4] = 1.0F;
    phaseAfterSLC_[4] = 1.5F;
    correct();
    EXPECT_NEAR(distance_[4], 1.5F * kRange / 6.2831853F, 2e-6);
}

TEST_P(DistanceImageKernels, ThresholdsOfZeroTurnBothComparisonsOff) {
    distance_[4] = 1.0F;
    phaseAfterSLC_[4] = 4.0F;
    amplitude_[4] = 10.0F;
    amplAfterSLC_[4] = 0.0F;
    correct();
    EXPECT_EQ(confidence_[4], 0);
}

TEST_P(DistanceImageKernels, AChangeOfExactlyTheThresholdIsValidAnyMoreIsNot) {
    // Phases that are exact in binary: |0.5 + pi - pi| is exactly the difference that the comparison sees.
    distance_[4] = 1.0F;
    phaseAfterSLC_[4] = 1.5F;
    straylight_.maxPhaseChange =
        std::fabs(rule::modN(0.5F + 3.1415927F, 6.2831855F, 0.15915494F) - 3.1415927F);
    correct();
    EXPECT_EQ(confidence_[4], 0);
    distance_[4] = 1.0F;
    straylight_.maxPhaseChange = std::nextafter(straylight_.maxPhaseChange, 0.0F);
    correct();
    EXPECT_EQ(confidence_[4], 0x0001);
    EXPECT_EQ(distance_[4], 0.0F);
}

TEST_P(DistanceImageKernels, AnAmplitudeChangeOfExactlyTheThresholdIsValidAnyMoreIsNot) {
    amplitude_[4] = 8.0F;
    amplAfterSLC_[4] = 6.0F;
    straylight_.maxAmplitudeChange = 0.25F;
    correct();
    EXPECT_EQ(confidence_[4], 0);
    straylight_.maxAmplitudeChange = 0.2499999F;
    correct();
    EXPECT_EQ(confidence_[4], 0x0001);
}

TEST_P(DistanceImageKernels, ThePhaseChangeIsMeasuredAroundTheCircle) {
    distance_[4] = 0.05F;
    phaseAfterSLC_[4] = 6.25F;  // 0.083 rad away through 0
    straylight_.maxPhaseChange = 0.1F;
    correct();
    EXPECT_EQ(confidence_[4], 0);
}

TEST_P(DistanceImageKernels, ARejectedPixelGetsTheInvalidBitAlone) {
    confidence_[4] = 0x0010;
    phaseAfterSLC_[4] = 1.0F;
    straylight_.maxPhaseChange = 0.1F;
    amplitude_[4] = 1.0F;
    straylight_.maxAmplitudeChange = 0.1F;
    correct();
    EXPECT_EQ(confidence_[4], 0x0011);
}

TEST_P(DistanceImageKernels, VignettingMultipliesEachAmplitudeByItsGain) {
    Random random(34);
    SCOPED_TRACE(random.seedText());
    std::vector<float> gain(kPixelCount);
    std::vector<float> expected(kPixelCount);
    for (size_t i = 0; i < gain.size(); ++i) {
        gain[i] = random.anyFloat();
        amplitude_[i] = random.anyFloat();
        expected[i] = amplitude_[i] * gain[i];
    }
    DistanceImage_ApplyVignetting(amplitude_.data(), gain.data());
    EXPECT_TRUE(sameFloats(amplitude_.data(), expected.data(), kPixelCount));
}

TEST_P(DistanceImageKernels, NarrowConfidenceKeepsTheLowEightBits) {
    for (size_t i = 0; i < confidence_.size(); ++i) {
        confidence_[i] = static_cast<uint16_t>(i * 3);
    }
    std::vector<uint8_t> narrowed(kPixelCount, 0xEE);
    DistanceImage_NarrowConfidence(confidence_.data(), narrowed.data());
    for (size_t i = 0; i < narrowed.size(); ++i) {
        ASSERT_EQ(narrowed[i], static_cast<uint8_t>(i * 3 & 0xFF)) << i;
    }
}

TEST_P(DistanceImageKernels, AConfidenceWithOnlyHighBitsIsDeliveredAsZero) {
    confidence_[7] = 0x0600;
    std::vector<uint8_t> narrowed(kPixelCount, 0xEE);
    DistanceImage_NarrowConfidence(confidence_.data(), narrowed.data());
    EXPECT_EQ(narrowed[7], 0);
}

}  // namespace
