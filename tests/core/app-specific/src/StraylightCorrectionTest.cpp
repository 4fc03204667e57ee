// SPDX-License-Identifier: Apache-2.0
//
// The straylight correction: the compiled-in point spread function, the correction at every level, what is
// prepared when, and what fails where.
#include "StraylightCorrection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include "ALfftRule.h"
#include "StraylightCorrectionKernels.h"
#include "StraylightCorrectionRule.h"
#include "support/Floats.h"
#include "support/Random.h"
#include "support/Reports.h"
#include "support/Targets.h"
#include "support/Threads.h"

namespace {

using rule::Image;
using testing_support::Lines;
using testing_support::Random;
using testing_support::Reports;
using testing_support::sameFloats;
using testing_support::ThreadServices;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

Image randomImage(Random& random, uint32_t width, uint32_t height) {
    Image image = {width, height, std::vector<float>(size_t{width} * height)};
    for (float& pixel : image.pixels) {
        pixel = random.real(-500.0F, 1000.0F);
    }
    return image;
}

/** An image of zeros with one bright pixel. */
Image point(uint32_t width, uint32_t height, uint32_t x, uint32_t y) {
    Image image = {width, height, std::vector<float>(size_t{width} * height)};
    image.pixels[y * width + x] = 1.0F;
    return image;
}

// --- The compiled-in calibration ---------------------------------------------------------------------------

#ifndef QOR_STRAYLIGHT_PSF_MEASURED

TEST(CompiledInCalib, HasTheStatedScalars) {
    const StraylightCalib& calib = *getCompiledInCalib();
    EXPECT_EQ(calib.psfWidth, 449U);
    EXPECT_EQ(calib.psfHeight, 345U);
    EXPECT_EQ(std::bit_cast<uint32_t>(calib.filterCutOff), 0x3F2A320EU);
    EXPECT_EQ(std::bit_cast<uint32_t>(calib.correctionFactor), 0x3FCE0CD0U);
}

TEST(CompiledInCalib, PeaksWithExactlyOneInTheCentre) {
    const StraylightCalib& calib = *getCompiledInCalib();
    const auto* const peak = std::max_element(calib.psf, calib.psf + kPsfSize);
    EXPECT_EQ(peak - calib.psf, 172 * 449 + 224);
    EXPECT_EQ(*peak, 1.0F);
    EXPECT_EQ(std::count(calib.psf, calib.psf + kPsfSize, 1.0F), 1);
}

TEST(CompiledInCalib, IsPositiveAndFarFromItsCentreSmall) {
    const StraylightCalib& calib = *getCompiledInCalib();
    const float least = *std::min_element(calib.psf, calib.psf + kPsfSize);
    EXPECT_GT(least, 0.0F);
    EXPECT_NEAR(least, 2.95e-7F, 0.005e-7F);
    EXPECT_NEAR(std::accumulate(calib.psf, calib.psf + kPsfSize, 0.0), 4.341, 0.0005);
}

TEST(CompiledInCalib, AtLevel3TwoValuesStandOverTheCut) {
    const Image psf = rule::scaledPsf(*getCompiledInCalib(), 3);
    ASSERT_EQ(psf.width, 57U);
    ASSERT_EQ(psf.height, 44U);
    EXPECT_NEAR(psf.at(28, 21), 1.980F, 0.0005F);
    EXPECT_NEAR(psf.at(28, 22), 1.910F, 0.0005F);
    std::vector<float> sorted = psf.pixels;
    std::sort(sorted.rbegin(), sorted.rend());
    EXPECT_EQ(sorted[0], psf.at(28, 21));
    EXPECT_EQ(sorted[1], psf.at(28, 22));
    EXPECT_NEAR(sorted[2], 0.095F, 0.0005F);
    EXPECT_NEAR(std::accumulate(sorted.begin(), sorted.end(), 0.0), 4.34, 0.005);
    const Image scatter = rule::scatterPart(*getCompiledInCalib(), 3);
    EXPECT_EQ(std::count(scatter.pixels.begin(), scatter.pixels.end(), 0.0F), 2);
}

TEST(CompiledInCalib, IsTheModelOfTheLens) {
    const StraylightCalib& calib = *getCompiledInCalib();
    const auto tail = [](double radius) {
        return 0.00975 * std::exp(-radius / 2.3) + 2.9e-7 * (1.0 + 2.0 * std::exp(-radius / 60.0));
    };
    const auto core = [](double x, double y) {
        return std::exp(-((y + 0.0759) * (y + 0.0759) + (x - 0.02) * (x - 0.02)) / (2.0 * 0.7958 * 0.7958));
    };
    for (int row = 0; row < kPsfHeight; ++row) {
        for (int column = 0; column < kPsfWidth; ++column) {
            const double y = row - 172;
            const double x = column - 224;
            const double value =
                core(x, y) / core(0.0, 0.0) * (1.0 - tail(0.0)) + tail(std::sqrt(x * x + y * y));
            const float expected = static_cast<float>(value);
            ASSERT_NEAR(calib.psf[row * kPsfWidth + column], expected, 1.2e-7F * expected)
                << row << ", " << column;
        }
    }
}

TEST(CompiledInCalib, IsTheSameWhateverMachineBuiltIt) {
    // FNV-1a over the bits of the values, in their order.
    uint64_t hash = 0xCBF29CE484222325U;
    for (const float value : getCompiledInCalib()->psf) {
        hash = (hash ^ std::bit_cast<uint32_t>(value)) * 0x100000001B3U;
    }
    EXPECT_EQ(hash, 0x46D8E9862CB9896AU) << std::hex << hash;
}

#endif

TEST(CompiledInCalib, IsAlwaysTheSameRecord) {
    EXPECT_EQ(getCompiledInCalib(), getCompiledInCalib());
}

// --- The stage ---------------------------------------------------------------------------------------------

/** Records of the stage and two images. */
class Straylight : public testing_support::OnEveryTarget {
 protected:
    Straylight()
        : systemCalib_(std::make_unique<StraylightCalib>(*getCompiledInCalib())),
          state_(std::make_unique<ALSLC_State>()),
          scratch_(std::make_unique<ALSLC_Scratch>()) {
        std::memset(scratch_.get(), 0xFF, sizeof *scratch_);  // NaN: other stages leave what they like
        calib_.systemCalib = systemCalib_.get();
        calib_.binningEnabled = 0;
    }

    void setImages(const Image& real, const Image& imag) {
        real_ = real;
        imag_ = imag;
        inout_ = {real_.pixels.data(), imag_.pixels.data(), real_.width, real_.height, 0, 3};
    }

    void setRandomImages(uint32_t width = kImageWidth, uint32_t height = kImageHeight) {
        Random random(17);
        const Image real = randomImage(random, width, height);
        setImages(real, randomImage(random, width, height));
    }

    /** A small point spread function, of the values in the order of its rows. */
    void setPsf(uint32_t width, uint32_t height, const std::vector<float>& values) {
        systemCalib_->psfWidth = width;
        systemCalib_->psfHeight = height;
        std::copy(values.begin(), values.end(), systemCalib_->psf);
    }

    int init() { return StraylightCorrection_Init(&calib_, state_.get(), nullptr, nullptr, nullptr); }

    int apply(int32_t pyrLevel) {
        inout_.pyrLevel = pyrLevel;
        return StraylightCorrection_Apply(&calib_, state_.get(), scratch_.get(), &inout_);
    }

    /** Both images against the rule, to a millionth of the norms. */
    void expectRule(const Image& real, const Image& imag, int pyrLevel, int levels) {
        const auto width = static_cast<uint32_t>(state_->fftWidth);
        const auto height = static_cast<uint32_t>(state_->fftHeight);
        const Image scatter = rule::scatterPart(*systemCalib_, pyrLevel);
        for (const auto& [before, after] : {std::pair{&real, &real_}, std::pair{&imag, &imag_}}) {
            const std::vector<float> expected =
                rule::correct(*before, *systemCalib_, pyrLevel, levels, width, height);
            const double tolerance = 1e-6 * rule::norm(before->pixels) * rule::norm(scatter.pixels) + 1e-4;
            for (size_t i = 0; i < expected.size(); ++i) {
                ASSERT_NEAR(after->pixels[i], expected[i], tolerance) << i;
            }
        }
    }

    /** Both images still hold what setImages gave them. */
    void expectUnchanged(const Image& real, const Image& imag) {
        EXPECT_TRUE(sameFloats(real_.pixels.data(), real.pixels.data(), real.pixels.size()));
        EXPECT_TRUE(sameFloats(imag_.pixels.data(), imag.pixels.data(), imag.pixels.size()));
    }

    std::unique_ptr<StraylightCalib> systemCalib_;
    std::unique_ptr<ALSLC_State> state_;
    std::unique_ptr<ALSLC_Scratch> scratch_;
    ALSLC_Calib calib_ = {};
    ALSLC_Inout inout_ = {};
    Image real_ = {};
    Image imag_ = {};
};

TEST_P(Straylight, Level3SubtractsTheScatteredPart) {
    setRandomImages();
    const Image real = real_;
    const Image imag = imag_;
    ASSERT_EQ(apply(3), 0);
    EXPECT_EQ(state_->fftWidth, 64);
    EXPECT_EQ(state_->fftHeight, 64);
    EXPECT_EQ(state_->pyrLevel, 3);
    expectRule(real, imag, 3, 3);
}

TEST_P(Straylight, OtherLevelsSubtractTheScatteredPart) {
    for (const int level : {1, 2, 4, 5}) {
        // At level 1 the function is still large: a small image keeps the rule's sum of products short.
        if (level == 1) {
            setRandomImages(48, 40);
        } else {
            setRandomImages();
        }
        const Image real = real_;
        const Image imag = imag_;
        ASSERT_EQ(apply(level), 0);
        expectRule(real, imag, level, level);
    }
}

TEST_P(Straylight, BothImagesAreCorrectedIndependently) {
    setRandomImages();
    const Image real = real_;
    setImages(real, real);
    ASSERT_EQ(apply(3), 0);
    EXPECT_TRUE(sameFloats(real_.pixels.data(), imag_.pixels.data(), real_.pixels.size()));
}

TEST_P(Straylight, NoReductionAtLevel0) {
    // One bright pixel: every other one loses its share of the reflected function, with weights of 1.
    ASSERT_EQ(init(), 0);
    const Image bright = point(kImageWidth, kImageHeight, 100, 60);
    setImages(bright, bright);
    ASSERT_EQ(apply(0), 0);
    EXPECT_EQ(state_->fftWidth, 480);   // 449 columns
    EXPECT_EQ(state_->fftHeight, 384);  // 345 rows
    const Image scatter = rule::scatterPart(*systemCalib_, 0);
    for (uint32_t y = 0; y < kImageHeight; ++y) {
        for (uint32_t x = 0; x < kImageWidth; ++x) {
            const float share = scatter.at(224 + 100 - x, 172 + 60 - y);
            ASSERT_NEAR(real_.at(x, y), bright.at(x, y) - systemCalib_->correctionFactor * share, 2e-7F)
                << x << ", " << y;
        }
    }
}

TEST_P(Straylight, ABinnedImageAtLevel1IsConvolvedAtFullSize) {
    calib_.binningEnabled = 1;
    const Image bright = point(kImageWidth, kImageHeight, 100, 60);
    setImages(bright, bright);
    ASSERT_EQ(apply(1), 0);
    EXPECT_EQ(state_->fftWidth, 256);   // 225 columns
    EXPECT_EQ(state_->fftHeight, 192);  // 173 rows
    const Image scatter = rule::scatterPart(*systemCalib_, 1);
    for (uint32_t y = 0; y < kImageHeight; ++y) {
        for (uint32_t x = 0; x < kImageWidth; ++x) {
            // The sizes of the FFT are smaller than function and image together: light wraps around.
            const int32_t column = static_cast<int32_t>(112 + 100 - x);
            const int32_t row = static_cast<int32_t>(86 + 60 - y);
            const auto wrapped = [](int32_t i, int32_t size, uint32_t limit) {
                const int32_t inside = i < 0 ? i + size : i;
                return inside < static_cast<int32_t>(limit) ? inside : -1;
            };
            const int32_t sourceX = wrapped(column, 256, 225);
            const int32_t sourceY = wrapped(row, 192, 173);
            const float share = sourceX < 0 || sourceY < 0 ? 0.0F
                                                           : scatter.at(static_cast<uint32_t>(sourceX),
                                                                        static_cast<uint32_t>(sourceY));
            ASSERT_NEAR(real_.at(x, y), bright.at(x, y) - systemCalib_->correctionFactor * share, 2e-7F)
                << x << ", " << y;
        }
    }
}

TEST_P(Straylight, ABinnedImageIsHalvedOnceLess) {
    for (const int32_t binningEnabled : {1, 2, -1}) {
        SCOPED_TRACE(binningEnabled);
        calib_.binningEnabled = binningEnabled;
        setRandomImages(112, 86);
        const Image real = real_;
        const Image imag = imag_;
        ASSERT_EQ(apply(3), 0);
        expectRule(real, imag, 3, 2);
    }
}

TEST_P(Straylight, AFactorOf0LeavesTheImagesEqual) {
    systemCalib_->correctionFactor = 0.0F;
    setRandomImages();
    real_.pixels[0] = 0.0F;
    const Image real = real_;
    const Image imag = imag_;
    ASSERT_EQ(apply(3), 0);
    EXPECT_EQ(real_.pixels, real.pixels);
    EXPECT_EQ(imag_.pixels, imag.pixels);
}

// -0 minus the 0 of positive light stays -0; minus the -0 of negative light it becomes 0.
TEST_P(Straylight, AFactorOf0ChangesNoBitButMinusZeroUnderNegativeLight) {
    systemCalib_->correctionFactor = 0.0F;
    setRandomImages();
    for (size_t i = 0; i < real_.pixels.size(); ++i) {
        real_.pixels[i] = std::fabs(real_.pixels[i]) + 1.0F;
        imag_.pixels[i] = -real_.pixels[i];
    }
    for (const size_t pixel : {size_t{3000}, size_t{20000}}) {
        real_.pixels[pixel] = -0.0F;
        real_.pixels[pixel + 1] = 0.0F;
        imag_.pixels[pixel] = -0.0F;
        imag_.pixels[pixel + 1] = 0.0F;
    }
    const Image real = real_;
    Image imag = imag_;
    ASSERT_EQ(apply(3), 0);
    imag.pixels[3000] = 0.0F;
    imag.pixels[20000] = 0.0F;
    expectUnchanged(real, imag);
}

TEST_P(Straylight, APeakBelowTheCutOffIsRemovedAloneWithItsEquals) {
    ASSERT_EQ(init(), 0);
    // Two values of 0.5 below the cut-off of 0.66; the sum is 2.
    setPsf(3, 3, {0.1F, 0.1F, 0.1F, 0.2F, 0.5F, 0.5F, 0.1F, 0.2F, 0.2F});
    systemCalib_->correctionFactor = 1.0F;
    const Image bright = point(16, 16, 8, 8);
    setImages(bright, bright);
    ASSERT_EQ(apply(0), 0);
    EXPECT_NEAR(real_.at(8, 8), 1.0F, 1e-6F);
    EXPECT_NEAR(real_.at(7, 8), 0.0F, 1e-6F);    // the peak's equal, right of the centre, acts to the left
    EXPECT_NEAR(real_.at(9, 8), -0.1F, 1e-6F);   // 0.2 / 2, left of the centre
    EXPECT_NEAR(real_.at(9, 9), -0.05F, 1e-6F);  // 0.1 / 2
    EXPECT_NEAR(real_.at(7, 7), -0.1F, 1e-6F);   // 0.2 / 2
    EXPECT_NEAR(real_.at(10, 10), 0.0F, 1e-6F);
}

TEST_P(Straylight, TheCorrectionIsTheSameOnBothRoadsThroughThreads) {
    setRandomImages();
    const Image real = real_;
    const Image imag = imag_;
    ASSERT_EQ(apply(3), 0);
    const Image realAlone = real_;
    const Image imagAlone = imag_;
    for (const int32_t numberOfThreads : {2, 4, 100}) {
        ThreadServices services;
        ASSERT_EQ(StraylightCorrection_Init(&calib_, state_.get(), nullptr, ThreadServices::create,
                                            ThreadServices::join),
                  0);
        setImages(real, imag);
        inout_.numberOfThreads = numberOfThreads;
        ASSERT_EQ(apply(3), 0);
        EXPECT_EQ(services.created, 1);
        EXPECT_EQ(services.joined, 1);
        expectUnchanged(realAlone, imagAlone);
    }
}

INSTANTIATE_ON_EVERY_TARGET(Straylight);

TEST(StraylightTargets, EveryTargetGivesTheSameBits) {
    Random random(18);
    SCOPED_TRACE(random.seedText());
    const Image image = randomImage(random, kImageWidth, kImageHeight);
    std::vector<float> first;
    for (const int64_t target : testing_support::runnableTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
        const auto state = std::make_unique<ALSLC_State>();
        const auto scratch = std::make_unique<ALSLC_Scratch>();
        const ALSLC_Calib calib = {getCompiledInCalib(), 0};
        Image real = image;
        Image imag = image;
        ALSLC_Inout inout = {real.pixels.data(), imag.pixels.data(), kImageWidth, kImageHeight, 0, 3};
        EXPECT_EQ(StraylightCorrection_Apply(&calib, state.get(), scratch.get(), &inout), 0);
        if (first.empty()) {
            first = real.pixels;
        }
        EXPECT_TRUE(sameFloats(real.pixels.data(), first.data(), first.size())) << hwy::TargetName(target);
    }
    hwy::SetSupportedTargetsForTest(0);
    hwy::GetChosenTarget().DeInit();
}

// --- Preparation -------------------------------------------------------------------------------------------

/** The stage on the best target. */
class StraylightState : public Straylight {};
INSTANTIATE_TEST_SUITE_P(BestTarget, StraylightState,
                         ::testing::Values(testing_support::runnableTargets().front()),
                         testing_support::targetName);

TEST_P(StraylightState, ANegativeLevelChangesNothing) {
    setRandomImages();
    const Image real = real_;
    const Image imag = imag_;
    const auto before = std::make_unique<ALSLC_State>(*state_);
    for (const int32_t level : {-1, std::numeric_limits<int32_t>::min()}) {
        EXPECT_EQ(apply(level), 0);
    }
    expectUnchanged(real, imag);
    EXPECT_EQ(std::memcmp(state_.get(), before.get(), sizeof *before), 0);
}

TEST_P(StraylightState, ALevelAbove5IsLine161) {
    setRandomImages();
    for (const int32_t level : {6, std::numeric_limits<int32_t>::max()}) {
        const Reports reports;
        EXPECT_EQ(apply(level), 1);
        EXPECT_EQ(reports.all(), Lines{"StraylightCorrectio 161"});
    }
}

TEST_P(StraylightState, TheFirstFrameOfALevelPreparesAndTheOthersDoNot) {
    setRandomImages();
    const Image real = real_;
    const Image imag = imag_;
    ASSERT_EQ(apply(3), 0);
    const Image corrected = real_;
    systemCalib_->psf[100] = 100.0F;  // no later frame of this level sees it
    setImages(real, imag);
    ASSERT_EQ(apply(3), 0);
    EXPECT_EQ(real_.pixels, corrected.pixels);
    setImages(real, imag);
    ASSERT_EQ(apply(4), 0);
    EXPECT_EQ(state_->pyrLevel, 4);
    EXPECT_EQ(state_->fftWidth, 32);  // 29 columns
    setImages(real, imag);
    ASSERT_EQ(apply(3), 0);
    EXPECT_EQ(state_->fftWidth, 64);
    EXPECT_NE(real_.pixels, corrected.pixels);
}

TEST_P(StraylightState, ANegativeLevelBetweenFramesKeepsTheTables) {
    setRandomImages();
    ASSERT_EQ(apply(3), 0);
    systemCalib_->psfWidth = 0;
    EXPECT_EQ(apply(-1), 0);
    EXPECT_EQ(state_->pyrLevel, 3);
}

TEST_P(StraylightState, InitialisationMarksTheState) {
    state_->pyrLevel = 3;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(state_->pyrLevel, -1);
}

TEST_P(StraylightState, TheTransformStartsAtA16ByteBoundary) {
    setRandomImages();
    ASSERT_EQ(apply(3), 0);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(state_->fftPsf + state_->fftPsfOffset) % 16, 0U);
    EXPECT_GE(state_->fftPsfOffset, 0);
    EXPECT_LT(state_->fftPsfOffset, 4);
}

TEST_P(StraylightState, Level0OfAZeroedStateIsNotPreparedAndFails) {
    setRandomImages();
    const Image real = real_;
    const Image imag = imag_;
    const Reports reports;
    EXPECT_EQ(apply(0), 1);
    const auto lines = reports.all();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[lines.size() - 2], "StraylightCorrectio 266");
    EXPECT_EQ(lines.back(), "StraylightCorrectio 207");
    expectUnchanged(real, imag);
}

TEST_P(StraylightState, ABinnedImageHasNoLevel0) {
    ASSERT_EQ(init(), 0);
    calib_.binningEnabled = 1;
    setRandomImages();
    const Image real = real_;
    const Image imag = imag_;
    const Reports reports;
    EXPECT_EQ(apply(0), 1);
    EXPECT_EQ(reports.all().back(), "StraylightCorrectio 207");
    expectUnchanged(real, imag);
}

TEST_P(StraylightState, AfterAFailedPreparationTheFramesOfTheLevelFail) {
    setPsf(40, 40, std::vector<float>(1600));
    setRandomImages();
    const Image real = real_;
    const Image imag = imag_;
    {
        const Reports reports;
        EXPECT_EQ(apply(1), 1);
        EXPECT_EQ(reports.all(), (Lines{"StraylightCorrectio 47", "StraylightCorrectio 181"}));
    }
    EXPECT_EQ(state_->pyrLevel, 1);
    for (int frame = 0; frame < 2; ++frame) {
        const Reports reports;
        EXPECT_EQ(apply(1), 1);
        const auto lines = reports.all();
        ASSERT_GE(lines.size(), 2U);
        EXPECT_EQ(lines[lines.size() - 2], "StraylightCorrectio 266");
        EXPECT_EQ(lines.back(), "StraylightCorrectio 207");
    }
    expectUnchanged(real, imag);
}

TEST_P(StraylightState, AFailedPreparationDoesNotLeaveTheTransformOfAnotherLevel) {
    setRandomImages();
    ASSERT_EQ(apply(3), 0);
    setPsf(40, 40, std::vector<float>(1600));
    EXPECT_EQ(apply(2), 1);
    EXPECT_EQ(apply(2), 1);
    *systemCalib_ = *getCompiledInCalib();
    EXPECT_EQ(apply(3), 0);
}

// --- Failures ----------------------------------------------------------------------------------------------

TEST_P(StraylightState, InitialisationChecksItsRecords) {
    const auto reportsOf = [](const ALSLC_Calib* calib, ALSLC_State* state) {
        const Reports reports;
        EXPECT_EQ(StraylightCorrection_Init(calib, state, nullptr, nullptr, nullptr), 1);
        return reports.all();
    };
    EXPECT_EQ(reportsOf(nullptr, state_.get()), Lines{"StraylightCorrectio 121"});
    EXPECT_EQ(reportsOf(&calib_, nullptr), Lines{"StraylightCorrectio 121"});
    systemCalib_->psfHeight = 577;
    EXPECT_EQ(reportsOf(&calib_, state_.get()), Lines{"StraylightCorrectio 123"});
    systemCalib_->psfHeight = 576;
    systemCalib_->psfWidth = 769;
    EXPECT_EQ(reportsOf(&calib_, state_.get()), Lines{"StraylightCorrectio 124"});
    systemCalib_->psfWidth = 768;
    EXPECT_EQ(init(), 0);
    calib_.systemCalib = nullptr;
    EXPECT_EQ(reportsOf(&calib_, state_.get()), Lines{"StraylightCorrectio 122"});
}

TEST_P(StraylightState, NullRecordsFail) {
    setRandomImages();
    const Reports reports;
    EXPECT_EQ(StraylightCorrection_Apply(nullptr, state_.get(), scratch_.get(), &inout_), 1);
    EXPECT_EQ(StraylightCorrection_Apply(&calib_, nullptr, scratch_.get(), &inout_), 1);
    EXPECT_EQ(StraylightCorrection_Apply(&calib_, state_.get(), scratch_.get(), nullptr), 1);
    calib_.systemCalib = nullptr;
    EXPECT_EQ(apply(3), 1);
    EXPECT_EQ(slcProcessHDR(nullptr), 1);
    EXPECT_EQ(reports.all().size(), 5U);
}

TEST_P(StraylightState, NoScratchIsLine184EvenBeforeThePreparation) {
    setRandomImages();
    const Reports reports;
    EXPECT_EQ(StraylightCorrection_Apply(&calib_, state_.get(), nullptr, &inout_), 1);
    EXPECT_EQ(reports.all(), Lines{"StraylightCorrectio 184"});
    EXPECT_EQ(state_->pyrLevel, 0);
}

TEST_P(StraylightState, NoImageIsLine207) {
    for (const bool real : {true, false}) {
        setRandomImages();
        (real ? inout_.xyReal : inout_.xyImag) = nullptr;
        const Reports reports;
        EXPECT_EQ(apply(3), 1);
        EXPECT_EQ(reports.all().back(), "StraylightCorrectio 207");
    }
}

TEST_P(StraylightState, APointSpreadFunctionWithoutRowsOrColumnsIsLine172Or173) {
    setRandomImages();
    systemCalib_->psfWidth = 0;
    {
        const Reports reports;
        EXPECT_EQ(apply(3), 1);
        EXPECT_EQ(reports.all(), Lines{"StraylightCorrectio 173"});
    }
    systemCalib_->psfHeight = 0;
    const Reports reports;
    EXPECT_EQ(apply(3), 1);
    EXPECT_EQ(reports.all(), Lines{"StraylightCorrectio 172"});
}

TEST_P(StraylightState, APointSpreadFunctionLargerThanItsTableIsLine29) {
    setRandomImages();
    const struct {
        uint32_t width, height;
    } sizes[] = {{450, 345},          {449, 346}, {769, 1}, {1, 577}, {768, 576}, {0xFFFFFFFFU, 0xFFFFFFFFU},
                 {0x10000U, 0x10000U}};
    for (const auto& size : sizes) {
        systemCalib_->psfWidth = size.width;
        systemCalib_->psfHeight = size.height;
        state_->pyrLevel = 0;
        const Reports reports;
        EXPECT_EQ(apply(3), 1) << size.width;
        EXPECT_EQ(reports.all(), (Lines{"StraylightCorrectio 29", "StraylightCorrectio 181"})) << size.width;
    }
}

TEST_P(StraylightState, APointSpreadFunctionTooNarrowToHalveIsLine33) {
    setRandomImages();
    setPsf(2, 2, {1.0F, 1.0F, 1.0F, 1.0F});
    const Reports reports;
    EXPECT_EQ(apply(2), 1);
    EXPECT_EQ(reports.all(), (Lines{"ALImageResize_impl 29", "ALImageResize_impl 48", "ALImageResize 85",
                                    "StraylightCorrectio 33", "StraylightCorrectio 181"}));
}

TEST_P(StraylightState, ASumThatIsNotAbove0IsLine47) {
    setRandomImages();
    for (const float value : {0.0F, -1.0F, kNaN, -kInfinity}) {
        setPsf(8, 8, std::vector<float>(64, value));
        state_->pyrLevel = 0;
        const Reports reports;
        EXPECT_EQ(apply(1), 1);
        EXPECT_EQ(reports.all(), (Lines{"StraylightCorrectio 47", "StraylightCorrectio 181"})) << value;
    }
}

TEST_P(StraylightState, AnImageTooWideForTheLinesIsLine252) {
    setRandomImages();
    inout_.width = 25686;  // lines of 12843 floats, one more than fit thrice
    inout_.height = 1;
    const Reports reports;
    EXPECT_EQ(apply(3), 1);
    EXPECT_EQ(reports.all(),
              (Lines{"ALImageResize 81", "StraylightCorrectio 252", "StraylightCorrectio 207"}));
}

TEST_P(StraylightState, AnImageTooLargeForTheHalvesIsLine253) {
    setRandomImages();
    for (const auto& [width, height] : {std::pair<uint32_t, uint32_t>{1024, 866}, {224, 0xFFFFFFFFU}}) {
        inout_.width = width;  // 512 x 433 is above 221184
        inout_.height = height;
        const Reports reports;
        EXPECT_EQ(apply(3), 1);
        EXPECT_EQ(reports.all(), (Lines{"StraylightCorrectio 253", "StraylightCorrectio 207"}));
    }
}

TEST_P(StraylightState, AReducedImageThatFillsAHalfPasses) {
    setRandomImages(1024, 864);  // 512 x 432 is 221184; the image itself is too large for what comes last
    const Reports reports;
    EXPECT_EQ(apply(5), 1);
    EXPECT_EQ(reports.all(), (Lines{"StraylightCorrectio 281", "StraylightCorrectio 207"}));
}

TEST_P(StraylightState, AnImageLargerThanTheTransformIsLine266) {
    setRandomImages(65 * 8, 8);
    const Image real = real_;
    const Image imag = imag_;
    const Reports reports;
    EXPECT_EQ(apply(3), 1);
    EXPECT_EQ(reports.all(),
              (Lines{"ALfft 101", "ALfft 232", "StraylightCorrectio 266", "StraylightCorrectio 207"}));
    expectUnchanged(real, imag);
}

TEST_P(StraylightState, AnImageTooLargeForTheInterpolationIsLine281) {
    setRandomImages(512, 434);  // 222208 pixels; halved thrice 64 x 55, which fits the transform
    const Image real = real_;
    const Image imag = imag_;
    {
        const Reports reports;
        EXPECT_EQ(apply(3), 1);
        EXPECT_EQ(reports.all(), (Lines{"StraylightCorrectio 281", "StraylightCorrectio 207"}));
    }
    ASSERT_EQ(init(), 0);
    const Reports reports;
    EXPECT_EQ(apply(0), 1);
    EXPECT_EQ(reports.all(), (Lines{"StraylightCorrectio 281", "StraylightCorrectio 207"}));
    expectUnchanged(real, imag);
}

TEST_P(StraylightState, TheLargestImageOfTheInterpolationIsCorrected) {
    setRandomImages(768, 288);  // 221184 pixels; halved five times 24 x 9
    const Image real = real_;
    const Image imag = imag_;
    ASSERT_EQ(apply(5), 0);
    expectRule(real, imag, 5, 5);
}

TEST_P(StraylightState, AReducedWidthThatDoesNotFitIsLine321And289) {
    for (const uint32_t width : {225U, 1U + 8U, 231U}) {
        setRandomImages(width, 16);
        const Image real = real_;
        const Image imag = imag_;
        const Reports reports;
        EXPECT_EQ(apply(3), 1);
        EXPECT_EQ(reports.all(),
                  (Lines{"StraylightCorrectio 321", "StraylightCorrectio 289", "StraylightCorrectio 207"}));
        expectUnchanged(real, imag);
    }
}

TEST_P(StraylightState, AHeightThatIsNoMultipleOfTheStepIsCorrected) {
    for (const uint32_t height : {1U, 7U, 9U, 171U}) {
        setRandomImages(64, height);
        const Image real = real_;
        const Image imag = imag_;
        ASSERT_EQ(apply(3), 0) << height;
        expectRule(real, imag, 3, 3);
    }
}

TEST_P(StraylightState, HostileSizesFail) {
    setRandomImages();
    const Image real = real_;
    const Image imag = imag_;
    for (const int32_t level : {3, 0}) {
        ASSERT_EQ(init(), 0);
        for (const auto& [width, height] : {std::pair<uint32_t, uint32_t>{0, 0},
                                            {0, 172},
                                            {224, 0},
                                            {0xFFFFFFFFU, 0xFFFFFFFFU},
                                            {0x80000000U, 2},
                                            {2, 0x80000000U},
                                            {0x10000U, 0x10000U}}) {
            inout_.width = width;
            inout_.height = height;
            EXPECT_EQ(apply(level), 1) << width << " x " << height;
        }
    }
    expectUnchanged(real, imag);
}

TEST_P(StraylightState, HostileIndicesOfTheImageFail) {
    setRandomImages();
    ASSERT_EQ(apply(3), 0);
    for (const int xyidx : {-1, 2, std::numeric_limits<int>::max()}) {
        SLC_ProcessHDR_Args args = {
            &calib_, state_.get(), &scratch_->fftProcScratch[0], real_.pixels.data(), 224, 172, 1.0F,
            0,       xyidx};
        EXPECT_EQ(slcProcessHDR(&args), 1) << xyidx;
    }
}

TEST_P(StraylightState, AnImageOfMissingRecordsOrWithoutLevelsFails) {
    setRandomImages();
    ASSERT_EQ(apply(3), 0);
    const SLC_ProcessHDR_Args complete = {
        &calib_, state_.get(), &scratch_->fftProcScratch[0], real_.pixels.data(), 224, 172, 1.0F, 0, 0};
    const auto fails = [&complete](auto change) {
        SLC_ProcessHDR_Args args = complete;
        change(args);
        return slcProcessHDR(&args) == 1;
    };
    const Reports reports;
    EXPECT_TRUE(fails([](SLC_ProcessHDR_Args& args) { args.state = nullptr; }));
    EXPECT_TRUE(fails([](SLC_ProcessHDR_Args& args) { args.scratch = nullptr; }));
    EXPECT_TRUE(fails([](SLC_ProcessHDR_Args& args) { args.hdr_image = nullptr; }));
    EXPECT_TRUE(fails([](SLC_ProcessHDR_Args& args) { args.w = 0; }));
    EXPECT_TRUE(fails([](SLC_ProcessHDR_Args& args) { args.h = 0; }));
    state_->pyrLevel = 0;  // a binned image would be at level -1
    EXPECT_TRUE(fails([](SLC_ProcessHDR_Args& args) { args.binnedMode = 1; }));
    state_->pyrLevel = 1000;
    EXPECT_TRUE(fails([](SLC_ProcessHDR_Args&) {}));
    EXPECT_EQ(reports.all().size(), 7U);
}

TEST_P(StraylightState, ValuesThatAreNoNumbersDoNoHarm) {
    setRandomImages();
    real_.pixels[1000] = kNaN;
    imag_.pixels[2000] = kInfinity;
    EXPECT_EQ(apply(3), 0);
    EXPECT_TRUE(std::isnan(real_.pixels[0]));
}

// --- Threads -----------------------------------------------------------------------------------------------

TEST_P(StraylightState, WithoutThreadFunctionsAThreadIsLine202) {
    ASSERT_EQ(init(), 0);
    setRandomImages();
    inout_.numberOfThreads = 2;
    const Reports reports;
    EXPECT_EQ(apply(3), 1);
    EXPECT_EQ(reports.all(), Lines{"StraylightCorrectio 202"});
}

TEST_P(StraylightState, WithoutTheFunctionThatJoinsAThreadIsLine202) {
    ASSERT_EQ(StraylightCorrection_Init(&calib_, state_.get(), nullptr, ThreadServices::create, nullptr), 0);
    setRandomImages();
    inout_.numberOfThreads = 2;
    const Reports reports;
    EXPECT_EQ(apply(3), 1);
    EXPECT_EQ(reports.all(), Lines{"StraylightCorrectio 202"});
    EXPECT_EQ(init(), 0);
}

class StraylightThreads : public StraylightState {
 protected:
    StraylightThreads() {
        EXPECT_EQ(StraylightCorrection_Init(&calib_, state_.get(), nullptr, ThreadServices::create,
                                            ThreadServices::join),
                  0);
        setRandomImages();
        inout_.numberOfThreads = 2;
    }
    ~StraylightThreads() override { init(); }

    ThreadServices services_;
};
INSTANTIATE_TEST_SUITE_P(BestTarget, StraylightThreads,
                         ::testing::Values(testing_support::runnableTargets().front()),
                         testing_support::targetName);

TEST_P(StraylightThreads, AThreadThatDoesNotStartIsLine202) {
    services_.createFailsAt = 0;
    const Reports reports;
    EXPECT_EQ(apply(3), 1);
    EXPECT_EQ(reports.all(), Lines{"StraylightCorrectio 202"});
}

TEST_P(StraylightThreads, AThreadThatCannotBeJoinedIsLine212) {
    services_.joinFailsAt = 0;
    const Reports reports;
    EXPECT_EQ(apply(3), 1);
    EXPECT_EQ(reports.all(), Lines{"StraylightCorrectio 212"});
    services_.joinAll();
}

TEST_P(StraylightThreads, AFailureOnTheThreadStandsInTheHistoryOnly) {
    inout_.xyReal = nullptr;
    const Reports reports;
    EXPECT_EQ(apply(3), 0);
    EXPECT_EQ(reports.all().size(), 1U);
    EXPECT_EQ(services_.joined, 1);
}

TEST_P(StraylightThreads, AFailureOfTheCallerStillJoinsTheThread) {
    inout_.xyImag = nullptr;
    const Reports reports;
    EXPECT_EQ(apply(3), 1);
    EXPECT_EQ(reports.all().back(), "StraylightCorrectio 207");
    EXPECT_EQ(services_.joined, 1);
}

// --- Kernels -----------------------------------------------------------------------------------------------

class StraylightKernels : public testing_support::OnEveryTarget {};

TEST_P(StraylightKernels, InterpolationAndSubtractionFollowTheirRule) {
    Random random(19);
    SCOPED_TRACE(random.seedText());
    for (int levels = 0; levels <= 5; ++levels) {
        for (int round = 0; round < 20; ++round) {
            const auto wo = static_cast<uint32_t>(random.integer(1, levels < 3 ? 40 : 9));
            const auto rest = static_cast<uint32_t>(random.integer(0, (1 << levels) - 1));
            const uint32_t width = (wo << levels) + rest;
            const auto height = static_cast<uint32_t>(random.integer(1, 70));
            const uint32_t ho = (height + (1U << levels) - 1) >> levels;
            Image image = {width, height, std::vector<float>(size_t{width} * height)};
            Image scattered = {wo, ho, std::vector<float>(size_t{wo} * ho)};
            for (float& pixel : image.pixels) {
                pixel = random.anyFloat();
            }
            for (float& pixel : scattered.pixels) {
                pixel = random.anyFloat();
            }
            const std::vector<float> expected = rule::subtract(image, scattered, levels, 1.609766F);
            std::vector<float> lines(size_t{width} * std::min(height, 2U) + 1, 42.0F);
            std::vector<float> result = image.pixels;
            result.push_back(42.0F);
            Straylight_Subtract({result.data(), width, height, scattered.pixels.data(), wo, ho, levels,
                                 1.609766F, lines.data()});
            ASSERT_TRUE(sameFloats(result.data(), expected.data(), expected.size()))
                << width << " x " << height << ", " << levels << " levels";
            EXPECT_EQ(result.back(), 42.0F);
            EXPECT_EQ(lines.back(), 42.0F);
        }
    }
}

INSTANTIATE_ON_EVERY_TARGET(StraylightKernels);

}  // namespace
