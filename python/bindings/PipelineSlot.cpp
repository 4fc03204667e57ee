// SPDX-License-Identifier: Apache-2.0

#include "bindings/PipelineSlot.h"

#include <atomic>

namespace bindings {
namespace {

std::atomic<bool> taken = false;

}  // namespace

PipelineBusy::PipelineBusy()
    : std::runtime_error(
          "This process has a pipeline already, and there is one in a process. End that one (its close(), or "
          "a "
          "with block), or work in processes of their own: qor.run(recordings, output, processes=N).") {}

PipelineSlot::PipelineSlot() {
    if (taken.exchange(true)) {
        throw PipelineBusy();
    }
}

PipelineSlot::~PipelineSlot() {
    taken = false;
}

std::mutex& computing() {
    static std::mutex mutex;
    return mutex;
}

}  // namespace bindings
