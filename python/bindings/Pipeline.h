// SPDX-License-Identifier: Apache-2.0
//
// The algorithm in this process: packets in, result packets out, the same road as that of the command.

#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bindings/PacketFile.h"
#include "bindings/PipelineSlot.h"
#include "plugin/FrameGuard.h"
#include "plugin/Plugin.h"
#include "qor/Override.h"

namespace bindings {

class Pipeline {
 public:
    // `settings` are texts as --set takes them. Throws PipelineBusy, plugin::PluginError,
    // recording::RecordError.
    Pipeline(const std::string& plugin, const std::vector<std::string>& settings, bool longForm);

    struct Answer {
        std::shared_ptr<PacketBytes> result;  // null if the call left none
        std::vector<std::string> losses;      // sentences about images that are missing
        std::optional<std::string> error;     // of a stage without which the frame went on
    };

    // Needs no interpreter lock. Throws plugin::PluginError, recording::RecordError,
    // recording::RecordingError.
    Answer process(const PacketBytes& packet);

    // The first override whose record did not come yet; empty if there is none.
    std::string missingOverride() const;

    std::string version() const { return plugin_.version(); }
    std::string path() const { return plugin_.path().string(); }

 private:
    bool feed(const PacketBytes& packet);

    PipelineSlot slot_;
    plugin::Plugin plugin_;
    std::vector<std::string> losses_;
    plugin::FrameGuard guard_;
    std::vector<qor::Override> overrides_;
    std::vector<bool> found_;  // the record of each override came
    bool longForm_;
    std::size_t results_ = 0;
};

void addPipeline(pybind11::module_& module);

}  // namespace bindings
