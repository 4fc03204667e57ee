// SPDX-License-Identifier: Apache-2.0
//
// The intensity image: where the dark level comes from, and how measurements lower it.
#include "IntensityImage.h"
#include "support/Reports.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

class IntensityImg : public ::testing::Test {
 protected:
    IntensityImg()
        : calib_(std::make_unique<FreqIndependentCalibration>()),
          state_(std::make_unique<IntensityImgState>()),
          output_(std::make_unique<IntensityImgOutput>()),
          samples_(kImageHeight * kRawRowBytes) {
        input_.intensityPhase = samples_.data();
        std::fill_n(calib_->FPN, kPixelCount, int16_t{100});
    }

    /** The same three bytes in every pair of pixels. */
    void fillBytes(uint8_t b0, uint8_t b1, uint8_t b2) {
        for (size_t i = 0; i < samples_.size(); i += 3) {
            samples_[i] = b0;
            samples_[i + 1] = b1;
            samples_[i + 2] = b2;
        }
    }

    void fillSamples(int sample) {
        const auto upper = static_cast<uint8_t>(sample >> 4);
        fillBytes(upper, upper, static_cast<uint8_t>((sample & 0x0F) * 0x11));
    }

    void init() { ASSERT_EQ(IntensityImgInit(state_.get(), calib_.get()), 0); }
    void apply() { ASSERT_EQ(IntensityImgApply(state_.get(), &input_, output_.get()), 0); }

    std::unique_ptr<FreqIndependentCalibration> calib_;
    std::unique_ptr<IntensityImgState> state_;
    std::unique_ptr<IntensityImgOutput> output_;
    std::vector<uint8_t> samples_;
    IntensityImgInput input_ = {};
    testing_support::Reports reports_;
};

TEST_F(IntensityImg, ATableWithoutZerosIsTheDarkLevel) {
    for (int32_t i = 0; i < kPixelCount; ++i) {
        calib_->FPN[i] = static_cast<int16_t>(1 + i % 3000);
    }
    init();
    for (int32_t i = 0; i < kPixelCount; ++i) {
        ASSERT_EQ(state_->fpn[i], 1 + i % 3000);
    }
}

TEST_F(IntensityImg, ASingleZeroInTheTableGivesTheDefaultDarkLevelEverywhere) {
    for (const int32_t zero : {0, 17, kPixelCount - 1}) {
        std::fill_n(calib_->FPN, kPixelCount, int16_t{100});
        calib_->FPN[zero] = 0;
        init();
        ASSERT_TRUE(std::all_of(state_->fpn, state_->fpn + kPixelCount, [](uint16_t l) { return l == 2200; }))
            << zero;
    }
}

TEST_F(IntensityImg, ANegativeEntryOfTheTableCountsAsUnsigned) {
    calib_->FPN[5] = -1;
    calib_->FPN[6] = -32768;
    init();
    EXPECT_EQ(state_->fpn[5], 0xFFFF);
    EXPECT_EQ(state_->fpn[6], 0x8000);
    fillSamples(4095);
    apply();
    EXPECT_EQ(output_->intensity[5], 0);
    EXPECT_EQ(state_->fpn[5], 4095);
}

TEST_F(IntensityImg, ThreeBytesHoldTwoSamples) {
    std::fill_n(state_->fpn, kPixelCount, uint16_t{0});
    fillBytes(0xAB, 0xCD, 0xEF);
    apply();
    for (int32_t i = 0; i < kPixelCount; i += 2) {
        ASSERT_EQ(output_->intensity[i], 0xABF) << i;
        ASSERT_EQ(output_->intensity[i + 1], 0xCDE) << i;
    }
}

TEST_F(IntensityImg, TheLargestSampleAboveTheDefaultDarkLevel) {
    calib_->FPN[0] = 0;
    init();
    fillSamples(0x0FFF);
    apply();
    EXPECT_EQ(output_->intensity[0], 1895);
    EXPECT_EQ(output_->intensity[kPixelCount - 1], 1895);
}

TEST_F(IntensityImg, ASampleAtTheDarkLevelGivesZeroAndLeavesTheLevel) {
    init();
    fillSamples(100);
    apply();
    EXPECT_EQ(output_->intensity[9], 0);
    EXPECT_EQ(state_->fpn[9], 100);
}

TEST_F(IntensityImg, ASampleBelowTheDarkLevelGivesZeroAndLowersTheLevel) {
    init();
    fillSamples(99);
    apply();
    EXPECT_EQ(output_->intensity[9], 0);
    EXPECT_EQ(state_->fpn[9], 99);
    fillSamples(100);  // exactly the old level now lies above the new one
    apply();
    EXPECT_EQ(output_->intensity[9], 1);
    EXPECT_EQ(state_->fpn[9], 99);
}

TEST_F(IntensityImg, ABrighterImageNeverRaisesTheDarkLevel) {
    init();
    for (const int sample : {4000, 50, 4000}) {
        fillSamples(sample);
        apply();
    }
    EXPECT_EQ(state_->fpn[123], 50);
    EXPECT_EQ(output_->intensity[123], 3950);
}

TEST_F(IntensityImg, OnlyANewInitialisationRestoresTheDarkLevel) {
    init();
    fillSamples(0);
    apply();
    EXPECT_EQ(state_->fpn[7], 0);
    init();
    EXPECT_EQ(state_->fpn[7], 100);
}

TEST_F(IntensityImg, NullArgumentsFailAndNothingIsWritten) {
    init();
    fillSamples(5);
    std::fill_n(output_->intensity, kPixelCount, uint16_t{77});
    EXPECT_EQ(IntensityImgInit(nullptr, calib_.get()), 1);
    EXPECT_EQ(IntensityImgInit(state_.get(), nullptr), 1);
    EXPECT_EQ(IntensityImgApply(nullptr, &input_, output_.get()), 1);
    EXPECT_EQ(IntensityImgApply(state_.get(), nullptr, output_.get()), 1);
    EXPECT_EQ(IntensityImgApply(state_.get(), &input_, nullptr), 1);
    input_.intensityPhase = nullptr;
    EXPECT_EQ(IntensityImgApply(state_.get(), &input_, output_.get()), 1);
    EXPECT_EQ(reports_.count(), 6);
    EXPECT_EQ(reports_.file(), "IntensityImage");
    EXPECT_EQ(state_->fpn[0], 100);
    EXPECT_EQ(output_->intensity[0], 77);
}

}  // namespace
