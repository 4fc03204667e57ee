// SPDX-License-Identifier: Apache-2.0

#include "qor/Checksum.h"

#include <fmt/format.h>
#include <xxhash.h>

#include <new>

namespace qor {

void Checksum::Free::operator()(XXH3_state_s* state) const {
    XXH3_freeState(state);
}

Checksum::Checksum() : state_(XXH3_createState()) {
    if (!state_) {
        throw std::bad_alloc();
    }
    XXH3_64bits_reset(state_.get());
}

void Checksum::add(const void* bytes, std::size_t size) {
    XXH3_64bits_update(state_.get(), bytes, size);
}

std::string Checksum::text() const {
    return fmt::format("{:016x}", XXH3_64bits_digest(state_.get()));
}

}  // namespace qor
