// SPDX-License-Identifier: Apache-2.0
//
// A finished frame, as a result packet describes it.

#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "figures/Confidence.h"
#include "figures/Frame.h"
#include "zelta_packet.h"

namespace qor {

// Bits of the confidence image, and what they mean for a distance.
using figures::asymmetricBit;
using figures::invalidBit;
using figures::isUsable;
using figures::lastExposureBit;
using figures::lowAmplitudeBit;
using figures::saturatedBit;
using figures::unassignedBit;

// Positions of the pixels, row by row, metres.
struct Coordinates {
    std::vector<float> X;
    std::vector<float> Y;
    std::vector<float> Z;
};

// Images row by row.
struct ResultFrame {
    std::vector<float> distance;   // metres, 0 where invalid
    std::vector<float> amplitude;  // counts per microsecond
    std::vector<std::uint8_t> confidence;
    std::vector<float> noise;      // standard deviation of the distance, metres; empty if not estimated
    std::vector<float> intensity;  // counts of the light that is not modulated; empty if not delivered
    std::uint32_t frameCounter = 0;
    std::uint32_t timestamp = 0;             // microseconds
    std::optional<Coordinates> coordinates;  // if they are wanted and valid
};

// What figures are taken from; it points into the frame.
figures::Frame viewOf(const ResultFrame& frame);

// 1 for each usable pixel, 0 for the others.
std::vector<std::uint8_t> usablePixels(const ResultFrame& frame);

// What the plug-in left as its result, taken apart; it points into the bytes. Throws plugin::PluginError if
// it is no packet.
zelta::Packet resultPacket(const std::vector<std::uint8_t>& bytes);

// The frame that a result packet holds, if it holds one. Throws recording::RecordError, with a sentence, for
// a record that is not what it has to be.
std::optional<ResultFrame> frameIn(const zelta::Packet& result, bool withCoordinates);

// Where the pixels look.
struct Rays {
    std::vector<float> vectors;  // x, y, z of one pixel after the other; empty if the result tells none
    std::array<double, 3> axis{0, 0, 1};  // the optical axis, in the same directions
};

// Of the frame that a result packet holds. Throws as frameIn does.
Rays raysIn(const zelta::Packet& result);

// The first error that the pipeline met in the call of a result packet: "ImageFilter(108): Unsupported mask
// size". A stage may fail while the frame continues. Throws as frameIn does.
std::optional<std::string> errorIn(const zelta::Packet& result);

}  // namespace qor
