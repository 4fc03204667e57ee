// SPDX-License-Identifier: Apache-2.0
//
// Saves what is good of a damaged recording.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qor/Diagnosis.h"
#include "recording/RecordingWriter.h"
#include "recording/Salvage.h"

namespace qor {

struct Recovered {
    std::size_t packets = 0;  // written
    std::uint64_t bytes = 0;  // written
    std::vector<Finding> lost;
    std::uint64_t lostBytes = 0;
    std::size_t emptyPackets = 0;  // without chunks, left out
};

// Writes the packets whose marks, sizes and definitions are whole, and finishes the writer. Throws
// recording::RecordingError if the bytes cannot be read or the recording cannot be written.
Recovered recover(recording::FileBytes& bytes, recording::RecordingWriter& writer);

}  // namespace qor
