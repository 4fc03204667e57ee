// SPDX-License-Identifier: Apache-2.0

#include "calibrating/CalibrationRecord.h"

#include <gtest/gtest.h>

#include <bit>
#include <random>

#include "calibrating/CalibrationError.h"
#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "simulation/Image.h"
#include "tools/calibrating/Cameras.h"

namespace calibrating {
namespace {

TEST(CalibrationRecord, ARecordOfAnyBitsComesBackBitForBit) {
    const std::uint32_t seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    recording::Record record = recording::calibrationRecord(cameras::filled(1).calibration);
    const std::string imager = "QorDistanceImageIFCalib.imagerCalib.";
    const auto anyFloats = [&](std::size_t count) {
        std::vector<float> values(count);
        for (float& value : values) {
            value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
        }
        return values;
    };
    for (const char* const slot : {"freqDependent[0]", "freqDependent[3]"}) {
        record.set<float>(imager + slot + ".FPPN", anyFloats(simulation::pixelCount));
        record.set<float>(imager + slot + ".ampWigg", anyFloats(5));
        record.set<float>(imager + slot + ".phaseWigg", anyFloats(7));
        record.set<float>(imager + slot + ".xyCorrection", anyFloats(2));
        record.set<float>(imager + slot + ".refTemperature", anyFloats(1));
        record.set<float>(imager + slot + ".temperatureFactor", anyFloats(3));
        record.set<float>(imager + slot + ".noiseParameter", anyFloats(4));
    }
    record.set<float>(imager + "frequencies", anyFloats(4));
    record.set<float>(imager + "freqIndependent.vignetting", anyFloats(simulation::pixelCount));
    record.set<float>("QorDistanceImageIFCalib.unitVectors", anyFloats(3 * simulation::pixelCount));
    record.set<float>("QorDistanceImageIFCalib.intrinsicCalibration.internalTransRot.rotZ", anyFloats(1));
    for (std::size_t k = 0; k < 15; ++k) {
        record.set<int>(recording::element(imager + "freqIndependent.badPixelIdx", k),
                        static_cast<int>(random()));
    }
    const recording::Record again = recordOf(cameraIn(record.chunk(recording::channel::calibration)));
    EXPECT_TRUE(again.data() == record.data());
}

TEST(CalibrationRecord, MoreFrequenciesOrBadPixelsThanThereIsRoomForAreTold) {
    const std::string imager = "QorDistanceImageIFCalib.imagerCalib.";
    for (const auto& [member, sentence] :
         {std::pair{"numberOfFrequencies", "The calibration has 99 frequencies, where 1 to 4 are possible."},
          std::pair{"freqIndependent.numBadPixel",
                    "The calibration has 99 bad pixels, where 0 to 15 are possible."}}) {
        recording::Record record = recordOf(cameras::filled(1));
        record.set<int>(imager + member, 99);
        try {
            cameraIn(record.chunk(recording::channel::calibration));
            ADD_FAILURE() << member;
        } catch (const CalibrationError& error) {
            EXPECT_STREQ(error.what(), sentence);
        }
    }
}

TEST(CalibrationRecord, WhatALayoutLacksIsZero) {
    const recording::Record record(recording::structure(
        "QorDistanceImageIFCalib",
        {recording::structure("imagerCalib", {recording::float32("frequencies", {4}),
                                              recording::int32("numberOfFrequencies")})}));
    std::vector<std::uint8_t> bytes = record.data();
    recording::setFromText(record.type(), "QorDistanceImageIFCalib.imagerCalib.numberOfFrequencies", "1",
                           bytes);
    zelta::ZeltaChunk chunk = record.chunk(recording::channel::calibration);
    chunk.data = bytes.data();
    const CameraDescription camera = cameraIn(chunk);
    EXPECT_EQ(camera.calibration.vignetting, std::vector<float>(simulation::pixelCount, 0.0F));
    EXPECT_EQ(camera.calibration.frequencies.at(0).ampWigg[0], 0.0F);
    EXPECT_TRUE(camera.unusedFrequencies.empty());
}

// Seen to be undefined before: a number that the type does not hold.
TEST(CalibrationRecord, WholeNumbersOfAnotherLayoutThatDoNotFitAreZero) {
    const recording::Record record(recording::structure(
        "QorDistanceImageIFCalib",
        {recording::structure("imagerCalib",
                              {recording::structure("freqIndependent", {recording::float32("minDiff"),
                                                                        recording::float32("maxDiff")}),
                               recording::int32("numberOfFrequencies")})}));
    std::vector<std::uint8_t> bytes = record.data();
    const std::string imager = "QorDistanceImageIFCalib.imagerCalib.";
    recording::setFromText(record.type(), imager + "numberOfFrequencies", "1", bytes);
    recording::setFromText(record.type(), imager + "freqIndependent.minDiff", "-1e30", bytes);
    recording::setFromText(record.type(), imager + "freqIndependent.maxDiff", "4000", bytes);
    zelta::ZeltaChunk chunk = record.chunk(recording::channel::calibration);
    chunk.data = bytes.data();
    const CameraDescription camera = cameraIn(chunk);
    EXPECT_EQ(camera.calibration.minDiff, 0);
    EXPECT_EQ(camera.calibration.maxDiff, 4000);
}

}  // namespace
}  // namespace calibrating
