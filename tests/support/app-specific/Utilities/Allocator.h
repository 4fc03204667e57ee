// SPDX-License-Identifier: Apache-2.0
//
// An allocator for a whole test program, the plug-in that it loads included: it counts, and it fails when a
// test asks for it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace host_testing {

/** The next allocation throws an int, which is no exception class. */
extern bool g_nextAllocationThrowsANumber;

/** This many allocations succeed, then memory has run out. Undo it before
 * the test framework needs some. */
inline constexpr std::size_t kMemoryWithoutEnd = SIZE_MAX;
extern std::size_t g_allocationsLeft;

/** Allocations that failed since somebody set it to 0. */
extern std::size_t g_failedAllocations;

/** New memory is full of 0xA5 bytes. */
extern bool g_newMemoryIsDirty;

/** Allocations since the program started. */
extern std::size_t g_allocations;

/** Blocks that were allocated and not given back. */
extern std::size_t g_blocks;

/** Bytes of the largest allocation since somebody set it to 0. */
extern std::size_t g_largestAllocation;

}  // namespace host_testing
