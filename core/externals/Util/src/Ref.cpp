// SPDX-License-Identifier: Apache-2.0
//
// The table of address windows that Ref uses.
#include "Ref.h"

#if UINTPTR_MAX != UINT32_MAX

namespace refwindows {

constinit std::atomic<std::uintptr_t> g_base[kTableSize] = {};

namespace {

// Written under the lock only. Readers of g_base need no lock: an entry changes
// only when its window is given up.
constinit std::atomic_flag g_lock = ATOMIC_FLAG_INIT;
constinit std::uint64_t g_assignments = 0;  // all assignments so far
constinit std::uint64_t g_lastAssignment[kTableSize] =
    {};  // value of g_assignments when the window was last assigned
constinit bool g_pinned[kTableSize] = {};

class TableLock {
 public:
    TableLock() noexcept {
        while (g_lock.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~TableLock() { g_lock.clear(std::memory_order_release); }
    TableLock(const TableLock&) = delete;
    TableLock& operator=(const TableLock&) = delete;
};

/** The entry that holds `base`, else the first free one, else the one assigned longest ago; 0 if every window
 * is pinned. */
std::size_t findWindow(std::uintptr_t base) noexcept {
    std::size_t oldest = 0;
    for (std::size_t i = 1; i < kTableSize; ++i) {
        const bool free = g_lastAssignment[i] == 0;  // base 0 is an ordinary window, the first of all
        if (free || g_base[i].load(std::memory_order_relaxed) == base) {
            return i;
        }
        if (!g_pinned[i] && (oldest == 0 || g_lastAssignment[i] < g_lastAssignment[oldest])) {
            oldest = i;
        }
    }
    return oldest;
}

/** Enters the window at `base`; the lock is held. */
std::size_t enterWindow(std::uintptr_t base) noexcept {
    const std::size_t window = findWindow(base);
    if (window != 0) {
        g_base[window].store(base, std::memory_order_relaxed);
        g_lastAssignment[window] = ++g_assignments;
    }
    return window;
}

}  // namespace

std::uint32_t encode(const void* address) noexcept {
    const auto bits = reinterpret_cast<std::uintptr_t>(address);
    const std::uintptr_t base = bits & ~std::uintptr_t{kOffsetMask};
    if (bits == 0) {
        return 0;
    }
    const TableLock lock;
    const auto window = static_cast<std::uint32_t>(enterWindow(base));
    return window == 0 ? 0 : (window << kOffsetBits) | static_cast<std::uint32_t>(bits & kOffsetMask);
}

}  // namespace refwindows

RefPin::RefPin(const void* begin, std::size_t size) noexcept {
    using namespace refwindows;
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(begin) & ~std::uintptr_t{kOffsetMask};
    const std::uintptr_t end = reinterpret_cast<std::uintptr_t>(begin) + size;
    const TableLock lock;
    for (std::uintptr_t base = first; base < end; base += std::uintptr_t{1} << kOffsetBits) {
        g_pinned[enterWindow(base)] = true;
    }
}

#endif
