// SPDX-License-Identifier: Apache-2.0

#include "qor/RunTimes.h"

#include <gtest/gtest.h>

#include "recording/Channels.h"
#include "recording/Record.h"

namespace qor {
namespace {

using namespace recording;

Member item(const char* name) {
    return structure(name, {float32("runtimeMsecs"), uint32("numCalls")});
}

// A call of the algorithm: how many of each there were, and how long the latest took.
class Calls {
 public:
    void call(RunTimes& times, float total, std::uint32_t calls, bool finished = false, float filter = 0.0F,
              std::uint32_t filters = 0) {
        profiling_.set("QorDistanceImageProfiling.total.runtimeMsecs", total);
        profiling_.set("QorDistanceImageProfiling.total.numCalls", calls);
        profiling_.set("QorDistanceImageProfiling.imageFilter.runtimeMsecs", filter);
        profiling_.set("QorDistanceImageProfiling.imageFilter.numCalls", filters);
        std::vector<zelta::ZeltaChunk> chunks{profiling_.chunk(channel::profiling)};
        if (finished) {
            chunks.push_back(result_.chunk(channel::result));
        }
        const std::vector<std::uint8_t> bytes = packetOf(chunks);
        zelta::Packet packet;
        ASSERT_EQ(zelta::packet_parse(bytes.data(), static_cast<int>(bytes.size()), packet), 0);
        times.add(packet);
    }

 private:
    Record profiling_{
        structure("QorDistanceImageProfiling", {item("total_frame"), item("total"), item("imageFilter")})};
    Record result_{structure("QorDistanceImageIFOutput", {int32("outputInvalid")})};
};

TEST(RunTimes, AreThoseOfTheCallsInWhichAStageRan) {
    RunTimes times;
    Calls calls;
    calls.call(times, 3.0F, 1);
    calls.call(times, 4.0F, 2, false, 9.0F, 1);
    calls.call(times, 5.0F, 3, false, 9.0F, 1);
    const auto stages = times.stages();
    EXPECT_EQ(stages.at("total").calls, 3U);
    EXPECT_EQ(stages.at("total").times.p50, 4.0);
    EXPECT_EQ(stages.at("imageFilter").calls, 1U);
    EXPECT_EQ(stages.at("imageFilter").times.p99, 9.0);
    EXPECT_EQ(stages.count("total_frame"), 0U);
}

TEST(RunTimes, AFrameTakesAllItsPackets) {
    RunTimes times;
    Calls calls;
    calls.call(times, 3.0F, 1);
    calls.call(times, 4.0F, 2, true);
    calls.call(times, 1.0F, 3);
    calls.call(times, 1.0F, 4, true);
    EXPECT_EQ(times.frames().p50, 2.0);
    EXPECT_EQ(times.frames().p99, 7.0);
}

TEST(RunTimes, AFrameAfterANewStartDoesNotPayForTheOneThatWasGivenUp) {
    RunTimes times;
    Calls calls;
    calls.call(times, 3.0F, 1);
    calls.call(times, 3.0F, 2);
    calls.call(times, 4.0F, 1, true);
    EXPECT_EQ(times.frames().p99, 4.0);
}

TEST(RunTimes, WithoutTheRecordThereAreNone) {
    const RunTimes times;
    EXPECT_TRUE(times.stages().empty());
    EXPECT_EQ(times.frames().p50, std::nullopt);
}

}  // namespace
}  // namespace qor
