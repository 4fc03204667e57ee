// SPDX-License-Identifier: Apache-2.0
#include "ALUtil.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "ALErrorHandling.h"
#include "FloatBits.h"
#include "support/Reports.h"

namespace {

constexpr unsigned int kSeed = 20422;

/** What was reported; the printed line is swallowed. */
class Reports : public testing_support::Reports {
 public:
    Reports() { testing::internal::CaptureStdout(); }
    ~Reports() { testing::internal::GetCapturedStdout(); }
};

// --- Selection ---

TEST(AlSeli, TakesTheFirstValueForOneAndTheSecondForZero) {
    EXPECT_EQ(al_seli(1, 5, -7), 5);
    EXPECT_EQ(al_seli(0, 5, -7), -7);
}

TEST(AlSeli, TakesTheLimitsOfItsTypeUnchanged) {
    EXPECT_EQ(al_seli(1, INT_MIN, INT_MAX), INT_MIN);
    EXPECT_EQ(al_seli(0, INT_MIN, INT_MAX), INT_MAX);
}

TEST(AlMini, IsTheSmallerValue) {
    EXPECT_EQ(al_mini(2, 3), 2);
    EXPECT_EQ(al_mini(3, 2), 2);
    EXPECT_EQ(al_mini(-1, -1), -1);
    EXPECT_EQ(al_mini(INT_MIN, INT_MAX), INT_MIN);
    EXPECT_EQ(al_mini(INT_MAX, INT_MIN), INT_MIN);
}

TEST(AlMaxi, IsTheLargerValue) {
    EXPECT_EQ(al_maxi(2, 3), 3);
    EXPECT_EQ(al_maxi(3, 2), 3);
    EXPECT_EQ(al_maxi(-1, -1), -1);
    EXPECT_EQ(al_maxi(INT_MIN, INT_MAX), INT_MAX);
    EXPECT_EQ(al_maxi(INT_MAX, INT_MIN), INT_MAX);
}

TEST(AlSelf, TakesTheFirstValueForOneAndTheSecondForZero) {
    EXPECT_EQ(al_self(1, 0.1F, 7.3F), 0.1F);
    EXPECT_EQ(al_self(0, 0.1F, 7.3F), 7.3F);
}

TEST(AlSelf, WeighsTheValuesForOtherConditions) {
    EXPECT_EQ(al_self(2, 3.0F, 4.0F), 2.0F);  // 2 * 3 + (1 - 2) * 4
}

TEST(AlSelf, GivesNaNForAnInfinityOnTheSideThatIsNotTaken) {
    EXPECT_TRUE(std::isnan(al_self(1, 1.0F, kInfinity)));
    EXPECT_TRUE(std::isnan(al_self(0, -kInfinity, 1.0F)));
}

TEST(AlMinf, IsTheSmallerValue) {
    EXPECT_EQ(al_minf(0.25F, 0.5F), 0.25F);
    EXPECT_EQ(al_minf(0.5F, 0.25F), 0.25F);
    EXPECT_EQ(al_minf(-3.0F, -3.0F), -3.0F);
}

TEST(AlMaxf, IsTheLargerValue) {
    EXPECT_EQ(al_maxf(0.25F, 0.5F), 0.5F);
    EXPECT_EQ(al_maxf(0.5F, 0.25F), 0.5F);
    EXPECT_EQ(al_maxf(-3.0F, -3.0F), -3.0F);
}

TEST(AlMinfAlMaxf, TakeTheLargestFiniteValuesUnchanged) {
    constexpr float largest = std::numeric_limits<float>::max();
    EXPECT_EQ(al_minf(-largest, largest), -largest);
    EXPECT_EQ(al_maxf(-largest, largest), largest);
}

TEST(AlMinfAlMaxf, GiveNaNForInfinitiesAndNaNs) {
    EXPECT_TRUE(std::isnan(al_minf(1.0F, kInfinity)));
    EXPECT_TRUE(std::isnan(al_maxf(1.0F, -kInfinity)));
    EXPECT_TRUE(std::isnan(al_minf(kNaN, 1.0F)));
    EXPECT_TRUE(std::isnan(al_maxf(1.0F, kNaN)));
}

TEST(AlMinfAlMaxf, AreExactForRandomFiniteValues) {
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<std::uint32_t> bits(0x00800000U, 0x7F7FFFFFU);
    for (int i = 0; i < 5000; ++i) {
        const float a = fromBits(bits(random) | ((random() & 1U) << 31U));
        const float b = fromBits(bits(random) | ((random() & 1U) << 31U));
        ASSERT_EQ(al_minf(a, b), a < b ? a : b) << a << " " << b;
        ASSERT_EQ(al_maxf(a, b), a > b ? a : b) << a << " " << b;
    }
}

TEST(IntervalsOverlap, TrueWhereTheyShareAStretch) {
    EXPECT_EQ(intervals_overlap(0.0F, 2.0F, 1.0F, 3.0F), 1);
    EXPECT_EQ(intervals_overlap(1.0F, 3.0F, 0.0F, 2.0F), 1);
    EXPECT_EQ(intervals_overlap(0.0F, 9.0F, 1.0F, 2.0F), 1);
}

TEST(IntervalsOverlap, TrueWhereTheyTouch) {
    EXPECT_EQ(intervals_overlap(0.0F, 1.0F, 1.0F, 2.0F), 1);
    EXPECT_EQ(intervals_overlap(1.0F, 2.0F, 0.0F, 1.0F), 1);
}

TEST(IntervalsOverlap, FalseWhereAGapLiesBetween) {
    EXPECT_EQ(intervals_overlap(0.0F, 1.0F, std::nextafter(1.0F, 2.0F), 2.0F), 0);
    EXPECT_EQ(intervals_overlap(5.0F, 6.0F, -2.0F, -1.0F), 0);
}

TEST(IntervalsOverlap, FalseForNaN) {
    EXPECT_EQ(intervals_overlap(kNaN, 1.0F, 0.0F, 1.0F), 0);
}

TEST(Interp, ReadsTheLineThroughTwoPoints) {
    EXPECT_EQ(interp(10.0F, 10.0F, 0.5F, 1.0F, 3.0F), 1.0F);
    EXPECT_EQ(interp(10.0F, 11.0F, 0.5F, 1.0F, 3.0F), 2.0F);
    EXPECT_EQ(interp(10.0F, 12.0F, 0.5F, 1.0F, 3.0F), 3.0F);
}

TEST(Interp, ContinuesTheLineOutside) {
    EXPECT_EQ(interp(10.0F, 14.0F, 0.5F, 1.0F, 3.0F), 5.0F);
    EXPECT_EQ(interp(10.0F, 8.0F, 0.5F, 1.0F, 3.0F), -1.0F);
}

TEST(Interp, ScalesTheDifferenceBeforeTheDistance) {
    // (3e38 * 1e-30) * 1e10 is 3e18; 1e-30 * 1e10 first would be the same, but 3e38 * 1e10 overflows.
    EXPECT_FLOAT_EQ(interp(0.0F, 1e10F, 1e-30F, 0.0F, 3e38F), 3e18F);
}

// --- Memory ---

TEST(AlMemZero, ZeroesTheBytesGivenAndNoOther) {
    std::array<std::uint8_t, 16> bytes;
    bytes.fill(0xAB);
    al_mem_zero(bytes.data() + 3, 7);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        EXPECT_EQ(bytes[i], i >= 3 && i < 10 ? 0 : 0xAB) << "byte " << i;
    }
}

TEST(AlMemZero, DoesNothingForSizesBelowOne) {
    std::uint32_t word = 0xDEADBEEFU;
    for (const std::int32_t size : {0, -1, INT_MIN}) {
        al_mem_zero(&word, size);
        al_mem_zero(nullptr, size);
    }
    EXPECT_EQ(word, 0xDEADBEEFU);
}

TEST(AlMemcpy, CopiesEverySizeAndAlignmentAndNothingBeside) {
    std::array<std::uint8_t, 64> source;
    std::iota(source.begin(), source.end(), std::uint8_t{1});
    for (std::size_t shift = 0; shift < 4; ++shift) {
        for (std::int32_t size = 1; size <= 40; ++size) {
            std::array<std::uint8_t, 64> target;
            target.fill(0xEE);
            ASSERT_EQ(al_memcpy(target.data() + shift, source.data() + 4 - shift, size), 0);
            for (std::size_t i = 0; i < target.size(); ++i) {
                const bool inside = i >= shift && i < shift + static_cast<std::size_t>(size);
                ASSERT_EQ(target[i], inside ? source[4 - shift + (i - shift)] : 0xEE)
                    << "shift " << shift << ", size " << size << ", byte " << i;
            }
        }
    }
}

TEST(AlMemcpy, RefusesTheSamePointerWithASize) {
    const Reports reports;
    std::array<std::uint32_t, 4> block = {1, 2, 3, 4};
    EXPECT_EQ(al_memcpy(block.data(), block.data(), 16), 1);
    EXPECT_EQ(reports.count(), 1);
    EXPECT_EQ(reports.file(), "ALUtil");
    EXPECT_EQ(reports.text().rfind("ERR@ALUtil:", 0), 0U);
}

TEST(AlMemcpy, TakesTheSamePointerWithoutASize) {
    const Reports reports;
    std::array<std::uint32_t, 4> block = {1, 2, 3, 4};
    EXPECT_EQ(al_memcpy(block.data(), block.data(), 0), 0);
    EXPECT_EQ(reports.count(), 0);
}

TEST(AlMemcpy, RefusesAnOverlapInEitherDirectionAndCopiesNothing) {
    const Reports reports;
    std::array<std::uint8_t, 32> block;
    std::iota(block.begin(), block.end(), std::uint8_t{0});
    const auto before = block;
    EXPECT_EQ(al_memcpy(block.data() + 8, block.data(), 9), 1);
    EXPECT_EQ(al_memcpy(block.data(), block.data() + 8, 9), 1);
    EXPECT_EQ(block, before);
    EXPECT_EQ(reports.count(), 2);
}

TEST(AlMemcpy, TakesRangesThatTouch) {
    const Reports reports;
    std::array<std::uint8_t, 16> block = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(al_memcpy(block.data() + 8, block.data(), 8), 0);
    EXPECT_EQ(block[8], 1);
    EXPECT_EQ(block[15], 8);
    block[0] = 99;
    EXPECT_EQ(al_memcpy(block.data(), block.data() + 8, 8), 0);
    EXPECT_EQ(block[0], 1);
    EXPECT_EQ(reports.count(), 0);
}

TEST(AlMemcpy, CopiesNothingForSizesBelowOne) {
    const Reports reports;
    const std::uint32_t source = 1;
    std::uint32_t target = 2;
    for (const std::int32_t size : {0, -1, INT_MIN}) {
        EXPECT_EQ(al_memcpy(&target, &source, size), 0) << size;
        EXPECT_EQ(al_memcpy(nullptr, nullptr, size), 0) << size;
    }
    EXPECT_EQ(target, 2U);
    EXPECT_EQ(reports.count(), 0);
}

TEST(AlMemcmp, OfEqualBlocksIsOne) {
    const std::array<std::uint8_t, 5> a = {1, 2, 3, 4, 5};
    const std::array<std::uint8_t, 5> b = a;
    EXPECT_EQ(al_memcmp(a.data(), b.data(), 5), 1);
    EXPECT_EQ(al_memcmp(a.data(), a.data(), 5), 1);
}

TEST(AlMemcmp, OfBlocksThatDifferInOneBitAnywhereIsZero) {
    const std::array<std::uint8_t, 9> a = {};
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (unsigned int bit = 0; bit < 8; ++bit) {
            std::array<std::uint8_t, 9> b = a;
            b[i] = static_cast<std::uint8_t>(1U << bit);
            EXPECT_EQ(al_memcmp(a.data(), b.data(), 9), 0) << "byte " << i << ", bit " << bit;
        }
    }
}

TEST(AlMemcmp, LooksAtTheBytesGivenOnly) {
    const std::array<std::uint8_t, 3> a = {1, 2, 3};
    const std::array<std::uint8_t, 3> b = {1, 2, 4};
    EXPECT_EQ(al_memcmp(a.data(), b.data(), 2), 1);
}

TEST(AlMemcmp, OfSizesBelowOneIsOne) {
    const std::uint8_t a = 1;
    const std::uint8_t b = 2;
    for (const std::int32_t size : {0, -1, INT_MIN}) {
        EXPECT_EQ(al_memcmp(&a, &b, size), 1) << size;
        EXPECT_EQ(al_memcmp(nullptr, nullptr, size), 1) << size;
    }
}

// --- Profiling ---

Timestamp_t g_now = 0;

Timestamp_t now() {
    return g_now;
}

TEST(AlInitProfiling, StartsNow) {
    g_now = 1234;
    Timestamp_t profileTime = 0;
    al_initProfiling(&profileTime, now);
    EXPECT_EQ(profileTime, 1234U);
}

TEST(AlInitProfiling, StartsAtZeroWithoutAClock) {
    Timestamp_t profileTime = 77;
    al_initProfiling(&profileTime, nullptr);
    EXPECT_EQ(profileTime, 0U);
}

TEST(AlProfile, BooksConsecutiveStretches) {
    g_now = 1000;
    Timestamp_t profileTime = 0;
    al_initProfiling(&profileTime, now);
    ALProfilingItem first = {};
    ALProfilingItem second = {};
    g_now = 3000;
    al_profile(&first, now, &profileTime);
    EXPECT_EQ(profileTime, 3000U);
    g_now = 3500;
    al_profile(&second, now, &profileTime);
    EXPECT_EQ(first.runtimeMsecs, 2.0F);
    EXPECT_EQ(second.runtimeMsecs, 0.5F);
}

TEST(AlProfile, KeepsLatestMaximumSumCountAndAverage) {
    Timestamp_t profileTime = 0;
    ALProfilingItem item = {};
    for (const Timestamp_t stretch : {2000U, 5000U, 1000U}) {
        g_now = profileTime + stretch;
        al_profile(&item, now, &profileTime);
    }
    EXPECT_EQ(item.runtimeMsecs, 1.0F);
    EXPECT_EQ(item.maxRuntimeMsecs, 5.0F);
    EXPECT_EQ(item.cumRuntimeMsecs, 8.0);
    EXPECT_EQ(item.numCalls, 3U);
    EXPECT_EQ(item.avgRuntimeMsecs, static_cast<float>(8.0 / 3.0));
}

TEST(AlProfile, BooksTheTrueStretchAcrossAWrapOfTheClock) {
    Timestamp_t profileTime = 0xFFFFFFFFU - 499U;  // 500 before the wrap
    g_now = 1500;
    ALProfilingItem item = {};
    al_profile(&item, now, &profileTime);
    EXPECT_EQ(item.runtimeMsecs, 2.0F);
    EXPECT_EQ(profileTime, 1500U);
}

TEST(AlProfile, SumsInDoublePrecision) {
    // A millisecond more is lost on a float sum of 2^24 milliseconds.
    Timestamp_t profileTime = 0;
    g_now = 1000;
    ALProfilingItem item = {};
    item.cumRuntimeMsecs = 16777216.0;
    al_profile(&item, now, &profileTime);
    EXPECT_EQ(item.cumRuntimeMsecs, 16777217.0);
}

TEST(AlProfile, BooksNothingWithoutAClock) {
    Timestamp_t profileTime = 5;
    ALProfilingItem item = {};
    al_profile(&item, nullptr, &profileTime);
    EXPECT_EQ(item.numCalls, 0U);
    EXPECT_EQ(profileTime, 5U);
}

TEST(ProfilingItemLayout, IsOneOnEveryTarget) {
    EXPECT_EQ(sizeof(ALProfilingItem), 24U);
    EXPECT_EQ(offsetof(ALProfilingItem, cumRuntimeMsecs), 8U);
    EXPECT_EQ(offsetof(ALProfilingItem, avgRuntimeMsecs), 20U);
}

// --- Timestamps ---

TEST(Timestamps, NanosecondsCountFromSecondZero) {
    EXPECT_EQ(al_sysTimestamp_to_Timestamp64({.seconds = 3, .nanoSeconds = 25}), 3000000025U);
}

TEST(Timestamps, LargestSystemTimeNeeds64Bits) {
    EXPECT_EQ(al_sysTimestamp_to_Timestamp64({.seconds = 0xFFFFFFFFU, .nanoSeconds = 999999999}),
              std::uint64_t{4294967295999999999U});
}

TEST(Timestamps, SplitIntoSecondsAndRemainder) {
    const AlgoSystemTime time = al_uint64_to_sysTimestamp(3000000025U);
    EXPECT_EQ(time.seconds, 3U);
    EXPECT_EQ(time.nanoSeconds, 25U);
}

TEST(Timestamps, BothWaysGiveTheSameTime) {
    for (const Timestamp64_t ts : {Timestamp64_t{0}, Timestamp64_t{999999999}, Timestamp64_t{1000000000},
                                   Timestamp64_t{1600000000123456789}, Timestamp64_t{4294967295999999999U}}) {
        EXPECT_EQ(al_sysTimestamp_to_Timestamp64(al_uint64_to_sysTimestamp(ts)), ts);
    }
}

// --- Random numbers ---

TEST(AlRand, OfStateZeroIsZeroAndLeaves12345) {
    std::uint32_t state = 0;
    std::uint32_t randmax = 0;
    EXPECT_EQ(al_rand(&state, &randmax), 0U);
    EXPECT_EQ(state, 12345U);
    EXPECT_EQ(randmax, 32767U);
}

TEST(AlRand, IsBits16To30OfTheNewState) {
    // 1103515245 * 1 + 12345 = 1103527590 = 0x41C67EA6: upper half 0x41C6, of which 15 bits.
    std::uint32_t state = 1;
    std::uint32_t randmax = 0;
    EXPECT_EQ(al_rand(&state, &randmax), 0x41C6U);
    EXPECT_EQ(state, 1103527590U);
}

TEST(AlRand, WrapsIn32Bits) {
    // 1103515245 * (2^32 - 1) is -1103515245 modulo 2^32; + 12345 gives 3191464396 = 0xBE39E1CC, upper half
    // 0xBE39; bit 31 is cut.
    std::uint32_t state = 0xFFFFFFFFU;
    std::uint32_t randmax = 0;
    EXPECT_EQ(al_rand(&state, &randmax), 0x3E39U);
    EXPECT_EQ(state, 3191464396U);
}

TEST(AlRand, StaysWithinRandmax) {
    std::uint32_t state = kSeed;
    std::uint32_t randmax = 0;
    for (int i = 0; i < 10000; ++i) {
        ASSERT_LE(al_rand(&state, &randmax), 32767U);
    }
}

// --- Channels ---

constexpr std::uint32_t kDescriptor[3] = {1, 2, 3};

void getDescriptor(const void** buffer, std::uint32_t* size) {
    *buffer = kDescriptor;
    *size = sizeof(kDescriptor);
}

void getPointerOnly(const void** buffer, std::uint32_t* /*size*/) {
    *buffer = kDescriptor;
}

TEST(AlPackZeltaBuffer, OffersDataAndThenItsDescriptorUnderTheNextChannel) {
    std::array<AlgoMeasBuffer, 4> buffers = {};
    const std::uint64_t data = 5;
    std::uint32_t idx = 1;
    al_packZeltaBuffer(buffers.data(), &idx, 200, &data, sizeof(data), getDescriptor);
    EXPECT_EQ(idx, 3U);
    EXPECT_EQ(buffers[1].buffer, &data);
    EXPECT_EQ(buffers[1].sizeTotal, sizeof(data));
    EXPECT_EQ(buffers[1].channelID, 200);
    EXPECT_EQ(buffers[2].buffer, kDescriptor);
    EXPECT_EQ(buffers[2].sizeTotal, sizeof(kDescriptor));
    EXPECT_EQ(buffers[2].channelID, 201);
    EXPECT_EQ(buffers[0].buffer, nullptr);
    EXPECT_EQ(buffers[3].buffer, nullptr);
}

TEST(AlPackZeltaBuffer, DoesNotWriteSizeReady) {
    std::array<AlgoMeasBuffer, 2> buffers = {};
    buffers[0].sizeReady = 11;
    buffers[1].sizeReady = 12;
    const std::uint8_t data = 5;
    std::uint32_t idx = 0;
    al_packZeltaBuffer(buffers.data(), &idx, 2, &data, sizeof(data), getDescriptor);
    EXPECT_EQ(buffers[0].sizeReady, 11U);
    EXPECT_EQ(buffers[1].sizeReady, 12U);
}

TEST(AlPackZeltaBuffer, DescriptorSizeStartsAtZero) {
    std::array<AlgoMeasBuffer, 2> buffers = {};
    buffers[1].sizeTotal = 99;
    const std::uint8_t data = 5;
    std::uint32_t idx = 0;
    al_packZeltaBuffer(buffers.data(), &idx, 2, &data, sizeof(data), getPointerOnly);
    EXPECT_EQ(buffers[1].buffer, kDescriptor);
    EXPECT_EQ(buffers[1].sizeTotal, 0U);
}

TEST(AlPackZeltaBuffer, DoesNothingWhereSomethingIsMissing) {
    std::array<AlgoMeasBuffer, 2> buffers = {};
    const std::uint8_t data = 5;
    std::uint32_t idx = 0;
    al_packZeltaBuffer(nullptr, &idx, 2, &data, 1, getDescriptor);
    al_packZeltaBuffer(buffers.data(), nullptr, 2, &data, 1, getDescriptor);
    al_packZeltaBuffer(buffers.data(), &idx, 2, nullptr, 1, getDescriptor);
    al_packZeltaBuffer(buffers.data(), &idx, 2, &data, 0, getDescriptor);
    al_packZeltaBuffer(buffers.data(), &idx, 2, &data, 1, nullptr);
    EXPECT_EQ(idx, 0U);
    for (const AlgoMeasBuffer& entry : buffers) {
        EXPECT_EQ(entry.buffer, nullptr);
        EXPECT_EQ(entry.sizeTotal, 0U);
        EXPECT_EQ(entry.channelID, 0);
    }
}

// --- Relative motion ---

struct Motion {
    float32_t vx;
    float32_t vy;
    float32_t ax;
    float32_t ay;
};

Motion relativeMotion(float32_t x, float32_t y, Motion overGround, float32_t ev, float32_t eomega) {
    Motion relative = {};
    al_convertAbsToRelMovement(&relative.vx, &relative.vy, &relative.ax, &relative.ay, x, y, overGround.vx,
                               overGround.vy, overGround.ax, overGround.ay, ev, eomega);
    return relative;
}

TEST(AlConvertAbsToRelMovement, LeavesTheMotionSeenFromACarrierAtRest) {
    const Motion relative = relativeMotion(4.0F, 5.0F, {1.0F, 2.0F, 3.0F, 4.0F}, 0.0F, 0.0F);
    EXPECT_EQ(relative.vx, 1.0F);
    EXPECT_EQ(relative.vy, 2.0F);
    EXPECT_EQ(relative.ax, 3.0F);
    EXPECT_EQ(relative.ay, 4.0F);
}

TEST(AlConvertAbsToRelMovement, FollowsItsFormulas) {
    // x 2, y 3, ev 10, eomega 0.5; all products are exact in binary.
    const Motion relative = relativeMotion(2.0F, 3.0F, {7.0F, 8.0F, 9.0F, 11.0F}, 10.0F, 0.5F);
    EXPECT_EQ(relative.vx, 7.0F - 10.0F + 3.0F * 0.5F);                                // -1.5
    EXPECT_EQ(relative.vy, 8.0F - 0.5F * 2.0F);                                        // 7
    EXPECT_EQ(relative.ax, 9.0F + 2.0F * 8.0F * 0.5F - 0.5F * 2.0F * 0.5F);            // 16.5
    EXPECT_EQ(relative.ay, 11.0F + 10.0F * 0.5F - 3.0F * 0.25F - 2.0F * 0.5F * 7.0F);  // 8.25
}

}  // namespace
