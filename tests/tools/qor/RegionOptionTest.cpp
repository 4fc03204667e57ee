// SPDX-License-Identifier: Apache-2.0

#include "qor/RegionOption.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "figures/Region.h"
#include "imaging/Png.h"
#include "tools/TestFolder.h"

namespace qor {
namespace {

TEST(RegionOption, NamesARectangleOrAPolygon) {
    const Region region = readRegion("wall-1=rect:10,20,30,40");
    EXPECT_EQ(region.name, "wall-1");
    EXPECT_EQ(region.mask, figures::rectangle(10, 20, 30, 40));
    const std::array<figures::Point, 3> corners{figures::Point{0, 0}, figures::Point{50.5, 0},
                                                figures::Point{50, 40}};
    EXPECT_EQ(readRegion("a=polygon:0,0,50.5,0,50,40").mask, figures::polygon(corners));
}

TEST(RegionOption, WhatIsNoRegionIsRefused) {
    for (const char* text :
         {"", "wall", "wall=", "=rect:1,2,3,4", "wall=rect:1,2,3", "wall=rect:1,2,3,4,5", "wall=rect:1,2,x,4",
          "wall=rect:1,2,nan,4", "wall=polygon:0,0,1,1", "wall=polygon:0,0,9,0,9,9,0", "wall=disc:3,4,5",
          "my wall=rect:1,2,3,4", "a.b=rect:1,2,3,4", "wall=mask:"}) {
        EXPECT_THROW(readRegion(text), RegionError) << text;
    }
}

TEST(RegionOption, ARegionWithoutAPixelIsRefused) {
    EXPECT_THROW(readRegion("wall=rect:300,20,30,40"), RegionError);
}

TEST(RegionOption, AMaskHoldsThePixelsAboveZeroOfAPictureOfTheSizeOfTheImager) {
    const TestFolder folder;
    std::vector<std::uint16_t> image(224 * 172, 0);
    image[5] = 1;
    image[300] = 65535;
    const std::string file = (folder.path() / "mask.png").string();
    imaging::writePng16(file, image, 224, 172);
    figures::Mask mask(224 * 172, 0);
    mask[5] = mask[300] = 1;
    EXPECT_EQ(readRegion("target=mask:" + file).mask, mask);

    imaging::writePng16(file, image, 172, 224);
    EXPECT_THROW(readRegion("target=mask:" + file), RegionError);
    EXPECT_THROW(readRegion("target=mask:" + file + ".png"), RegionError);
}

}  // namespace
}  // namespace qor
