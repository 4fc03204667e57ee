// SPDX-License-Identifier: Apache-2.0
#include "Allocator.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace host_testing {

bool g_nextAllocationThrowsANumber = false;
std::size_t g_allocationsLeft = kMemoryWithoutEnd;
std::size_t g_failedAllocations = 0;
bool g_newMemoryIsDirty = false;
std::size_t g_allocations = 0;
std::size_t g_blocks = 0;
std::size_t g_largestAllocation = 0;

namespace {

void* take(std::size_t size) {
    if (g_allocationsLeft == 0) {
        ++g_failedAllocations;
        return nullptr;
    }
    if (g_allocationsLeft != kMemoryWithoutEnd) {
        --g_allocationsLeft;
    }
    ++g_allocations;
    g_largestAllocation = std::max(g_largestAllocation, size);
    void* const memory = std::malloc(size == 0 ? 1 : size);
    g_blocks += memory != nullptr ? 1 : 0;
    return memory;
}

void give(void* memory) {
    g_blocks -= memory != nullptr ? 1 : 0;
    std::free(memory);
}

}  // namespace
}  // namespace host_testing

// Otherwise a sanitizer alone would replace these: a block may come from one and go to another.
void* operator new(std::size_t size) {
    if (host_testing::g_nextAllocationThrowsANumber) {
        host_testing::g_nextAllocationThrowsANumber = false;
        throw 42;
    }
    void* const memory = host_testing::take(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    if (host_testing::g_newMemoryIsDirty) {
        std::memset(memory, 0xA5, size);
    }
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return host_testing::take(size);
}

void operator delete(void* memory) noexcept {
    host_testing::give(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    host_testing::give(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    host_testing::give(memory);
}
