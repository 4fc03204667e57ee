// SPDX-License-Identifier: Apache-2.0
//
// The algorithm exists once in a process. Whoever wants it takes its only place first.

#pragma once

#include <mutex>
#include <stdexcept>

namespace bindings {

// Names the way out.
class PipelineBusy : public std::runtime_error {
 public:
    PipelineBusy();
};

class PipelineSlot {
 public:
    // Throws PipelineBusy if another one lives.
    PipelineSlot();
    ~PipelineSlot();
    PipelineSlot(const PipelineSlot&) = delete;
    PipelineSlot& operator=(const PipelineSlot&) = delete;
};

// Held by whoever computes, without the interpreter lock: the data library and the algorithm run on one
// thread at a time.
std::mutex& computing();

}  // namespace bindings
