// SPDX-License-Identifier: Apache-2.0
//
// Arbitrary bytes in a record, as the fuzzer's bytes say: place, 3 bytes little-endian; number of bytes, 1
// byte; and these bytes. What is cut off reads as 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Session.h"

namespace fuzz {

inline void overwrite(void* record, std::size_t size, SessionReader& reader) {
    while (!reader.atEnd()) {
        const std::size_t place = reader.number(3) % size;
        const std::vector<std::uint8_t> bytes = reader.block(reader.number(1));
        const std::size_t count = bytes.size() < size - place ? bytes.size() : size - place;
        if (count > 0) {
            std::memcpy(static_cast<std::uint8_t*>(record) + place, bytes.data(), count);
        }
    }
}

}  // namespace fuzz
