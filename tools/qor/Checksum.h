// SPDX-License-Identifier: Apache-2.0
//
// Checksums of bytes that come in parts: XXH3 in 64 bits, which xxhsum -H3 computes as well.

#pragma once

#include <cstddef>
#include <memory>
#include <string>

struct XXH3_state_s;

namespace qor {

class Checksum {
 public:
    Checksum();

    void add(const void* bytes, std::size_t size);

    // 16 hexadecimal digits.
    std::string text() const;

 private:
    struct Free {
        void operator()(XXH3_state_s* state) const;
    };

    std::unique_ptr<XXH3_state_s, Free> state_;
};

}  // namespace qor
