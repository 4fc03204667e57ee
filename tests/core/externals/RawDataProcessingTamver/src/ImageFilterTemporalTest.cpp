// SPDX-License-Identifier: Apache-2.0
//
// The image filter's filters over time.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "ImageFilterStage.h"
#include "support/Floats.h"

namespace {

using testing_support::ImageFilterStage;
using testing_support::Messages;
using testing_support::MutexServices;
using testing_support::sameFloat;

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr uint32_t kMaxUnsigned = std::numeric_limits<uint32_t>::max();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// --- Mean ----------------------------------------------------------------------------------------

class TemporalMean : public ::testing::Test, protected ImageFilterStage {
 protected:
    TemporalMean() {
        setSize(16, 4);
        input.settings.temporalFilter = TempFilter_Mean;
        EXPECT_EQ(init(), 0);
    }

    /** The pixel of a frame after the filter; the others are 0. */
    float filtered(float value, size_t pixel = 5) {
        std::fill(distance.begin(), distance.end(), 0.0F);
        distance[pixel] = value;
        EXPECT_EQ(apply(), 0);
        return distance[pixel];
    }

    int32_t filter(int32_t startIdx, int32_t endIdx) {
        return applyTemporalMeanFilter(distance.data(), startIdx, endIdx, &history_, &settings_);
    }

    ImFTemporalBuffer& history_ = state->tempMeanDist;
    TempFilterMeanSettings settings_ = {3};
};

TEST_F(TemporalMean, AveragesTheMeasurementsOfTheLastThreeFrames) {
    EXPECT_EQ(filtered(5.0F), 5.0F);
    EXPECT_EQ(filtered(0.0F), 5.0F);  // a hole gets the mean of its past
    EXPECT_EQ(filtered(7.0F), 6.0F);
    EXPECT_EQ(filtered(0.0F), 7.0F);  // 5 has left the ring
    EXPECT_EQ(filtered(0.0F), 7.0F);
    EXPECT_EQ(filtered(0.0F), 0.0F);
}

TEST_F(TemporalMean, AHoleInAllFramesStaysAHole) {
    for (int32_t frame = 0; frame < 7; ++frame) {
        EXPECT_EQ(filtered(0.0F), 0.0F);
    }
}

TEST_F(TemporalMean, NegativeZeroIsAHole) {
    EXPECT_EQ(filtered(4.0F), 4.0F);
    EXPECT_EQ(filtered(-0.0F), 4.0F);
    EXPECT_EQ(filtered(8.0F), 6.0F);
}

TEST_F(TemporalMean, TheRingWrapsAtTheNumberOfFrames) {
    for (const uint32_t frames : {2U, 7U, 25U}) {
        input.settings.tempMeanSettings.numberOfFrames = frames;
        for (uint32_t frame = 0; frame < 2 * frames; ++frame) {
            filtered(1.0F);
            EXPECT_EQ(history_.currentTempBuf, (frame + 1) % frames);
        }
    }
}

TEST_F(TemporalMean, NegativeMeasurementsCount) {
    EXPECT_EQ(filtered(-3.0F), -3.0F);
    EXPECT_EQ(filtered(1.0F), -1.0F);
}

TEST_F(TemporalMean, EveryRefusalHasItsMessageInOrder) {
    settings_.numberOfFrames = 26;
    EXPECT_EQ(applyTemporalMeanFilter(nullptr, 0, 64, nullptr, &settings_), 1);
    EXPECT_EQ(applyTemporalMeanFilter(distance.data(), 0, 64, nullptr, &settings_), 1);
    EXPECT_EQ(applyTemporalMeanFilter(distance.data(), 0, 64, &history_, nullptr), 1);
    EXPECT_EQ(filter(0, 64), 1);
    settings_.numberOfFrames = kMaxUnsigned;
    EXPECT_EQ(filter(0, 64), 1);
    settings_.numberOfFrames = 1;
    EXPECT_EQ(filter(0, 64), 1);
    settings_.numberOfFrames = 0;
    EXPECT_EQ(filter(0, 64), 1);
    EXPECT_EQ(takeMessages(),
              (Messages{"InOut image pointer is NULL", "Temporal buffer pointer is NULL", "",
                        "temp. mean filter exceeds maximum", "temp. mean filter exceeds maximum",
                        "temp. mean filter numberOfFrames <= 1", "temp. mean filter numberOfFrames <= 1"}));
}

TEST_F(TemporalMean, AnEmptyRangeTouchesNothing) {
    distance.assign(64, 3.0F);
    EXPECT_EQ(filter(7, 7), 0);
    EXPECT_EQ(filter(0, 0), 0);
    EXPECT_EQ(filter(9, 7), 0);
    EXPECT_EQ(history_.values[0][7], 0.0F);
    EXPECT_EQ(history_.tempNoValidPixels[7], 0.0F);
    EXPECT_TRUE(takeMessages().empty());
}

TEST_F(TemporalMean, OnlyTheRangeIsFiltered) {
    distance.assign(64, 3.0F);
    EXPECT_EQ(filter(10, 20), 0);
    for (size_t i = 0; i < 64; ++i) {
        EXPECT_EQ(history_.tempNoValidPixels[i], i >= 10 && i < 20 ? 1.0F : 0.0F);
        EXPECT_EQ(history_.values[0][i], i >= 10 && i < 20 ? 3.0F : 0.0F);
    }
}

TEST_F(TemporalMean, ASlotBeyondTheRingIsRefused) {
    for (const uint32_t slot : {25U, 26U, kMaxUnsigned}) {
        history_.currentTempBuf = slot;
        EXPECT_EQ(filter(0, 64), 1);
    }
    EXPECT_EQ(takeMessages(), (Messages{"", "", ""}));
}

TEST_F(TemporalMean, PixelsBeyondTheHistoryAreRefused) {
    EXPECT_EQ(filter(-1, 64), 1);
    EXPECT_EQ(filter(0, kPixelCount + 1), 1);
    EXPECT_EQ(filter(0, kMax), 1);
    EXPECT_EQ(takeMessages(), (Messages{"", "", ""}));
}

TEST_F(TemporalMean, ANegativeCountStopsAtThatPixel) {
    distance.assign(64, 2.0F);
    history_.values[0][20] = 9.0F;
    history_.sum[20] = 10.0F;
    history_.tempNoValidPixels[20] = -1.0F;
    EXPECT_EQ(filter(0, 64), 1);
    EXPECT_EQ(takeMessages(), Messages{""});
    EXPECT_EQ(history_.tempNoValidPixels[19], 1.0F);
    // The pixel itself: its history has moved on by 9 out and 2 in.
    EXPECT_EQ(history_.tempNoValidPixels[20], -1.0F);
    EXPECT_EQ(history_.sum[20], 3.0F);
    EXPECT_EQ(history_.values[0][20], 2.0F);
    EXPECT_EQ(distance[20], 2.0F);
    EXPECT_EQ(history_.tempNoValidPixels[21], 0.0F);
    EXPECT_EQ(history_.values[0][21], 0.0F);
}

TEST_F(TemporalMean, TheRunningSumKeepsItsRounding) {
    // In single precision 1e8 + 1 is 1e8, and so 1e8 + 1 + 1 - 1e8 leaves 0 for two measurements of 1.
    filtered(1e8F);
    filtered(1.0F);
    filtered(1.0F);
    EXPECT_EQ(filtered(3.0F), 1.0F);  // (0 + 3) / 3
}

// --- Adaptive exponential smoothing --------------------------------------------------------------

class AdaptiveExponential : public ::testing::Test, protected ImageFilterStage {
 protected:
    AdaptiveExponential() {
        setSize(16, 4);
        // The weight is 0.25 up to a change of 0.1, 0.75 from 0.5 on, and 0.5 halfway.
        input.settings.temporalFilter = TempFilter_AdaptiveExponential;
        EXPECT_EQ(init(), 0);
    }

    float filtered(float value, float other, size_t pixel = 5) {
        distance[pixel] = value;
        normalizedAmplitude[pixel] = other;
        EXPECT_EQ(apply(), 0);
        return distance[pixel];
    }

    int32_t filter(int32_t startIdx = 0, int32_t endIdx = 64, int32_t numPixel = 64) {
        return applyTemporalAdExpFilter(distance.data(), normalizedAmplitude.data(), startIdx, endIdx,
                                        numPixel, &services, state.get(), &history_, &settings_);
    }

    ImFTemporalBuffer& history_ = state->tempMeanDist;
    TempFilterAdaptExpSettings& settings_ = input.settings.tempAdexpSettings;
};

TEST_F(AdaptiveExponential, TheFirstFrameAfterAResetIsUnchangedAndTheSecondIsFiltered) {
    EXPECT_EQ(filtered(2.0F, 1.0F), 2.0F);
    EXPECT_EQ(filtered(4.0F, 1.0F), 2.5F);  // no change of the amplitude: 0.25 * 4 + 0.75 * 2
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(filtered(9.0F, 1.0F), 9.0F);
}

TEST_F(AdaptiveExponential, TheWeightFollowsTheChangeOfTheOtherImage) {
    filtered(2.0F, 1.0F);
    EXPECT_EQ(filtered(4.0F, 11.0F), 3.5F);            // 0.75 * 4 + 0.25 * 2
    EXPECT_EQ(filtered(3.5F, -11.0F), 3.5F);           // a fall counts as a rise does
    EXPECT_NEAR(filtered(5.5F, -10.7F), 4.5F, 1e-5F);  // a change of 0.3, halfway: 0.5
}

TEST_F(AdaptiveExponential, AHoleStaysAHoleAndRestartsTheHistory) {
    filtered(2.0F, 1.0F);
    EXPECT_TRUE(sameFloat(filtered(0.0F, 1.0F), 0.0F));
    EXPECT_EQ(filtered(8.0F, 1.0F), 8.0F);
    EXPECT_TRUE(sameFloat(filtered(-0.0F, 1.0F), 0.0F));
    EXPECT_EQ(filtered(6.0F, 1.0F), 6.0F);
    EXPECT_EQ(filtered(2.0F, 1.0F), 5.0F);
}

TEST_F(AdaptiveExponential, TheAmplitudeFollowsTheChangeOfTheUnfilteredDistance) {
    input.settings.applyAmplitudeFilter = 1;
    filtered(2.0F, 1.0F);
    // The amplitude sees a change of 10 m: 0.75 * 3 + 0.25 * 1 = 2.5. The distance then sees the filtered
    // amplitude's change of 1.5: 0.75 * 12 + 0.25 * 2 = 9.5.
    EXPECT_EQ(filtered(12.0F, 3.0F), 9.5F);
    EXPECT_EQ(normalizedAmplitude[5], 2.5F);
    EXPECT_EQ(state->tempMeanNormAmp.values[1][5], 12.0F);
    EXPECT_EQ(state->tempMeanDist.values[1][5], 2.5F);
}

TEST_F(AdaptiveExponential, ANewHistoryTakesAllPixelsNotOnlyTheRange) {
    distance.assign(64, 3.0F);
    normalizedAmplitude.assign(64, 7.0F);
    ASSERT_EQ(filter(10, 20), 0);
    EXPECT_EQ(history_.needsInit, 0);
    for (size_t i = 0; i < 64; ++i) {
        EXPECT_EQ(history_.values[0][i], 3.0F);
        EXPECT_EQ(history_.values[1][i], 7.0F);
    }
    EXPECT_EQ(history_.values[0][64], 0.0F);
}

TEST_F(AdaptiveExponential, ANewHistoryIsMadeUnderTheMutex) {
    const MutexServices mutex;
    useThreads(1);
    ASSERT_EQ(init(), 0);
    ASSERT_EQ(filter(), 0);
    EXPECT_EQ(mutex.locked, 1);
    EXPECT_EQ(mutex.unlocked, 1);
    ASSERT_EQ(filter(), 0);
    EXPECT_EQ(mutex.locked, 1);
}

TEST_F(AdaptiveExponential, EveryRefusalHasItsMessageInOrder) {
    EXPECT_EQ(
        applyTemporalAdExpFilter(nullptr, nullptr, 0, 64, 64, &services, state.get(), nullptr, &settings_),
        1);
    EXPECT_EQ(applyTemporalAdExpFilter(distance.data(), nullptr, 0, 64, 64, &services, state.get(), nullptr,
                                       &settings_),
              1);
    EXPECT_EQ(applyTemporalAdExpFilter(distance.data(), normalizedAmplitude.data(), 0, 64, 64, &services,
                                       state.get(), nullptr, &settings_),
              1);
    EXPECT_EQ(takeMessages(), (Messages{"distInOut image pointer is NULL", "ampInOut image pointer is NULL",
                                        "Temporal buffer pointer is NULL"}));
    settings_ = {-1.0F, 2.0F, -1.0F, -0.5F};  // everything wrong; then repaired in the order of the tests
    EXPECT_EQ(filter(), 1);
    settings_.maxSDAlpha = 0.5F;
    EXPECT_EQ(filter(), 1);
    settings_.minSDAlpha = 0.6F;
    EXPECT_EQ(filter(), 1);
    settings_.minSmoothDiff = 0.0F;
    EXPECT_EQ(filter(), 1);
    settings_.maxSmoothDiff = 0.0F;
    EXPECT_EQ(filter(), 1);
    EXPECT_EQ(takeMessages(), (Messages{"maxSDAlpha out of range", "minSDAlpha out of range",
                                        "minSmoothDiff must be >= 0", "maxSmoothDiff must be >= 0",
                                        "minSDAlpha must be smaller than, or equal to maxSDAlpha"}));
    settings_ = {0.0F, 0.0F, 1.0F, 1.5F};
    EXPECT_EQ(filter(), 1);
    settings_ = {0.0F, -0.5F, 1.0F, 1.0F};
    EXPECT_EQ(filter(), 1);
    EXPECT_EQ(takeMessages(), (Messages{"maxSDAlpha out of range", "minSDAlpha out of range"}));
}

TEST_F(AdaptiveExponential, AMissingStateOrSettingsFailWithoutAMessage) {
    ImFTemporalBuffer buffers = {};
    EXPECT_EQ(applyTemporalAdExpFilter(distance.data(), normalizedAmplitude.data(), 0, 64, 64, &services,
                                       nullptr, &buffers, &settings_),
              1);
    EXPECT_EQ(applyTemporalAdExpFilter(distance.data(), normalizedAmplitude.data(), 0, 64, 64, &services,
                                       state.get(), &buffers, nullptr),
              1);
    EXPECT_EQ(takeMessages(), (Messages{"", ""}));
}

TEST_F(AdaptiveExponential, AWeightIsFromZeroToOneAndNothingBeyond) {
    settings_.minSDAlpha = 0.0F;
    settings_.maxSDAlpha = 1.0F;
    EXPECT_EQ(filter(), 0);
    settings_.maxSDAlpha = std::nextafter(1.0F, 2.0F);
    EXPECT_EQ(filter(), 1);
    settings_.maxSDAlpha = 1.0F;
    settings_.minSDAlpha = -std::numeric_limits<float>::min();
    EXPECT_EQ(filter(), 1);
    EXPECT_EQ(takeMessages(), (Messages{"maxSDAlpha out of range", "minSDAlpha out of range"}));
}

TEST_F(AdaptiveExponential, EqualLimitsOfTheChangeAreRefusedFromTheSecondFrameOn) {
    settings_ = {0.3F, 0.2F, 0.3F, 0.8F};
    EXPECT_EQ(filter(), 0);
    EXPECT_EQ(filter(), 1);
    settings_.maxSmoothDiff = 0.3F + 5e-7F;
    EXPECT_EQ(filter(), 1);
    settings_.maxSmoothDiff = 0.3F - 5e-7F;
    EXPECT_EQ(filter(), 1);
    settings_.maxSmoothDiff = 0.3F + 2e-6F;
    EXPECT_EQ(filter(), 0);
    settings_.maxSmoothDiff = 0.3F - 2e-6F;
    EXPECT_EQ(filter(), 0);
    const char* const message = "minSmoothDiff and maxSmoothDiff are (close to) equal";
    EXPECT_EQ(takeMessages(), (Messages{message, message, message}));
}

TEST_F(AdaptiveExponential, LimitsOfTheChangeInFallingOrderLetTheWeightFall) {
    // A slope of (0.75 - 0.25) / (0.1 - 0.5) = -1.25 and an offset of 0.25 + 1.25 * 0.5 = 0.875.
    settings_ = {0.5F, 0.25F, 0.1F, 0.75F};
    filtered(2.0F, 1.0F);
    EXPECT_EQ(filtered(4.0F, 1.0F), 3.5F);           // no change: 0.875, cut to 0.75; 0.75 * 4 + 0.25 * 2
    EXPECT_NEAR(filtered(5.5F, 1.3F), 4.5F, 1e-5F);  // a change of 0.3: 0.875 - 0.375 = 0.5
    EXPECT_NEAR(filtered(8.5F, 9.0F), 5.5F, 1e-5F);  // a large one: 0.25; 0.25 * 8.5 + 0.75 * 4.5
}

TEST_F(AdaptiveExponential, LimitsOfTheWeightMayBeEqual) {
    for (const float weight : {0.0F, 0.5F, 1.0F}) {
        settings_ = {0.0F, weight, 1.0F, weight};
        EXPECT_EQ(filtered(2.0F, 1.0F), 2.0F);
        EXPECT_EQ(filtered(4.0F, 100.0F), 2.0F + 2.0F * weight);
    }
    EXPECT_EQ(takeMessages(), Messages{});  // a refused weight of 1 would give the same values
}

TEST_F(AdaptiveExponential, SettingsThatAreNoNumbersGiveNoNumbers) {
    settings_.minSmoothDiff = kNaN;
    filtered(2.0F, 1.0F);
    EXPECT_TRUE(sameFloat(filtered(4.0F, 1.0F), kNaN));
}

TEST_F(AdaptiveExponential, PixelsBeyondTheHistoryAreRefused) {
    EXPECT_EQ(filter(-1, 64), 1);
    EXPECT_EQ(filter(0, kPixelCount + 1), 1);
    EXPECT_EQ(filter(0, 64, kPixelCount + 1), 1);
    EXPECT_EQ(filter(0, 64, kMax), 1);
    EXPECT_EQ(takeMessages(), (Messages{"", "", "", ""}));
    EXPECT_EQ(filter(0, 0, -5), 0);
}

}  // namespace
