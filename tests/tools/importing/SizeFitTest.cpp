// SPDX-License-Identifier: Apache-2.0

#include "importing/SizeFit.h"

#include <gtest/gtest.h>

#include <numeric>

#include "importing/ImportError.h"
#include "simulation/Image.h"

namespace {

using importing::FitKind;
using importing::ImportError;
using importing::SizeFit;

constexpr double nothing = -7.0;

// Every sample is its own column + 1000 * row.
std::vector<double> places(std::size_t width, std::size_t height) {
    std::vector<double> picture;
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            picture.push_back(static_cast<double>(x) + 1000.0 * static_cast<double>(y));
        }
    }
    return picture;
}

std::vector<double> fitted(FitKind kind, std::size_t width, std::size_t height) {
    return SizeFit(kind, width, height).fit(places(width, height), nothing, -1.0e9, 1.0e9);
}

TEST(SizeFit, OwnSizeIsACopyWithEveryKind) {
    for (const char* name : {"crop", "pad", "area", "nearest", "crop-area", "crop-nearest"}) {
        const auto kind = importing::readFitKind(name);
        ASSERT_TRUE(kind) << name;
        EXPECT_EQ(importing::nameOf(*kind), name);
        EXPECT_EQ(fitted(*kind, 224, 172), places(224, 172)) << name;
    }
    EXPECT_FALSE(importing::readFitKind("stretch"));
}

TEST(SizeFit, CropTakesTheMiddle) {
    const std::vector<double> image = fitted(FitKind::Crop, 228, 182);
    EXPECT_EQ(image.front(), 2.0 + 1000.0 * 5.0);
    EXPECT_EQ(image.back(), 225.0 + 1000.0 * 176.0);
}

TEST(SizeFit, PadLeavesPixelsWithoutAMeasurementAround) {
    const SizeFit fit(FitKind::Pad, 160, 60);
    EXPECT_EQ(fit.emptyPixels(), simulation::pixelCount - 160U * 60U);
    const std::vector<double> image = fit.fit(places(160, 60), nothing, -1.0e9, 1.0e9);
    EXPECT_EQ(image[0], nothing);
    EXPECT_EQ(image[56 * 224 + 32], 0.0);  // (224 - 160) / 2 and (172 - 60) / 2
    EXPECT_EQ(image[56 * 224 + 31], nothing);
    EXPECT_TRUE(fit.isEmpty(56 * 224 + 31));
    EXPECT_FALSE(fit.isEmpty(56 * 224 + 32));
    EXPECT_EQ(image[115 * 224 + 191], 159.0 + 1000.0 * 59.0);
    EXPECT_EQ(image[116 * 224 + 191], nothing);
}

TEST(SizeFit, AreaIsTheMeanOfWhatAPixelCovers) {
    // Two by two: the mean of columns 0 and 1 and of rows 0 and 1.
    EXPECT_EQ(fitted(FitKind::Area, 448, 344)[0], 0.5 + 1000.0 * 0.5);
    EXPECT_DOUBLE_EQ(SizeFit(FitKind::Area, 448, 344).samplesPerPixel(), 4.0);
    // One and a half: all of column 0 and half of column 1.
    EXPECT_NEAR(fitted(FitKind::Area, 336, 172)[0], (0.0 * 1.0 + 1.0 * 0.5) / 1.5, 1.0e-12);
}

TEST(SizeFit, AreaKeepsTheSumOfAnEvenPicture) {
    const SizeFit fit(FitKind::CropArea, 640, 480);
    const std::vector<double> even(640U * 480U, 2048.0);
    for (const double value : fit.fit(even, nothing, 0.0, 4095.0)) {
        ASSERT_NEAR(value, 2048.0, 1.0e-9);
    }
}

TEST(SizeFit, ASaturatedSampleMakesItsPixelSaturated) {
    std::vector<double> picture(448U * 344U, 2000.0);
    picture[1] = 4095.0;
    picture[448 * 2 + 5] = 0.0;
    const std::vector<double> image = SizeFit(FitKind::Area, 448, 344).fit(picture, nothing, 0.0, 4095.0);
    EXPECT_EQ(image[0], 4095.0);
    EXPECT_EQ(image[224 + 2], 0.0);
    EXPECT_EQ(image[1], 2000.0);
}

TEST(SizeFit, NearestTakesTheSampleInTheMiddle) {
    const std::vector<double> image = fitted(FitKind::Nearest, 672, 516);
    EXPECT_EQ(image[0], 1.0 + 1000.0);
    EXPECT_EQ(image[225], 4.0 + 1000.0 * 4.0);
}

TEST(SizeFit, CropNearestKeepsTheProportions) {
    // 640 x 480 is wider than 224 x 172: all rows, 625.1 of the columns from 7.44 on.
    const double step = 480.0 / 172.0;
    const double begin = (640.0 - 224.0 * step) / 2.0;
    const std::vector<double> image = fitted(FitKind::CropNearest, 640, 480);
    EXPECT_EQ(image[0], std::floor(begin + 0.5 * step) + 1000.0 * std::floor(0.5 * step));
    EXPECT_EQ(image.back(), std::floor(begin + 223.5 * step) + 1000.0 * std::floor(171.5 * step));
}

TEST(SizeFit, IntrinsicsFollowThePixels) {
    simulation::Lens lens;
    lens.fx = 600.0;
    lens.fy = 590.0;
    lens.mx = 320.0;
    lens.my = 240.0;
    const double step = 480.0 / 172.0;
    const simulation::Lens small = SizeFit(FitKind::CropArea, 640, 480).fit(lens);
    EXPECT_DOUBLE_EQ(small.fx, 600.0 / step);
    EXPECT_DOUBLE_EQ(small.fy, 590.0 / step);
    EXPECT_DOUBLE_EQ(small.mx, 112.0);  // the middle stays the middle
    EXPECT_DOUBLE_EQ(small.my, 86.0);
    const simulation::Lens padded = SizeFit(FitKind::Pad, 160, 60).fit(lens);
    EXPECT_DOUBLE_EQ(padded.fx, 600.0);
    EXPECT_DOUBLE_EQ(padded.mx, 320.0 + 32.0);
}

TEST(SizeFit, SizesThatAKindCannotServeAreRefused) {
    EXPECT_THROW(SizeFit(FitKind::Crop, 223, 172), ImportError);
    EXPECT_THROW(SizeFit(FitKind::Crop, 224, 171), ImportError);
    EXPECT_THROW(SizeFit(FitKind::Pad, 225, 172), ImportError);
    EXPECT_THROW(SizeFit(FitKind::Pad, 224, 173), ImportError);
}

TEST(SizeFit, APictureOfOnePixelFillsTheImager) {
    EXPECT_EQ(SizeFit(FitKind::Nearest, 1, 1).fit(std::vector<double>{5.0}, nothing, 0.0, 10.0),
              std::vector<double>(simulation::pixelCount, 5.0));
    for (const double value :
         SizeFit(FitKind::Area, 1, 1).fit(std::vector<double>{5.0}, nothing, 0.0, 10.0)) {
        ASSERT_NEAR(value, 5.0, 1.0e-9);
    }
}

}  // namespace
