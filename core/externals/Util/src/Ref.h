// SPDX-License-Identifier: Apache-2.0
//
// Ref<T>: the pointer members of records that have one layout on every target.
//
// A record that leaves the process has 32-bit pointers, whatever the machine. Where pointers have 32 bits a
// Ref is the pointer itself. Elsewhere it is a 32-bit handle that behaves like one: the number of a 16 MiB
// window of the address space and the offset in it. The windows stand in a small table that is filled as
// pointers are assigned. When a 256th window is needed, the window with the oldest last assignment is
// given up, and handles into it become invalid. Windows of memory that lives as long as the process are
// pinned and never given up (RefPin).
//
// Null is zero bits, so a zeroed record holds null pointers. A stage unpacks its references once, at its top.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

/** Whether a record's member of this type refers to memory outside of the record. */
template <class T>
inline constexpr bool isReference = std::is_pointer_v<T>;

#if UINTPTR_MAX == UINT32_MAX

template <class T>
using Ref = T*;

/** There is nothing to pin where a reference is a pointer. */
struct RefPin {
    RefPin(const void*, std::size_t) noexcept {}
};

#else

namespace refwindows {

inline constexpr unsigned kOffsetBits = 24;
inline constexpr std::uint32_t kOffsetMask = (std::uint32_t{1} << kOffsetBits) - 1;
inline constexpr std::size_t kTableSize = std::size_t{1} << (32 - kOffsetBits);

/** First address of each window. Entry 0 stays 0, so that the zero handle decodes to null without a test. */
extern std::atomic<std::uintptr_t> g_base[kTableSize];

/** The handle of an address; enters its window into the table. May be called from any thread. */
std::uint32_t encode(const void* address) noexcept;

/** The address of a handle. May be called from any thread that saw the assignment. */
inline std::uintptr_t decode(std::uint32_t handle) noexcept {
    return g_base[handle >> kOffsetBits].load(std::memory_order_relaxed) + (handle & kOffsetMask);
}

}  // namespace refwindows

template <class T>
class Ref {
 public:
    Ref() noexcept = default;
    Ref(T* pointer) noexcept : handle_(refwindows::encode(pointer)) {}

    /** Converts as its pointer does, for example to a pointer to constant data. */
    template <class U>
    requires std::is_convertible_v<U*, T*> Ref(const Ref<U>& other)
    noexcept : Ref(other.get()) {}

    T* get() const noexcept { return reinterpret_cast<T*>(refwindows::decode(handle_)); }

    // The conversion serves *, [], comparisons and conditions as well.
    operator T*() const noexcept { return get(); }
    T* operator->() const noexcept { return get(); }

 private:
    std::uint32_t handle_;
};

template <class T>
inline constexpr bool isReference<Ref<T>> = true;

/** Pins the windows of a stretch of memory for the life of the process: they are
 * entered now and never given up. */
struct RefPin {
    RefPin(const void* begin, std::size_t size) noexcept;
};

#endif

static_assert(sizeof(Ref<int>) == 4 && alignof(Ref<int>) == 4,
              "pointer members take four bytes on every target");
