// SPDX-License-Identifier: Apache-2.0
//
// The loops of the distance noise: their equality with the plain statement on every target, and
// values that no scene produces.
#include "DistnoiseKernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <limits>
#include <memory>
#include <vector>

#include "DistnoiseFrame.h"
#include "DistnoiseRule.h"
#include "support/Floats.h"
#include "support/Random.h"
#include "support/Targets.h"

namespace {

using testing_support::DistnoiseFrame;
using testing_support::Random;
using testing_support::sameFloats;
using testing_support::sameValues;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

class DistnoiseLoop : public testing_support::OnEveryTarget {
 protected:
    DistnoiseLoop() : frame_(std::make_unique<DistnoiseFrame>()) {}

    void expectEqual() {
        std::vector<float> noise(kPixelCount), distance = frame_->distance;
        std::vector<uint16_t> confidence = frame_->confidence;
        DistnoiseInOut expected = {};
        expected.noise = noise.data();
        expected.distance = distance.data();
        expected.confidence = confidence.data();
        rule::distanceNoise(frame_->input, expected);
        ASSERT_EQ(frame_->apply(), 0);
        EXPECT_TRUE(sameFloats(frame_->noise.data(), noise.data(), noise.size()));
        EXPECT_TRUE(sameFloats(frame_->distance.data(), distance.data(), distance.size()));
        EXPECT_TRUE(sameValues(frame_->confidence.data(), confidence.data(), confidence.size()));
    }

    /** Signals of all strengths, any light, every combination of the low confidence bits. */
    void fill(Random& random) {
        for (size_t i = 0; i < frame_->real.size(); ++i) {
            const float strength = i % 3 == 0 ? 4000.0F : 10.0F;
            frame_->real[i] = random.real(-strength, strength);
            frame_->imag[i] = random.real(-strength, strength);
            frame_->intensity[i] = static_cast<uint16_t>(random.bits() % 4096);
            frame_->confidence[i] = static_cast<uint16_t>(random.bits());
        }
    }

    std::unique_ptr<DistnoiseFrame> frame_;
};
INSTANTIATE_ON_EVERY_TARGET(DistnoiseLoop);

TEST_P(DistnoiseLoop, EqualsTheRuleOverAnImage) {
    Random random(61);
    SCOPED_TRACE(random.seedText());
    fill(random);
    expectEqual();
}

TEST_P(DistnoiseLoop, EqualsTheRuleWithALimit) {
    Random random(62);
    SCOPED_TRACE(random.seedText());
    for (const float limit : {1e-3F, 0.05F, 3.0F, 1e30F}) {
        fill(random);
        frame_->input.distNoiseThreshold = limit;
        expectEqual();
    }
}

TEST_P(DistnoiseLoop, EqualsTheRuleWithOneExposureAndOneFrequency) {
    Random random(63);
    SCOPED_TRACE(random.seedText());
    fill(random);
    frame_->input.numExpTimes = 1;
    frame_->input.numFrequenciesUsed = 1;
    expectEqual();
}

TEST_P(DistnoiseLoop, EqualsTheRuleForAnySignal) {
    Random random(64);
    SCOPED_TRACE(random.seedText());
    frame_->input.distNoiseThreshold = 0.5F;
    for (size_t i = 0; i < frame_->real.size(); ++i) {
        frame_->real[i] = random.anyFloat();
        frame_->imag[i] = random.anyFloat();
        frame_->distance[i] = random.anyFloat();
        frame_->intensity[i] = static_cast<uint16_t>(random.bits());
        frame_->confidence[i] = static_cast<uint16_t>(random.bits());
    }
    expectEqual();
}

TEST_P(DistnoiseLoop, EqualsTheRuleForAnySettings) {
    Random random(65);
    SCOPED_TRACE(random.seedText());
    constexpr float kValues[] = {0.0F, -0.0F, 1.0F, -1.0F, 1e-3F, -300.0F, 1e4F, kInfinity, -kInfinity, kNaN};
    const auto any = [&random, &kValues] { return kValues[random.bits() % std::size(kValues)]; };
    for (int repetition = 0; repetition < 60; ++repetition) {
        fill(random);
        for (float& p : frame_->calib.param) {
            p = any();
        }
        DistnoiseInput& input = frame_->input;
        for (size_t k = 0; k < 2; ++k) {
            input.expTimes[k] = any();
            input.ampNormFactors[k] = any();
        }
        input.intensityExpTime = any();
        input.distNoiseThreshold = any();
        input.numExpTimes = random.integer(1, 2);
        expectEqual();
    }
}

TEST_P(DistnoiseLoop, NoSignalGivesTheNoiseOfTheSmallestAmplitude) {
    ASSERT_EQ(frame_->apply(), 0);
    // y = p1 = 15, divisor 1e-8, factor sqrt(2.5^2 + 1.875^2) / 2 / (2 pi) = 0.2486796
    for (const float noise : frame_->noise) {
        ASSERT_NEAR(noise, std::sqrt(15.0F) * 1e8F * 0.2486796F, 100.0F);
    }
}

TEST_P(DistnoiseLoop, NoVarianceGivesNoNoise) {
    frame_->calib.param[1] = 0.0F;
    frame_->real.assign(kPixelCount, 0.0F);
    ASSERT_EQ(frame_->apply(), 0);
    EXPECT_TRUE(sameFloats(frame_->noise.data(), std::vector<float>(kPixelCount, 0.0F).data(), kPixelCount));
}

TEST_P(DistnoiseLoop, ANegativeVarianceGivesNoNumberAndIsAboveNoLimit) {
    frame_->calib.param[1] = -15.0F;
    frame_->input.distNoiseThreshold = 1e-6F;
    ASSERT_EQ(frame_->apply(), 0);
    for (size_t i = 0; i < frame_->noise.size(); ++i) {
        ASSERT_TRUE(std::isnan(frame_->noise[i])) << i;
        ASSERT_EQ(frame_->confidence[i], 0) << i;
        ASSERT_EQ(frame_->distance[i], 2.0F) << i;
    }
}

TEST_P(DistnoiseLoop, TheModelAtItsKneeUsesTheLowerBranch) {
    // x = p2 I = 3e38 = p3. The lower branch gives 3e38 - 3e38 = 0, the upper one infinity less infinity.
    frame_->calib = {{0.0F, -3e38F, 3e38F, 3e38F}};
    frame_->input.intensityExpTime = 1.0F;
    frame_->input.expTimes[0] = 1.0F;
    frame_->intensity.assign(kPixelCount, 1);
    ASSERT_EQ(frame_->apply(), 0);
    EXPECT_EQ(frame_->noise[0], 0.0F);
    frame_->calib.param[3] = std::nextafter(3e38F, 0.0F);
    ASSERT_EQ(frame_->apply(), 0);
    EXPECT_TRUE(std::isnan(frame_->noise[0]));
}

TEST_P(DistnoiseLoop, IntensitiesFrom0x8000OnAreNegative) {
    // x = p0 a + p2 I / 500 * 250 = 0.04 + 0.04 I; 0xFED4 is -300, so y = 15 + 0.04 - 12. 0x8000 is -32768, y
    // is negative; 0x7FFF is 32767 and above the knee.
    frame_->real.assign(kPixelCount, 0.5F);  // a = 1
    frame_->intensity.assign(kPixelCount, 0xFED4);
    frame_->intensity[1] = 0x8000;
    frame_->intensity[2] = 0x7FFF;
    frame_->input.numFrequenciesUsed = 1;
    frame_->input.uniqueRange[0] = 6.2831855F;
    ASSERT_EQ(frame_->apply(), 0);
    EXPECT_NEAR(frame_->noise[0], std::sqrt(3.04F), 1e-5F);
    EXPECT_TRUE(std::isnan(frame_->noise[1]));
    EXPECT_NEAR(frame_->noise[2], std::sqrt(2.0F * (0.04F + 0.04F * 32767.0F) + 15.0F - 260.0F), 1e-4F);
}

TEST_P(DistnoiseLoop, AZeroNormalisationFactorGivesNoNumber) {
    frame_->input.ampNormFactors[0] = 0.0F;
    frame_->real[1] = 3.0F;
    ASSERT_EQ(frame_->apply(), 0);
    EXPECT_TRUE(std::isnan(frame_->noise[0]));  // an amplitude of 0 times infinity
    EXPECT_TRUE(std::isnan(frame_->noise[1]));  // an infinite amplitude has no inverse in two refinements
}

}  // namespace
