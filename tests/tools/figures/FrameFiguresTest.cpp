// SPDX-License-Identifier: Apache-2.0

#include "figures/FrameFigures.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>

#include "tools/figures/Images.h"

namespace figures {
namespace {

using simulation::pixelCount;

std::optional<double> valueOf(const FrameFigures& figures, const std::string& name) {
    for (const Figure& figure : figures.figures()) {
        if (figure.name == name) {
            return figure.value;
        }
    }
    ADD_FAILURE() << name << " is no figure";
    return std::nullopt;
}

TEST(FrameFigures, WithoutATruthOrRaysWhatNeedsThemIsNotMeasured) {
    FrameFigures figures({60.0e6});
    figures.add(Images(1.0F).view(), nullptr);
    for (const char* name :
         {"judged_pixels", "bias_mm", "median_error_mm", "rms_mm", "off_edges_bias_mm", "off_edges_rms_mm",
          "off_edges_p99_error_mm", "wrong_wrap_share", "plane_pixels", "plane_rms_mm", "plane_bias_mm",
          "temporal_noise_mm", "noise_ratio", "within_one_sigma", "edge_width_pixels"}) {
        EXPECT_EQ(valueOf(figures, name), std::nullopt) << name;
    }
    EXPECT_EQ(valueOf(figures, "frames"), 1.0);
    EXPECT_EQ(valueOf(figures, "usable_share"), 1.0);
    EXPECT_EQ(valueOf(figures, "flying_share"), 0.0);
}

TEST(FrameFigures, OfNoFrameOnlyTheCountsAreThere) {
    const FrameFigures figures({60.0e6});
    for (const Figure& figure : figures.figures()) {
        const bool count = figure.name == "frames" || figure.name == "pixels";
        EXPECT_EQ(figure.value, count ? std::optional(0.0) : std::nullopt) << figure.name;
    }
}

TEST(FrameFigures, ErrorsAreInMillimetresAndOfTheMaskAlone) {
    simulation::Truth truth;
    truth.distance.assign(pixelCount, 2.0);
    Mask mask(pixelCount, 0);
    mask[11] = 1;
    Images images(5.0F);
    images.distance[11] = 2.25F;
    FrameFigures figures({}, mask);
    figures.add(images.view(), &truth);
    EXPECT_EQ(valueOf(figures, "pixels"), 1.0);
    EXPECT_EQ(valueOf(figures, "judged_pixels"), 1.0);
    EXPECT_EQ(valueOf(figures, "bias_mm"), 250.0);
    EXPECT_EQ(valueOf(figures, "rms_mm"), 250.0);
    EXPECT_EQ(valueOf(figures, "wrong_wrap_share"), std::nullopt);
}

TEST(FrameFigures, EachNameIsThereOnce) {
    std::set<std::string> names;
    const FrameFigures figures({});
    for (const Figure& figure : figures.figures()) {
        EXPECT_TRUE(names.insert(figure.name).second) << figure.name;
    }
}

TEST(FrameFigures, RefusesWhatIsNoImage) {
    FrameFigures figures({});
    EXPECT_THROW(figures.add(Images(std::vector<float>{1.0F}).view(), nullptr), std::invalid_argument);
    Images images(1.0F);
    images.rays.resize(5);
    EXPECT_THROW(figures.add(images.view(), nullptr), std::invalid_argument);
    EXPECT_THROW(FrameFigures({}, Mask(7, 1)), std::invalid_argument);
}

}  // namespace
}  // namespace figures
