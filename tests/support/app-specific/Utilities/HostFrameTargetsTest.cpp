// SPDX-License-Identifier: Apache-2.0
//
// The same bits on every CPU: the results of a session are the same whichever vector target runs it.
#include <gtest/gtest.h>

#include "AlgoDistanceImage.h"
#include "Plugin.h"
#include "support/Targets.h"

namespace {

using host_testing::Bytes;
using host_testing::Camera;
using host_testing::OwnedChunk;

/** The result of the second of two frames that use every stage. */
Bytes resultOn(int64_t target, unsigned int noiseLevel = 4) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    const auto algorithm = std::make_unique<AlgoDistanceImage>();
    Camera camera;
    camera.input = host_testing::richInput();
    camera.intensityImage = true;
    camera.noiseLevel = noiseLevel;
    const auto process = [&](const Bytes& packet) {
        algorithm->processZelta(packet.data(), static_cast<int>(packet.size()), false);
    };
    process(camera.calibrationPacket());
    for (int image = 0; image < 2 * camera.imagesPerFrame(); ++image) {
        process(camera.imagePacket());
    }
    Bytes result(static_cast<std::size_t>(algorithm->getRequiredOutputSize(false)));
    algorithm->packResult(result.data(), static_cast<int>(result.size()));
    return result;
}

/** Results and debug records are equal, clocks apart. */
void expectSameResults(const Bytes& first, const Bytes& other) {
    ASSERT_FALSE(first.empty());
    ASSERT_FALSE(other.empty());
    const std::vector<OwnedChunk> expected = host_testing::withoutClocks(first);
    const std::vector<OwnedChunk> actual = host_testing::withoutClocks(other);
    ASSERT_EQ(expected.size(), 8U) << "the frame is not finished";
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(actual[i].channelID, expected[i].channelID);
        EXPECT_TRUE(actual[i].data == expected[i].data) << "channel " << expected[i].channelID;
    }
}

class HostFrame : public ::testing::TestWithParam<int64_t> {
 protected:
    static void SetUpTestSuite() {
        const int64_t first = testing_support::runnableTargets().front();
        s_first = new Bytes(host_testing::inNewProcess([first] { return resultOn(first); }));
    }
    static void TearDownTestSuite() { delete s_first; }

    static Bytes* s_first;
};

Bytes* HostFrame::s_first = nullptr;

TEST_P(HostFrame, GivesTheSameBitsOnEveryTarget) {
    expectSameResults(*s_first, host_testing::inNewProcess([] { return resultOn(GetParam()); }));
}

TEST_P(HostFrame, GivesTheSameBitsOfANoisySceneOnEveryTarget) {
    // All spatial frequencies are strong, so that nothing in the straylight correction rounds away.
    constexpr unsigned int kNoiseLevel = 1000;
    const int64_t first = testing_support::runnableTargets().front();
    expectSameResults(host_testing::inNewProcess([first] { return resultOn(first, kNoiseLevel); }),
                      host_testing::inNewProcess([] { return resultOn(GetParam(), kNoiseLevel); }));
}

TEST_P(HostFrame, GivesAFrameWithValidPixels) {
    const Bytes packet = host_testing::inNewProcess([] { return resultOn(GetParam()); });
    const auto result = host_testing::recordOn<QorDistanceImageIFOutput>(packet, 3210);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->outputInvalid, 0);
    int valid = 0;
    for (const alif_uint8_t confidence : result->confidence) {
        valid += (confidence & kConfidenceInvalid) == 0 ? 1 : 0;
    }
    EXPECT_GT(valid, kPixelCount / 2);
}

INSTANTIATE_ON_EVERY_TARGET(HostFrame);

}  // namespace
