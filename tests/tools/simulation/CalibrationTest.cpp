// SPDX-License-Identifier: Apache-2.0

#include "simulation/Calibration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>
#include <stdexcept>

#include "simulation/Image.h"

#include "tools/simulation/CalibrationOf.h"

namespace simulation {
namespace {

TEST(UniqueRange, IsHalfTheSpeedOfLightInAirOverTheFrequency) {
    // 299792458 / 1.000293 / 2 = 149852322.3 metres per second.
    EXPECT_NEAR(uniqueRange(60.0e6), 2.49753870, 1e-7);
    EXPECT_NEAR(uniqueRange(1.0), 149852322.3, 0.5);
}

TEST(MakeCalibration, EqualSeedsGiveEqualCamerasAndOthersDiffer) {
    const Calibration a = calibrationOf(5, {60.0e6});
    const Calibration b = calibrationOf(5, {60.0e6});
    const Calibration c = calibrationOf(6, {60.0e6});
    EXPECT_EQ(a.frequencies[0].FPPN, b.frequencies[0].FPPN);
    EXPECT_EQ(a.frequencies[0].phaseWigg, b.frequencies[0].phaseWigg);
    EXPECT_EQ(a.FPN, b.FPN);
    EXPECT_EQ(a.badPixelIdx, b.badPixelIdx);
    EXPECT_NE(a.frequencies[0].FPPN, c.frequencies[0].FPPN);
    EXPECT_NE(a.frequencies[0].phaseWigg, c.frequencies[0].phaseWigg);
    EXPECT_NE(a.FPN, c.FPN);
    EXPECT_NE(a.badPixelIdx, c.badPixelIdx);
}

TEST(MakeCalibration, FrequenciesWiggleEachInItsOwnWay) {
    const Calibration calibration = calibrationOf(1, {60.0e6, 80.0e6});
    ASSERT_EQ(calibration.frequencies.size(), 2U);
    EXPECT_EQ(calibration.frequencies[1].frequency, 80.0e6F);
    EXPECT_NE(calibration.frequencies[0].phaseWigg, calibration.frequencies[1].phaseWigg);
    EXPECT_NE(calibration.frequencies[0].FPPN, calibration.frequencies[1].FPPN);
}

TEST(MakeCalibration, PhaseGrowsWithDistanceForEverySeed) {
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        const auto p = calibrationOf(seed, {60.0e6}, true, false).frequencies[0].phaseWigg;
        EXPECT_LT(4.0F * std::abs(p[1]) + 2.0F * std::abs(p[3]) + 8.0F * std::abs(p[5]), 0.5F)
            << "seed " << seed;
    }
}

TEST(MakeCalibration, WithoutWigglingAllItsCoefficientsAreZero) {
    const Calibration calibration = calibrationOf(1, {60.0e6}, false, true);
    EXPECT_EQ(calibration.frequencies[0].phaseWigg, (std::array<float, 7>{}));
    EXPECT_EQ(calibration.frequencies[0].ampWigg, (std::array<float, 5>{1.0F, 0.0F, 0.0F, 0.0F, 0.0F}));
}

TEST(MakeCalibration, WithoutFixedPatternAllPixelsAreAlike) {
    const Calibration calibration = calibrationOf(1, {60.0e6}, true, false);
    const auto& f = calibration.frequencies[0];
    EXPECT_TRUE(std::all_of(f.FPPN.begin(), f.FPPN.end(), [](float v) { return v == 0.0F; }));
    EXPECT_EQ(f.FPPN.size(), pixelCount);
    EXPECT_EQ(f.xyCorrection, (std::array<float, 2>{}));
    EXPECT_TRUE(calibration.badPixelIdx.empty());
    EXPECT_TRUE(std::all_of(calibration.FPN.begin(), calibration.FPN.end(), [](int v) { return v == 2048; }));
}

TEST(MakeCalibration, VignettingIsAGainOfOneAtTheAxisThatGrowsToTheCorners) {
    const Calibration calibration = makeCalibration({});
    const auto& gain = calibration.vignetting;
    EXPECT_TRUE(std::all_of(gain.begin(), gain.end(), [](float v) { return v >= 1.0F && v < 4.0F; }));
    EXPECT_NEAR(static_cast<double>(gain[86 * 224 + 111]), 1.0, 1e-4);
    EXPECT_GT(gain[0], 1.8F);
}

TEST(MakeCalibration, UnitVectorsAreTheRaysOfTheLens) {
    const Calibration calibration = makeCalibration({});
    const std::vector<Vector> rays = pixelRays(calibration.lens);
    ASSERT_EQ(calibration.unitVectors.size(), 3 * pixelCount);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        ASSERT_EQ(calibration.unitVectors[3 * i], static_cast<float>(rays[i].x));
        ASSERT_EQ(calibration.unitVectors[3 * i + 1], static_cast<float>(rays[i].y));
        ASSERT_EQ(calibration.unitVectors[3 * i + 2], static_cast<float>(rays[i].z));
    }
}

TEST(MakeCalibration, BadPixelsAreDifferentInsideTheImageAndApart) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const auto pixels = calibrationOf(seed, {60.0e6}).badPixelIdx;
        ASSERT_LE(pixels.size(), largestBadPixelCount);
        ASSERT_GE(pixels.size(), 3U);
        for (const int p : pixels) {
            EXPECT_GT(p % imageWidth, 0);
            EXPECT_LT(p % imageWidth, imageWidth - 1);
            EXPECT_GT(p / imageWidth, 0);
            EXPECT_LT(p / imageWidth, imageHeight - 1);
            for (const int q : pixels) {
                EXPECT_TRUE(p == q || std::abs(p % imageWidth - q % imageWidth) > 1 ||
                            std::abs(p / imageWidth - q / imageWidth) > 1);
            }
        }
        EXPECT_EQ(std::set<int>(pixels.begin(), pixels.end()).size(), pixels.size());
    }
}

TEST(MakeCalibration, HoppingTableLeadsFromEachFrequencyToTheNext) {
    const auto one = calibrationOf(1, {60.0e6}).frequencyHoppingTable;
    ASSERT_EQ(one.size(), 1U);
    EXPECT_EQ(one[0].fid, 0);
    EXPECT_EQ(one[0].nextline, 0);
    EXPECT_EQ(one[0].numlines, 1);
    const auto two = calibrationOf(1, {60.0e6, 80.0e6}).frequencyHoppingTable;
    ASSERT_EQ(two.size(), 2U);
    EXPECT_EQ(two[0].nextline, 1);
    EXPECT_EQ(two[1].fid, 1);
    EXPECT_EQ(two[1].nextline, 0);
}

// The drift is known for 47987700 Hz in the first slot, within one percent.
TEST(MakeCalibration, AmbientDriftExistsForKnownFrequenciesInTheirSlotOnly) {
    EXPECT_EQ(calibrationOf(1, {47987700.0}, true, true, true).frequencies[0].ambientDriftFactor, 0.0036295F);
    EXPECT_EQ(calibrationOf(1, {47987700.0}, true, true, false).frequencies[0].ambientDriftFactor, 0.0F);
    EXPECT_EQ(calibrationOf(1, {60.0e6}, true, true, true).frequencies[0].ambientDriftFactor, 0.0F);
    EXPECT_EQ(calibrationOf(1, {60.0e6, 56926000.0}, true, true, true).frequencies[1].ambientDriftFactor,
              0.00435F);
}

TEST(MakeCalibration, RefusesFrequenciesThatNoCameraHas) {
    EXPECT_THROW(calibrationOf(1, {}), std::invalid_argument);
    EXPECT_THROW(calibrationOf(1, {1e6, 2e6, 3e6, 4e6, 5e6}), std::invalid_argument);
    EXPECT_THROW(calibrationOf(1, {0.0}), std::invalid_argument);
    EXPECT_THROW(calibrationOf(1, {-60.0e6}), std::invalid_argument);
    EXPECT_THROW(calibrationOf(1, {std::nan("")}), std::invalid_argument);
    EXPECT_THROW(calibrationOf(1, {60.0e6, 60.0e6}), std::invalid_argument);
}

}  // namespace
}  // namespace simulation
