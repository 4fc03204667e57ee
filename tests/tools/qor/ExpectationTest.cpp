// SPDX-License-Identifier: Apache-2.0

#include "qor/Expectation.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "recording/RecordingWriter.h"
#include "simulation/RawPacking.h"
#include "tools/TestFolder.h"

namespace qor {
namespace {

class ExpectationOfRecording : public testing::Test {
 protected:
    // A calibration, then frames of so many images. The first frame brings as many bytes as a truth may have.
    std::filesystem::path recordingOf(int frames, int images) const {
        const std::filesystem::path path = folder_.path() / "r.zelta";
        const simulation::Calibration calibration = simulation::makeCalibration({});
        const recording::Record truth(
            recording::structure("SceneTruth", {recording::uint8("bytes", {2'600'000})}));
        recording::RecordingWriter writer(path);
        writer.write(recording::calibrationPacket(calibration, 1));
        recording::ImagePackets packets(calibration, {});
        for (int frame = 0; frame < frames; ++frame) {
            for (int k = 0; k < images; ++k) {
                simulation::RawImage image;
                image.sequenceCounter = k;
                image.phaseData.assign(simulation::rawImageBytes, 0);
                writer.write(frame + k == 0
                                 ? packets.packetOf(image, {truth.chunk(recording::channel::sceneTruth)})
                                 : packets.packetOf(image));
            }
        }
        writer.finish();
        return path;
    }

    TestFolder folder_;
};

TEST_F(ExpectationOfRecording, CountsTheFramesOfAShortRecording) {
    for (const int frames : {0, 1, 2}) {
        const auto expected = expectedFrames(recordingOf(frames, 5));
        ASSERT_TRUE(expected);
        EXPECT_EQ(expected->frames, static_cast<std::uint64_t>(frames));
        EXPECT_EQ(expected->imagesPerFrame, frames == 0 ? 0.0 : 5.0);
    }
}

TEST_F(ExpectationOfRecording, TakesTheFramesOfALongOneToBeAsLongAsTheSecond) {
    for (const int frames : {3, 4, 17}) {
        const auto expected = expectedFrames(recordingOf(frames, 4));
        ASSERT_TRUE(expected);
        EXPECT_EQ(expected->frames, static_cast<std::uint64_t>(frames));
        EXPECT_EQ(expected->imagesPerFrame, 4.0);
    }
}

TEST_F(ExpectationOfRecording, ADamagedRecordingIsCountedUpToTheDamage) {
    const std::filesystem::path path = recordingOf(2, 4);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 1);
    EXPECT_EQ(expectedFrames(path)->frames, 2U);
}

// Looking into a pipe would take away what is in it.
TEST_F(ExpectationOfRecording, IsUnknownOfAPipeAndOfAFileThatIsNotThere) {
    const std::filesystem::path pipe = folder_.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_FALSE(expectedFrames(pipe));
    EXPECT_FALSE(expectedFrames(folder_.path() / "none.zelta"));
}

TEST_F(ExpectationOfRecording, OutputIsThatOfTheFramesThatAreKept) {
    ReplaySettings settings;
    settings.recording = recordingOf(7, 4);
    settings.frames = readFrameSelection("1:6:2").value();
    const auto expected = expectedOutput(settings);
    ASSERT_TRUE(expected);
    EXPECT_EQ(expected->frames, 3U);
    EXPECT_EQ(expected->bytes, ChannelSelection().expectedBytes(3, 4.0));
}

TEST(FrameSelection, CountsHowManyOfTheFirstFramesItMeans) {
    EXPECT_EQ(FrameSelection{}.countOf(5), 5U);
    EXPECT_EQ(readFrameSelection("9")->countOf(9), 0U);
    EXPECT_EQ(readFrameSelection("9")->countOf(10), 1U);
    EXPECT_EQ(readFrameSelection("1:6:2")->countOf(4), 2U);
    EXPECT_EQ(readFrameSelection("1::3")->countOf(8), 3U);
    EXPECT_EQ(readFrameSelection("3:")->countOf(0), 0U);
}

}  // namespace
}  // namespace qor
