// SPDX-License-Identifier: Apache-2.0
//
// The wiggling stage: its tables, what fails at which line, and the way into the raw domain and back.
#include "Wiggling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "WigglingRule.h"
#include "support/Floats.h"
#include "support/Random.h"
#include "support/Reports.h"

namespace {

using testing_support::Random;
using testing_support::Reports;
using testing_support::sameFloats;

constexpr float kTwoPi = 6.2831855F;
constexpr double kPi = 3.14159265358979;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

constexpr WigglingCalibReferenceFunc kReferenceFuncs[] = {ReferenceFunc_UnitCircle, ReferenceFunc_UnitSquare,
                                                          ReferenceFunc_UnitDiamond};

class Wiggling : public ::testing::Test {
 protected:
    Wiggling()
        : frequencies_(kFrequencySlots),
          state_(std::make_unique<WigglingState>()),
          scratch_(std::make_unique<WigglingScratch>()) {
        for (FreqDependentCalibration& frequency : frequencies_) {
            frequency.ampWigg[0] = 1.0F;
        }
        calib_.freqDepCalib = frequencies_.data();
        calib_.numFreqs = 1;
        calib_.referenceFunc = ReferenceFunc_UnitSquare;
    }

    int32_t init() { return Wiggling_Init(&calib_, state_.get(), scratch_.get()); }

    void setAmpWigg(size_t slot, std::initializer_list<float> coefficients) {
        std::copy(coefficients.begin(), coefficients.end(), frequencies_[slot].ampWigg);
    }

    /** One report, with this line. */
    ::testing::AssertionResult failedAt(int32_t line) const {
        if (reports_.count() == 1 && reports_.line() == line && reports_.file() == "Wiggling") {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure()
               << reports_.count() << " reports, first " << reports_.file() << " line " << reports_.line();
    }

    std::vector<FreqDependentCalibration> frequencies_;
    WigglingCalib calib_ = {};
    std::unique_ptr<WigglingState> state_;
    std::unique_ptr<WigglingScratch> scratch_;
    Reports reports_;
};

// ---------------------------------------------------------------------------------------------------------------------
// Tables

using WigglingInit = Wiggling;

TEST_F(WigglingInit, WithoutACalibrationFails) {
    EXPECT_EQ(Wiggling_Init(nullptr, nullptr, scratch_.get()), 1);
    EXPECT_TRUE(failedAt(81));
}

TEST_F(WigglingInit, WithoutAStateFails) {
    calib_.numFreqs = 5;
    EXPECT_EQ(Wiggling_Init(&calib_, nullptr, scratch_.get()), 1);
    EXPECT_TRUE(failedAt(82));
}

TEST_F(WigglingInit, FiveFrequenciesFailBeforeAnythingIsComputed) {
    calib_.numFreqs = 5;
    calib_.freqDepCalib = nullptr;
    EXPECT_EQ(init(), 1);
    EXPECT_TRUE(failedAt(83));
    EXPECT_EQ(state_->invCalibLut[0][0], 0.0F);
    EXPECT_EQ(scratch_->raw2calib[255], 0.0F);
}

TEST_F(WigglingInit, ANegativeNumberOfFrequenciesFails) {
    calib_.numFreqs = static_cast<uint32_t>(-1);
    EXPECT_EQ(init(), 1);
    EXPECT_TRUE(failedAt(83));
}

TEST_F(WigglingInit, WithoutFrequencyCalibrationsFails) {
    calib_.freqDepCalib = nullptr;
    EXPECT_EQ(init(), 1);
    EXPECT_TRUE(failedAt(84));
}

TEST_F(WigglingInit, NoFrequenciesSucceedAndWriteNothing) {
    calib_.numFreqs = 0;
    calib_.referenceFunc = static_cast<WigglingCalibReferenceFunc>(7);
    std::memset(state_.get(), 0x5A, sizeof(WigglingState));
    const auto before = std::make_unique<WigglingState>(*state_);
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(std::memcmp(state_.get(), before.get(), sizeof(WigglingState)), 0);
    calib_.freqDepCalib = nullptr;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(reports_.count(), 0);
}

TEST_F(WigglingInit, ACalibratedPhaseAboveTheWholePeriodFails) {
    frequencies_[0].phaseWigg[0] = -20.0F;  // all three periods lie above 0
    EXPECT_EQ(init(), 1);
    EXPECT_TRUE(failedAt(114));
}

TEST_F(WigglingInit, ACalibratedPhaseThatStartsAbovePassesIfItDipsBelow) {
    frequencies_[0].phaseWigg[0] = -7.0F;  // the first period lies between 0.7 and 7
    EXPECT_EQ(init(), 1);
    EXPECT_TRUE(failedAt(114));
    reports_.clear();
    frequencies_[0].phaseWigg[1] = 2.0F;  // an eighth of a turn on, the harmonic takes 2 off
    EXPECT_EQ(init(), 0);
}

TEST_F(WigglingInit, WithoutWigglingTheRawPhaseIsTheCalibratedOne) {
    EXPECT_EQ(init(), 0);
    for (int x = 0; x < 256; ++x) {
        ASSERT_NEAR(scratch_->calib2raw[x], x * kPi / 128.0, 1e-3) << x;  // extrapolated from far
    }
}

TEST_F(WigglingInit, AnAmplitudeWigglingOfZeroEndsAtTheBracketCheck) {
    setAmpWigg(0, {0.0F, 0.0F, 0.0F, 0.0F, 0.0F});
    EXPECT_EQ(init(), 1);
    EXPECT_TRUE(failedAt(282));
}

TEST_F(WigglingInit, AnAmplitudeWigglingThatIsNoNumberEndsAtTheBracketCheck) {
    setAmpWigg(0, {kNaN, 0.0F, 0.0F, 0.0F, 0.0F});
    for (const WigglingCalibReferenceFunc referenceFunc : kReferenceFuncs) {
        reports_.clear();
        calib_.referenceFunc = referenceFunc;
        EXPECT_EQ(init(), 1);
        EXPECT_TRUE(failedAt(282));
    }
}

TEST_F(WigglingInit, ACorrelationOfZerosFails) {
    setAmpWigg(0, {kInfinity, 0.0F, 0.0F, 0.0F, 0.0F});
    EXPECT_EQ(init(), 1);
    EXPECT_TRUE(failedAt(189));
}

TEST_F(WigglingInit, AnUnknownReferenceFunctionFailsAfterTheCorrelationIsBuilt) {
    for (const int32_t value : {3, 100, -1, std::numeric_limits<int32_t>::min()}) {
        reports_.clear();
        *state_ = {};
        calib_.referenceFunc = static_cast<WigglingCalibReferenceFunc>(value);
        EXPECT_EQ(init(), 1);
        EXPECT_TRUE(failedAt(227));
        EXPECT_NEAR(state_->invCalibLut[0][0], 1.0F, 1e-5);
        EXPECT_EQ(state_->lutAmp[0][0], 0.0F);
    }
}

TEST_F(WigglingInit, AnAmplitudeWigglingThatVanishesWithinThePeriodEndsAtTheBracketCheck) {
    setAmpWigg(0, {0.0F, 1.0F, 0.0F, 0.0F, 0.0F});  // 0 at phase 0: the correlation there is infinite
    for (const WigglingCalibReferenceFunc referenceFunc : kReferenceFuncs) {
        reports_.clear();
        calib_.referenceFunc = referenceFunc;
        EXPECT_EQ(init(), 1);
        EXPECT_TRUE(failedAt(282));
    }
}

TEST_F(WigglingInit, AnyCalibrationEndsWithTablesOrAKnownFailure) {
    Random random(52);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 600; ++round) {
        reports_.clear();
        calib_.referenceFunc = kReferenceFuncs[round % 3];
        calib_.binningEnabled = 1;
        for (float& coefficient : frequencies_[0].ampWigg) {
            coefficient = random.bits() % 4 == 0 ? random.anyFloat() : random.real(-2.0F, 2.0F);
        }
        for (float& coefficient : frequencies_[0].phaseWigg) {
            coefficient = random.bits() % 4 == 0 ? random.anyFloat() : random.real(-2.0F, 2.0F);
        }
        if (init() != 0) {
            const int32_t line = reports_.line();
            ASSERT_TRUE(line == 114 || line == 189 || line == 279 || line == 282) << line;
        }
    }
}

TEST_F(WigglingInit, AFixedPatternThatOverlapsItsTargetFails) {
    // A calibration whose fixed pattern is that of the state, ten pixels further on.
    auto* const pattern = reinterpret_cast<std::byte*>(&state_->FPPN[0][10]);
    auto* const overlapping =
        reinterpret_cast<FreqDependentCalibration*>(pattern - offsetof(FreqDependentCalibration, FPPN));
    overlapping->ampWigg[0] = 1.0F;
    calib_.freqDepCalib = overlapping;
    EXPECT_EQ(init(), 1);
    EXPECT_EQ(reports_.count(), 2);
    EXPECT_EQ(reports_.file(), "ALUtil");
    EXPECT_EQ(reports_.line(1), 316);
}

TEST_F(WigglingInit, FailuresLeaveTheTablesOfEarlierFrequencies) {
    calib_.numFreqs = 3;
    setAmpWigg(0, {1.1F, 0.02F, 0.3F, 0.03F, 1.0F});
    setAmpWigg(1, {0.0F, 0.0F, 0.0F, 0.0F, 0.0F});
    EXPECT_EQ(init(), 1);
    EXPECT_TRUE(failedAt(282));
    const auto expected = rule::wigglingTables(frequencies_[0].ampWigg, ReferenceFunc_UnitSquare);
    EXPECT_TRUE(sameFloats(state_->lutPhase[0], expected.lutPhase.data(), kReferenceLutSize));
    EXPECT_EQ(state_->lutPhase[2][100], 0.0F);  // later ones are not begun
}

TEST_F(WigglingInit, WithoutWigglingTheCorrelationIsTheCosine) {
    frequencies_[0].phaseWigg[1] = 0.3F;
    EXPECT_EQ(init(), 0);
    const float* const lut = state_->invCalibLut[0];
    for (int x = 0; x <= 256; ++x) {
        ASSERT_NEAR(lut[x], std::cos(x * kPi / 128.0), 1e-5) << x;
    }
    for (int x = 0; x < 128; ++x) {
        ASSERT_EQ(lut[x + 128], -lut[x]) << x;
    }
    EXPECT_EQ(lut[256], lut[0]);
}

TEST_F(WigglingInit, TheLargestMagnitudeOfTheCorrelationIsOne) {
    for (const float offset : {1.3F, -0.7F}) {
        setAmpWigg(0, {offset, 0.05F, 0.3F, 0.04F, 1.0F});
        EXPECT_EQ(init(), 0);
        const float* const lut = state_->invCalibLut[0];
        EXPECT_NEAR(*std::max_element(lut, lut + kInverseLutSize), 1.0F, 1e-7);
        EXPECT_NEAR(*std::min_element(lut, lut + kInverseLutSize), -1.0F, 1e-7);
    }
}

TEST_F(WigglingInit, WithoutWigglingTheCircleMapsPhaseToPhase) {
    calib_.referenceFunc = ReferenceFunc_UnitCircle;
    EXPECT_EQ(init(), 0);
    for (int x = 0; x < 256; ++x) {
        ASSERT_NEAR(state_->lutPhase[0][x], kPi + x * 2.0 * kPi / 255.0, 2e-4) << x;
        ASSERT_NEAR(state_->lutAmp[0][x], 1.0F, 1e-4) << x;
    }
}

TEST_F(WigglingInit, WithoutWigglingTheSquareStartsAtSevenQuartersOfPi) {
    EXPECT_EQ(init(), 0);
    EXPECT_NEAR(state_->lutPhase[0][0], 1.75 * kPi, 1e-4);
    EXPECT_NEAR(state_->lutAmp[0][0], std::sqrt(2.0), 1e-4);
    // An eighth of the perimeter further the side's middle is reached, as near as a sample can be.
    EXPECT_NEAR(state_->lutPhase[0][32], 2.0 * kPi + std::atan(32.0 * 8.0 / 255.0 - 1.0), 1e-3);
}

TEST_F(WigglingInit, WithoutWigglingTheDiamondStartsAtAWholePeriod) {
    calib_.referenceFunc = ReferenceFunc_UnitDiamond;
    EXPECT_EQ(init(), 0);
    EXPECT_NEAR(state_->lutPhase[0][0], 2.0 * kPi, 1e-4);  // 0, up to a whole period
    EXPECT_NEAR(state_->lutAmp[0][0], 1.0F, 1e-4);
}

TEST_F(WigglingInit, PhasesLieWithinThreePeriodsAndRise) {
    setAmpWigg(0, {1.1F, 0.02F, 0.3F, 0.03F, 1.0F});
    for (const WigglingCalibReferenceFunc referenceFunc : kReferenceFuncs) {
        calib_.referenceFunc = referenceFunc;
        EXPECT_EQ(init(), 0);
        const float* const lutPhase = state_->lutPhase[0];
        EXPECT_TRUE(std::is_sorted(lutPhase, lutPhase + kReferenceLutSize));
        EXPECT_GE(lutPhase[0], 0.0F);
        EXPECT_LE(lutPhase[255], 3.0F * kTwoPi);
        EXPECT_NEAR(lutPhase[255] - lutPhase[0], kTwoPi, 2e-3);
    }
}

TEST_F(WigglingInit, EqualsTheRuleForAnyUsualWiggling) {
    Random random(51);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 60; ++round) {
        const WigglingCalibReferenceFunc referenceFunc = kReferenceFuncs[round % 3];
        calib_.referenceFunc = referenceFunc;
        calib_.numFreqs = 4;
        for (FreqDependentCalibration& frequency : frequencies_) {
            const float coefficients[5] = {random.real(0.5F, 2.0F), random.real(-0.05F, 0.05F),
                                           random.real(-3.0F, 3.0F), random.real(-0.05F, 0.05F),
                                           random.real(-3.0F, 3.0F)};
            std::copy(std::begin(coefficients), std::end(coefficients), frequency.ampWigg);
        }
        ASSERT_EQ(init(), 0);
        for (size_t slot = 0; slot < kFrequencySlots; ++slot) {
            const auto expected = rule::wigglingTables(frequencies_[slot].ampWigg, referenceFunc);
            ASSERT_TRUE(sameFloats(state_->invCalibLut[slot], expected.invCalibLut.data(), kInverseLutSize));
            ASSERT_TRUE(sameFloats(state_->lutPhase[slot], expected.lutPhase.data(), kReferenceLutSize));
            ASSERT_TRUE(sameFloats(state_->lutAmp[slot], expected.lutAmp.data(), kReferenceLutSize));
        }
    }
}

TEST_F(WigglingInit, PhaseWigglingChangesNoTable) {
    setAmpWigg(0, {1.1F, 0.02F, 0.3F, 0.03F, 1.0F});
    EXPECT_EQ(init(), 0);
    const auto before = std::make_unique<WigglingState>(*state_);
    const float phaseWigg[7] = {0.4F, 0.02F, 1.0F, -0.03F, 2.0F, 0.01F, -1.0F};
    std::copy(std::begin(phaseWigg), std::end(phaseWigg), frequencies_[0].phaseWigg);
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(std::memcmp(state_.get(), before.get(), sizeof(WigglingState)), 0);
}

TEST_F(WigglingInit, TheThirdHarmonicOfThePhaseIsTheFirstAgain) {
    // Two terms of four times the phase that cancel leave the phase itself.
    frequencies_[0].phaseWigg[1] = 0.3F;
    frequencies_[0].phaseWigg[2] = 0.7F;
    frequencies_[0].phaseWigg[5] = -0.3F;
    frequencies_[0].phaseWigg[6] = 0.7F;
    EXPECT_EQ(init(), 0);
    for (int x = 0; x < 256; ++x) {
        ASSERT_NEAR(scratch_->raw2calib[256 + x], x * kPi / 128.0, 1e-6) << x;
        ASSERT_NEAR(scratch_->raw2calib[x], x * kPi / 128.0 - 2.0 * kPi, 2e-6) << x;
        ASSERT_NEAR(scratch_->raw2calib[512 + x], x * kPi / 128.0 + 2.0 * kPi, 2e-6) << x;
    }
}

TEST_F(WigglingInit, AnotherCallGivesTheSame) {
    calib_.numFreqs = 4;
    EXPECT_EQ(init(), 0);
    const auto before = std::make_unique<WigglingState>(*state_);
    std::memset(scratch_.get(), 0x5A, sizeof(WigglingScratch));
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(std::memcmp(state_.get(), before.get(), sizeof(WigglingState)), 0);
}

TEST_F(WigglingInit, SlotsThatAreNotUsedStayUntouched) {
    calib_.numFreqs = 2;
    std::fill_n(state_->FPPN[2], kPixelCount, 7.0F);
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(state_->FPPN[2][0], 7.0F);
    EXPECT_EQ(state_->invCalibLut[2][0], 0.0F);
    EXPECT_NE(state_->invCalibLut[1][0], 0.0F);
}

TEST_F(WigglingInit, TheFixedPatternIsCopied) {
    calib_.numFreqs = 2;
    for (size_t slot = 0; slot < 2; ++slot) {
        for (int32_t i = 0; i < kPixelCount; ++i) {
            frequencies_[slot].FPPN[i] = static_cast<float>(i) + 100000.0F * static_cast<float>(slot);
        }
    }
    EXPECT_EQ(init(), 0);
    EXPECT_TRUE(sameFloats(state_->FPPN[0], frequencies_[0].FPPN, kPixelCount));
    EXPECT_TRUE(sameFloats(state_->FPPN[1], frequencies_[1].FPPN, kPixelCount));
}

TEST_F(WigglingInit, TheBinnedFixedPatternIsTheMeanOfFourAndLeavesTheRest) {
    calib_.binningEnabled = -1;
    for (int32_t i = 0; i < kPixelCount; ++i) {
        frequencies_[0].FPPN[i] =
            static_cast<float>(i % kImageWidth) + 1000.0F * static_cast<float>(i / kImageWidth);
    }
    std::fill_n(state_->FPPN[0], kPixelCount, -7.0F);
    EXPECT_EQ(init(), 0);
    for (int32_t row = 0; row < 86; ++row) {
        for (int32_t column = 0; column < 112; ++column) {
            ASSERT_EQ(state_->FPPN[0][row * 112 + column],
                      static_cast<float>(2 * column) + 0.5F + 1000.0F * (static_cast<float>(2 * row) + 0.5F));
        }
    }
    for (int32_t i = 9632; i < kPixelCount; ++i) {
        ASSERT_EQ(state_->FPPN[0][i], -7.0F) << i;
    }
}

TEST_F(WigglingInit, FourPixelsAreBinnedInAFixedOrder) {
    // ((right + left) + below) + below right: 1 is lost beside 2^25 unless both large ones cancel first.
    calib_.binningEnabled = 1;
    float* const pattern = frequencies_[0].FPPN;
    pattern[1] = 0x1p25F;
    pattern[0] = -0x1p25F;
    pattern[kImageWidth] = 1.0F;
    pattern[3] = 0x1p25F;
    pattern[2] = 1.0F;
    pattern[kImageWidth + 2] = -0x1p25F;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(state_->FPPN[0][0], 0.25F);
    EXPECT_EQ(state_->FPPN[0][1], 0.0F);
}

// ---------------------------------------------------------------------------------------------------------------------
// Both directions

/** Tables for all four slots, and images of 40 pixels. */
class WigglingDirections : public Wiggling {
 protected:
    static constexpr size_t kPixels = 40;

    WigglingDirections() : phi_(kPixels), ampl_(kPixels), real_(kPixels), imag_(kPixels) {
        calib_.numFreqs = 4;
        for (size_t slot = 0; slot < kFrequencySlots; ++slot) {
            setAmpWigg(slot, {1.0F + 0.1F * static_cast<float>(slot), 0.02F, 0.3F, -0.03F,
                              static_cast<float>(slot)});
        }
        EXPECT_EQ(init(), 0);
        for (size_t i = 0; i < kPixels; ++i) {
            phi_[i] = static_cast<float>(i) * 0.15F;
            ampl_[i] = 1.0F + static_cast<float>(i);
        }
        backwardInput_ = {kPixels, 0, phi_.data(), ampl_.data()};
        backwardInout_ = {real_.data(), imag_.data()};
        forwardInput_.xyReal = real_.data();
        forwardInput_.xyImag = imag_.data();
        forwardInput_.nPixel = kPixels;
        forwardInout_.phi = phi_.data();
        forwardInout_.ampl = ampl_.data();
    }

    int32_t backward() { return Wiggling_Backward(&backwardInput_, state_.get(), &calib_, &backwardInout_); }
    int32_t forward() { return Wiggling_Forward(&forwardInput_, state_.get(), &calib_, &forwardInout_); }

    /** Fails with one report at `line`, and writes no pixel. */
    void expectBackwardFails(int32_t line) {
        reports_.clear();
        const std::vector<float> real = real_;
        const std::vector<float> imag = imag_;
        EXPECT_EQ(backward(), 1);
        EXPECT_TRUE(failedAt(line));
        EXPECT_EQ(real_, real);
        EXPECT_EQ(imag_, imag);
    }

    void expectForwardFails(int32_t line) {
        reports_.clear();
        const std::vector<float> phi = phi_;
        const std::vector<float> ampl = ampl_;
        EXPECT_EQ(forward(), 1);
        EXPECT_TRUE(failedAt(line));
        EXPECT_EQ(phi_, phi);
        EXPECT_EQ(ampl_, ampl);
    }

    std::vector<float> phi_, ampl_, real_, imag_;
    WigglingBackwardInput backwardInput_ = {};
    WigglingBackwardInout backwardInout_ = {};
    WigglingForwardInput forwardInput_ = {};
    WigglingForwardInout forwardInout_ = {};
};

using WigglingBackward = WigglingDirections;
using WigglingForward = WigglingDirections;

TEST_F(WigglingBackward, EqualsTheRuleWithTheTablesOfItsFrequency) {
    for (uint32_t slot = 0; slot < kFrequencySlots; ++slot) {
        backwardInput_.freqIdx = slot;
        EXPECT_EQ(backward(), 0);
        std::vector<float> real(kPixels), imag(kPixels);
        rule::wigglingBackward(state_->invCalibLut[slot],
                               {kPixels, phi_.data(), ampl_.data(), real.data(), imag.data()});
        EXPECT_TRUE(sameFloats(real_.data(), real.data(), kPixels));
        EXPECT_TRUE(sameFloats(imag_.data(), imag.data(), kPixels));
    }
    EXPECT_EQ(reports_.count(), 0);
}

TEST_F(WigglingBackward, WithoutARecordFails) {
    EXPECT_EQ(Wiggling_Backward(nullptr, state_.get(), &calib_, &backwardInout_), 1);
    EXPECT_TRUE(failedAt(486));
    reports_.clear();
    EXPECT_EQ(Wiggling_Backward(&backwardInput_, nullptr, &calib_, &backwardInout_), 1);
    EXPECT_TRUE(failedAt(486));
    reports_.clear();
    EXPECT_EQ(Wiggling_Backward(&backwardInput_, state_.get(), nullptr, &backwardInout_), 1);
    EXPECT_TRUE(failedAt(486));
    reports_.clear();
    EXPECT_EQ(Wiggling_Backward(&backwardInput_, state_.get(), &calib_, nullptr), 1);
    EXPECT_TRUE(failedAt(486));
}

TEST_F(WigglingBackward, TheTestsRunInOrder) {
    backwardInput_ = {};
    backwardInout_ = {};
    backwardInput_.nPixel = 6;
    backwardInput_.freqIdx = 5;
    expectBackwardFails(487);
    backwardInout_.xyReal = real_.data();
    expectBackwardFails(488);
    backwardInout_.xyImag = imag_.data();
    expectBackwardFails(490);
    backwardInput_.ampl = ampl_.data();
    expectBackwardFails(490);
    backwardInput_.phi = phi_.data();
    expectBackwardFails(491);
    backwardInput_.nPixel = 8;
    expectBackwardFails(492);
    backwardInput_.freqIdx = 3;
    EXPECT_EQ(backward(), 0);
}

TEST_F(WigglingBackward, WithoutAmplitudesFails) {
    backwardInput_.ampl = nullptr;
    expectBackwardFails(490);
}

TEST_F(WigglingBackward, AFrequencyWithoutTablesFails) {
    for (const uint32_t freqIdx : {4U, 5U, 0xFFFFFFFFU}) {
        reports_.clear();
        backwardInput_.freqIdx = freqIdx;
        EXPECT_EQ(backward(), 1);
        EXPECT_EQ(reports_.count(), 1);
        EXPECT_EQ(reports_.line() == 492, freqIdx > 4);
        EXPECT_EQ(real_[0], 0.0F);
    }
}

TEST_F(WigglingBackward, NoPixelsSucceedAndTouchNothing) {
    backwardInput_.nPixel = 0;
    EXPECT_EQ(backward(), 0);
    EXPECT_EQ(real_, std::vector<float>(kPixels, 0.0F));
}

TEST_F(WigglingBackward, TwelvePixelsSucceed) {
    backwardInput_.nPixel = 12;
    EXPECT_EQ(backward(), 0);
    EXPECT_NE(real_[11], 0.0F);
    EXPECT_EQ(real_[12], 0.0F);
}

TEST_F(WigglingBackward, ReadsNothingOfTheCalibration) {
    EXPECT_EQ(backward(), 0);
    const std::vector<float> expected = real_;
    calib_ = {};
    calib_.referenceFunc = static_cast<WigglingCalibReferenceFunc>(77);
    EXPECT_EQ(backward(), 0);
    EXPECT_EQ(real_, expected);
}

TEST_F(WigglingForward, EqualsTheRuleWithTheTablesOfItsFrequency) {
    EXPECT_EQ(backward(), 0);
    for (const WigglingCalibReferenceFunc referenceFunc : kReferenceFuncs) {
        calib_.referenceFunc = referenceFunc;
        EXPECT_EQ(init(), 0);
        for (uint32_t slot = 0; slot < kFrequencySlots; ++slot) {
            forwardInput_.freqIdx = slot;
            EXPECT_EQ(forward(), 0);
            std::vector<float> phi(kPixels), ampl(kPixels);
            rule::wigglingForward(referenceFunc, state_->lutPhase[slot], state_->lutAmp[slot],
                                  {kPixels, real_.data(), imag_.data(), phi.data(), ampl.data()});
            EXPECT_TRUE(sameFloats(phi_.data(), phi.data(), kPixels));
            EXPECT_TRUE(sameFloats(ampl_.data(), ampl.data(), kPixels));
        }
    }
    EXPECT_EQ(reports_.count(), 0);
}

TEST_F(WigglingForward, WithoutARecordFails) {
    EXPECT_EQ(Wiggling_Forward(nullptr, state_.get(), &calib_, &forwardInout_), 1);
    EXPECT_TRUE(failedAt(325));
    reports_.clear();
    EXPECT_EQ(Wiggling_Forward(&forwardInput_, nullptr, &calib_, &forwardInout_), 1);
    EXPECT_TRUE(failedAt(325));
    reports_.clear();
    EXPECT_EQ(Wiggling_Forward(&forwardInput_, state_.get(), nullptr, &forwardInout_), 1);
    EXPECT_TRUE(failedAt(325));
    reports_.clear();
    EXPECT_EQ(Wiggling_Forward(&forwardInput_, state_.get(), &calib_, nullptr), 1);
    EXPECT_TRUE(failedAt(325));
}

TEST_F(WigglingForward, TheTestsRunInOrder) {
    forwardInput_ = {};
    forwardInout_ = {};
    forwardInput_.numExpTimes = 3;
    forwardInput_.nPixel = 12;
    forwardInput_.freqIdx = 5;
    calib_.referenceFunc = static_cast<WigglingCalibReferenceFunc>(3);
    expectForwardFails(326);
    forwardInput_.xyReal = real_.data();
    expectForwardFails(327);
    forwardInput_.xyImag = imag_.data();
    expectForwardFails(328);
    forwardInput_.numExpTimes = 2;
    expectForwardFails(330);
    forwardInout_.phi = phi_.data();
    expectForwardFails(330);
    forwardInout_.ampl = ampl_.data();
    expectForwardFails(331);
    forwardInput_.nPixel = 16;
    expectForwardFails(332);
    forwardInput_.freqIdx = 3;
    expectForwardFails(478);
    calib_.referenceFunc = ReferenceFunc_UnitDiamond;
    EXPECT_EQ(forward(), 0);
}

TEST_F(WigglingForward, WithoutPhasesFails) {
    forwardInout_.phi = nullptr;
    expectForwardFails(330);
}

TEST_F(WigglingForward, TwelvePixelsFail) {
    forwardInput_.nPixel = 12;
    expectForwardFails(331);
}

TEST_F(WigglingForward, NoPixelsSucceedAndTouchNothing) {
    forwardInput_.nPixel = 0;
    const std::vector<float> before = phi_;
    EXPECT_EQ(forward(), 0);
    EXPECT_EQ(phi_, before);
}

TEST_F(WigglingForward, AFrequencyWithoutTablesFails) {
    for (const uint32_t freqIdx : {4U, 5U, 0xFFFFFFFFU}) {
        reports_.clear();
        const std::vector<float> before = phi_;
        forwardInput_.freqIdx = freqIdx;
        EXPECT_EQ(forward(), 1);
        EXPECT_EQ(reports_.count(), 1);
        EXPECT_EQ(reports_.line() == 332, freqIdx > 4);
        EXPECT_EQ(phi_, before);
    }
}

TEST_F(WigglingForward, AnUnknownReferenceFunctionFails) {
    for (const int32_t value : {3, -1, std::numeric_limits<int32_t>::max()}) {
        calib_.referenceFunc = static_cast<WigglingCalibReferenceFunc>(value);
        expectForwardFails(478);
    }
}

TEST_F(WigglingForward, CarriedFieldsDoNotMatter) {
    EXPECT_EQ(backward(), 0);
    EXPECT_EQ(forward(), 0);
    const std::vector<float> phi = phi_;
    const std::vector<float> ampl = ampl_;
    const std::vector<uint8_t> source(kPixels, 1);
    std::vector<float> other(kPixels, 0.5F);
    forwardInput_.expSource = source.data();
    forwardInput_.expTimes = other.data();
    forwardInput_.refChannelOutputFinePhaseOffset = other.data();
    forwardInput_.numExpTimes = 2;
    forwardInput_.applyFPPN = 1;
    forwardInout_.ampNormFactors = other.data();
    calib_.binningEnabled = 1;
    std::fill_n(state_->FPPN[0], kPixelCount, 3.0F);
    EXPECT_EQ(forward(), 0);
    EXPECT_EQ(phi_, phi);
    EXPECT_EQ(ampl_, ampl);
    EXPECT_EQ(other, std::vector<float>(kPixels, 0.5F));
}

// ---------------------------------------------------------------------------------------------------------------------
// There and back

struct RoundTripError {
    double phase;      // radians
    double amplitude;  // relative
};

/** The largest errors over 4096 phases of a period. */
class WigglingRoundTrip : public Wiggling {
 protected:
    RoundTripError roundTrip(WigglingCalibReferenceFunc referenceFunc) {
        calib_.referenceFunc = referenceFunc;
        EXPECT_EQ(init(), 0);
        constexpr uint32_t count = 4096;
        std::vector<float> phi(count), ampl(count), real(count), imag(count), phiBack(count), amplBack(count);
        for (size_t i = 0; i < count; ++i) {
            phi[i] = (static_cast<float>(i) + 0.3F) * (kTwoPi / static_cast<float>(count));
            ampl[i] = 0.1F + static_cast<float>(i % 100);
        }
        const WigglingBackwardInput backwardInput = {count, 0, phi.data(), ampl.data()};
        WigglingBackwardInout backwardInout = {real.data(), imag.data()};
        EXPECT_EQ(Wiggling_Backward(&backwardInput, state_.get(), &calib_, &backwardInout), 0);
        WigglingForwardInput forwardInput = {};
        forwardInput.xyReal = real.data();
        forwardInput.xyImag = imag.data();
        forwardInput.nPixel = count;
        WigglingForwardInout forwardInout = {};
        forwardInout.phi = phiBack.data();
        forwardInout.ampl = amplBack.data();
        EXPECT_EQ(Wiggling_Forward(&forwardInput, state_.get(), &calib_, &forwardInout), 0);
        RoundTripError error = {};
        for (size_t i = 0; i < count; ++i) {
            const double difference = static_cast<double>(phiBack[i]) - static_cast<double>(phi[i]);
            error.phase = std::max(error.phase, std::abs(std::remainder(difference, 2.0 * kPi)));
            error.amplitude =
                std::max(error.amplitude,
                         std::abs(static_cast<double>(amplBack[i]) / static_cast<double>(ampl[i]) - 1.0));
        }
        return error;
    }
};

TEST_F(WigglingRoundTrip, ReturnsPhaseAndAmplitudeUpToTheInterpolationOfTheTables) {
    for (const bool wiggling : {false, true}) {
        if (wiggling) {
            setAmpWigg(0, {1.05F, 0.012F, 0.3F, 0.02F, 0.8F});
        }
        for (const auto referenceFunc : {ReferenceFunc_UnitSquare, ReferenceFunc_UnitDiamond}) {
            const RoundTripError error = roundTrip(referenceFunc);
            EXPECT_LT(error.phase, 2.5e-4);
            EXPECT_LT(error.amplitude, 8e-3);
        }
        const RoundTripError error = roundTrip(ReferenceFunc_UnitCircle);
        EXPECT_LT(error.phase, 2.5e-5);
        EXPECT_LT(error.amplitude, 3e-4);
    }
}

TEST_F(WigglingRoundTrip, WithoutAmplitudeTheAmplitudeStaysZero) {
    EXPECT_EQ(init(), 0);
    const std::vector<float> phi = {0.0F, 0.5F, 1.0F, 2.0F, 3.0F, 4.0F, 5.0F, 6.0F};
    std::vector<float> ampl(8, 0.0F), real(8, 1.0F), imag(8, 1.0F), phiBack(8);
    const WigglingBackwardInput backwardInput = {8, 0, phi.data(), ampl.data()};
    WigglingBackwardInout backwardInout = {real.data(), imag.data()};
    EXPECT_EQ(Wiggling_Backward(&backwardInput, state_.get(), &calib_, &backwardInout), 0);
    WigglingForwardInput forwardInput = {};
    forwardInput.xyReal = real.data();
    forwardInput.xyImag = imag.data();
    forwardInput.nPixel = 8;
    WigglingForwardInout forwardInout = {};
    forwardInout.phi = phiBack.data();
    forwardInout.ampl = ampl.data();
    EXPECT_EQ(Wiggling_Forward(&forwardInput, state_.get(), &calib_, &forwardInout), 0);
    EXPECT_EQ(ampl, std::vector<float>(8, 0.0F));
}

}  // namespace
