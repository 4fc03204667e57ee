// SPDX-License-Identifier: Apache-2.0
//
// The module qor._qor: what the package qor needs of the libraries of the tools. Users meet the package.

#include <dlfcn.h>
#include <pybind11/pybind11.h>

#include <filesystem>
#include <stdexcept>

#include "bindings/Command.h"
#include "bindings/Definition.h"
#include "bindings/Images.h"
#include "bindings/PacketFile.h"
#include "bindings/Pipeline.h"
#include "bindings/PipelineSlot.h"
#include "plugin/HostSettings.h"
#include "plugin/Plugin.h"
#include "recording/Record.h"
#include "recording/RecordingError.h"

namespace py = pybind11;

namespace {

int anchor = 0;

// The plug-in of this package: in the build tree, or where it is installed.
void findPlugin() {
    Dl_info here{};
    if (dladdr(&anchor, &here) == 0) {
        return;
    }
    const std::filesystem::path folder =
        std::filesystem::absolute(std::filesystem::path(here.dli_fname)).parent_path();
    plugin::searchPluginIn({folder, folder / "../../lib", folder / QOR_LIBRARY_FOLDER});
}

void addErrors(py::module_& module) {
    static py::exception<std::runtime_error> error(module, "Error", PyExc_RuntimeError);
    const py::handle base = error;
    py::register_exception<recording::RecordingError>(module, "RecordingError", base);
    py::register_exception<recording::RecordError>(module, "RecordError", base);
    py::register_exception<plugin::PluginError>(module, "PipelineError", base);
    py::register_exception<bindings::PipelineBusy>(module, "PipelineBusy", base);
}

}  // namespace

PYBIND11_MODULE(_qor, module) {
    module.doc() = "The libraries of the tools, for the package qor";
    module.attr("__version__") = QOR_VERSION;
    addErrors(module);
    plugin::keepStandardOutput();
    findPlugin();
    bindings::addDefinition(module);
    bindings::addPacketFile(module);
    bindings::addImages(module);
    bindings::addPipeline(module);
    bindings::addCommand(module);
}
