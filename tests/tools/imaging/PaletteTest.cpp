// SPDX-License-Identifier: Apache-2.0

#include "imaging/Palette.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/Random.h"

namespace imaging {
namespace {

class OfEachMap : public testing::TestWithParam<ColorMap> {};

TEST_P(OfEachMap, ThePaletteHasTheColoursOfTheMap) {
    testing_support::Random random(3);
    SCOPED_TRACE(random.seedText());
    const Palette palette(GetParam());
    for (int k = 0; k < 200000; ++k) {
        const double position = random.integer(-100000, 1100000) / 1e6 + random.integer(0, 999) / 1e9;
        ASSERT_EQ(palette.at(position), colorAt(GetParam(), position)) << position;
    }
}

TEST_P(OfEachMap, ThePaletteHasTheColoursOfTheMapAtEndsOfCellsAndBesideThem) {
    const Palette palette(GetParam());
    for (int k = 0; k <= 8192; ++k) {
        const double end = k / 8192.0;
        for (const double position : {std::nextafter(end, -1.0), end, std::nextafter(end, 2.0)}) {
            ASSERT_EQ(palette.at(position), colorAt(GetParam(), position)) << k;
        }
    }
}

TEST_P(OfEachMap, BeyondItsEndsThePaletteIsAsTheMap) {
    const Palette palette(GetParam());
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double position : {-infinity, -1.0, -0.0, 0.0, 1.0, 2.0, infinity, std::nan("")}) {
        EXPECT_EQ(palette.at(position), colorAt(GetParam(), position)) << position;
    }
}

INSTANTIATE_TEST_SUITE_P(Palette, OfEachMap,
                         testing::Values(ColorMap::Turbo, ColorMap::Viridis, ColorMap::Cividis,
                                         ColorMap::BlueWhiteRed, ColorMap::Grey));

}  // namespace
}  // namespace imaging
