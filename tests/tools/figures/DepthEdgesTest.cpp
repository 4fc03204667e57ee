// SPDX-License-Identifier: Apache-2.0

#include "figures/DepthEdges.h"

#include <gtest/gtest.h>

#include <vector>

#include "tools/figures/Images.h"

namespace figures {
namespace {

constexpr std::size_t width = simulation::imageWidth;

// Every row is these distances, and after them the last of them.
Images rowsOf(const std::vector<float>& distances) {
    Images images(1.0F);
    for (std::size_t i = 0; i < images.distance.size(); ++i) {
        images.distance[i] = distances[std::min(i % width, distances.size() - 1)];
    }
    return images;
}

// The first rows only, so that few edges are to be counted; below, the image is not usable.
DepthEdges edgesOf(const Images& images, std::size_t rows = 1) {
    Mask mask(images.distance.size(), 0);
    std::fill(mask.begin(), mask.begin() + static_cast<std::ptrdiff_t>(rows * width), 1);
    DepthEdges edges;
    edges.add(images.view(), mask);
    return edges;
}

// From 10 to 90 percent of a step from one pixel to the next there are 0.8 pixels.
TEST(DepthEdges, AStepFromPixelToPixelIsFourFifthsOfAPixelWideAndNothingFlies) {
    const DepthEdges edges = edgesOf(rowsOf({1.0F, 1.0F, 1.0F, 2.0F, 2.0F}));
    EXPECT_EQ(edges.edges(), 1U);
    EXPECT_NEAR(edges.medianWidth().value(), 0.8, 1e-6);
    EXPECT_EQ(edges.flyingPixels(), 0U);
}

// Over 1, 1.5, 2: 10 percent at 0.2, 90 percent at 1.8 pixels.
TEST(DepthEdges, APixelHalfWayFliesAndMakesTheEdgeWider) {
    const DepthEdges edges = edgesOf(rowsOf({1.0F, 1.0F, 1.5F, 2.0F, 2.0F}));
    EXPECT_EQ(edges.edges(), 1U);
    EXPECT_NEAR(edges.medianWidth().value(), 1.6, 1e-6);
    EXPECT_EQ(edges.flyingPixels(), 1U);
    EXPECT_DOUBLE_EQ(edges.flyingShare().value(), 1.0 / static_cast<double>(width));
}

TEST(DepthEdges, GoTowardsTheCameraAsWell) {
    const DepthEdges edges = edgesOf(rowsOf({3.0F, 3.0F, 2.0F, 1.25F, 1.0F, 1.0F}));
    EXPECT_EQ(edges.edges(), 1U);
    EXPECT_EQ(edges.flyingPixels(), 2U);
}

// 1.1 lies 10 percent from the foreground, which is not more than 10 percent.
TEST(DepthEdges, APixelNearForegroundOrBackgroundDoesNotFly) {
    EXPECT_EQ(edgesOf(rowsOf({1.0F, 1.0F, 1.09F, 2.0F, 2.0F})).flyingPixels(), 0U);
    EXPECT_EQ(edgesOf(rowsOf({1.0F, 1.0F, 1.11F, 2.0F, 2.0F})).flyingPixels(), 1U);
    EXPECT_EQ(edgesOf(rowsOf({1.0F, 1.0F, 1.89F, 2.0F, 2.0F})).flyingPixels(), 1U);
    EXPECT_EQ(edgesOf(rowsOf({1.0F, 1.0F, 1.91F, 2.0F, 2.0F})).flyingPixels(), 0U);
}

TEST(DepthEdges, AStepBelowTenCentimetresIsNone) {
    EXPECT_EQ(edgesOf(rowsOf({1.0F, 1.0F, 1.09F, 1.09F})).edges(), 0U);
    EXPECT_EQ(edgesOf(rowsOf({1.0F, 1.0F, 1.11F, 1.11F})).edges(), 1U);
}

TEST(DepthEdges, ASlopeIsNoneHoweverSteep) {
    std::vector<float> slope;
    for (std::size_t k = 0; k < width; ++k) {
        slope.push_back(1.0F + 0.5F * static_cast<float>(k));
    }
    EXPECT_EQ(edgesOf(rowsOf(slope)).edges(), 0U);
}

TEST(DepthEdges, WhatTurnsBackIsNone) {
    EXPECT_EQ(edgesOf(rowsOf({1.0F, 1.0F, 1.5F, 1.4F, 2.0F, 2.0F})).edges(), 0U);
}

TEST(DepthEdges, AWayOfMoreThanFivePixelsIsNone) {
    EXPECT_EQ(edgesOf(rowsOf({1.0F, 1.0F, 1.2F, 1.4F, 1.6F, 1.8F, 2.0F, 2.0F})).edges(), 1U);
    EXPECT_EQ(edgesOf(rowsOf({1.0F, 1.0F, 1.17F, 1.34F, 1.51F, 1.68F, 1.85F, 2.02F, 2.02F})).edges(), 0U);
}

TEST(DepthEdges, APixelThatIsNotUsableHidesTheEdge) {
    Images images = rowsOf({1.0F, 1.0F, 1.5F, 2.0F, 2.0F});
    images.confidence[2] |= invalidBit;
    const DepthEdges edges = edgesOf(images);
    EXPECT_EQ(edges.edges(), 0U);
    EXPECT_EQ(edges.medianWidth(), std::nullopt);
}

TEST(DepthEdges, TwoStepsInARowAreTwo) {
    EXPECT_EQ(edgesOf(rowsOf({1.0F, 1.0F, 2.0F, 2.0F, 3.0F, 3.0F})).edges(), 2U);
}

// One pixel stands between foreground and background in its row and in its column.
TEST(DepthEdges, APixelThatFliesInARowAndAColumnCountsOnce) {
    Images images(2.0F);
    for (std::size_t row = 0; row < 10; ++row) {
        for (std::size_t column = 0; column < 10; ++column) {
            images.distance[row * width + column] = row == 9 && column == 9 ? 1.5F : 1.0F;
        }
    }
    for (std::size_t k = 0; k < 9; ++k) {
        images.distance[9 * width + k] = images.distance[k * width + 9] = 1.0F;
    }
    // The corner ends in the background to its right and below.
    DepthEdges edges;
    edges.add(images.view());
    EXPECT_EQ(edges.flyingPixels(), 1U);
    EXPECT_EQ(edges.edges(), 20U);
}

TEST(DepthEdges, OfNoUsablePixelThereIsNoShare) {
    EXPECT_EQ(DepthEdges().flyingShare(), std::nullopt);
    EXPECT_EQ(DepthEdges().medianWidth(), std::nullopt);
    EXPECT_EQ(edgesOf(Images(0.0F)).flyingShare(), std::nullopt);
}

}  // namespace
}  // namespace figures
