// SPDX-License-Identifier: Apache-2.0

#include "plugin/ImageInfo.h"

#include <gtest/gtest.h>

#include "Camera.h"

namespace plugin {
namespace {

using host_testing::Camera;
using host_testing::LayoutChange;
using host_testing::OwnedChunk;

std::optional<ImageInfo> infoOf(const std::vector<OwnedChunk>& chunks) {
    ImageInfoReader reader;
    return reader.read(host_testing::viewOf(chunks));
}

Camera cameraOf(const LayoutChange& change) {
    Camera camera(change);
    camera.input.param.numExposures = 2;
    camera.input.param.numFrequencies = 2;
    camera.nextImage();
    QorRawdataPhaseInfo& info = camera.input.phaseInfo;
    info.sequenceCounter = 5;
    info.frameCounter = 4095;
    info.timestamp = 0xFEDCBA98U;
    info.freqIdx = 1;
    info.exposureTime = 1600;
    info.intensityMeasurement = 1;
    return camera;
}

TEST(ImageInfo, IsTheSameFromEveryLayout) {
    LayoutChange foreign;
    foreign.reversed = true;
    foreign.added = true;
    foreign.bigEndian = true;
    LayoutChange old;
    old.version = 0x0100;
    for (const LayoutChange& change : {LayoutChange{}, foreign, old}) {
        const Camera camera = cameraOf(change);
        const auto info = infoOf({camera.inputChunk(), camera.rawChunk()});
        ASSERT_TRUE(info);
        EXPECT_EQ(info->sequence, 5);
        EXPECT_EQ(info->counter, 4095);
        EXPECT_EQ(info->clock, 0xFEDCBA98U);
        EXPECT_EQ(info->frequency, 1);
        EXPECT_EQ(info->exposure, 1600);
        EXPECT_TRUE(info->intensity);
        EXPECT_EQ(info->numExposures, 2);
        EXPECT_EQ(info->numFrequencies, 2);
    }
}

TEST(ImageInfo, OneReaderFollowsAChangeOfTheLayout) {
    LayoutChange foreign;
    foreign.reversed = true;
    foreign.bigEndian = true;
    ImageInfoReader reader;
    for (const LayoutChange& change : {LayoutChange{}, foreign, LayoutChange{}}) {
        const Camera camera = cameraOf(change);
        const std::vector<OwnedChunk> chunks{camera.inputChunk(), camera.rawChunk()};
        EXPECT_EQ(reader.read(host_testing::viewOf(chunks)).value().clock, 0xFEDCBA98U);
    }
}

TEST(ImageInfo, TakesAnImageAndItsRecord) {
    const Camera camera = cameraOf({});
    EXPECT_FALSE(infoOf({camera.inputChunk()}));
    EXPECT_FALSE(infoOf({camera.rawChunk()}));
    EXPECT_FALSE(infoOf({camera.calibrationChunk(), camera.auxiliaryChunk()}));
    EXPECT_TRUE(infoOf({camera.rawChunk(), camera.auxiliaryChunk(), camera.inputChunk()}));
}

TEST(ImageInfo, WithoutAPlaceInItsFrameAnImageHasNone) {
    for (const char* member : {"QorDistanceImageIFInput.phaseInfo.sequenceCounter",
                               "QorDistanceImageIFInput.phaseInfo.frameCounter"}) {
        LayoutChange change;
        change.removed = {member};
        const Camera camera = cameraOf(change);
        EXPECT_FALSE(infoOf({camera.inputChunk(), camera.rawChunk()})) << member;
    }
}

TEST(ImageInfo, MembersThatASenderDoesNotHaveAreZero) {
    LayoutChange change;
    change.removed = {"QorDistanceImageIFInput.phaseInfo.timestamp", "QorDistanceImageIFInput.param"};
    const Camera camera = cameraOf(change);
    const auto info = infoOf({camera.inputChunk(), camera.rawChunk()});
    ASSERT_TRUE(info);
    EXPECT_EQ(info->clock, 0U);
    EXPECT_EQ(info->numExposures, 0);
}

TEST(ImageInfo, DamagedChunksHoldNone) {
    const Camera camera = cameraOf({});
    OwnedChunk shortInput = camera.inputChunk();
    shortInput.data.pop_back();
    EXPECT_FALSE(infoOf({shortInput, camera.rawChunk()}));
    OwnedChunk shortImage = camera.rawChunk();
    shortImage.data.pop_back();
    EXPECT_FALSE(infoOf({camera.inputChunk(), shortImage}));
    OwnedChunk noDefinition = camera.inputChunk();
    noDefinition.description = {1, 2, 3};
    EXPECT_FALSE(infoOf({noDefinition, camera.rawChunk()}));
    OwnedChunk otherRecord = camera.auxiliaryChunk();
    otherRecord.channelID = host_testing::kRawDataChannel;
    EXPECT_FALSE(infoOf({camera.inputChunk(), otherRecord}));
}

}  // namespace
}  // namespace plugin
