// SPDX-License-Identifier: Apache-2.0
//
// When the algorithm initialises the pipeline, which images it takes and what it remembers between packets,
// seen from outside: by what processZelta answers and by what the result holds.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "PacketZelta.h"
#include "Plugin.h"
#include "QorDescriptors.h"

namespace {

using host_testing::Bytes;
using host_testing::Camera;
using host_testing::channelsOf;
using host_testing::Layout;
using host_testing::LayoutChange;
using host_testing::OwnedChunk;
using host_testing::packetOf;
using host_testing::Plugin;
using host_testing::recordOn;

const Plugin::Answer kNothing = {0, false};
const Plugin::Answer kInitialised = {1, false};
const Plugin::Answer kFailed = {0, true};

class AlgoDistanceImage : public ::testing::Test {
 protected:
    AlgoDistanceImage() { plugin_.createAlgo(); }

    void calibrate() { ASSERT_EQ(plugin_.process(camera_.calibrationPacket()), kNothing); }

    /** Calibration and the first image of a frame. */
    void start() {
        calibrate();
        ASSERT_EQ(plugin_.process(camera_.imagePacket()), kInitialised) << plugin_.lastExceptionMessage();
    }

    void processImages(int images) {
        for (int i = 0; i < images; ++i) {
            ASSERT_EQ(plugin_.process(camera_.imagePacket()), kNothing) << plugin_.lastExceptionMessage();
        }
    }

    /** Whether the last packet's image, or one that had waited, went through the pipeline. */
    bool imageWasProcessed() const { return recordOn<QorRawPhaseData>(plugin_.result(), 3200).has_value(); }

    /** What the pipeline worked with in the last call. */
    QorDistanceImageIFInput inputSeen() const {
        const auto input = recordOn<QorDistanceImageIFInput>(plugin_.result(), 3208);
        EXPECT_TRUE(input) << "no image was processed";
        return input.value_or(QorDistanceImageIFInput{});
    }

    Bytes imageSeen() const {
        const auto raw = recordOn<QorRawPhaseData>(plugin_.result(), 3200);
        return raw ? Bytes(std::begin(raw->phaseData), std::end(raw->phaseData)) : Bytes();
    }

    bool frameWasFinished() const {
        const std::vector<int> channels = channelsOf(plugin_.result());
        return std::find(channels.begin(), channels.end(), 3210) != channels.end();
    }

    template <class T>
    T stateValue(const std::string& member) const {
        const Bytes result = plugin_.result();
        T value = std::numeric_limits<T>::max();
        PacketInterpret<T>("QorDistanceImageState." + member, value, host_testing::parsed(result), 3214);
        return value;
    }

    std::string exceptionMessage() const { return plugin_.lastExceptionMessage(); }

    Plugin plugin_;
    Camera camera_;
};

// ---------------------------------------------------------------------------------------------------------------------
// Calibration first, then a frame from its first image on

TEST_F(AlgoDistanceImage, WithoutCalibrationNothingRuns) {
    EXPECT_EQ(plugin_.process(camera_.imagePacket()), kNothing);
    EXPECT_FALSE(imageWasProcessed());
}

TEST_F(AlgoDistanceImage, TheFirstImageOfAFrameInitialisesAndIsProcessed) {
    start();
    EXPECT_TRUE(imageWasProcessed());
    EXPECT_EQ(inputSeen().phaseInfo.sequenceCounter, 0);
}

TEST_F(AlgoDistanceImage, OnlyTheCallThatInitialisesAnswersTrue) {
    start();
    processImages(3);
    EXPECT_TRUE(frameWasFinished());
    processImages(4);
    EXPECT_TRUE(frameWasFinished());
}

TEST_F(AlgoDistanceImage, AFrameHasItsNumberAndItsTimestamp) {
    start();
    processImages(7);
    const auto result = recordOn<QorDistanceImageIFOutput>(plugin_.result(), 3210);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->frameCounter, 1U);
    EXPECT_EQ(result->timestamp, 200U);
    EXPECT_EQ(result->outputInvalid, 0);
}

TEST_F(AlgoDistanceImage, AnInputRecordAloneInitialises) {
    calibrate();
    camera_.nextImage();
    EXPECT_EQ(plugin_.process(camera_.inputPacket()), kInitialised);
    EXPECT_FALSE(imageWasProcessed());
}

TEST_F(AlgoDistanceImage, AFrameThatBeginsInItsMiddleWaits) {
    calibrate();
    camera_.nextImage();
    camera_.input.phaseInfo.sequenceCounter = 3;
    const Bytes image = camera_.rawChunk().data;
    EXPECT_EQ(plugin_.process(packetOf({camera_.inputChunk(), camera_.rawChunk()})), kNothing);
    EXPECT_FALSE(imageWasProcessed());
    // Both keep waiting: only an input record for the frame's start lets the image through.
    camera_.input.phaseInfo.sequenceCounter = 0;
    EXPECT_EQ(plugin_.process(camera_.inputPacket()), kInitialised);
    EXPECT_EQ(imageSeen(), image);
}

TEST_F(AlgoDistanceImage, AnInputRecordThatWaitsStartsWithTheCalibration) {
    camera_.nextImage();
    EXPECT_EQ(plugin_.process(camera_.inputPacket()), kNothing);
    EXPECT_EQ(plugin_.process(camera_.calibrationPacket()), kInitialised);
    EXPECT_FALSE(imageWasProcessed());
}

TEST_F(AlgoDistanceImage, AnImageThatWaitsIsProcessedWithTheCalibrationThatFollows) {
    EXPECT_EQ(plugin_.process(camera_.imagePacket()), kNothing);
    const Bytes image = camera_.rawChunk().data;
    EXPECT_EQ(plugin_.process(camera_.calibrationPacket()), kInitialised);
    EXPECT_EQ(imageSeen(), image);
    EXPECT_EQ(channelsOf(plugin_.result()),
              (std::vector<int>{3224, 3226, 3212, 3208, 3214, 3216, 3218, 3220, 3222, 3200}));
}

TEST_F(AlgoDistanceImage, OnePacketMayHoldCalibrationInputAndImage) {
    camera_.nextImage();
    EXPECT_EQ(plugin_.process(packetOf({camera_.rawChunk(), camera_.inputChunk(), camera_.calibrationChunk(),
                                        camera_.auxiliaryChunk()})),
              kInitialised);
    EXPECT_TRUE(imageWasProcessed());
}

TEST_F(AlgoDistanceImage, TheCalibrationIsInterpretedOnce) {
    start();
    OwnedChunk broken = camera_.calibrationChunk();
    broken.description[0] = 0;
    camera_.nextImage();
    EXPECT_EQ(plugin_.process(packetOf({broken, camera_.inputChunk(), camera_.rawChunk()})), kNothing);
    EXPECT_TRUE(imageWasProcessed());
}

TEST_F(AlgoDistanceImage, AFailedCalibrationIsFollowedByTheNext) {
    EXPECT_EQ(plugin_.process(packetOf({camera_.calibrationChunk()})), kFailed);
    start();
}

TEST_F(AlgoDistanceImage, AFailedCalibrationStillOffersItsError) {
    EXPECT_EQ(plugin_.process(packetOf({camera_.calibrationChunk()})), kFailed);
    EXPECT_EQ(channelsOf(plugin_.result()), (std::vector<int>{3224, 3212}));
}

TEST_F(AlgoDistanceImage, UnknownChannelsAreIgnored) {
    calibrate();
    camera_.nextImage();
    OwnedChunk unknown = camera_.rawChunk();
    unknown.channelID = 9000;
    EXPECT_EQ(plugin_.process(packetOf({unknown, camera_.inputChunk(), camera_.rawChunk()})), kInitialised);
    EXPECT_TRUE(imageWasProcessed());
}

// ---------------------------------------------------------------------------------------------------------------------
// Images and input records that come alone

TEST_F(AlgoDistanceImage, AnImageWithoutInputRecordIsNotProcessed) {
    start();
    camera_.nextImage();
    EXPECT_EQ(plugin_.process(camera_.rawPacket()), kNothing);
    EXPECT_FALSE(imageWasProcessed());
    // It does not wait either.
    EXPECT_EQ(plugin_.process(camera_.inputPacket()), kNothing);
    EXPECT_FALSE(imageWasProcessed());
}

TEST_F(AlgoDistanceImage, AnImageWithoutInputRecordIsOverwrittenByTheNext) {
    start();
    camera_.nextImage();
    OwnedChunk lost = camera_.rawChunk();
    std::fill(lost.data.begin(), lost.data.end(), std::uint8_t{0x11});
    EXPECT_EQ(plugin_.process(packetOf({lost})), kNothing);
    EXPECT_EQ(plugin_.process(packetOf({camera_.inputChunk(), camera_.rawChunk()})), kNothing);
    EXPECT_EQ(imageSeen(), camera_.rawChunk().data);
    processImages(2);
    EXPECT_TRUE(frameWasFinished());
}

TEST_F(AlgoDistanceImage, AnInputRecordWithoutImageHasItsParametersTested) {
    start();
    camera_.input.param.maxUniqueRange = 5.0F;
    EXPECT_EQ(plugin_.process(camera_.inputPacket()), kInitialised) << "sequence counter 0 starts at once";
    EXPECT_FALSE(imageWasProcessed());
}

TEST_F(AlgoDistanceImage, AnImageWhoseInputRecordFailedWaitsForTheNextGoodOne) {
    start();
    camera_.nextImage();
    OwnedChunk broken = camera_.inputChunk();
    broken.data.pop_back();
    const Bytes image = camera_.rawChunk().data;
    EXPECT_EQ(plugin_.process(packetOf({broken, camera_.rawChunk()})), kNothing);
    EXPECT_FALSE(imageWasProcessed());
    EXPECT_EQ(plugin_.process(camera_.inputPacket()), kNothing);
    EXPECT_EQ(imageSeen(), image);
}

TEST_F(AlgoDistanceImage, AnInputRecordThatCannotBeReadIsNoException) {
    start();
    camera_.nextImage();
    OwnedChunk broken = camera_.inputChunk();
    broken.description = {0xDA, 0xDE, 9, 9};
    EXPECT_EQ(plugin_.process(packetOf({broken})), kNothing);
}

TEST_F(AlgoDistanceImage, AnImageWhoseDefinitionCannotBeReadIsAnException) {
    start();
    camera_.nextImage();
    OwnedChunk broken = camera_.rawChunk();
    broken.description = {0xDA, 0xDE, 9, 9};
    EXPECT_EQ(plugin_.process(packetOf({camera_.inputChunk(), broken})), kFailed);
    EXPECT_NE(exceptionMessage().find("unknown zelta version"), std::string::npos) << exceptionMessage();
}

// ---------------------------------------------------------------------------------------------------------------------
// Parameters

TEST_F(AlgoDistanceImage, ExposureLimitsThatAreOpenBecome1000) {
    camera_.input.param.maxExposureTime = 0;
    camera_.input.param.maxSumExposureTime = 0;
    start();
    EXPECT_EQ(inputSeen().param.maxExposureTime, 1000);
    EXPECT_EQ(inputSeen().param.maxSumExposureTime, 1000);
}

TEST_F(AlgoDistanceImage, AnOpenSumIsTheLimitOfOneExposure) {
    camera_.input.param.maxExposureTime = 1500;
    camera_.input.param.maxSumExposureTime = 0;
    start();
    EXPECT_EQ(inputSeen().param.maxSumExposureTime, 1500);
}

TEST_F(AlgoDistanceImage, ASumAbove30000Becomes2000) {
    camera_.input.param.maxExposureTime = 1500;
    camera_.input.param.maxSumExposureTime = 40000;
    start();
    EXPECT_EQ(inputSeen().param.maxExposureTime, 1500);
    EXPECT_EQ(inputSeen().param.maxSumExposureTime, 2000);
}

TEST_F(AlgoDistanceImage, ASumOf30000Stays) {
    camera_.input.param.maxSumExposureTime = 30000;
    start();
    EXPECT_EQ(inputSeen().param.maxSumExposureTime, 30000);
}

TEST_F(AlgoDistanceImage, AnOpenSumThatBecomesTooLargeBecomes2000) {
    camera_.input.param.maxExposureTime = 30001;
    camera_.input.param.maxSumExposureTime = 0;
    start();
    EXPECT_EQ(inputSeen().param.maxExposureTime, 30001);
    EXPECT_EQ(inputSeen().param.maxSumExposureTime, 2000);
}

TEST_F(AlgoDistanceImage, OpenLimitsAreNoChangeOfTheParameters) {
    camera_.input.param.maxExposureTime = 0;
    camera_.input.param.maxSumExposureTime = 0;
    start();
    camera_.input.param.maxExposureTime = 1000;
    processImages(1);
}

TEST_F(AlgoDistanceImage, AnotherCustomizationDoesNotInitialise) {
    start();
    camera_.input.customization.minAmplitude = 33.0F;
    processImages(1);
    EXPECT_EQ(inputSeen().customization.minAmplitude, 33.0F);
    processImages(2);
    EXPECT_TRUE(frameWasFinished());
}

TEST_F(AlgoDistanceImage, AnotherParameterDropsImagesUntilAFrameBegins) {
    start();
    camera_.input.param.maxUniqueRange = 5.0F;
    for (int image = 1; image < 4; ++image) {
        EXPECT_EQ(plugin_.process(camera_.imagePacket()), kNothing);
        EXPECT_FALSE(imageWasProcessed()) << image;
    }
    EXPECT_EQ(plugin_.process(camera_.imagePacket()), kInitialised);
    EXPECT_EQ(inputSeen().param.maxUniqueRange, 5.0F);
    processImages(3);
    EXPECT_TRUE(frameWasFinished());
}

TEST_F(AlgoDistanceImage, TheFramesAreCountedFromTheInitialisation) {
    start();
    processImages(3);
    camera_.input.param.maxUniqueRange = 5.0F;
    EXPECT_EQ(plugin_.process(camera_.imagePacket()), kInitialised);
    processImages(3);
    const auto result = recordOn<QorDistanceImageIFOutput>(plugin_.result(), 3210);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->frameCounter, 0U);
}

TEST_F(AlgoDistanceImage, AnIntensityImageOutlivesAnInitialisation) {
    camera_.intensityImage = true;
    start();
    EXPECT_EQ(stateValue<std::uint8_t>("lastIntensityPhaseValid"), 1);
    camera_.intensityImage = false;
    camera_.input.param.maxUniqueRange = 5.0F;
    camera_.restartFrame();
    EXPECT_EQ(plugin_.process(camera_.imagePacket()), kInitialised);
    EXPECT_EQ(stateValue<std::uint8_t>("lastIntensityPhaseValid"), 1);
    processImages(3);
    EXPECT_EQ(stateValue<std::uint8_t>("lastIntensityPhaseValid"), 0);
}

// ---------------------------------------------------------------------------------------------------------------------
// The input record between packets

TEST_F(AlgoDistanceImage, MembersThatASenderDoesNotHaveKeepTheirValues) {
    camera_.input.customization.minAmplitude = 21.0F;
    start();
    LayoutChange older;
    older.removed = {"QorDistanceImageIFInput.customization.minAmplitude"};
    camera_.nextImage();
    camera_.input.customization.minAmplitude = 99.0F;
    camera_.input.customization.distNoiseThreshold = 0.5F;
    const OwnedChunk input = Layout(zeltaGet_QorDistanceImageIFInput, older).chunk(3208, &camera_.input);
    EXPECT_EQ(plugin_.process(packetOf({input, camera_.rawChunk()})), kNothing);
    EXPECT_EQ(inputSeen().customization.minAmplitude, 21.0F);
    EXPECT_EQ(inputSeen().customization.distNoiseThreshold, 0.5F);
}

TEST_F(AlgoDistanceImage, MembersOfAnotherTypeKeepTheirValues) {
    camera_.input.customization.minAmplitude = 21.0F;
    start();
    LayoutChange other;
    other.retyped = {"QorDistanceImageIFInput.customization.minAmplitude",
                     "QorDistanceImageIFInput.phaseInfo.timestamp"};
    camera_.nextImage();
    const alif_uint32_t timestamp = camera_.input.phaseInfo.timestamp;
    camera_.input.phaseInfo.timestamp = timestamp + 5;
    camera_.input.customization.minAmplitude = 99.0F;
    const OwnedChunk input = Layout(zeltaGet_QorDistanceImageIFInput, other).chunk(3208, &camera_.input);
    EXPECT_EQ(plugin_.process(packetOf({input, camera_.rawChunk()})), kNothing);
    EXPECT_EQ(inputSeen().customization.minAmplitude, 21.0F);
    EXPECT_EQ(inputSeen().phaseInfo.timestamp, timestamp);
    EXPECT_EQ(inputSeen().phaseInfo.sequenceCounter, 1);
}

// ---------------------------------------------------------------------------------------------------------------------
// The custom pin

TEST_F(AlgoDistanceImage, ACustomizationOfThePinOutlastsLaterInputRecords) {
    camera_.input.customization.minAmplitude = 55.0F;
    EXPECT_EQ(plugin_.process(camera_.customizationPacket(), 1), kNothing);
    camera_.input.customization.minAmplitude = 66.0F;
    start();
    EXPECT_EQ(inputSeen().customization.minAmplitude, 55.0F);
    processImages(1);
    EXPECT_EQ(inputSeen().customization.minAmplitude, 55.0F);
}

TEST_F(AlgoDistanceImage, ALaterPinPacketReplacesTheFormer) {
    start();
    for (const float minAmplitude : {55.0F, 66.0F}) {
        camera_.input.customization.minAmplitude = minAmplitude;
        EXPECT_EQ(plugin_.process(camera_.customizationPacket(), 1), kNothing);
        camera_.input.customization.minAmplitude = 1.0F;
        processImages(1);
        EXPECT_EQ(inputSeen().customization.minAmplitude, minAmplitude);
    }
}

TEST_F(AlgoDistanceImage, APinPacketWithoutCustomizationGivesItNoPrecedence) {
    start();
    EXPECT_EQ(plugin_.process(camera_.inputPacket(), 1), kFailed);
    EXPECT_EQ(exceptionMessage(), "Unable to find requested channel 3228 in ZeltaChunk vector");
    camera_.input.customization.minAmplitude = 66.0F;
    processImages(1);
    EXPECT_EQ(inputSeen().customization.minAmplitude, 66.0F);
}

TEST_F(AlgoDistanceImage, ACustomizationOnTheDataPinIsIgnored) {
    start();
    camera_.input.customization.minAmplitude = 55.0F;
    const Bytes packet = camera_.customizationPacket();
    camera_.input.customization.minAmplitude = 66.0F;
    EXPECT_EQ(plugin_.process(packet, 0), kNothing);
    processImages(1);
    EXPECT_EQ(inputSeen().customization.minAmplitude, 66.0F);
}

TEST_F(AlgoDistanceImage, ThePinsPoseInitialisesThePipeline) {
    camera_.input.customization.extrinsicCalibrationCamera.transX = 0.25F;
    EXPECT_EQ(plugin_.process(camera_.customizationPacket(), 1), kNothing);
    start();
    EXPECT_EQ(stateValue<float>("camToWorld.lastExtIFCalib.transX"), 0.25F);
}

TEST_F(AlgoDistanceImage, WithoutThePinThePipelineIsInitialisedWithAZeroPose) {
    camera_.input.customization.extrinsicCalibrationCamera.transX = 0.25F;
    start();
    EXPECT_EQ(stateValue<float>("camToWorld.lastExtIFCalib.transX"), 0.0F);
}

// ---------------------------------------------------------------------------------------------------------------------
// Failures of the pipeline

TEST_F(AlgoDistanceImage, AFailedInitialisationIsAnExceptionWithTheReason) {
    camera_.input.param.numFrequencies = 3;
    calibrate();
    EXPECT_EQ(plugin_.process(camera_.imagePacket()), kFailed);
    const std::string message = exceptionMessage();
    EXPECT_EQ(message.find("QorDistanceImage_Init() error in QorDistanceImageInt("), 0U) << message;
    EXPECT_NE(message.find("): Number of frequencies must be either 1 or 2"), std::string::npos) << message;
}

TEST_F(AlgoDistanceImage, AfterAFailedInitialisationNothingIsOffered) {
    camera_.input.param.numFrequencies = 3;
    calibrate();
    EXPECT_EQ(plugin_.process(camera_.imagePacket()), kFailed);
    EXPECT_EQ(plugin_.getRequiredOutputSize(0), 0);
}

TEST_F(AlgoDistanceImage, AfterAFailedInitialisationTheImageStillWaits) {
    camera_.input.param.numFrequencies = 3;
    calibrate();
    EXPECT_EQ(plugin_.process(camera_.imagePacket()), kFailed);
    const Bytes image = camera_.rawChunk().data;
    camera_.input.param.numFrequencies = 1;
    EXPECT_EQ(plugin_.process(camera_.inputPacket()), kInitialised);
    EXPECT_EQ(imageSeen(), image);
}

class AlgoDistanceImageApplyFailure : public AlgoDistanceImage {
 protected:
    /** The fourth image of a group at a frequency that no calibration has. */
    void fail() {
        start();
        camera_.restartFrame();
        for (int image = 0; image < 4; ++image) {
            camera_.nextImage();
            camera_.input.phaseInfo.freqIdx = host_testing::kNoFrequencySlot;
            // The image of the start was the first of four; this group begins anew with the others.
            camera_.input.phaseInfo.sequenceCounter = image + 1;
            const Plugin::Answer answer =
                plugin_.process(packetOf({camera_.inputChunk(), camera_.rawChunk()}));
            if (answer == kFailed) {
                return;
            }
        }
        FAIL() << "the pipeline takes frequency slot 9";
    }
};

TEST_F(AlgoDistanceImageApplyFailure, IsAnExceptionWithTheReason) {
    fail();
    const std::string message = exceptionMessage();
    EXPECT_EQ(message.find("QorDistanceImage_Apply error in "), 0U) << message;
    EXPECT_NE(message.find("("), std::string::npos) << message;
    EXPECT_NE(message.find("): "), std::string::npos) << message;
}

TEST_F(AlgoDistanceImageApplyFailure, TheDebugChannelsOfTheCallAreStillOffered) {
    fail();
    const Bytes result = plugin_.result();
    EXPECT_EQ(channelsOf(result), (std::vector<int>{3208, 3214, 3216, 3218, 3220, 3222, 3200}));
    int errors = 0;
    PacketInterpret<int>("QorDistanceImageDebug.perFrameErrors.numValidEntries", errors,
                         host_testing::parsed(result), 3220);
    EXPECT_GT(errors, 0);
}

TEST_F(AlgoDistanceImageApplyFailure, ImagesAreDroppedUntilAFrameBegins) {
    fail();
    camera_.restartFrame();
    camera_.nextImage();
    camera_.nextImage();
    EXPECT_EQ(plugin_.process(packetOf({camera_.inputChunk(), camera_.rawChunk()})), kNothing);
    EXPECT_FALSE(imageWasProcessed());
}

TEST_F(AlgoDistanceImageApplyFailure, TheNextFrameInitialisesWithTheSameCalibration) {
    fail();
    camera_.restartFrame();
    EXPECT_EQ(plugin_.process(camera_.imagePacket()), kInitialised);
    EXPECT_TRUE(imageWasProcessed());
    processImages(3);
    EXPECT_TRUE(frameWasFinished());
}

// ---------------------------------------------------------------------------------------------------------------------
// The slots of the raw images

TEST_F(AlgoDistanceImage, MoreThan32ImagesReuseTheSlots) {
    // 30 intensity images, so that the four phases lie in the last two slots and the first two.
    calibrate();
    camera_.nextImage();
    for (int image = 0; image < 30; ++image) {
        camera_.input.phaseInfo.intensityMeasurement = 1;
        camera_.input.phaseInfo.sequenceCounter = image;
        EXPECT_EQ(plugin_.process(packetOf({camera_.inputChunk(), camera_.rawChunk()})),
                  image == 0 ? kInitialised : kNothing)
            << exceptionMessage();
    }
    camera_.restartFrame();
    processImages(4);
    ASSERT_TRUE(frameWasFinished());
    const auto late = recordOn<QorDistanceImageIFOutput>(plugin_.result(), 3210);
    // The same four phases in neighbouring slots.
    camera_.restartFrame();
    processImages(4);
    const auto early = recordOn<QorDistanceImageIFOutput>(plugin_.result(), 3210);
    ASSERT_TRUE(late && early);
    EXPECT_EQ(std::memcmp(late->distance, early->distance, sizeof late->distance), 0);
    EXPECT_EQ(
        std::memcmp(late->normalizedAmplitude, early->normalizedAmplitude, sizeof late->normalizedAmplitude),
        0);
}

}  // namespace
