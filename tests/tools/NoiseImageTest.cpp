// SPDX-License-Identifier: Apache-2.0
//
// The noise that a frame states, compared with how its distances vary from frame to frame. The simulated
// sensor's photon noise follows the model whose parameters the algorithm has.

#include <gtest/gtest.h>

#include "figures/TemporalNoise.h"
#include "tools/Rig.h"

namespace qor {
namespace {

figures::TemporalNoiseSummary noiseOver(int frames, const simulation::CameraSettings& settings) {
    Rig rig(settings);
    figures::TemporalNoise noise;
    for (int k = 0; k < frames; ++k) {
        const simulation::Frame frame = rig.nextFrame();
        for (std::size_t image = 0; image < frame.images.size(); ++image) {
            if (rig.process(frame, image)) {
                noise.add(viewOf(*rig.last()));
            }
        }
    }
    return noise.summary();
}

simulation::CameraSettings room() {
    simulation::CameraSettings settings;
    settings.scene = simulation::sceneNamed("room");
    settings.intensityImage = true;
    return settings;
}

TEST(NoiseImage, AgreesWithTheDeviationOverTwoHundredFrames) {
    simulation::CameraSettings settings = room();
    settings.ambient = 5.0;
    const figures::TemporalNoiseSummary noise = noiseOver(200, settings);
    EXPECT_EQ(noise.frames, 200U);
    EXPECT_GT(noise.pixels, 35000U);
    EXPECT_GE(noise.medianRatio.value(), 0.95);
    EXPECT_LE(noise.medianRatio.value(), 1.05);
}

// With two frequencies the distance is the mean of both. The model uses the amplitude of the last frequency
// for both, so it agrees less closely.
TEST(NoiseImage, OfTwoFrequenciesIsThatOfTheirMean) {
    simulation::CameraSettings settings = room();
    settings.frequencies = {60.0e6, 80.0e6};
    const figures::TemporalNoiseSummary noise = noiseOver(60, settings);
    EXPECT_GT(noise.pixels, 20000U);
    EXPECT_GE(noise.medianRatio.value(), 0.8);
    EXPECT_LE(noise.medianRatio.value(), 1.2);
}

// Ambient light adds shot noise, and only the intensity image shows it.
TEST(NoiseImage, RisesWithTheAmbientLight) {
    simulation::CameraSettings settings = room();
    const figures::TemporalNoiseSummary dark = noiseOver(20, settings);
    settings.ambient = 40.0;
    const figures::TemporalNoiseSummary bright = noiseOver(20, settings);
    EXPECT_GT(bright.delivered.value(), 1.2 * dark.delivered.value());
    EXPECT_GE(bright.medianRatio.value(), 0.9);
    EXPECT_LE(bright.medianRatio.value(), 1.1);
}

TEST(NoiseImage, IsNotDeliveredWithoutAnIntensityImage) {
    simulation::CameraSettings settings = room();
    settings.intensityImage = false;
    EXPECT_EQ(noiseOver(2, settings).medianRatio, std::nullopt);
}

}  // namespace
}  // namespace qor
