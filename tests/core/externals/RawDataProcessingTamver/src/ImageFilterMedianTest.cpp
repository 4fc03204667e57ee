// SPDX-License-Identifier: Apache-2.0
//
// The medians of the image filter: which value a mask gives, which pixels are written, and what is refused.
#include "ImageFilterMedian.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "support/Reports.h"

namespace {

constexpr float kUntouched = -77.0F;
constexpr int32_t kMinInt = std::numeric_limits<int32_t>::min();
constexpr int32_t kMaxInt = std::numeric_limits<int32_t>::max();

class Medians : public ::testing::Test {
 protected:
    Medians() : scratch_(std::make_unique<ImageFilterScratch>()) { setSize(9, 8, 1.0F); }

    void setSize(int32_t width, int32_t height, float value) {
        width_ = width;
        height_ = height;
        src_.assign(static_cast<size_t>(width) * static_cast<size_t>(height), value);
        clearResult();
    }

    void clearResult() { dst_.assign(src_.size(), kUntouched); }

    float& src(int32_t x, int32_t y) { return src_[static_cast<size_t>(y * width_ + x)]; }
    float dst(int32_t x, int32_t y) const { return dst_[static_cast<size_t>(y * width_ + x)]; }

    int32_t apply3(int32_t start = 0, int32_t end = kMaxInt) {
        return median3x3(src_.data(), dst_.data(), width_, height_, start, end);
    }

    int32_t apply5(int32_t start = 0, int32_t end = kMaxInt, int32_t threadIdx = 0) {
        return median5x5(src_.data(), dst_.data(), width_, height_, start, end, scratch_.get(), threadIdx);
    }

    /** The median of one mask of nine, given line by line. */
    float medianOf9(const std::vector<float>& mask) {
        setSize(3, 3, 0.0F);
        src_ = mask;
        EXPECT_EQ(apply3(), 0);
        return dst(1, 1);
    }

    /** The median of one mask of 25 whose first pixels hold `values` and whose others hold `rest`. */
    float medianOf25(const std::vector<float>& values, float rest = 0.0F) {
        setSize(5, 5, rest);
        std::copy(values.begin(), values.end(), src_.begin());
        EXPECT_EQ(apply5(), 0);
        return dst(2, 2);
    }

    /** 1 up to n in an order that is neither rising nor falling. */
    static std::vector<float> shuffled(size_t n) {
        std::vector<float> values(n);
        for (size_t i = 0; i < n; ++i) {
            values[i] = static_cast<float>(i * 7 % n + 1);  // n has no factor 7
        }
        return values;
    }

    /** The lines of the result in which a pixel was written. */
    std::vector<int32_t> writtenLines() const {
        std::vector<int32_t> lines;
        for (int32_t y = 0; y < height_; ++y) {
            const auto line = dst_.begin() + y * width_;
            if (std::any_of(line, line + width_, [](float v) { return v != kUntouched; })) {
                lines.push_back(y);
            }
        }
        return lines;
    }

    void expectUntouchedAround(int32_t border) {
        for (int32_t y = 0; y < height_; ++y) {
            for (int32_t x = 0; x < width_; ++x) {
                const bool inside = x >= border && x < width_ - border && y >= border && y < height_ - border;
                EXPECT_EQ(dst(x, y) != kUntouched, inside) << x << ", " << y;
            }
        }
    }

    /** One report without message, of the image filter, and nothing written. */
    void expectFailure(int32_t returned) {
        EXPECT_EQ(returned, 1);
        ASSERT_EQ(reports_.all().size(), 1U);
        EXPECT_EQ(reports_.all()[0].substr(0, 12), "ImageFilter ");
        EXPECT_TRUE(writtenLines().empty());
        reports_.clear();
    }

    int32_t width_ = 0;
    int32_t height_ = 0;
    std::vector<float> src_, dst_;
    std::unique_ptr<ImageFilterScratch> scratch_;
    testing_support::Reports reports_;
};

// --- 3 x 3: values ---

TEST_F(Medians, NineValuesGiveTheirMedian) {
    EXPECT_EQ(medianOf9({9, 2, 7, 4, 5, 6, 3, 8, 1}), 5.0F);
    EXPECT_EQ(medianOf9({4, 4, 4, 1, 2, 3, 9, 9, 9}), 4.0F);
}

TEST_F(Medians, FourValuesOfNineGiveTheMedianAmongHolesOnBothSides) {
    // Five holes count as 0, 1e10, 0, 1e10, 0: 0 0 0 | 1 2 3 4 | 1e10 1e10, the fifth is 2.
    EXPECT_EQ(medianOf9({0, 3, 0, 1, 0, 4, 0, 2, 0}), 2.0F);
}

TEST_F(Medians, ThreeValuesOfNineGiveZeroEvenIfTheMiddleIsValid) {
    EXPECT_EQ(medianOf9({0, 0, 0, 1, 2, 3, 0, 0, 0}), 0.0F);
    EXPECT_EQ(medianOf9({0, 0, 0, 0, 0, 0, 0, 0, 0}), 0.0F);
}

TEST_F(Medians, AHoleInTheMiddleIsFilled) {
    // One hole, the first of the call, counts as 0: 0 1 2 3 4 | ...
    EXPECT_EQ(medianOf9({1, 2, 3, 4, 0, 5, 6, 7, 8}), 4.0F);
    std::vector<float> values(12, 1.0F);
    values.push_back(0.0F);  // the middle of 25
    EXPECT_EQ(medianOf25(values, 2.0F), 1.0F);
}

TEST_F(Medians, TheSideOfAHoleDependsOnTheHolesScannedBefore) {
    // The same mask of eight values at the right: 4 if its hole counts as 0, 5 if it counts as 1e10.
    setSize(9, 3, 1.0F);
    const float mask[3][3] = {{1, 2, 3}, {4, 0, 5}, {6, 7, 8}};
    for (int32_t y = 0; y < 3; ++y) {
        for (int32_t x = 0; x < 3; ++x) {
            src(6 + x, y) = mask[y][x];
        }
    }
    ASSERT_EQ(apply3(), 0);
    EXPECT_EQ(dst(7, 1), 4.0F);
    src(0, 2) = 0.0F;
    ASSERT_EQ(apply3(), 0);
    EXPECT_EQ(dst(7, 1), 5.0F);
    src(3, 0) = 0.0F;
    ASSERT_EQ(apply3(), 0);
    EXPECT_EQ(dst(7, 1), 4.0F);
}

TEST_F(Medians, HolesOfAColumnAreScannedBeforeThoseOfTheNextOne) {
    // The hole below on the left comes before the one in the upper line, which thus counts as 1e10: the fifth
    // of 1 .. 8 and 1e10 is 5. Line by line it would count as 0 and give 4.
    setSize(4, 3, 0.0F);
    src_ = {9, 0, 1, 2, 9, 3, 4, 5, 0, 6, 7, 8};
    ASSERT_EQ(apply3(), 0);
    EXPECT_EQ(dst(2, 1), 5.0F);
}

TEST_F(Medians, TheScanOfHolesRunsOnFromLineToLine) {
    // The hole at (4, 2) is the only one. Line 1 sees it as the first hole of the call, line 2 as the second,
    // line 3 as the third.
    for (int32_t y = 0; y < height_; ++y) {
        for (int32_t x = 0; x < width_; ++x) {
            src(x, y) = static_cast<float>(1 + x + 10 * y);
        }
    }
    src(4, 2) = 0.0F;
    ASSERT_EQ(apply3(), 0);
    // Around (4, 1): 4 5 6 14 15 16 24 26 and a 0: the fifth is 14. As 1e10 it would be 15.
    EXPECT_EQ(dst(4, 1), 14.0F);
    // Around (4, 2): 14 15 16 24 26 34 35 36 and 1e10: the fifth is 26.
    EXPECT_EQ(dst(4, 2), 26.0F);
    // Around (4, 3): 24 26 34 35 36 44 45 46 and a 0: the fifth is 35.
    EXPECT_EQ(dst(4, 3), 35.0F);
}

TEST_F(Medians, TheScanOfHolesStartsAnewWithEachCall) {
    for (int32_t y = 0; y < height_; ++y) {
        for (int32_t x = 0; x < width_; ++x) {
            src(x, y) = static_cast<float>(1 + x + 10 * y);
        }
    }
    src(4, 2) = 0.0F;
    ASSERT_EQ(apply3(1, 2), 0);
    ASSERT_EQ(apply3(2, 3), 0);
    EXPECT_EQ(dst(4, 2), 24.0F);  // in one call 26
}

TEST_F(Medians, NegativeZeroIsAHole) {
    EXPECT_EQ(medianOf9({1, 2, 3, 4, -0.0F, 5, 6, 7, 8}), 4.0F);
    EXPECT_EQ(medianOf9({-0.0F, 0, 0, 1, 2, 3, 0, -0.0F, 0}), 0.0F);
    EXPECT_FALSE(std::signbit(medianOf9({-0.0F, -0.0F, -0.0F, -0.0F, -0.0F, -0.0F, -0.0F, -0.0F, -0.0F})));
    EXPECT_EQ(medianOf25(shuffled(24), -0.0F), 12.0F);
    EXPECT_FALSE(std::signbit(medianOf25({-1.0F}, -0.0F)));
}

// --- 5 x 5: values ---

TEST_F(Medians, TwentyFiveValuesGiveTheirMedian) {
    EXPECT_EQ(medianOf25(shuffled(25)), 13.0F);
}

TEST_F(Medians, TwentyFourValuesGiveTheLowerMiddleOne) {
    EXPECT_EQ(medianOf25(shuffled(24)), 12.0F);
}

TEST_F(Medians, FourValuesOf25GiveTheSecond) {
    EXPECT_EQ(medianOf25({4, 1, 3, 2}), 2.0F);
}

TEST_F(Medians, FiveValuesOf25GiveTheThird) {
    EXPECT_EQ(medianOf25({4, 1, 5, 3, 2}), 3.0F);
}

TEST_F(Medians, ThreeValuesOf25GiveZero) {
    EXPECT_EQ(medianOf25({4, 1, 3}), 0.0F);
    EXPECT_EQ(medianOf25({4}), 0.0F);
    EXPECT_EQ(medianOf25({}), 0.0F);
}

TEST_F(Medians, EveryNumberOfValuesOf25GivesItsLowerMiddleOne) {
    for (size_t n = 4; n <= 25; ++n) {
        std::vector<float> values(n);
        std::iota(values.begin(), values.end(), 1.0F);
        EXPECT_EQ(medianOf25(values), static_cast<float>((n + 1) / 2)) << n;
    }
}

TEST_F(Medians, BehindANegativeValueTheZerosOf25CountAsValues) {
    // -1, twelve zeros, 1 to 12: the thirteenth of 25 is a zero. Without the negative value it is 6 of 12.
    std::vector<float> values = shuffled(12);
    EXPECT_EQ(medianOf25(values), 6.0F);
    values.push_back(-1.0F);
    EXPECT_EQ(medianOf25(values), 0.0F);
    EXPECT_EQ(medianOf25({-1.0F}), 0.0F);
    EXPECT_EQ(medianOf25(std::vector<float>(13, -2.0F)), -2.0F);
}

TEST_F(Medians, ValuesThatAreNoNumbersLieBeyondTheInfinities) {
    const float positive = std::bit_cast<float>(0x7FC12345U);
    const float negative = std::bit_cast<float>(0xFFC12345U);
    EXPECT_EQ(medianOf9({positive, 1, 2, positive, 3, 4, positive, 5, 6}), 5.0F);
    EXPECT_EQ(medianOf9({negative, 1, 2, negative, 3, 4, negative, 5, 6}), 2.0F);
    const float result = medianOf9(std::vector<float>(9, positive));
    EXPECT_EQ(std::bit_cast<uint32_t>(result), 0x7FC12345U);
    EXPECT_EQ(std::bit_cast<uint32_t>(medianOf25({}, negative)), 0xFFC12345U);
}

// --- Which pixels are written ---

TEST_F(Medians, TheOuterPixelsStayAsTheyAre) {
    ASSERT_EQ(apply3(), 0);
    expectUntouchedAround(1);
    clearResult();
    ASSERT_EQ(apply5(), 0);
    expectUntouchedAround(2);
}

TEST_F(Medians, ABandOf3x3HoldsTheLinesItNames) {
    ASSERT_EQ(apply3(3, 5), 0);
    EXPECT_EQ(writtenLines(), (std::vector<int32_t>{3, 4}));
    clearResult();
    ASSERT_EQ(apply3(0, 3), 0);
    EXPECT_EQ(writtenLines(), (std::vector<int32_t>{1, 2}));
    clearResult();
    ASSERT_EQ(apply3(5, 8), 0);
    EXPECT_EQ(writtenLines(), (std::vector<int32_t>{5, 6}));
}

TEST_F(Medians, ABandOf5x5LiesTwoLinesLowerThanItsNames) {
    ASSERT_EQ(apply5(1, 3), 0);
    EXPECT_EQ(writtenLines(), (std::vector<int32_t>{3, 4}));
    clearResult();
    ASSERT_EQ(apply5(0, 1), 0);
    EXPECT_EQ(writtenLines(), (std::vector<int32_t>{2}));
    clearResult();
    ASSERT_EQ(apply5(3, 8), 0);
    EXPECT_EQ(writtenLines(), (std::vector<int32_t>{5}));
}

TEST_F(Medians, AnEmptyBandWritesNothingAndSucceeds) {
    for (const auto& band : {std::pair{3, 3}, {4, 2}, {kMaxInt, kMinInt}, {8, 9}, {0, 0}, {0, kMinInt}}) {
        EXPECT_EQ(apply3(band.first, band.second), 0);
        EXPECT_EQ(apply5(band.first, band.second), 0);
    }
    EXPECT_TRUE(writtenLines().empty());
    EXPECT_TRUE(reports_.all().empty());
}

TEST_F(Medians, ABandBeyondTheImageIsLimitedToIt) {
    EXPECT_EQ(apply3(kMinInt, kMaxInt), 0);
    expectUntouchedAround(1);
    clearResult();
    EXPECT_EQ(apply5(kMinInt, kMaxInt), 0);
    expectUntouchedAround(2);
}

// --- Sizes and failures ---

TEST_F(Medians, AnImageBelow3x3GivesNoOutput) {
    for (const int32_t size : {2, 1, 0, -1, kMinInt}) {
        EXPECT_EQ(median3x3(src_.data(), dst_.data(), size, 8, 0, 8), 0);
        EXPECT_EQ(median3x3(src_.data(), dst_.data(), 9, size, 0, 8), 0);
    }
    EXPECT_TRUE(writtenLines().empty());
    EXPECT_TRUE(reports_.all().empty());
}

TEST_F(Medians, AnImageBelow5x5Fails) {
    for (const int32_t size : {4, 3, 0, -1, kMinInt}) {
        expectFailure(median5x5(src_.data(), dst_.data(), size, 8, 0, 8, scratch_.get(), 0));
        expectFailure(median5x5(src_.data(), dst_.data(), 9, size, 0, 8, scratch_.get(), 0));
    }
}

TEST_F(Medians, NullPointersFail) {
    expectFailure(median3x3(nullptr, dst_.data(), 9, 8, 0, 8));
    expectFailure(median3x3(src_.data(), nullptr, 9, 8, 0, 8));
    expectFailure(median5x5(nullptr, dst_.data(), 9, 8, 0, 8, scratch_.get(), 0));
    expectFailure(median5x5(src_.data(), nullptr, 9, 8, 0, 8, scratch_.get(), 0));
    expectFailure(median5x5(src_.data(), dst_.data(), 9, 8, 0, 8, nullptr, 0));
}

TEST_F(Medians, AThreadForWhichNoScratchExistsFails) {
    for (const int32_t threadIdx : {-1, 10, kMinInt, kMaxInt}) {
        expectFailure(apply5(0, 8, threadIdx));
    }
    EXPECT_EQ(apply5(0, 8, 9), 0);
}

}  // namespace
