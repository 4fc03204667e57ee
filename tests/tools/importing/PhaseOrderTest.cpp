// SPDX-License-Identifier: Apache-2.0

#include "importing/PhaseOrder.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tools/importing/Stacks.h"

namespace {

using importing::PairSums;
using importing::pairSumsOf;
using importing::PhaseOrder;
using importing::readPhaseOrder;

std::vector<std::vector<double>> imagesIn(const std::vector<int>& degrees, double amplitude = 500.0) {
    stacks::Signal signal;
    signal.degrees = degrees;
    signal.amplitude = amplitude;
    const std::vector<double> all = stacks::phases(60.0e6, 60, 5, signal);
    std::vector<std::vector<double>> images;
    for (std::ptrdiff_t k = 0; k < 4; ++k) {
        images.emplace_back(all.begin() + k * 300, all.begin() + (k + 1) * 300);
    }
    return images;
}

TEST(PhaseOrder, EachOrderIsReadAndWrittenBack) {
    std::vector<int> degrees{0, 90, 180, 270};
    do {
        std::string text;
        for (const int angle : degrees) {
            text += (text.empty() ? "" : ",") + std::to_string(angle);
        }
        const auto order = readPhaseOrder(text);
        ASSERT_TRUE(order) << text;
        EXPECT_EQ(importing::textOf(*order), text);
        for (std::size_t phase = 0; phase < 4; ++phase) {
            EXPECT_EQ(degrees[order->places[phase]], 90 * static_cast<int>(phase)) << text;
        }
    } while (std::next_permutation(degrees.begin(), degrees.end()));
}

TEST(PhaseOrder, OtherTextsAreNone) {
    for (const char* text :
         {"", "0,90,180", "0,90,180,270,0", "0,90,180,180", "0,90,180,360", "0,90,180,270,", "a"}) {
        EXPECT_FALSE(readPhaseOrder(text)) << text;
    }
}

TEST(PhaseOrder, OppositeImagesShowInTheirSumsForEachOrder) {
    std::vector<int> degrees{0, 90, 180, 270};
    do {
        const auto seen = pairSumsOf(imagesIn(degrees)).opposite();
        const auto opposite =
            std::find(degrees.begin(), degrees.end(), (degrees[0] + 180) % 360) - degrees.begin();
        ASSERT_TRUE(seen);
        EXPECT_EQ(*seen, static_cast<std::size_t>(opposite));
        EXPECT_EQ(importing::oppositeOfFirst(importing::orderWithOpposite(*seen)), *seen);
    } while (std::next_permutation(degrees.begin(), degrees.end()));
}

TEST(PhaseOrder, PixelsAtTheLimitsOfTheConverterDoNotCount) {
    std::vector<std::vector<double>> images = imagesIn({0, 180, 90, 270});
    for (std::vector<double>& image : images) {
        std::fill(image.begin() + 10, image.end(), 0.0);
    }
    EXPECT_EQ(pairSumsOf(images).opposite(), 1U);
}

TEST(PhaseOrder, WithoutASignalNoImagesAreOpposite) {
    EXPECT_FALSE(pairSumsOf(imagesIn({0, 90, 180, 270}, 0.0)).opposite());
}

TEST(PhaseOrder, SumsThatAgreeNearlyAlikeDoNotStandOut) {
    EXPECT_FALSE((PairSums{{10.0, 15.0, 100.0}}).opposite());
    EXPECT_FALSE((PairSums{{10.0, 20.0, 100.0}}).opposite());
    EXPECT_EQ((PairSums{{10.0, 20.1, 100.0}}).opposite(), 1U);
    EXPECT_EQ((PairSums{{0.0, 5.0, 100.0}}).opposite(), 1U);
}

}  // namespace
