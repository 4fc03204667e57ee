// SPDX-License-Identifier: Apache-2.0

#include "importing/ReferenceFit.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <cmath>
#include <numbers>

#include "importing/ImportError.h"
#include "tools/importing/Stacks.h"

namespace {

using importing::fitReference;
using importing::ImportError;
using importing::PhaseImages;
using importing::PhaseOrder;
using importing::Reference;
using importing::ReferenceFit;
using std::numbers::pi;

constexpr std::size_t width = 60;
constexpr std::size_t height = 10;

PhaseImages imagesOf(double frequency, const stacks::Signal& signal) {
    const std::vector<double> all = stacks::phases(frequency, width, height, signal);
    PhaseImages images{frequency, {}};
    for (std::size_t k = 0; k < 4; ++k) {
        images.images[k].assign(all.begin() + static_cast<std::ptrdiff_t>(k * width * height),
                                all.begin() + static_cast<std::ptrdiff_t>((k + 1) * width * height));
    }
    return images;
}

Reference slope() {
    Reference reference;
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            reference.distance.push_back(static_cast<float>(stacks::distanceAt(x, width)));
        }
    }
    return reference;
}

TEST(ReferenceFit, FindsOffsetAndResidualOfAPlainCapture) {
    stacks::Signal signal;
    signal.offset = 0.7;
    const ReferenceFit fit = fitReference({imagesOf(60.0e6, signal)}, slope(), PhaseOrder{});
    EXPECT_FALSE(fit.isReversed);
    EXPECT_EQ(fit.pixels, width * height);
    ASSERT_EQ(fit.frequencies.size(), 1U);
    EXPECT_NEAR(fit.frequencies[0].right.offset, 0.7, 1.0e-3);
    EXPECT_GT(fit.frequencies[0].right.coherence, 0.999);
    EXPECT_LT(fit.frequencies[0].right.residual, 0.001);
    EXPECT_FALSE(fit.frequencies[0].betterFrequency);
    EXPECT_TRUE(fit.standsOut());
    EXPECT_FALSE(fit.isHalfATurnOff());
}

TEST(ReferenceFit, SeesThatThePhaseTurnsTheOtherWay) {
    stacks::Signal signal;
    signal.sign = -1.0;
    const ReferenceFit fit = fitReference({imagesOf(60.0e6, signal)}, slope(), PhaseOrder{});
    EXPECT_TRUE(fit.isReversed);
    EXPECT_TRUE(fit.standsOut());
}

TEST(ReferenceFit, SeesHalfATurnInAGivenOrder) {
    stacks::Signal signal;
    signal.degrees = {180, 270, 0, 90};
    const ReferenceFit fit = fitReference({imagesOf(60.0e6, signal)}, slope(), PhaseOrder{});
    EXPECT_NEAR(std::abs(fit.frequencies[0].right.offset), pi, 1.0e-3);
    EXPECT_TRUE(fit.isHalfATurnOff());
}

// Each order of the four images; a phase without an offset leaves no other start of the turn.
TEST(ReferenceFit, FindsTheOrderOfTheImages) {
    std::vector<int> degrees{0, 90, 180, 270};
    do {
        stacks::Signal signal;
        signal.degrees = degrees;
        const ReferenceFit fit = fitReference({imagesOf(60.0e6, signal)}, slope(), std::nullopt);
        EXPECT_FALSE(fit.isReversed);
        EXPECT_TRUE(fit.standsOut());
        for (std::size_t phase = 0; phase < 4; ++phase) {
            EXPECT_EQ(degrees[fit.order.places[phase]], 90 * static_cast<int>(phase));
        }
    } while (std::next_permutation(degrees.begin(), degrees.end()));
}

TEST(ReferenceFit, TellsAFrequencyThatFitsBetter) {
    PhaseImages images = imagesOf(80.0e6, {});
    images.frequency = 60.0e6;
    const ReferenceFit fit = fitReference({images}, slope(), PhaseOrder{});
    ASSERT_TRUE(fit.frequencies[0].betterFrequency);
    EXPECT_NEAR(*fit.frequencies[0].betterFrequency, 80.0e6, 1.0e6);
}

TEST(ReferenceFit, DistancesThatHaveNothingToDoWithThePhasesDoNotStandOut) {
    Reference mirrored = slope();
    for (float& distance : mirrored.distance) {
        distance = std::fmod(distance * 977.0F, 2.0F) + 0.1F;
    }
    EXPECT_FALSE(fitReference({imagesOf(60.0e6, {})}, mirrored, PhaseOrder{}).standsOut());
}

TEST(ReferenceFit, OneDistanceEverywhereDoesNotStandOut) {
    stacks::Signal signal;
    PhaseImages images = imagesOf(60.0e6, signal);
    for (std::vector<double>& image : images.images) {
        image.assign(image.size(), image[0]);
    }
    Reference flat;
    flat.distance.assign(width * height, static_cast<float>(stacks::nearest));
    EXPECT_FALSE(fitReference({images}, flat, PhaseOrder{}).standsOut());
}

TEST(ReferenceFit, PixelsWithoutADistanceASignalOrWithASampleAtItsLimitAreLeftOut) {
    PhaseImages images = imagesOf(60.0e6, {});
    Reference reference = slope();
    reference.distance[0] = 0.0F;
    reference.distance[1] = std::nanf("");
    reference.distance[2] = -1.0F;
    images.images[0][3] = 4095.0;
    images.images[3][4] = 0.0;
    for (std::vector<double>& image : images.images) {
        image[5] = 2048.0;
    }
    EXPECT_EQ(fitReference({images}, reference, PhaseOrder{}).pixels, width * height - 6);
}

TEST(ReferenceFit, TooFewPixelsAreRefused) {
    Reference reference = slope();
    std::fill(reference.distance.begin() + 99, reference.distance.end(), 0.0F);
    EXPECT_THROW(fitReference({imagesOf(60.0e6, {})}, reference, PhaseOrder{}), ImportError);
}

}  // namespace
