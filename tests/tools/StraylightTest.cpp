// SPDX-License-Identifier: Apache-2.0
//
// A lens that scatters as the algorithm's own point spread function says, a bright box close to the camera,
// and what is left of the distance error on the dark wall behind it.

#include "simulation/Straylight.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <vector>

#include "simulation/Image.h"
#include "tools/Rig.h"

namespace qor {
namespace {

// A grid of values, row by row.
struct Grid {
    int width = 0;
    int height = 0;
    std::vector<double> values;

    double& at(int x, int y) { return values.at(static_cast<std::size_t>(y * width + x)); }
    double at(int x, int y) const { return values.at(static_cast<std::size_t>(y * width + x)); }
};

// Half the resolution; each value gathers (1, 2, 1) x (1, 2, 1) / 4, so that the sum stays.
Grid halved(const Grid& grid) {
    Grid half{(grid.width + 1) / 2, (grid.height + 1) / 2, {}};
    half.values.resize(static_cast<std::size_t>(half.width * half.height));
    for (int y = 0; y < half.height; ++y) {
        for (int x = 0; x < half.width; ++x) {
            for (int v = -1; v <= 1; ++v) {
                for (int u = -1; u <= 1; ++u) {
                    const int column = std::clamp(2 * x + u, 0, grid.width - 1);
                    const int row = std::clamp(2 * y + v, 0, grid.height - 1);
                    half.at(x, y) += (2 - std::abs(u)) * (2 - std::abs(v)) / 4.0 * grid.at(column, row);
                }
            }
        }
    }
    return half;
}

// Adds a value of a grid of an eighth of the resolution to the pixels around its place, `left` and `top`,
// weighted as the bilinear interpolation between the values does.
void spread(double value, int left, int top, Grid& grid) {
    for (int v = -7; v <= 7; ++v) {
        for (int u = -7; u <= 7; ++u) {
            const int x = left + u;
            const int y = top + v;
            if (x >= 0 && x < grid.width && y >= 0 && y < grid.height) {
                grid.at(x, y) += value * (8 - std::abs(u)) * (8 - std::abs(v)) / 64.0;
            }
        }
    }
}

double sumOf(const Grid& grid) {
    return std::accumulate(grid.values.begin(), grid.values.end(), 0.0);
}

// The scattered light as the correction assumes it: at an eighth of the resolution, without the values that
// hold the point itself. The point keeps the rest of the light.
simulation::PointSpread asTheCorrectionSeesIt(const simulation::PointSpread& pointSpread) {
    constexpr double directLight = 0.25;  // values above it are the point itself
    Grid grid{simulation::PointSpread::width, simulation::PointSpread::height, pointSpread.values};
    const double light = sumOf(grid);
    const Grid reduced = halved(halved(halved(grid)));
    std::fill(grid.values.begin(), grid.values.end(), 0.0);
    for (int y = 0; y < reduced.height; ++y) {
        for (int x = 0; x < reduced.width; ++x) {
            if (reduced.at(x, y) <= directLight) {
                spread(reduced.at(x, y) / 64.0, simulation::imageWidth + 8 * (x - reduced.width / 2),
                       simulation::imageHeight + 8 * (y - reduced.height / 2), grid);
            }
        }
    }
    double& point = grid.at(simulation::imageWidth, simulation::imageHeight);
    point = 0.0;
    point = light - sumOf(grid);
    return {grid.values};
}

using Lens = std::shared_ptr<const simulation::Straylight>;

simulation::CameraSettings glare(const Lens& lens) {
    simulation::CameraSettings settings;
    settings.scene = simulation::sceneNamed("glare");
    settings.exposureTimes = {60, 3000};
    settings.photonNoise = false;
    settings.straylight = lens;
    return settings;
}

// The pixels of the wall that are more than `margin` pixels away from the box.
std::vector<std::uint8_t> wallOf(const simulation::Truth& truth, int margin) {
    std::vector<std::uint8_t> wall(simulation::pixelCount, 1);
    for (int y = 0; y < simulation::imageHeight; ++y) {
        for (int x = 0; x < simulation::imageWidth; ++x) {
            if (truth.Z[static_cast<std::size_t>(y) * simulation::imageWidth + static_cast<std::size_t>(x)] >
                1.0) {
                continue;
            }
            for (int v = std::max(0, y - margin); v <= std::min(simulation::imageHeight - 1, y + margin);
                 ++v) {
                const auto line = static_cast<std::size_t>(v) * simulation::imageWidth;
                const auto from = static_cast<std::size_t>(std::max(0, x - margin));
                const auto to = static_cast<std::size_t>(std::min(simulation::imageWidth - 1, x + margin));
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

WallError errorOfWall(const Lens& lens, int margin, bool corrected) {
    Rig rig(glare(lens), [corrected](recording::ProcessingSettings& processing) {
        processing.straylightCorrection = corrected;
    });
    const simulation::Frame frame = rig.nextFrame();
    for (std::size_t image = 0; image < frame.images.size(); ++image) {
        rig.process(frame, image);
    }
    const std::vector<std::uint8_t> wall = wallOf(*frame.truth, margin);
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

void expectNineTenthsRemoved(const Lens& lens, int margin, std::size_t leastPixels) {
    const WallError without = errorOfWall(lens, margin, false);
    const WallError with = errorOfWall(lens, margin, true);
    EXPECT_GT(without.pixels, leastPixels);
    EXPECT_EQ(with.pixels, without.pixels);
    EXPECT_GT(without.meanAbsolute, 0.01);
    EXPECT_LE(with.meanAbsolute, 0.1 * without.meanAbsolute)
        << without.meanAbsolute << " " << with.meanAbsolute;
}

TEST(Straylight, TheCorrectionRemovesNineTenthsOfTheErrorOnADarkWall) {
    const simulation::PointSpread scattered =
        asTheCorrectionSeesIt(simulation::readPointSpread(QOR_POINT_SPREAD));
    expectNineTenthsRemoved(std::make_shared<simulation::Straylight>(scattered, 1.609766, 0), 1, 28000);
}

// A lens that scatters at full resolution. Near the border of the box the correction cannot tell the box's
// own light, which the reduction spreads, from the light that it scatters.
TEST(Straylight, OfAnyResolutionIsRemovedAwayFromTheBox) {
    const simulation::PointSpread lens = simulation::readPointSpread(QOR_POINT_SPREAD);
    expectNineTenthsRemoved(std::make_shared<simulation::Straylight>(lens), 24, 15000);
}

}  // namespace
}  // namespace qor
