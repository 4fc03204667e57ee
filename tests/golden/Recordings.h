// SPDX-License-Identifier: Apache-2.0
//
// The recordings whose results are kept as hashes. Together they enter every rule of the pipeline that
// a host can reach from outside.
#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "Layouts.h"

namespace golden {

using host_testing::Bytes;

/** One call of the host. */
struct Step {
    Bytes packet;  ///< empty: no packet, but a new algorithm in place of the present one
    bool fromCustomPin = false;
};

struct Recording {
    std::string name;
    std::function<std::vector<Step>()> make;
};

/** Tests show a recording by its name. */
inline void PrintTo(const Recording& recording, std::ostream* out) {
    *out << recording.name;
}

/** In a fixed order, with names that differ. */
const std::vector<Recording>& recordings();

/** A hash of the records that a recording brings, whatever their compressed definitions look like. */
std::uint64_t hashOfInput(const std::vector<Step>& steps);

}  // namespace golden
