// SPDX-License-Identifier: Apache-2.0

#include "bindings/Pipeline.h"

#include <pybind11/stl.h>

#include <mutex>
#include <span>
#include <utility>

#include "qor/Expression.h"
#include "qor/ResultFrame.h"
#include "recording/Channels.h"
#include "recording/Record.h"

namespace py = pybind11;

namespace bindings {
namespace {

std::vector<qor::Override> overridesOf(const std::vector<std::string>& settings) {
    std::vector<qor::Override> overrides;
    for (const std::string& text : settings) {
        std::optional<qor::Override> change = qor::readOverride(text);
        if (!change) {
            throw recording::RecordError(qor::checkOverride(text) + ".");
        }
        if (const std::string fault = qor::checkSyntax(change->expression); !fault.empty()) {
            throw recording::RecordError("settings: " + fault);
        }
        change->origin = "settings";
        overrides.push_back(std::move(*change));
    }
    return overrides;
}

std::string pluginPath(const std::string& named) {
    return named.empty() ? plugin::defaultPlugin().string() : named;
}

// What the pipeline gave for a packet: (packet of results or None, sentences on losses, error of a stage or
// None).
py::tuple processed(Pipeline& pipeline, const std::shared_ptr<PacketBytes>& packet) {
    Pipeline::Answer answer;
    {
        const py::gil_scoped_release released;
        const std::lock_guard<std::mutex> lock(computing());
        answer = pipeline.process(*packet);
    }
    return py::make_tuple(std::move(answer.result), std::move(answer.losses), std::move(answer.error));
}

}  // namespace

Pipeline::Pipeline(const std::string& plugin, const std::vector<std::string>& settings, bool longForm)
    : plugin_(pluginPath(plugin)),
      guard_(plugin_, [this](const std::string& sentence) { losses_.push_back(sentence); }),
      overrides_(overridesOf(settings)),
      found_(overrides_.size(), false),
      longForm_(longForm) {}

Pipeline::Answer Pipeline::process(const PacketBytes& packet) {
    losses_.clear();
    Answer answer;
    const bool passedOn = feed(packet);
    answer.losses = losses_;
    if (!passedOn) {
        return answer;
    }
    auto bytes = std::make_shared<std::vector<std::uint8_t>>(plugin_.result(!longForm_));
    if (bytes->empty()) {
        return answer;
    }
    const std::span<const std::uint8_t> span(*bytes);
    answer.result = std::make_shared<PacketBytes>(std::move(bytes), span, results_++, 0);
    answer.error = qor::errorIn(answer.result->chunks());
    return answer;
}

// False if the guard holds the packet back.
bool Pipeline::feed(const PacketBytes& packet) {
    const bool fromCustomPin =
        recording::findChunk(packet.chunks(), recording::channel::customization) != nullptr;
    if (overrides_.empty()) {
        return guard_.process(packet.bytes(), packet.chunks(), fromCustomPin);
    }
    std::vector<std::uint8_t> copy(packet.bytes().begin(), packet.bytes().end());
    recording::RecordedPacket changed{packet.index(), packet.offset(), copy, {}};
    zelta::packet_parse(copy.data(), static_cast<int>(copy.size()), changed.chunks);
    const std::vector<bool> found = qor::applyOverrides(overrides_, changed);
    for (std::size_t k = 0; k < found.size(); ++k) {
        found_[k] = found_[k] || found[k];
    }
    return guard_.process(copy, changed.chunks, fromCustomPin);
}

std::string Pipeline::missingOverride() const {
    for (std::size_t k = 0; k < found_.size(); ++k) {
        if (!found_[k]) {
            return "settings: no packet so far holds a record " + overrides_[k].recordName() + ", which " +
                   overrides_[k].text() + " names.";
        }
    }
    return "";
}

void addPipeline(py::module_& module) {
    py::class_<Pipeline>(module, "Pipeline")
        .def(py::init<const std::string&, const std::vector<std::string>&, bool>(), py::arg("plugin"),
             py::arg("settings"), py::arg("long_form"))
        .def("process", &processed, py::arg("packet"))
        .def("missing_override", &Pipeline::missingOverride)
        .def_property_readonly("version", &Pipeline::version)
        .def_property_readonly("path", &Pipeline::path);
}

}  // namespace bindings
