// SPDX-License-Identifier: Apache-2.0
//
// Small portable tools of the pipeline: profiling, selection without branches, checked copies, timestamps, a
// random generator, and the offering of debug channels.
#pragma once

#include "ALTypes.h"

/** Runtime of one stretch of code, over all its calls. */
struct ALProfilingItem {
    alif_float32_t runtimeMsecs;     ///< of the latest call, milliseconds
    alif_float32_t maxRuntimeMsecs;  ///< of the longest call
    alif_float64_t cumRuntimeMsecs;  ///< of all calls together
    alif_uint32_t numCalls;
    alif_float32_t avgRuntimeMsecs;
};
AL_DESCRIBE(ALProfilingItem, runtimeMsecs, maxRuntimeMsecs, cumRuntimeMsecs, numCalls, avgRuntimeMsecs)
static_assert(sizeof(ALProfilingItem) == 24);

/** Gives the descriptor of a record: its address and its size in bytes. */
using FctZeltaGet = void (*)(const void** buffer, std::uint32_t* size);

// --- Selection by arithmetic, without a branch ---------------------------------------------------

/** a if cond is 1, b if cond is 0; cond must be one of them. */
constexpr std::int32_t al_seli(std::int32_t cond, std::int32_t a, std::int32_t b) noexcept {
    return b * (1 - cond) + a * cond;
}

/** The smaller value. */
constexpr std::int32_t al_mini(std::int32_t a, std::int32_t b) noexcept {
    return al_seli(static_cast<std::int32_t>(a < b), a, b);
}

/** The larger value. */
constexpr std::int32_t al_maxi(std::int32_t a, std::int32_t b) noexcept {
    return al_seli(static_cast<std::int32_t>(a > b), a, b);
}

/**
 * a if cond is 1, b if cond is 0, the weighted mean in general. The other value is multiplied by 0, so an
 * infinity or a NaN on either side gives NaN.
 */
constexpr float32_t al_self(std::int32_t cond, float32_t a, float32_t b) noexcept {
    const auto tmp = static_cast<float32_t>(cond);
    return tmp * a + (1.0F - tmp) * b;
}

/** The smaller of two finite values. */
constexpr float32_t al_minf(float32_t a, float32_t b) noexcept {
    return al_self(static_cast<std::int32_t>(a < b), a, b);
}

/** The larger of two finite values. */
constexpr float32_t al_maxf(float32_t a, float32_t b) noexcept {
    return al_self(static_cast<std::int32_t>(a > b), a, b);
}

/**
 * 1 if the closed intervals [v_min, v_max] and [w_min, w_max] have a point in common, else 0.
 * The pipeline itself does not call it.
 */
constexpr std::int32_t intervals_overlap(float32_t v_min, float32_t v_max, float32_t w_min,
                                         float32_t w_max) noexcept {
    return static_cast<std::int32_t>(al_maxf(v_min, w_min) <= al_minf(v_max, w_max));
}

/**
 * The line through (minx, y0) and (minx + 1 / oneDivDx, y1), read at x.
 * The pipeline itself does not call it.
 */
constexpr float32_t interp(float32_t minx, float32_t x, float32_t oneDivDx, float32_t y0,
                           float32_t y1) noexcept {
    return y0 + ((y1 - y0) * oneDivDx) * (x - minx);
}

// --- Memory --------------------------------------------------------------------------------------

/** Zeroes bufferSize bytes; a size below 1 does nothing. */
void al_mem_zero(void* buffer, std::int32_t bufferSize) noexcept;

/**
 * Copies sizeInBytes bytes between ranges that do not overlap; a size below 1 copies nothing. Returns 0.
 * Ranges that overlap are reported and left as they are, the result is 1.
 */
std::int32_t al_memcpy(void* target, const void* source, std::int32_t sizeInBytes) noexcept;

/**
 * 1 if all bytes are equal or the size is below 1, else 0: the opposite of std::memcmp. Takes the same time
 * for equal and for different contents.
 */
std::int32_t al_memcmp(const void* v_buf1, const void* v_buf2, std::int32_t sizeInBytes) noexcept;

// --- Time ----------------------------------------------------------------------------------------

/** Starts profiling: *g_ProfileTime becomes now, in microseconds, or 0 where there is no clock. */
void al_initProfiling(Timestamp_t* g_ProfileTime, FctGetTime fctGetTime) noexcept;

/**
 * Books the time since *g_ProfileTime under `item` and moves *g_ProfileTime to now, so that consecutive calls
 * book consecutive stretches. A wrap of the clock in between does no harm.
 * Without a clock nothing is booked.
 */
void al_profile(ALProfilingItem* item, FctGetTime fctGetTime, Timestamp_t* g_ProfileTime) noexcept;

/** Wall clock time in nanoseconds. The pipeline itself does not call it. */
Timestamp64_t al_sysTimestamp_to_Timestamp64(AlgoSystemTime ts) noexcept;

/** Nanoseconds as wall clock time, good for 136 years. The pipeline itself does not call it. */
AlgoSystemTime al_uint64_to_sysTimestamp(Timestamp64_t ts) noexcept;

// --- Others --------------------------------------------------------------------------------------

/**
 * Next pseudo random number in 0..*randmax, which is 32767. The generator's state is the caller's.
 * The pipeline itself does not call it.
 */
std::uint32_t al_rand(std::uint32_t* state, std::uint32_t* randmax) noexcept;

/**
 * Offers a record to the host: entry *idx becomes the data under channelID, the next entry its descriptor
 * under channelID + 1, and *idx moves on by 2. Nothing happens where a pointer is null or dataSize is 0. The
 * caller guarantees that measBuffer has room for both.
 */
void al_packZeltaBuffer(AlgoMeasBuffer* measBuffer, std::uint32_t* idx, std::uint32_t channelID,
                        const void* data, std::uint32_t dataSize, FctZeltaGet getFCN) noexcept;

/**
 * Motion of a point over ground (`vxog`, `vyog` in m/s, `axog`, `ayog` in m/s^2) as seen from a carrier that
 * moves with speed `ev` along its x axis and turns with yaw rate `eomega` in rad/s. The point lies at (x, y)
 * in the carrier's frame, metres.
 * The pipeline itself does not call it.
 */
void al_convertAbsToRelMovement(float32_t* vxrel, float32_t* vyrel, float32_t* axrel, float32_t* ayrel,
                                float32_t x, float32_t y, float32_t vxog, float32_t vyog, float32_t axog,
                                float32_t ayog, float32_t ev, float32_t eomega) noexcept;
