// SPDX-License-Identifier: Apache-2.0
#include "ALpffft.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "ALErrorHandling.h"
#include "ALpffftEngine.h"

namespace {

constexpr char_t kSourceFile[] = "pffft";

constexpr int32_t kLineBelowHeader = 1264;
constexpr int32_t kLineRealLength = 1270;
constexpr int32_t kLineComplexLength = 1271;
constexpr int32_t kLineBelowTables = 1284;

// A setup's header: eighteen integers (the length comes first) and three pointers. The engine asks for it
// first, and then for its tables and room to align them.
constexpr size_t kHeaderBytes = 18 * sizeof(int32_t) + 3 * sizeof(void*);
constexpr size_t kTableAlignment = 64;
constexpr int64_t kBytesBesideTables = 148;
constexpr int32_t kMaxFactors = 13;  ///< as many as the header has room for

int64_t tableBytes(int length, pffft_transform_t transform) noexcept {
    return int64_t{transform == PFFFT_COMPLEX ? length / 4 : length / 8} * 32;
}

/** Whether the engine's factors 4, 2, 3 and 5 make up the length, and its list has room for them. */
bool isFactored(int length) noexcept {
    int rest = length / alpffft::vectorWidth();
    int count = 0;
    for (const int factor : {4, 2, 3, 5}) {
        for (; rest % factor == 0; rest /= factor) {
            ++count;
        }
    }
    return rest == 1 && count <= kMaxFactors;
}

bool isLegal(int length, int multipleOf) noexcept {
    return length > 0 && length % multipleOf == 0 && isFactored(length);
}

/**
 * The buffer of the setup that is being built, with the place of either request. The tables start at a
 * multiple of 64, behind a pointer that the engine leaves there. The header goes behind them where it fits,
 * else before them: with 148 bytes beside the tables one of both fits, however the buffer is aligned.
 */
struct Arena {
    Arena(unsigned char* buffer, int64_t tables) noexcept {
        const auto begin = reinterpret_cast<uintptr_t>(buffer);
        const uintptr_t first = alignUp(begin + sizeof(void*), kTableAlignment);
        const uintptr_t behind = first + static_cast<uintptr_t>(tables);
        const uintptr_t end = begin + static_cast<uintptr_t>(tables + kBytesBesideTables);
        if (end - behind >= kHeaderBytes) {
            header = buffer + (behind - begin);
            table = buffer + (first - begin);
        } else {
            const uintptr_t front = alignUp(begin, alignof(void*));
            header = buffer + (front - begin);
            table = buffer + (alignUp(front + kHeaderBytes + sizeof(void*), kTableAlignment) - begin);
        }
        tableRequest = static_cast<size_t>(tables) + kTableAlignment;
    }

    static uintptr_t alignUp(uintptr_t address, uintptr_t alignment) noexcept {
        return (address + alignment - 1) & ~(alignment - 1);
    }

    /** What the engine's next request for memory gets. */
    void* serve(size_t size) noexcept {
        ++requests;
        if (requests == 1 && size <= kHeaderBytes) {
            return header;
        }
        // The engine goes on to the next multiple of 64 from here.
        return requests == 2 && size <= tableRequest
                   ? reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(table) - kTableAlignment)
                   : nullptr;
    }

    unsigned char* header;
    unsigned char* table;
    size_t tableRequest;
    int requests = 0;
};

// The engine's requests carry no context, so one setup is built at a time. (A variable of the thread would be
// memory that a dynamically loaded library allocates.)
constinit std::atomic_flag g_building = ATOMIC_FLAG_INIT;
constinit Arena* g_arena = nullptr;

void* buildIn(Arena& arena, int length, pffft_transform_t transform) noexcept {
    while (g_building.test_and_set(std::memory_order_acquire)) {
    }
    g_arena = &arena;
    void* const setup = alpffft::newSetup(length, transform == PFFFT_COMPLEX);
    g_arena = nullptr;
    g_building.clear(std::memory_order_release);
    return setup;
}

bool isAligned(const void* address) noexcept {
    return reinterpret_cast<uintptr_t>(address) % 16 == 0;
}

}  // namespace

extern "C" {

void* alpffft_malloc(size_t size) noexcept;
void alpffft_free(void* memory) noexcept;

void* alpffft_malloc(size_t size) noexcept {
    return g_arena != nullptr ? g_arena->serve(size) : nullptr;
}

void alpffft_free(void*) noexcept {
    // The memory stays its owner's.
}
}

int pffft_buffersize(int N, pffft_transform_t transform) noexcept {
    const int64_t size = tableBytes(N > 0 ? N : 0, transform) + kBytesBesideTables;
    constexpr int kMax = std::numeric_limits<int>::max();
    return size < kMax ? static_cast<int>(size) : kMax;
}

int pffft_new_setup(PFFFT_Setup** res, int N, pffft_transform_t transform, unsigned char* buffer,
                    unsigned int bufferSize) noexcept {
    if (res == nullptr || buffer == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (bufferSize < kHeaderBytes) {
        return reportFailure(kSourceFile, nullptr, kLineBelowHeader);
    }
    if (transform != PFFFT_COMPLEX && !isLegal(N, 32)) {
        return reportFailure(kSourceFile, nullptr, kLineRealLength);
    }
    if (transform == PFFFT_COMPLEX && !isLegal(N, 16)) {
        return reportFailure(kSourceFile, nullptr, kLineComplexLength);
    }
    const int64_t tables = tableBytes(N, transform);
    if (bufferSize < tables + kBytesBesideTables) {
        return reportFailure(kSourceFile, nullptr, kLineBelowTables);
    }
    Arena arena(buffer, tables);
    auto* const setup = static_cast<PFFFT_Setup*>(buildIn(arena, N, transform));
    if (setup == nullptr || pffft_setup_length(setup) != N) {
        return reportFailure(kSourceFile);
    }
    *res = setup;
    return 0;
}

int pffft_setup_length(const PFFFT_Setup* setup) noexcept {
    int length = 0;
    std::memcpy(&length, setup, sizeof length);
    return length;
}

int pffft_transform_ordered(PFFFT_Setup* setup, const float* input, float* output, float* work,
                            pffft_direction_t direction) noexcept {
    if (setup == nullptr || input == nullptr || output == nullptr || work != nullptr) {
        return reportFailure(kSourceFile);
    }
    if (!isAligned(input) || !isAligned(output)) {
        return reportFailure(kSourceFile);
    }
    alpffft::transformOrdered(setup, input, output, direction == PFFFT_BACKWARD);
    return 0;
}

int pffft_simd_size() noexcept {
    return alpffft::vectorWidth();
}
