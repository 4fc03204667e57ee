// SPDX-License-Identifier: Apache-2.0
//
// What a camera sends: its calibration, then every raw image with the settings it was taken with. The
// receiver finds members by name, so these declarations are the sender's own.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "recording/Record.h"
#include "simulation/Calibration.h"
#include "simulation/Camera.h"

namespace recording {

// What the auto exposure may propose. Regions are all of the image.
struct AutoExposureSettings {
    std::int32_t longestExposure = 2000;  // microseconds
    std::int32_t saturatedPixels = 100;   // as many may be saturated in the shorter exposure
    std::int32_t minLongShortFactor = 2;  // of two exposures, the longer as a multiple of the shorter
    std::int32_t maxLongShortFactor = 8;
};

struct ProcessingSettings {
    int exposureCount = 1;
    std::optional<AutoExposureSettings> autoExposure;  // none: the exposure times are left alone
    float minAmplitude = 20.0F;                        // raw counts
    float maximumRawSymmetry = 0.5F;                   // of the amplitude
    float twoFreqMaxLineDistPercentage = 80.0F;        // of half the distance between two lines
    bool straylightCorrection = false;
    float straylightDistanceThreshold = 0.0F;   // metres; 0: none
    float straylightAmplitudeThreshold = 0.0F;  // of the amplitude; 0: none
    float maxUniqueRange = -1.0F;               // metres; -1: whatever the frequencies can tell
    bool noiseEstimation = false;               // needs an intensity image in each frame
};

// The calibration record of a camera; `slot` is the expression of one of its frequencies.
Record calibrationRecord(const simulation::Calibration& calibration);
void setFrequency(Record& record, const std::string& slot, const simulation::FrequencyCalibration& frequency);

// What else a camera tells of itself.
Record auxiliaryRecord(std::uint64_t serialNumber);

// The first packet of a recording. `more` are chunks that travel with it.
std::vector<std::uint8_t> calibrationPacket(const simulation::Calibration& calibration,
                                            std::uint64_t serialNumber,
                                            const std::vector<zelta::ZeltaChunk>& more = {});

// Makes the packets of raw images.
class ImagePackets {
 public:
    ImagePackets(const simulation::Calibration& calibration, const ProcessingSettings& settings);

    // `more` are chunks that travel with the image. Throws RecordError if the image has no 58128 bytes.
    std::vector<std::uint8_t> packetOf(const simulation::RawImage& image,
                                       const std::vector<zelta::ZeltaChunk>& more = {});

 private:
    Record input_;
    Record rawImage_;
};

// Whether a frame begins with the packet: the sequenceCounter of its first input record is 0. A packet whose
// input record is not there or cannot be read begins none.
bool beginsFrame(const zelta::Packet& packet);

}  // namespace recording
