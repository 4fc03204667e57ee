// SPDX-License-Identifier: Apache-2.0

#include "qor/ManPage.h"

#include <algorithm>
#include <cctype>

#include "qor/OptionText.h"

namespace qor {
namespace {

// A text as roff reads it: a backslash and a dash are letters, and no line is a request.
std::string escaped(const std::string& text) {
    std::string roff;
    bool lineBegins = true;
    for (const char letter : text) {
        if (lineBegins && (letter == '.' || letter == '\'')) {
            roff += "\\&";
        }
        if (letter == '\\') {
            roff += "\\e";
        } else if (letter == '-') {
            roff += "\\-";
        } else {
            roff += letter;
        }
        lineBegins = letter == '\n';
    }
    return roff;
}

std::string bold(const std::string& text) {
    return std::string("\\fB") + escaped(text) + "\\fR";
}

std::string italic(const std::string& text) {
    return std::string("\\fI") + escaped(text) + "\\fR";
}

std::string header(const std::string& name, const std::string& summary) {
    std::string capitals = name;
    std::transform(capitals.begin(), capitals.end(), capitals.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return std::string(".TH ") + escaped(capitals) + " 1 \"\" \"qor " QOR_VERSION "\" \"Qor\"\n.SH NAME\n" +
           escaped(name) + " \\- " + escaped(summary) + "\n";
}

// Lines that stay as they are.
std::string verbatim(const std::string& text) {
    return std::string(".PP\n.nf\n") + escaped(text) + "\n.fi\n";
}

std::string nameOf(const CLI::Option& option) {
    std::string text;
    for (const std::string& name : option.get_snames()) {
        text += (text.empty() ? "" : ", ") + bold(std::string("-") + name);
    }
    for (const std::string& name : option.get_lnames()) {
        text += (text.empty() ? "" : ", ") + bold(std::string("--") + name);
    }
    const std::string value = valueName(option);
    return value.empty() ? text : text + " " + italic(value);
}

std::string joinedWith(const std::vector<std::string>& texts, const std::string& separator) {
    std::string text;
    for (const std::string& part : texts) {
        text += (text.empty() ? "" : separator) + part;
    }
    return text;
}

// What is said beside the description: choices, default, and whether it must be there.
std::string remarksOf(const CLI::Option& option) {
    std::vector<std::string> remarks;
    const std::vector<std::string> choices = choicesOf(option);
    if (!choices.empty()) {
        remarks.push_back("One of " + joinedWith(choices, ", ") + ".");
    }
    if (!option.get_default_str().empty()) {
        remarks.push_back("Default: " + option.get_default_str() + ".");
    }
    if (option.get_required()) {
        remarks.emplace_back("Required.");
    }
    for (const CLI::Option* const needed : option.get_needs()) {
        remarks.push_back("Only with " + needed->get_name() + ".");
    }
    return joinedWith(remarks, " ");
}

// Without a full stop, as descriptions are written, one is added before more follows.
std::string entry(const std::string& name, const CLI::Option& option) {
    std::string text = option.get_description();
    const std::string remarks = remarksOf(option);
    if (!remarks.empty()) {
        text += (text.empty() || text.back() == '.' ? "" : ".") + std::string(" ") + remarks;
    }
    return std::string(".TP\n") + name + "\n" + escaped(text) + "\n";
}

std::string positionalText(const CLI::Option& option) {
    const std::string name = italic(option.get_name(true)) + (option.get_expected_max() > 1 ? "..." : "");
    return option.get_required() ? name : "[" + name + "]";
}

std::string synopsis(const NamedCommand& named) {
    std::string text = bold("qor " + named.path) + (named.below.empty() ? "" : " " + italic("COMMAND")) +
                       " [" + italic("OPTIONS") + "]";
    for (const CLI::Option* const positional : positionalsOf(*named.command)) {
        text += " " + positionalText(*positional);
    }
    return std::string(".SH SYNOPSIS\n") + text + "\n";
}

// The commands below one, each with its page.
std::string commandList(const std::string& path, const std::vector<const CLI::App*>& commands) {
    std::string text = commands.empty() ? "" : ".SH COMMANDS\n";
    for (const CLI::App* const command : commands) {
        const std::string whole = path.empty() ? command->get_name() : path + " " + command->get_name();
        text += std::string(".TP\n") + bold(manPageName(whole)) + "(1)\n" +
                escaped(command->get_description()) + "\n";
    }
    return text;
}

std::string arguments(const CLI::App& command) {
    std::string text;
    for (const CLI::Option* const positional : positionalsOf(command)) {
        text += entry(italic(positional->get_name(true)), *positional);
    }
    return text.empty() ? "" : std::string(".SH ARGUMENTS\n") + text;
}

std::string options(const CLI::App& command) {
    std::string text = ".SH OPTIONS\n";
    for (const CLI::Option* const option : optionsOf(command)) {
        text += entry(nameOf(*option), *option);
    }
    return text;
}

std::string footer(const CLI::App& command) {
    const FooterParts parts = footerParts(command);
    std::string text;
    if (!parts.others.empty()) {
        text += ".SH NOTES\n";
        for (const std::string& part : parts.others) {
            text += verbatim(part);
        }
    }
    if (!parts.exitCodes.empty()) {
        text += std::string(".SH EXIT STATUS\n") + escaped(parts.exitCodes) + "\n";
    }
    if (!parts.examples.empty()) {
        text += std::string(".SH EXAMPLES\n") + verbatim(joinedWith(parts.examples, "\n"));
    }
    return text;
}

}  // namespace

std::string manPageName(const std::string& path) {
    std::string name = std::string("qor-") + path;
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}

std::string manPageOf(const CLI::App& app) {
    return header(app.get_name(), app.get_description()) + ".SH SYNOPSIS\n" + bold("qor") + " " +
           italic("COMMAND") + " [" + italic("OPTIONS") + "] ...\n" + commandList("", visibleCommands(app)) +
           options(app) + footer(app);
}

std::string manPageOf(const NamedCommand& named) {
    const CLI::App& command = *named.command;
    return header(manPageName(named.path), summaryOf(command.get_description())) + synopsis(named) +
           ".SH DESCRIPTION\n" + escaped(command.get_description()) + ".\n" +
           commandList(named.path, named.below) + arguments(command) + options(command) + footer(command) +
           ".SH SEE ALSO\n" + bold("qor") + "(1)\n";
}

}  // namespace qor
