// SPDX-License-Identifier: Apache-2.0
//
// Which record of one recording belongs to which of another.
//
// By packet, the first record of a channel belongs to the first on the same channel of the other, the second
// to the second, and so on. By frame, records of the same frame belong together in the same way. The frame of
// a finished result is its frameCounter; that of another record is the number of frames that have begun.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <tuple>
#include <vector>

#include "zelta_packet.h"

namespace qor {

enum class MatchBy { Packet, Frame };

struct ChunkPlace {
    int channel = 0;
    std::int64_t frame = 0;
    std::size_t number = 0;  // on this channel, or in the frame

    bool operator==(const ChunkPlace&) const = default;
    bool operator<(const ChunkPlace& other) const {
        return std::tie(channel, frame, number) < std::tie(other.channel, other.frame, other.number);
    }
};

// Counts the records of one recording, packet by packet.
class ChunkPlaces {
 public:
    explicit ChunkPlaces(MatchBy by) : by_(by) {}

    // The places of the chunks of the next packet, in their order.
    std::vector<ChunkPlace> next(const zelta::Packet& packet);

 private:
    MatchBy by_;
    std::int64_t frames_ = 0;  // begun
    std::map<std::pair<int, std::int64_t>, std::size_t> counts_;
};

}  // namespace qor
