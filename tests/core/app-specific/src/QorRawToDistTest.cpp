// SPDX-License-Identifier: Apache-2.0
//
// The raw stage: which images belong together, how exposures are merged, what fails and in which order.
#include "QorRawToDist.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "ALMath.h"
#include "support/RawImages.h"
#include "support/Reports.h"

namespace {

using testing_support::PhaseGroup;

class RawToDist : public ::testing::Test {
 protected:
    RawToDist()
        : state_(std::make_unique<QorRawToDistState>()),
          calib_(std::make_unique<QorRawToDistCalib>()),
          distance_(kPixelCount),
          amplitude_(kPixelCount),
          confidence_(kPixelCount),
          roi_(kPixelCount, 1),
          intensity_(kPixelCount, 50) {
        for (FreqDependentCalibration& frequency : calib_->freqDependent) {
            frequency.ampWigg[0] = 1.0F;
        }
        calib_->freqIndependent.minDiff = 0;
        calib_->freqIndependent.maxDiff = 4095;
        calib_->frequencies[0] = 60e6F;
        calib_->frequencies[2] = 74932600.0F;
        calib_->numberOfFrequencies = 4;
        param_.numExposures = 1;
        input_.maxSymmetry = 1.0F;
        input_.intensityExposure = 50;
        input_.autoExpRoi = roi_.data();
        output_.distance = distance_.data();
        output_.normalizedAmplitude = amplitude_.data();
        output_.confidence = confidence_.data();
        output_.histograms = histograms_;
        output_.outputComplete = 7;
        QorRawToDist_Init(state_.get(), calib_.get());
    }

    int32_t apply(const QorRawdataPhase& image) {
        input_.rawData = &image;
        return QorRawToDist_Apply(state_.get(), &param_, calib_.get(), &input_, &output_);
    }

    /** The result of the last image of a group whose others must pass. */
    int32_t applyGroup(PhaseGroup& group) {
        for (size_t k = 0; k < 3; ++k) {
            EXPECT_EQ(apply(group[k]), 0);
            EXPECT_EQ(output_.outputComplete, 0);
        }
        return apply(group[3]);
    }

    std::string firstError() const { return reports_.text(); }

    QorRawdataPhase intensityImage() {
        QorRawdataPhase image = group_[0];
        image.info.intensityMeasurement = 1;
        return image;
    }

    std::unique_ptr<QorRawToDistState> state_;
    std::unique_ptr<QorRawToDistCalib> calib_;
    QorRawToDistParam param_ = {};
    QorRawToDistInput input_ = {};
    QorRawToDistOutput output_ = {};
    testing_support::Reports reports_;
    uint32_t histograms_[kMaxExposures][kHistogramBins] = {};
    std::vector<float> distance_, amplitude_;
    std::vector<uint16_t> confidence_;
    std::vector<uint8_t> roi_;
    std::vector<uint16_t> intensity_;
    PhaseGroup group_;
    PhaseGroup second_;
};

TEST_F(RawToDist, FourImagesOfOneExposureCompleteTheOutput) {
    group_.fill(3000, 2500, 1000, 1500);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(output_.outputComplete, 1);
    EXPECT_NEAR(distance_[0], 0.4636476, 1e-5);  // atan(1000 / 2000)
    EXPECT_NEAR(amplitude_[0], 22.36069, 1e-4);  // sqrt(2000^2 + 1000^2) / 100
    EXPECT_EQ(output_.numExpTimes, 1U);
    EXPECT_EQ(output_.expTimes[0], 100);
    EXPECT_EQ(output_.expTimes[1], 0);
    EXPECT_EQ(output_.ampNormFactors[0], 0.01F);
    EXPECT_EQ(output_.ampNormFactors[1], 0.0F);
}

TEST_F(RawToDist, WithOneExposureEveryPixelIsOfTheLastExposure) {
    applyGroup(group_);
    for (const uint16_t c : confidence_) {
        ASSERT_EQ(c & 0x0010, 0x0010);
    }
}

TEST_F(RawToDist, FrameCounter4095IsFollowedByZero) {
    for (size_t k = 0; k < 4; ++k) {
        group_[k].info.frameCounter = static_cast<uint16_t>((4094 + k) & 0xFFF);
    }
    EXPECT_EQ(applyGroup(group_), 0);
}

TEST_F(RawToDist, AGapInTheFrameCounterFails) {
    group_[2].info.frameCounter = 3;
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(firstError(), "Unexpected framecounter");
}

TEST_F(RawToDist, AnotherExposureTimeInTheGroupFails) {
    group_[1].info.exposureTime = 101;
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(firstError(), "Inconsistent exposure time");
}

TEST_F(RawToDist, AnotherFrequencyInTheGroupFails) {
    group_[3].info.freqIdx = 1;
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(firstError(), "Inconsistent frequency index");
}

TEST_F(RawToDist, TheTestsOfAGroupRunImageByImageInOrder) {
    group_[1].info.sequenceCounter =
        9;  // the last test of the second image stands before the first of the third
    group_[2].info.frameCounter = 77;
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(firstError(), "Unexpected sequence counter");
}

TEST_F(RawToDist, AGapInTheSequenceCounterFailsAndTheNextImageStartsANewGroup) {
    const int32_t counters[] = {7, 8, 9, 11};
    for (size_t k = 0; k < 4; ++k) {
        group_[k].info.sequenceCounter = counters[k];
    }
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(firstError(), "Unexpected sequence counter");
    EXPECT_EQ(state_->currentRawIdx, 0);
    EXPECT_EQ(applyGroup(second_), 0);
    EXPECT_EQ(output_.outputComplete, 1);
}

TEST_F(RawToDist, ASequenceCounterAtItsLimitDoesNotWrap) {
    for (size_t k = 0; k < 4; ++k) {
        group_[k].info.sequenceCounter = static_cast<int32_t>(0x7FFFFFFEU + static_cast<uint32_t>(k));
    }
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(firstError(), "Unexpected sequence counter");
}

TEST_F(RawToDist, AnImageWithoutDataFails) {
    group_[2].phaseData = nullptr;
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(output_.outputComplete, 0);
}

TEST_F(RawToDist, AFrequencySlotThatDoesNotExistFails) {
    for (const int32_t slot : {-1, 4, -2147483647 - 1, 2147483647}) {
        reports_.clear();
        group_.setFrequency(slot);
        EXPECT_EQ(applyGroup(group_), 1) << slot;
        EXPECT_EQ(firstError(), "Unexpected frequency index.");
    }
}

TEST_F(RawToDist, AnIntensityImageBetweenTwoGroupsIsAccepted) {
    EXPECT_EQ(applyGroup(group_), 0);
    const QorRawdataPhase intensity = intensityImage();
    EXPECT_EQ(apply(intensity), 0);
    EXPECT_EQ(output_.outputComplete, 0);
    EXPECT_EQ(state_->currentRawIdx, 0);
    EXPECT_EQ(applyGroup(second_), 0);
}

TEST_F(RawToDist, AnIntensityImageInsideAGroupFailsAndTheCollectedImagesStay) {
    apply(group_[0]);
    apply(group_[1]);
    const QorRawdataPhase intensity = intensityImage();
    EXPECT_EQ(apply(intensity), 1);
    EXPECT_EQ(firstError(), "Intensity measurement during a 4 phase sequence is not allowed");
    EXPECT_EQ(state_->currentRawIdx, 2);
    apply(group_[2]);
    EXPECT_EQ(apply(group_[3]), 0);
    EXPECT_EQ(output_.outputComplete, 1);
}

TEST_F(RawToDist, TheFirstImageOfAFrameStartsTheHistograms) {
    input_.auto_exposure_output = 1;
    histograms_[0][5] = 1;
    histograms_[1][2048] = 1;
    apply(group_[0]);
    EXPECT_EQ(histograms_[0][5], 0U);
    EXPECT_EQ(histograms_[1][2048], 0U);
}

TEST_F(RawToDist, AnIntensityImageCanBeTheFirstOfAFrame) {
    input_.auto_exposure_output = 1;
    histograms_[0][5] = 1;
    const QorRawdataPhase intensity = intensityImage();
    EXPECT_EQ(apply(intensity), 0);
    EXPECT_EQ(histograms_[0][5], 0U);
}

TEST_F(RawToDist, ALaterImageOfAFrameLeavesTheHistograms) {
    input_.auto_exposure_output = 1;
    histograms_[0][5] = 1;
    apply(group_[1]);
    EXPECT_EQ(histograms_[0][5], 1U);
}

TEST_F(RawToDist, WithoutExposureControlTheHistogramsStay) {
    histograms_[0][5] = 1;
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(histograms_[0][5], 1U);
}

TEST_F(RawToDist, TheHistogramOfTheSecondExposureIsTheSecond) {
    input_.auto_exposure_output = 1;
    param_.numExposures = 2;
    group_.fill(2047, 2047, 2047, 2047);   // level 0
    second_.fill(2147, 2047, 2047, 2047);  // level 100
    second_.follow(group_);
    second_.setExposure(200);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(applyGroup(second_), 0);
    EXPECT_EQ(histograms_[0][0], static_cast<uint32_t>(kPixelCount));
    EXPECT_EQ(histograms_[1][100], static_cast<uint32_t>(kPixelCount));
}

TEST_F(RawToDist, ExposureControlWithoutRegionFails) {
    input_.auto_exposure_output = 1;
    input_.autoExpRoi = nullptr;
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(firstError(), "Auto Exposure information unavailable in raw to dist.");
}

TEST_F(RawToDist, ExposureControlWithoutHistogramsFailsWithoutClearing) {
    input_.auto_exposure_output = 1;
    output_.histograms = nullptr;
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(firstError(), "Auto Exposure information unavailable in raw to dist.");
}

TEST_F(RawToDist, TheFirstOfTwoExposuresWaits) {
    param_.numExposures = 2;
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(output_.outputComplete, 0);
    EXPECT_EQ(state_->currentExposureIdx, 1);
}

TEST_F(RawToDist, TheSecondExposureIsUsedUnlessItSaturated) {
    param_.numExposures = 2;
    group_.fill(2200, 2048, 1800, 2048);   // X = 400
    second_.fill(3048, 2048, 1048, 2048);  // X = 2000
    second_.set(10, 4095, 2048, 0, 2048);  // saturated in the second exposure
    calib_->freqIndependent.maxDiff = 4094;
    second_.follow(group_);
    second_.setExposure(500);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(applyGroup(second_), 0);
    EXPECT_EQ(output_.outputComplete, 1);
    EXPECT_NEAR(amplitude_[9], 2000.0 / 500.0, 1e-4);
    EXPECT_NEAR(amplitude_[10], 400.0 / 100.0, 1e-4);
    EXPECT_EQ(confidence_[9], 0x0010);
    EXPECT_EQ(confidence_[10], 0x0000);  // neither of the last exposure nor saturated
    EXPECT_EQ(output_.numExpTimes, 2U);
    EXPECT_EQ(output_.expTimes[0], 100);
    EXPECT_EQ(output_.expTimes[1], 500);
    EXPECT_EQ(output_.ampNormFactors[0], 0.01F);
    EXPECT_EQ(output_.ampNormFactors[1], 0.002F);
}

TEST_F(RawToDist, APixelSaturatedInBothExposuresIsTheFirstWithItsMarks) {
    param_.numExposures = 2;
    group_.set(10, 4095, 2048, 0, 2048);
    second_.set(10, 4095, 2048, 0, 2048);
    calib_->freqIndependent.maxDiff = 4094;
    second_.follow(group_);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(applyGroup(second_), 0);
    EXPECT_EQ(confidence_[10] & 0x0013, 0x0003);
}

TEST_F(RawToDist, EqualExposureTimesPass) {
    param_.numExposures = 2;
    second_.follow(group_);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(applyGroup(second_), 0);
    EXPECT_EQ(output_.outputComplete, 1);
}

TEST_F(RawToDist, AFallingExposureTimeFailsAndTheNextGroupIsTheSecondAgain) {
    param_.numExposures = 2;
    second_.setExposure(99);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(applyGroup(second_), 1);
    EXPECT_EQ(firstError(), "Exposure times must be monotonically increasing");
    EXPECT_EQ(state_->currentExposureIdx, 1);
    second_.setExposure(100);
    EXPECT_EQ(applyGroup(second_), 0);
    EXPECT_EQ(output_.outputComplete, 1);
}

TEST_F(RawToDist, AGroupThatDoesNotBelongTogetherLeavesTheExposureIndex) {
    param_.numExposures = 2;
    EXPECT_EQ(applyGroup(group_), 0);
    second_[3].info.sequenceCounter = 50;
    EXPECT_EQ(applyGroup(second_), 1);
    EXPECT_EQ(state_->currentExposureIdx, 1);
}

TEST_F(RawToDist, AnUnknownExposureIndexFails) {
    param_.numExposures = 2;
    state_->currentExposureIdx = 2;
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(firstError(), "Unexpected exposure index");
}

TEST_F(RawToDist, OtherNumbersOfExposuresFail) {
    for (const int32_t exposures : {0, 3, -1}) {
        reports_.clear();
        param_.numExposures = exposures;
        EXPECT_EQ(applyGroup(group_), 1) << exposures;
        EXPECT_EQ(firstError(), "Unsupported number of exposures");
    }
}

TEST_F(RawToDist, TheNumberOfExposuresIsThatOfTheFourthImage) {
    param_.numExposures = 3;
    for (size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(apply(group_[k]), 0);
    }
    param_.numExposures = 1;
    EXPECT_EQ(apply(group_[3]), 0);
    EXPECT_EQ(output_.outputComplete, 1);
}

TEST_F(RawToDist, ANumberOfExposuresIsToldAfterWhatIsWrongWithTheGroup) {
    param_.numExposures = 3;
    group_[1].info.frameCounter = 9;
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(firstError(), "Unexpected framecounter");
}

TEST_F(RawToDist, AnExposureTimeOfZeroGivesInfiniteAmplitudes) {
    group_.setExposure(0);
    group_.fill(3000, 2500, 1000, 1500);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(amplitude_[0], std::numeric_limits<float>::infinity());
    EXPECT_NEAR(distance_[0], 0.4636476, 1e-5);
}

TEST_F(RawToDist, DriftCompensationWithoutIntensityImageFails) {
    input_.compensateAmbientLightDrift = 1;
    group_.setFrequency(2);
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(firstError(), "No intensity input given and compensateAmbientLightDrift is enabled.");
    EXPECT_EQ(output_.outputComplete, 0);
}

TEST_F(RawToDist, DriftCompensationAtAnotherFrequencyFailsBeforeTheIntensityIsTested) {
    input_.compensateAmbientLightDrift = 1;
    calib_->frequencies[2] = 74932600.0F * 1.02F;
    group_.setFrequency(2);
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(firstError(),
              "Frequency mismatch between calibration and fixed ambient light drift parameters.");
}

TEST_F(RawToDist, DriftCompensationWithoutIntensityExposureFails) {
    input_.compensateAmbientLightDrift = 1;
    input_.intensity = intensity_.data();
    input_.intensityExposure = 0;
    group_.setFrequency(2);
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(firstError(),
              "Intensity exposure is not plausible and compensateAmbientLightDrift is enabled.");
}

TEST_F(RawToDist, DriftCompensationMovesXAndYInProportionToLightAndExposure) {
    input_.compensateAmbientLightDrift = 1;
    input_.intensity = intensity_.data();
    group_.setFrequency(2);
    group_.fill(3048, 2048, 1048, 2048);  // X = 2000, Y = 0
    EXPECT_EQ(applyGroup(group_), 0);
    // Slot 2: 50 counts of light, 100 / 50 of the exposure, 0.00128 per count, towards 1.337 rad.
    const double size = 50.0 * 2.0 * 0.00128;
    const double x = 2000.0 - size * std::cos(1.337);
    const double y = 0.0 - size * std::sin(1.337);
    EXPECT_NEAR(amplitude_[0], std::sqrt(x * x + y * y) / 100.0, 1e-5);
    EXPECT_NEAR(distance_[0], std::atan2(y, x) + 6.283185307, 1e-5);
}

/** The drift's fit: counts per count of light and ratio of exposures, direction, frequency. */
struct Drift {
    double size;
    double direction;
    float frequency;
};
constexpr Drift kDrifts[kFrequencySlots] = {{0.0036295, 0.3512, 47987700.0F},
                                            {0.00435, 0.538, 56926000.0F},
                                            {0.00128, 1.337, 74932600.0F},
                                            {0.000184, 3.109, 4869800.0F}};

class DriftCompensation : public RawToDist {
 protected:
    DriftCompensation() {
        for (size_t slot = 0; slot < kFrequencySlots; ++slot) {
            calib_->frequencies[slot] = kDrifts[slot].frequency;
        }
        std::fill(intensity_.begin(), intensity_.end(), uint16_t{4000});
        input_.compensateAmbientLightDrift = 1;
        input_.intensity = intensity_.data();
        input_.intensityExposure = 10;
        group_.fill(2048, 2048, 2048, 2048);
    }

    int32_t applyAt(int32_t slot, float frequency) {
        calib_->frequencies[slot] = frequency;
        group_.setFrequency(slot);
        return applyGroup(group_);
    }

    /** X and Y hold the drift alone, taken away: 4000 counts of light at a tenth of the light's exposure. */
    void expectDrift(size_t pixel, const Drift& drift, double exposure) {
        const double amplitude = (drift.size * 4000.0 / 10.0 * exposure + 0.001) / exposure;
        EXPECT_NEAR(static_cast<double>(amplitude_[pixel]) / amplitude, 1.0, 1e-5) << pixel;
        EXPECT_NEAR(distance_[pixel], drift.direction + 3.14159265, 1e-5) << pixel;
    }
};

TEST_F(DriftCompensation, HasASizeAndADirectionForEachSlot) {
    for (int32_t slot = 0; slot < kFrequencySlots; ++slot) {
        SCOPED_TRACE(slot);
        ASSERT_EQ(applyAt(slot, kDrifts[slot].frequency), 0) << firstError();
        expectDrift(0, kDrifts[slot], 100.0);
        expectDrift(kPixelCount - 1, kDrifts[slot], 100.0);
    }
}

TEST_F(DriftCompensation, TakesTheExposureThatThePixelComesFrom) {
    constexpr size_t kSaturated = 5000;
    param_.numExposures = 2;
    calib_->freqIndependent.maxDiff = 3000;
    group_.setExposure(200);
    second_.setExposure(1000);
    for (int32_t slot = 0; slot < kFrequencySlots; ++slot) {
        SCOPED_TRACE(slot);
        group_.setFrequency(slot);
        second_.setFrequency(slot);
        second_.fill(2048, 2048, 2048, 2048);
        second_.set(kSaturated, 3001, 2048, 2048, 2048);
        ASSERT_EQ(applyGroup(group_), 0);
        ASSERT_EQ(applyGroup(second_), 0) << firstError();
        expectDrift(0, kDrifts[slot], 1000.0);
        expectDrift(kSaturated, kDrifts[slot], 200.0);
    }
}

TEST_F(DriftCompensation, AcceptsFrequenciesWithinOnePercent) {
    for (int32_t slot = 0; slot < kFrequencySlots; ++slot) {
        const float fitted = kDrifts[slot].frequency;
        float lowest = fitted;
        while (lowest / fitted >= 0.99F) {
            lowest = lowest > 0.9901F * fitted ? lowest - 0.0001F * fitted : std::nextafter(lowest, 0.0F);
        }
        float highest = fitted;
        while (highest / fitted <= 1.01F) {
            highest = highest < 1.0099F * fitted ? highest + 0.0001F * fitted : std::nextafter(highest, 1e9F);
        }
        EXPECT_EQ(applyAt(slot, lowest), 1) << slot;
        EXPECT_EQ(applyAt(slot, std::nextafter(lowest, fitted)), 0) << slot;
        EXPECT_EQ(applyAt(slot, std::nextafter(highest, fitted)), 0) << slot;
        EXPECT_EQ(applyAt(slot, highest), 1) << slot;
    }
}

TEST_F(DriftCompensation, ARatioOfExactlyALimitIsAccepted) {
    constexpr float kAtLower = 56356740.0F;
    constexpr float kAtUpper = 57495260.0F;
    static_assert(kAtLower / kDrifts[1].frequency == 0.99F);
    static_assert(kAtUpper / kDrifts[1].frequency == 1.01F);
    EXPECT_EQ(applyAt(1, kAtLower), 0) << firstError();
    EXPECT_EQ(applyAt(1, kAtUpper), 0) << firstError();
}

TEST_F(RawToDist, TheCorrectionOfXAndYIsThatOfTheFrequency) {
    calib_->freqDependent[2].xyCorrection[0] = 10.0F;
    calib_->freqDependent[2].xyCorrection[1] = -20.0F;
    group_.setFrequency(2);
    group_.fill(2058, 2048, 2048, 2068);  // X = 10, Y = -20
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(distance_[0], 0.0F);
    EXPECT_EQ(amplitude_[0], 0.001F * 0.01F);
}

TEST_F(RawToDist, NullArgumentsFail) {
    input_.rawData = &group_[0];
    EXPECT_EQ(QorRawToDist_Apply(nullptr, &param_, calib_.get(), &input_, &output_), 1);
    EXPECT_EQ(QorRawToDist_Apply(state_.get(), nullptr, calib_.get(), &input_, &output_), 1);
    EXPECT_EQ(QorRawToDist_Apply(state_.get(), &param_, nullptr, &input_, &output_), 1);
    EXPECT_EQ(QorRawToDist_Apply(state_.get(), &param_, calib_.get(), nullptr, &output_), 1);
    EXPECT_EQ(QorRawToDist_Apply(state_.get(), &param_, calib_.get(), &input_, nullptr), 1);
    input_.rawData = nullptr;
    EXPECT_EQ(QorRawToDist_Apply(state_.get(), &param_, calib_.get(), &input_, &output_), 1);
    EXPECT_EQ(QorRawToDist_Init(nullptr, calib_.get()), 1);
    EXPECT_EQ(QorRawToDist_Init(state_.get(), nullptr), 1);
    EXPECT_EQ(reports_.count(), 8);
}

TEST_F(RawToDist, InitialisationForgetsCollectedImagesAndExposures) {
    param_.numExposures = 2;
    applyGroup(group_);
    apply(second_[0]);
    EXPECT_EQ(QorRawToDist_Init(state_.get(), calib_.get()), 0);
    EXPECT_EQ(state_->currentExposureIdx, 0);
    EXPECT_EQ(state_->currentRawIdx, 0);
    EXPECT_EQ(state_->lastExposureTime, 0);
    EXPECT_EQ(state_->rawPhases[0], nullptr);
    EXPECT_EQ(state_->rawPhases[1], &group_[1]);
}

}  // namespace
