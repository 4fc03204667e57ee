// SPDX-License-Identifier: Apache-2.0

#include "recording/Enumerators.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "QorRecordLayout.h"
#include "QorRecords.h"
#include "recording/Record.h"

namespace recording {
namespace {

const std::string custom = "QorDistanceImageIFInput.customization.";

// The numbers of the input record that are no fractions, as expressions.
std::vector<std::string> wholeNumbersOfTheInput() {
    std::vector<std::string> expressions;
    std::vector<std::string> path;
    for (const layout::Row& row : layout_tables::kQorDistanceImageIFInput) {
        path.resize(row.level);
        path.push_back((row.level > 0 ? path.back() + "." : "") + std::string(row.name));
        if (row.kind == layout::Kind::Signed || row.kind == layout::Kind::Unsigned) {
            expressions.push_back(path.back());
        }
    }
    return expressions;
}

bool isSwitch(const std::string& expression) {
    return enumeratorsOf(expression).empty() && withNumbers(expression, "true") == "1";
}

// A new setting is written by name, as a switch, or as a number that belongs into this list.
TEST(Enumerators, EveryWholeNumberOfTheInputIsNamedASwitchOrAPlainNumber) {
    const std::set<std::string> plainNumbers{"timestamp",
                                             "sequenceCounter",
                                             "freqIdx",
                                             "exposureTime",
                                             "frameCounter",
                                             "numberOfFrames",
                                             "continuous",
                                             "noPoints",
                                             "ID",
                                             "anchorBound",
                                             "noROIs",
                                             "minLongShortFactor",
                                             "maxLongShortFactor",
                                             "expTimeLowerLimit",
                                             "maxNumberOfSaturatedPixels",
                                             "numExposures",
                                             "numFrequencies",
                                             "maxExposureTime",
                                             "maxSumExposureTime",
                                             "fid",
                                             "nextline",
                                             "numlines",
                                             "frequencyHoppingTableLength"};
    std::set<std::string> plainNumbersFound;
    for (const std::string& expression : wholeNumbersOfTheInput()) {
        if (enumeratorsOf(expression).empty() && !isSwitch(expression)) {
            plainNumbersFound.insert(expression.substr(expression.rfind('.') + 1));
        }
    }
    EXPECT_EQ(plainNumbersFound, plainNumbers);
}

// The last enumerator of each list of the algorithm is their number.
TEST(Enumerators, EveryEnumeratorOfTheAlgorithmHasAName) {
    EXPECT_EQ(enumeratorsOf(custom + "filterSet.temporalFilter").size(), std::size_t{TempFilter_MAX});
    EXPECT_EQ(enumeratorsOf(custom + "filterSet.spatialFilter").size(), std::size_t{SpatialFilter_MAX});
    EXPECT_EQ(enumeratorsOf(custom + "filterSet.spatMeanSettings.maskSize").size(),
              std::size_t{FilterMaskSize_MAX});
    EXPECT_EQ(enumeratorsOf(custom + "autoExpSet.applyAutoExposure").size(),
              std::size_t{AutoExposureApplyMode_MAX});
    EXPECT_EQ(enumeratorsOf(custom + "autoExpSet.roiSettings.type").size(),
              std::size_t{AutoExposureROIType_Max});
    EXPECT_EQ(enumeratorsOf(custom + "autoExpSet.roiSettings.rois.ROIs.type").size(),
              std::size_t{ROITypeMax});
}

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
