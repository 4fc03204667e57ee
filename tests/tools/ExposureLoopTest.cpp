// SPDX-License-Identifier: Apache-2.0
//
// Auto exposure with the camera in the loop: simulated frames into the plug-in, its proposals into the next
// frame.

#include "qor/ExposureLoop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "recording/CameraRecords.h"
#include "simulation/Camera.h"

namespace qor {
namespace {

constexpr std::uint32_t framesOfAStretch = 12;
constexpr std::size_t framesToSettle = 5;
constexpr std::int32_t saturatedAllowed = 100;

simulation::CameraSettings brightDarkBright(double bright, double dark,
                                            const std::vector<std::int32_t>& firstTimes) {
    simulation::CameraSettings settings;
    settings.scene = simulation::sceneNamed("room");
    settings.exposureTimes = firstTimes;
    settings.brightnessSteps = {{0, bright}, {framesOfAStretch, dark}, {2 * framesOfAStretch, bright}};
    return settings;
}

std::vector<ExposedFrame> follow(const simulation::CameraSettings& settings, std::uint32_t frames,
                                 std::int32_t longestExposure = 2000) {
    simulation::Camera camera(settings);
    recording::ProcessingSettings processing;
    processing.exposureCount = static_cast<int>(settings.exposureTimes.size());
    processing.autoExposure.emplace();
    processing.autoExposure->longestExposure = longestExposure;
    processing.autoExposure->saturatedPixels = saturatedAllowed;
    recording::ImagePackets packets(camera.calibration(), processing);
    plugin::Plugin algorithm(QOR_PLUGIN);
    ExposureLoop loop(algorithm, recording::calibrationPacket(camera.calibration(), settings.seed));
    std::vector<ExposedFrame> exposed;
    for (std::uint32_t k = 0; k < frames; ++k) {
        const simulation::Frame frame = camera.nextFrame();
        for (const simulation::RawImage& image : frame.images) {
            if (const auto finished =
                    loop.process(packets.packetOf(image), camera.settings().exposureTimes)) {
                exposed.push_back(*finished);
            }
        }
        EXPECT_EQ(exposed.size(), k + 1U);
        camera.setExposureTimes(exposed.back().proposedTimes);
    }
    return exposed;
}

// Once settled, the times stay as they are until the scene changes.
void expectSettled(const std::vector<ExposedFrame>& frames) {
    for (std::size_t begin = 0; begin < frames.size(); begin += framesOfAStretch) {
        const std::vector<std::int32_t>& settled = frames[begin + framesToSettle].exposureTimes;
        for (std::size_t k = begin + framesToSettle; k < begin + framesOfAStretch; ++k) {
            EXPECT_EQ(frames[k].exposureTimes, settled) << "frame " << k;
            EXPECT_LE(frames[k].saturatedPixels, static_cast<std::size_t>(saturatedAllowed)) << "frame " << k;
        }
    }
}

// On the way to its new times the short exposure does not swing: it never turns round more than once.
void expectNoOscillation(const std::vector<ExposedFrame>& frames) {
    for (std::size_t begin = 0; begin < frames.size(); begin += framesOfAStretch) {
        int turns = 0;
        std::int32_t direction = 0;
        for (std::size_t k = begin + 1; k < begin + framesOfAStretch; ++k) {
            const std::int32_t change = frames[k].exposureTimes[0] - frames[k - 1].exposureTimes[0];
            if (change != 0) {
                turns += direction != 0 && (change > 0) != (direction > 0) ? 1 : 0;
                direction = change;
            }
        }
        EXPECT_LE(turns, 1) << "from frame " << begin;
    }
}

TEST(ExposureLoop, WithOneExposureFollowsASceneFromBrightToDarkAndBack) {
    const auto frames = follow(brightDarkBright(6.0, 0.3, {1000}), 3 * framesOfAStretch);
    expectSettled(frames);
    expectNoOscillation(frames);
    const auto settledAt = [&](std::uint32_t stretch) {
        return frames[stretch * framesOfAStretch + framesToSettle].exposureTimes[0];
    };
    EXPECT_LT(settledAt(0), settledAt(1));
    EXPECT_EQ(settledAt(0), settledAt(2));
    // A scene that was too dark for the times is measured better with the proposed ones.
    EXPECT_GT(frames[framesOfAStretch + framesToSettle].medianAmplitude.value(),
              2.0 * frames[framesOfAStretch].medianAmplitude.value());
    // Frames that are too bright for their times are recognised as such.
    EXPECT_GT(frames[2 * framesOfAStretch].saturatedPixels, static_cast<std::size_t>(saturatedAllowed));
}

TEST(ExposureLoop, WithTwoExposuresFollowsASceneFromBrightToDarkAndBack) {
    const auto frames = follow(brightDarkBright(6.0, 0.02, {400, 1600}), 3 * framesOfAStretch);
    expectSettled(frames);
    expectNoOscillation(frames);
    for (const ExposedFrame& frame : frames) {
        ASSERT_EQ(frame.exposureTimes.size(), 2U);
        EXPECT_LT(frame.exposureTimes[0], frame.exposureTimes[1]);
    }
    const auto& bright = frames[framesToSettle].exposureTimes;
    const auto& dark = frames[framesOfAStretch + framesToSettle].exposureTimes;
    const auto& back = frames[2 * framesOfAStretch + framesToSettle].exposureTimes;
    EXPECT_NE(bright, dark);
    EXPECT_EQ(bright, back);
}

TEST(ExposureLoop, ASceneThatIsAsItShouldBeKeepsItsTimes) {
    const auto first = follow(brightDarkBright(1.0, 1.0, {1000}), framesOfAStretch);
    const auto again = follow(brightDarkBright(1.0, 1.0, first.back().proposedTimes), framesOfAStretch);
    for (const ExposedFrame& frame : again) {
        EXPECT_EQ(frame.proposedTimes, frame.exposureTimes);
    }
}

TEST(ExposureLoop, ProposalsKeepToTheLongestExposure) {
    for (const ExposedFrame& frame : follow(brightDarkBright(0.02, 0.02, {400}), 6, 700)) {
        EXPECT_LE(frame.proposedTimes[0], 700);
        EXPECT_EQ(frame.proposedTimes[0] % 50, 0);
    }
}

}  // namespace
}  // namespace qor
