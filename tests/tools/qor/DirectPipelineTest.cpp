// SPDX-License-Identifier: Apache-2.0

#include "qor/DirectPipeline.h"

#include <gtest/gtest.h>

#include "simulation/Image.h"

namespace qor {
namespace {

simulation::CameraSettings wall() {
    simulation::CameraSettings settings;
    settings.scene = simulation::sceneNamed("wall");
    return settings;
}

TEST(DirectPipeline, TheFourthImageFinishesAFrameOfOneExposure) {
    simulation::Camera camera(wall());
    DirectPipeline pipeline(camera.calibration(), {});
    for (std::uint32_t k = 0; k < 3; ++k) {
        const simulation::Frame frame = camera.nextFrame();
        EXPECT_FALSE(pipeline.process(frame.images[0]));
        EXPECT_FALSE(pipeline.process(frame.images[1]));
        EXPECT_FALSE(pipeline.process(frame.images[2]));
        const auto finished = pipeline.process(frame.images[3]);
        ASSERT_TRUE(finished);
        EXPECT_EQ(finished->frameCounter, k);
        EXPECT_EQ(finished->timestamp, frame.images[3].timestamp);
        EXPECT_EQ(finished->distance.size(), simulation::pixelCount);
    }
}

TEST(DirectPipeline, TheEighthImageFinishesAFrameOfTwoExposures) {
    simulation::CameraSettings settings = wall();
    settings.exposureTimes = {200, 1000};
    simulation::Camera camera(settings);
    PipelineSettings pipelineSettings;
    pipelineSettings.exposureCount = 2;
    DirectPipeline pipeline(camera.calibration(), pipelineSettings);
    const simulation::Frame frame = camera.nextFrame();
    for (std::size_t k = 0; k < 7; ++k) {
        EXPECT_FALSE(pipeline.process(frame.images[k])) << k;
    }
    EXPECT_TRUE(pipeline.process(frame.images[7]));
}

TEST(DirectPipeline, AnIntensityImageBeforeThePhasesIsTaken) {
    simulation::CameraSettings settings = wall();
    settings.intensityImage = true;
    settings.ambient = 10.0;
    simulation::Camera camera(settings);
    DirectPipeline pipeline(camera.calibration(), {});
    const simulation::Frame frame = camera.nextFrame();
    ASSERT_EQ(frame.images.size(), 5U);
    for (std::size_t k = 0; k < 4; ++k) {
        EXPECT_FALSE(pipeline.process(frame.images[k])) << k;
    }
    EXPECT_TRUE(pipeline.process(frame.images[4]));
}

// The truth's amplitude is what the pipeline calls normalised: per microsecond, vignetting undone.
TEST(DirectPipeline, AmplitudeIsThatOfTheTruth) {
    simulation::CameraSettings settings = wall();
    settings.photonNoise = false;
    simulation::Camera camera(settings);
    DirectPipeline pipeline(camera.calibration(), {});
    const simulation::Frame frame = camera.nextFrame();
    std::optional<PipelineFrame> finished;
    for (const simulation::RawImage& image : frame.images) {
        finished = pipeline.process(image);
    }
    ASSERT_TRUE(finished);
    for (std::size_t i = 0; i < simulation::pixelCount; ++i) {
        if ((finished->confidence[i] & 1U) == 0 && frame.truth->badPixel[i] == 0) {
            ASSERT_NEAR(static_cast<double>(finished->amplitude[i]) / frame.truth->amplitude[i], 1.0, 0.006)
                << i;
        }
    }
}

TEST(DirectPipeline, AMissingImageIsToldInThePipelinesWords) {
    simulation::Camera camera(wall());
    DirectPipeline pipeline(camera.calibration(), {});
    const simulation::Frame frame = camera.nextFrame();
    const simulation::Frame next = camera.nextFrame();
    pipeline.process(frame.images[0]);
    pipeline.process(frame.images[1]);
    pipeline.process(frame.images[2]);
    try {
        pipeline.process(next.images[0]);
        FAIL() << "no exception";
    } catch (const PipelineError& error) {
        EXPECT_NE(std::string(error.what()).find("Unexpected framecounter"), std::string::npos)
            << error.what();
    }
}

TEST(DirectPipeline, ATruncatedImageIsRefused) {
    simulation::Camera camera(wall());
    DirectPipeline pipeline(camera.calibration(), {});
    simulation::Frame frame = camera.nextFrame();
    frame.images[0].phaseData.pop_back();
    EXPECT_THROW(pipeline.process(frame.images[0]), PipelineError);
}

TEST(DirectPipeline, VersionHasThreeNumbers) {
    EXPECT_EQ(DirectPipeline::version(), "0.3.6");
}

}  // namespace
}  // namespace qor
