// SPDX-License-Identifier: Apache-2.0
//
// Operators new and delete for a whole test program, a plug-in that it loads included: they count, and they
// fail when a test asks for it. A program takes them by naming TestMemory.cpp among its sources.
#pragma once

#include <cstddef>
#include <cstdint>

namespace test_memory {

/** The next allocation throws an int, which is no exception class. */
extern bool g_nextAllocationThrowsANumber;

/** This many allocations succeed, then memory has run out. Undo it before
 * the test framework needs some. */
inline constexpr std::size_t kWithoutEnd = SIZE_MAX;
extern std::size_t g_allocationsLeft;

/** Allocations that failed since somebody set it to 0. */
extern std::size_t g_failedAllocations;

/** New memory is full of 0xA5 bytes. */
extern bool g_newMemoryIsDirty;

/** Allocations and releases since the program started. */
extern std::size_t g_allocations;
extern std::size_t g_releases;

/** Blocks and bytes that were allocated and not given back. */
extern std::size_t g_blocks;
extern std::size_t g_heldBytes;

/** Most bytes held at once, and bytes of the largest allocation, since somebody set them. */
extern std::size_t g_mostHeldBytes;
extern std::size_t g_largestAllocation;

}  // namespace test_memory
