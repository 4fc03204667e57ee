// SPDX-License-Identifier: Apache-2.0
//
// Small portable tools of the pipeline.
#include "ALUtil.h"

#include <cstring>

#include "ALErrorHandling.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/Util/src/ALUtil";

constexpr Timestamp64_t kNanosecondsPerSecond = 1000000000;

/** True if two ranges of `size` bytes, size above 0, have a byte in common. */
bool rangesOverlap(const void* a, const void* b, std::uintptr_t size) noexcept {
    const auto first = reinterpret_cast<std::uintptr_t>(a);
    const auto second = reinterpret_cast<std::uintptr_t>(b);
    // The distance between the starts: unlike the end of a range it cannot wrap.
    return first >= second ? first - second < size : second - first < size;
}

}  // namespace

void al_mem_zero(void* buffer, std::int32_t bufferSize) noexcept {
    if (bufferSize > 0) {
        std::memset(buffer, 0, static_cast<std::size_t>(bufferSize));
    }
}

std::int32_t al_memcpy(void* target, const void* source, std::int32_t sizeInBytes) noexcept {
    if (sizeInBytes < 1) {
        return 0;
    }
    const auto size = static_cast<std::size_t>(sizeInBytes);
    if (rangesOverlap(target, source, size)) {
        return reportFailure(kSourceFile);
    }
    std::memcpy(target, source, size);
    return 0;
}

std::int32_t al_memcmp(const void* v_buf1, const void* v_buf2, std::int32_t sizeInBytes) noexcept {
    const auto* buf1 = static_cast<const std::uint8_t*>(v_buf1);
    const auto* buf2 = static_cast<const std::uint8_t*>(v_buf2);
    std::uint32_t differentBits = 0;
    for (std::int32_t i = 0; i < sizeInBytes; ++i) {
        differentBits |= static_cast<std::uint32_t>(buf1[i] ^ buf2[i]);
    }
    return static_cast<std::int32_t>(differentBits == 0);
}

void al_initProfiling(Timestamp_t* g_ProfileTime, FctGetTime fctGetTime) noexcept {
    *g_ProfileTime = fctGetTime != nullptr ? fctGetTime() : 0;
}

void al_profile(ALProfilingItem* item, FctGetTime fctGetTime, Timestamp_t* g_ProfileTime) noexcept {
    if (fctGetTime == nullptr) {
        return;
    }
    const Timestamp_t currTime = fctGetTime();
    const Timestamp_t uiDelta = currTime - *g_ProfileTime;
    *g_ProfileTime = currTime;

    ++item->numCalls;
    const float32_t delta = static_cast<float32_t>(uiDelta) * 0.001F;  // microseconds to milliseconds
    item->runtimeMsecs = delta;
    if (delta > item->maxRuntimeMsecs) {
        item->maxRuntimeMsecs = delta;
    }
    item->cumRuntimeMsecs += static_cast<float64_t>(delta);
    item->avgRuntimeMsecs =
        static_cast<float32_t>(item->cumRuntimeMsecs / static_cast<float64_t>(item->numCalls));
}

Timestamp64_t al_sysTimestamp_to_Timestamp64(AlgoSystemTime ts) noexcept {
    return ts.nanoSeconds + kNanosecondsPerSecond * ts.seconds;
}

AlgoSystemTime al_uint64_to_sysTimestamp(Timestamp64_t ts) noexcept {
    return {.seconds = static_cast<std::uint32_t>(ts / kNanosecondsPerSecond),
            .nanoSeconds = static_cast<std::uint32_t>(ts % kNanosecondsPerSecond)};
}

std::uint32_t al_rand(std::uint32_t* state, std::uint32_t* randmax) noexcept {
    *state = 1103515245U * *state + 12345U;
    *randmax = 32767U;
    return (*state / 65536U) & 0x7FFFU;
}

void al_packZeltaBuffer(AlgoMeasBuffer* measBuffer, std::uint32_t* idx, std::uint32_t channelID,
                        const void* data, std::uint32_t dataSize, FctZeltaGet getFCN) noexcept {
    if (measBuffer == nullptr || idx == nullptr || dataSize == 0 || data == nullptr || getFCN == nullptr) {
        return;
    }
    AlgoMeasBuffer& dataEntry = measBuffer[*idx];
    dataEntry.buffer = data;
    dataEntry.sizeTotal = dataSize;
    dataEntry.channelID = static_cast<std::int32_t>(channelID);
    ++*idx;

    AlgoMeasBuffer& descriptorEntry = measBuffer[*idx];
    std::uint32_t descriptorSize = 0;
    getFCN(&descriptorEntry.buffer, &descriptorSize);
    descriptorEntry.sizeTotal = descriptorSize;
    descriptorEntry.channelID = static_cast<std::int32_t>(channelID + 1);
    ++*idx;
}

void al_convertAbsToRelMovement(float32_t* vxrel, float32_t* vyrel, float32_t* axrel, float32_t* ayrel,
                                float32_t x, float32_t y, float32_t vxog, float32_t vyog, float32_t axog,
                                float32_t ayog, float32_t ev, float32_t eomega) noexcept {
    *vxrel = vxog - ev + y * eomega;
    *vyrel = vyog - eomega * x;
    *axrel = axog + 2.0F * vyog * eomega - eomega * x * eomega;
    *ayrel = ayog + ev * eomega - y * eomega * eomega - 2.0F * eomega * vxog;
}
