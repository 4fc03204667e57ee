// SPDX-License-Identifier: Apache-2.0

#include "qor/ResultFrame.h"

#include <gtest/gtest.h>

#include <limits>

namespace qor {
namespace {

TEST(ResultFrame, HasAByteForEachPixelThatTellsWhetherItIsUsable) {
    ResultFrame frame;
    frame.distance = {1.0F, 0.0F, std::numeric_limits<float>::infinity(), 2.0F};
    frame.confidence = {0, 0, 0, invalidBit};
    EXPECT_EQ(usablePixels(frame), (std::vector<std::uint8_t>{1, 0, 0, 0}));
}

}  // namespace
}  // namespace qor
