// SPDX-License-Identifier: Apache-2.0
// The lock of the library. It marks the places where a lock stands; today it does nothing.
#pragma once

#include <cstdint>

namespace zelta {

/// A lock that costs nothing: the library runs on one thread at a time. Every reference count and every cache
/// is nevertheless entered through it, so that a real lock needs a change of this class alone. It has to be
/// recursive, as the helpers of PacketZelta.h hold it while they call each other.
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
