// SPDX-License-Identifier: Apache-2.0

#include "figures/Accuracy.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "simulation/Calibration.h"
#include "simulation/Image.h"

namespace figures {
namespace {

using simulation::pixelCount;

// One metre everywhere, 1000 counts in the only exposure, 2 mm of predicted noise.
simulation::Truth evenTruth(std::size_t exposureCount = 1) {
    simulation::Truth truth;
    truth.distance.assign(pixelCount, 1.0);
    truth.edge.assign(pixelCount, 0);
    truth.badPixel.assign(pixelCount, 0);
    simulation::FrequencyTruth frequency;
    frequency.wraps.assign(pixelCount, 0);
    for (std::size_t k = 0; k < exposureCount; ++k) {
        frequency.exposures.push_back(
            {std::vector<double>(pixelCount, 1000.0), std::vector<double>(pixelCount, 0.002)});
    }
    truth.frequencies.push_back(frequency);
    return truth;
}

std::vector<float> measured(float metres) {
    return std::vector<float>(pixelCount, metres);
}
std::vector<std::uint8_t> confidence(std::uint8_t value) {
    return std::vector<std::uint8_t>(pixelCount, value);
}

TEST(Accuracy, MedianAndPercentileAreThoseOfTheAbsoluteError) {
    std::vector<float> distance = measured(1.001F);
    for (std::size_t i = 0; i < pixelCount / 50; ++i) {
        distance[i] = 0.9F;  // two percent
    }
    Accuracy accuracy({60.0e6});
    accuracy.add(evenTruth(), distance, confidence(0x10));
    const AccuracySummary summary = accuracy.summary();
    EXPECT_EQ(summary.usableShare(), 1.0);
    EXPECT_EQ(summary.judgedPixels, pixelCount);
    EXPECT_NEAR(summary.medianError.value(), 0.001, 1e-6);
    EXPECT_NEAR(summary.percentile99Error.value(), 0.1, 1e-6);
}

TEST(Accuracy, EdgesCountInTheMedianButNotInThePercentile) {
    simulation::Truth truth = evenTruth();
    std::vector<float> distance = measured(1.001F);
    for (std::size_t i = 0; i < 1000; ++i) {
        truth.edge[i] = 1;
        distance[i] = 0.5F;
    }
    Accuracy accuracy({60.0e6});
    accuracy.add(truth, distance, confidence(0x10));
    EXPECT_EQ(accuracy.summary().judgedPixels, pixelCount);
    EXPECT_EQ(accuracy.summary().judgedPixelsOffEdges, pixelCount - 1000);
    EXPECT_NEAR(accuracy.summary().percentile99Error.value(), 0.001, 1e-6);
}

TEST(Accuracy, InvalidDefectiveAndWeakPixelsAreNotJudged) {
    simulation::Truth truth = evenTruth();
    std::vector<std::uint8_t> bits = confidence(0x10);
    bits[0] = 0x11;
    truth.badPixel[1] = 1;
    truth.frequencies[0].exposures[0].rawAmplitude[2] = 299.9;
    truth.frequencies[0].exposures[0].rawAmplitude[3] = 300.0;
    Accuracy accuracy({60.0e6});
    accuracy.add(truth, measured(1.0F), bits);
    EXPECT_EQ(accuracy.summary().usablePixels, pixelCount - 1);
    EXPECT_EQ(accuracy.summary().judgedPixels, pixelCount - 3);
}

// Without the bit of the last exposure the pixel comes from the first, whose amplitude is too low here.
TEST(Accuracy, TheAmplitudeIsThatOfTheExposureThePixelCameFrom) {
    simulation::Truth truth = evenTruth(2);
    truth.frequencies[0].exposures[0].rawAmplitude.assign(pixelCount, 200.0);
    std::vector<std::uint8_t> bits = confidence(0x10);
    bits[7] = 0x00;
    Accuracy accuracy({60.0e6});
    accuracy.add(truth, measured(1.0F), bits);
    EXPECT_EQ(accuracy.summary().judgedPixels, pixelCount - 1);
}

TEST(Accuracy, OneFrequencyIsJudgedModuloItsUniqueRangeAndTwoAreNot) {
    const double range = simulation::uniqueRange(60.0e6);
    EXPECT_NEAR(Accuracy({60.0e6}).errorOf(1.001, 1.0 + 2.0 * range), 0.001, 1e-9);
    EXPECT_NEAR(Accuracy({60.0e6}).errorOf(range - 0.001, 0.001), -0.002, 1e-9);
    EXPECT_NEAR(Accuracy({60.0e6, 80.0e6}).errorOf(1.001, 1.0 + range), 0.001 - range, 1e-9);
}

TEST(Accuracy, PixelsBeyondTheUniqueRangeAreCounted) {
    simulation::Truth truth = evenTruth();
    truth.distance[4] = simulation::uniqueRange(60.0e6);
    truth.distance[5] = 5.5;
    truth.distance[6] = simulation::uniqueRange(60.0e6) - 0.001;
    Accuracy accuracy({60.0e6});
    accuracy.add(truth, measured(1.0F), confidence(0x10));
    EXPECT_EQ(accuracy.summary().pixelsBeyondUniqueRange, 2U);
}

// Errors of 5 mm and -3 mm in turn: 4 mm about a bias of 1 mm. Each second difference is 8 mm long, of
// which 8 / sqrt(1.5) is the share of one pixel; 2 mm are predicted.
TEST(Accuracy, BinsHoldTheBiasTheDeviationAboutItAndTheNoiseOfNeighbours) {
    std::vector<float> distance = measured(1.005F);
    for (std::size_t i = 0; i < pixelCount; i += 2) {
        distance[i] = 0.997F;
    }
    Accuracy accuracy({60.0e6});
    accuracy.add(evenTruth(), distance, confidence(0x10));
    const AccuracySummary summary = accuracy.summary();
    ASSERT_EQ(summary.bins.size(), 1U);
    EXPECT_LE(summary.bins[0].from, 1000.0);
    EXPECT_GT(summary.bins[0].to, 1000.0);
    EXPECT_EQ(summary.bins[0].pixels, pixelCount);
    EXPECT_NEAR(summary.bins[0].bias, 0.001, 1e-6);
    EXPECT_NEAR(summary.bins[0].deviation, 0.004, 1e-6);
    EXPECT_NEAR(summary.bins[0].measured.value(), 0.008 / std::sqrt(1.5), 1e-6);
    EXPECT_NEAR(summary.bins[0].predicted.value(), 0.002, 1e-9);
    EXPECT_NEAR(summary.bins[0].ratio().value(), 4.0 / std::sqrt(1.5), 1e-3);
    EXPECT_NEAR(summary.meanError.value(), 0.001, 1e-6);
}

// From -112 mm to 111 mm across the image, 1 mm a pixel: its deviation is sqrt((224^2 - 1) / 12) mm.
TEST(Accuracy, ABiasThatChangesOverTheImageIsNoNoise) {
    std::vector<float> distance(pixelCount);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        distance[i] = 1.0F + 0.001F * (static_cast<float>(i % 224) - 112.0F);
    }
    Accuracy accuracy({60.0e6});
    accuracy.add(evenTruth(), distance, confidence(0x10));
    const AmplitudeBin bin = accuracy.summary().bins.at(0);
    EXPECT_NEAR(bin.deviation, 0.001 * std::sqrt((224.0 * 224.0 - 1.0) / 12.0), 1e-5);
    EXPECT_LT(bin.measured.value(), 1e-6);
    EXPECT_LT(bin.ratio().value(), 0.001);
}

// Independent errors of plus and minus 2 mm by a fixed rule: both measures see the same.
TEST(Accuracy, TheNoiseOfIndependentErrorsIsTheirDeviation) {
    std::vector<float> distance(pixelCount);
    std::uint32_t state = 1;
    for (float& metres : distance) {
        state = state * 1664525U + 1013904223U;
        metres = 1.0F + ((state >> 31U) != 0 ? 0.002F : -0.002F);
    }
    Accuracy accuracy({60.0e6});
    accuracy.add(evenTruth(), distance, confidence(0x10));
    const AmplitudeBin bin = accuracy.summary().bins.at(0);
    EXPECT_NEAR(bin.measured.value(), bin.deviation, 0.02 * bin.deviation);
    EXPECT_NEAR(bin.ratio().value(), 1.0, 0.02);
}

// 1 mm, 3 mm and 5 mm are predicted in a row of the image, where a pixel alone has neighbours on both sides.
TEST(Accuracy, ThePredictionGoesThroughTheSameDifference) {
    simulation::Truth truth = evenTruth();
    truth.edge.assign(pixelCount, 1);
    for (std::size_t k = 0; k < 3; ++k) {
        truth.edge[10 + k] = 0;
        truth.frequencies[0].exposures[0].distanceDeviation[10 + k] = 0.001 + 0.002 * static_cast<double>(k);
    }
    Accuracy accuracy({60.0e6});
    accuracy.add(truth, measured(1.0F), confidence(0x10));
    const AmplitudeBin bin = accuracy.summary().bins.at(0);
    EXPECT_EQ(bin.pixels, 3U);
    EXPECT_NEAR(bin.predicted.value(), 0.001 * std::sqrt((9.0 + (1.0 + 25.0) / 4.0) / 1.5), 1e-9);
}

TEST(Accuracy, NoNoiseIsMeasuredAcrossTheEndOfARow) {
    simulation::Truth truth = evenTruth();
    truth.edge.assign(pixelCount, 1);
    for (std::size_t i = 222; i < 226; ++i) {
        truth.edge[i] = 0;
    }
    Accuracy accuracy({60.0e6});
    accuracy.add(truth, measured(1.0F), confidence(0x10));
    const AmplitudeBin bin = accuracy.summary().bins.at(0);
    EXPECT_EQ(bin.pixels, 4U);
    EXPECT_EQ(bin.measured, std::nullopt);
    EXPECT_EQ(bin.ratio(), std::nullopt);
}

TEST(Accuracy, ATruthOfDistancesAloneJudgesAllUsablePixelsThatHaveOne) {
    simulation::Truth truth;
    truth.distance.assign(pixelCount, 1.0);
    truth.distance[0] = 0.0;
    Accuracy accuracy({});
    accuracy.add(truth, measured(1.002F), confidence(0x10));
    const AccuracySummary summary = accuracy.summary();
    EXPECT_EQ(summary.judgedPixels, pixelCount - 1);
    EXPECT_EQ(summary.judgedPixelsOffEdges, pixelCount - 1);
    EXPECT_NEAR(summary.medianError.value(), 0.002, 1e-6);
    EXPECT_NEAR(summary.meanError.value(), 0.002, 1e-6);
    EXPECT_TRUE(summary.bins.empty());
    EXPECT_FALSE(summary.knowsAmplitudes);
    EXPECT_FALSE(summary.knowsEdges);
}

TEST(Accuracy, AValidPixelWithoutADistanceIsNotJudged) {
    std::vector<float> distance = measured(1.0F);
    distance[0] = 0.0F;
    distance[1] = std::numeric_limits<float>::infinity();
    distance[2] = std::numeric_limits<float>::quiet_NaN();
    distance[3] = -0.5F;
    Accuracy accuracy({60.0e6});
    accuracy.add(evenTruth(), distance, confidence(0x10));
    EXPECT_EQ(accuracy.summary().usablePixels, pixelCount - 4);
    EXPECT_EQ(accuracy.summary().judgedPixels, pixelCount - 4);
    EXPECT_EQ(accuracy.summary().meanError, 0.0);
}

// Errors of 3 mm, but for one edge pixel of 30 mm among 38528.
TEST(Accuracy, RootMeanSquareAndBiasCountEdgesUnlessTheySayOtherwise) {
    simulation::Truth truth = evenTruth();
    truth.edge[7] = 1;
    truth.distance.assign(pixelCount, 2.0);
    std::vector<float> distance = measured(2.0F + 0.003F);
    distance[7] = 2.0F - 0.030F;
    Accuracy accuracy({60.0e6});
    accuracy.add(truth, distance, confidence(0x10));
    const AccuracySummary summary = accuracy.summary();
    const auto count = static_cast<double>(pixelCount);
    EXPECT_NEAR(summary.bias.value(), 0.003 - 0.033 / count, 1e-7);
    EXPECT_NEAR(summary.rmsError.value(), std::sqrt(9.0e-6 + (9.0e-4 - 9.0e-6) / count), 1e-7);
    EXPECT_NEAR(summary.meanError.value(), 0.003, 1e-7);
    EXPECT_NEAR(summary.rmsErrorOffEdges.value(), 0.003, 1e-7);
}

TEST(Accuracy, AWrongWrapIsHalfTheShortestUniqueRangeAwayOrMore) {
    const double range = simulation::uniqueRange(80.0e6);
    std::vector<float> distance = measured(1.0F);
    distance[0] = static_cast<float>(1.0 + 0.49 * range);
    distance[1] = static_cast<float>(1.0 + 0.51 * range);
    distance[2] = static_cast<float>(1.0 + 3.0 * range);
    Accuracy two({60.0e6, 80.0e6});
    two.add(evenTruth(), distance, confidence(0x10));
    EXPECT_EQ(two.summary().wrongWrapShare, 2.0 / static_cast<double>(pixelCount));
    Accuracy unknown({});
    unknown.add(evenTruth(), distance, confidence(0x10));
    EXPECT_EQ(unknown.summary().wrongWrapShare, std::nullopt);
}

// The error of one frequency is small there, as it is taken modulo, but the distance is wrong.
TEST(Accuracy, AWrongWrapOfOneFrequencyIsSeenAlthoughItsErrorIsNot) {
    simulation::Truth truth = evenTruth();
    truth.distance[9] = 1.0 + simulation::uniqueRange(60.0e6);
    Accuracy accuracy({60.0e6});
    accuracy.add(truth, measured(1.0F), confidence(0x10));
    EXPECT_EQ(accuracy.summary().wrongWrapShare, 1.0 / static_cast<double>(pixelCount));
    EXPECT_NEAR(accuracy.summary().rmsError.value(), 0.0, 1e-9);
}

TEST(Accuracy, PixelsOutsideOfTheMaskAreNotJudged) {
    Mask mask(pixelCount, 0);
    mask[3] = 1;
    mask[4] = 1;
    std::vector<float> distance = measured(5.0F);
    distance[3] = 1.001F;
    distance[4] = 1.003F;
    Accuracy accuracy({60.0e6}, mask);
    accuracy.add(evenTruth(), distance, confidence(0x10));
    EXPECT_EQ(accuracy.summary().pixels, 2U);
    EXPECT_EQ(accuracy.summary().judgedPixels, 2U);
    EXPECT_NEAR(accuracy.summary().bias.value(), 0.002, 1e-7);
}

TEST(Accuracy, FramesAddUp) {
    Accuracy accuracy({60.0e6});
    accuracy.add(evenTruth(), measured(1.0F), confidence(0x10));
    accuracy.add(evenTruth(), measured(1.0F), confidence(0x11));
    EXPECT_EQ(accuracy.summary().frames, 2U);
    EXPECT_EQ(accuracy.summary().usableShare(), 0.5);
}

TEST(Accuracy, OfNothingThereIsNone) {
    const AccuracySummary summary = Accuracy({60.0e6}).summary();
    EXPECT_EQ(summary.usableShare(), std::nullopt);
    EXPECT_EQ(summary.medianError, std::nullopt);
    EXPECT_EQ(summary.percentile99Error, std::nullopt);
    EXPECT_EQ(summary.meanError, std::nullopt);
    EXPECT_TRUE(summary.bins.empty());
}

TEST(Accuracy, RefusesWhatIsNoImage) {
    Accuracy accuracy({60.0e6});
    EXPECT_THROW(accuracy.add(evenTruth(), std::vector<float>(5), confidence(0)), std::invalid_argument);
    EXPECT_THROW(accuracy.add(evenTruth(), measured(1.0F), std::vector<std::uint8_t>(5)),
                 std::invalid_argument);
}

}  // namespace
}  // namespace figures
