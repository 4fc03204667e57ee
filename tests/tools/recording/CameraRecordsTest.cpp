// SPDX-License-Identifier: Apache-2.0

#include "recording/CameraRecords.h"

#include <gtest/gtest.h>

#include <cstring>

#include "LayoutRows.h"
#include "QorDICIRecordLayout.h"
#include "QorRecordLayout.h"
#include "recording/Channels.h"
#include "simulation/RawPacking.h"

namespace recording {
namespace {

class Packets : public testing::Test {
 protected:
    Packets() {
        simulation::CalibrationRequest request;
        request.seed = 0x0123456789ABCDEFULL;
        request.frequencies = {60.0e6, 80.0e6};
        calibration_ = simulation::makeCalibration(request);
    }

    zelta::Packet parse(const std::vector<std::uint8_t>& bytes) {
        bytes_ = bytes;
        zelta::Packet chunks;
        EXPECT_EQ(zelta::packet_parse(bytes_.data(), static_cast<int>(bytes_.size()), chunks), 0);
        return chunks;
    }

    simulation::Calibration calibration_;
    std::vector<std::uint8_t> bytes_;
};

TEST_F(Packets, TheCalibrationComesWithTheAuxiliaryRecord) {
    const zelta::Packet packet = parse(calibrationPacket(calibration_, 0x0123456789ABCDEFULL));
    ASSERT_EQ(packet.size(), 2U);
    EXPECT_EQ(packet[0].channelID, 3212);
    EXPECT_EQ(packet[1].channelID, 3226);
    EXPECT_EQ(typeOf(packet[0])->name, "QorDistanceImageIFCalib");
    EXPECT_EQ(typeOf(packet[1])->name, "QorDICIAuxiliaryParam");
    const std::string imager = "QorDistanceImageIFCalib.imagerCalib.";
    EXPECT_EQ(imageOf(packet[0], imager + "freqDependent[1].FPPN", 38528), calibration_.frequencies[1].FPPN);
    EXPECT_EQ(numbersOf(packet[0], imager + "frequencies", 4),
              (std::vector<double>{60.0e6, 80.0e6, 0.0, 0.0}));
    EXPECT_EQ(numberOf(packet[0], imager + "numberOfFrequencies"), 2.0);
    EXPECT_EQ(numberOf(packet[0], imager + "freqIndependent.numBadPixel"),
              static_cast<double>(calibration_.badPixelIdx.size()));
    EXPECT_EQ(numberOf(packet[0], imager + "freqIndependent.badPixelIdx[2]"), calibration_.badPixelIdx.at(2));
    EXPECT_EQ(numberOf(packet[0], imager + "freqIndependent.FPN[38527]"), calibration_.FPN.back());
    EXPECT_EQ(imageOf(packet[0], "QorDistanceImageIFCalib.unitVectors", 115584), calibration_.unitVectors);
    EXPECT_EQ(numbersOf(packet[1], "QorDICIAuxiliaryParam.MAC", 6),
              (std::vector<double>{0x02, 0x67, 0x89, 0xAB, 0xCD, 0xEF}));
}

TEST_F(Packets, AnImageComesWithItsInputRecord) {
    ProcessingSettings settings;
    settings.exposureCount = 2;
    settings.minAmplitude = 12.5F;
    ImagePackets packets(calibration_, settings);
    simulation::RawImage image;
    image.timestamp = 4000000000U;
    image.sequenceCounter = 5;
    image.freqIdx = 1;
    image.exposureTime = 1234;
    image.frameCounter = 4095;
    image.illuTemperature = -12.25F;
    image.intensityMeasurement = true;
    image.phaseData.assign(simulation::rawImageBytes, 0);
    image.phaseData.back() = 0x7B;
    const zelta::Packet packet = parse(packets.packetOf(image));
    ASSERT_EQ(packet.size(), 2U);
    EXPECT_EQ(packet[0].channelID, 3208);
    EXPECT_EQ(packet[1].channelID, 3200);
    EXPECT_EQ(packet[1].dataSize, 58128);
    EXPECT_EQ(std::memcmp(packet[1].data, image.phaseData.data(), simulation::rawImageBytes), 0);
    const auto value = [&packet](const char* member) {
        return numberOf(packet[0], std::string("QorDistanceImageIFInput.") + member);
    };
    EXPECT_EQ(value("phaseInfo.timestamp"), 4000000000.0);
    EXPECT_EQ(value("phaseInfo.sequenceCounter"), 5.0);
    EXPECT_EQ(value("phaseInfo.freqIdx"), 1.0);
    EXPECT_EQ(value("phaseInfo.exposureTime"), 1234.0);
    EXPECT_EQ(value("phaseInfo.frameCounter"), 4095.0);
    EXPECT_EQ(value("phaseInfo.illuTemperature"), -12.25);
    EXPECT_EQ(value("phaseInfo.intensityMeasurement"), 1.0);
    EXPECT_EQ(value("customization.minAmplitude"), 12.5);
    EXPECT_EQ(value("param.numExposures"), 2.0);
    EXPECT_EQ(value("param.numFrequencies"), 2.0);
    EXPECT_EQ(value("param.maxUniqueRange"), -1.0);
    EXPECT_EQ(value("freqHoppingTable.frequencyHoppingTableLength"),
              static_cast<double>(calibration_.frequencyHoppingTable.size()));
    EXPECT_EQ(value("freqHoppingTable.frequencyHoppingTable[0].fid"),
              calibration_.frequencyHoppingTable[0].fid);
}

// The sender's own declarations have every member that the plug-in knows, in the same place, so that each can
// be set in a recording.
TEST_F(Packets, TheCalibrationsRecordsHoldEveryMember) {
    const zelta::Packet packet = parse(calibrationPacket(calibration_, 1));
    EXPECT_EQ(host_testing::textsOf(typeOf(packet[0])),
              host_testing::textsOf(layout_tables::kQorDistanceImageIFCalib));
    EXPECT_EQ(host_testing::textsOf(typeOf(packet[1])),
              host_testing::textsOf(layout_tables::kQorDICIAuxiliaryParam));
}

TEST_F(Packets, TheInputRecordHoldsEverySetting) {
    ImagePackets packets(calibration_, {});
    simulation::RawImage image;
    image.phaseData.assign(simulation::rawImageBytes, 0);
    const zelta::Packet packet = parse(packets.packetOf(image));
    EXPECT_EQ(host_testing::textsOf(typeOf(packet[0])),
              host_testing::textsOf(layout_tables::kQorDistanceImageIFInput));
    EXPECT_EQ(host_testing::textsOf(typeOf(packet[1])),
              host_testing::textsOf(layout_tables::kQorRawPhaseData));
}

TEST_F(Packets, AutoExposureLooksAtTheWholeImage) {
    ProcessingSettings settings;
    settings.autoExposure = AutoExposureSettings{900, 33, 3, 5};
    simulation::RawImage image;
    image.phaseData.resize(simulation::rawImageBytes);
    const zelta::Packet packet = parse(ImagePackets(calibration_, settings).packetOf(image));
    const std::string root = "QorDistanceImageIFInput.";
    EXPECT_EQ(numberOf(packet[0], root + "param.maxExposureTime"), 900.0);
    EXPECT_EQ(numberOf(packet[0], root + "param.maxSumExposureTime"), 1800.0);
    const std::string control = root + "customization.autoExpSet.";
    EXPECT_EQ(numberOf(packet[0], control + "applyAutoExposure"), 1.0);
    EXPECT_EQ(numberOf(packet[0], control + "minLongShortFactor"), 3.0);
    EXPECT_EQ(numberOf(packet[0], control + "maxLongShortFactor"), 5.0);
    EXPECT_EQ(numberOf(packet[0], control + "maxNumberOfSaturatedPixels"), 33.0);
    const std::string regions = control + "roiSettings.rois.";
    EXPECT_EQ(numberOf(packet[0], regions + "noROIs"), 1.0);
    EXPECT_EQ(numberOf(packet[0], regions + "ROIs[0].type"), 2.0);
    EXPECT_EQ(numberOf(packet[0], regions + "ROIs[0].rectangle.center.x"), 112.0);
    EXPECT_EQ(numberOf(packet[0], regions + "ROIs[0].rectangle.center.y"), 86.0);
    EXPECT_EQ(numberOf(packet[0], regions + "ROIs[0].rectangle.width"), 224.0);
    EXPECT_EQ(numberOf(packet[0], regions + "ROIs[0].rectangle.height"), 172.0);
}

TEST_F(Packets, MoreChunksTravelAlong) {
    const Record more(structure("More", {uint8("x")}));
    EXPECT_EQ(parse(calibrationPacket(calibration_, 1, {more.chunk(9100)}))[2].channelID, 9100);
    ImagePackets packets(calibration_, {});
    simulation::RawImage image;
    image.phaseData.assign(simulation::rawImageBytes, 0);
    EXPECT_EQ(parse(packets.packetOf(image, {more.chunk(9101)}))[2].channelID, 9101);
    EXPECT_EQ(parse(packets.packetOf(image)).size(), 2U);
}

TEST_F(Packets, AFrameBeginsWithTheInputRecordWhoseSequenceCounterIsZero) {
    ImagePackets packets(calibration_, {});
    simulation::RawImage image;
    image.phaseData.assign(simulation::rawImageBytes, 0);
    EXPECT_TRUE(beginsFrame(parse(packets.packetOf(image))));
    image.sequenceCounter = 1;
    EXPECT_FALSE(beginsFrame(parse(packets.packetOf(image))));
    EXPECT_FALSE(beginsFrame(parse(calibrationPacket(calibration_, 1))));
    const Record other(structure("Other", {int32("sequenceCounter")}));
    EXPECT_FALSE(beginsFrame(parse(packetOf({other.chunk(channel::input)}))));
}

TEST_F(Packets, AnImageOfAnotherSizeIsRefused) {
    ImagePackets packets(calibration_, {});
    simulation::RawImage image;
    image.phaseData.assign(simulation::rawImageBytes - 1, 0);
    EXPECT_THROW(packets.packetOf(image), RecordError);
}

}  // namespace
}  // namespace recording
