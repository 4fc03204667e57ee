// SPDX-License-Identifier: Apache-2.0
//
// A file of some bytes, without a disk.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

namespace fuzz {

class MemoryFile {
 public:
    explicit MemoryFile(std::span<const std::uint8_t> bytes) : m_file(memfd_create("input", 0)) {
        while (!bytes.empty()) {
            const ssize_t step = write(m_file, bytes.data(), bytes.size());
            if (step <= 0) {
                std::abort();
            }
            bytes = bytes.subspan(static_cast<std::size_t>(step));
        }
    }
    ~MemoryFile() { close(m_file); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_file); }

 private:
    int m_file;
};

}  // namespace fuzz
