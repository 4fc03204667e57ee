// SPDX-License-Identifier: Apache-2.0

#include "imaging/Plot.h"

#include <gtest/gtest.h>

#include <limits>

namespace imaging {
namespace {

TEST(Plot, LettersThatAreMarksInHtmlAreEscaped) {
    EXPECT_EQ(svgOf({"<script>", "", "", {}}).find("<script>"), std::string::npos);
}

TEST(Plot, PointsThatAreNoNumbersAreLeftOut) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::string svg =
        svgOf({"t", "x", "y", {{"s", "#000", {{nan, 1.0, 0.0, 0.0}, {1.0, 2.0, 0.0, 0.0}}, false, false}}});
    EXPECT_EQ(svg.find("nan"), std::string::npos);
    EXPECT_NE(svg.find("<circle"), std::string::npos);
}

TEST(Plot, ALogarithmicAxisHasEqualWaysBetweenPowersOfTen) {
    const Plot plot{
        "t",  "x",
        "y",  {{"s", "#000", {{1.0, 1.0, 0, 0}, {10.0, 10.0, 0, 0}, {100.0, 100.0, 0, 0}}, false, false}},
        true, true};
    const std::string svg = svgOf(plot);
    std::vector<double> places;
    for (std::size_t at = svg.find("cx=\""); at != std::string::npos; at = svg.find("cx=\"", at + 1)) {
        places.push_back(std::stod(svg.substr(at + 4)));
    }
    ASSERT_EQ(places.size(), 3U);
    EXPECT_GT(places[1], places[0]);
    EXPECT_NEAR(places[1] - places[0], places[2] - places[1], 0.11);  // written with one decimal
}

TEST(Plot, ALogarithmicAxisLeavesOutWhatIsNotAboveZero) {
    const Plot plot{
        "t",  "x",
        "y",  {{"s", "#000", {{0.0, 1.0, 0, 0}, {1.0, -1.0, 0, 0}, {1.0, 1.0, 0, 0}}, false, false}},
        true, true};
    const std::string svg = svgOf(plot);
    EXPECT_EQ(svg.find("inf"), std::string::npos);
    EXPECT_EQ(svg.find("nan"), std::string::npos);
    EXPECT_EQ(svg.find("<circle"), svg.rfind("<circle"));
}

TEST(Plot, WithoutPointsAxesRemain) {
    EXPECT_NE(svgOf({"t", "x", "y", {}}).find("class=\"grid\""), std::string::npos);
}

TEST(Plot, AnImageIsWhiteWhereItIsZero) {
    const std::vector<float> zeros(38528, 0.0F);
    const std::string svg = svgOfImage("t", zeros, 1.0, "mm");
    std::size_t squares = 0;
    for (std::size_t at = svg.find("<rect"); at != std::string::npos; at = svg.find("<rect", at + 1)) {
        ++squares;
    }
    EXPECT_EQ(squares, 56U * 43U);
}

}  // namespace
}  // namespace imaging
