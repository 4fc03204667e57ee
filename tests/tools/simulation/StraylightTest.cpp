// SPDX-License-Identifier: Apache-2.0

#include "simulation/Straylight.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>

#include "tools/TestFolder.h"

namespace simulation {
namespace {

using Complex = std::complex<double>;

constexpr std::size_t valueCount = 154905;

// Even scattering over all distances: each value 1.
PointSpread evenSpread() {
    return {std::vector<double>(valueCount, 1.0)};
}

std::size_t pixel(int x, int y) {
    return static_cast<std::size_t>(y * imageWidth + x);
}

// A phasor of 3 - 4i at (100, 80): everywhere further away than 8 pixels 1e-4 of it, as the weight over the
// sum is 15.4905 / 154905; scattered light that scatters again adds 1e-8 times the number of pixels, four
// times.
TEST(Straylight, APointScattersItsShareToPixelsThatAreNotItsNeighbours) {
    std::vector<Complex> phasors(pixelCount);
    phasors[pixel(100, 80)] = {3.0, -4.0};
    Straylight(evenSpread(), 15.4905e-3).addTo(phasors);
    for (const std::size_t far : {pixel(0, 0), pixel(223, 171), pixel(109, 80), pixel(100, 71)}) {
        EXPECT_NEAR(phasors[far].real(), 3.0e-7, 3.0e-9) << far;
        EXPECT_NEAR(phasors[far].imag(), -4.0e-7, 4.0e-9) << far;
    }
    EXPECT_LT(std::abs(phasors[pixel(108, 80)]), 1e-8);
    EXPECT_NEAR(std::abs(phasors[pixel(100, 80)]), 5.0, 1e-6);
}

TEST(Straylight, WithoutACoreNeighboursReceiveTheirShareToo) {
    std::vector<Complex> phasors(pixelCount);
    phasors[pixel(100, 80)] = {3.0, -4.0};
    Straylight(evenSpread(), 15.4905e-3, 0).addTo(phasors);
    EXPECT_NEAR(std::abs(phasors[pixel(101, 80)]), 5.0e-7, 5.0e-9);
    EXPECT_NEAR(std::abs(phasors[pixel(100, 80)]), 5.0, 1e-6);
}

TEST(Straylight, WhatArrivesScattersAgain) {
    std::vector<Complex> once(pixelCount);
    once[pixel(20, 20)] = 1.0;
    std::vector<Complex> heavy = once;
    Straylight(evenSpread(), 15.4905e-3).addTo(once);
    Straylight(evenSpread(), 15.4905e-1).addTo(heavy);
    // A hundred times the weight gives more than a hundred times the light.
    EXPECT_GT(heavy[pixel(200, 100)].real(), 101.0 * once[pixel(200, 100)].real());
}

// One value alone, 30 columns right of and 10 rows above the middle: a pixel receives from the one there.
TEST(Straylight, APixelReceivesFromWhereTheFunctionTells) {
    PointSpread spread{std::vector<double>(valueCount, 0.0)};
    spread.values[static_cast<std::size_t>((imageHeight - 10) * PointSpread::width + imageWidth + 30)] = 2.0;
    std::vector<Complex> phasors(pixelCount);
    phasors[pixel(130, 50)] = 1.0;
    Straylight(spread, 0.25).addTo(phasors);
    EXPECT_NEAR(phasors[pixel(100, 60)].real(), 0.25, 1e-12);
    EXPECT_NEAR(phasors[pixel(160, 40)].real(), 0.0, 1e-12);
}

TEST(Straylight, AFunctionWithoutLightIsRefused) {
    EXPECT_THROW(Straylight(PointSpread{std::vector<double>(valueCount, 0.0)}), std::invalid_argument);
}

class PointSpreadFile : public testing::Test {
 protected:
    std::filesystem::path write(const std::vector<float>& values) const {
        std::filesystem::path path = folder_.path() / "psf.f32";
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(values.data()),
                   static_cast<std::streamsize>(4 * values.size()));
        return path;
    }

    std::string complaintAbout(const std::filesystem::path& path) const {
        try {
            readPointSpread(path);
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
        return "";
    }

    TestFolder folder_;
};

TEST_F(PointSpreadFile, HoldsItsValuesRowByRow) {
    std::vector<float> values(valueCount, 0.5F);
    values[450] = 0.25F;
    const PointSpread spread = readPointSpread(write(values));
    ASSERT_EQ(spread.values.size(), valueCount);
    EXPECT_EQ(spread.values[0], 0.5);
    EXPECT_EQ(spread.values[450], 0.25);
}

TEST_F(PointSpreadFile, OfAnotherSizeIsRefusedInASentence) {
    for (const std::size_t count : {std::size_t{0}, valueCount - 1, valueCount + 1}) {
        EXPECT_NE(complaintAbout(write(std::vector<float>(count, 1.0F))).find("449 x 345 floats"),
                  std::string::npos)
            << count;
    }
    EXPECT_NE(complaintAbout(folder_.path() / "none").find("Cannot read"), std::string::npos);
}

TEST_F(PointSpreadFile, WithAValueThatIsNoShareOfLightIsRefused) {
    for (const float bad :
         {-1e-6F, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
        std::vector<float> values(valueCount, 1.0F);
        values[7] = bad;
        EXPECT_NE(complaintAbout(write(values)).find("value 7 "), std::string::npos) << bad;
    }
}

}  // namespace
}  // namespace simulation
