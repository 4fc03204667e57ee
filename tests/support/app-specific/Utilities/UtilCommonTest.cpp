// SPDX-License-Identifier: Apache-2.0
#include "UtilCommon.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

std::int64_t nowInMicroseconds() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

TEST(Clocks, TimeIsTheLowPartOfTheWallClockInMicroseconds) {
    const auto before = static_cast<std::uint32_t>(nowInMicroseconds());
    const Timestamp_t now = getTimeFct();
    // Differences of wrapping counters; a second is time enough for a loaded machine.
    EXPECT_LT(static_cast<std::uint32_t>(now - before), 1000000U);
    EXPECT_LT(static_cast<std::uint32_t>(static_cast<std::uint32_t>(nowInMicroseconds()) - now), 1000000U);
}

TEST(Clocks, SystemTimeIsTheWallClock) {
    const std::int64_t before = nowInMicroseconds();
    const AlgoSystemTime time = getSystemTimeFct();
    const std::int64_t after = nowInMicroseconds();
    EXPECT_LT(time.nanoSeconds, 1000000000U);
    const std::int64_t now = std::int64_t{time.seconds} * 1000000 + time.nanoSeconds / 1000;
    EXPECT_GE(now, before);
    EXPECT_LE(now, after);
}

TEST(Clocks, BothShowTheSameTime) {
    const AlgoSystemTime time = getSystemTimeFct();
    const Timestamp_t now = getTimeFct();
    const std::uint64_t microseconds = std::uint64_t{time.seconds} * 1000000U + time.nanoSeconds / 1000U;
    EXPECT_LT(static_cast<std::uint32_t>(now - static_cast<std::uint32_t>(microseconds)), 1000000U);
}

}  // namespace
