// SPDX-License-Identifier: Apache-2.0
// The lock of the library. It marks where locks belong; today it does nothing.
#pragma once

#include <cstdint>

namespace zelta {

/// A lock that costs nothing: the library runs on one thread at a time. Every access to a reference count or
/// a cache still goes through it, so a real lock needs a change of this class alone. That lock must be
/// recursive: the helpers of PacketZelta.h hold it while they call each other.
class Mutex {
 public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() noexcept {}
    void unlock() noexcept {}

 private:
    [[maybe_unused]] std::uint32_t m_state = 0;
};

/// Guards the caches of PacketZelta.h.
extern Mutex mutex;

}  // namespace zelta
