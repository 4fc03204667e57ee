// SPDX-License-Identifier: Apache-2.0

#include "qor/ChunkMatcher.h"

#include <gtest/gtest.h>

#include "recording/Channels.h"
#include "recording/Record.h"

namespace qor {
namespace {

using namespace recording;

class Places : public testing::Test {
 protected:
    // Of the only chunk of a packet.
    static ChunkPlace next(ChunkPlaces& places, const Record& record, int channel) {
        return places.next({record.chunk(channel)}).at(0);
    }

    Record input_{structure("QorDistanceImageIFInput", {structure("phaseInfo", {int32("sequenceCounter")})})};
    Record result_{structure("QorDistanceImageIFOutput", {uint32("frameCounter")})};
};

TEST_F(Places, ByPacketEachChannelCountsItsRecords) {
    ChunkPlaces places(MatchBy::Packet);
    EXPECT_EQ(next(places, input_, channel::input), (ChunkPlace{channel::input, 0, 0}));
    EXPECT_EQ(next(places, result_, channel::result), (ChunkPlace{channel::result, 0, 0}));
    EXPECT_EQ(next(places, input_, channel::input), (ChunkPlace{channel::input, 0, 1}));
}

TEST_F(Places, ByFrameEachFrameCountsItsRecords) {
    ChunkPlaces places(MatchBy::Frame);
    EXPECT_EQ(next(places, input_, channel::input), (ChunkPlace{channel::input, 0, 0}));
    input_.set("QorDistanceImageIFInput.phaseInfo.sequenceCounter", 1);
    EXPECT_EQ(next(places, input_, channel::input), (ChunkPlace{channel::input, 0, 1}));
    input_.set("QorDistanceImageIFInput.phaseInfo.sequenceCounter", 0);
    EXPECT_EQ(next(places, input_, channel::input), (ChunkPlace{channel::input, 1, 0}));
}

TEST_F(Places, ByFrameAResultHasTheFrameThatItCounts) {
    ChunkPlaces places(MatchBy::Frame);
    result_.set("QorDistanceImageIFOutput.frameCounter", 7U);
    EXPECT_EQ(next(places, result_, channel::result), (ChunkPlace{channel::result, 7, 0}));
    // The counter begins anew with the pipeline.
    EXPECT_EQ(next(places, result_, channel::result), (ChunkPlace{channel::result, 7, 1}));
}

}  // namespace
}  // namespace qor
