// SPDX-License-Identifier: Apache-2.0

#include "qor/ChunkMatcher.h"

#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "recording/Record.h"

namespace qor {
namespace {

const char* const counter = "QorDistanceImageIFOutput.frameCounter";

}  // namespace

std::vector<ChunkPlace> ChunkPlaces::next(const zelta::Packet& packet) {
    frames_ += recording::beginsFrame(packet) ? 1 : 0;
    std::vector<ChunkPlace> places;
    for (const zelta::ZeltaChunk& chunk : packet) {
        std::int64_t frame = 0;
        if (by_ == MatchBy::Frame) {
            frame = frames_ - 1;
            if (chunk.channelID == recording::channel::result && recording::hasMember(chunk, counter)) {
                frame = static_cast<std::int64_t>(recording::numberOf(chunk, counter));
            }
        }
        places.push_back({chunk.channelID, frame, counts_[{chunk.channelID, frame}]++});
    }
    return places;
}

}  // namespace qor
