// SPDX-License-Identifier: Apache-2.0
//
// The host's thread and mutex services, built on the standard library. They count calls,
// and fail when a test asks for it.
#pragma once

#include <array>
#include <mutex>
#include <thread>

#include "ALErrorHandling.h"

namespace testing_support {

/** The one set of workers. The service functions carry no context and know only this one. */
class ThreadServices {
 public:
    ThreadServices() {
        s_instance = this;
        ErrorHandling_InitThreadSafety(
            0,
            [](alif_int32_t) {
                s_instance->errorMutex_.lock();
                return alif_int32_t{0};
            },
            [](alif_int32_t) {
                s_instance->errorMutex_.unlock();
                return alif_int32_t{0};
            });
    }
    ~ThreadServices() {
        joinAll();
        ErrorHandling_InitThreadSafety(0, nullptr, nullptr);
        s_instance = nullptr;
    }
    ThreadServices(const ThreadServices&) = delete;
    ThreadServices& operator=(const ThreadServices&) = delete;

    static alif_int32_t create(FctThreadFunc fn, void* arg, alif_int32_t* handle) {
        ThreadServices& self = *s_instance;
        if (self.created == self.createFailsAt || self.created == static_cast<int>(self.threads_.size())) {
            return 1;
        }
        self.threads_[static_cast<size_t>(self.created)] = std::thread([fn, arg] { fn(arg); });
        *handle = kFirstHandle + self.created;
        ++self.created;
        return 0;
    }

    static alif_int32_t join(alif_int32_t handle) {
        ThreadServices& self = *s_instance;
        if (self.joinCalls_++ == self.joinFailsAt) {
            return 1;
        }
        std::thread& thread = self.threads_.at(static_cast<size_t>(handle - kFirstHandle));
        if (!thread.joinable()) {
            return 1;
        }
        thread.join();
        ++self.joined;
        return 0;
    }

    /** Waits for the workers that nobody joined, and starts to count anew. */
    void joinAll() {
        for (std::thread& thread : threads_) {
            if (thread.joinable()) {
                thread.join();
            }
        }
        created = 0;
        joined = 0;
        joinCalls_ = 0;
    }

    int created = 0;
    int joined = 0;
    int createFailsAt = -1;  ///< how many workers start before the service fails; -1: it never fails
    int joinFailsAt = -1;    ///< the call of the service that fails; -1: none

 private:
    int joinCalls_ = 0;
    static constexpr alif_int32_t kFirstHandle = 100;
    static inline ThreadServices* s_instance = nullptr;
    std::array<std::thread, 32> threads_;
    std::mutex errorMutex_;
};

/** The host's mutex services over one real mutex. They count calls, and fail when a test asks for it. */
class MutexServices {
 public:
    MutexServices() { s_instance = this; }
    ~MutexServices() { s_instance = nullptr; }
    MutexServices(const MutexServices&) = delete;
    MutexServices& operator=(const MutexServices&) = delete;

    static constexpr alif_int32_t kHandle = 77;

    static alif_int32_t create(alif_int32_t* handle) {
        if (s_instance->createFails) {
            return 1;
        }
        *handle = kHandle;
        ++s_instance->created;
        return 0;
    }

    static alif_int32_t destroy(alif_int32_t handle) {
        if (s_instance->destroyFails || handle != kHandle) {
            return 1;
        }
        ++s_instance->destroyed;
        return 0;
    }

    static alif_int32_t lock(alif_int32_t handle) {
        if (handle != kHandle) {
            return 1;
        }
        s_instance->mutex_.lock();
        ++s_instance->locked;
        return 0;
    }

    static alif_int32_t unlock(alif_int32_t handle) {
        if (handle != kHandle) {
            return 1;
        }
        ++s_instance->unlocked;
        s_instance->mutex_.unlock();
        return 0;
    }

    int created = 0;
    int destroyed = 0;
    int locked = 0;  ///< changed under the mutex only
    int unlocked = 0;
    bool createFails = false;
    bool destroyFails = false;

 private:
    static inline MutexServices* s_instance = nullptr;
    std::mutex mutex_;
};

}  // namespace testing_support
