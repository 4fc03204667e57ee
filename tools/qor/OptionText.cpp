// SPDX-License-Identifier: Apache-2.0

#include "qor/OptionText.h"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace qor {
namespace {

std::string withoutMargin(const std::string& line) {
    const std::size_t begin = line.find_first_not_of(' ');
    return begin == std::string::npos ? "" : line.substr(begin);
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Parts that empty lines separate.
std::vector<std::string> paragraphsOf(const std::string& text) {
    std::vector<std::string> paragraphs;
    bool inside = false;
    for (const std::string& line : linesOf(text)) {
        if (line.empty()) {
            inside = false;
            continue;
        }
        if (inside) {
            paragraphs.back() += "\n" + line;
        } else {
            paragraphs.push_back(line);
        }
        inside = true;
    }
    return paragraphs;
}

void addExamples(const std::string& paragraph, std::vector<std::string>& examples) {
    const std::vector<std::string> lines = linesOf(paragraph);
    for (std::size_t k = 1; k < lines.size(); ++k) {
        examples.push_back(withoutMargin(lines[k]));
    }
}

std::string exitCodesOf(const std::string& paragraph) {
    std::string text;
    for (const std::string& line : linesOf(paragraph)) {
        text += (text.empty() ? "" : " ") + withoutMargin(line);
    }
    return text.substr(std::string_view("Exit codes: ").size());
}

}  // namespace

std::vector<const CLI::App*> visibleCommands(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

std::vector<NamedCommand> allCommands(const CLI::App& app) {
    std::vector<NamedCommand> commands;
    for (const CLI::App* const command : visibleCommands(app)) {
        commands.push_back({command->get_name(), command, visibleCommands(*command)});
        for (const NamedCommand& below : allCommands(*command)) {
            commands.push_back({command->get_name() + " " + below.path, below.command, below.below});
        }
    }
    return commands;
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& command) {
    return command.get_options(
        [](const CLI::Option* option) { return !option->get_positional() && !option->get_group().empty(); });
}

std::vector<const CLI::Option*> positionalsOf(const CLI::App& command) {
    return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

std::string valueName(const CLI::Option& option) {
    if (option.get_items_expected_max() == 0) {
        return "";
    }
    // What checks a value adds itself after a colon: "N:INT in [1 - 32]", "NAME:{room,wall}".
    std::string name = option.get_type_name();
    for (const char* const check : {":{", ":INT", ":FLOAT", ":TEXT"}) {
        name = name.substr(0, name.find(check));
    }
    return name.empty() || name.front() == '{' ? "VALUE" : name;
}

std::vector<std::string> choicesOf(const CLI::Option& option) {
    const std::string name = option.get_type_name();
    const std::size_t begin = name.find('{');
    const std::size_t end = name.find('}', begin);
    if (begin == std::string::npos || end == std::string::npos) {
        return {};
    }
    return CLI::detail::split(name.substr(begin + 1, end - begin - 1), ',');
}

ValueKind kindOf(const CLI::Option& option) {
    if (option.get_items_expected_max() == 0) {
        return ValueKind::None;
    }
    if (!choicesOf(option).empty()) {
        return ValueKind::Choice;
    }
    const std::string name = option.get_positional() ? option.get_name(true) : valueName(option);
    if (name.starts_with("FOLDER")) {
        return ValueKind::Folder;
    }
    for (const char* const file : {"FILE", "RECORDING", "RESULT", "CALIBRATION"}) {
        if (name.starts_with(file)) {
            return ValueKind::File;
        }
    }
    return ValueKind::Other;
}

std::string summaryOf(const std::string& description) {
    std::string line = description;
    std::replace(line.begin(), line.end(), '\n', ' ');
    const std::size_t end = std::min(line.find(';'), line.find(": "));
    return line.substr(0, end);
}

FooterParts footerParts(const CLI::App& command) {
    FooterParts parts;
    for (const std::string& paragraph : paragraphsOf(command.get_footer())) {
        if (paragraph.starts_with("Example")) {
            addExamples(paragraph, parts.examples);
        } else if (paragraph.starts_with("Exit codes: ")) {
            parts.exitCodes = exitCodesOf(paragraph);
        } else {
            parts.others.push_back(paragraph);
        }
    }
    return parts;
}

}  // namespace qor
