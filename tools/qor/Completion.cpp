// SPDX-License-Identifier: Apache-2.0

#include "qor/Completion.h"

#include <string_view>
#include <vector>

#include "qor/OptionText.h"

namespace qor {
namespace {

std::string joinedBy(const std::vector<std::string>& texts, const std::string& separator) {
    std::string text;
    for (const std::string& part : texts) {
        text += (text.empty() ? "" : separator) + part;
    }
    return text;
}

// "-o" and "--out".
std::vector<std::string> dashedNames(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back(std::string("-") + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back(std::string("--") + name);
    }
    return names;
}

// In single quotes, as all three shells read them.
std::string inQuotes(const std::string& text) {
    std::string safe = "'";
    for (const char letter : text) {
        safe += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    }
    return safe + "'";
}

std::vector<std::string> namesOf(const std::vector<const CLI::App*>& commands) {
    std::vector<std::string> names;
    names.reserve(commands.size());
    for (const CLI::App* const command : commands) {
        names.push_back(command->get_name());
    }
    return names;
}

// The values of an argument without a dash: a name of a command after `help`, otherwise what its definition
// says.
std::vector<std::string> positionalChoices(const CLI::App& app, const CLI::App& command) {
    if (command.get_name() == "help") {
        return namesOf(visibleCommands(app));
    }
    for (const CLI::Option* const positional : positionalsOf(command)) {
        if (kindOf(*positional) == ValueKind::Choice) {
            return choicesOf(*positional);
        }
    }
    return {};
}

// ---------------------------------------------------------------------------------------------------------------------
// bash

std::string bashValues(const CLI::Option& option) {
    switch (kindOf(option)) {
        case ValueKind::Choice:
            return std::string("mapfile -t COMPREPLY < <(compgen -W ") +
                   inQuotes(joinedBy(choicesOf(option), " ")) + " -- \"$word\")";
        case ValueKind::File:
            return "mapfile -t COMPREPLY < <(compgen -f -- \"$word\")";
        case ValueKind::Folder:
            return "mapfile -t COMPREPLY < <(compgen -d -- \"$word\")";
        default:
            return "COMPREPLY=()";
    }
}

// A command with others below it offers those; the words then name one of them.
std::string bashGroup(const NamedCommand& named) {
    return std::string("        ") + named.path +
           ")\n            if [ \"$COMP_CWORD\" = 2 ]; then\n                mapfile -t COMPREPLY < "
           "<(compgen -W " +
           inQuotes(joinedBy(namesOf(named.below), " ")) +
           " -- \"$word\")\n                return\n            fi\n"
           "            command+=\" ${COMP_WORDS[2]}\" ;;\n";
}

std::string bashCase(const CLI::App& app, const NamedCommand& named) {
    const CLI::App& command = *named.command;
    std::string text = std::string("        ") + inQuotes(named.path) + ")\n            case $previous in\n";
    std::vector<std::string> names;
    for (const CLI::Option* const option : optionsOf(command)) {
        const std::vector<std::string> dashed = dashedNames(*option);
        names.insert(names.end(), dashed.begin(), dashed.end());
        if (kindOf(*option) != ValueKind::None) {
            text += std::string("                ") + joinedBy(dashed, " | ") + ")\n                    " +
                    bashValues(*option) + "\n                    return ;;\n";
        }
    }
    return text + "            esac\n            options=" + inQuotes(joinedBy(names, " ")) +
           "\n            arguments=" + inQuotes(joinedBy(positionalChoices(app, command), " ")) + " ;;\n";
}

// ---------------------------------------------------------------------------------------------------------------------
// zsh

// Brackets and colons separate the parts of a description.
std::string zshText(const std::string& text) {
    std::string safe;
    for (const char letter : text) {
        if (std::string_view("[]:\\").find(letter) != std::string_view::npos) {
            safe += '\\';
        }
        safe += letter;
    }
    return safe;
}

std::string zshValues(const CLI::Option& option) {
    switch (kindOf(option)) {
        case ValueKind::Choice:
            return std::string("(") + joinedBy(choicesOf(option), " ") + ")";
        case ValueKind::File:
            return "_files";
        case ValueKind::Folder:
            return "_files -/";
        default:
            return "";
    }
}

std::string zshOption(const CLI::Option& option) {
    std::string text;
    for (const std::string& name : dashedNames(option)) {
        std::string argument =
            std::string("*") + name + "[" + zshText(summaryOf(option.get_description())) + "]";
        if (kindOf(option) != ValueKind::None) {
            argument += ":" + zshText(valueName(option)) + ":" + zshValues(option);
        }
        text += std::string(" \\\n                ") + inQuotes(argument);
    }
    return text;
}

std::string zshGroup(const NamedCommand& named) {
    return std::string("        ") + named.path +
           ")\n            if (( CURRENT == 3 )); then\n                compadd " +
           joinedBy(namesOf(named.below), " ") +
           "\n                return\n            fi\n"
           "            command+=\" $words[3]\"\n            shift words\n            (( CURRENT-- )) ;;\n";
}

std::string zshCase(const CLI::App& app, const NamedCommand& named) {
    const CLI::App& command = *named.command;
    std::string text = std::string("        ") + inQuotes(named.path) + ")\n            _arguments -s";
    for (const CLI::Option* const option : optionsOf(command)) {
        text += zshOption(*option);
    }
    const std::vector<std::string> choices = positionalChoices(app, command);
    const std::string values = choices.empty() ? "_files" : std::string("(") + joinedBy(choices, " ") + ")";
    return text + " \\\n                " + inQuotes(std::string("*:argument:") + values) + " ;;\n";
}

// ---------------------------------------------------------------------------------------------------------------------
// fish

std::string fishOption(const std::string& path, const CLI::Option& option) {
    std::string text = std::string("complete -c qor -n '__qor_is ") + path + "'";
    for (const std::string& name : option.get_snames()) {
        text += " -s " + name;
    }
    for (const std::string& name : option.get_lnames()) {
        text += " -l " + name;
    }
    switch (kindOf(option)) {
        case ValueKind::None:
            break;
        case ValueKind::Choice:
            text += std::string(" -x -a ") + inQuotes(joinedBy(choicesOf(option), " "));
            break;
        case ValueKind::File:
            text += " -r -F";
            break;
        case ValueKind::Folder:
            text += " -x -a '(__fish_complete_directories)'";
            break;
        case ValueKind::Other:
            text += " -x";
            break;
    }
    return text + " -d " + inQuotes(summaryOf(option.get_description())) + "\n";
}

std::string fishCommand(const CLI::App& app, const NamedCommand& named) {
    const CLI::App& command = *named.command;
    const std::size_t last = named.path.rfind(' ');
    const std::string above = last == std::string::npos ? "" : " " + named.path.substr(0, last);
    std::string text = std::string("complete -c qor -n '__qor_needs") + above + "' -f -a " +
                       command.get_name() + " -d " + inQuotes(summaryOf(command.get_description())) + "\n";
    const std::vector<std::string> choices = positionalChoices(app, command);
    if (!choices.empty()) {
        text += std::string("complete -c qor -n '__qor_is ") + named.path + "' -f -a " +
                inQuotes(joinedBy(choices, " ")) + "\n";
    }
    for (const CLI::Option* const option : optionsOf(command)) {
        text += fishOption(named.path, *option);
    }
    return text;
}

// Whether the words after qor begin with these, or are these and nothing else.
constexpr const char* fishFunctions =
    "function __qor_is\n"
    "    set -l words (commandline -opc)\n"
    "    set -l last (math (count $argv) + 1)\n"
    "    test (count $words) -ge $last; and test \"$words[2..$last]\" = \"$argv\"\n"
    "end\n"
    "function __qor_needs\n"
    "    set -l words (commandline -opc)\n"
    "    test (count $words) -eq (math (count $argv) + 1); or return 1\n"
    "    test (count $argv) -eq 0; or __qor_is $argv\n"
    "end\n";

}  // namespace

std::string bashCompletion(const CLI::App& app) {
    std::string groups;
    std::string cases;
    for (const NamedCommand& command : allCommands(app)) {
        groups += command.below.empty() ? "" : bashGroup(command);
        cases += bashCase(app, command);
    }
    return std::string(
               "# Completion of qor in bash; made by `qor completion bash`.\n"
               "_qor() {\n"
               "    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
               "    local command=${COMP_WORDS[1]} options='' arguments=''\n"
               "    if [ \"$COMP_CWORD\" = 1 ]; then\n"
               "        mapfile -t COMPREPLY < <(compgen -W ") +
           inQuotes(joinedBy(namesOf(visibleCommands(app)), " ") + " --help --version") +
           " -- \"$word\")\n"
           "        return\n"
           "    fi\n"
           "    case $command in\n" +
           groups +
           "        *) ;;\n"
           "    esac\n"
           "    case $command in\n" +
           cases +
           "    esac\n"
           "    if [[ $word == -* ]]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$word\")\n"
           "    elif [ -n \"$arguments\" ]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$arguments\" -- \"$word\")\n"
           "    else\n"
           "        mapfile -t COMPREPLY < <(compgen -f -- \"$word\")\n"
           "    fi\n"
           "}\n"
           "complete -o filenames -F _qor qor\n";
}

std::string zshCompletion(const CLI::App& app) {
    std::string text =
        "#compdef qor\n"
        "# Completion of qor in zsh; made by `qor completion zsh`.\n"
        "_qor() {\n"
        "    local -a commands\n"
        "    commands=(\n";
    for (const CLI::App* const command : visibleCommands(app)) {
        text += std::string("        ") +
                inQuotes(command->get_name() + ":" + zshText(summaryOf(command->get_description()))) + "\n";
    }
    std::string groups;
    std::string cases;
    for (const NamedCommand& command : allCommands(app)) {
        groups += command.below.empty() ? "" : zshGroup(command);
        cases += zshCase(app, command);
    }
    return text +
           "    )\n"
           "    if (( CURRENT == 2 )); then\n"
           "        _describe command commands\n"
           "        return\n"
           "    fi\n"
           "    local command=$words[2]\n"
           "    case $command in\n" +
           groups +
           "        *) ;;\n"
           "    esac\n"
           "    shift words\n"
           "    (( CURRENT-- ))\n"
           "    case $command in\n" +
           cases +
           "    esac\n"
           "}\n"
           "_qor \"$@\"\n";
}

std::string fishCompletion(const CLI::App& app) {
    std::string text =
        std::string("# Completion of qor in fish; made by `qor completion fish`.\n") + fishFunctions;
    for (const NamedCommand& command : allCommands(app)) {
        text += fishCommand(app, command);
    }
    return text;
}

}  // namespace qor
