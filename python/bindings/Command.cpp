// SPDX-License-Identifier: Apache-2.0

#include "bindings/Command.h"

#include <pybind11/stl.h>

#include <csignal>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "bindings/PipelineSlot.h"
#include "qor/CommandLine.h"
#include "qor/Interruption.h"
#include "qor/OptionText.h"
#include "qor/Reception.h"

namespace py = pybind11;

namespace bindings {
namespace {

// The command answers signals in its own way; afterwards the interpreter does again.
class SignalsOfTheInterpreter {
 public:
    SignalsOfTheInterpreter() {
        sigaction(SIGINT, nullptr, &interrupt_);
        sigaction(SIGTERM, nullptr, &terminate_);
    }
    ~SignalsOfTheInterpreter() {
        sigaction(SIGINT, &interrupt_, nullptr);
        sigaction(SIGTERM, &terminate_, nullptr);
    }
    SignalsOfTheInterpreter(const SignalsOfTheInterpreter&) = delete;
    SignalsOfTheInterpreter& operator=(const SignalsOfTheInterpreter&) = delete;

 private:
    struct sigaction interrupt_ {};
    struct sigaction terminate_ {};
};

std::vector<const char*> wordsOf(const std::vector<std::string>& arguments) {
    std::vector<const char*> words{"qor"};
    for (const std::string& argument : arguments) {
        words.push_back(argument.c_str());
    }
    return words;
}

// Exit code, document and errors of a line; whether it was interrupted.
py::tuple command(const std::vector<std::string>& arguments, bool usesPipeline) {
    std::optional<PipelineSlot> slot;
    if (usesPipeline) {
        slot.emplace();
    }
    const std::vector<const char*> words = wordsOf(arguments);
    qor::Reception reception;
    int exitCode = 0;
    bool wasInterrupted = false;
    {
        const py::gil_scoped_release released;
        const std::lock_guard<std::mutex> lock(computing());
        const SignalsOfTheInterpreter signals;
        const qor::ScopedReception scope(reception);
        qor::forgetInterruption();
        exitCode = qor::runCommandLine(static_cast<int>(words.size()), words.data());
        wasInterrupted = qor::interrupted();
    }
    return py::make_tuple(exitCode, py::bytes(reception.document), py::bytes(reception.errors),
                          wasInterrupted);
}

// The line as a program of its own, with all that it prints.
int program(const std::vector<std::string>& arguments) {
    const PipelineSlot slot;
    const std::vector<const char*> words = wordsOf(arguments);
    const py::gil_scoped_release released;
    const std::lock_guard<std::mutex> lock(computing());
    return qor::runCommandLine(static_cast<int>(words.size()), words.data());
}

// The options of a subcommand by their name: (takes a value, what separates values in one word). Without a
// separator an option is repeated for each value.
py::dict optionsOfCommand(const std::string& name) {
    int exitCode = 0;
    const std::unique_ptr<CLI::App> app = qor::commandLine(exitCode);
    py::dict options;
    for (const CLI::Option* const option : qor::optionsOf(*app->get_subcommand(name))) {
        const bool takesValue = option->get_items_expected_max() > 0;
        const char delimiter = option->get_delimiter();
        for (const std::string& word : option->get_lnames()) {
            options[py::str(word)] =
                py::make_tuple(takesValue, delimiter == '\0' ? "" : std::string(1, delimiter));
        }
    }
    return options;
}

}  // namespace

void addCommand(py::module_& module) {
    module.def("command", &command, py::arg("arguments"), py::arg("uses_pipeline"));
    module.def("program", &program, py::arg("arguments"));
    module.def("options_of", &optionsOfCommand, py::arg("command"));
}

}  // namespace bindings
