// SPDX-License-Identifier: Apache-2.0
//
// The loops of the medians: their equality with sorting each mask, on every target, for images of all kinds.
#include "ImageFilterMedianKernels.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <vector>

#include "ImageFilterMedianRule.h"
#include "support/Floats.h"
#include "support/GuardedBytes.h"
#include "support/Random.h"
#include "support/Targets.h"

namespace {

using testing_support::Random;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kUntouched = -77.0F;

/** Bits, so that NaNs differ from each other. */
::testing::AssertionResult sameBits(const std::vector<float>& actual, const std::vector<float>& expected) {
    std::vector<uint32_t> a(actual.size());
    std::vector<uint32_t> b(expected.size());
    for (size_t i = 0; i < a.size(); ++i) {
        a[i] = std::bit_cast<uint32_t>(actual[i]);
        b[i] = std::bit_cast<uint32_t>(expected[i]);
    }
    return testing_support::sameValues(a.data(), b.data(), a.size());
}

class MedianLoops : public testing_support::OnEveryTarget {
 protected:
    /** Both medians of an image, in a band of lines. */
    static void expectEqual(const std::vector<float>& image, int32_t width, int32_t startLine = 0,
                            int32_t endLine = std::numeric_limits<int32_t>::max()) {
        SCOPED_TRACE(::testing::Message()
                     << "width " << width << ", lines " << startLine << " to " << endLine);
        const auto height = static_cast<int32_t>(image.size() / static_cast<size_t>(width));
        std::vector<float> actual(image.size(), kUntouched);
        std::vector<float> expected(image.size(), kUntouched);
        ImageFilter_Median3x3(image.data(), actual.data(), width, std::max(1, startLine),
                              std::min(endLine, height - 1));
        rule::median3x3(image.data(), expected.data(), width, height, startLine, endLine);
        EXPECT_TRUE(sameBits(actual, expected)) << "3 x 3";
        if (width < 5) {
            return;
        }
        ImageFilter_Median5x5(image.data(), actual.data(), width, std::max(0, startLine),
                              std::min(endLine, height - 4));
        rule::median5x5(image.data(), expected.data(), width, height, startLine, endLine);
        EXPECT_TRUE(sameBits(actual, expected)) << "5 x 5";
    }

    /** Distances, of which so many in a thousand are holes. */
    static std::vector<float> distances(Random& random, int32_t width, int32_t height, int32_t holes) {
        std::vector<float> image(static_cast<size_t>(width) * static_cast<size_t>(height));
        for (float& v : image) {
            v = random.integer(0, 999) < holes ? 0.0F : random.real(0.1F, 8.0F);
        }
        return image;
    }
};
INSTANTIATE_ON_EVERY_TARGET(MedianLoops);

TEST_P(MedianLoops, EqualSortingWithoutHoles) {
    Random random(71);
    SCOPED_TRACE(random.seedText());
    expectEqual(distances(random, 224, 172, 0), 224);
}

TEST_P(MedianLoops, EqualSortingWithAnyShareOfHoles) {
    Random random(72);
    SCOPED_TRACE(random.seedText());
    for (const int32_t holes : {1, 10, 100, 300, 500, 700, 850, 950, 1000}) {
        SCOPED_TRACE(::testing::Message() << holes << " holes in a thousand");
        expectEqual(distances(random, 224, 24, holes), 224);
    }
}

TEST_P(MedianLoops, EqualSortingWithAreasOfHoles) {
    Random random(73);
    SCOPED_TRACE(random.seedText());
    std::vector<float> image = distances(random, 224, 40, 20);
    for (int32_t y = 10; y < 30; ++y) {
        for (int32_t x = 50; x < 120 + y; ++x) {
            image[static_cast<size_t>(y * 224 + x)] = 0.0F;
        }
    }
    expectEqual(image, 224);
}

TEST_P(MedianLoops, EqualSortingForEveryWidth) {
    Random random(74);
    SCOPED_TRACE(random.seedText());
    for (int32_t width = 3; width <= 80; ++width) {
        expectEqual(distances(random, width, 9, width % 2 == 0 ? 0 : 150), width);
    }
}

TEST_P(MedianLoops, EqualSortingWhereALineIsSortedInBlocks) {
    Random random(75);
    SCOPED_TRACE(random.seedText());
    for (const int32_t width :
         {251, 252, 253, 254, 255, 256, 257, 258, 259, 260, 261, 271, 272, 508, 512, 513, 1000}) {
        expectEqual(distances(random, width, 7, 100), width);
        expectEqual(distances(random, width, 7, 0), width);
    }
}

TEST_P(MedianLoops, EqualSortingInEveryBand) {
    Random random(76);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> image = distances(random, 37, 9, 200);
    for (int32_t start = -2; start <= 10; ++start) {
        for (int32_t end = -2; end <= 12; ++end) {
            expectEqual(image, 37, start, end);
        }
    }
}

TEST_P(MedianLoops, EqualSortingWithNegativeValuesAndBothZeros) {
    Random random(77);
    SCOPED_TRACE(random.seedText());
    for (const int32_t negatives : {2, 50, 500, 1000}) {
        std::vector<float> image = distances(random, 224, 20, 200);
        for (float& v : image) {
            v = random.integer(0, 999) < negatives ? -v : v;
        }
        expectEqual(image, 224);
    }
}

TEST_P(MedianLoops, EqualSortingOfAnyFloats) {
    Random random(78);
    SCOPED_TRACE(random.seedText());
    std::vector<float> image(224 * 20);
    for (float& v : image) {
        v = random.anyFloat();
    }
    expectEqual(image, 224);
}

TEST_P(MedianLoops, EqualSortingOfAnyBits) {
    Random random(79);
    SCOPED_TRACE(random.seedText());
    constexpr uint32_t kSpecial[] = {0x7FFFFFFFU, 0xFFFFFFFFU, 0x7F800001U, 0xFF800001U, 0x80000000U,
                                     0U,          1U,          0x80000001U, 0x7F800000U, 0xFF800000U};
    std::vector<float> image(100 * 30);
    for (float& v : image) {
        v = std::bit_cast<float>(random.integer(0, 2) == 0 ? random.bits() : kSpecial[random.bits() % 10]);
    }
    expectEqual(image, 100);
}

TEST_P(MedianLoops, EqualSortingOfPositiveNaNsBesideHoles) {
    Random random(80);
    SCOPED_TRACE(random.seedText());
    std::vector<float> image = distances(random, 100, 20, 300);
    for (float& v : image) {
        const int32_t kind = random.integer(0, 5);
        v = kind == 0 ? kNaN : kind == 1 ? kInfinity : kind == 2 ? std::bit_cast<float>(0x7FFFFFFFU) : v;
    }
    expectEqual(image, 100);
}

TEST_P(MedianLoops, TheNetworkOfFiveTimesFiveIsRightForAllZerosAndOnes) {
    // A network that is right for every arrangement of two values is right for all values. Sorted columns of
    // two values differ only in how many of the larger value they hold: 0 to 5 in each of five columns. The
    // masks of all 6^5 stand side by side; those between them are tested, too.
    constexpr int32_t kMasks = 7776;
    constexpr int32_t kWidth = 5 * kMasks;
    std::vector<float> image(5 * kWidth);
    for (int32_t mask = 0; mask < kMasks; ++mask) {
        int32_t counts = mask;
        for (int32_t column = 0; column < 5; ++column, counts /= 6) {
            for (int32_t line = 0; line < 5; ++line) {
                const size_t pixel = static_cast<size_t>(line * kWidth + 5 * mask + column);
                image[pixel] = line < counts % 6 ? 2.0F : 1.0F;
            }
        }
    }
    expectEqual(image, kWidth);
}

TEST_P(MedianLoops, ReadAndWriteNothingBesideTheImages) {
    Random random(81);
    SCOPED_TRACE(random.seedText());
    for (const bool guardBehind : {false, true}) {
        for (const int32_t width : {5, 6, 7, 8, 9, 16, 17, 21, 37}) {
            const std::vector<float> image = distances(random, width, 6, 100);
            const testing_support::GuardedBytes srcBytes(image.size() * sizeof(float), guardBehind);
            const testing_support::GuardedBytes dstBytes(image.size() * sizeof(float), guardBehind);
            auto* const src = reinterpret_cast<float*>(srcBytes.data());
            auto* const dst = reinterpret_cast<float*>(dstBytes.data());
            std::copy(image.begin(), image.end(), src);
            std::fill_n(dst, image.size(), kUntouched);
            std::vector<float> expected(image.size(), kUntouched);
            ImageFilter_Median3x3(src, dst, width, 1, 5);
            rule::median3x3(src, expected.data(), width, 6, 0, 6);
            EXPECT_TRUE(testing_support::sameFloats(dst, expected.data(), expected.size())) << width;
            ImageFilter_Median5x5(src, dst, width, 0, 2);
            rule::median5x5(src, expected.data(), width, 6, 0, 6);
            EXPECT_TRUE(testing_support::sameFloats(dst, expected.data(), expected.size())) << width;
        }
    }
}

}  // namespace
