// SPDX-License-Identifier: Apache-2.0
//
// The entry points of the pipeline: what is refused, what a call leaves behind, when a frame is finished.
#include "QorDistanceImageInterface.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>

#include "QorData.h"
#include "support/Floats.h"
#include "support/Pipeline.h"
#include "support/Random.h"

namespace {

using testing_support::bitsOf;
using testing_support::g_time;
using testing_support::PhaseGroup;

class Interface : public testing_support::PipelineHost {};

TEST_F(Interface, NullArgumentsOfInitAreToldInTheirOrder) {
    const auto init = [this](bool calib, bool param, bool services, bool hopping, bool user, bool cartesian) {
        EXPECT_EQ(QorDistanceImage_Init(calib ? calib_.get() : nullptr, hopping ? &hopping_ : nullptr,
                                        param ? &param_ : nullptr, user ? &userCalibration_ : nullptr,
                                        services ? &services_ : nullptr,
                                        cartesian ? distToCartesian_.get() : nullptr),
                  1);
        return errorMessage();
    };
    EXPECT_EQ(init(false, false, false, false, false, false), "calib struct cannot be NULL.");
    EXPECT_EQ(init(true, false, false, false, false, false), "param struct cannot be NULL.");
    EXPECT_EQ(init(true, true, false, false, false, false), "services cannot be NULL.");
    EXPECT_EQ(init(true, true, true, false, false, false), "Frequency hopping table cannot be NULL.");
    EXPECT_EQ(init(true, true, true, true, false, false), "Parameter userCalibration cannot be NULL.");
    EXPECT_EQ(init(true, true, true, true, true, false), "Parameter distToCartesian cannot be NULL.");
    services_.fctGetTime = nullptr;
    EXPECT_EQ(init(true, true, true, true, false, false), "services->fctGetTime cannot be NULL.");
    EXPECT_EQ(init(true, true, true, false, false, false), "Frequency hopping table cannot be NULL.");
}

TEST_F(Interface, OnlyOneOrTwoFrequenciesAreAccepted) {
    for (const int32_t frequencies : {0, 3, -1}) {
        param_.numFrequencies = frequencies;
        EXPECT_EQ(init(), 1) << frequencies;
        EXPECT_EQ(errorMessage(), "Number of frequencies must be either 1 or 2");
    }
    param_.numFrequencies = 2;
    EXPECT_EQ(init(), 0);
}

TEST_F(Interface, ThreeFrequenciesFailAfterTheStagesBeforeWereInitialised) {
    QorStaticData& data = *QorData_Get();
    data.calib.suspectPT.width = 0;
    data.param.autoExpParam.imgWidth = 0;
    data.state.rawToDistState.currentRawIdx = 3;
    data.state.wigglingState.invCalibLut[0][256] = 7.0F;
    data.state.intImg.fpn[5] = 7;
    param_.numFrequencies = 3;
    EXPECT_EQ(init(), 1);
    EXPECT_EQ(data.calib.suspectPT.width, 224);
    EXPECT_EQ(data.param.autoExpParam.imgWidth, 224);
    EXPECT_EQ(data.state.rawToDistState.currentRawIdx, 0);
    EXPECT_NE(data.state.wigglingState.invCalibLut[0][256], 7.0F);
    EXPECT_EQ(data.state.intImg.fpn[5], 2200);  // the level without light, as the calibration has no pattern
}

TEST_F(Interface, AFailedInitLeavesApplyClosed) {
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(apply(group_[0]), 0);
    param_.numFrequencies = 3;
    EXPECT_EQ(init(), 1);
    EXPECT_EQ(apply(group_[0]), 1);
}

TEST_F(Interface, AMaximumSumOfZeroBecomes1300WhateverTheMaximumExposure) {
    param_.maxExposureTime = 700;
    param_.maxSumExposureTime = 0;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(QorData_Get()->param.autoExpParam.maxSumExpTime, 1300);
    param_.maxSumExposureTime = 900;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(QorData_Get()->param.autoExpParam.maxSumExpTime, 900);
}

TEST_F(Interface, TheFourthKneepointIsHalfTheSampleRangeTruncated) {
    calib_->imagerCalib.freqIndependent.minDiff = 100;
    calib_->imagerCalib.freqIndependent.maxDiff = 3905;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(QorData_Get()->param.autoExpParam.score_x_kneepoints[3], 1902U);  // 3805 / 2
}

TEST_F(Interface, ASecondInitClearsTheErrorsOfTheFirst) {
    param_.numFrequencies = 3;
    EXPECT_EQ(init(), 1);
    EXPECT_GT(QorData_Get()->debug.errorHistory.numValidEntries, 0);
    param_.numFrequencies = 1;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(QorData_Get()->debug.errorHistory.numValidEntries, 0);
    EXPECT_EQ(QorData_Get()->debug.perFrameErrors.numValidEntries, 0);
}

TEST_F(Interface, WithoutAnErrorTheErrorStringIsEmpty) {
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(errorString(), "");
}

TEST_F(Interface, TheErrorStringNamesFileLineAndMessage) {
    EXPECT_EQ(QorDistanceImage_Init(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 1);
    const std::string text = errorString();
    EXPECT_EQ(text.rfind("QorDistanceImageInt(", 0), 0U) << text;
    EXPECT_NE(text.find("): calib struct cannot be NULL."), std::string::npos) << text;
}

TEST_F(Interface, AnErrorStringOfOneByteIsEmpty) {
    EXPECT_EQ(QorDistanceImage_Init(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 1);
    char text[2] = {'x', 'y'};
    EXPECT_EQ(QorDistanceImage_GetErrorString(text, 1), 0);
    EXPECT_EQ(text[0], '\0');
    EXPECT_EQ(text[1], 'y');
}

TEST_F(Interface, AnErrorStringWithoutRoomFails) {
    char text[4] = "abc";
    EXPECT_EQ(QorDistanceImage_GetErrorString(text, 0), 1);
    EXPECT_EQ(QorDistanceImage_GetErrorString(nullptr, 4), 1);
    EXPECT_STREQ(text, "abc");
}

TEST_F(Interface, TheVersionIsThatOfTheAlgorithm) {
    AlgoVersion version = {};
    EXPECT_EQ(QorDistanceImage_QueryVersion(&version), 0);
    EXPECT_EQ(version.major, 0U);
    EXPECT_EQ(version.minor, 3U);
    EXPECT_EQ(version.patch, 6U);
    EXPECT_EQ(QorDistanceImage_QueryVersion(nullptr), 1);
}

TEST_F(Interface, TheVersionTextStandsAsItIs) {
    EXPECT_STREQ(g_vStr, "Qor Version AL_VERSION_MAJOR.AL_VERSION_MINOR.AL_VERSION_PATCH");
}

TEST_F(Interface, ArgumentsOfApplyAreToldInTheirOrder) {
    param_.numFrequencies = 3;
    EXPECT_EQ(init(), 1);
    EXPECT_EQ(QorDistanceImage_Apply(nullptr, nullptr, nullptr, nullptr, 0), 1);
    EXPECT_EQ(QorData_Get()->debug.perFrameErrors.entries[1].errorMsg,
              std::string("Init(..) must be called successfully before Apply(..)"));
    param_.numFrequencies = 1;
    EXPECT_EQ(init(), 0);
    const auto message = [](int32_t entry) {
        return std::string(QorData_Get()->debug.perFrameErrors.entries[entry].errorMsg);
    };
    EXPECT_EQ(QorDistanceImage_Apply(nullptr, nullptr, nullptr, nullptr, 21), 1);
    EXPECT_EQ(QorDistanceImage_Apply(nullptr, nullptr, nullptr, nullptr, 22), 1);
    EXPECT_EQ(QorDistanceImage_Apply(nullptr, nullptr, nullptr, measBuffers_, 22), 1);
    EXPECT_EQ(QorDistanceImage_Apply(&group_[0], nullptr, nullptr, measBuffers_, 22), 1);
    EXPECT_EQ(QorDistanceImage_Apply(&group_[0], &customization_, nullptr, measBuffers_, 22), 1);
    EXPECT_EQ(message(0), "Not enough measurement buffers provided");
    EXPECT_EQ(message(1), "zelta array pointer cannot be null.");
    EXPECT_EQ(message(2), "Raw data pointer cannot be null.");
    EXPECT_EQ(message(3), "Customization pointer cannot be null.");
    EXPECT_EQ(message(4), "Result pointer cannot be null.");
}

TEST_F(Interface, ACallWith21BuffersReportsAndChangesNothingInTheResult) {
    EXPECT_EQ(init(), 0);
    std::memset(result_.get(), 0x5A, sizeof *result_);
    const auto before = std::make_unique<QorDistanceImageIFOutput>(*result_);
    EXPECT_EQ(QorDistanceImage_Apply(&group_[0], &customization_, result_.get(), measBuffers_, 21), 1);
    EXPECT_EQ(errorMessage(), "Not enough measurement buffers provided");
    EXPECT_EQ(std::memcmp(before.get(), result_.get(), sizeof *result_), 0);
}

TEST_F(Interface, ARefusedCallStandsBehindTheErrorsOfTheCallBefore) {
    EXPECT_EQ(init(), 0);
    group_[3].info.freqIdx = 1;
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(QorDistanceImage_Apply(nullptr, nullptr, nullptr, nullptr, 0), 1);
    EXPECT_EQ(errorMessage(), "Inconsistent frequency index");
}

TEST_F(Interface, TheNextCallClearsTheErrorsOfTheCallBefore) {
    EXPECT_EQ(init(), 0);
    group_[3].info.freqIdx = 1;
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(apply(group_[0]), 0);
    EXPECT_EQ(errorString(), "");
    EXPECT_EQ(QorData_Get()->debug.errorHistory.numValidEntries,
              2);  // of the run: the stage, then the driver
}

TEST_F(Interface, FourImagesOfOneExposureAndFrequencyFinishAFrame) {
    EXPECT_EQ(init(), 0);
    for (size_t k = 0; k < 4; ++k) {
        EXPECT_EQ(apply(group_[k]), 0);
        EXPECT_EQ(result_->outputInvalid, k < 3 ? 1 : 0);
    }
    EXPECT_EQ(apply(group_[0]), 0);
    EXPECT_EQ(result_->outputInvalid, 1);
}

TEST_F(Interface, TheImageAfterAFinishedGroupSwitchesTheBuffer) {
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(QorData_Get()->state.rawToDistActualBuffer, -1);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(QorData_Get()->state.rawToDistActualBuffer, 0);
    EXPECT_EQ(apply(group_[0]), 0);
    EXPECT_EQ(QorData_Get()->state.rawToDistActualBuffer, 1);
    for (size_t k = 1; k < 4; ++k) {
        EXPECT_EQ(apply(group_[k]), 0);
        EXPECT_EQ(QorData_Get()->state.rawToDistActualBuffer, 1);
    }
    EXPECT_EQ(apply(group_[0]), 0);
    EXPECT_EQ(QorData_Get()->state.rawToDistActualBuffer, 0);
}

TEST_F(Interface, AnUnknownBufferIndexFails) {
    EXPECT_EQ(init(), 0);
    QorData_Get()->state.rawToDistActualBuffer = 2;
    EXPECT_EQ(apply(group_[0]), 1);
    EXPECT_EQ(result_->outputInvalid, 1);
}

TEST_F(Interface, TheFirstFrameHasFrameCounterZero) {
    EXPECT_EQ(init(), 0);
    result_->frameCounter = 99;
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(result_->frameCounter, 0U);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(result_->frameCounter, 1U);
}

TEST_F(Interface, DistanceIsThePhaseInMetres) {
    EXPECT_EQ(init(), 0);
    group_.fill(2048, 3048, 2048, 1048);  // a quarter of a period
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_NEAR(result_->distance[1000], 149852320.0 / 60e6 / 4.0, 1e-6);
    EXPECT_NEAR(result_->normalizedAmplitude[1000], 2000.0 / 100.0, 1e-4);
    EXPECT_EQ(result_->confidence[1000], 0x10);
    EXPECT_EQ(result_->width, 224);
    EXPECT_EQ(result_->height, 172);
}

TEST_F(Interface, TemperatureCorrectionFollowsItsCubic) {
    const float factor[] = {0.002F, 0.0003F, 0.00004F};
    std::copy_n(factor, 3, calib_->imagerCalib.freqDependent[0].temperatureFactor);
    EXPECT_EQ(init(), 0);
    group_.fill(2048, 3048, 2048, 1048);
    for (QorRawdataPhase& phase : group_) {
        phase.info.illuTemperature = 43.0F;
    }
    EXPECT_EQ(applyGroup(group_), 0);
    const double correction = (0.002 + (0.0003 + 3.0 * 0.00004) * 3.0) * 3.0;
    EXPECT_NEAR(result_->distance[0], (1.57079633 - correction) * 149852320.0 / 60e6 / 6.28318531, 1e-6);
}

TEST_F(Interface, APixelInvalidAtTheRawStageHasDistanceZero) {
    customization_.minAmplitude = 50.0F;
    EXPECT_EQ(init(), 0);
    group_.fill(2048, 3048, 2048, 1048);
    group_.set(30, 2048, 2060, 2048, 2036);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(result_->distance[30], 0.0F);
    EXPECT_EQ(result_->confidence[30], 0x19);
    EXPECT_NE(result_->distance[31], 0.0F);
}

TEST_F(Interface, VignettingIsRemovedFromTheAmplitudeOnce) {
    calib_->imagerCalib.freqIndependent.vignetting[77] = 2.0F;
    EXPECT_EQ(init(), 0);
    group_.fill(2048, 3048, 2048, 1048);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(result_->normalizedAmplitude[77], 2.0F * result_->normalizedAmplitude[78]);
}

TEST_F(Interface, TheTimestampOfTheLatestImageIsPassedThrough) {
    EXPECT_EQ(init(), 0);
    group_[1].info.timestamp = 4000000000U;
    EXPECT_EQ(apply(group_[0]), 0);
    EXPECT_EQ(apply(group_[1]), 0);
    EXPECT_EQ(result_->timestamp, 4000000000U);
}

TEST_F(Interface, BothClocksAreReadWithEachImage) {
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(apply(group_[0]), 0);
    EXPECT_EQ(QorData_Get()->debug.systemTime.seconds, 123U);
    EXPECT_EQ(QorData_Get()->debug.systemTime.nanoSeconds, 456U);
    EXPECT_NE(QorData_Get()->debug.monotonicTimestamp, 0U);
    EXPECT_EQ(QorData_Get()->debug.algoVersion.patch, 6U);
}

TEST_F(Interface, AMissingWallClockFailsWithTheFirstImage) {
    services_.fctGetSystemTime = nullptr;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(apply(group_[0]), 1);
    EXPECT_EQ(QorData_Get()->debug.perFrameErrors.numValidEntries, 2);
    EXPECT_EQ(result_->outputInvalid, 1);
}

TEST_F(Interface, WithNoiseEstimationAFrameWithoutIntensityImageFails) {
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(applyGroup(group_), 0);
    customization_.enableNoiseEstimation = 1;
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(errorMessage(), "No intensity phase recorded for noise estimation");
    EXPECT_EQ(result_->outputInvalid, 1);
}

TEST_F(Interface, AnIntensityImageServesOneFrame) {
    EXPECT_EQ(init(), 0);
    customization_.enableNoiseEstimation = 1;
    QorRawdataPhase intensity = group_[0];
    intensity.info.intensityMeasurement = 1;
    EXPECT_EQ(apply(intensity), 0);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    EXPECT_EQ(applyGroup(group_), 1);
}

TEST_F(Interface, WithoutNoiseEstimationIntensityAndNoiseStayInvalid) {
    EXPECT_EQ(init(), 0);
    QorRawdataPhase intensity = group_[0];
    intensity.info.intensityMeasurement = 1;
    EXPECT_EQ(apply(intensity), 0);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(result_->outputInvalid, 0);
    EXPECT_EQ(result_->intensityInvalid, 1);
    EXPECT_EQ(result_->distanceNoiseInvalid, 1);
}

TEST_F(Interface, ARegionOfAnotherSizeFails) {
    EXPECT_EQ(init(), 0);
    QorData_Get()->output.autoExpOutput.roi_width = 223;
    EXPECT_EQ(apply(group_[0]), 1);
    EXPECT_EQ(init(), 0);
    QorData_Get()->output.autoExpOutput.roi_height = 0;
    EXPECT_EQ(apply(group_[0]), 1);
}

TEST_F(Interface, AFailureLeavesTheStageAndTheDriverInTheHistoryInThatOrder) {
    EXPECT_EQ(init(), 0);
    group_[2].info.exposureTime = 3;
    EXPECT_EQ(applyGroup(group_), 1);
    const ALErrorHistory& errors = QorData_Get()->debug.perFrameErrors;
    ASSERT_EQ(errors.numValidEntries, 2);
    EXPECT_STREQ(errors.entries[0].file, "QorRawToDist");
    EXPECT_STREQ(errors.entries[0].errorMsg, "Inconsistent exposure time");
    EXPECT_STREQ(errors.entries[1].file, "QorDistanceImageInt");
}

TEST_F(Interface, TwoExposuresOfOneFrequencyFinishAFrame) {
    param_.numExposures = 2;
    EXPECT_EQ(init(), 0);
    PhaseGroup second;
    second.follow(group_);
    second.setExposure(400);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(result_->outputInvalid, 1);
    EXPECT_EQ(applyGroup(second), 0);
    EXPECT_EQ(result_->outputInvalid, 0);
    EXPECT_EQ(result_->shortAutoExpTime, 100U);
    EXPECT_EQ(result_->longAutoExpTime, 400U);
}

TEST_F(Interface, TheSecondOfTwoFrequenciesFinishesAFrame) {
    param_.numFrequencies = 2;
    customization_.twoFreqMaxLineDistPercentage = 100.0F;
    EXPECT_EQ(init(), 0);
    // 4.0 m: 1.5025 m within the 2.4975 m of 60 MHz, 0.2538 m within the 1.8732 m of 80 MHz.
    const auto fill = [](PhaseGroup& group, double metres, double frequency) {
        const double phase = 2.0 * 3.14159265358979 * metres * frequency / 149852320.0;
        const int x = static_cast<int>(std::lround(900.0 * std::cos(phase)));
        const int y = static_cast<int>(std::lround(900.0 * std::sin(phase)));
        group.fill(2048 + x, 2048 + y, 2048 - x, 2048 - y);
    };
    PhaseGroup second;
    second.follow(group_);
    second.setFrequency(1);
    for (QorRawdataPhase& phase : second) {
        phase.info.illuTemperature = 40.0F;
    }
    fill(group_, 4.0, 60e6);
    fill(second, 4.0, 80e6);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(result_->outputInvalid, 1);
    EXPECT_EQ(applyGroup(second), 0) << errorString();
    EXPECT_EQ(result_->outputInvalid, 0);
    EXPECT_NEAR(result_->distance[20000], 4.0, 0.003);
    EXPECT_EQ(result_->confidence[20000], 0x10);
}

TEST_F(Interface, ANaNInTheFixedPatternCostsOnePixelOfTwoFrequencies) {
    param_.numFrequencies = 2;
    customization_.twoFreqMaxLineDistPercentage = 100.0F;
    calib_->imagerCalib.freqDependent[1].FPPN[20000] = std::nanf("");
    PhaseGroup second;
    second.follow(group_);
    second.setFrequency(1);
    group_.fill(2048, 2948, 2048, 1148);
    second.fill(2048, 2948, 2048, 1148);
    for (const int32_t vote : {0, 1}) {
        customization_.filter2FreqAssignment = vote;
        EXPECT_EQ(init(), 0);
        EXPECT_EQ(applyGroup(group_), 0);
        EXPECT_EQ(applyGroup(second), 0) << errorString();
        EXPECT_EQ(result_->outputInvalid, 0);
        for (size_t i = 0; i < kPixelCount; ++i) {
            ASSERT_EQ(result_->confidence[i], i == 20000 ? 0x31 : 0x10) << i;
        }
        EXPECT_EQ(result_->distance[20000], 0.0F);
    }
}

TEST_F(Interface, AFinishedFrameHasItsPointsInSpace) {
    const float rays[2][3] = {{0.6F, 0.0F, 0.8F}, {0.0F, 0.6F, 0.8F}};
    std::memcpy(calib_->unitVectors + 3 * 1000, rays, sizeof rays);
    EXPECT_EQ(init(), 0);
    group_.fill(2048, 3048, 2048, 1048);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(result_->coord3Dinvalid, 0);
    const float distance = result_->distance[1000];
    EXPECT_GT(distance, 0.1F);
    EXPECT_NEAR(result_->X[1000], 0.6F * distance, 1e-4);
    EXPECT_NEAR(result_->Y[1000], 0.0, 1e-4);
    EXPECT_NEAR(result_->Z[1000], 0.8F * distance, 1e-4);
    EXPECT_NEAR(result_->X[1001], 0.0, 1e-4);
    EXPECT_NEAR(result_->Y[1001], 0.6F * result_->distance[1001], 1e-4);
}

TEST_F(Interface, WithoutCartesianThePointsAreInvalidAndUntouched) {
    customization_.disableCalcCartesian = 1;
    EXPECT_EQ(init(), 0);
    result_->X[5] = 42.0F;
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(result_->coord3Dinvalid, 1);
    EXPECT_EQ(result_->X[5], 42.0F);
}

TEST_F(Interface, TheRaysAreDeliveredWithTheInitialisationAndAfterAChangeOfPose) {
    EXPECT_EQ(init(), 0);
    EXPECT_NEAR(distToCartesian_->unitVector[2], 1.0, 1e-4);
    result_->distToCartesian.unitVector[2] = 7.0F;
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_NEAR(result_->distToCartesian.unitVector[2], 1.0, 1e-4);  // the rays of the initialisation are new
    const uint8_t counter = result_->unitVectorChangeCounter;
    result_->distToCartesian.unitVector[2] = 7.0F;
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(result_->unitVectorChangeCounter, counter);
    EXPECT_EQ(result_->distToCartesian.unitVector[2], 7.0F);  // not copied again
    customization_.extrinsicCalibrationCamera.transX = 1.0F;
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_NE(result_->unitVectorChangeCounter, counter);
    EXPECT_NEAR(result_->distToCartesian.unitVector[2], 1.0, 1e-4);
    EXPECT_NEAR(result_->distToCartesian.cameraCalibration.transX, 1.0, 1e-4);
}

TEST_F(Interface, KnownBadPixelsTakeTheMeanOfTheirNeighbours) {
    calib_->imagerCalib.freqIndependent.badPixelIdx[0] = 5000;
    calib_->imagerCalib.freqIndependent.numBadPixel = 1;
    EXPECT_EQ(init(), 0);
    group_.fill(2048, 3048, 2048, 1048);
    group_.set(5000, 4095, 0, 4095, 0);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_NEAR(result_->distance[5000], result_->distance[5001], 1e-6);
}

TEST_F(Interface, TheIntensityImageIsDeliveredWithNoiseEstimationOn) {
    EXPECT_EQ(init(), 0);
    customization_.enableNoiseEstimation = 1;
    PhaseGroup ambient;
    ambient.fill(3000, 3000, 3000, 3000);
    ambient[0].info.intensityMeasurement = 1;
    EXPECT_EQ(apply(ambient[0]), 0);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    EXPECT_EQ(result_->intensityInvalid, 0);
    EXPECT_EQ(result_->intensity[0], 800);  // 3000 above the level of 2200 without light
    EXPECT_EQ(result_->intensity[kPixelCount - 1], 800);
    EXPECT_EQ(
        std::memcmp(result_->intensity, QorData_Get()->output.intImg.intensity, sizeof result_->intensity),
        0);
}

TEST_F(Interface, AnIntensityImageWithoutSamplesFails) {
    EXPECT_EQ(init(), 0);
    QorRawdataPhase image = group_[0];
    image.info.intensityMeasurement = 1;
    image.phaseData = nullptr;
    EXPECT_EQ(apply(image), 1);
    EXPECT_NE(errorString().find("IntensityImage"), std::string::npos) << errorString();
    EXPECT_EQ(result_->outputInvalid, 1);
}

// With the model's factors p0 = 0.0442, p1 = 15.14 and p2 = 0.0775 the variance of an amplitude a under
// ambient light I is 0.0442 a + 0.0775 I + 15.14, and a radian is 149852320 / 60e6 / 2 pi = 0.3975 m.
TEST_F(Interface, AFrameWithIntensityImageCarriesItsNoise) {
    EXPECT_EQ(init(), 0);
    customization_.enableNoiseEstimation = 1;
    group_.fill(2500, 2000, 1500, 2000);
    PhaseGroup ambient;
    ambient[0].info.intensityMeasurement = 1;
    EXPECT_EQ(apply(ambient[0]), 0);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    EXPECT_EQ(result_->distanceNoiseInvalid, 0);
    const QorDistanceImageState& state = QorData_Get()->state;
    const double amplitude = std::hypot(static_cast<double>(state.matrices[0].xyReal[7000]),
                                        static_cast<double>(state.matrices[0].xyImag[7000])) /
                             static_cast<double>(state.rawToDistOut[0].ampNormFactors[0]);
    const auto ambientLight = static_cast<double>(static_cast<int16_t>(result_->intensity[7000]));
    EXPECT_NEAR(amplitude, 1000.0, 300.0);
    EXPECT_NEAR(static_cast<double>(result_->distanceNoise[7000]),
                std::sqrt(0.0442 * amplitude + 0.0775 * ambientLight + 15.14) / amplitude * 0.3975, 1e-5);
    EXPECT_GT(QorData_Get()->output.distNoise.symNoiseFactor, 0.0F);
}

TEST_F(Interface, APixelNoisierThanTheThresholdLosesItsDistance) {
    EXPECT_EQ(init(), 0);
    customization_.enableNoiseEstimation = 1;
    customization_.distNoiseThreshold = 0.001F;
    group_.fill(2500, 2000, 1500, 2000);
    PhaseGroup ambient;
    ambient[0].info.intensityMeasurement = 1;
    EXPECT_EQ(apply(ambient[0]), 0);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    EXPECT_EQ(result_->distance[7000], 0.0F);
    EXPECT_EQ(result_->confidence[7000] & 0x09, 0x09);
}

class NoisyFrame : public Interface {
 protected:
    /** Two exposures at 60 MHz, then two at 80 MHz, after an intensity image of 700 us. */
    void applyFrame() {
        PhaseGroup ambient;
        ambient[0].info.intensityMeasurement = 1;
        ambient[0].info.exposureTime = 700;
        ASSERT_EQ(apply(ambient[0]), 0) << errorString();
        PhaseGroup groups[4];
        for (size_t k = 0; k < 4; ++k) {
            if (k > 0) {
                groups[k].follow(groups[k - 1]);
            }
            groups[k].setFrequency(k < 2 ? 0 : 1);
            groups[k].setExposure(k % 2 == 0 ? 100 : 400);
            ASSERT_EQ(applyGroup(groups[k]), 0) << errorString();
        }
        ASSERT_EQ(result_->outputInvalid, 0);
    }

    void initTwoFrequencies() {
        param_.numExposures = 2;
        param_.numFrequencies = 2;
        customization_.enableNoiseEstimation = 1;
        ASSERT_EQ(init(), 0);
    }
};

TEST_F(NoisyFrame, TheNoiseIsThatOfTheFramesFrequenciesAndExposures) {
    initTwoFrequencies();
    applyFrame();
    const DistnoiseInput& input = QorData_Get()->input.distNoise;
    const QorRawToDistOutput& exposures =
        QorData_Get()->state.rawToDistOut[QorData_Get()->state.rawToDistActualBuffer];
    EXPECT_FLOAT_EQ(input.uniqueRange[0], 149852320.0F / 80e6F);  // the latest comes first
    EXPECT_FLOAT_EQ(input.uniqueRange[1], 149852320.0F / 60e6F);
    EXPECT_EQ(input.numFrequenciesUsed, 2U);
    EXPECT_EQ(input.numExpTimes, 2);
    EXPECT_EQ(input.expTimes[0], 100.0F);
    EXPECT_EQ(input.expTimes[1], 400.0F);
    EXPECT_EQ(input.ampNormFactors[0], exposures.ampNormFactors[0]);
    EXPECT_EQ(input.ampNormFactors[1], exposures.ampNormFactors[1]);
    EXPECT_NE(input.ampNormFactors[0], input.ampNormFactors[1]);
    EXPECT_EQ(input.intensityExpTime, 700.0F);
}

TEST_F(NoisyFrame, WithVerticalAssignmentTheNoiseIsThatOfOneFrequency) {
    param_.verticalAssignment = 1;
    initTwoFrequencies();
    applyFrame();
    EXPECT_EQ(QorData_Get()->input.distNoise.numFrequenciesUsed, 1U);
}

// At 40 counts the noise is sqrt(0.0442 40 + 15.14) / 40 0.3975 m = 41 mm, at the other pixels' 500 counts
// 5 mm.
TEST_F(Interface, TheFilterFillsWhatTheLimitOfTheNoiseDropped) {
    constexpr int32_t weak = 86 * kImageWidth + 112;
    EXPECT_EQ(init(), 0);
    customization_.enableNoiseEstimation = 1;
    customization_.distNoiseThreshold = 0.02F;
    group_.fill(2250, 2250, 1750, 1750);
    group_.set(weak, 2020, 2020, 1980, 1980);
    PhaseGroup ambient;
    ambient[0].info.intensityMeasurement = 1;
    EXPECT_EQ(apply(ambient[0]), 0);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    EXPECT_EQ(result_->distance[weak], 0.0F);
    EXPECT_NE(result_->distance[weak + 5], 0.0F);
    customization_.filterSet.applyDistanceFilter = 1;
    customization_.filterSet.spatialFilter = SpatialFilter_Median;
    const QorDistanceImageProfiling before = QorData_Get()->profiling;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(apply(ambient[0]), 0);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    EXPECT_EQ(result_->distance[weak], result_->distance[weak + 5]);
    EXPECT_EQ(result_->confidence[weak] & 0x01, 0x00);
    EXPECT_EQ(QorData_Get()->profiling.distNoise.numCalls, before.distNoise.numCalls + 1);
    EXPECT_EQ(QorData_Get()->profiling.imageFilter.numCalls, before.imageFilter.numCalls + 1);
}

// A strong signal at 1000 us: shorter times do. Every time is a multiple of 50 us within the limits.
TEST_F(Interface, ABrightFrameProposesAShorterTime) {
    EXPECT_EQ(init(), 0);
    askForExposureTimes();
    group_.setExposure(1000);
    group_.fill(4000, 2000, 100, 2000);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    EXPECT_LT(result_->longAutoExpTime, 1000U);
    EXPECT_GE(result_->longAutoExpTime, 50U);
    EXPECT_EQ(result_->longAutoExpTime % 50U, 0U);
    EXPECT_EQ(result_->autoExpReady, 0);
}

// The short exposure has twice as many times to choose from as the single one.
TEST_F(Interface, TheProposalStartsFromTheFramesTimesAndTheLimitOfSaturatedPixels) {
    param_.numExposures = 2;
    EXPECT_EQ(init(), 0);
    askForExposureTimes();
    customization_.autoExpSet.maxNumberOfSaturatedPixels = 100;
    PhaseGroup second;
    second.follow(group_);
    second.setExposure(400);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    EXPECT_EQ(applyGroup(second), 0) << errorString();
    const AutoExposureInput& input = QorData_Get()->input.autoExpInput;
    EXPECT_EQ(input.numExposures, 2U);
    EXPECT_EQ(input.expTimes[0], 100U);
    EXPECT_EQ(input.expTimes[1], 400U);
    EXPECT_EQ(input.specificSettings[0].numExpTimesBase, 20);
    EXPECT_EQ(input.specificSettings[1].numExpTimesBase, 10);
    for (const SingleAlgoSettings& settings : input.specificSettings) {
        EXPECT_EQ(settings.expTimeFactorBetweenSettings, 1.5F);
        EXPECT_FLOAT_EQ(settings.saturationCheckQuantile, 1.0F - 100.0F / 38528.0F);
    }
}

TEST_F(Interface, RegionsThatHoldTooFewPixelsFailTheFrame) {
    EXPECT_EQ(init(), 0);
    customization_.autoExpSet.applyAutoExposure = AutoExposureApplyMode_Normal;
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(errorMessage(), "Auto Exp region of interest too small");
}

// Without a filter a hole stays, the median of its neighbours fills it.
TEST_F(Interface, TheSpatialFilterOfTheCustomizationIsApplied) {
    EXPECT_EQ(init(), 0);
    group_.fill(2500, 1500, 1500, 2500);
    constexpr int32_t hole = 86 * kImageWidth + 112;
    testing_support::packImage(group_[0].phaseData,
                               [](int32_t pixel) { return pixel == hole ? 4095 : 2500; });
    calib_->imagerCalib.freqIndependent.maxDiff = 4094;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    EXPECT_EQ(result_->distance[hole], 0.0F);
    EXPECT_EQ(result_->confidence[hole] & 0x01, 0x01);
    customization_.filterSet.applyDistanceFilter = 1;
    customization_.filterSet.spatialFilter = SpatialFilter_Median;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    EXPECT_EQ(result_->distance[hole], result_->distance[hole + 5]);
    EXPECT_EQ(result_->confidence[hole] & 0x01, 0x00);
}

TEST_F(Interface, TheAmplitudeIsFilteredBehindTheVignetting) {
    constexpr int32_t bright = 86 * kImageWidth + 112;
    calib_->imagerCalib.freqIndependent.vignetting[bright] = 1.9F;
    EXPECT_EQ(init(), 0);
    customization_.filterSet.applyAmplitudeFilter = 1;
    customization_.filterSet.spatialFilter = SpatialFilter_Mean;
    group_.fill(2500, 1500, 1500, 2500);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    // Nine pixels of a mask of 3 x 3, one of which is nine tenths brighter.
    const float amplitude = result_->normalizedAmplitude[bright + 5];
    EXPECT_GT(amplitude, 0.0F);
    EXPECT_NEAR(result_->normalizedAmplitude[bright + 1], 1.1F * amplitude, 1e-5F * amplitude);
}

TEST_F(Interface, AFilterThatRefusesItsSettingsLeavesTheFrameFinished) {
    EXPECT_EQ(init(), 0);
    customization_.filterSet.applyDistanceFilter = 1;
    customization_.filterSet.temporalFilter = TempFilter_Mean;
    customization_.filterSet.tempMeanSettings.numberOfFrames = 1;
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(errorMessage(), "temp. mean filter numberOfFrames <= 1");
    EXPECT_EQ(result_->outputInvalid, 0);
}

// A bright square: without correction its neighbourhood stays as it is; with correction it loses light.
TEST_F(Interface, TheStraylightCorrectionOfTheCustomizationIsApplied) {
    EXPECT_EQ(init(), 0);
    customization_.enableStraylightCorrection = 1;
    group_.fill(2100, 2050, 1900, 1950);
    constexpr int32_t bright = 86 * kImageWidth + 112;
    testing_support::packImage(group_[0].phaseData, [](int32_t pixel) {
        return std::abs(pixel / kImageWidth - 86) < 20 && std::abs(pixel % kImageWidth - 112) < 20 ? 4000
                                                                                                   : 2100;
    });
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    const QorMatrices& matrices = QorData_Get()->state.matrices[QorData_Get()->state.rawToDistActualBuffer];
    const ALSLC_Inout& inout = QorData_Get()->inout.slc;
    EXPECT_EQ(inout.width, 224);
    EXPECT_EQ(inout.height, 172);
    EXPECT_EQ(inout.numberOfThreads, 0);
    EXPECT_EQ(inout.pyrLevel, 3);
    EXPECT_EQ(QorData_Get()->state.slcState.pyrLevel, 3);
    EXPECT_EQ(static_cast<const float*>(inout.xyReal), matrices.xyReal);
    EXPECT_EQ(static_cast<const float*>(inout.xyImag), matrices.xyImag);
    EXPECT_LT(matrices.amplAfterSLC[bright], result_->normalizedAmplitude[bright]);
    EXPECT_LT(matrices.amplAfterSLC[60 * kImageWidth + 60],
              result_->normalizedAmplitude[60 * kImageWidth + 60]);
    EXPECT_GT(QorData_Get()->profiling.straylight.numCalls, 0U);
}

TEST_F(Interface, WithOneExposureTheShortProposalIsLeft) {
    EXPECT_EQ(init(), 0);
    result_->shortAutoExpTime = 77;
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(result_->shortAutoExpTime, 77U);
    EXPECT_EQ(result_->longAutoExpTime, 100U);
    EXPECT_EQ(result_->autoExpReady, 0);
}

TEST_F(Interface, AllMeasurementBuffersAreClearedByEachCall) {
    EXPECT_EQ(init(), 0);
    for (AlgoMeasBuffer& buffer : measBuffers_) {
        buffer.channelID = 5;
        buffer.sizeReady = 6;
    }
    EXPECT_EQ(apply(group_[0]), 0);
    EXPECT_EQ(measBuffers_[21].channelID, 0);
    EXPECT_EQ(measBuffers_[21].sizeReady, 0U);
}

TEST_F(Interface, EachCallAndEachFrameAreBooked) {
    EXPECT_EQ(init(), 0);
    const QorDistanceImageProfiling before = QorData_Get()->profiling;
    EXPECT_EQ(applyGroup(group_), 0);
    const QorDistanceImageProfiling& after = QorData_Get()->profiling;
    EXPECT_EQ(after.total.numCalls, before.total.numCalls + 4);
    EXPECT_EQ(after.rawToDist.numCalls, before.rawToDist.numCalls + 4);
    EXPECT_EQ(after.rawToDistRemaining.numCalls, before.rawToDistRemaining.numCalls + 1);
    EXPECT_EQ(after.total_frame.numCalls, before.total_frame.numCalls + 1);
    EXPECT_EQ(QorData_Get()->state.total_frame_profiling.numCalls, 0U);
}

TEST_F(Interface, TheInitialisationReadsTheClockOnce) {
    g_time = 500;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(g_time, 510U);
    param_.numFrequencies = 3;
    EXPECT_EQ(init(), 1);
    EXPECT_EQ(g_time, 520U);
}

TEST_F(Interface, AWrapOfTheClockDoesNoHarm) {
    EXPECT_EQ(init(), 0);
    g_time = 0xFFFFFFFFU - 15;
    EXPECT_EQ(apply(group_[0]), 0);
    EXPECT_LT(QorData_Get()->profiling.total.runtimeMsecs, 1.0F);
}

TEST_F(Interface, APixelsFrequencySlotOutsideTheCalibrationFails) {
    EXPECT_EQ(init(), 0);
    group_.setFrequency(4);
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(result_->outputInvalid, 1);
}

TEST_F(Interface, AModulationFrequencyOfZeroReadsNothingOutOfBounds) {
    calib_->imagerCalib.frequencies[0] = 0.0F;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(result_->outputInvalid, 0);
}

// ---------------------------------------------------------------------------------------------------------------------
// Fixed parameters

TEST_F(Interface, TheScoreFunctionOfTheExposureControlIsFixed) {
    QorData_Get()->param.autoExpParam = {};
    QorData_Get()->param.autoExpParam.maintainIntegerFactor = 1;
    EXPECT_EQ(init(), 0);
    const AutoExposureParam& param = QorData_Get()->param.autoExpParam;
    EXPECT_EQ(param.numPieces, 4U);
    EXPECT_EQ(param.score_x_kneepoints[0], 50U);
    EXPECT_EQ(param.score_x_kneepoints[1], 60U);
    EXPECT_EQ(param.score_x_kneepoints[2], 100U);
    EXPECT_EQ(param.score_x_kneepoints[3], 2047U);  // half of 4095
    EXPECT_EQ(param.score_x_kneepoints[4], 0U);     // not written
    EXPECT_EQ(param.score_slopes[0], 0.01F);
    EXPECT_EQ(param.score_slopes[1], 1.0F);
    EXPECT_EQ(param.score_slopes[2], 0.2F);
    EXPECT_EQ(param.score_slopes[3], 0.01F);
    EXPECT_EQ(param.score_slopes[4], 0.0F);
    EXPECT_EQ(param.maintainIntegerFactor, 0);
}

TEST_F(Interface, ExposureTimesAreMultiplesOfFiftyFromFiftyOn) {
    EXPECT_EQ(init(), 0);
    const AutoExposureParam& param = QorData_Get()->param.autoExpParam;
    EXPECT_EQ(param.minExpTime, 50);
    EXPECT_EQ(param.expTimeDiscretization, 50);
    EXPECT_EQ(param.maxExpTime, 2000);
    EXPECT_EQ(param.imgWidth, 224);
    EXPECT_EQ(param.imgHeight, 172);
}

TEST_F(Interface, TheNoiseModelIsFixedWhateverTheCalibrationSays) {
    std::fill_n(calib_->imagerCalib.freqDependent[0].noiseParameter, 4, 1.0F);
    EXPECT_EQ(init(), 0);
    customization_.enableNoiseEstimation = 1;
    PhaseGroup ambient;
    ambient[0].info.intensityMeasurement = 1;
    EXPECT_EQ(apply(ambient[0]), 0);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    const NoiseCalib& model = *QorData_Get()->input.distNoise.calib;
    EXPECT_EQ(bitsOf(model.param[0]), 0x3D350801U);
    EXPECT_EQ(bitsOf(model.param[1]), 0x41724A20U);
    EXPECT_EQ(bitsOf(model.param[2]), 0x3D9EC2BCU);
    EXPECT_EQ(bitsOf(model.param[3]), 0x4381BB2BU);
}

TEST_F(Interface, TheAcceptanceOfAPairAmongThreeFrequenciesIsFixed) {
    QorData_Get()->input.multiFreq = {};
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(QorData_Get()->input.multiFreq.threeFreqMax2FLineDistPercentage, 42.0F);
    EXPECT_EQ(QorData_Get()->input.multiFreq.threeFreqMax3FLineDistPercentage, 0.0F);  // not written
}

// The pixel's point lies at the camera's place, except for its distance along the ray, 0.62 m.
TEST_F(Interface, PointsUpToAKilometreAwayOnEachAxisAreValid) {
    EXPECT_EQ(init(), 0);
    group_.fill(2048, 3048, 2048, 1048);
    AlgoExtrinsicCalibration& pose = customization_.extrinsicCalibrationCamera;
    for (float AlgoExtrinsicCalibration::*const axis :
         {&AlgoExtrinsicCalibration::transX, &AlgoExtrinsicCalibration::transY,
          &AlgoExtrinsicCalibration::transZ}) {
        const bool isZ = axis == &AlgoExtrinsicCalibration::transZ;
        for (const float sign : {-1.0F, 1.0F}) {
            pose = {};
            pose.*axis = sign * 1000.0F - (isZ ? 0.625F : 0.0F);
            EXPECT_EQ(applyGroup(group_), 0) << errorString();
            EXPECT_EQ(result_->confidence[1000], isZ && sign < 0.0F ? 0x11 : 0x10) << sign;
            pose.*axis = sign * 1001.0F;
            EXPECT_EQ(applyGroup(group_), 0) << errorString();
            EXPECT_EQ(result_->confidence[1000], 0x11) << sign;
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Order and bookkeeping

// The clock's n-th reading of a call shows n * n, so that each stretch has a different length: the one of 2 n
// - 1 us ends at reading n. Readings 1 and 2 are the start of the call and the time mapping.
class Booking : public Interface {
 protected:
    Booking() {
        services_.fctGetTime = [] {
            ++g_reading;
            return g_reading * g_reading;
        };
    }

    void applyFromReadingOne(const QorRawdataPhase& image) {
        g_reading = 0;
        ASSERT_EQ(apply(image), 0) << errorString();
    }

    static float milliseconds(unsigned int microseconds) { return static_cast<float>(microseconds) * 0.001F; }

    /** The length of the stretch from the reading before up to reading n. */
    static float upTo(unsigned int n) { return milliseconds(2 * n - 1); }

    inline static Timestamp_t g_reading = 0;
};

TEST_F(Booking, EachStageOfAFrameBooksItsOwnTimeInOrder) {
    EXPECT_EQ(init(), 0);
    customization_.enableNoiseEstimation = 1;
    customization_.enableStraylightCorrection = 1;
    PhaseGroup ambient;
    ambient[0].info.intensityMeasurement = 1;
    applyFromReadingOne(ambient[0]);
    for (size_t k = 0; k < 4; ++k) {
        applyFromReadingOne(group_[k]);
    }
    const QorDistanceImageProfiling& profiling = QorData_Get()->profiling;
    EXPECT_EQ(profiling.rawToDist.runtimeMsecs, milliseconds(9 - 1));  // from the start of the call on
    EXPECT_EQ(profiling.wigglingBackward.runtimeMsecs, upTo(4));
    EXPECT_EQ(profiling.straylight.runtimeMsecs, upTo(5));
    EXPECT_EQ(profiling.wigglingForward.runtimeMsecs, upTo(6));
    EXPECT_EQ(profiling.rawToDistRemaining.runtimeMsecs, upTo(7));
    EXPECT_EQ(profiling.suspectPT.runtimeMsecs, upTo(8));
    EXPECT_EQ(profiling.multiFreq.runtimeMsecs, upTo(9));
    EXPECT_EQ(profiling.distNoise.runtimeMsecs, upTo(10));
    EXPECT_EQ(profiling.autoExposure.runtimeMsecs, upTo(11));
    EXPECT_EQ(profiling.imageFilter.runtimeMsecs, upTo(12));
    EXPECT_EQ(profiling.camToWorld.runtimeMsecs, upTo(13));
}

// A stage that the driver does not call, or whose time it does not book, leaves its item empty.
TEST_F(Booking, AFrameWithEverythingBooksEveryItemOfTheProfiling) {
    QorData_Get()->profiling = {};
    EXPECT_EQ(init(), 0);
    customization_.enableNoiseEstimation = 1;
    customization_.enableStraylightCorrection = 1;
    PhaseGroup ambient;
    ambient[0].info.intensityMeasurement = 1;
    applyFromReadingOne(ambient[0]);
    for (size_t k = 0; k < 4; ++k) {
        applyFromReadingOne(group_[k]);
    }
    describe::forEachMember<QorDistanceImageProfiling>([]<class Member>(const Member& member) {
        static_assert(std::is_same_v<typename Member::Type, ALProfilingItem>);
        ALProfilingItem item;
        std::memcpy(&item, reinterpret_cast<const char*>(&QorData_Get()->profiling) + member.offset,
                    sizeof item);
        EXPECT_GT(item.numCalls, 0U) << member.name;
    });
}

// A frame's time is the rest of each of its calls, and what the last call takes after the 15th reading. The
// calls before it leave 7 us, from reading 3 to 4; the last one leaves 27 us, from reading 13 to 14.
TEST_F(Booking, AFrameBooksTheRestsOfItsCalls) {
    EXPECT_EQ(init(), 0);
    customization_.enableNoiseEstimation = 1;
    customization_.enableStraylightCorrection = 1;
    PhaseGroup ambient;
    ambient[0].info.intensityMeasurement = 1;
    applyFromReadingOne(ambient[0]);
    for (size_t k = 0; k < 4; ++k) {
        applyFromReadingOne(group_[k]);
    }
    const QorDistanceImageProfiling& profiling = QorData_Get()->profiling;
    EXPECT_EQ(profiling.total_frame.runtimeMsecs, milliseconds(16 * 16 - 15 * 15 + 4 * 7 + 27));
    EXPECT_EQ(profiling.total.runtimeMsecs, milliseconds(17 * 17 - 1));
    EXPECT_EQ(QorData_Get()->state.total_frame_profiling.cumRuntimeMsecs, 0.0);
}

TEST_F(Booking, ACallBooksItsTimeFromItsStartAndItsRestForTheFrame) {
    EXPECT_EQ(init(), 0);
    QorData_Get()->state.total_frame_profiling = {};
    applyFromReadingOne(group_[0]);
    const QorDistanceImageProfiling& profiling = QorData_Get()->profiling;
    EXPECT_EQ(profiling.rawToDist.runtimeMsecs, milliseconds(9 - 1));
    EXPECT_EQ(QorData_Get()->state.total_frame_profiling.runtimeMsecs, upTo(4));
    EXPECT_EQ(QorData_Get()->state.total_frame_profiling.numCalls, 1U);
    EXPECT_EQ(profiling.total.runtimeMsecs, milliseconds(5 * 5 - 1));
}

// Runtimes come back from milliseconds: four rests of 33 us are 0.132 ms, which times 1000 is just below 132.
TEST_F(Interface, TheTimeOfAFrameLosesNoMicrosecond) {
    services_.fctGetTime = [] { return g_time += 33; };
    EXPECT_EQ(init(), 0);
    QorData_Get()->state.total_frame_profiling = {};
    EXPECT_EQ(applyGroup(group_), 0);
    EXPECT_EQ(QorData_Get()->profiling.total_frame.runtimeMsecs, 165.0F * 0.001F);  // and one reading more
}

TEST_F(Interface, EachCallBeginsWithAnInvalidResultOfTheImagesSize) {
    EXPECT_EQ(init(), 0);
    customization_.enableNoiseEstimation = 1;
    PhaseGroup ambient;
    ambient[0].info.intensityMeasurement = 1;
    EXPECT_EQ(apply(ambient[0]), 0);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    EXPECT_EQ(result_->outputInvalid, 0);
    EXPECT_EQ(result_->coord3Dinvalid, 0);
    EXPECT_EQ(result_->intensityInvalid, 0);
    EXPECT_EQ(result_->distanceNoiseInvalid, 0);
    result_->width = 0;
    result_->height = 0;
    EXPECT_EQ(apply(group_[0]), 0);
    EXPECT_EQ(result_->outputInvalid, 1);
    EXPECT_EQ(result_->coord3Dinvalid, 1);
    EXPECT_EQ(result_->intensityInvalid, 1);
    EXPECT_EQ(result_->distanceNoiseInvalid, 1);
    EXPECT_EQ(result_->width, 224);
    EXPECT_EQ(result_->height, 172);
}

TEST_F(Interface, WithoutAWallClockNoChannelIsOffered) {
    services_.fctGetSystemTime = nullptr;
    EXPECT_EQ(init(), 0);
    measBuffers_[0].channelID = 5;
    EXPECT_EQ(apply(group_[0]), 1);
    EXPECT_EQ(measBuffers_[0].channelID, 5);
}

TEST_F(Interface, AFailingStageLeavesTheChannelsOffered) {
    EXPECT_EQ(init(), 0);
    QorData_Get()->output.autoExpOutput.roi_width = 223;
    EXPECT_EQ(apply(group_[0]), 1);
    EXPECT_EQ(measBuffers_[0].channelID, 3208);
    EXPECT_EQ(measBuffers_[12].channelID, 3200);
    EXPECT_EQ(measBuffers_[14].channelID, 0);
}

TEST_F(Interface, WithoutNoiseNoExposureTimesAreProposed) {
    EXPECT_EQ(init(), 0);
    customization_.enableNoiseEstimation = 1;
    QorData_Get()->output.autoExpOutput.newExpTimes[0] = 77;
    EXPECT_EQ(applyGroup(group_), 1);
    EXPECT_EQ(errorMessage(), "No intensity phase recorded for noise estimation");
    EXPECT_EQ(QorData_Get()->output.autoExpOutput.newExpTimes[0], 77U);
}

TEST_F(Interface, TheWorkingSetsAndHistogramsSurviveANewInitialisation) {
    EXPECT_EQ(init(), 0);
    askForExposureTimes();
    customization_.enableStraylightCorrection = 1;
    group_.fill(2500, 2000, 1500, 2000);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    const QorDistanceImageState& state = QorData_Get()->state;
    const auto matrices = std::make_unique<QorMatrices>(state.matrices[0]);
    uint32_t histogram[kHistogramBins];
    std::copy_n(state.histograms[0], kHistogramBins, histogram);
    const QorDistanceImageProfiling profiling = QorData_Get()->profiling;
    const uint32_t numExpTimes = state.rawToDistOut[0].numExpTimes;
    EXPECT_NE(matrices->phaseAfterSLC[0], 0.0F);
    EXPECT_NE(*std::max_element(histogram, histogram + kHistogramBins), 0U);
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(std::memcmp(matrices.get(), &state.matrices[0], sizeof *matrices), 0);
    EXPECT_EQ(std::memcmp(histogram, state.histograms[0], sizeof histogram), 0);
    EXPECT_EQ(std::memcmp(&profiling, &QorData_Get()->profiling, sizeof profiling), 0);
    EXPECT_EQ(state.rawToDistOut[0].numExpTimes, numExpTimes);
    EXPECT_EQ(state.rawToDistOut[0].outputComplete, 1);
}

/** The remainder as the pipeline folds distances. */
float remainder(float v, float range) {
    const auto k = static_cast<float>(static_cast<int32_t>(v * (1.0F / range)));
    float r = v - range * k;
    if (r >= range) {
        r -= range;
    }
    return r < 0.0F ? r + range : r;
}

// Four ranges before the remainder: the sum rounds, so a different number of ranges gives different bits.
TEST_F(Interface, DistancesAreFoldedFromFourRangesOn) {
    EXPECT_EQ(init(), 0);
    customization_.enableStraylightCorrection = 1;  // the corrected phase stays visible
    customization_.maximumRawSymmetry = 1e6F;
    testing_support::Random random(11);
    SCOPED_TRACE(random.seedText());
    group_.fillWithRandomBytes(random);
    EXPECT_EQ(applyGroup(group_), 0) << errorString();
    const float range = 149852320.0F / 60e6F;
    const float metresPerRadian = range * 0.15915494F;
    const QorMatrices& matrices = QorData_Get()->state.matrices[0];
    int32_t valid = 0;
    for (int32_t i = 0; i < kPixelCount; ++i) {
        if ((result_->confidence[i] & 1) != 0) {
            continue;
        }
        const float d = matrices.phaseAfterSLC[i] * metresPerRadian + range * 4.0F;
        ASSERT_EQ(bitsOf(result_->distance[i]), bitsOf(remainder(d, range))) << i;
        ++valid;
    }
    EXPECT_GT(valid, kPixelCount / 2);
}

// ---------------------------------------------------------------------------------------------------------------------
// Stages that fail

/** A way to make a stage fail, with the profiling items of that stage and of the stage before it. */
struct FailingStage {
    const char* name;
    void (*breakIt)(QorStaticData& data, QorDistanceImageCustomization& customization);
    ALProfilingItem QorDistanceImageProfiling::*item;
    ALProfilingItem QorDistanceImageProfiling::*before;
};

void PrintTo(const FailingStage& stage, std::ostream* out) {
    *out << stage.name;
}

class FailingStages : public Interface, public ::testing::WithParamInterface<FailingStage> {};

TEST_P(FailingStages, EndTheCallBehindAReportOfTheDriver) {
    EXPECT_EQ(init(), 0);
    customization_.enableStraylightCorrection = 1;
    customization_.enableNoiseEstimation = 1;
    PhaseGroup ambient;
    ambient[0].info.intensityMeasurement = 1;
    EXPECT_EQ(apply(ambient[0]), 0);
    for (size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(apply(group_[k]), 0) << errorString();
    }
    GetParam().breakIt(*QorData_Get(), customization_);
    const QorDistanceImageProfiling before = QorData_Get()->profiling;
    EXPECT_EQ(apply(group_[3]), 1);
    const QorDistanceImageProfiling& after = QorData_Get()->profiling;
    EXPECT_EQ(result_->outputInvalid, 1);
    EXPECT_EQ((after.*GetParam().before).numCalls, (before.*GetParam().before).numCalls + 1);
    EXPECT_EQ((after.*GetParam().item).numCalls, (before.*GetParam().item).numCalls);
    EXPECT_EQ(after.camToWorld.numCalls, before.camToWorld.numCalls);
    EXPECT_EQ(after.total.numCalls, before.total.numCalls);
    EXPECT_EQ(QorData_Get()->state.frameCounter, 0U);
    const ALErrorHistory& errors = QorData_Get()->debug.perFrameErrors;
    ASSERT_GE(errors.numValidEntries, 2);
    EXPECT_STRNE(errors.entries[0].file, "QorDistanceImageInt");
    const ALErrorDescription& last = errors.entries[errors.numValidEntries - 1];
    EXPECT_STREQ(last.file, "QorDistanceImageInt");
    EXPECT_EQ(std::string(last.errorMsg).rfind("ERR@QorDistanceImageInt:", 0), 0U) << last.errorMsg;
}

using Items = QorDistanceImageProfiling;
const FailingStage kFailingStages[] = {
    {"Straylight",
     [](QorStaticData& data, QorDistanceImageCustomization&) { data.calib.straylight.systemCalib = nullptr; },
     &Items::straylight, &Items::wigglingBackward},
    {"WigglingForward",
     [](QorStaticData& data, QorDistanceImageCustomization&) {
         data.calib.wiggling.referenceFunc = static_cast<WigglingCalibReferenceFunc>(3);
     },
     &Items::wigglingForward, &Items::straylight},
    {"SuspectPixels",
     [](QorStaticData& data, QorDistanceImageCustomization&) {
         data.state.suspectPT.numBadPixel = 0x7FFFFFFF;
     },
     &Items::suspectPT, &Items::rawToDistRemaining},
    {"MultiFreq",
     [](QorStaticData& data, QorDistanceImageCustomization&) {
         data.calib.multiFreq.frequencyMode = MultiFreq_FModeMax;
     },
     &Items::multiFreq, &Items::suspectPT},
    {"AutoExposure",
     [](QorStaticData&, QorDistanceImageCustomization& customization) {
         customization.autoExpSet.applyAutoExposure = AutoExposureApplyMode_ROIExpansion;
     },
     &Items::autoExposure, &Items::distNoise},
    {"ImageFilter",
     [](QorStaticData& data, QorDistanceImageCustomization&) { data.param.imageFilter.numThreads = 11; },
     &Items::imageFilter, &Items::autoExposure},
    {"CamToWorld",
     [](QorStaticData& data, QorDistanceImageCustomization&) {
         data.state.camToWorld.calibVariants.width = 100;
     },
     &Items::camToWorld, &Items::imageFilter},
};
INSTANTIATE_TEST_SUITE_P(Interface, FailingStages, ::testing::ValuesIn(kFailingStages),
                         [](const auto& stage) { return stage.param.name; });

/** A calibration or parameter that the initialisation of a stage refuses. */
struct RefusedStart {
    const char* name;
    const char* file;  ///< of the stage
    void (*spoil)(QorDistanceImageIFCalib& calib);
};

void PrintTo(const RefusedStart& start, std::ostream* out) {
    *out << start.name;
}

class RefusedStarts : public Interface, public ::testing::WithParamInterface<RefusedStart> {};

TEST_P(RefusedStarts, LeaveApplyClosedBehindAReportOfTheDriver) {
    EXPECT_EQ(init(), 0);
    GetParam().spoil(*calib_);
    distToCartesian_->unitVector[0] = 7.0F;
    EXPECT_EQ(init(), 1);
    const ALErrorHistory& errors = QorData_Get()->debug.errorHistory;
    ASSERT_GE(errors.numValidEntries, 2);
    EXPECT_STREQ(errors.entries[0].file, GetParam().file);
    const ALErrorDescription& last = errors.entries[errors.numValidEntries - 1];
    EXPECT_STREQ(last.file, "QorDistanceImageInt");
    EXPECT_EQ(std::string(last.errorMsg).rfind("ERR@QorDistanceImageInt:", 0), 0U) << last.errorMsg;
    EXPECT_EQ(distToCartesian_->unitVector[0], 7.0F);
    EXPECT_EQ(apply(group_[0]), 1);
}

const RefusedStart kRefusedStarts[] = {
    {"Wiggling", "Wiggling",
     [](QorDistanceImageIFCalib& calib) { calib.imagerCalib.numberOfFrequencies = 5; }},
    {"SuspectPixels", "SuspectPixelTreatme",
     [](QorDistanceImageIFCalib& calib) { calib.imagerCalib.freqIndependent.numBadPixel = 0x7FFFFFFF; }},
    {"AutoExposure", "AutoExposure",
     [](QorDistanceImageIFCalib& calib) { calib.imagerCalib.freqIndependent.maxDiff = 200; }},
    {"MultiFreq", "MultiFreq",
     [](QorDistanceImageIFCalib& calib) { calib.imagerCalib.numberOfFrequencies = 0; }},
    {"CamToWorld", "CamToWorldTamver",
     [](QorDistanceImageIFCalib& calib) { calib.intrinsicCalibration.internalTransRot.transX = 0.4F; }},
};
INSTANTIATE_TEST_SUITE_P(Interface, RefusedStarts, ::testing::ValuesIn(kRefusedStarts),
                         [](const auto& start) { return start.param.name; });

}  // namespace
