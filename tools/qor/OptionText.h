// SPDX-License-Identifier: Apache-2.0
//
// What the definition of the command line says about commands and options, for texts that are made from it:
// manual pages and completions.

#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace qor {

// The subcommands that users see, in the order in which they were added.
std::vector<const CLI::App*> visibleCommands(const CLI::App& app);

// A command and all below it: "calibration", "calibration show".
struct NamedCommand {
    std::string path;  // as it is typed after qor
    const CLI::App* command;
    std::vector<const CLI::App*> below;
};

// All of them, each before those below it.
std::vector<NamedCommand> allCommands(const CLI::App& app);

// Options, or the arguments without a dash.
std::vector<const CLI::Option*> optionsOf(const CLI::App& command);
std::vector<const CLI::Option*> positionalsOf(const CLI::App& command);

// What follows the name: "N", "FILE", "NAME"; empty for a flag.
std::string valueName(const CLI::Option& option);

// The values that are possible if they can be listed; empty if they cannot.
std::vector<std::string> choicesOf(const CLI::Option& option);

enum class ValueKind { None, Choice, File, Folder, Other };
ValueKind kindOf(const CLI::Option& option);

// The first statement of a description, on one line.
std::string summaryOf(const std::string& description);

// The parts of a footer that empty lines separate. The part that begins with "Example" is an example, the one
// that begins with "Exit codes" lists those.
struct FooterParts {
    std::vector<std::string> examples;  // commands, one a line
    std::string exitCodes;              // without the words that begin it
    std::vector<std::string> others;
};
FooterParts footerParts(const CLI::App& command);

}  // namespace qor
