// SPDX-License-Identifier: Apache-2.0
#include "TestMemory.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace test_memory {

bool g_nextAllocationThrowsANumber = false;
std::size_t g_allocationsLeft = kWithoutEnd;
std::size_t g_failedAllocations = 0;
bool g_newMemoryIsDirty = false;
std::size_t g_allocations = 0;
std::size_t g_releases = 0;
std::size_t g_blocks = 0;
std::size_t g_heldBytes = 0;
std::size_t g_mostHeldBytes = 0;
std::size_t g_largestAllocation = 0;

namespace {

/// Null if memory has run out.
void* take(std::size_t size) {
    if (g_allocationsLeft == 0) {
        ++g_failedAllocations;
        return nullptr;
    }
    if (g_allocationsLeft != kWithoutEnd) {
        --g_allocationsLeft;
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        return nullptr;
    }
    ++g_allocations;
    ++g_blocks;
    g_largestAllocation = std::max(g_largestAllocation, size);
    g_heldBytes += malloc_usable_size(memory);
    g_mostHeldBytes = std::max(g_mostHeldBytes, g_heldBytes);
    if (g_newMemoryIsDirty) {
        std::memset(memory, 0xA5, size);
    }
    return memory;
}

void* takeOrThrow(std::size_t size) {
    if (g_nextAllocationThrowsANumber) {
        g_nextAllocationThrowsANumber = false;
        throw 42;
    }
    if (void* const memory = take(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void give(void* memory) {
    if (memory == nullptr) {
        return;
    }
    ++g_releases;
    --g_blocks;
    g_heldBytes -= malloc_usable_size(memory);
    std::free(memory);
}

}  // namespace
}  // namespace test_memory

// All forms: a sanitizer would replace the ones that are missing, and a block may come from one and go to
// another.
void* operator new(std::size_t size) {
    return test_memory::takeOrThrow(size);
}
void* operator new[](std::size_t size) {
    return test_memory::takeOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return test_memory::take(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return test_memory::take(size);
}
void operator delete(void* memory) noexcept {
    test_memory::give(memory);
}
void operator delete[](void* memory) noexcept {
    test_memory::give(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    test_memory::give(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    test_memory::give(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    test_memory::give(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    test_memory::give(memory);
}
