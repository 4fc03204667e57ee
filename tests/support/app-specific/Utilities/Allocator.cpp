// SPDX-License-Identifier: Apache-2.0
#include "Allocator.h"

#include <cstdlib>
#include <new>

namespace host_testing {

bool g_nextAllocationThrowsANumber = false;
std::size_t g_allocations = 0;

}  // namespace host_testing

void* operator new(std::size_t size) {
    if (host_testing::g_nextAllocationThrowsANumber) {
        host_testing::g_nextAllocationThrowsANumber = false;
        throw 42;
    }
    ++host_testing::g_allocations;
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
