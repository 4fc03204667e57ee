// SPDX-License-Identifier: Apache-2.0
//
// A lens that scatters as the algorithm's own point spread function says, a bright box close to the camera,
// and what is left of the distance error on the dark wall behind it.

#include "simulation/Straylight.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "simulation/Image.h"
#include "tools/Rig.h"

namespace qor {
namespace {

// The correction sees the image at an eighth of its resolution; so near to the border of the box it cannot
// tell the box's own light from what it scatters.
constexpr int nearTheBox = 24;  // pixels

simulation::CameraSettings glare() {
    simulation::CameraSettings settings;
    settings.scene = simulation::sceneNamed("glare");
    settings.exposureTimes = {60, 3000};
    settings.photonNoise = false;
    settings.straylight =
        std::make_shared<const simulation::Straylight>(simulation::readPointSpread(QOR_POINT_SPREAD));
    return settings;
}

std::vector<std::uint8_t> wallOf(const simulation::Truth& truth) {
    std::vector<std::uint8_t> wall(simulation::pixelCount, 1);
    for (int y = 0; y < simulation::imageHeight; ++y) {
        for (int x = 0; x < simulation::imageWidth; ++x) {
            if (truth.Z[static_cast<std::size_t>(y) * simulation::imageWidth + static_cast<std::size_t>(x)] >
                1.0) {
                continue;
            }
            for (int v = std::max(0, y - nearTheBox);
                 v <= std::min(simulation::imageHeight - 1, y + nearTheBox); ++v) {
                const auto line = static_cast<std::size_t>(v) * simulation::imageWidth;
                const auto from = static_cast<std::size_t>(std::max(0, x - nearTheBox));
                const auto to =
                    static_cast<std::size_t>(std::min(simulation::imageWidth - 1, x + nearTheBox));
                std::fill(wall.begin() + static_cast<std::ptrdiff_t>(line + from),
                          wall.begin() + static_cast<std::ptrdiff_t>(line + to + 1), std::uint8_t{0});
            }
        }
    }
    return wall;
}

struct WallError {
    std::size_t pixels = 0;
    double meanAbsolute = 0.0;  // metres
};

WallError errorOfWall(bool corrected) {
    Rig rig(glare(), [corrected](recording::ProcessingSettings& processing) {
        processing.straylightCorrection = corrected;
    });
    const simulation::Frame frame = rig.nextFrame();
    for (std::size_t image = 0; image < frame.images.size(); ++image) {
        rig.process(frame, image);
    }
    const std::vector<std::uint8_t> wall = wallOf(*frame.truth);
    WallError error;
    for (std::size_t i = 0; i < simulation::pixelCount; ++i) {
        if (wall[i] != 0 && frame.truth->badPixel[i] == 0 && (rig.last()->confidence[i] & invalidBit) == 0) {
            ++error.pixels;
            error.meanAbsolute +=
                std::abs(static_cast<double>(rig.last()->distance[i]) - frame.truth->distance[i]);
        }
    }
    error.meanAbsolute /= static_cast<double>(error.pixels);
    return error;
}

TEST(Straylight, TheCorrectionRemovesNineTenthsOfTheErrorOnADarkWall) {
    const WallError without = errorOfWall(false);
    const WallError with = errorOfWall(true);
    EXPECT_GT(without.pixels, 15000U);
    EXPECT_EQ(with.pixels, without.pixels);
    EXPECT_GT(without.meanAbsolute, 0.01);
    EXPECT_LE(with.meanAbsolute, 0.1 * without.meanAbsolute)
        << without.meanAbsolute << " " << with.meanAbsolute;
}

}  // namespace
}  // namespace qor
