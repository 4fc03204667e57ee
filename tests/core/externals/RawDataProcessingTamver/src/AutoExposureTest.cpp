// SPDX-License-Identifier: Apache-2.0
//
// Auto exposure: what it checks, which times it proposes, when it stays, and how it follows a scene.
#include "AutoExposure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "AutoExposureStage.h"
#include "support/Floats.h"
#include "support/Random.h"
#include "support/Reports.h"

namespace {

using testing_support::AutoExposureStage;
using testing_support::Random;
using testing_support::sameValues;
using testing_support::sceneOf;

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

class AutoExposures : public ::testing::Test, protected AutoExposureStage {
 protected:
    AutoExposures() { EXPECT_EQ(init(), 0); }

    /** A report, innermost first: its file, and its message, empty where it has none of its own. */
    struct Report {
        std::string file;
        std::string message;
        bool operator==(const Report&) const = default;
        friend std::ostream& operator<<(std::ostream& stream, const Report& report) {
            return stream << report.file << ": \"" << report.message << '"';
        }
    };

    void expectReports(const std::vector<Report>& expected) {
        std::vector<Report> reports;
        for (int32_t i = 0; i < reports_.count(); ++i) {
            reports.push_back({reports_.file(i), reports_.message(i)});
        }
        EXPECT_EQ(reports, expected);
        reports_.clear();
    }
    void expectReport(const std::string& message) { expectReports({{"AutoExposure", message}}); }

    void useOneRectangle(float width, float height) {
        input->settings.roiSettings.rois.ROIs[0].rectangle = {{100.0F, 80.0F}, width, height, 0.0F};
    }

    /** All pixels at one level in one histogram, the other empty. */
    void measureLevel(uint32_t level, uint32_t pixels = kPixelCount) {
        clearHistograms();
        histogram(0)[level] = pixels;
    }

    void expectProposal(uint32_t first, uint32_t second) {
        EXPECT_EQ(output->newExpTimes[0], first);
        EXPECT_EQ(output->newExpTimes[1], second);
    }

    /** Follows its own proposals on a scene; returns the short times that it used. */
    std::vector<uint32_t> follow(const std::vector<double>& rates, int32_t frames) {
        std::vector<uint32_t> times;
        for (int32_t frame = 0; frame < frames; ++frame) {
            times.push_back(input->expTimes[0]);
            measure(rates);
            EXPECT_EQ(apply(), 0);
            input->expTimes[0] = output->newExpTimes[0];
            input->expTimes[1] = output->newExpTimes[1];
        }
        return times;
    }

    testing_support::Reports reports_;
};

// --- Initialisation ---

TEST_F(AutoExposures, InitLeavesAnEmptyListAndLetsEveryPixelCount) {
    std::memset(state.get(), 0x55, sizeof *state);
    std::memset(output.get(), 0x55, sizeof *output);
    param->hysteresis = 7.0F;
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(param->hysteresis, 0.015F);
    EXPECT_EQ(param->expTimeDiscretization, 50);
    EXPECT_EQ(state->numValidExpTimes, 0U);
    EXPECT_EQ(state->score_measure, -1.0F);
    EXPECT_EQ(state->score_predicted, -1.0F);
    EXPECT_EQ(state->score_diff, 0.0F);
    const AutoExpSettings zero = {};
    EXPECT_EQ(std::memcmp(&state->settings, &zero, sizeof zero), 0);
    EXPECT_EQ(output->roi_width, kImageWidth);
    EXPECT_EQ(output->roi_height, kImageHeight);
    EXPECT_EQ(std::count(output->roi, output->roi + kPixelCount, 1), kPixelCount);
    EXPECT_EQ(output->autoExpReady, 0x55555555);  // not the business of this stage
}

TEST_F(AutoExposures, InitRaisesTheDiscretizationToOne) {
    for (const int32_t discretization : {0, -1, kMin}) {
        param->expTimeDiscretization = discretization;
        EXPECT_EQ(init(), 0);
        EXPECT_EQ(param->expTimeDiscretization, 1);
    }
}

TEST_F(AutoExposures, InitWithNullPointersFails) {
    EXPECT_EQ(AutoExposure_Init(param.get(), nullptr, output.get()), 1);
    expectReport("");
    EXPECT_EQ(AutoExposure_Init(nullptr, state.get(), output.get()), 1);
    expectReport("");
    EXPECT_EQ(AutoExposure_Init(param.get(), state.get(), nullptr), 1);
    expectReport("");
    EXPECT_EQ(AutoExposure_Init(nullptr, nullptr, nullptr), 1);
    expectReport("");
}

TEST_F(AutoExposures, InitWithoutRoomForAnyExposureChecksNothingElse) {
    std::fill_n(output->roi, kPixelCount, uint8_t{3});
    param->maxExpTime = 49;
    param->numPieces = 77;
    param->imgWidth = -5;
    param->hysteresis = 0.0F;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(output->roi[0], 3);
    EXPECT_EQ(output->roi_width, -5);
    EXPECT_EQ(param->hysteresis, 0.015F);
    param->maxExpTime = 50;
    EXPECT_EQ(init(), 1);
}

TEST_F(AutoExposures, InitChecksThatTheShortestTimeLiesOnTheGrid) {
    param->minExpTime = 75;
    EXPECT_EQ(init(), 1);
    expectReport("Minimum Exp Time must fit into discretization scheme");
    param->expTimeDiscretization = 25;
    EXPECT_EQ(init(), 0);
}

TEST_F(AutoExposures, InitChecksTheNumberOfPieces) {
    for (const uint32_t pieces : {0U, 6U, 0xFFFFFFFFU}) {
        param->numPieces = pieces;
        EXPECT_EQ(init(), 1);
        expectReport("Auto-Exp score function not defined properly.");
    }
    param->numPieces = 1;
    EXPECT_EQ(init(), 0);
    param->numPieces = 5;
    param->score_x_kneepoints[4] = 2048;
    param->score_slopes[4] = 1.0F;
    EXPECT_EQ(init(), 0);
}

TEST_F(AutoExposures, InitChecksThatSlopesArePositive) {
    for (const float slope : {0.0F, -0.0F, -1.0F, kNaN}) {
        for (size_t piece = 0; piece < 4; ++piece) {
            const float before = param->score_slopes[piece];
            param->score_slopes[piece] = slope;
            EXPECT_EQ(init(), 1);
            expectReport("AutoExp score function: slopes must be positive.");
            param->score_slopes[piece] = before;
        }
    }
}

TEST_F(AutoExposures, InitChecksThatKneepointsRise) {
    for (const uint32_t kneepoint : {50U, 49U, 0U}) {
        param->score_x_kneepoints[1] = kneepoint;
        EXPECT_EQ(init(), 1);
        expectReport("AutoExp score function kneepoints must be monotonically increasing");
    }
    param->score_x_kneepoints[1] = 51;
    EXPECT_EQ(init(), 0);
}

TEST_F(AutoExposures, InitChecksThatKneepointsLieInTheHistogram) {
    param->score_x_kneepoints[3] = 2048;
    EXPECT_EQ(init(), 0);
    for (const uint32_t kneepoint : {2049U, 0xFFFFFFFFU}) {
        param->score_x_kneepoints[3] = kneepoint;
        EXPECT_EQ(init(), 1);
        expectReport("Auto-Exp score function unreasonable x value");
    }
}

TEST_F(AutoExposures, InitChecksPieceByPieceTheSlopeFirst) {
    param->score_slopes[2] = 0.0F;
    param->score_x_kneepoints[2] = 10;
    EXPECT_EQ(init(), 1);
    expectReport("AutoExp score function: slopes must be positive.");
    param->score_x_kneepoints[1] = 3000;
    EXPECT_EQ(init(), 1);
    expectReport("Auto-Exp score function unreasonable x value");
    param->score_x_kneepoints[1] = 5;
    EXPECT_EQ(init(), 1);
    expectReport("AutoExp score function kneepoints must be monotonically increasing");
    param->numPieces = 0;
    EXPECT_EQ(init(), 1);
    expectReport("Auto-Exp score function not defined properly.");
    param->minExpTime = 51;
    EXPECT_EQ(init(), 1);
    expectReport("Minimum Exp Time must fit into discretization scheme");
}

TEST_F(AutoExposures, InitChecksTheImageSize) {
    const std::pair<int32_t, int32_t> sizes[] = {
        {0, 172},   {224, 0},     {-224, -172},   {kMin, 1}, {1, kMin},
        {224, 173}, {kMax, kMax}, {65536, 65536}, {kMax, 1}, {1, kPixelCount + 1}};
    for (const auto& [width, height] : sizes) {
        param->imgWidth = width;
        param->imgHeight = height;
        EXPECT_EQ(init(), 1) << width << ' ' << height;
        expectReport("AutoExp image dimensions not set correctly.");
    }
    param->imgWidth = 10;
    param->imgHeight = 3;
    std::fill_n(output->roi, kPixelCount, uint8_t{3});
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(output->roi[29], 1);
    EXPECT_EQ(output->roi[30], 3);
}

// --- Modes and failures ---

TEST_F(AutoExposures, SwitchedOffItProposesTheTimesOfTheFrame) {
    input->settings.applyAutoExposure = AutoExposureApplyMode_Off;
    input->histograms = nullptr;
    setTimes(123, 4567);
    output->score_predicted = 5.0F;
    EXPECT_EQ(apply(), 0);
    expectProposal(123, 4567);
    EXPECT_EQ(output->numExposures, 2);
    EXPECT_EQ(state->currExposures[0], 123);
    EXPECT_EQ(state->currExposures[1], 4567);
    EXPECT_EQ(state->numValidExpTimes, 0U);
    EXPECT_EQ(state->settings.roiSettings.rois.noROIs, 0U);
    EXPECT_EQ(state->score_measure, -1.0F);
    EXPECT_EQ(output->score_predicted, 5.0F);
    EXPECT_EQ(output->autoExpReady, 0);
}

TEST_F(AutoExposures, WithOneExposureTheSecondTimeIsOnlyTouchedBySuccess) {
    output->newExpTimes[1] = 99;
    state->currExposures[1] = 98;
    input->expTimes[1] = 97;
    input->settings.applyAutoExposure = AutoExposureApplyMode_Off;
    EXPECT_EQ(apply(), 0);
    expectProposal(400, 99);
    EXPECT_EQ(state->currExposures[1], 98);
    input->settings.applyAutoExposure = AutoExposureApplyMode_Normal;
    measureLevel(100);
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(output->newExpTimes[1], 0U);
}

TEST_F(AutoExposures, NullPointersFail) {
    AutoExposureInput* const in = input.get();
    EXPECT_EQ(AutoExposure_Apply(nullptr, param.get(), state.get(), scratch.get(), output.get()), 1);
    expectReport("");
    EXPECT_EQ(AutoExposure_Apply(in, nullptr, state.get(), scratch.get(), output.get()), 1);
    expectReport("");
    EXPECT_EQ(AutoExposure_Apply(in, param.get(), nullptr, scratch.get(), output.get()), 1);
    expectReport("");
    EXPECT_EQ(AutoExposure_Apply(in, param.get(), state.get(), nullptr, output.get()), 1);
    expectReport("");
    EXPECT_EQ(AutoExposure_Apply(in, param.get(), state.get(), scratch.get(), nullptr), 1);
    expectReport("");
    EXPECT_EQ(settingsChanged(nullptr, output.get(), scratch.get(), param.get(), in), 1);
    expectReport("");
    EXPECT_EQ(settingsChanged(state.get(), nullptr, scratch.get(), param.get(), in), 1);
    expectReport("");
    EXPECT_EQ(settingsChanged(state.get(), output.get(), nullptr, param.get(), in), 1);
    expectReport("");
    EXPECT_EQ(settingsChanged(state.get(), output.get(), scratch.get(), nullptr, in), 1);
    expectReport("");
    EXPECT_EQ(settingsChanged(state.get(), output.get(), scratch.get(), param.get(), nullptr), 1);
    expectReport("");
    in->histograms = nullptr;
    EXPECT_EQ(apply(), 1);
    expectReport("");
    expectProposal(400, 0);
}

TEST_F(AutoExposures, OtherNumbersOfExposuresFailAfterBothTimesWereTaken) {
    setTimes(70, 80);
    for (const uint32_t exposures : {3U, 0x80000000U, 0xFFFFFFFFU}) {
        output->newExpTimes[0] = 0;
        output->newExpTimes[1] = 0;
        input->numExposures = exposures;
        EXPECT_EQ(apply(), 1) << exposures;
        expectReport("");
        expectProposal(70, 80);
        EXPECT_EQ(output->numExposures, static_cast<int32_t>(exposures));
    }
    output->newExpTimes[0] = 1;
    output->newExpTimes[1] = 2;
    input->numExposures = 0;
    EXPECT_EQ(apply(), 1);
    expectReport("");
    expectProposal(1, 2);
}

TEST_F(AutoExposures, AModeOtherThanOffAndNormalFails) {
    for (const int32_t mode : {2, 3, -1, kMax}) {
        input->settings.applyAutoExposure = static_cast<AutoExposureApplyMode>(mode);
        EXPECT_EQ(apply(), 1);
        expectReport("auto exposure mode must be off or normal");
        expectProposal(400, 0);
    }
}

TEST_F(AutoExposures, RegionsByReferencePointFail) {
    for (const int32_t type : {1, 2, -1}) {
        input->settings.roiSettings.type = static_cast<AutoExposureROIType>(type);
        EXPECT_EQ(apply(), 1);
        expectReport("auto exposure ROI type ReferencePoint not supported");
    }
}

TEST_F(AutoExposures, EqualTimesOfTwoExposuresFail) {
    measureLevel(100);
    for (const auto& [shortTime, longTime] : {std::pair{400U, 400U}, {400U, 399U}, {1U, 0U}}) {
        setTimes(shortTime, longTime);
        EXPECT_EQ(apply(), 1);
        expectReport("");
        expectProposal(shortTime, longTime);
    }
    setTimes(400, 401);
    EXPECT_EQ(apply(), 0);
}

TEST_F(AutoExposures, AListWithoutCandidatesFails) {
    measureLevel(100);
    ASSERT_EQ(apply(), 0);
    state->numValidExpTimes = 0;
    EXPECT_EQ(apply(), 1);
    expectReport("");
    state->numValidExpTimes = 501;
    EXPECT_EQ(apply(), 1);
    expectReport("");
    expectProposal(400, 0);
}

TEST_F(AutoExposures, WithoutAnyScoreItFails) {
    measureLevel(100);
    param->score_slopes[0] = kNaN;
    EXPECT_EQ(apply(), 1);
    expectReport("");
    expectProposal(400, 0);
}

TEST_F(AutoExposures, AScoreFunctionThatWasNotCheckedFails) {
    measureLevel(100);
    for (const uint32_t pieces : {0U, 6U, 0xFFFFFFFFU}) {
        param->numPieces = pieces;
        EXPECT_EQ(apply(), 1);
        expectReport("");
    }
}

// --- Settings ---

TEST_F(AutoExposures, TheFirstFrameBuildsTheListAndTheNextKeepsIt) {
    measureLevel(100);
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(state->numValidExpTimes, 8U);
    const uint32_t times[] = {50, 100, 150, 250, 400, 600, 900, 1300};
    for (size_t i = 0; i < std::size(times); ++i) {
        EXPECT_EQ(state->validExpTimes[i][0], times[i]);
        EXPECT_EQ(state->validExpTimes[i][1], 0U);
    }
    state->numValidExpTimes = 3;  // kept as long as the settings are
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(state->numValidExpTimes, 3U);
    input->specificSettings[0].numExpTimesBase = 2;  // no part of the comparison
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(state->numValidExpTimes, 3U);
    input->settings.continuous = 1;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(state->numValidExpTimes, 2U);
}

TEST_F(AutoExposures, ALowerLimitAboveAllCandidatesLeavesTheLastStored) {
    measureLevel(100);
    input->settings.expTimeLowerLimit = 100000;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(state->numValidExpTimes, 1U);
    EXPECT_EQ(state->validExpTimes[0][0], 1300U);
    expectProposal(1300, 0);
}

TEST_F(AutoExposures, RegionsDecideWhichPixelsCount) {
    measureLevel(100);
    useOneRectangle(20.0F, 10.0F);
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(std::count(output->roi, output->roi + kPixelCount, 1), 200);
    EXPECT_EQ(std::count(output->roi, output->roi + kPixelCount, 0), kPixelCount - 200);
    EXPECT_EQ(output->roi[80 * kImageWidth + 100], 1);
    EXPECT_EQ(output->roi[85 * kImageWidth + 100], 0);
    EXPECT_EQ(output->roi_width, kImageWidth);
    EXPECT_EQ(output->roi_height, kImageHeight);
}

TEST_F(AutoExposures, ARegionOf9PixelsIsTooSmallOneOf10Passes) {
    measureLevel(100);
    useOneRectangle(3.0F, 3.0F);
    EXPECT_EQ(apply(), 1);
    expectReports({{"AutoExposure", "Auto Exp region of interest too small"}, {"AutoExposure", ""}});
    useOneRectangle(5.0F, 2.0F);
    EXPECT_EQ(apply(), 0);
    expectReports({});
}

TEST_F(AutoExposures, NoRegionAtAllIsTooSmall) {
    measureLevel(100);
    input->settings.roiSettings.rois.noROIs = 0;
    EXPECT_EQ(apply(), 1);
    expectReports({{"AutoExposure", "Auto Exp region of interest too small"}, {"AutoExposure", ""}});
}

TEST_F(AutoExposures, AnImageWithoutPixelsIsTooSmall) {
    for (const auto& [width, height] : {std::pair{0, 172}, {224, 0}, {-1, -1}, {kMin, kMin}}) {
        param->imgWidth = width;
        param->imgHeight = height;
        EXPECT_EQ(settingsChanged(state.get(), output.get(), scratch.get(), param.get(), input.get()), 1);
        expectReport("Auto Exp region of interest too small");
    }
}

TEST_F(AutoExposures, RegionsThatCannotBeRasteredAreReportedAtEveryLevel) {
    input->settings.roiSettings.rois.ROIs[0].ID = 64;
    EXPECT_EQ(apply(), 1);
    expectReports({{"RegionOfInterest", ""}, {"AutoExposure", ""}, {"AutoExposure", ""}});
    expectProposal(400, 0);
}

TEST_F(AutoExposures, SettingsThatFailedAreNotTriedAgain) {
    measureLevel(100);
    input->settings.roiSettings.rois.ROIs[0].ID = 64;
    ASSERT_EQ(apply(), 1);
    expectReports({{"RegionOfInterest", ""}, {"AutoExposure", ""}, {"AutoExposure", ""}});
    ASSERT_EQ(apply(), 1);  // there is no list
    expectReport("");
    input->settings.roiSettings.rois.ROIs[0].ID = 0;
    EXPECT_EQ(apply(), 0);
}

TEST_F(AutoExposures, ChangedSettingsThatFailLeaveNoListOfTheOnesBefore) {
    measureLevel(100);
    ASSERT_EQ(apply(), 0);
    ASSERT_EQ(state->numValidExpTimes, 8U);
    input->settings.roiSettings.rois.ROIs[0].ID = 64;
    EXPECT_EQ(apply(), 1);
    EXPECT_EQ(state->numValidExpTimes, 0U);
    EXPECT_EQ(apply(), 1);
    expectProposal(400, 0);
}

TEST_F(AutoExposures, WithoutBaseTimesSettingsFailAndTheFirstCandidateIsCleared) {
    measureLevel(100);
    setTimes(100, 400);
    ASSERT_EQ(apply(), 0);
    ASSERT_EQ(state->validExpTimes[0][0], 50U);
    ASSERT_EQ(state->validExpTimes[0][1], 100U);
    input->specificSettings[1].numExpTimesBase = 0;
    input->settings.continuous = 1;  // build anew
    EXPECT_EQ(apply(), 1);
    expectReports({{"AutoExposure", ""}, {"AutoExposure", ""}});
    EXPECT_EQ(state->numValidExpTimes, 0U);
    EXPECT_EQ(state->validExpTimes[0][0], 0U);
    EXPECT_EQ(state->validExpTimes[0][1], 0U);
}

TEST_F(AutoExposures, WithoutACandidateWithinTheLimitsSettingsFail) {
    param->maxSumExpTime = 49;
    EXPECT_EQ(apply(), 1);
    expectReports({{"AutoExposure", ""}, {"AutoExposure", ""}});
    EXPECT_EQ(state->numValidExpTimes, 0U);
    expectProposal(400, 0);
}

TEST_F(AutoExposures, SettingsOfANumberOfExposuresThatDoesNotExistFail) {
    for (const uint32_t exposures : {0U, 3U, 0xFFFFFFFFU}) {
        input->numExposures = exposures;
        EXPECT_EQ(settingsChanged(state.get(), output.get(), scratch.get(), param.get(), input.get()), 1);
        expectReport("");
    }
}

// --- Which times ---

TEST_F(AutoExposures, WithoutPixelsTheNearestCandidateIsProposed) {
    for (const auto& [time, nearest] : {std::pair{400U, 400U}, {1U, 50U}, {490U, 400U}, {560U, 600U}}) {
        setTimes(time);
        clearHistograms();
        ASSERT_EQ(apply(), 0);
        expectProposal(nearest, 0);
        EXPECT_EQ(output->score_measured, 0.0F);
        EXPECT_EQ(output->score_predicted, 0.0F);
        EXPECT_EQ(state->score_predicted, 0.0F);
    }
    // The limit is T_sat / 0.5 times the present time: 1 us allows 4094.
}

TEST_F(AutoExposures, OfTwoCandidatesEquallyNearTheEarlierIsProposed) {
    clearHistograms();
    setTimes(125);
    ASSERT_EQ(apply(), 0);
    expectProposal(100, 0);
}

TEST_F(AutoExposures, ThePresentTimesOnTheListAreTheirOwnNearest) {
    clearHistograms();
    for (const uint32_t time : {50U, 100U, 150U, 250U, 400U, 600U, 900U, 1300U}) {
        setTimes(time);
        ASSERT_EQ(apply(), 0);
        expectProposal(time, 0);
    }
    setTimes(250, 500);
    input->settings.continuous = 1;  // build anew, for two exposures
    ASSERT_EQ(apply(), 0);
    expectProposal(250, 500);
}

TEST_F(AutoExposures, AllPixelsInTheLastBinHalveTheLimit) {
    // A last knee point of 2048 lets the last bin score, and a longer time score higher: the limit decides.
    // q = 2049, doubled 4098; 2048 / 4098 * 900 = 449.8. Not doubled it would allow 600.
    param->score_x_kneepoints[3] = 2048;
    measureLevel(2048);
    setTimes(900);
    ASSERT_EQ(apply(), 0);
    expectProposal(400, 0);
    // Predicted level 2048 * 400 / 900 = 910.2, in the last piece, which begins with 0.5 + 10 + 8 at 100.
    EXPECT_NEAR(output->score_predicted, 18.5F + 0.01F * (910.2F - 100.0F), 0.01F);
}

TEST_F(AutoExposures, PixelsThatAllSaturateLeadToTheFirstCandidate) {
    // Up to the limit of 449.6 all candidates predict nothing but saturated pixels and score 0.
    measureLevel(2048);
    setTimes(900);
    ASSERT_EQ(apply(), 0);
    expectProposal(50, 0);
    EXPECT_EQ(output->score_predicted, 0.0F);
}

TEST_F(AutoExposures, AQuantileFrom2048OnIsDoubled) {
    // All pixels in the bin from 2047 to 2048, at 600 us; a longer time scores higher.
    measureLevel(2047);
    setTimes(600);
    // q = 2048, doubled 4096; 2047 / 4096 * 600 = 299.9.
    input->specificSettings[0].saturationCheckQuantile = 1.0F;
    ASSERT_EQ(apply(), 0);
    expectProposal(250, 0);
    // q = 2047.5; 2047 / 2047.5 * 600 = 599.9.
    input->specificSettings[0].saturationCheckQuantile = 0.5F;
    ASSERT_EQ(apply(), 0);
    expectProposal(400, 0);
}

TEST_F(AutoExposures, TheLimitIsAtLeastTheFirstCandidate) {
    // 2047 / 4098 * 250 = 124.9 would exclude the whole list.
    input->settings.expTimeLowerLimit = 250;
    measureLevel(2048);
    setTimes(250);
    ASSERT_EQ(apply(), 0);
    ASSERT_EQ(state->validExpTimes[0][0], 250U);
    expectProposal(250, 0);
}

TEST_F(AutoExposures, TheLimitIsAtLeastTheShortestTime) {
    // 100 pixels beyond the last bin at 600 us: 2047 / 4098 * 600 = 299.7 allows 250, the shortest time 400.
    measureLevel(1000, kPixelCount - 100);
    histogram(0)[2048] = 100;
    setTimes(600);
    ASSERT_EQ(apply(), 0);
    expectProposal(250, 0);
    param->minExpTime = 400;  // the list stays: it goes by the settings
    ASSERT_EQ(apply(), 0);
    expectProposal(400, 0);
}

// With a long exposure that shows nothing but saturated pixels, all that is known is the short one. A long
// time under test below the measured one draws on it: 60 levels at 100 us are 180 at 300 us, which scores
// 18.5 + 0.01 * (180 - 100) = 19.3, more than 150 at 250 us (19.0), 120 at 200 us (18.7) and less. Where the
// long time is not below the measured one, the short time under test counts alone: 150 at 250 us at best. So
// (100, 300), the first of the pairs with 300 us, is best. The nearest, (50, 400), has 30 levels and 17.8.

TEST_F(AutoExposures, TheShorterExposureSetsTheSaturationLimit) {
    // q = 61, the limit 2047 / 61 * 100 = 3356. By the longer exposure it would be 50: (50, 250).
    clearHistograms();
    histogram(0)[60] = kPixelCount;
    histogram(1)[2048] = kPixelCount;
    setTimes(100, 400);
    ASSERT_EQ(apply(), 0);
    expectProposal(100, 300);
    EXPECT_NEAR(output->score_predicted, 19.3F, 0.001F);
}

TEST_F(AutoExposures, TheSaturationLimitTakesTheShareForTheNumberOfExposures) {
    // A tenth saturates even the short exposure. Seven eighths must not: q is below 61. By the share for one
    // exposure, all pixels, q would lie in the last bin, and the limit would be 50: (50, 250).
    clearHistograms();
    histogram(0)[60] = kPixelCount - kPixelCount / 10;
    histogram(0)[2048] = kPixelCount / 10;
    histogram(1)[2048] = kPixelCount;
    input->specificSettings[0].saturationCheckQuantile = 1.0F;
    input->specificSettings[1].saturationCheckQuantile = 0.875F;
    setTimes(100, 400);
    ASSERT_EQ(apply(), 0);
    expectProposal(100, 300);
}

TEST_F(AutoExposures, TooManySaturatedPixelsForceAShorterTime) {
    // 100 pixels beyond the last bin, the others at 1000: a longer time would score higher, but for the
    // limit.
    measureLevel(1000, kPixelCount - 100);
    histogram(0)[2048] = 100;
    setTimes(600);
    ASSERT_EQ(apply(), 0);
    EXPECT_LT(output->newExpTimes[0], 600U);
    // 2047 / 4098 * 600 = 299.7: the longest that it allows is the best.
    expectProposal(250, 0);
    allowSaturatedPixels(200);
    ASSERT_EQ(apply(), 0);
    // Half the last bin would have to go: q = 1000.998, limit 2047 / 1001 * 600 = 1226.
    expectProposal(900, 0);
}

TEST_F(AutoExposures, TheSaturationLimitIsTheTimeAtWhichTheQuantileReachesTheLastKneePoint) {
    // All pixels at 1000 at 400 us. The quantile of all of them is 1001, the limit 2047 / 1001 * 400 = 818.
    measureLevel(1000);
    setTimes(400);
    ASSERT_EQ(apply(), 0);
    expectProposal(600, 0);
    // At 800 the quantile is 801 and the limit 1022.
    measureLevel(800);
    ASSERT_EQ(apply(), 0);
    expectProposal(900, 0);
}

TEST_F(AutoExposures, AChangeMustPromiseMoreThanTheHysteresis) {
    // One piece of slope 1: the score is the mean level. The list is {1000, second}.
    param->numPieces = 1;
    param->score_x_kneepoints[0] = 2047;
    param->score_slopes[0] = 1.0F;
    param->minExpTime = 1000;
    param->expTimeDiscretization = 1;
    param->maxSumExpTime = 10000;
    for (const auto& [second, proposed] : {std::pair{1014, 1000U}, {1016, 1016U}}) {
        param->maxExpTime = second;
        ASSERT_EQ(init(), 0);
        measureLevel(1000);
        setTimes(1000);
        ASSERT_EQ(apply(), 0);
        ASSERT_EQ(state->numValidExpTimes, 2U);
        expectProposal(proposed, 0);
        // What was promised for the next frame is the best; what the proposal promises goes out.
        EXPECT_NEAR(state->score_predicted, second, 0.01F);
        EXPECT_NEAR(output->score_predicted, static_cast<float>(proposed), 0.01F);
        EXPECT_NEAR(output->score_measured, 1000.0F, 0.01F);
    }
}

TEST_F(AutoExposures, ATooLongPresentTimeIsLeftEvenWithoutAGain) {
    // All pixels at 2040 at 1000 us, all but 30 of them; 30 in the last bin, none allowed. 999 scores less.
    param->numPieces = 1;
    param->score_x_kneepoints[0] = 2047;
    param->score_slopes[0] = 1.0F;
    param->minExpTime = 400;
    param->expTimeDiscretization = 1;
    param->maxExpTime = 1000;
    param->maxSumExpTime = 1000;
    ASSERT_EQ(init(), 0);
    measureLevel(2040, kPixelCount - 30);
    histogram(0)[2048] = 30;
    setTimes(1000);
    ASSERT_EQ(apply(), 0);
    expectProposal(400, 0);  // 2047 / 4098 * 1000 = 499.5 leaves 400 of {400, 600, 900, 1000}
    EXPECT_LT(output->score_predicted, output->score_measured);
}

TEST_F(AutoExposures, TheFirstCandidateBeyondTheLimitMayStillBeTheNearest) {
    measureLevel(600, kPixelCount / 2);
    histogram(0)[2000] = kPixelCount / 2;
    setTimes(810);
    ASSERT_EQ(apply(), 0);
    // Limit: 2047 / 2001 * 810 = 828.6; 900 predicts half of the pixels saturated, at 600 * 900 / 810 = 666.
    EXPECT_EQ(state->numValidExpTimes, 8U);
    const uint32_t now[] = {810, 0};
    const uint32_t nine[] = {900, 0};
    const float atNine = predictScore(now, nine, param->score_x_kneepoints, param->score_slopes, 4,
                                      scratch->cumMeanHistos, scratch->cumHistos, 1);
    EXPECT_NEAR(atNine, 18.5F + 0.01F * (666.0F - 100.0F), 0.02F);
    // 600: levels 444 and 1481, in the mean 963: 27.1 is better than 24.2 by more than the hysteresis.
    expectProposal(600, 0);
    // With a hysteresis of one half it would stay, at a candidate that the search itself never rates.
    param->hysteresis = 0.5F;
    ASSERT_EQ(apply(), 0);
    expectProposal(900, 0);
}

TEST_F(AutoExposures, WithTwoExposuresBothTimesCountForTheNearest) {
    clearHistograms();
    setTimes(240, 760);
    ASSERT_EQ(apply(), 0);
    expectProposal(250, 750);
    setTimes(140, 480);
    ASSERT_EQ(apply(), 0);
    expectProposal(150, 450);
}

TEST_F(AutoExposures, AListForTwoExposuresServesOneWithItsShortTimes) {
    clearHistograms();
    setTimes(100, 300);
    ASSERT_EQ(apply(), 0);
    setTimes(100);
    ASSERT_EQ(apply(), 0);
    expectProposal(100, 0);
    measureLevel(20);  // dark: a longer time is best
    ASSERT_EQ(apply(), 0);
    EXPECT_GT(output->newExpTimes[0], 100U);
    EXPECT_EQ(output->newExpTimes[1], 0U);
}

TEST_F(AutoExposures, TheDifferenceToThePredictionIsReportedFromTheSecondFrameOn) {
    measure(sceneOf(0.05, 1.0));
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(output->score_diff, 0.0F);
    const float promised = state->score_predicted;
    EXPECT_GT(promised, 0.0F);
    measure(sceneOf(0.2, 1.0));
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(output->score_diff, output->score_measured - promised);
    EXPECT_EQ(state->score_diff, output->score_diff);
    EXPECT_EQ(output->numExposures, 1);
}

TEST_F(AutoExposures, APredictionOfExactlyZeroCounts) {
    clearHistograms();  // without pixels every score is 0
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(state->score_predicted, 0.0F);
    measure(sceneOf(0.2, 1.0));
    ASSERT_EQ(apply(), 0);
    EXPECT_GT(output->score_measured, 0.0F);
    EXPECT_EQ(output->score_diff, output->score_measured);
}

// All pixels lie below 2047, half of them just below: the quantile is 2047, the limit the present time
// itself.
TEST_F(AutoExposures, APresentTimeOfExactlyTheLimitMayStay) {
    measureLevel(600, kPixelCount / 2);
    histogram(0)[2046] = kPixelCount / 2;
    setTimes(800);
    param->hysteresis = 0.5F;
    ASSERT_EQ(apply(), 0);
    expectProposal(900, 0);  // the nearest candidate, though 600 scores more
    histogram(0)[2046] = 0;
    histogram(0)[2047] = kPixelCount / 2;
    ASSERT_EQ(apply(), 0);
    expectProposal(250, 0);  // the quantile of 2048 counts twice, the limit is 399.8
}

// --- Following a scene ---

TEST_F(AutoExposures, FollowsASceneFromBrightToDarkAndBackWithinFiveFrames) {
    for (const bool two : {false, true}) {
        ASSERT_EQ(init(), 0);
        if (two) {
            setTimes(100, 400);
        } else {
            setTimes(400);
        }
        const std::vector<double> bright = sceneOf(0.5, 12.0);
        const std::vector<double> dark = sceneOf(0.01, 0.25);
        for (const std::vector<double>& scene : {bright, dark, bright, dark, bright}) {
            const std::vector<uint32_t> times = follow(scene, 12);
            for (size_t frame = 5; frame < times.size(); ++frame) {
                EXPECT_EQ(times[frame], times[5]) << (two ? "two exposures" : "one exposure");
            }
            EXPECT_EQ(histogram(0)[2048], 0U);
        }
    }
    expectReports({});
}

TEST_F(AutoExposures, AnySettingsAndHistogramsAreBorneWithoutHarm) {
    Random random(31);
    SCOPED_TRACE(random.seedText());
    const int32_t integers[] = {kMin, -1, 0, 1, 2, 50, 38528, kMax - 1, kMax};
    const auto integer = [&] { return integers[random.bits() % std::size(integers)]; };
    for (int32_t round = 0; round < 300; ++round) {
        AutoExpSettings& settings = input->settings;
        settings.applyAutoExposure =
            static_cast<AutoExposureApplyMode>(random.bits() % 8 == 0 ? integer() : 1);
        settings.roiSettings.type = static_cast<AutoExposureROIType>(random.bits() % 8 == 0 ? integer() : 0);
        settings.roiSettings.rois.noROIs = random.bits() % 8 == 0 ? random.bits() : 1;
        settings.roiSettings.rois.ROIs[0].rectangle.angle = random.anyFloat();
        settings.minLongShortFactor = integer();
        settings.maxLongShortFactor = integer();
        settings.expTimeLowerLimit = static_cast<uint32_t>(integer());
        allowSaturatedPixels(integer());
        param->maxExpTime = integer();
        param->maxSumExpTime = integer();
        input->numExposures = random.bits() % 4;
        input->expTimes[0] = random.bits() >> random.bits() % 32;
        input->expTimes[1] = random.bits() >> random.bits() % 32;
        for (uint32_t& count : histograms) {
            count = random.bits() >> random.bits() % 32;
        }
        const int32_t failed = apply();
        EXPECT_TRUE(failed == 0 || failed == 1);
        if (failed == 0 && settings.applyAutoExposure == AutoExposureApplyMode_Normal) {
            bool listed = false;
            for (uint32_t i = 0; i < state->numValidExpTimes; ++i) {
                listed = listed || state->validExpTimes[i][0] == output->newExpTimes[0];
            }
            EXPECT_TRUE(listed) << "round " << round;
        }
    }
}

}  // namespace
