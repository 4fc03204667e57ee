// SPDX-License-Identifier: Apache-2.0
//
// What a process holds of the machine: memory and open files.
#pragma once

#include <cstddef>

namespace golden {

struct Footprint {
    std::size_t resident = 0;  ///< bytes
    std::size_t inUse = 0;     ///< bytes that the heap has given out
    int files = 0;
};

Footprint footprint();

/** Large buffers go back to the system when they are freed, so that they do not count as held. */
void returnLargeBuffers();

/** Counts all static memory as held from now on: pages that only rare settings use would look like growth. */
void touchStaticMemory();

/** What the heap has free goes back to the system as far as it can, so that it does not count as held. */
void returnFreeMemory();

}  // namespace golden
