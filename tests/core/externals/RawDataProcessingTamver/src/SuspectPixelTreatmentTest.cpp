// SPDX-License-Identifier: Apache-2.0
//
// Suspect pixels: which pixels they are, which their neighbours are, and what they become.
#include "SuspectPixelTreatment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "support/Floats.h"
#include "support/Random.h"
#include "support/Reports.h"

namespace {

using testing_support::Random;
using testing_support::sameFloats;
using testing_support::sameValues;

constexpr int32_t kWidth = 7;
constexpr int32_t kHeight = 5;
constexpr size_t kPixels = size_t{kWidth} * kHeight;

class SuspectPixels : public ::testing::Test {
 protected:
    SuspectPixels()
        : matrix_(kPixels, 0),
          confidence_(kPixels, 0x0010),
          amplitude_(kPixels),
          normalized_(kPixels),
          distance_(kPixels) {
        calib_.width = kWidth;
        calib_.height = kHeight;
        input_.applyTreatement = 1;
        inout_.width = kWidth;
        inout_.height = kHeight;
        inout_.confidence = confidence_.data();
        inout_.amplitude = amplitude_.data();
        inout_.normalizedAmplitude = normalized_.data();
        inout_.distance = distance_.data();
        for (size_t i = 0; i < kPixels; ++i) {
            distance_[i] = 1.0F + static_cast<float>(i);
            amplitude_[i] = 100.0F + static_cast<float>(i);
            normalized_[i] = 1000.0F + static_cast<float>(i);
        }
    }

    int32_t init(std::vector<int32_t> pixels) {
        indices_ = std::move(pixels);
        indices_.reserve(1);  // never null
        calib_.badPixelIdx = indices_.data();
        calib_.numBadPixel = static_cast<int32_t>(indices_.size());
        return SuspectPixelTreatment_Init(&calib_, &state_);
    }

    int32_t apply() { return SuspectPixelTreatment_Apply(&input_, &state_, &inout_); }

    void invalidate(std::initializer_list<size_t> pixels) {
        for (const size_t pixel : pixels) {
            confidence_[pixel] |= 0x0001;
        }
    }

    /** The neighbours of the first suspect pixel, in the order in which their values are summed. */
    std::vector<int32_t> neighbours() const {
        return {state_.luIdx[0], state_.muIdx[0], state_.ruIdx[0], state_.leIdx[0],
                state_.riIdx[0], state_.lbIdx[0], state_.mbIdx[0], state_.rbIdx[0]};
    }

    void expectFailure(int32_t line, const std::string& message = {}) {
        ASSERT_EQ(reports_.count(), 1);
        EXPECT_EQ(reports_.file(), "SuspectPixelTreatme");  // cut at 19 characters
        EXPECT_EQ(reports_.line(), line);
        if (!message.empty()) {
            EXPECT_EQ(reports_.text(), message);
        }
        reports_.clear();
    }

    SuspectPixelTreatmentCalib calib_ = {};
    SuspectPixelTreatmentInput input_ = {};
    SuspectPixelTreatmentInOut inout_ = {};
    SuspectPixelTreatmentState state_ = {};
    testing_support::Reports reports_;
    std::vector<uint16_t> matrix_;
    std::vector<int32_t> indices_;
    std::vector<uint16_t> confidence_;
    std::vector<float> amplitude_, normalized_, distance_;
};

// --- Which pixels, and their neighbours ---

TEST_F(SuspectPixels, APixelInsideHasEightNeighbours) {
    ASSERT_EQ(init({16}), 0);  // row 2, column 2
    EXPECT_EQ(neighbours(), (std::vector<int32_t>{8, 9, 10, 15, 17, 22, 23, 24}));
}

TEST_F(SuspectPixels, TheFirstPixelHasNeighboursOnTheRightAndBelow) {
    ASSERT_EQ(init({0}), 0);
    EXPECT_EQ(neighbours(), (std::vector<int32_t>{-1, -1, -1, -1, 1, -1, kWidth, kWidth + 1}));
}

TEST_F(SuspectPixels, TheLastPixelHasNeighboursOnTheLeftAndAbove) {
    ASSERT_EQ(init({34}), 0);
    EXPECT_EQ(neighbours(), (std::vector<int32_t>{26, 27, -1, 33, -1, -1, -1, -1}));
}

TEST_F(SuspectPixels, TheOtherTwoCornersHaveThreeNeighboursEach) {
    ASSERT_EQ(init({6}), 0);
    EXPECT_EQ(neighbours(), (std::vector<int32_t>{-1, -1, -1, 5, -1, 12, 13, -1}));
    ASSERT_EQ(init({28}), 0);
    EXPECT_EQ(neighbours(), (std::vector<int32_t>{-1, 21, 22, -1, 29, -1, -1, -1}));
}

TEST_F(SuspectPixels, AnImageOfOnePixelHasNoNeighbours) {
    calib_.width = 1;
    calib_.height = 1;
    ASSERT_EQ(init({0}), 0);
    EXPECT_EQ(neighbours(), std::vector<int32_t>(8, -1));
}

TEST_F(SuspectPixels, TheMatrixGivesItsMarkedPixelsInOrder) {
    matrix_[3] = 1;
    matrix_[20] = 0xFFFF;
    calib_.badPixelMatrix = matrix_.data();
    ASSERT_EQ(init({9, 10, 11}), 0);  // the list does not count beside a matrix
    EXPECT_EQ(state_.numBadPixel, 2);
    EXPECT_EQ(state_.badPixelIdx[0], 3);
    EXPECT_EQ(state_.badPixelIdx[1], 20);
    EXPECT_EQ(state_.riIdx[1], -1);
}

TEST_F(SuspectPixels, ExactlyFifteenPixelsOfTheMatrixAreAcceptedSixteenFail) {
    calib_.badPixelMatrix = matrix_.data();
    std::fill_n(matrix_.begin(), 15, uint16_t{1});
    ASSERT_EQ(init({}), 0);
    EXPECT_EQ(state_.numBadPixel, 15);
    EXPECT_EQ(state_.badPixelIdx[14], 14);
    matrix_[34] = 1;
    EXPECT_EQ(init({}), 1);
    expectFailure(30, "Too many suspect pixels (matrix mode)");
    EXPECT_EQ(state_.numBadPixel, 0);
}

TEST_F(SuspectPixels, ExactlyFifteenPixelsOfTheListAreAcceptedSixteenFail) {
    ASSERT_EQ(init(std::vector<int32_t>(15, 8)), 0);
    EXPECT_EQ(state_.numBadPixel, 15);
    EXPECT_EQ(init(std::vector<int32_t>(16, 8)), 1);
    expectFailure(38, "Too many suspect pixels (array mode)");
    EXPECT_EQ(state_.numBadPixel, 0);
}

TEST_F(SuspectPixels, AHugeNumberOfPixelsFails) {
    indices_ = {1};
    calib_.badPixelIdx = indices_.data();
    calib_.numBadPixel = std::numeric_limits<int32_t>::max();
    EXPECT_EQ(SuspectPixelTreatment_Init(&calib_, &state_), 1);
    expectFailure(38);
}

TEST_F(SuspectPixels, ANegativeNumberOfPixelsIsNone) {
    for (const int32_t number : {-1, std::numeric_limits<int32_t>::min()}) {
        indices_ = {1};
        state_.numBadPixel = 9;
        calib_.badPixelIdx = indices_.data();
        calib_.numBadPixel = number;
        EXPECT_EQ(SuspectPixelTreatment_Init(&calib_, &state_), 0);
        EXPECT_EQ(state_.numBadPixel, 0);
    }
}

TEST_F(SuspectPixels, NeitherMatrixNorListFails) {
    calib_.numBadPixel = 16;
    EXPECT_EQ(SuspectPixelTreatment_Init(&calib_, &state_), 1);
    expectFailure(45, "Either matrix or idx-array must be valid");
}

TEST_F(SuspectPixels, NullArgumentsAndSizesBelowOneFailToInitialise) {
    EXPECT_EQ(SuspectPixelTreatment_Init(nullptr, nullptr), 1);
    expectFailure(17);
    EXPECT_EQ(SuspectPixelTreatment_Init(&calib_, nullptr), 1);
    expectFailure(17);
    EXPECT_EQ(SuspectPixelTreatment_Init(nullptr, &state_), 1);
    expectFailure(18);
    for (const int32_t size : {0, -1, std::numeric_limits<int32_t>::min()}) {
        calib_.width = size;
        calib_.height = kHeight;
        EXPECT_EQ(SuspectPixelTreatment_Init(&calib_, &state_), 1);
        expectFailure(19);
        calib_.width = kWidth;
        calib_.height = size;
        EXPECT_EQ(SuspectPixelTreatment_Init(&calib_, &state_), 1);
        expectFailure(19);
    }
}

TEST_F(SuspectPixels, ASizeWhosePixelsNoIndexReachesFails) {
    calib_.width = 65536;
    calib_.height = 32768;
    EXPECT_EQ(init({1}), 1);
    EXPECT_EQ(reports_.count(), 1);
}

TEST_F(SuspectPixels, APixelOutsideTheImageHasNoNeighboursAndIsPassedOver) {
    const std::vector<float> before = distance_;
    for (const int32_t pixel : {-1, static_cast<int32_t>(kPixels), std::numeric_limits<int32_t>::min(),
                                std::numeric_limits<int32_t>::max()}) {
        ASSERT_EQ(init({pixel}), 0) << pixel;
        EXPECT_EQ(neighbours(), std::vector<int32_t>(8, -1)) << pixel;
        EXPECT_EQ(apply(), 0) << pixel;
        EXPECT_TRUE(sameFloats(distance_.data(), before.data(), kPixels)) << pixel;
    }
}

// --- Repair ---

TEST_F(SuspectPixels, APixelBecomesTheMeanOfItsNeighboursInAllThreeImages) {
    invalidate({16});
    confidence_[16] |= 0x0006;
    ASSERT_EQ(init({16}), 0);
    for (const size_t n : {8, 9, 10, 15, 17, 22, 23, 24}) {
        distance_[n] = 2.0F;
        amplitude_[n] = 20.0F;
        normalized_[n] = 200.0F;
    }
    distance_[24] = 10.0F;
    amplitude_[24] = 100.0F;
    normalized_[24] = 1000.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance_[16], 3.0F);
    EXPECT_EQ(amplitude_[16], 30.0F);
    EXPECT_EQ(normalized_[16], 300.0F);
    EXPECT_EQ(confidence_[16], 0x0016);  // valid again, its other marks stay
}

TEST_F(SuspectPixels, TheValueOfThePixelItselfDoesNotCount) {
    ASSERT_EQ(init({16}), 0);
    distance_[16] = std::numeric_limits<float>::quiet_NaN();
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance_[16], 17.0F);  // the mean of a plane is its middle
}

TEST_F(SuspectPixels, InvalidNeighboursDoNotCount) {
    ASSERT_EQ(init({16}), 0);
    invalidate({16, 8, 9, 10, 15, 17, 22});
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance_[16], (24.0F + 25.0F) / 2.0F);
    EXPECT_EQ(amplitude_[16], (123.0F + 124.0F) / 2.0F);
}

TEST_F(SuspectPixels, OtherMarksOfANeighbourDoNotKeepItOut) {
    ASSERT_EQ(init({0}), 0);
    confidence_[1] = 0xFFFE;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance_[0], (2.0F + 8.0F + 9.0F) / 3.0F);
}

TEST_F(SuspectPixels, WithoutAValidNeighbourAllValuesBecomeZeroAndTheConfidenceStays) {
    for (const uint16_t confidence : {uint16_t{0x0011}, uint16_t{0x0010}}) {
        ASSERT_EQ(init({0}), 0);
        invalidate({1, 7, 8});
        confidence_[0] = confidence;
        distance_[0] = amplitude_[0] = normalized_[0] = 5.0F;
        ASSERT_EQ(apply(), 0);
        EXPECT_EQ(distance_[0], 0.0F);
        EXPECT_EQ(amplitude_[0], 0.0F);
        EXPECT_EQ(normalized_[0], 0.0F);
        EXPECT_EQ(confidence_[0], confidence);
    }
}

TEST_F(SuspectPixels, WithoutAmplitudeTheOthersAreTreated) {
    ASSERT_EQ(init({16}), 0);
    inout_.amplitude = nullptr;
    invalidate({16});
    const std::vector<float> before = amplitude_;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance_[16], 17.0F);
    EXPECT_EQ(normalized_[16], 1016.0F);
    EXPECT_TRUE(sameFloats(amplitude_.data(), before.data(), kPixels));
}

TEST_F(SuspectPixels, WithoutNormalizedAmplitudeTheOthersAreTreated) {
    ASSERT_EQ(init({16}), 0);
    inout_.normalizedAmplitude = nullptr;
    amplitude_[16] = 0.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(amplitude_[16], 116.0F);
}

TEST_F(SuspectPixels, AMeanOfExactlyZeroLeavesThePixelInvalid) {
    ASSERT_EQ(init({0}), 0);
    invalidate({0});
    distance_[1] = 2.0F;
    distance_[7] = -2.0F;
    distance_[8] = 0.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance_[0], 0.0F);
    EXPECT_EQ(amplitude_[0], (101.0F + 107.0F + 108.0F) / 3.0F);
    EXPECT_EQ(confidence_[0], 0x0011);
}

TEST_F(SuspectPixels, TwoInvalidNeighboursDoNotSeeEachOtherAndAreBothRepaired) {
    ASSERT_EQ(init({16, 17}), 0);
    invalidate({16, 17});
    std::fill(distance_.begin(), distance_.end(), 4.0F);
    distance_[16] = 1000.0F;
    distance_[17] = 2000.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance_[16], 4.0F);
    EXPECT_EQ(distance_[17], 4.0F);
    EXPECT_EQ(confidence_[16], 0x0010);
    EXPECT_EQ(confidence_[17], 0x0010);
}

TEST_F(SuspectPixels, AValidSuspectPixelIsSeenByTheNextWithItsNewValue) {
    ASSERT_EQ(init({16, 17}), 0);
    std::fill(distance_.begin(), distance_.end(), 4.0F);
    distance_[16] = 1000.0F;
    distance_[17] = 84.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance_[16], (7 * 4.0F + 84.0F) / 8.0F);  // sees the second as it came: 14
    EXPECT_EQ(distance_[17], (7 * 4.0F + 14.0F) / 8.0F);  // sees the first as repaired
}

TEST_F(SuspectPixels, ValuesAreSummedInTheOrderOfTheNeighbours) {
    // Above from left to right, left, right, below from left to right: 1e8 swallows a 1 that comes before its
    // counterpart.
    ASSERT_EQ(init({16}), 0);
    for (const size_t n : {8, 9, 10, 15, 17, 22, 23, 24}) {
        distance_[n] = 0.0F;
    }
    distance_[8] = 1e8F;
    distance_[10] = 1.0F;
    distance_[15] = -1e8F;
    distance_[17] = 16.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance_[16], 2.0F);
}

TEST_F(SuspectPixels, AMeanThatIsNoNumberCountsAsAValue) {
    ASSERT_EQ(init({0}), 0);
    invalidate({0});
    distance_[1] = std::numeric_limits<float>::quiet_NaN();
    ASSERT_EQ(apply(), 0);
    EXPECT_TRUE(std::isnan(distance_[0]));
    EXPECT_EQ(confidence_[0], 0x0010);
}

TEST_F(SuspectPixels, OnlySuspectPixelsChange) {
    Random random(41);
    SCOPED_TRACE(random.seedText());
    const std::vector<int32_t> pixels = {0, 6, 13, 16, 17, 34};
    ASSERT_EQ(init(pixels), 0);
    for (size_t i = 0; i < kPixels; ++i) {
        distance_[i] = random.anyFloat();
        confidence_[i] = static_cast<uint16_t>(random.bits());
    }
    const std::vector<float> distance = distance_;
    const std::vector<uint16_t> confidence = confidence_;
    ASSERT_EQ(apply(), 0);
    for (size_t i = 0; i < kPixels; ++i) {
        if (std::find(pixels.begin(), pixels.end(), static_cast<int32_t>(i)) == pixels.end()) {
            EXPECT_TRUE(testing_support::sameFloat(distance_[i], distance[i])) << i;
            EXPECT_EQ(confidence_[i], confidence[i]) << i;
        }
    }
}

TEST_F(SuspectPixels, SwitchedOffNothingChanges) {
    ASSERT_EQ(init({16}), 0);
    input_.applyTreatement = 0;
    distance_[16] = 500.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance_[16], 500.0F);
}

TEST_F(SuspectPixels, WithoutSuspectPixelsNothingChanges) {
    ASSERT_EQ(init({}), 0);
    const std::vector<float> before = distance_;
    ASSERT_EQ(apply(), 0);
    EXPECT_TRUE(sameFloats(distance_.data(), before.data(), kPixels));
}

TEST_F(SuspectPixels, NeighboursOutsideASmallerImageArePassedOver) {
    ASSERT_EQ(init({9, 30}), 0);
    inout_.width = 5;  // 15 pixels: pixel 9 inside with neighbours up to 17, pixel 30 outside
    inout_.height = 3;
    const std::vector<float> before = distance_;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(distance_[9], (2.0F + 3.0F + 4.0F + 9.0F + 11.0F) / 5.0F);  // 1, 2, 3, 8, 10
    EXPECT_TRUE(sameFloats(distance_.data() + 10, before.data() + 10, kPixels - 10));
}

TEST_F(SuspectPixels, AStateThatWasNeverInitialisedFails) {
    state_.numBadPixel = 16;
    EXPECT_EQ(apply(), 1);
    EXPECT_EQ(reports_.count(), 1);
}

TEST_F(SuspectPixels, NullArgumentsImagesAndSizesBelowOneFailToApply) {
    ASSERT_EQ(init({16}), 0);
    EXPECT_EQ(SuspectPixelTreatment_Apply(nullptr, &state_, &inout_), 1);
    expectFailure(136);
    EXPECT_EQ(SuspectPixelTreatment_Apply(&input_, nullptr, &inout_), 1);
    expectFailure(137);
    EXPECT_EQ(SuspectPixelTreatment_Apply(&input_, &state_, nullptr), 1);
    expectFailure(138);
    inout_.confidence = nullptr;
    EXPECT_EQ(apply(), 1);
    expectFailure(139);
    inout_.confidence = confidence_.data();
    inout_.distance = nullptr;
    EXPECT_EQ(apply(), 1);
    expectFailure(140);
    inout_.distance = distance_.data();
    for (const int32_t size : {0, -1, std::numeric_limits<int32_t>::min()}) {
        inout_.width = size;
        inout_.height = kHeight;
        EXPECT_EQ(apply(), 1);
        expectFailure(141);
        inout_.width = kWidth;
        inout_.height = size;
        EXPECT_EQ(apply(), 1);
        expectFailure(141);
    }
}

TEST_F(SuspectPixels, TheTestsComeBeforeTheSwitch) {
    input_.applyTreatement = 0;
    inout_.height = 0;
    EXPECT_EQ(apply(), 1);
    expectFailure(141);
}

}  // namespace
