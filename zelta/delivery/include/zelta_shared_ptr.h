// SPDX-License-Identifier: Apache-2.0
// The reference-counted pointer in which types, plans, interpreters and buffers travel.
#pragma once

#include <cassert>
#include <cstdint>
#include <mutex>
#include <new>

#include "zelta_mutex.h"

namespace zelta {

/// How many pointers share one object. Made with a count of 1.
class shared_ptr_ref_counter {
 public:
    shared_ptr_ref_counter& operator++() noexcept {
        const std::lock_guard<Mutex> guard(m_mutex);
        ++m_count;
        return *this;
    }

    shared_ptr_ref_counter& operator--() noexcept {
        const std::lock_guard<Mutex> guard(m_mutex);
        --m_count;
        return *this;
    }

    std::uint32_t count() noexcept {
        const std::lock_guard<Mutex> guard(m_mutex);
        return m_count;
    }

    /// Ends a counter that has reached 0, once nobody is inside its lock any more.
    static void end(shared_ptr_ref_counter* counter) noexcept;

 private:
    std::uint32_t m_count = 1;
    Mutex m_mutex;
};

/// Ends the life of one object of type T; a null pointer is ignored.
template <typename T>
void destroy_object(void* object) {
    delete static_cast<T*>(object);
}

/// Byte buffers come from `operator new(size)`, so they go back without a size.
template <>
inline void destroy_object<unsigned char>(void* object) {
    ::operator delete(object);
}

/// Shared ownership of one object. Every pointer, even an empty one, owns a counter: making one allocates,
/// copying does not. The destroyer is kept beside the object, so the last owner need not know its type.
template <typename T>
class shared_ptr {
 public:
    shared_ptr() : m_object(nullptr), m_counter(new shared_ptr_ref_counter), m_destroyer(nullptr) {}

    /// Takes ownership of `object`, even if this throws std::bad_alloc.
    explicit shared_ptr(T* object)
        : m_object(object), m_counter(makeCounterFor(object)), m_destroyer(&destroy_object<T>) {}

    shared_ptr(const shared_ptr& other) noexcept
        : m_object(other.m_object), m_counter(other.m_counter), m_destroyer(other.m_destroyer) {
        ++*m_counter;
    }

    /// An empty source leaves the old destroyer in place: there is no object to apply it to.
    shared_ptr& operator=(const shared_ptr& other) noexcept {
        if (this == &other) {
            return *this;
        }
        shared_ptr_ref_counter* const counter = other.m_counter;
        T* const object = other.m_object;
        const Destroyer destroyer = other.m_destroyer;
        ++*counter;  // first: the source may live inside the object that is released
        release();
        m_object = object;
        m_counter = counter;
        if (destroyer != nullptr) {
            m_destroyer = destroyer;
        }
        return *this;
    }

    ~shared_ptr() { release(); }

    T* get() const noexcept { return m_object; }
    T& operator*() const noexcept { return *m_object; }
    T* operator->() const noexcept { return m_object; }
    explicit operator bool() const noexcept { return m_object != nullptr; }

 private:
    using Destroyer = void (*)(void*);

    static void* untyped(T* object) noexcept { return const_cast<void*>(static_cast<const void*>(object)); }

    static shared_ptr_ref_counter* makeCounterFor(T* object) {
        try {
            return new shared_ptr_ref_counter;
        } catch (...) {
            destroy_object<T>(untyped(object));
            throw;
        }
    }

    /// The counter is destroyed before the object.
    void release() {
        --*m_counter;
        if (m_counter->count() != 0) {
            return;
        }
        shared_ptr_ref_counter::end(m_counter);
        if (m_object != nullptr) {
            assert(m_destroyer != 0);  // NOLINT(modernize-use-nullptr)
            static_assert(__LINE__ == 118, "line 117 is part of the text that users see of the assertion");
            m_destroyer(untyped(m_object));
        }
    }

    T* m_object;
    shared_ptr_ref_counter* m_counter;
    Destroyer m_destroyer;
};

/// Two pointers are equal when they point to the same object.
template <typename T>
bool operator==(const shared_ptr<T>& a, const shared_ptr<T>& b) noexcept {
    return a.get() == b.get();
}

}  // namespace zelta
