// SPDX-License-Identifier: Apache-2.0

#include "calibrating/Plot.h"

#include <gtest/gtest.h>

#include <limits>

namespace calibrating {
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
}  // namespace calibrating
