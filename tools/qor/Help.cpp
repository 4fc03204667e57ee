// SPDX-License-Identifier: Apache-2.0

#include "qor/Help.h"

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "qor/Arguments.h"
#include "qor/Completion.h"
#include "qor/ExitCode.h"
#include "qor/ManPage.h"
#include "qor/OptionText.h"
#include "qor/StandardError.h"

namespace qor {
namespace {

struct HelpOptions {
    std::vector<std::string> command;  // word for word: calibration, show
    bool man = false;
};

std::optional<NamedCommand> findCommand(const CLI::App& app, const std::string& path) {
    for (const NamedCommand& command : allCommands(app)) {
        if (command.path == path) {
            return command;
        }
    }
    return std::nullopt;
}

// As qor itself prints it: the usage line names the command with those above it.
std::string plainHelp(const CLI::App& app, const std::string& above) {
    return app.get_formatter()->make_help(&app, above, CLI::AppFormatMode::Normal);
}

std::string helpText(const CLI::App& app, const NamedCommand& named, bool man) {
    if (man) {
        return manPageOf(named);
    }
    const std::size_t last = named.path.rfind(' ');
    const std::string above = last == std::string::npos ? "" : " " + named.path.substr(0, last);
    return plainHelp(*named.command, app.get_name() + above + " " + named.command->get_name());
}

int printHelp(const CLI::App& app, const HelpOptions& options) {
    if (options.command.empty()) {
        std::fputs((options.man ? manPageOf(app) : plainHelp(app, app.get_name())).c_str(), stdout);
        return ExitCode::Good;
    }
    const std::string path = joined(options.command, " ");
    const std::optional<NamedCommand> command = findCommand(app, path);
    if (!command) {
        printError("There is no command {}; qor help lists them.\n", path);
        return ExitCode::Usage;
    }
    std::fputs(helpText(app, *command, options.man).c_str(), stdout);
    return ExitCode::Good;
}

void write(const std::filesystem::path& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) {
        throw std::runtime_error(path.string() + " cannot be written.");
    }
}

void writeManual(const CLI::App& app, const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder / "man");
    write(folder / "man/qor.1", manPageOf(app));
    for (const NamedCommand& command : allCommands(app)) {
        write(folder / "man" / (manPageName(command.path) + ".1"), manPageOf(command));
    }
    write(folder / "qor.bash", bashCompletion(app));
    write(folder / "_qor", zshCompletion(app));
    write(folder / "qor.fish", fishCompletion(app));
}

}  // namespace

void addHelp(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<HelpOptions>();
    CLI::App* command = app.add_subcommand("help", "Print the help of a command, or the list of commands");
    command->add_option("COMMAND", options->command, "The command")->type_name("");
    command->add_flag("--man", options->man, "Print it as a manual page, for example for man -l -");
    command->footer(
        "Example:\n"
        "  qor help run\n"
        "\nExit codes: 0 good; 2 usage\n");
    command->callback([&app, &exitCode, options] { exitCode = printHelp(app, *options); });
}

void addCompletion(CLI::App& app, int& exitCode) {
    const auto shell = std::make_shared<std::string>();
    CLI::App* command = app.add_subcommand("completion", "Print a script that completes qor in a shell");
    command->add_option("SHELL", *shell, "The shell")
        ->required()
        ->type_name("")
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    command->footer(
        "Example:\n"
        "  qor completion bash > qor.bash\n"
        "\nInstalled from a package, completion is there already.\n"
        "\nExit codes: 0 good; 2 usage\n");
    command->callback([&app, &exitCode, shell] {
        const std::string script = *shell == "bash"  ? bashCompletion(app)
                                   : *shell == "zsh" ? zshCompletion(app)
                                                     : fishCompletion(app);
        std::fputs(script.c_str(), stdout);
        exitCode = ExitCode::Good;
    });
}

void addWriteManual(CLI::App& app, int& exitCode) {
    const auto folder = std::make_shared<std::filesystem::path>();
    CLI::App* command =
        app.add_subcommand("write-manual", "Write manual pages and completions into a folder");
    command->group("");
    command->add_option("FOLDER", *folder, "The folder; made if needed")->required();
    command->callback([&app, &exitCode, folder] {
        writeManual(app, *folder);
        exitCode = ExitCode::Good;
    });
}

}  // namespace qor
