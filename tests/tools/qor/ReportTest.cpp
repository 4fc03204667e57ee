// SPDX-License-Identifier: Apache-2.0

#include "qor/Report.h"

#include <gtest/gtest.h>

namespace qor {
namespace {

TEST(Report, TellsWhatOfTheValidPixelsIsNoNumber) {
    figures::PixelCounts counts;
    EXPECT_EQ(notFiniteText(counts), "");
    counts.distancesNotFinite = 2;
    counts.amplitudesNotFinite = 1;
    EXPECT_EQ(notFiniteText(counts), "of the valid pixels 2 distances and 1 amplitude are infinite or NaN");
    counts = {};
    counts.noisesNotFinite = 1;
    EXPECT_EQ(notFiniteText(counts), "of the valid pixels 1 noise value is infinite or NaN");
}

}  // namespace
}  // namespace qor
