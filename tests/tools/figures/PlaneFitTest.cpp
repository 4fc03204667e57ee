// SPDX-License-Identifier: Apache-2.0

#include "figures/PlaneFit.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "tools/figures/Images.h"

namespace figures {
namespace {

using simulation::pixelCount;

struct View {
    Images images{1.0F};
    std::vector<double> truth = std::vector<double>(pixelCount);
};

// A camera with square pixels and a focal length of 160 of them looks at the plane n * p = c; `off` moves a
// pixel's point along its ray, metres.
template <typename Off>
View viewOf(const std::array<double, 3>& n, double c, const Off& off) {
    View view;
    view.images.rays.resize(3 * pixelCount);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        const double x = (static_cast<double>(i % 224) - 111.5) / 160.0;
        const double y = (static_cast<double>(i / 224) - 85.5) / 160.0;
        const double length = std::sqrt(x * x + y * y + 1.0);
        const double along = (n[0] * x + n[1] * y + n[2]) / length;
        view.images.rays[3 * i] = static_cast<float>(x / length);
        view.images.rays[3 * i + 1] = static_cast<float>(y / length);
        view.images.rays[3 * i + 2] = static_cast<float>(1.0 / length);
        view.truth[i] = c / along;
        view.images.distance[i] = static_cast<float>(view.truth[i] + off(i, along));
    }
    return view;
}

constexpr std::array<double, 3> tilted{0.36, 0.48, 0.8};

TEST(PlaneFit, APlaneIsFlatAndInItsPlaceHoweverItLies) {
    for (const std::array<double, 3>& normal : {tilted, std::array<double, 3>{0.0, 0.0, 1.0}}) {
        const View view = viewOf(normal, 1.5, [](std::size_t, double) { return 0.0; });
        PlaneFit fit;
        fit.add(view.images.view(), view.truth);
        EXPECT_EQ(fit.figures().pixels, pixelCount);
        EXPECT_LT(fit.figures().rms.value(), 1e-6);
        EXPECT_NEAR(fit.figures().bias.value(), 0.0, 1e-6);
    }
}

// 2 mm along the normal, up in even and down in odd pixels.
TEST(PlaneFit, RootMeanSquareIsTheDistanceFromThePlaneAcrossIt) {
    const View view = viewOf(
        tilted, 1.5, [](std::size_t i, double along) { return (i % 2 == 0 ? 0.002 : -0.002) / along; });
    PlaneFit fit;
    fit.add(view.images.view(), view.truth);
    EXPECT_NEAR(fit.figures().rms.value(), 0.002, 1e-6);
    EXPECT_NEAR(fit.figures().bias.value(), 0.0, 1e-5);
}

// Noise of either sign moves the mean, but not the plane: the bias is that of the plane, 30 mm of 2 m.
TEST(PlaneFit, BiasIsThatOfThePlaneAgainstTheTruth) {
    View view = viewOf({0.0, 0.0, 1.0}, 2.0, [](std::size_t, double along) { return 0.030 / along; });
    PlaneFit fit;
    fit.add(view.images.view(), view.truth);
    EXPECT_NEAR(fit.figures().biasPercent.value(), 1.5, 1e-4);
    EXPECT_NEAR(fit.figures().rms.value(), 0.0, 1e-6);
}

TEST(PlaneFit, RootMeanSquareInPercentIsOfTheMeanDistance) {
    View view = viewOf({0.0, 0.0, 1.0}, 2.0,
                       [](std::size_t i, double along) { return (i % 2 == 0 ? 0.01 : -0.01) / along; });
    double mean = 0.0;
    for (const double truth : view.truth) {
        mean += truth / static_cast<double>(pixelCount);
    }
    PlaneFit fit;
    fit.add(view.images.view(), {});
    EXPECT_NEAR(fit.figures().rmsPercent.value(), 100.0 * 0.01 / mean, 1e-4);
    EXPECT_EQ(fit.figures().bias, std::nullopt);
    EXPECT_EQ(fit.figures().biasPercent, std::nullopt);
}

TEST(PlaneFit, EachFrameHasAPlaneOfItsOwn) {
    const View near = viewOf(tilted, 1.0, [](std::size_t, double) { return 0.0; });
    const View far = viewOf({0.0, 0.0, 1.0}, 3.0, [](std::size_t, double) { return 0.0; });
    PlaneFit fit;
    fit.add(near.images.view(), near.truth);
    fit.add(far.images.view(), far.truth);
    EXPECT_EQ(fit.figures().pixels, 2 * pixelCount);
    EXPECT_LT(fit.figures().rms.value(), 1e-6);
}

TEST(PlaneFit, OnlyUsablePixelsOfTheMaskWithARayMakeIt) {
    View view = viewOf({0.0, 0.0, 1.0}, 2.0, [](std::size_t i, double) { return i < 5 ? 1.0 : 0.0; });
    view.images.confidence[0] |= invalidBit;
    view.images.rays[3] = view.images.rays[4] = view.images.rays[5] = 0.0F;
    view.images.rays[6] = std::nanf("");
    Mask mask(pixelCount, 1);
    mask[3] = mask[4] = 0;
    PlaneFit fit;
    fit.add(view.images.view(), view.truth, mask);
    EXPECT_EQ(fit.figures().pixels, pixelCount - 5);
    EXPECT_LT(fit.figures().rms.value(), 1e-6);
}

TEST(PlaneFit, PointsInALineOrWithoutRaysMakeNone) {
    const View view = viewOf({0.0, 0.0, 1.0}, 2.0, [](std::size_t, double) { return 0.0; });
    Mask row(pixelCount, 0);
    for (std::size_t i = 0; i < 2; ++i) {
        row[i] = 1;
    }
    PlaneFit fit;
    fit.add(view.images.view(), view.truth, row);
    Images same = view.images;
    for (std::size_t i = 0; i < 3 * pixelCount; ++i) {
        same.rays[i] = i % 3 == 2 ? 1.0F : 0.0F;
    }
    fit.add(same.view(), view.truth);
    fit.add(Images(1.0F).view(), view.truth);
    EXPECT_EQ(fit.figures().pixels, 0U);
    EXPECT_EQ(fit.figures().rms, std::nullopt);
    EXPECT_EQ(fit.figures().rmsPercent, std::nullopt);
    EXPECT_EQ(fit.figures().bias, std::nullopt);
}

}  // namespace
}  // namespace figures
