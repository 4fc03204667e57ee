// SPDX-License-Identifier: Apache-2.0
//
// The members of a record by its definition: what a program without knowledge of records can say about each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "PacketZelta.h"

namespace golden {

enum class Kind {
    Integer,
    Float,  ///< of four bytes
    Text,   ///< of an error report: file names and line numbers move with the source
    Masked  ///< line numbers of error reports
};

/** Neighbouring elements of one number. */
struct Run {
    std::size_t member = 0;  ///< index of the leaf
    std::size_t offset = 0;  ///< bytes from the start of the record
    std::size_t count = 0;
    unsigned int size = 0;  ///< of an element
    Kind kind = Kind::Integer;
};

struct Members {
    std::vector<std::string> leaves;  ///< paths below the record, without indices: `matrices.distance`
    std::vector<Run> runs;            ///< of all elements of all leaves; bytes that no run covers are padding
};

/** Of the record that a definition describes; made once for each definition. */
const Members& membersOf(const ZeltaChunk& chunk);

}  // namespace golden
