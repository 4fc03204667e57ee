// SPDX-License-Identifier: Apache-2.0
//
// A record and a description that the compiler is asked to accept or to refuse; MEMBERS is the list given.
// The last two members lie within the padding of one word, so leaving out the last changes no size.
#include <cstdint>

#include "ALDescribe.h"

struct Described {
    std::int32_t number;
    std::uint8_t flag;
    std::uint8_t tail;
};
AL_DESCRIBE(Described, MEMBERS)
