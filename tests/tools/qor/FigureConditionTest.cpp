// SPDX-License-Identifier: Apache-2.0

#include "qor/FigureCondition.h"

#include <gtest/gtest.h>

namespace qor {
namespace {

const std::vector<RegionFigures> measured{
    {"", {{"rms_mm", figures::Unit::Millimetres, 7.0}, {"bias_mm", figures::Unit::Millimetres, {}}}, {}},
    {"wall", {{"rms_mm", figures::Unit::Millimetres, 3.0}}, {}}};

TEST(FigureCondition, FailsIfItHolds) {
    EXPECT_TRUE(judge("rms_mm > 5", measured).failed);
    EXPECT_FALSE(judge("rms_mm > 7", measured).failed);
    EXPECT_TRUE(judge("rms_mm >= 7", measured).failed);
    EXPECT_EQ(judge("rms_mm > 5", measured).sentence(), "--fail-if rms_mm > 5: it is 7.");
}

TEST(FigureCondition, ARegionStandsBeforeADot) {
    EXPECT_FALSE(judge("wall.rms_mm > 5", measured).failed);
    EXPECT_EQ(judge("wall.rms_mm > 5", measured).value, 3.0);
}

TEST(FigureCondition, FailsIfTheFigureWasNotMeasured) {
    for (const char* text : {"bias_mm > 5", "bias_mm < 5"}) {
        EXPECT_TRUE(judge(text, measured).failed);
        EXPECT_EQ(judge(text, measured).sentence(),
                  "--fail-if " + std::string(text) + ": it was not measured.");
    }
}

TEST(FigureCondition, IsAboutAFigureThatThereIs) {
    EXPECT_EQ(checkFigureCondition("rms_mm>5", measured), "");
    EXPECT_EQ(checkFigureCondition("wall.rms_mm != 0", measured), "");
    for (const char* text : {"rms > 5", "floor.rms_mm > 5", "wall.bias_mm > 5", "wall > 5"}) {
        EXPECT_NE(checkFigureCondition(text, measured).find("is no figure"), std::string::npos) << text;
    }
    for (const char* text : {"rms_mm", "rms_mm > much", "> 5", "rms_mm = 5"}) {
        EXPECT_NE(checkFigureCondition(text, measured).find("is no condition"), std::string::npos) << text;
    }
}

}  // namespace
}  // namespace qor
