// SPDX-License-Identifier: Apache-2.0
//
// An allocator for a whole test program, the plug-in that it loads included: it counts, and it fails in an
// uncommon way when a test asks for it.
#pragma once

#include <cstddef>

namespace host_testing {

/** The next allocation throws an int, which is no exception class. */
extern bool g_nextAllocationThrowsANumber;

/** New memory is full of 0xA5 bytes. */
extern bool g_newMemoryIsDirty;

/** Allocations since the program started. */
extern std::size_t g_allocations;

}  // namespace host_testing
