// SPDX-License-Identifier: Apache-2.0
//
// Memory that goes back to what it was, at the cost of the pages that were changed: each block becomes a
// private view of a file in memory that holds its content.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace fuzz {

struct Block {
    void* begin;
    std::size_t size;
};

class Snapshot {
 public:
    /** Keeps the present content of the blocks. */
    explicit Snapshot(const std::vector<Block>& blocks) {
        for (const Block& block : blocks) {
            m_parts.push_back(keep(block));
        }
    }

    void restore() const {
        for (const Part& part : m_parts) {
            restore(part);
        }
        s_shown = this;
    }

 private:
    static constexpr std::uintptr_t kPage = 4096;

    struct Part {
        Block block;
        std::byte* pages;  ///< the whole pages of the block
        std::size_t pageBytes;
        std::vector<std::byte> before;  ///< content of the block before its first whole page
        std::vector<std::byte> after;
        int file;
    };

    static void require(bool condition) {
        if (!condition) {
            std::abort();
        }
    }

    static Part keep(const Block& block) {
        auto* const begin = static_cast<std::byte*>(block.begin);
        auto* const end = begin + block.size;
        auto* const pages = reinterpret_cast<std::byte*>(
            (reinterpret_cast<std::uintptr_t>(begin) + kPage - 1) & ~(kPage - 1));
        auto* const lastPage =
            reinterpret_cast<std::byte*>(reinterpret_cast<std::uintptr_t>(end) & ~(kPage - 1));
        const auto bytes = static_cast<std::size_t>(lastPage - pages);
        const Part part{block, pages, bytes, {begin, pages}, {lastPage, end}, memfd_create("snapshot", 0)};
        require(part.file >= 0);
        for (std::size_t written = 0; written < bytes;) {
            const ssize_t step = write(part.file, pages + written, bytes - written);
            require(step > 0);
            written += static_cast<std::size_t>(step);
        }
        return part;
    }

    void restore(const Part& part) const {
        if (s_shown == this) {
            require(madvise(part.pages, part.pageBytes, MADV_DONTNEED) == 0);
        } else {
            require(mmap(part.pages, part.pageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_FIXED,
                         part.file, 0) == part.pages);
        }
        std::memcpy(part.block.begin, part.before.data(), part.before.size());
        std::memcpy(part.pages + part.pageBytes, part.after.data(), part.after.size());
    }

    static inline const Snapshot* s_shown = nullptr;

    std::vector<Part> m_parts;
};

}  // namespace fuzz
