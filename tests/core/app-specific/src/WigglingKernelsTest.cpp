// SPDX-License-Identifier: Apache-2.0
//
// The loops of the wiggling stage: their rules, and their equality with the plain statement on every target.
#include "WigglingKernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

#include "WigglingRule.h"
#include "support/Floats.h"
#include "support/Random.h"
#include "support/Targets.h"

namespace {

using testing_support::Random;
using testing_support::sameFloats;

constexpr float kTwoPi = 6.2831855F;
constexpr float kPi = 3.1415927F;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kAmpWigg[5] = {1.1F, 0.02F, 0.3F, -0.04F, 0.8F};

/** A table without meaning. Its memory ends with its last sample, so that a sanitizer sees overruns. */
std::vector<float> randomTable(Random& random, size_t size) {
    std::vector<float> table(size);
    for (float& sample : table) {
        sample = random.real(-20.0F, 20.0F);
    }
    table.shrink_to_fit();
    return table;
}

/** Values around every sample of a table with so many to a period: on it and one step beside it. */
std::vector<float> aroundEverySample(int samplesPerPeriod) {
    std::vector<float> phases;
    for (int x = 0; x <= samplesPerPeriod; ++x) {
        const float phase = static_cast<float>(x) * kTwoPi / static_cast<float>(samplesPerPeriod);
        phases.push_back(phase);
        phases.push_back(x == 0 ? 1e-9F : std::nextafter(phase, kInfinity));
        phases.push_back(x == 0 ? -1e-9F : std::nextafter(phase, -kInfinity));
        phases.push_back(phase + 0.01F);
    }
    return phases;
}

// ---------------------------------------------------------------------------------------------------------------------

class WigglingBackwardLoop : public testing_support::OnEveryTarget {
 protected:
    static void expectEqual(const std::vector<float>& invCalibLut, const std::vector<float>& phi,
                            const std::vector<float>& ampl) {
        const size_t count = phi.size();
        std::vector<float> real(count), imag(count), expectedReal(count), expectedImag(count);
        Wiggling_ComputeRaw(invCalibLut.data(), {count, phi.data(), ampl.data(), real.data(), imag.data()});
        rule::wigglingBackward(invCalibLut.data(),
                               {count, phi.data(), ampl.data(), expectedReal.data(), expectedImag.data()});
        EXPECT_TRUE(sameFloats(real.data(), expectedReal.data(), count));
        EXPECT_TRUE(sameFloats(imag.data(), expectedImag.data(), count));
    }

    struct Raw {
        float real;
        float imag;
    };

    static Raw raw(const std::vector<float>& invCalibLut, float phi, float ampl = 1.0F) {
        const float phis[4] = {phi, phi, phi, phi};
        const float ampls[4] = {ampl, ampl, ampl, ampl};
        float real[4];
        float imag[4];
        Wiggling_ComputeRaw(invCalibLut.data(), {4, phis, ampls, real, imag});
        EXPECT_TRUE(testing_support::sameFloat(real[0], real[3]));
        EXPECT_TRUE(testing_support::sameFloat(imag[0], imag[3]));
        return {real[0], imag[0]};
    }

    /** Sample x holds 1000 + x: a value tells its place. */
    static std::vector<float> placeTable() {
        std::vector<float> table(kInverseLutSize);
        std::iota(table.begin(), table.end(), 1000.0F);
        return table;
    }
};
INSTANTIATE_ON_EVERY_TARGET(WigglingBackwardLoop);

TEST_P(WigglingBackwardLoop, EqualsTheRuleOverAnImage) {
    Random random(31);
    SCOPED_TRACE(random.seedText());
    const auto tables = rule::wigglingTables(kAmpWigg, ReferenceFunc_UnitSquare);
    const std::vector<float> lut(tables.invCalibLut.begin(), tables.invCalibLut.end());
    std::vector<float> phi(kPixelCount), ampl(kPixelCount);
    for (size_t i = 0; i < phi.size(); ++i) {
        phi[i] = random.real(0.0F, kTwoPi);
        ampl[i] = random.real(0.0F, 50.0F);
    }
    expectEqual(lut, phi, ampl);
}

TEST_P(WigglingBackwardLoop, EqualsTheRuleForEveryNumberOfPixels) {
    Random random(32);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> lut = randomTable(random, kInverseLutSize);
    for (size_t count = 4; count <= 460; count += 4) {
        std::vector<float> phi(count), ampl(count);
        for (size_t i = 0; i < count; ++i) {
            phi[i] = random.real(-kTwoPi, 3.0F * kTwoPi);
            ampl[i] = random.real(-1.0F, 50.0F);
        }
        expectEqual(lut, phi, ampl);
    }
}

TEST_P(WigglingBackwardLoop, EqualsTheRuleAroundEverySample) {
    Random random(33);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> phi = aroundEverySample(256);
    expectEqual(randomTable(random, kInverseLutSize), phi, std::vector<float>(phi.size(), 3.0F));
}

TEST_P(WigglingBackwardLoop, EqualsTheRuleForAnyFloats) {
    Random random(34);
    SCOPED_TRACE(random.seedText());
    std::vector<float> phi(4000), ampl(4000);
    for (size_t i = 0; i < phi.size(); ++i) {
        phi[i] = random.anyFloat();
        ampl[i] = random.anyFloat();
    }
    expectEqual(randomTable(random, kInverseLutSize), phi, ampl);
}

TEST_P(WigglingBackwardLoop, EqualsTheRuleForATableOfAnyFloats) {
    Random random(35);
    SCOPED_TRACE(random.seedText());
    std::vector<float> lut(kInverseLutSize);
    for (float& sample : lut) {
        sample = random.anyFloat();
    }
    std::vector<float> phi(4000), ampl(4000, 2.0F);
    for (float& p : phi) {
        p = random.real(0.01F, kTwoPi);
    }
    expectEqual(lut, phi, ampl);
}

TEST_P(WigglingBackwardLoop, NoPixelsTouchNothing) {
    float real = 7.0F;
    float imag = 8.0F;
    const std::vector<float> lut(kInverseLutSize, 1.0F);
    Wiggling_ComputeRaw(lut.data(), {0, nullptr, nullptr, &real, &imag});
    EXPECT_EQ(real, 7.0F);
    EXPECT_EQ(imag, 8.0F);
}

TEST_P(WigglingBackwardLoop, NothingBeyondTheLastPixelIsWritten) {
    const std::vector<float> lut(kInverseLutSize, 1.0F);
    const std::vector<float> ones(236, 1.0F);
    std::vector<float> real(240, 7.0F);
    std::vector<float> imag(240, 8.0F);
    Wiggling_ComputeRaw(lut.data(), {236, ones.data(), ones.data(), real.data(), imag.data()});
    for (size_t i = 236; i < 240; ++i) {
        EXPECT_EQ(real[i], 7.0F);
        EXPECT_EQ(imag[i], 8.0F);
    }
}

TEST_P(WigglingBackwardLoop, AFullPeriodReadsTheFirstSample) {
    EXPECT_EQ(raw(placeTable(), kTwoPi).real, 1000.0F);
    EXPECT_EQ(raw(placeTable(), kTwoPi).imag, 1192.0F);  // three quarters of 256
}

TEST_P(WigglingBackwardLoop, QuadratureIsReadAQuarterPeriodEarlier) {
    const Raw atHalf = raw(placeTable(), kPi);
    EXPECT_NEAR(atHalf.real, 1128.0F, 1e-3);
    EXPECT_NEAR(atHalf.imag, 1064.0F, 1e-3);
}

TEST_P(WigglingBackwardLoop, APhaseThatRoundsUpToThePeriodReadsTheClosingSample) {
    // -1e-9 + 2 pi rounds to 2 pi, position 256 exactly: the sample after it does not exist.
    std::vector<float> lut = placeTable();
    lut[256] = 5000.0F;
    EXPECT_EQ(raw(lut, -1e-9F).real, 5000.0F);
}

TEST_P(WigglingBackwardLoop, ANegativePhaseWithinAPeriodIsShiftedByIt) {
    EXPECT_NEAR(raw(placeTable(), -0.5F * kPi).real, 1192.0F, 1e-3);
}

TEST_P(WigglingBackwardLoop, APhaseOfAPeriodOrMoreBelowZeroIsNotReduced) {
    // -7: one period is cut towards zero, 7 + 2 pi - 2 pi is left, and 2 pi - 7 is below 0. The first two
    // samples are extended to position (2 pi - 7) 256 / (2 pi) = -29.2; the quadrature one is within range.
    EXPECT_NEAR(raw(placeTable(), -7.0F).real, 1000.0 + (2.0 * M_PI - 7.0) * 128.0 / M_PI, 1e-2);
    EXPECT_NEAR(raw(placeTable(), -7.0F).imag, 1192.0 + (2.0 * M_PI - 7.0) * 128.0 / M_PI, 1e-2);
}

TEST_P(WigglingBackwardLoop, APhaseBeyondAllReductionReadsTheClosingSample) {
    std::vector<float> lut = placeTable();
    lut[256] = 5000.0F;
    EXPECT_EQ(raw(lut, 1e30F).real, 5000.0F);
    EXPECT_EQ(raw(lut, 1e30F).imag, 5000.0F);
}

TEST_P(WigglingBackwardLoop, APhaseThatIsNoNumberGivesNoNumber) {
    for (const float phase : {kNaN, kInfinity, -kInfinity}) {
        EXPECT_TRUE(std::isnan(raw(placeTable(), phase).real));
        EXPECT_TRUE(std::isnan(raw(placeTable(), phase).imag));
    }
}

TEST_P(WigglingBackwardLoop, AnAmplitudeThatIsNoNumberGivesNoNumber) {
    EXPECT_TRUE(std::isnan(raw(placeTable(), 1.0F, kNaN).real));
    EXPECT_EQ(raw(placeTable(), 1.0F, kInfinity).real, kInfinity);
}

TEST_P(WigglingBackwardLoop, ResultsMayReplaceTheInputs) {
    Random random(36);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> lut = randomTable(random, kInverseLutSize);
    std::vector<float> phi(236), ampl(236), real(236), imag(236);
    for (size_t i = 0; i < phi.size(); ++i) {
        phi[i] = random.real(0.0F, kTwoPi);
        ampl[i] = random.real(0.0F, 50.0F);
    }
    Wiggling_ComputeRaw(lut.data(), {phi.size(), phi.data(), ampl.data(), real.data(), imag.data()});
    Wiggling_ComputeRaw(lut.data(), {phi.size(), phi.data(), ampl.data(), ampl.data(), phi.data()});
    EXPECT_TRUE(sameFloats(ampl.data(), real.data(), real.size()));
    EXPECT_TRUE(sameFloats(phi.data(), imag.data(), imag.size()));
}

// ---------------------------------------------------------------------------------------------------------------------

class WigglingForwardLoop : public testing_support::OnEveryTarget {
 protected:
    static constexpr WigglingCalibReferenceFunc kAll[] = {ReferenceFunc_UnitCircle, ReferenceFunc_UnitSquare,
                                                          ReferenceFunc_UnitDiamond};

    static void expectEqual(WigglingCalibReferenceFunc referenceFunc, const std::vector<float>& lutPhase,
                            const std::vector<float>& lutAmp, const std::vector<float>& real,
                            const std::vector<float>& imag) {
        SCOPED_TRACE(::testing::Message() << "reference function " << referenceFunc);
        const size_t count = real.size();
        std::vector<float> phi(count), ampl(count), expectedPhi(count), expectedAmpl(count);
        Wiggling_ComputeTrue(referenceFunc, lutPhase.data(), lutAmp.data(),
                             {count, real.data(), imag.data(), phi.data(), ampl.data()});
        rule::wigglingForward(referenceFunc, lutPhase.data(), lutAmp.data(),
                              {count, real.data(), imag.data(), expectedPhi.data(), expectedAmpl.data()});
        EXPECT_TRUE(sameFloats(phi.data(), expectedPhi.data(), count));
        EXPECT_TRUE(sameFloats(ampl.data(), expectedAmpl.data(), count));
    }

    struct True {
        float phi;
        float ampl;
    };

    /** With tables that reveal the position: the phase is a thousandth of it, the factor is 1 plus it. */
    static True trueOf(WigglingCalibReferenceFunc referenceFunc, float re, float im) {
        std::vector<float> lutPhase(kReferenceLutSize), lutAmp(kReferenceLutSize);
        for (size_t x = 0; x < lutPhase.size(); ++x) {
            lutPhase[x] = static_cast<float>(x) / 1000.0F;
            lutAmp[x] = static_cast<float>(x) + 1.0F;
        }
        const std::vector<float> real(8, re);
        const std::vector<float> imag(8, im);
        float phi[8];
        float ampl[8];
        Wiggling_ComputeTrue(referenceFunc, lutPhase.data(), lutAmp.data(),
                             {8, real.data(), imag.data(), phi, ampl});
        EXPECT_TRUE(testing_support::sameFloat(phi[0], phi[7]));
        EXPECT_TRUE(testing_support::sameFloat(ampl[0], ampl[7]));
        return {phi[0], ampl[0]};
    }

    /** Position in the tables, 0 to 255. */
    static double positionOf(WigglingCalibReferenceFunc referenceFunc, float re, float im) {
        return 1000.0 * static_cast<double>(trueOf(referenceFunc, re, im).phi);
    }
};
INSTANTIATE_ON_EVERY_TARGET(WigglingForwardLoop);

TEST_P(WigglingForwardLoop, EqualsTheRuleOverAnImage) {
    Random random(41);
    SCOPED_TRACE(random.seedText());
    std::vector<float> real(kPixelCount), imag(kPixelCount);
    for (size_t i = 0; i < real.size(); ++i) {
        real[i] = random.real(-50.0F, 50.0F);
        imag[i] = random.real(-50.0F, 50.0F);
    }
    for (const auto referenceFunc : kAll) {
        const auto tables = rule::wigglingTables(kAmpWigg, referenceFunc);
        expectEqual(referenceFunc, {tables.lutPhase.begin(), tables.lutPhase.end()},
                    {tables.lutAmp.begin(), tables.lutAmp.end()}, real, imag);
    }
}

TEST_P(WigglingForwardLoop, EqualsTheRuleForEveryNumberOfPixels) {
    Random random(42);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> lutPhase = randomTable(random, kReferenceLutSize);
    const std::vector<float> lutAmp = randomTable(random, kReferenceLutSize);
    for (size_t count = 8; count <= 464; count += 8) {
        std::vector<float> real(count), imag(count);
        for (size_t i = 0; i < count; ++i) {
            real[i] = random.real(-3.0F, 3.0F);
            imag[i] = random.real(-3.0F, 3.0F);
        }
        expectEqual(kAll[count / 8 % 3], lutPhase, lutAmp, real, imag);
    }
}

TEST_P(WigglingForwardLoop, EqualsTheRuleOnAxesAndDiagonals) {
    Random random(43);
    SCOPED_TRACE(random.seedText());
    std::vector<float> real, imag;
    for (const float size : {1e-12F, 1e-10F, 1.0F, 1.5F, 3.14159F, 1000.1F}) {
        const float below = std::nextafter(size, 0.0F);
        for (const float x : {-size, -below, -0.0F, 0.0F, below, size}) {
            for (const float y : {-size, -below, -0.0F, 0.0F, below, size}) {
                real.push_back(x);
                imag.push_back(y);
            }
        }
    }
    const std::vector<float> lutPhase = randomTable(random, kReferenceLutSize);
    const std::vector<float> lutAmp = randomTable(random, kReferenceLutSize);
    for (const auto referenceFunc : kAll) {
        expectEqual(referenceFunc, lutPhase, lutAmp, real, imag);
    }
}

TEST_P(WigglingForwardLoop, EqualsTheRuleForAnyFloats) {
    Random random(44);
    SCOPED_TRACE(random.seedText());
    std::vector<float> real(4000), imag(4000);
    for (size_t i = 0; i < real.size(); ++i) {
        real[i] = random.anyFloat();
        imag[i] = random.anyFloat();
    }
    const std::vector<float> lutPhase = randomTable(random, kReferenceLutSize);
    const std::vector<float> lutAmp = randomTable(random, kReferenceLutSize);
    for (const auto referenceFunc : kAll) {
        expectEqual(referenceFunc, lutPhase, lutAmp, real, imag);
    }
}

TEST_P(WigglingForwardLoop, EqualsTheRuleForTablesOfAnyFloats) {
    Random random(45);
    SCOPED_TRACE(random.seedText());
    std::vector<float> lutPhase(kReferenceLutSize), lutAmp(kReferenceLutSize), real(4000), imag(4000);
    for (size_t x = 0; x < lutPhase.size(); ++x) {
        lutPhase[x] = random.anyFloat();
        lutAmp[x] = random.anyFloat();
    }
    for (size_t i = 0; i < real.size(); ++i) {
        real[i] = random.real(-3.0F, 3.0F);
        imag[i] = random.real(-3.0F, 3.0F);
    }
    for (const auto referenceFunc : kAll) {
        expectEqual(referenceFunc, lutPhase, lutAmp, real, imag);
    }
}

TEST_P(WigglingForwardLoop, NothingBeyondTheLastPixelIsWritten) {
    const std::vector<float> table(kReferenceLutSize, 1.0F);
    const std::vector<float> ones(232, 1.0F);
    for (const auto referenceFunc : kAll) {
        std::vector<float> phi(240, 7.0F);
        std::vector<float> ampl(240, 8.0F);
        Wiggling_ComputeTrue(referenceFunc, table.data(), table.data(),
                             {232, ones.data(), ones.data(), phi.data(), ampl.data()});
        for (size_t i = 232; i < 240; ++i) {
            EXPECT_EQ(phi[i], 7.0F);
            EXPECT_EQ(ampl[i], 8.0F);
        }
    }
}

TEST_P(WigglingForwardLoop, NoSignalIsTheMiddleOfTheCirclesTable) {
    const True result = trueOf(ReferenceFunc_UnitCircle, 0.0F, 0.0F);
    EXPECT_NEAR(result.phi, 0.1275, 1e-7);  // angle 0: position 127.5
    EXPECT_EQ(result.ampl, 0.0F);
}

TEST_P(WigglingForwardLoop, NoSignalIsFiveEighthsOfTheSquaresTable) {
    for (const float zero : {0.0F, -0.0F}) {
        const True result = trueOf(ReferenceFunc_UnitSquare, zero, zero);
        EXPECT_NEAR(result.phi, 0.255 * 5.0 / 8.0, 1e-7);  // theta 5 pi / 4
        EXPECT_EQ(result.ampl, 0.0F);
    }
}

TEST_P(WigglingForwardLoop, TheUpperMiddleOfTheSquareIsThreeEighths) {
    EXPECT_NEAR(positionOf(ReferenceFunc_UnitSquare, 0.0F, 2.0F), 255.0 * 3.0 / 8.0, 1e-4);
    EXPECT_NEAR(positionOf(ReferenceFunc_UnitSquare, -0.0F, 2.0F), 255.0 * 3.0 / 8.0, 1e-4);
}

TEST_P(WigglingForwardLoop, TheSquareStartsAtItsLowerRightCorner) {
    EXPECT_NEAR(positionOf(ReferenceFunc_UnitSquare, 2.0F, -2.0F), 0.0, 1e-4);
    EXPECT_NEAR(positionOf(ReferenceFunc_UnitSquare, 2.0F, 0.0F), 255.0 / 8.0, 1e-4);
    EXPECT_NEAR(positionOf(ReferenceFunc_UnitSquare, 2.0F, 2.0F), 255.0 * 2.0 / 8.0, 1e-4);
    EXPECT_NEAR(positionOf(ReferenceFunc_UnitSquare, -2.0F, 0.0F), 255.0 * 5.0 / 8.0, 1e-4);
    EXPECT_NEAR(positionOf(ReferenceFunc_UnitSquare, 0.0F, -2.0F), 255.0 * 7.0 / 8.0, 1e-4);
}

TEST_P(WigglingForwardLoop, TheDiamondStartsAtItsRightCorner) {
    EXPECT_NEAR(positionOf(ReferenceFunc_UnitDiamond, 2.0F, 0.0F), 0.0, 1e-4);
    EXPECT_NEAR(positionOf(ReferenceFunc_UnitDiamond, 0.0F, 2.0F), 255.0 / 4.0, 1e-4);
    EXPECT_NEAR(positionOf(ReferenceFunc_UnitDiamond, -2.0F, 0.0F), 255.0 / 2.0, 1e-4);
}

TEST_P(WigglingForwardLoop, TheCircleStartsOppositeTheInPhaseAxis) {
    EXPECT_NEAR(positionOf(ReferenceFunc_UnitCircle, -2.0F, 0.0F), 0.0, 1e-4);
    EXPECT_NEAR(positionOf(ReferenceFunc_UnitCircle, 0.0F, -2.0F), 255.0 / 4.0, 1e-4);
    EXPECT_NEAR(positionOf(ReferenceFunc_UnitCircle, 2.0F, 0.0F), 255.0 / 2.0, 1e-4);
}

TEST_P(WigglingForwardLoop, TheRadiusIsThatOfTheReferenceShape) {
    // The factor is the position plus 1.
    const auto radiusOf = [](WigglingCalibReferenceFunc referenceFunc, float re, float im) {
        const auto result = trueOf(referenceFunc, re, im);
        return static_cast<double>(result.ampl) / (1000.0 * static_cast<double>(result.phi) + 1.0);
    };
    EXPECT_NEAR(radiusOf(ReferenceFunc_UnitSquare, 3.0F, -4.0F), 4.0, 1e-4);
    EXPECT_NEAR(radiusOf(ReferenceFunc_UnitDiamond, 3.0F, -4.0F), 7.0, 1e-4);
    EXPECT_NEAR(radiusOf(ReferenceFunc_UnitCircle, 3.0F, -4.0F), 5.0, 1e-4);
}

TEST_P(WigglingForwardLoop, AFullTurnReadsTheLastSampleAlone) {
    // Just right of the lower right corner's diagonal eight eighths round to 8: theta is 2 pi, and its
    // position of 255.00002 has no sample after it.
    std::vector<float> lutPhase(kReferenceLutSize, 0.0F);
    std::vector<float> lutAmp(kReferenceLutSize, 0.0F);
    lutPhase[255] = 1.0F;
    lutAmp[255] = 4.0F;
    lutPhase.shrink_to_fit();
    lutAmp.shrink_to_fit();
    const std::vector<float> real(8, std::nextafter(1.0F, 0.0F));
    const std::vector<float> imag(8, -1.0F);
    float phi[8];
    float ampl[8];
    Wiggling_ComputeTrue(ReferenceFunc_UnitSquare, lutPhase.data(), lutAmp.data(),
                         {8, real.data(), imag.data(), phi, ampl});
    EXPECT_NEAR(phi[3], 1.0F, 1e-6);
    EXPECT_NEAR(ampl[3], 4.0F, 1e-6);
}

TEST_P(WigglingForwardLoop, WholePeriodsOfTheTableAreRemoved) {
    const std::vector<float> lutPhase(kReferenceLutSize, 2.0F * kTwoPi + 1.0F);
    const std::vector<float> ones(kReferenceLutSize, 1.0F);
    float phi[8];
    float ampl[8];
    Wiggling_ComputeTrue(ReferenceFunc_UnitSquare, lutPhase.data(), ones.data(),
                         {8, ones.data(), ones.data(), phi, ampl});
    EXPECT_NEAR(phi[0], 1.0F, 2e-6);
}

TEST_P(WigglingForwardLoop, ResultsMayReplaceTheInputs) {
    Random random(46);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> lutPhase = randomTable(random, kReferenceLutSize);
    const std::vector<float> lutAmp = randomTable(random, kReferenceLutSize);
    std::vector<float> real(232), imag(232), phi(232), ampl(232);
    for (size_t i = 0; i < real.size(); ++i) {
        real[i] = random.real(-3.0F, 3.0F);
        imag[i] = random.real(-3.0F, 3.0F);
    }
    for (const auto referenceFunc : kAll) {
        std::vector<float> x = real;
        std::vector<float> y = imag;
        Wiggling_ComputeTrue(referenceFunc, lutPhase.data(), lutAmp.data(),
                             {x.size(), x.data(), y.data(), phi.data(), ampl.data()});
        Wiggling_ComputeTrue(referenceFunc, lutPhase.data(), lutAmp.data(),
                             {x.size(), x.data(), y.data(), y.data(), x.data()});
        EXPECT_TRUE(sameFloats(y.data(), phi.data(), phi.size()));
        EXPECT_TRUE(sameFloats(x.data(), ampl.data(), ampl.size()));
    }
}

}  // namespace
