// SPDX-License-Identifier: Apache-2.0
//
// The image pyramid: its sizes, its edges, its rules on every vector target, and what fails where.
#include "ALImageResize.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "ALImageResizeRule.h"
#include "ALImageResize_impl.h"
#include "support/Floats.h"
#include "support/GuardedBytes.h"
#include "support/Random.h"
#include "support/Reports.h"
#include "support/Targets.h"

namespace {

using testing_support::GuardedBytes;
using testing_support::Lines;
using testing_support::Random;
using testing_support::Reports;
using testing_support::sameFloats;
using testing_support::sameValues;

constexpr IreDownsampleMode kModes[] = {IRE_UINT8_BINOM3x3,  IRE_UINT8_BINOM5x5,   IRE_UINT16_BINOM3x3,
                                        IRE_UINT16_BINOM5x5, IRE_FLOAT32_BINOM3x3, IRE_FLOAT32_BINOM5x5};

int tapsOf(IreDownsampleMode mode) {
    return mode % 2 == 0 ? 3 : 5;
}

uint32_t elementSizeOf(IreDownsampleMode mode) {
    return mode < IRE_UINT16_BINOM3x3 ? 1 : mode < IRE_FLOAT32_BINOM3x3 ? 2 : 4;
}

uint32_t neededBytes(IreDownsampleMode mode, uint32_t width) {
    return static_cast<uint32_t>(tapsOf(mode)) * elementSizeOf(mode) * ((width + 1) / 2);
}

template <class T>
IreDownsampleMode modeOf(int taps) {
    const int type = std::is_same_v<T, uint8_t> ? 0 : std::is_same_v<T, uint16_t> ? 2 : 4;
    return static_cast<IreDownsampleMode>(type + (taps == 5 ? 1 : 0));
}

template <class T>
T randomElement(Random& random) {
    if constexpr (std::is_same_v<T, float>) {
        return random.anyFloat();
    } else {
        return random.bits() % 4 == 0 ? std::numeric_limits<T>::max() : static_cast<T>(random.bits());
    }
}

template <class T>
std::vector<T> randomImage(Random& random, size_t count) {
    std::vector<T> image(count);
    for (T& pixel : image) {
        pixel = randomElement<T>(random);
    }
    return image;
}

template <class T>
::testing::AssertionResult same(const T* actual, const T* expected, size_t count) {
    if constexpr (std::is_same_v<T, float>) {
        return sameFloats(actual, expected, count);
    } else {
        return sameValues(actual, expected, count);
    }
}

/** An image halved by the routine, all rows. */
template <class T>
std::vector<T> halve(const std::vector<T>& image, uint32_t width, uint32_t height, int taps) {
    const IreDownsampleMode mode = modeOf<T>(taps);
    std::vector<T> result((size_t{width} + 1) / 2 * ((size_t{height} + 1) / 2));
    std::vector<T> lines(static_cast<size_t>(taps) * ((width + 1) / 2));
    uint32_t nw = 0;
    uint32_t nh = 0;
    EXPECT_EQ(ire_binom_half(result.data(), &nw, &nh, image.data(), width, height, -1, -1, mode, lines.data(),
                             neededBytes(mode, width)),
              0);
    EXPECT_EQ(size_t{nw} * nh, result.size());
    return result;
}

// --- Sizes -------------------------------------------------------------------------------------------------

TEST(BinomHalf, AnOddSizeRoundsUp) {
    // 449 x 345 gives 225 x 173, then 113 x 87, then 57 x 44.
    const struct { uint32_t width, height; } sizes[] = {{449, 345}, {225, 173}, {113, 87}, {57, 44}};
    for (size_t i = 0; i < 3; ++i) {
        const std::vector<float> image(size_t{sizes[i].width} * sizes[i].height);
        std::vector<float> result(size_t{sizes[i + 1].width} * sizes[i + 1].height);
        std::vector<float> lines(3 * 225);
        uint32_t nw = 0;
        uint32_t nh = 0;
        ASSERT_EQ(ire_binom_half(result.data(), &nw, &nh, image.data(), sizes[i].width, sizes[i].height, -1,
                                 -1, IRE_FLOAT32_BINOM3x3, lines.data(), 12 * 225),
                  0);
        EXPECT_EQ(nw, sizes[i + 1].width);
        EXPECT_EQ(nh, sizes[i + 1].height);
    }
}

TEST(BinomHalf, OnlyTheRowsOfTheRegionAreWritten) {
    for (const IreDownsampleMode mode : kModes) {
        const std::vector<uint8_t> image(40 * 30 * 4, 1);
        std::vector<uint8_t> result(20 * 15 * 4, 0xEE);
        std::vector<uint8_t> lines(5 * 20 * 4);
        uint32_t nw = 0;
        uint32_t nh = 0;
        ASSERT_EQ(ire_binom_half(result.data(), &nw, &nh, image.data(), 40, 30, 5, 5, mode, lines.data(),
                                 static_cast<uint32_t>(lines.size())),
                  0);
        EXPECT_EQ(nh, 15U);
        const size_t rowBytes = 20 * size_t{elementSizeOf(mode)};
        for (size_t i = 0; i < result.size(); ++i) {
            EXPECT_EQ(result[i] != 0xEE, i / rowBytes == 5) << mode << ", byte " << i;
        }
    }
}

TEST(BinomHalf, ARegionWithoutRowsWritesNothing) {
    const std::vector<float> image(40 * 30, 1.0F);
    std::vector<float> result(20 * 15, 42.0F);
    std::vector<float> lines(3 * 20);
    uint32_t nw = 0;
    uint32_t nh = 0;
    for (const int32_t first : {6, 15, std::numeric_limits<int32_t>::max()}) {
        EXPECT_EQ(ire_binom_half(result.data(), &nw, &nh, image.data(), 40, 30, first, 5,
                                 IRE_FLOAT32_BINOM3x3, lines.data(), 240),
                  0);
    }
    EXPECT_EQ(result, std::vector<float>(20 * 15, 42.0F));
}

TEST(BinomHalf, ARegionBeyondTheImageFailsAndWritesNothing) {
    const Reports reports;
    const std::vector<float> image(40 * 30, 1.0F);
    std::vector<float> result(20 * 15, 42.0F);
    std::vector<float> lines(3 * 20);
    uint32_t nw = 0;
    uint32_t nh = 0;
    for (const int32_t last : {15, std::numeric_limits<int32_t>::max()}) {
        EXPECT_EQ(ire_binom_half(result.data(), &nw, &nh, image.data(), 40, 30, 0, last, IRE_FLOAT32_BINOM3x3,
                                 lines.data(), 240),
                  1);
    }
    EXPECT_EQ(reports.all().size(), 2U);
    EXPECT_EQ(result, std::vector<float>(20 * 15, 42.0F));
}

// --- Values ------------------------------------------------------------------------------------------------

TEST(BinomHalf, AnOddHeightTakesTheLastRowTwice) {
    // Columns are constant, so the horizontal filter changes nothing. Row 1 of the result: rows 1, 2 and 2.
    std::vector<float> image;
    for (const float value : {1.0F, 5.0F, 100.0F}) {
        image.insert(image.end(), 8, value);
    }
    const std::vector<float> result = halve(image, 8, 3, 3);
    EXPECT_EQ(result[0], (1.0F + 5.0F + 2.0F * 1.0F) * 0.25F);
    EXPECT_EQ(result[4], (5.0F + 100.0F + 2.0F * 100.0F) * 0.25F);
}

TEST(BinomHalf, EqualPixelsStayEqual) {
    for (const uint8_t value : {0, 1, 255}) {
        for (const int taps : {3, 5}) {
            const std::vector<uint8_t> image(12 * 7, value);
            EXPECT_EQ(halve(image, 12, 7, taps), std::vector<uint8_t>(6 * 4, value));
            const auto wide = static_cast<uint16_t>(value * 257);
            const std::vector<uint16_t> wideImage(12 * 7, wide);
            EXPECT_EQ(halve(wideImage, 12, 7, taps), std::vector<uint16_t>(6 * 4, wide));
        }
    }
}

TEST(DownsampleLine, BytesAreCutNotRounded) {
    // Element 1 sees pixels 1, 2 and 3.
    const auto second = [](uint8_t a, uint8_t b, uint8_t c) {
        const uint8_t line[] = {0, a, b, c};
        uint8_t half[2] = {};
        EXPECT_EQ(downsample_line_3x3_u8(line, half, 4), 0);
        return half[1];
    };
    EXPECT_EQ(second(255, 255, 255), 255);
    EXPECT_EQ(second(1, 2, 1), (1 + 4 + 1) >> 2);
    EXPECT_EQ(second(1, 0, 2), 0);  // (1 + 0 + 2) >> 2
}

TEST(DownsampleLine, TheLeftPixelStandsForThoseOutside) {
    const float line[] = {3.0F, 5.0F, 7.0F, 9.0F};
    float half[2] = {};
    ASSERT_EQ(downsample_line_3x3_f32(line, half, 4), 0);
    EXPECT_EQ(half[0], (5.0F + 3.0F * 3.0F) * 0.25F);
    ASSERT_EQ(downsample_line_5x5_f32(line, half, 4), 0);
    EXPECT_EQ(half[0], (11.0F * 3.0F + 4.0F * 5.0F + 7.0F) * 0.0625F);
}

TEST(DownsampleLine, TheRightPixelStandsForThoseOutside) {
    const float line[] = {3.0F, 5.0F, 7.0F, 9.0F, 11.0F};
    float half[3] = {};
    ASSERT_EQ(downsample_line_3x3_f32(line, half, 5), 0);
    EXPECT_EQ(half[2], (9.0F + 2.0F * 11.0F + 11.0F) * 0.25F);
    ASSERT_EQ(downsample_line_5x5_f32(line, half, 5), 0);
    EXPECT_EQ(half[2], (7.0F + 4.0F * 9.0F + 6.0F * 11.0F + 4.0F * 11.0F + 11.0F) * 0.0625F);
}

TEST(BinomHalf, LinesOfOddWidthShareAnElementWithTheirNeighbour) {
    // Width 3: lines of two elements, one element apart. Rows 10 10 10, 20 20 20: filtered lines (10, 10) and
    // (20, 20). Writing the middle line (10, 10) to elements 1 and 2 touches element 2, the first of the top
    // line, which holds 10 as well; writing the bottom line (20, 20) to 0 and 1 turns the first element of
    // the middle line into 20.
    const std::vector<float> image = {10.0F, 10.0F, 10.0F, 20.0F, 20.0F, 20.0F};
    const std::vector<float> result = halve(image, 3, 2, 3);
    EXPECT_EQ(result[0], (10.0F + 20.0F + 2.0F * 20.0F) * 0.25F);
    EXPECT_EQ(result[1], (10.0F + 20.0F + 2.0F * 10.0F) * 0.25F);
}

TEST(BinomHalf, A5x5StartAtRow1TakesRow0ForRow1) {
    // Constant columns; rows 0 to 5 hold 0, 16, 32, 48, 64, 80. Output row 1 sees rows 0, 0, 2, 3 and 4.
    std::vector<float> image;
    for (int row = 0; row < 6; ++row) {
        image.insert(image.end(), 8, static_cast<float>(16 * row));
    }
    std::vector<float> result(4 * 3);
    std::vector<float> lines(5 * 4);
    uint32_t nw = 0;
    uint32_t nh = 0;
    ASSERT_EQ(ire_binom_half(result.data(), &nw, &nh, image.data(), 8, 6, 1, 1, IRE_FLOAT32_BINOM5x5,
                             lines.data(), 80),
              0);
    EXPECT_EQ(result[4], (0.0F + 4.0F * 0.0F + 6.0F * 32.0F + 4.0F * 48.0F + 64.0F) * 0.0625F);
}

// --- Failures ----------------------------------------------------------------------------------------------

TEST(BinomHalf, AnUnknownModeDoesNothing) {
    const Reports reports;
    uint32_t nw = 77;
    uint32_t nh = 78;
    for (const int mode : {6, -1, 1000}) {
        EXPECT_EQ(ire_binom_half(nullptr, &nw, &nh, nullptr, 4, 4, -1, -1,
                                 static_cast<IreDownsampleMode>(mode), nullptr, 0),
                  0);
    }
    EXPECT_EQ(nw, 77U);
    EXPECT_EQ(nh, 78U);
    EXPECT_TRUE(reports.all().empty());
}

TEST(BinomHalf, OneByteTooLittleMemoryFailsBeforeAnythingIsWritten) {
    for (const IreDownsampleMode mode : kModes) {
        for (const uint32_t width : {8U, 9U}) {
            const Reports reports;
            const std::vector<uint8_t> image(9 * 4 * 4, 1);
            std::vector<uint8_t> result(5 * 2 * 4, 0xEE);
            std::vector<uint8_t> lines(5 * 5 * 4);
            uint32_t nw = 77;
            uint32_t nh = 78;
            EXPECT_EQ(ire_binom_half(result.data(), &nw, &nh, image.data(), width, 4, -1, -1, mode,
                                     lines.data(), neededBytes(mode, width) - 1),
                      1);
            EXPECT_EQ(reports.all(), Lines{"ALImageResize " + std::to_string(53 + 7 * mode)});
            EXPECT_EQ(result, std::vector<uint8_t>(5 * 2 * 4, 0xEE));
            EXPECT_EQ(nw, 77U);
            EXPECT_EQ(nh, 78U);
        }
    }
}

TEST(BinomHalf, TooShortALineFailsWithoutAReadBeyondIt) {
    for (const IreDownsampleMode mode : kModes) {
        for (uint32_t width = 0; width + 1 < static_cast<uint32_t>(tapsOf(mode) == 3 ? 3 : 4); ++width) {
            const Reports reports;
            const GuardedBytes image(8, true);
            std::vector<float> result(4);
            std::vector<float> lines(16);
            uint32_t nw = 0;
            uint32_t nh = 0;
            EXPECT_EQ(ire_binom_half(result.data(), &nw, &nh, image.data() + 8 - width * elementSizeOf(mode),
                                     width, 1, -1, -1, mode, lines.data(), 64),
                      1);
            const bool wide = tapsOf(mode) == 5;
            EXPECT_EQ(reports.all(), (Lines{wide ? "ALImageResize_impl 87" : "ALImageResize_impl 29",
                                            wide ? "ALImageResize_impl 107" : "ALImageResize_impl 48",
                                            "ALImageResize " + std::to_string(57 + 7 * mode)}));
        }
    }
}

TEST(BinomHalf, AnImageWithoutRowsFails) {
    const Reports reports;
    const std::vector<float> image(8);
    std::vector<float> result(4);
    std::vector<float> lines(12);
    uint32_t nw = 0;
    uint32_t nh = 0;
    EXPECT_EQ(ire_binom_half(result.data(), &nw, &nh, image.data(), 8, 0, -1, -1, IRE_FLOAT32_BINOM3x3,
                             lines.data(), 48),
              1);
    EXPECT_EQ(reports.all(), (Lines{"ALImageResize_impl 48", "ALImageResize 85"}));
}

TEST(BinomHalf, HugeWidthsFail) {
    for (const uint32_t width : {0x80000000U, 0xFFFFFFFFU}) {
        const Reports reports;
        float pixel = 0.0F;
        uint32_t nw = 0;
        uint32_t nh = 0;
        EXPECT_EQ(ire_binom_half(&pixel, &nw, &nh, &pixel, width, 0xFFFFFFFFU, -1, -1, IRE_FLOAT32_BINOM3x3,
                                 &pixel, 0xFFFFFFFFU),
                  1);
        EXPECT_EQ(reports.all(), Lines{"ALImageResize 81"});
    }
}

TEST(BinomHalf, NullArgumentsFail) {
    const Reports reports;
    float pixels[16] = {};
    uint32_t n = 0;
    EXPECT_EQ(ire_binom_half(nullptr, &n, &n, pixels, 4, 4, -1, -1, IRE_FLOAT32_BINOM3x3, pixels, 64), 1);
    EXPECT_EQ(ire_binom_half(pixels, nullptr, &n, pixels, 4, 4, -1, -1, IRE_FLOAT32_BINOM3x3, pixels, 64), 1);
    EXPECT_EQ(ire_binom_half(pixels, &n, nullptr, pixels, 4, 4, -1, -1, IRE_FLOAT32_BINOM3x3, pixels, 64), 1);
    EXPECT_EQ(ire_binom_half(pixels, &n, &n, nullptr, 4, 4, -1, -1, IRE_FLOAT32_BINOM3x3, pixels, 64), 1);
    EXPECT_EQ(ire_binom_half(pixels, &n, &n, pixels, 4, 4, -1, -1, IRE_FLOAT32_BINOM3x3, nullptr, 64), 1);
    EXPECT_EQ(reports.all().size(), 5U);
}

TEST(DownsampleLine, TooShortALineIsLine29Or87) {
    const Reports reports;
    const float line[3] = {};
    float half[2] = {};
    EXPECT_EQ(downsample_line_3x3_f32(line, half, 1), 1);
    EXPECT_EQ(downsample_line_5x5_f32(line, half, 2), 1);
    EXPECT_EQ(downsample_line_3x3_f32(line, half, -5), 1);
    EXPECT_EQ(reports.all(),
              (Lines{"ALImageResize_impl 29", "ALImageResize_impl 87", "ALImageResize_impl 29"}));
}

// --- Rules on every target ---------------------------------------------------------------------------------

class BinomHalfOnTargets : public testing_support::OnEveryTarget {
 protected:
    template <class T>
    void expectRuleOfLines(int32_t (*function)(const T*, T*, int32_t), int taps) {
        Random random(1);
        SCOPED_TRACE(random.seedText());
        for (size_t width = taps == 3 ? 2 : 3; width < 150; ++width) {
            const std::vector<T> line = randomImage<T>(random, width);
            const std::vector<T> expected = rule::halveLine(line, taps);
            for (const bool guardBehind : {true, false}) {
                const GuardedBytes input(width * sizeof(T), guardBehind);
                const GuardedBytes output(expected.size() * sizeof(T), guardBehind);
                std::memcpy(input.data(), line.data(), width * sizeof(T));
                auto* const half = reinterpret_cast<T*>(output.data());
                ASSERT_EQ(
                    function(reinterpret_cast<const T*>(input.data()), half, static_cast<int32_t>(width)), 0);
                ASSERT_TRUE(same(half, expected.data(), expected.size())) << "width " << width;
            }
        }
    }

    template <class T>
    void expectRuleOfImages() {
        Random random(2);
        SCOPED_TRACE(random.seedText());
        for (int round = 0; round < 60; ++round) {
            const auto width = static_cast<uint32_t>(random.integer(3, 100));
            const auto height = static_cast<uint32_t>(random.integer(1, 12));
            const std::vector<T> image = randomImage<T>(random, size_t{width} * height);
            const uint32_t newHeight = (height + 1) / 2;
            const auto first = random.integer(-1, static_cast<int32_t>(newHeight) - 1);
            const auto last = random.bits() % 3 == 0
                                  ? -1
                                  : random.integer(std::max(first, 0), static_cast<int32_t>(newHeight) - 1);
            for (const int taps : {3, 5}) {
                const auto expected =
                    rule::halveImage<T>(image, width, height, taps, static_cast<uint32_t>(std::max(first, 0)),
                                        last < 0 ? newHeight - 1 : static_cast<uint32_t>(last), T{42});
                std::vector<T> result(expected.pixels.size() + 1, T{42});
                const IreDownsampleMode mode = modeOf<T>(taps);
                const GuardedBytes lines(neededBytes(mode, width), true);
                uint32_t nw = 0;
                uint32_t nh = 0;
                ASSERT_EQ(ire_binom_half(result.data(), &nw, &nh, image.data(), width, height, first, last,
                                         mode, lines.data(), neededBytes(mode, width)),
                          0);
                EXPECT_EQ(nw, expected.width);
                EXPECT_EQ(nh, expected.height);
                ASSERT_TRUE(same(result.data(), expected.pixels.data(), expected.pixels.size()))
                    << width << " x " << height << ", rows " << first << " to " << last << ", " << taps
                    << " taps";
                EXPECT_EQ(result.back(), T{42});
            }
        }
    }
};

TEST_P(BinomHalfOnTargets, LinesOfBytesFollowTheirRule) {
    expectRuleOfLines<uint8_t>(downsample_line_3x3_u8, 3);
    expectRuleOfLines<uint8_t>(downsample_line_5x5_u8, 5);
}

TEST_P(BinomHalfOnTargets, LinesOfWordsFollowTheirRule) {
    expectRuleOfLines<uint16_t>(downsample_line_3x3_u16, 3);
    expectRuleOfLines<uint16_t>(downsample_line_5x5_u16, 5);
}

TEST_P(BinomHalfOnTargets, LinesOfFloatsFollowTheirRule) {
    expectRuleOfLines<float>(downsample_line_3x3_f32, 3);
    expectRuleOfLines<float>(downsample_line_5x5_f32, 5);
}

TEST_P(BinomHalfOnTargets, ImagesOfBytesFollowTheirRule) {
    expectRuleOfImages<uint8_t>();
}

TEST_P(BinomHalfOnTargets, ImagesOfWordsFollowTheirRule) {
    expectRuleOfImages<uint16_t>();
}

TEST_P(BinomHalfOnTargets, ImagesOfFloatsFollowTheirRule) {
    expectRuleOfImages<float>();
}

INSTANTIATE_ON_EVERY_TARGET(BinomHalfOnTargets);

}  // namespace
