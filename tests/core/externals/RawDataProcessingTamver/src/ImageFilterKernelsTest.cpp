// SPDX-License-Identifier: Apache-2.0
//
// The loops of the image filter: their equality with the plain statement on every target, and that they stay
// within their images.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "ImageFilterRule.h"
#include "support/Floats.h"
#include "support/GuardedBytes.h"
#include "support/Random.h"
#include "support/Targets.h"

namespace {

using testing_support::GuardedBytes;
using testing_support::Random;
using testing_support::sameFloats;
using testing_support::sameValues;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

/** Values around 1; one in `holes` is 0 or -0, none if `holes` is 0. */
std::vector<float> roughImage(Random& random, size_t count, int32_t holes) {
    std::vector<float> image(count);
    for (float& pixel : image) {
        const bool hole = holes != 0 && random.integer(1, holes) == 1;
        pixel = hole ? (random.bits() % 2 == 0 ? 0.0F : -0.0F) : random.real(0.5F, 1.5F);
    }
    return image;
}

std::vector<float> anyImage(Random& random, size_t count) {
    std::vector<float> image(count);
    for (float& pixel : image) {
        pixel = random.anyFloat();
    }
    return image;
}

// --- Mean over time ------------------------------------------------------------------------------

class TemporalMeanLoop : public testing_support::OnEveryTarget {
 protected:
    struct Images {
        std::vector<float> image, oldest, sum, validFrames;

        TemporalMeanImages view() { return {image.data(), oldest.data(), sum.data(), validFrames.data()}; }
        size_t size() const { return image.size(); }
    };

    /** A history of 1..5 measurements. */
    static Images history(Random& random, size_t count) {
        Images images;
        images.image = roughImage(random, count, 4);
        images.oldest = roughImage(random, count, 4);
        images.sum = roughImage(random, count, 0);
        images.validFrames.resize(count);
        for (float& frames : images.validFrames) {
            frames = static_cast<float>(random.integer(1, 5));
        }
        return images;
    }

    /** Runs both forms and returns the result of the loop. */
    static int32_t expectEqual(const Images& images, size_t first, size_t last) {
        Images actual = images;
        Images expected = images;
        const auto begin = static_cast<int32_t>(first);
        const auto end = static_cast<int32_t>(last);
        const int32_t result = ImageFilter_AverageOverTime(actual.view(), begin, end);
        EXPECT_EQ(result, rule::averageOverTime(expected.view(), begin, end));
        EXPECT_TRUE(sameFloats(actual.image.data(), expected.image.data(), images.size()));
        EXPECT_TRUE(sameFloats(actual.oldest.data(), expected.oldest.data(), images.size()));
        EXPECT_TRUE(sameFloats(actual.sum.data(), expected.sum.data(), images.size()));
        EXPECT_TRUE(sameFloats(actual.validFrames.data(), expected.validFrames.data(), images.size()));
        return result;
    }
};
INSTANTIATE_ON_EVERY_TARGET(TemporalMeanLoop);

TEST_P(TemporalMeanLoop, EqualsTheRuleOverAnImage) {
    Random random(101);
    SCOPED_TRACE(random.seedText());
    EXPECT_EQ(expectEqual(history(random, kPixelCount), 0, kPixelCount), 0);
}

TEST_P(TemporalMeanLoop, EqualsTheRuleForEveryRange) {
    Random random(102);
    SCOPED_TRACE(random.seedText());
    const Images images = history(random, 70);
    for (size_t first = 0; first < 20; ++first) {
        for (size_t last = first; last <= images.size(); ++last) {
            EXPECT_EQ(expectEqual(images, first, last), 0) << first << " to " << last;
        }
    }
}

TEST_P(TemporalMeanLoop, EqualsTheRuleForAnyFloats) {
    Random random(103);
    SCOPED_TRACE(random.seedText());
    for (int32_t run = 0; run < 200; ++run) {
        Images images = {anyImage(random, 67), anyImage(random, 67), anyImage(random, 67),
                         anyImage(random, 67)};
        expectEqual(images, 0, 67);
        for (float& frames : images.validFrames) {
            frames = random.bits() % 8 == 0 ? kNaN : static_cast<float>(random.integer(1, 25));
        }
        EXPECT_EQ(expectEqual(images, 0, 67), 0);
    }
}

TEST_P(TemporalMeanLoop, StopsAtEveryPlaceWithANegativeCount) {
    Random random(104);
    SCOPED_TRACE(random.seedText());
    for (size_t place = 0; place < 70; ++place) {
        Images images = history(random, 70);
        images.validFrames[place] = -1.0F;
        images.image[place] = 0.0F;
        images.validFrames[std::min<size_t>(place + 3, 69)] = -2.0F;
        EXPECT_EQ(expectEqual(images, 0, 70), 1) << place;
    }
}

// --- Adaptive smoothing --------------------------------------------------------------------------

class AdaptiveLoop : public testing_support::OnEveryTarget {
 protected:
    struct Images {
        std::vector<float> image, other, smoothed, previousOther;

        AdaptiveImages view() { return {image.data(), other.data(), smoothed.data(), previousOther.data()}; }
        size_t size() const { return image.size(); }
    };

    static void expectEqual(const AdaptiveWeight& weight, const Images& images, size_t first, size_t last) {
        Images actual = images;
        Images expected = images;
        const auto begin = static_cast<int32_t>(first);
        const auto end = static_cast<int32_t>(last);
        ImageFilter_SmoothAdaptively(weight, actual.view(), begin, end);
        rule::smoothAdaptively(weight, expected.view(), begin, end);
        EXPECT_TRUE(sameFloats(actual.image.data(), expected.image.data(), images.size()));
        EXPECT_TRUE(sameFloats(actual.smoothed.data(), expected.smoothed.data(), images.size()));
        EXPECT_TRUE(sameFloats(actual.previousOther.data(), expected.previousOther.data(), images.size()));
    }

    static Images roughImages(Random& random, size_t count) {
        return {roughImage(random, count, 5), roughImage(random, count, 5), roughImage(random, count, 5),
                roughImage(random, count, 5)};
    }

    static constexpr AdaptiveWeight kWeight = {1.25F, 0.125F, 0.25F, 0.75F};
};
INSTANTIATE_ON_EVERY_TARGET(AdaptiveLoop);

TEST_P(AdaptiveLoop, EqualsTheRuleOverAnImage) {
    Random random(111);
    SCOPED_TRACE(random.seedText());
    expectEqual(kWeight, roughImages(random, kPixelCount), 0, kPixelCount);
}

TEST_P(AdaptiveLoop, EqualsTheRuleForEveryRange) {
    Random random(112);
    SCOPED_TRACE(random.seedText());
    const Images images = roughImages(random, 70);
    for (size_t first = 0; first < 20; ++first) {
        for (size_t last = first; last <= images.size(); ++last) {
            expectEqual(kWeight, images, first, last);
        }
    }
}

TEST_P(AdaptiveLoop, EqualsTheRuleForAnyFloats) {
    Random random(113);
    SCOPED_TRACE(random.seedText());
    for (int32_t run = 0; run < 200; ++run) {
        const AdaptiveWeight weight = {random.anyFloat(), random.anyFloat(), random.anyFloat(),
                                       random.anyFloat()};
        const Images images = {anyImage(random, 67), anyImage(random, 67), anyImage(random, 67),
                               anyImage(random, 67)};
        expectEqual(run % 2 == 0 ? weight : kWeight, images, 0, 67);
    }
}

// --- Spatial filters -----------------------------------------------------------------------------

/** The weights of settings, or any weights. */
struct Weights {
    rule::BilateralTables tables;

    BilateralWeights view() const {
        return {tables.spatialWeights, tables.slope, tables.offset, tables.step};
    }
};

Weights weightsOf(int32_t halfSize, float sigmaPixel, float sigmaDistance) {
    return {rule::bilateralTables(
        {halfSize == 1 ? FilterMaskSize_3x3 : FilterMaskSize_5x5, sigmaPixel, sigmaDistance})};
}

class SpatialLoop : public testing_support::OnEveryTarget {
 protected:
    static constexpr float kUntouched = 123.0F;

    /** Runs `loop` and `plain` over all lines that hold the mask. What they do not write must stay. */
    template <class Loop, class Plain>
    static void expectEqual(const std::vector<float>& image, int32_t width, int32_t height, int32_t halfSize,
                            Loop loop, Plain plain) {
        std::vector<float> actual(image.size(), kUntouched);
        std::vector<float> expected(image.size(), kUntouched);
        loop({image.data(), actual.data(), width, halfSize, height - halfSize});
        plain({image.data(), expected.data(), width, halfSize, height - halfSize});
        EXPECT_TRUE(sameFloats(actual.data(), expected.data(), image.size()))
            << width << " x " << height << ", half size " << halfSize;
    }

    static void expectEqualMeans(const std::vector<float>& image, int32_t width, int32_t height,
                                 int32_t halfSize) {
        expectEqual(
            image, width, height, halfSize,
            [&](const FilterBand& band) { ImageFilter_ComputeMeans(halfSize, band); },
            [&](const FilterBand& band) { rule::meanFilter(halfSize, band); });
    }

    static void expectEqualBilateral(const Weights& weights, const std::vector<float>& image, int32_t width,
                                     int32_t height, int32_t halfSize) {
        expectEqual(
            image, width, height, halfSize,
            [&](const FilterBand& band) { ImageFilter_ComputeBilateral(halfSize, weights.view(), band); },
            [&](const FilterBand& band) { rule::bilateralFilter(halfSize, weights.view(), band); });
    }
};
INSTANTIATE_ON_EVERY_TARGET(SpatialLoop);

TEST_P(SpatialLoop, MeansEqualTheRuleOverAnImage) {
    Random random(121);
    SCOPED_TRACE(random.seedText());
    for (const int32_t holes : {0, 10, 2}) {
        const std::vector<float> image = roughImage(random, kPixelCount, holes);
        expectEqualMeans(image, kImageWidth, kImageHeight, 1);
        expectEqualMeans(image, kImageWidth, kImageHeight, 2);
    }
}

TEST_P(SpatialLoop, BilateralEqualsTheRuleOverAnImage) {
    Random random(122);
    SCOPED_TRACE(random.seedText());
    for (const int32_t halfSize : {1, 2}) {
        const Weights weights = weightsOf(halfSize, 1.2F, 0.1F);
        for (const int32_t holes : {0, 10, 2}) {
            expectEqualBilateral(weights, roughImage(random, kPixelCount, holes), kImageWidth, kImageHeight,
                                 halfSize);
        }
    }
}

TEST_P(SpatialLoop, EveryWidthEqualsTheRule) {
    Random random(123);
    SCOPED_TRACE(random.seedText());
    std::vector<int32_t> widths = {224, 225, 228, 229, 240, 447, 448, 453, 1000};
    for (int32_t width = 1; width <= 130; ++width) {
        widths.push_back(width);
    }
    for (const int32_t width : widths) {
        for (const int32_t halfSize : {1, 2}) {
            const int32_t height = 2 * halfSize + 3;
            const std::vector<float> image = roughImage(random, static_cast<size_t>(width * height), 5);
            expectEqualMeans(image, width, height, halfSize);
            expectEqualBilateral(weightsOf(halfSize, 0.7F, 0.2F), image, width, height, halfSize);
        }
    }
}

TEST_P(SpatialLoop, AnyFloatsEqualTheRule) {
    Random random(124);
    SCOPED_TRACE(random.seedText());
    for (int32_t run = 0; run < 20; ++run) {
        const std::vector<float> image = anyImage(random, 61 * 9);
        for (const int32_t halfSize : {1, 2}) {
            expectEqualMeans(image, 61, 9, halfSize);
            expectEqualBilateral(weightsOf(halfSize, 1.0F, 0.5F), image, 61, 9, halfSize);
        }
    }
}

TEST_P(SpatialLoop, ASingleExtremeAmongMeasurementsAndHolesEqualsTheRule) {
    Random random(125);
    SCOPED_TRACE(random.seedText());
    for (const float extreme : {kNaN, kInfinity, -kInfinity, -1.0F, 1e30F, 0.0F, -0.0F}) {
        std::vector<float> image = roughImage(random, 40 * 11, 6);
        image[5 * 40 + 20] = extreme;
        for (const int32_t halfSize : {1, 2}) {
            expectEqualMeans(image, 40, 11, halfSize);
            expectEqualBilateral(weightsOf(halfSize, 1.0F, 0.1F), image, 40, 11, halfSize);
        }
    }
}

TEST_P(SpatialLoop, BilateralEqualsTheRuleForExtremeSigmas) {
    Random random(126);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> image = roughImage(random, 61 * 9, 5);
    for (const float sigmaDistance : {2e-5F, 1e-3F, 1.0F, 1e10F, 1e19F, 1e30F, kInfinity, kNaN}) {
        for (const float sigmaPixel : {2e-6F, 1.0F, 1e10F, kInfinity, kNaN}) {
            for (const int32_t halfSize : {1, 2}) {
                SCOPED_TRACE(testing::Message() << sigmaPixel << " " << sigmaDistance);
                expectEqualBilateral(weightsOf(halfSize, sigmaPixel, sigmaDistance), image, 61, 9, halfSize);
            }
        }
    }
}

TEST_P(SpatialLoop, BilateralEqualsTheRuleForAnyTables) {
    Random random(127);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> image = roughImage(random, 61 * 9, 5);
    for (int32_t run = 0; run < 50; ++run) {
        Weights weights = weightsOf(2, 1.0F, 0.1F);
        switch (run % 4) {
            case 0:  // not the same on opposite places
                weights.tables.spatialWeights[random.integer(0, 8)] = random.real(0.0F, 1.0F);
                break;
            case 1:  // rising at its end
                weights.tables.slope[63] = random.real(0.0F, 1.0F);
                break;
            case 2:
                weights.tables.step = run % 8 == 2 ? 0.0F : random.anyFloat();
                break;
            default:
                for (int32_t k = 0; k < kRangeIntervals; ++k) {
                    weights.tables.slope[k] = random.anyFloat();
                    weights.tables.offset[k] = random.anyFloat();
                }
        }
        expectEqualBilateral(weights, image, 61, 9, 1);
        expectEqualBilateral(weights, image, 61, 9, 2);
    }
}

TEST_P(SpatialLoop, BilateralEqualsTheRuleAroundEveryInterval) {
    const Weights weights = weightsOf(1, 1.0F, 0.1F);
    std::vector<float> image(3 * 3 * 70, 1.0F);
    for (int32_t k = 0; k < 66; ++k) {
        const float border = weights.tables.step * static_cast<float>(k);
        for (int32_t side = -1; side <= 1; ++side) {
            // The middle line differs from its neighbour by the border of an interval, or one step beside it.
            const auto x = static_cast<size_t>(3 * k + side + 1);
            const float delta = side == 0 ? border : std::nextafter(border, side < 0 ? 0.0F : kInfinity);
            image[210 + x] = x % 2 == 0 ? 1.0F : 1.0F + delta;
        }
    }
    expectEqualBilateral(weights, image, 210, 3, 1);
}

TEST_P(SpatialLoop, EmptyBandsAndNarrowImagesWriteNothing) {
    const std::vector<float> source(20, 1.0F);
    std::vector<float> target(20, kUntouched);
    for (const int32_t halfSize : {1, 2}) {
        const Weights weights = weightsOf(halfSize, 1.0F, 0.1F);
        for (const FilterBand& band : {FilterBand{source.data(), target.data(), 4, 3, 3},
                                       FilterBand{source.data(), target.data(), 4, 1000000, 2},
                                       FilterBand{source.data(), target.data(), 2 * halfSize, 2, 3},
                                       FilterBand{source.data(), target.data(), 1, 5, 10}}) {
            ImageFilter_ComputeMeans(halfSize, band);
            ImageFilter_ComputeBilateral(halfSize, weights.view(), band);
        }
    }
    EXPECT_EQ(std::count(target.begin(), target.end(), kUntouched), 20);
}

TEST_P(SpatialLoop, NothingBesideTheImagesIsTouched) {
    Random random(128);
    SCOPED_TRACE(random.seedText());
    for (const int32_t width : {3, 5, 6, 17, 33, 224, 225, 230}) {
        for (const bool guardBehind : {false, true}) {
            for (const int32_t halfSize : {1, 2}) {
                const int32_t height = 2 * halfSize + 1;
                const auto count = static_cast<size_t>(width * height);
                const GuardedBytes sourceBytes(count * sizeof(float), guardBehind);
                const GuardedBytes targetBytes(count * sizeof(float), guardBehind);
                const std::vector<float> image = roughImage(random, count, 5);
                std::memcpy(sourceBytes.data(), image.data(), count * sizeof(float));
                const FilterBand band = {reinterpret_cast<const float*>(sourceBytes.data()),
                                         reinterpret_cast<float*>(targetBytes.data()), width, halfSize,
                                         halfSize + 1};
                std::vector<float> expected(count);
                FilterBand plain = band;
                plain.target = expected.data();
                rule::meanFilter(halfSize, plain);
                ImageFilter_ComputeMeans(halfSize, band);
                EXPECT_TRUE(sameFloats(band.target, expected.data(), count)) << width;
                const Weights weights = weightsOf(halfSize, 1.0F, 0.1F);
                rule::bilateralFilter(halfSize, weights.view(), plain);
                ImageFilter_ComputeBilateral(halfSize, weights.view(), band);
                EXPECT_TRUE(sameFloats(band.target, expected.data(), count)) << width;
            }
        }
    }
}

// --- Confidence ----------------------------------------------------------------------------------

class ConfidenceLoop : public testing_support::OnEveryTarget {};
INSTANTIATE_ON_EVERY_TARGET(ConfidenceLoop);

TEST_P(ConfidenceLoop, EqualsTheRuleForEveryCount) {
    Random random(131);
    SCOPED_TRACE(random.seedText());
    for (int32_t count = 0; count <= 70; ++count) {
        const std::vector<float> distance = anyImage(random, static_cast<size_t>(count));
        std::vector<uint16_t> actual(distance.size());
        for (uint16_t& pixel : actual) {
            pixel = static_cast<uint16_t>(random.bits());
        }
        std::vector<uint16_t> expected = actual;
        ImageFilter_UpdateConfidence(distance.data(), actual.data(), count);
        rule::updateConfidence(distance.data(), expected.data(), count);
        EXPECT_TRUE(sameValues(actual.data(), expected.data(), actual.size()));
    }
}

TEST_P(ConfidenceLoop, TheBorderOfAMeasurementIsAMillionth) {
    const float distance[] = {1e-6F, std::nextafter(1e-6F, 1.0F), -1.0F, kNaN, 0.0F, kInfinity};
    uint16_t confidence[] = {0, 0, 0, 0, 1, 1};
    ImageFilter_UpdateConfidence(distance, confidence, 6);
    const uint16_t expected[] = {0x0201, 0x0000, 0x0201, 0x0000, 0x0001, 0x0200};
    EXPECT_TRUE(sameValues(confidence, expected, 6));
}

}  // namespace
