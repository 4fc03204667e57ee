// SPDX-License-Identifier: Apache-2.0
//
// Bytes that end, or begin, at a memory page that no one may touch: a read beyond them stops the test, with
// or without a sanitizer.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace testing_support {

class GuardedBytes {
 public:
    /** `guardBehind`: the guard follows the last byte, else it precedes the first. */
    GuardedBytes(size_t size, bool guardBehind) {
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t body = (size + page - 1) / page * page;
        mappedSize_ = body + 2 * page;
        void* const mapped =
            mmap(nullptr, mappedSize_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapped == MAP_FAILED) {
            ADD_FAILURE() << "no memory";
            return;
        }
        mapped_ = static_cast<uint8_t*>(mapped);
        EXPECT_EQ(mprotect(mapped_, page, PROT_NONE), 0);
        EXPECT_EQ(mprotect(mapped_ + page + body, page, PROT_NONE), 0);
        data_ = mapped_ + page + (guardBehind ? body - size : 0);
    }
    ~GuardedBytes() {
        if (mapped_ != nullptr) {
            munmap(mapped_, mappedSize_);
        }
    }
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;

    uint8_t* data() const { return data_; }

 private:
    size_t mappedSize_ = 0;
    uint8_t* mapped_ = nullptr;
    uint8_t* data_ = nullptr;
};

}  // namespace testing_support
