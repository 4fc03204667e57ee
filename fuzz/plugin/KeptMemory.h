// SPDX-License-Identifier: Apache-2.0
//
// Memory that is used again for each packet. New memory of that size costs more than the plug-in does with
// the packet, as the system clears its pages. What lies beyond the packet is out of bounds for the address
// sanitizer all the same.
#pragma once

#include <sanitizer/asan_interface.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace fuzz {

class KeptMemory {
 public:
    std::span<std::uint8_t> ofSize(std::size_t size) {
        ASAN_UNPOISON_MEMORY_REGION(m_bytes.data(), m_bytes.size());
        if (size > m_bytes.size()) {
            m_bytes.resize(size);
        }
        ASAN_POISON_MEMORY_REGION(m_bytes.data() + size, m_bytes.size() - size);
        return {m_bytes.data(), size};
    }

    ~KeptMemory() { ASAN_UNPOISON_MEMORY_REGION(m_bytes.data(), m_bytes.size()); }
    KeptMemory() = default;
    KeptMemory(const KeptMemory&) = delete;
    KeptMemory& operator=(const KeptMemory&) = delete;

 private:
    std::vector<std::uint8_t> m_bytes;
};

}  // namespace fuzz
