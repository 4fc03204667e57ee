// SPDX-License-Identifier: Apache-2.0

#include "simulation/RawPacking.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "simulation/Random.h"

namespace simulation {
namespace {

TEST(RawPacking, UpperBitsComeFirstAndTheLowNibblesShareTheThirdByte) {
    std::vector<std::uint16_t> samples(pixelCount, 0);
    samples[0] = 0xABF;  // even: upper bits AB, low nibble F in the low half of the third byte
    samples[1] = 0xCDE;  // odd: upper bits CD, low nibble E in the high half
    const std::vector<std::uint8_t> bytes = packRawImage(samples);
    EXPECT_EQ(bytes[336], 0xAB);
    EXPECT_EQ(bytes[337], 0xCD);
    EXPECT_EQ(bytes[338], 0xEF);
}

TEST(RawPacking, ALineWithoutImageDataStandsInFront) {
    const std::vector<std::uint8_t> bytes = packRawImage(std::vector<std::uint16_t>(pixelCount, 4095));
    ASSERT_EQ(bytes.size(), 58128U);
    EXPECT_TRUE(std::all_of(bytes.begin(), bytes.begin() + 336, [](std::uint8_t b) { return b == 0; }));
    EXPECT_TRUE(std::all_of(bytes.begin() + 336, bytes.end(), [](std::uint8_t b) { return b == 0xFF; }));
}

// Pixel (222, 171) and (223, 171) end the buffer; pixel (0, 1) starts the line after the first image line.
TEST(RawPacking, RowsHave336BytesAndTheLastPixelEndsTheBuffer) {
    std::vector<std::uint16_t> samples(pixelCount, 0);
    samples[224] = 0x123;
    samples[pixelCount - 1] = 0x456;
    const std::vector<std::uint8_t> bytes = packRawImage(samples);
    EXPECT_EQ(bytes[672], 0x12);
    EXPECT_EQ(bytes[674], 0x03);
    EXPECT_EQ(bytes[58126], 0x45);
    EXPECT_EQ(bytes[58127], 0x60);
}

TEST(RawPacking, UnpackingGivesEverySampleBack) {
    RandomStream random(4711, RandomPurpose::SensorNoise);
    std::vector<std::uint16_t> samples(pixelCount);
    for (std::uint16_t& sample : samples) {
        sample = static_cast<std::uint16_t>(4096.0 * random.uniform());
    }
    EXPECT_EQ(unpackRawImage(packRawImage(samples)), samples);
}

TEST(RawPacking, RefusesAnotherCountOfSamples) {
    EXPECT_THROW(packRawImage(std::vector<std::uint16_t>(pixelCount - 1)), std::invalid_argument);
    EXPECT_THROW(packRawImage(std::vector<std::uint16_t>(pixelCount + 2)), std::invalid_argument);
}

TEST(RawPacking, RefusesASampleOfThirteenBits) {
    std::vector<std::uint16_t> samples(pixelCount, 0);
    samples[5] = 4096;
    EXPECT_THROW(packRawImage(samples), std::invalid_argument);
}

TEST(RawPacking, RefusesABufferOfAnotherSize) {
    EXPECT_THROW(unpackRawImage(std::vector<std::uint8_t>(58127)), std::invalid_argument);
    EXPECT_THROW(unpackRawImage(std::vector<std::uint8_t>(58129)), std::invalid_argument);
}

}  // namespace
}  // namespace simulation
