// SPDX-License-Identifier: Apache-2.0
//
// What the packet of a raw image says about its place in a frame, in any
// layout and byte order of the sender.

#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "zelta_packet.h"

namespace plugin {

struct ImageInfo {
    std::int32_t sequence = 0;  // place in the frame, 0 for the first image
    std::uint16_t counter = 0;  // of the imager, modulo 4096
    std::uint32_t clock = 0;    // in the sender's unit; wraps
    std::int32_t frequency = 0;
    std::int32_t exposure = 0;
    bool intensity = false;  // no phase image
    int numExposures = 0;
    int numFrequencies = 0;
    // All parameters of the frame, as bits; a change of one makes the algorithm start anew.
    std::array<std::uint64_t, 6> parameters{};
};

// Reads members by name. Keeps the plans of the latest definitions, because a sender repeats them.
class ImageInfoReader {
 public:
    ImageInfoReader();
    ~ImageInfoReader();
    ImageInfoReader(const ImageInfoReader&) = delete;
    ImageInfoReader& operator=(const ImageInfoReader&) = delete;

    // None if the packet holds no raw image with a record that tells its place. Members that only refine the
    // judgement read as 0 if the sender lacks them.
    std::optional<ImageInfo> read(const zelta::Packet& packet);

 private:
    struct InputPlan;
    struct ImagePlan;

    std::unique_ptr<InputPlan> input_;
    std::unique_ptr<ImagePlan> image_;
};

}  // namespace plugin
