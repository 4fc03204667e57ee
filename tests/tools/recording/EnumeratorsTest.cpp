// SPDX-License-Identifier: Apache-2.0

#include "recording/Enumerators.h"

#include <gtest/gtest.h>

#include "recording/Record.h"

namespace recording {
namespace {

const std::string custom = "QorDistanceImageIFInput.customization.";

TEST(Enumerators, NamesBecomeNumbers) {
    EXPECT_EQ(withNumbers(custom + "filterSet.temporalFilter", "adaptiveExponential"), "2");
    EXPECT_EQ(withNumbers(custom + "filterSet.spatialFilter", "median"), "1");
    EXPECT_EQ(withNumbers(custom + "filterSet.spatialFilter", "SpatialFilter_Bilateral"), "3");
    EXPECT_EQ(withNumbers(custom + "filterSet.spatMeanSettings.maskSize", "5x5"), "1");
    EXPECT_EQ(withNumbers(custom + "autoExpSet.applyAutoExposure", "Normal"), "1");
    EXPECT_EQ(withNumbers(custom + "autoExpSet.roiSettings.type", "referencePoint"), "1");
    EXPECT_EQ(withNumbers(custom + "autoExpSet.roiSettings.rois.ROIs[3].type", "polygon"), "3");
}

TEST(Enumerators, SwitchesTakeTrueAndFalse) {
    for (const char* name :
         {"enableNoiseEstimation", "disableCalcCartesian", "filterSet.applyDistanceFilter"}) {
        EXPECT_EQ(withNumbers(custom + name, "true"), "1") << name;
        EXPECT_EQ(withNumbers(custom + name, "FALSE"), "0") << name;
        EXPECT_EQ(withNumbers(custom + name, "on"), "1") << name;
    }
}

TEST(Enumerators, NumbersAndOtherMembersStayAsTheyAre) {
    EXPECT_EQ(withNumbers(custom + "filterSet.spatialFilter", "7"), "7");
    EXPECT_EQ(withNumbers(custom + "minAmplitude", "true"), "true");
    EXPECT_EQ(withNumbers("Engine.spatialFilter", "median"), "median");
    EXPECT_EQ(withNumbers(custom + "filterSet.spatialFilter", "median,2"), "1,2");
}

TEST(Enumerators, ANameThatTheMemberDoesNotHaveIsRefusedWithThoseItHas) {
    try {
        withNumbers(custom + "filterSet.spatialFilter", "medain");
        FAIL();
    } catch (const RecordError& error) {
        EXPECT_STREQ(
            error.what(),
            "\"medain\" is no value for \"QorDistanceImageIFInput.customization.filterSet.spatialFilter\", "
            "which is one of none, median, mean, bilateral.");
    }
    EXPECT_THROW(withNumbers(custom + "enableNoiseEstimation", "maybe"), RecordError);
}

TEST(Enumerators, NumbersBecomeNames) {
    EXPECT_EQ(enumeratorName(custom + "filterSet.spatMedianSettings.maskSize", 0), "3x3");
    EXPECT_EQ(enumeratorName("QorDistanceImageCustomization.filterSet.spatialFilter", 2), "mean");
    EXPECT_EQ(enumeratorName(custom + "filterSet.spatialFilter", 4), std::nullopt);
    EXPECT_EQ(enumeratorName(custom + "minAmplitude", 0), std::nullopt);
}

}  // namespace
}  // namespace recording
