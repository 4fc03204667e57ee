// SPDX-License-Identifier: Apache-2.0
//
// The image filter's filters over the neighbourhood, except for what happens inside of the medians.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "ALMath.h"
#include "ImageFilterRule.h"
#include "ImageFilterStage.h"
#include "support/Floats.h"

namespace {

using testing_support::ImageFilterStage;
using testing_support::Messages;
using testing_support::MutexServices;
using testing_support::Random;
using testing_support::sameFloat;
using testing_support::sameFloats;

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr float kUntouched = 55.0F;

/** A source of 12 x 9 pixels, all 0, and a target that shows what was written. */
class SpatialFilters : public ::testing::Test, protected ImageFilterStage {
 protected:
    static constexpr int32_t kColumns = 12;
    static constexpr int32_t kRows = 9;

    SpatialFilters() {
        setSize(kColumns, kRows);
        distance.assign(distance.size(), kUntouched);
        EXPECT_EQ(init(), 0);
        settings_ = {FilterMaskSize_3x3, 1.0F, 0.1F};
    }

    float& source(int32_t x, int32_t y) { return scratch->inImage[y * kColumns + x]; }
    float target(int32_t x, int32_t y) const { return distance[static_cast<size_t>(y * kColumns + x)]; }

    void fillSource(float value) { std::fill_n(scratch->inImage, kColumns * kRows, value); }

    int32_t mean(FilterMaskSize maskSize, int32_t startLine = 0, int32_t endLine = kRows) {
        const SpatialFilterMeanSettings settings = {maskSize};
        return applySpatialMeanFilter(distance.data(), kColumns, kRows, startLine, endLine, scratch.get(),
                                      &settings);
    }

    int32_t bilateral(int32_t startLine = 0, int32_t endLine = kRows) {
        return applySpatialBilateralFilter(distance.data(), kColumns, kRows, startLine, endLine,
                                           scratch.get(), state.get(), &settings_, &services);
    }

    int32_t median(FilterMaskSize maskSize, int32_t startLine = 0, int32_t endLine = kRows) {
        const SpatialFilterMedianSettings settings = {maskSize};
        return applySpatialMedianFilter(distance.data(), kColumns, kRows, startLine, endLine, scratch.get(),
                                        &settings, 0);
    }

    /** The pixels of columns first..last and lines top..bottom were written, and no others. */
    void expectWritten(int32_t first, int32_t last, int32_t top, int32_t bottom) {
        for (int32_t y = 0; y < kRows; ++y) {
            for (int32_t x = 0; x < kColumns; ++x) {
                const bool inside = x >= first && x <= last && y >= top && y <= bottom;
                EXPECT_EQ(target(x, y) != kUntouched, inside) << x << ", " << y;
            }
        }
        std::fill(distance.begin(), distance.end(), kUntouched);
    }

    SpatialFilterBilateralSettings settings_ = {};
};

// --- Mean ----------------------------------------------------------------------------------------

TEST_F(SpatialFilters, TheMeanOfExactlyFourValuesFillsTheHoleBetweenThem) {
    source(3, 3) = 1.0F;
    source(5, 3) = 2.0F;
    source(3, 5) = 4.0F;
    source(5, 5) = 9.0F;
    ASSERT_EQ(mean(FilterMaskSize_3x3), 0);
    EXPECT_EQ(target(4, 4), 4.0F);
    ASSERT_EQ(mean(FilterMaskSize_5x5), 0);
    EXPECT_EQ(target(4, 4), 4.0F);
}

TEST_F(SpatialFilters, TheMeanOfThreeValuesIsAHoleEvenAtAValidCentre) {
    source(4, 4) = 1.0F;
    source(5, 4) = 2.0F;
    source(4, 5) = 3.0F;
    for (const FilterMaskSize maskSize : {FilterMaskSize_3x3, FilterMaskSize_5x5}) {
        ASSERT_EQ(mean(maskSize), 0);
        EXPECT_TRUE(sameFloat(target(4, 4), 0.0F));
    }
}

TEST_F(SpatialFilters, NegativeZerosAreHolesToTheMean) {
    fillSource(-0.0F);
    source(3, 3) = 1.0F;
    source(5, 3) = 1.0F;
    source(3, 5) = 1.0F;
    ASSERT_EQ(mean(FilterMaskSize_3x3), 0);
    EXPECT_TRUE(sameFloat(target(4, 4), 0.0F));
    source(5, 5) = 5.0F;
    ASSERT_EQ(mean(FilterMaskSize_3x3), 0);
    EXPECT_EQ(target(4, 4), 2.0F);
}

TEST_F(SpatialFilters, TheMeanAddsItsColumnsInTheOrderOfTheRing) {
    // Columns 1e8, 1 and -1e8 have slots 0, 1 and 2 of the ring in the first mask: (1 + 1e8) - 1e8 loses
    // the 1.
    source(0, 1) = 1e8F;
    source(1, 1) = 1.0F;
    source(2, 1) = -1e8F;
    source(2, 0) = 0.5F;  // the fourth value; lost beside -1e8, too
    ASSERT_EQ(mean(FilterMaskSize_3x3), 0);
    EXPECT_TRUE(sameFloat(target(1, 1), 0.0F));
    // One column to the right of them the same three columns have slots 1, 2, 0: (1e8 - 1e8) + 1.
    fillSource(0.0F);
    source(1, 1) = -1e8F;
    source(2, 1) = 1.0F;
    source(3, 1) = 1e8F;
    source(1, 0) = 0.5F;
    ASSERT_EQ(mean(FilterMaskSize_3x3), 0);
    EXPECT_EQ(target(2, 1), 0.25F);
}

TEST_F(SpatialFilters, MeanAndBilateralLeaveABorderOfHalfAMask) {
    fillSource(2.0F);
    ASSERT_EQ(mean(FilterMaskSize_3x3), 0);
    expectWritten(1, kColumns - 2, 1, kRows - 2);
    ASSERT_EQ(mean(FilterMaskSize_5x5), 0);
    expectWritten(2, kColumns - 3, 2, kRows - 3);
    ASSERT_EQ(bilateral(), 0);
    expectWritten(1, kColumns - 2, 1, kRows - 2);
    settings_.maskSize = FilterMaskSize_5x5;
    ASSERT_EQ(bilateral(), 0);
    expectWritten(2, kColumns - 3, 2, kRows - 3);
}

TEST_F(SpatialFilters, ABandFromLineZeroBeginsWhereTheMaskFits) {
    fillSource(2.0F);
    settings_.maskSize = FilterMaskSize_5x5;
    ASSERT_EQ(mean(FilterMaskSize_3x3, 0, 3), 0);
    expectWritten(1, kColumns - 2, 1, 2);
    ASSERT_EQ(bilateral(0, 4), 0);
    expectWritten(2, kColumns - 3, 2, 3);
    ASSERT_EQ(median(FilterMaskSize_3x3, 0, 3), 0);
    expectWritten(1, kColumns - 2, 1, 2);
}

TEST_F(SpatialFilters, ABandWritesItsLinesOnly) {
    fillSource(2.0F);
    settings_.maskSize = FilterMaskSize_5x5;
    ASSERT_EQ(mean(FilterMaskSize_5x5, 3, 5), 0);
    expectWritten(2, kColumns - 3, 3, 4);
    ASSERT_EQ(bilateral(4, 5), 0);
    expectWritten(2, kColumns - 3, 4, 4);
    ASSERT_EQ(median(FilterMaskSize_5x5, 1, 2), 0);
    expectWritten(2, kColumns - 3, 3, 3);  // the band names the top lines of its masks
}

TEST_F(SpatialFilters, BandsBeyondTheImageWriteNothingBesideIt) {
    fillSource(2.0F);
    ASSERT_EQ(mean(FilterMaskSize_3x3, kMin, kMax), 0);
    expectWritten(1, kColumns - 2, 1, kRows - 2);
    ASSERT_EQ(bilateral(kMin, kMax), 0);
    expectWritten(1, kColumns - 2, 1, kRows - 2);
    for (const auto& [start, end] : {std::pair(5, 5), {5, 2}, {kRows, kMax}, {kMax, kMin}, {kMin, 0}}) {
        ASSERT_EQ(mean(FilterMaskSize_3x3, start, end), 0);
        ASSERT_EQ(bilateral(start, end), 0);
        expectWritten(0, -1, 0, -1);
    }
}

TEST_F(SpatialFilters, TheBandsOfAnImageGiveTheImage) {
    Random random(141);
    SCOPED_TRACE(random.seedText());
    std::vector<float> rough(kColumns * kRows);
    fillWithRoughScene(random, rough);
    std::copy(rough.begin(), rough.end(), scratch->inImage);
    settings_.maskSize = FilterMaskSize_5x5;
    ASSERT_EQ(bilateral(), 0);
    const std::vector<float> whole = distance;
    std::fill(distance.begin(), distance.end(), kUntouched);
    for (int32_t y = 0; y < kRows; y += 2) {
        ASSERT_EQ(bilateral(y, y + 2), 0);
    }
    EXPECT_TRUE(sameFloats(distance.data(), whole.data(), whole.size()));
}

// --- Bilateral -----------------------------------------------------------------------------------

TEST_F(SpatialFilters, BilateralLeavesAHoleAmongMeasurements) {
    fillSource(2.0F);
    source(4, 4) = 0.0F;
    source(7, 4) = -0.0F;
    ASSERT_EQ(bilateral(), 0);
    EXPECT_TRUE(sameFloat(target(4, 4), 0.0F));
    EXPECT_TRUE(sameFloat(target(7, 4), 0.0F));
    EXPECT_EQ(target(5, 4), 2.0F);
}

TEST_F(SpatialFilters, BilateralKeepsAnIsolatedMeasurement) {
    source(4, 4) = 0.05F;  // so close to 0 that a hole would weigh as a neighbour
    for (const FilterMaskSize maskSize : {FilterMaskSize_3x3, FilterMaskSize_5x5}) {
        settings_.maskSize = maskSize;
        ASSERT_EQ(bilateral(), 0);
        EXPECT_NEAR(target(4, 4), 0.05F, 1e-8F);
    }
}

TEST_F(SpatialFilters, NeighboursFurtherThanSixSigmaHaveNoWeight) {
    fillSource(1.0F);
    source(4, 4) = 1001.0F;  // so far above the wall that a weight of exp(-18), that at 6 sigma, would show
    ASSERT_EQ(bilateral(), 0);
    EXPECT_EQ(target(5, 4), 1.0F);
    EXPECT_NEAR(target(4, 4), 1001.0F, 1e-3F);
}

TEST_F(SpatialFilters, BilateralWeighsByDistanceInTheImageAndInValue) {
    // One neighbour beside the centre, at one step of the range table exactly:
    // weights exp(0) for the centre, exp(-1/2) exp(-(0.09375)^2 / 2) for the neighbour.
    settings_ = {FilterMaskSize_3x3, 1.0F, 1.0F};
    source(4, 4) = 1.0F;
    source(5, 4) = 1.09375F;
    ASSERT_EQ(bilateral(), 0);
    const double weight = 0.6065306597 * 0.9956150893;
    EXPECT_NEAR(static_cast<double>(target(4, 4)), (1.0 + weight * 1.09375) / (1.0 + weight), 1e-6);
}

TEST_F(SpatialFilters, BilateralTablesAreThoseOfTheirFormulas) {
    for (const FilterMaskSize maskSize : {FilterMaskSize_3x3, FilterMaskSize_5x5}) {
        settings_ = {maskSize, 1.3F, 0.07F};
        ASSERT_EQ(bilateral(), 0);
        const rule::BilateralTables expected = rule::bilateralTables(settings_);
        const size_t places = maskSize == FilterMaskSize_3x3 ? 9 : 25;
        EXPECT_TRUE(sameFloats(state->bilatSpatialWeights, expected.spatialWeights, places));
        EXPECT_TRUE(sameFloats(state->bilatGaussLUTSlope, expected.slope, 64));
        EXPECT_TRUE(sameFloats(state->bilatGaussLUTOffset, expected.offset, 64));
        EXPECT_TRUE(sameFloat(state->bilatLUTStep, 0.07F * 0.09375F));
    }
}

TEST_F(SpatialFilters, TheRangeTableIsExactAtTheBordersOfItsIntervals) {
    settings_ = {FilterMaskSize_3x3, 1.0F, 0.5F};
    ASSERT_EQ(bilateral(), 0);
    for (int32_t k = 0; k < 64; ++k) {
        const double x = static_cast<double>(k + 1) * 0.09375 * 0.5;
        const double line = static_cast<double>(state->bilatGaussLUTOffset[k]) +
                            x * static_cast<double>(state->bilatGaussLUTSlope[k]);
        EXPECT_NEAR(line, std::exp(-x * x / 0.5), 2e-6) << k;
    }
}

TEST_F(SpatialFilters, AVerySmallSigmaPixelGivesNoWeightOffTheCentre) {
    settings_ = {FilterMaskSize_5x5, 2e-6F, 1.0F};
    fillSource(1.0F);
    source(4, 4) = 1.5F;
    ASSERT_EQ(bilateral(), 0);
    for (int32_t place = 0; place < 25; ++place) {
        EXPECT_EQ(state->bilatSpatialWeights[place], place == 12 ? 1.0F : 0.0F) << place;
    }
    EXPECT_NEAR(target(4, 4), 1.5F, 1e-6F);
}

TEST_F(SpatialFilters, UnchangedSettingsLeaveTheTablesAsTheyAre) {
    ASSERT_EQ(bilateral(), 0);
    state->bilatSpatialWeights[4] = 0.5F;
    state->bilatGaussLUTOffset[3] = 0.125F;
    ASSERT_EQ(bilateral(), 0);
    EXPECT_EQ(state->bilatSpatialWeights[4], 0.5F);
    EXPECT_EQ(state->bilatGaussLUTOffset[3], 0.125F);
}

TEST_F(SpatialFilters, ChangingSigmaPixelAloneMakesAllTablesAnew) {
    ASSERT_EQ(bilateral(), 0);
    const float offset = state->bilatGaussLUTOffset[3];
    state->bilatGaussLUTOffset[3] = 0.125F;
    state->bilatGaussLUTSlope[5] = 0.125F;
    settings_.sigmaPixel = 2.0F;
    ASSERT_EQ(bilateral(), 0);
    EXPECT_EQ(state->bilatGaussLUTOffset[3], offset);
    EXPECT_LT(state->bilatGaussLUTSlope[5], 0.0F);
    EXPECT_EQ(state->bilatSpatialWeights[0], al_expf(-2.0F * (1.0F / 8.0F)));
}

TEST_F(SpatialFilters, TheTablesAreMadeUnderTheMutex) {
    const MutexServices mutex;
    useThreads(1);
    ASSERT_EQ(init(), 0);
    ASSERT_EQ(bilateral(), 0);
    ASSERT_EQ(bilateral(), 0);
    EXPECT_EQ(mutex.locked, 2);
    EXPECT_EQ(mutex.unlocked, 2);
}

TEST_F(SpatialFilters, ARangeTableTooFineIsRefusedAndKeepsTheMutex) {
    MutexServices mutex;
    useThreads(1);
    ASSERT_EQ(init(), 0);
    settings_.sigmaDistance = 1.06e-5F;  // intervals of 0.994e-6
    EXPECT_EQ(bilateral(), 1);
    EXPECT_EQ(takeMessages(), Messages{"Denominator too small (maybe distance sigma too small?)"});
    EXPECT_EQ(mutex.locked, 1);
    EXPECT_EQ(mutex.unlocked, 0);
    const SpatialFilterBilateralSettings none = {};
    EXPECT_EQ(std::memcmp(&state->lastSpatBilateralSettings, &none, sizeof none), 0);
    expectWritten(0, -1, 0, -1);
    MutexServices::unlock(MutexServices::kHandle);
    settings_.sigmaDistance = 1.1e-5F;
    EXPECT_EQ(bilateral(), 0);
}

TEST_F(SpatialFilters, HugeSigmasNeitherCrashNorReadBesideTheTables) {
    fillSource(1.0F);
    source(4, 4) = 3e38F;
    for (const float sigma :
         {1e10F, 1e20F, std::numeric_limits<float>::max(), std::numeric_limits<float>::infinity(),
          std::numeric_limits<float>::quiet_NaN()}) {
        settings_ = {FilterMaskSize_5x5, 1.0F, sigma};
        EXPECT_EQ(bilateral(), 0);
        settings_ = {FilterMaskSize_3x3, sigma, 0.1F};
        EXPECT_EQ(bilateral(), 0);
    }
    EXPECT_TRUE(takeMessages().empty());
}

TEST_F(SpatialFilters, AHugeDifferenceLiesInTheLastInterval) {
    fillSource(1.0F);
    source(4, 4) = 1e30F;  // a quotient far beyond every integer
    ASSERT_EQ(bilateral(), 0);
    EXPECT_EQ(target(5, 4), 1.0F);
    EXPECT_NEAR(target(4, 4), 1e30F, 1e24F);
}

// --- Refusals ------------------------------------------------------------------------------------

TEST_F(SpatialFilters, NullPointersAreRefusedWithoutMessage) {
    const SpatialFilterMedianSettings medianSettings = {FilterMaskSize_3x3};
    const SpatialFilterMeanSettings meanSettings = {FilterMaskSize_3x3};
    float* const image = distance.data();
    EXPECT_EQ(applySpatialMedianFilter(nullptr, 12, 9, 0, 9, scratch.get(), &medianSettings, 0), 1);
    EXPECT_EQ(applySpatialMedianFilter(image, 12, 9, 0, 9, nullptr, &medianSettings, 0), 1);
    EXPECT_EQ(applySpatialMedianFilter(image, 12, 9, 0, 9, scratch.get(), nullptr, 0), 1);
    EXPECT_EQ(applySpatialMeanFilter(nullptr, 12, 9, 0, 9, scratch.get(), &meanSettings), 1);
    EXPECT_EQ(applySpatialMeanFilter(image, 12, 9, 0, 9, nullptr, &meanSettings), 1);
    EXPECT_EQ(applySpatialMeanFilter(image, 12, 9, 0, 9, scratch.get(), nullptr), 1);
    const auto filter = [&](float* target, ImageFilterScratch* work, ImageFilterState* filterState,
                            const SpatialFilterBilateralSettings* settings) {
        return applySpatialBilateralFilter(target, 12, 9, 0, 9, work, filterState, settings, nullptr);
    };
    EXPECT_EQ(filter(nullptr, scratch.get(), state.get(), &settings_), 1);
    EXPECT_EQ(filter(image, nullptr, state.get(), &settings_), 1);
    EXPECT_EQ(filter(image, scratch.get(), nullptr, &settings_), 1);
    EXPECT_EQ(filter(image, scratch.get(), state.get(), nullptr), 1);
    EXPECT_EQ(takeMessages(), Messages(10, ""));
}

TEST_F(SpatialFilters, OtherMaskSizesAreRefused) {
    fillSource(2.0F);
    for (const int32_t maskSize : {-1, 2, 3, kMax, kMin}) {
        settings_ = {static_cast<FilterMaskSize>(maskSize), -1.0F, -1.0F};
        EXPECT_EQ(median(static_cast<FilterMaskSize>(maskSize)), 1);
        EXPECT_EQ(mean(static_cast<FilterMaskSize>(maskSize)), 1);
        EXPECT_EQ(bilateral(), 1);
        EXPECT_EQ(takeMessages(), Messages(3, "Unsupported mask size"));
    }
    expectWritten(0, -1, 0, -1);
}

TEST_F(SpatialFilters, SigmasUpToAMillionthAreRefused) {
    for (const float sigma : {1e-6F, 0.0F, -1.0F, -std::numeric_limits<float>::infinity()}) {
        settings_ = {FilterMaskSize_3x3, sigma, sigma};
        EXPECT_EQ(bilateral(), 1);
        settings_ = {FilterMaskSize_3x3, sigma, 0.1F};
        EXPECT_EQ(bilateral(), 1);
        EXPECT_EQ(takeMessages(), (Messages{"Sigma distance must be > 0", "Sigma pixel must be > 0"}));
    }
    expectWritten(0, -1, 0, -1);
}

TEST_F(SpatialFilters, TheMediansOwnFailureIsNotPassedOn) {
    const SpatialFilterMedianSettings settings = {FilterMaskSize_5x5};
    EXPECT_EQ(applySpatialMedianFilter(distance.data(), 4, 9, 0, 9, scratch.get(), &settings, 0), 0);
    EXPECT_EQ(takeMessages(), Messages{""});
}

TEST_F(SpatialFilters, ImagesNarrowerThanTheMaskStayAsTheyAre) {
    const SpatialFilterMeanSettings meanSettings = {FilterMaskSize_5x5};
    settings_.maskSize = FilterMaskSize_5x5;
    for (const auto& [columns, rows] :
         {std::pair(4, 9), {1, 9}, {12, 4}, {12, 1}, {0, 9}, {12, 0}, {kMax, 0}, {0, kMax}}) {
        EXPECT_EQ(
            applySpatialMeanFilter(distance.data(), columns, rows, 0, rows, scratch.get(), &meanSettings), 0);
        EXPECT_EQ(applySpatialBilateralFilter(distance.data(), columns, rows, 0, rows, scratch.get(),
                                              state.get(), &settings_, nullptr),
                  0);
    }
    expectWritten(0, -1, 0, -1);
}

TEST_F(SpatialFilters, ImagesBeyondTheScratchAreRefused) {
    const SpatialFilterMedianSettings medianSettings = {FilterMaskSize_3x3};
    const SpatialFilterMeanSettings meanSettings = {FilterMaskSize_3x3};
    for (const auto& [columns, rows] :
         {std::pair(224, 173), {kMax, kMax}, {-12, 9}, {12, -9}, {kMin, kMin}}) {
        EXPECT_EQ(
            applySpatialMedianFilter(distance.data(), columns, rows, 0, 9, scratch.get(), &medianSettings, 0),
            1);
        EXPECT_EQ(applySpatialMeanFilter(distance.data(), columns, rows, 0, 9, scratch.get(), &meanSettings),
                  1);
        EXPECT_EQ(applySpatialBilateralFilter(distance.data(), columns, rows, 0, 9, scratch.get(),
                                              state.get(), &settings_, nullptr),
                  1);
        EXPECT_EQ(takeMessages(), Messages(3, ""));
    }
    expectWritten(0, -1, 0, -1);
}

// --- Border --------------------------------------------------------------------------------------

TEST_F(SpatialFilters, ZeroImageBorderZeroesTheOutermostLinesAndColumns) {
    for (const int32_t border : {0, 1, 2, 4}) {
        std::fill(distance.begin(), distance.end(), kUntouched);
        ASSERT_EQ(zeroImageBorder(distance.data(), kColumns, kRows, border), 0);
        for (int32_t y = 0; y < kRows; ++y) {
            for (int32_t x = 0; x < kColumns; ++x) {
                const bool inside = x >= border && x < kColumns - border && y >= border && y < kRows - border;
                EXPECT_EQ(target(x, y), inside ? kUntouched : 0.0F) << x << ", " << y;
            }
        }
    }
}

TEST_F(SpatialFilters, ABorderOfHalfTheHeightOrWidthZeroesAll) {
    for (const auto& [columns, rows] : {std::pair{12, 8}, {8, 9}, {8, 8}}) {
        const int32_t pixels = columns * rows;
        std::fill(distance.begin(), distance.end(), kUntouched);
        ASSERT_EQ(zeroImageBorder(distance.data(), columns, rows, 4), 0) << columns << " x " << rows;
        EXPECT_EQ(std::count(distance.begin(), distance.begin() + pixels, 0.0F), pixels);
        EXPECT_EQ(std::count(distance.begin() + pixels, distance.end(), kUntouched),
                  kColumns * kRows - pixels);
    }
}

TEST_F(SpatialFilters, ZeroImageBorderRefusesWhatDoesNotFit) {
    EXPECT_EQ(zeroImageBorder(nullptr, kColumns, kRows, 1), 1);
    EXPECT_EQ(zeroImageBorder(distance.data(), kColumns, kRows, 5), 1);  // 10 lines of 9
    EXPECT_EQ(zeroImageBorder(distance.data(), 7, kRows, 4), 1);         // 8 columns of 7
    EXPECT_EQ(zeroImageBorder(distance.data(), 7, kRows, kMax), 1);
    EXPECT_EQ(takeMessages(), (Messages{"", "", "", ""}));
    EXPECT_EQ(zeroImageBorder(distance.data(), 10, kRows, 1), 1);
    EXPECT_EQ(takeMessages(), Messages{"width must be a multiple of 4"});
    EXPECT_EQ(zeroImageBorder(distance.data(), kColumns, kRows, -1), 0);
    EXPECT_EQ(zeroImageBorder(distance.data(), kColumns, kRows, kMin), 0);
    expectWritten(0, -1, 0, -1);
}

}  // namespace
