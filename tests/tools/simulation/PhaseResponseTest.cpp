// SPDX-License-Identifier: Apache-2.0

#include "simulation/PhaseResponse.h"

#include <gtest/gtest.h>

#include <cmath>

#include "simulation/Calibration.h"
#include "simulation/Elementary.h"
#include "simulation/Random.h"

#include "tools/simulation/CalibrationOf.h"

namespace simulation {
namespace {

constexpr std::array<float, 7> phaseWigg{0.35F, 0.02F, 1.1F, 0.01F, -0.7F, 0.002F, 2.5F};
constexpr std::array<float, 5> ampWigg{1.05F, 0.03F, 0.4F, 0.02F, -1.9F};

TEST(PhaseResponse, TruePhaseFollowsTheFormulaOfTheCalibration) {
    const PhaseResponse response(phaseWigg, ampWigg);
    for (double phi = -3.2; phi < 3.2; phi += 0.01) {
        const auto p = [](std::size_t k) { return static_cast<double>(phaseWigg[k]); };
        const double expected =
            (phi - p(0)) - (p(1) * std::sin(4.0 * phi + p(2)) + p(3) * std::sin(2.0 * phi + p(4)) +
                            p(5) * std::sin(8.0 * phi + p(6)));
        ASSERT_NEAR(response.truePhase(phi), expected, 2e-15);
    }
}

TEST(PhaseResponse, AmplitudeFactorFollowsTheFormulaOfTheCalibration) {
    const PhaseResponse response(phaseWigg, ampWigg);
    for (double phi = -3.2; phi < 3.2; phi += 0.01) {
        const auto a = [](std::size_t k) { return static_cast<double>(ampWigg[k]); };
        const double expected = a(0) + a(1) * std::sin(4.0 * phi + a(2)) + a(3) * std::sin(2.0 * phi + a(4));
        ASSERT_NEAR(response.amplitudeFactor(phi), expected, 2e-15);
    }
}

TEST(PhaseResponse, SlopeIsTheDerivative) {
    const PhaseResponse response(phaseWigg, ampWigg);
    constexpr double h = 1e-5;
    for (double phi = -3.2; phi < 3.2; phi += 0.01) {
        const double difference = (response.truePhase(phi + h) - response.truePhase(phi - h)) / (2.0 * h);
        ASSERT_NEAR(response.slope(phi), difference, 1e-8);
    }
}

TEST(PhaseResponse, ShownPhaseSolvesToOneInATrillion) {
    const PhaseResponse response(phaseWigg, ampWigg);
    for (int k = -1000; k <= 8000; ++k) {
        const double truth = k * 0.001;
        ASSERT_NEAR(response.truePhase(response.shownPhase(truth)), truth, 1e-12) << truth;
    }
}

TEST(PhaseResponse, ShownPhaseSolvesForEveryCalibrationThatTheFactoryMakes) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const Calibration calibration = calibrationOf(seed, {60.0e6}, true, false);
        const PhaseResponse response(calibration.frequencies[0].phaseWigg,
                                     calibration.frequencies[0].ampWigg);
        for (double truth = 0.0; truth < 6.3; truth += 0.01) {
            ASSERT_NEAR(response.truePhase(response.shownPhase(truth)), truth, 1e-12) << "seed " << seed;
        }
    }
}

// 4 * 0.24 + 8 * 0.02 is above 1: the true phase falls in places, and Newton alone would leave the bracket.
TEST(PhaseResponse, BisectionHoldsTheSolutionWhereNewtonWouldLeave) {
    const PhaseResponse response({0.0F, 0.24F, 0.0F, 0.0F, 0.0F, 0.02F, 0.0F}, ampWigg);
    for (double truth = 0.0; truth < 6.3; truth += 0.001) {
        ASSERT_NEAR(response.truePhase(response.shownPhase(truth)), truth, 1e-12) << truth;
    }
}

TEST(PhaseResponse, WithoutHarmonicsOnlyTheOffsetRemains) {
    const PhaseResponse response({0.5F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F}, {2.0F, 0.0F, 0.0F, 0.0F, 0.0F});
    EXPECT_DOUBLE_EQ(response.shownPhase(1.25), 1.75);
    EXPECT_EQ(response.slope(0.3), 1.0);
    EXPECT_EQ(response.amplitudeFactor(0.3), 2.0);
}

}  // namespace
}  // namespace simulation
