// SPDX-License-Identifier: Apache-2.0

#include "exporting/Channel.h"

#include <gtest/gtest.h>

#include <numeric>

namespace exporting {
namespace {

Channel channelOf(std::vector<std::size_t> shape) {
    std::vector<std::uint16_t> numbers(arrays::countOf(shape));
    std::iota(numbers.begin(), numbers.end(), std::uint16_t{0});
    return {"c", "counts", arrayOf(std::span<const std::uint16_t>(numbers), std::move(shape))};
}

TEST(PicturesOf, TwoDimensionsAreOnePicture) {
    const std::vector<Picture> pictures = picturesOf(channelOf({2, 3}));
    ASSERT_EQ(pictures.size(), 1U);
    EXPECT_EQ(pictures[0].name, "c");
    EXPECT_EQ(pictures[0].unit, "counts");
    EXPECT_EQ(pictures[0].height, 2U);
    EXPECT_EQ(pictures[0].width, 3U);
    EXPECT_EQ(pictures[0].values, (std::vector<double>{0, 1, 2, 3, 4, 5}));
}

TEST(PicturesOf, ThreeDimensionsAreAsManyAsTheFirstWithTheirNumbers) {
    const std::vector<Picture> pictures = picturesOf(channelOf({2, 1, 3}));
    ASSERT_EQ(pictures.size(), 2U);
    EXPECT_EQ(pictures[0].name, "c0");
    EXPECT_EQ(pictures[1].name, "c1");
    EXPECT_EQ(pictures[1].values, (std::vector<double>{3, 4, 5}));
}

TEST(PicturesOf, OneDimensionIsAPictureIfItHasThePixelsOfTheImager) {
    const std::vector<Picture> pictures = picturesOf(channelOf({38528}));
    ASSERT_EQ(pictures.size(), 1U);
    EXPECT_EQ(pictures[0].height, 172U);
    EXPECT_EQ(pictures[0].width, 224U);
}

TEST(PicturesOf, OtherShapesAreRefused) {
    for (const std::vector<std::size_t>& shape : std::vector<std::vector<std::size_t>>{
             {}, {38527}, {0, 3}, {1, 32769}, {32769, 1}, {1, 1, 1, 1}, {0, 2, 2}}) {
        EXPECT_THROW(picturesOf(channelOf(shape)), ExportError) << arrays::shapeText(shape);
    }
}

TEST(ArrayOf, KeepsTheTypeOfTheNumbers) {
    const std::vector<signed char> small{-1};
    const std::vector<double> large{0.5};
    EXPECT_EQ(arrays::nameOf(arrayOf(std::span<const signed char>(small), {1}).type), "int8");
    EXPECT_EQ(arrays::nameOf(arrayOf(std::span<const double>(large), {}).type), "float64");
    EXPECT_EQ(arrays::numbersOf(arrayOf(std::span<const signed char>(small), {1}))[0], -1.0);
}

}  // namespace
}  // namespace exporting
