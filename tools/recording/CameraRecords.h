// SPDX-License-Identifier: Apache-2.0
//
// What a camera sends: its calibration, then every raw image with the settings it was taken with. The
// receiver finds members by name, so these declarations are the sender's own.

#pragma once

#include <cstdint>
#include <vector>

#include "recording/Record.h"
#include "simulation/Calibration.h"
#include "simulation/Camera.h"

namespace recording {

struct ProcessingSettings {
    int exposureCount = 1;
    float minAmplitude = 20.0F;                  // raw counts
    float maximumRawSymmetry = 0.5F;             // of the amplitude
    float twoFreqMaxLineDistPercentage = 80.0F;  // of half the distance between two lines
    bool straylightCorrection = false;
    bool noiseEstimation = false;                // needs an intensity image in each frame
};

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

}  // namespace recording
