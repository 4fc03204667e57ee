// SPDX-License-Identifier: Apache-2.0
//
// Where the raw images of a frame are kept: the slot of each, seen by the address at which it is offered.
#include <gtest/gtest.h>

#include "AlgoDistanceImage.h"
#include "Camera.h"

namespace {

using host_testing::Bytes;
using host_testing::Camera;

class AlgoWithSlots : public AlgoDistanceImage {
 public:
    /** The image that the last call worked on; null if it worked on none. */
    const QorRawPhaseData* image() const {
        for (int i = 0; i < m_numMeasBuffers; ++i) {
            const AlgoMeasBuffer& buffer = m_measBuffers[static_cast<std::size_t>(i)];
            if (buffer.channelID == host_testing::kRawDataChannel) {
                return static_cast<const QorRawPhaseData*>(buffer.buffer);
            }
        }
        return nullptr;
    }

    bool process(const Bytes& packet) {
        return processZelta(packet.data(), static_cast<int>(packet.size()), false);
    }
};

class AlgoDistanceImageSlots : public ::testing::Test {
 protected:
    AlgoDistanceImageSlots() {
        algo_->process(camera_.calibrationPacket());
        algo_->process(camera_.imagePacket());
        first_ = algo_->image();
    }

    Camera camera_;
    std::unique_ptr<AlgoWithSlots> algo_ = std::make_unique<AlgoWithSlots>();
    const QorRawPhaseData* first_ = nullptr;  ///< the first image's slot
};

TEST_F(AlgoDistanceImageSlots, EachImageOfAFrameHasItsOwn) {
    for (int image = 1; image < 4; ++image) {
        algo_->process(camera_.imagePacket());
        EXPECT_EQ(algo_->image(), first_ + image);
    }
}

TEST_F(AlgoDistanceImageSlots, BeginAnewAfterAFrame) {
    for (int image = 1; image < 4; ++image) {
        algo_->process(camera_.imagePacket());
    }
    algo_->process(camera_.imagePacket());
    EXPECT_EQ(algo_->image(), first_);
}

TEST_F(AlgoDistanceImageSlots, BeginAnewAfterAFailure) {
    bool failed = false;
    for (int image = 0; image < 4 && !failed; ++image) {
        camera_.nextImage();
        camera_.input.phaseInfo.freqIdx = host_testing::kNoFrequencySlot;
        camera_.input.phaseInfo.sequenceCounter = image + 1;
        try {
            algo_->process(host_testing::packetOf({camera_.inputChunk(), camera_.rawChunk()}));
        } catch (const TamAlgoSimInterface::AlgoException&) {
            failed = true;
        }
    }
    ASSERT_TRUE(failed);
    camera_.input.phaseInfo.freqIdx = 0;
    camera_.restartFrame();
    EXPECT_TRUE(algo_->process(camera_.imagePacket()));
    EXPECT_EQ(algo_->image(), first_);
}

}  // namespace
