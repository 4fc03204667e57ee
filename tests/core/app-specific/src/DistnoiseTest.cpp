// SPDX-License-Identifier: Apache-2.0
//
// The distance noise: its model, its limit, and what it refuses.
#include "Distnoise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "DistnoiseFrame.h"
#include "support/Reports.h"

namespace {

constexpr float kTwoPi = 6.2831855F;

class Distnoise : public ::testing::Test {
 protected:
    Distnoise() : frame_(std::make_unique<testing_support::DistnoiseFrame>()) {}

    DistnoiseInput& input() { return frame_->input; }

    void apply() { ASSERT_EQ(frame_->apply(), 0); }

    /** The call fails with one report without message, and no image and no output is written. */
    void expectFailure() {
        input().distNoiseThreshold = 1e-9F;
        frame_->output = {8.0F, 9, 10};
        EXPECT_EQ(frame_->apply(), 1);
        ASSERT_EQ(reports_.count(), 1);
        EXPECT_EQ(reports_.file(), "Distnoise");
        EXPECT_TRUE(holds(frame_->noise, -7.0F));
        EXPECT_TRUE(holds(frame_->distance, 2.0F));
        EXPECT_TRUE(holds(frame_->confidence, uint16_t{0}));
        EXPECT_EQ(frame_->output.symNoiseFactor, 8.0F);
        EXPECT_EQ(frame_->output.width, 9);
        EXPECT_EQ(frame_->output.height, 10);
        reports_.clear();
    }

    template <class T>
    static bool holds(const std::vector<T>& image, T value) {
        return std::all_of(image.begin(), image.end(), [value](T v) { return v == value; });
    }

    std::unique_ptr<testing_support::DistnoiseFrame> frame_;
    testing_support::Reports reports_;
};

// --- The model ---

TEST_F(Distnoise, TheVarianceIsThatOfAmplitudeAndLightOverTheAmplitude) {
    frame_->real[5] = 30.0F;
    frame_->imag[5] = -40.0F;
    frame_->intensity[5] = 300;
    input().numFrequenciesUsed = 1;
    apply();
    // a = 50 / 0.5 = 100, light 300 / 500 * 250 = 150, y = 0.04 * 100 + 0.08 * 150 + 15 = 31.
    EXPECT_NEAR(frame_->noise[5], std::sqrt(31.0F) / 100.0F * 2.5F / kTwoPi, 1e-8F);
}

TEST_F(Distnoise, AboveTheKneeTheVarianceRisesTwiceAsFast) {
    frame_->real[5] = 5000.0F;
    input().numFrequenciesUsed = 1;
    apply();
    // a = 10000, x = 400, y = 800 + 15 - 260 = 555.
    EXPECT_NEAR(frame_->noise[5], std::sqrt(555.0F) / 10000.0F * 2.5F / kTwoPi, 1e-9F);
}

TEST_F(Distnoise, APixelOfTheLastExposureUsesItsTimeAndFactor) {
    frame_->real[5] = 30.0F;
    frame_->imag[5] = -40.0F;
    frame_->intensity[5] = 300;
    frame_->confidence[5] = 0x0010;
    input().numFrequenciesUsed = 1;
    apply();
    // a = 50 / 2 = 25, light 300 / 500 * 1000 = 600, y = 0.04 * 25 + 0.08 * 600 + 15 = 64.
    EXPECT_NEAR(frame_->noise[5], std::sqrt(64.0F) / 25.0F * 2.5F / kTwoPi, 1e-7F);
}

TEST_F(Distnoise, WithOneExposureEveryPixelIsOfTheFirst) {
    input().numExpTimes = 1;
    input().ampNormFactors[1] = 0.0F;
    frame_->real[5] = 30.0F;
    frame_->real[6] = 30.0F;
    frame_->confidence[6] = 0x0010;
    apply();
    EXPECT_GT(frame_->noise[5], 0.0F);
    EXPECT_EQ(frame_->noise[5], frame_->noise[6]);
}

TEST_F(Distnoise, TwoEqualFrequenciesLowerTheNoiseByTheRootOfTwo) {
    frame_->real[5] = 30.0F;
    input().uniqueRange[1] = 2.5F;
    input().numFrequenciesUsed = 1;
    apply();
    const float ofOne = frame_->noise[5];
    EXPECT_NEAR(frame_->output.symNoiseFactor, std::sqrt(2.0F) * kTwoPi / 2.5F, 1e-5F);
    input().numFrequenciesUsed = 2;
    apply();
    EXPECT_NEAR(frame_->noise[5], ofOne / std::sqrt(2.0F), 1e-7F * ofOne);
    EXPECT_NEAR(frame_->output.symNoiseFactor, 2.0F * kTwoPi / 2.5F, 1e-5F);
}

TEST_F(Distnoise, ThreeFrequenciesCountAsTwo) {
    frame_->real[5] = 30.0F;
    apply();
    const float ofTwo = frame_->noise[5];
    input().numFrequenciesUsed = 3;
    apply();
    EXPECT_EQ(frame_->noise[5], ofTwo);
}

TEST_F(Distnoise, TheOutputCarriesTheSizeOfTheImage) {
    apply();
    EXPECT_EQ(frame_->output.width, 224);
    EXPECT_EQ(frame_->output.height, 172);
}

TEST_F(Distnoise, TheSecondUniqueRangeIsNotReadWithOneFrequency) {
    input().numFrequenciesUsed = 1;
    input().uniqueRange[1] = std::numeric_limits<float>::quiet_NaN();
    apply();
    EXPECT_GT(frame_->noise[5], 0.0F);
}

// --- The limit ---

TEST_F(Distnoise, AValidPixelAboveTheLimitIsDropped) {
    std::fill(frame_->real.begin(), frame_->real.end(), 100.0F);
    frame_->real[5] = 0.1F;
    frame_->confidence[5] = 0x0400;
    input().distNoiseThreshold = 0.1F;
    apply();
    EXPECT_GT(frame_->noise[5], 0.1F);
    EXPECT_EQ(frame_->confidence[5], 0x0609);
    EXPECT_EQ(frame_->distance[5], 0.0F);
    EXPECT_EQ(std::count(frame_->distance.begin(), frame_->distance.end(), 2.0F), kPixelCount - 1);
    EXPECT_EQ(std::count(frame_->confidence.begin(), frame_->confidence.end(), 0), kPixelCount - 1);
}

TEST_F(Distnoise, AnInvalidPixelAboveTheLimitStaysAsItIs) {
    frame_->confidence[5] = 0x0003;
    input().distNoiseThreshold = 0.1F;
    apply();
    EXPECT_GT(frame_->noise[5], 0.1F);
    EXPECT_EQ(frame_->confidence[5], 0x0003);
    EXPECT_EQ(frame_->distance[5], 2.0F);
}

TEST_F(Distnoise, APixelWithoutSignalFallsUnderAnyLimit) {
    input().distNoiseThreshold = 1e6F;
    apply();
    EXPECT_GT(frame_->noise[0], 1e6F);
    EXPECT_TRUE(holds(frame_->confidence, uint16_t{0x0209}));
    EXPECT_TRUE(holds(frame_->distance, 0.0F));
}

TEST_F(Distnoise, ANoiseAtTheLimitStays) {
    frame_->real[5] = 30.0F;
    apply();
    input().distNoiseThreshold = frame_->noise[5];
    apply();
    EXPECT_EQ(frame_->confidence[5], 0);
    input().distNoiseThreshold = std::nextafter(frame_->noise[5], 0.0F);
    apply();
    EXPECT_EQ(frame_->confidence[5], 0x0209);
}

TEST_F(Distnoise, ALimitOfZeroOrLessOrNoNumberDropsNothing) {
    for (const float limit : {0.0F, -0.0F, -1.0F, std::numeric_limits<float>::quiet_NaN()}) {
        input().distNoiseThreshold = limit;
        std::fill(frame_->noise.begin(), frame_->noise.end(), -7.0F);
        apply();
        EXPECT_TRUE(std::none_of(frame_->noise.begin(), frame_->noise.end(), [](float n) { return n < 0; }));
        EXPECT_TRUE(holds(frame_->confidence, uint16_t{0}));
        EXPECT_TRUE(holds(frame_->distance, 2.0F));
    }
}

// --- What is refused ---

TEST_F(Distnoise, AnotherSizeFails) {
    for (const uint16_t height : {0, 171, 173, 65535}) {
        input().xyHeight = height;
        expectFailure();
    }
    input().xyHeight = 172;
    for (const uint16_t width : {0, 216, 223, 225, 232, 65535}) {
        input().xyWidth = width;
        expectFailure();
    }
}

TEST_F(Distnoise, AMissingIntensityImageFails) {
    input().intensity = nullptr;
    expectFailure();
}

TEST_F(Distnoise, AMissingConfidenceImageFails) {
    frame_->inout.confidence = nullptr;
    expectFailure();
}

TEST_F(Distnoise, AMissingRealImageFails) {
    input().xyReal = nullptr;
    expectFailure();
}

TEST_F(Distnoise, AMissingImaginaryImageFails) {
    input().xyImag = nullptr;
    expectFailure();
}

TEST_F(Distnoise, ANumberOfExposuresThatTheRecordDoesNotHoldFails) {
    for (const int32_t number :
         {0, -1, 3, std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::min()}) {
        input().numExpTimes = number;
        expectFailure();
    }
}

}  // namespace
