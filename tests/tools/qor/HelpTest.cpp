// SPDX-License-Identifier: Apache-2.0
//
// What the command says about itself: help, manual pages, completions and version. All are made from one
// definition; the tests hold them together for every command that there is.

#include <algorithm>
#include <regex>
#include <set>
#include <vector>

#include "tools/qor/Command.h"

namespace {

class Help : public Command {
 protected:
    // The names in the list of a help, and below them those in the lists of theirs: "calibration",
    // "calibration show".
    std::vector<std::string> listed(const std::string& above) const {
        const std::string text = run(above + "--help").output;
        const std::size_t begin = text.find("Subcommands:");
        if (begin == std::string::npos) {
            return {};
        }
        const std::string list = text.substr(begin);
        const std::regex line("\n  ([a-z-]+) +[A-Z]");
        std::vector<std::string> names;
        for (std::sregex_iterator found(list.begin(), list.end(), line), end; found != end; ++found) {
            names.push_back(above + (*found)[1].str());
            const std::vector<std::string> below = listed(names.back() + " ");
            names.insert(names.end(), below.begin(), below.end());
        }
        return names;
    }

    std::vector<std::string> commands() const {
        const std::vector<std::string> names = listed("");
        EXPECT_GE(names.size(), 12U);
        return names;
    }

    bool isGroup(const std::string& command) const { return !listed(command + " ").empty(); }

    static std::string pageName(const std::string& command) {
        return "qor-" + std::regex_replace(command, std::regex(" "), "-");
    }

    std::string helpOf(const std::string& command) const { return run(command + " --help").output; }

    // "--out" and the like, as the list of options begins its lines with them.
    std::vector<std::string> optionsOf(const std::string& command) const {
        const std::string help = helpOf(command);
        const std::regex line("\n  (?:-[a-z],)?(--[a-z-]+)");
        std::vector<std::string> names;
        for (std::sregex_iterator found(help.begin(), help.end(), line), end; found != end; ++found) {
            names.push_back((*found)[1].str());
        }
        EXPECT_FALSE(names.empty()) << command;
        return names;
    }

    // What bash offers for the words of a command line.
    std::set<std::string> bashOffers(const std::string& words) const {
        std::ofstream(path("complete.sh"))
            << "source <('" QOR_COMMAND "' completion bash)\nCOMP_WORDS=(" << words
            << ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_qor\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
        const Outcome outcome = run("--version > /dev/null; bash complete.sh");
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        EXPECT_EQ(outcome.errors, "");
        std::set<std::string> offers;
        std::istringstream lines(outcome.output);
        for (std::string line; std::getline(lines, line);) {
            offers.insert(line);
        }
        return offers;
    }
};

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST_F(Help, OfACommandIsWhatItsOptionPrints) {
    for (const std::string& command : commands()) {
        const Outcome outcome = run("help " + command);
        EXPECT_EQ(outcome.exitCode, 0) << command;
        EXPECT_EQ(outcome.output, helpOf(command)) << command;
    }
}

TEST_F(Help, WithoutACommandIsThatOfQor) {
    const Outcome outcome = run("help");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output, run("--help").output);
}

TEST_F(Help, OfAnUnknownCommandIsAUsageError) {
    const Outcome outcome = run("help nonsense");
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_TRUE(contains(outcome.errors, "There is no command nonsense; qor help lists them."))
        << outcome.errors;
    EXPECT_EQ(outcome.output, "");
}

TEST_F(Help, EveryCommandShowsExitCodesAndAnExampleOfItself) {
    for (const std::string& command : commands()) {
        if (isGroup(command)) {
            continue;  // its commands have them
        }
        const std::string help = helpOf(command);
        EXPECT_TRUE(contains(help, "\nExit codes: 0 ")) << command;
        EXPECT_TRUE(std::regex_search(help, std::regex("\nExamples?:\n  qor " + command + "[ \n]")))
            << command;
    }
    EXPECT_TRUE(contains(run("--help").output, "\nExample:\n  qor "));
}

// The recordings of the examples are there, other files are empty; what counts is that the line is
// understood.
TEST_F(Help, TheExamplesAreNoUsageErrors) {
    simulate("--frames 2");
    const std::regex example("\n  qor ([a-z-]+ [^\n]*)");
    for (const std::string& command : commands()) {
        const std::string help = helpOf(command);
        const std::string examples = help.substr(std::min(help.find("\nExample"), help.size()));
        for (std::sregex_iterator found(examples.begin(), examples.end(), example), end; found != end;
             ++found) {
            std::istringstream words((*found)[1].str());
            std::string before;
            for (std::string word; words >> word; before = word) {
                if (word.ends_with(".zelta") && before != "-o" && before != "--out") {
                    std::filesystem::copy_file(path("r.zelta"), path(word),
                                               std::filesystem::copy_options::skip_existing);
                } else if (word.ends_with(".json") || word.ends_with(".npz") || word.ends_with(".toml")) {
                    std::ofstream(path(word)).flush();
                }
            }
            const Outcome outcome = run((*found)[1].str());
            EXPECT_NE(outcome.exitCode, 2) << (*found)[1].str() << "\n" << outcome.errors;
        }
    }
}

TEST_F(Help, AManualPageNamesEveryOption) {
    for (const std::string& command : commands()) {
        const Outcome outcome = run("help --man " + command);
        EXPECT_EQ(outcome.exitCode, 0) << command;
        EXPECT_EQ(outcome.output.rfind(".TH QOR\\-", 0), 0U) << command;
        EXPECT_EQ(contains(outcome.output, "\n.SH EXIT STATUS\n0 "), !isGroup(command)) << command;
        EXPECT_EQ(contains(outcome.output, "\n.SH EXAMPLES\n"), !isGroup(command)) << command;
        const std::string plain = std::regex_replace(outcome.output, std::regex("\\\\-"), "-");
        for (const std::string& option : optionsOf(command)) {
            EXPECT_TRUE(contains(plain, "\\fB" + option + "\\fR")) << command << " " << option;
        }
    }
}

// A line that begins with a dot is a request, and an unknown one swallows its text.
TEST_F(Help, AManualPageHasTheRequestsOfManualPagesAlone) {
    const std::set<std::string> requests = {".TH", ".SH", ".TP", ".PP", ".nf", ".fi"};
    for (const std::string& command : commands()) {
        std::istringstream lines(run("help --man " + command).output);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_FALSE(line.empty()) << command;
            EXPECT_NE(line.front(), '\'') << line;
            EXPECT_TRUE(line.front() != '.' || requests.contains(line.substr(0, line.find(' ')))) << line;
        }
    }
}

TEST_F(Help, AManualPageNamesTheCommandsBelow) {
    for (const std::string& command : commands()) {
        const std::size_t last = command.rfind(' ');
        const std::string above = last == std::string::npos ? "" : command.substr(0, last);
        const std::string page =
            std::regex_replace(run("help --man " + above).output, std::regex("\\\\-"), "-");
        EXPECT_TRUE(contains(page, "\\fB" + pageName(command) + "\\fR(1)")) << command;
    }
}

// The part of a script that begins so and ends so.
std::string partOf(const std::string& script, const std::string& begin, const std::string& end) {
    const std::size_t first = script.find(begin);
    return first == std::string::npos ? "" : script.substr(first, script.find(end, first) - first);
}

TEST_F(Help, CompletionsNameEveryCommandAndOption) {
    const std::string bash = run("completion bash").output;
    const std::string zsh = run("completion zsh").output;
    const std::string fish = run("completion fish").output;
    for (const std::string& command : commands()) {
        const std::string begin = "\n        '" + command + "')\n";
        const std::string bashCase = partOf(bash, begin, " arguments=");
        const std::string zshCase = partOf(zsh, begin, ";;\n");
        EXPECT_TRUE(contains(fish, " -a " + command.substr(command.rfind(' ') + 1) + " -d ")) << command;
        for (const std::string& option : optionsOf(command)) {
            EXPECT_TRUE(contains(bashCase, option)) << command << option;
            EXPECT_TRUE(contains(zshCase, "*" + option + "[")) << command << option;
            EXPECT_TRUE(std::regex_search(
                fish, std::regex("'__qor_is " + command + "'[^\n]* -l " + option.substr(2) + " ")))
                << command << option;
        }
    }
}

TEST_F(Help, CompletionIsForThreeShells) {
    EXPECT_EQ(run("completion tcsh").exitCode, 2);
    EXPECT_EQ(run("completion").exitCode, 2);
}

TEST_F(Help, BashCompletesCommands) {
    const std::vector<std::string> names = commands();
    const std::set<std::string> offers = bashOffers("qor ''");
    for (const std::string& command : names) {
        if (!contains(command, " ")) {
            EXPECT_TRUE(offers.contains(command)) << command;
        }
    }
    EXPECT_EQ(bashOffers("qor sim"), std::set<std::string>{"simulate"});
    EXPECT_EQ(bashOffers("qor help sim"), std::set<std::string>{"simulate"});
    EXPECT_EQ(bashOffers("qor calibration sh"), std::set<std::string>{"show"});
    EXPECT_EQ(bashOffers("qor calibration show --arr"), std::set<std::string>{"--arrays"});
}

TEST_F(Help, BashCompletesOptions) {
    EXPECT_EQ(bashOffers("qor run --clo"), std::set<std::string>{"--cloud"});
    const std::set<std::string> offers = bashOffers("qor info --");
    EXPECT_TRUE(offers.contains("--help"));
    EXPECT_TRUE(offers.contains("--json"));
    EXPECT_FALSE(offers.contains("--cloud"));
}

TEST_F(Help, BashCompletesValuesThatCanBeListed) {
    EXPECT_EQ(bashOffers("qor run --cloud p"), (std::set<std::string>{"pcd", "ply"}));
    EXPECT_EQ(bashOffers("qor simulate --scene ro"), std::set<std::string>{"room"});
}

TEST_F(Help, BashCompletesFilesAndFolders) {
    std::filesystem::create_directory(path("some-folder"));
    std::ofstream(path("some-file.zelta")) << "x";
    EXPECT_EQ(bashOffers("qor info some"), (std::set<std::string>{"some-file.zelta", "some-folder"}));
    EXPECT_EQ(bashOffers("qor run --out some"), std::set<std::string>{"some-folder"});
    EXPECT_EQ(bashOffers("qor run --settings some"),
              (std::set<std::string>{"some-file.zelta", "some-folder"}));
    EXPECT_EQ(bashOffers("qor simulate --frames so"), std::set<std::string>{""});
}

TEST_F(Help, WriteManualWritesAPageForEveryCommandAndIsNotShown) {
    EXPECT_EQ(run("write-manual deep/manual").exitCode, 0);
    for (const std::string& command : commands()) {
        EXPECT_EQ(contentOf(path("deep/manual/man/" + pageName(command) + ".1")),
                  run("help --man " + command).output);
        EXPECT_NE(command, "write-manual");
    }
    EXPECT_EQ(contentOf(path("deep/manual/man/qor.1")), run("help --man").output);
    EXPECT_EQ(contentOf(path("deep/manual/qor.bash")), run("completion bash").output);
    EXPECT_EQ(contentOf(path("deep/manual/_qor")), run("completion zsh").output);
    EXPECT_EQ(contentOf(path("deep/manual/qor.fish")), run("completion fish").output);
}

TEST_F(Help, WriteManualSaysWhenItCannotWrite) {
    std::ofstream(path("file")) << "x";
    EXPECT_EQ(run("write-manual file").exitCode, 3);
}

TEST_F(Help, TheVersionTellsHowItWasBuiltAndWhatItRunsWith) {
    const std::string text = run("--version").output;
    EXPECT_TRUE(std::regex_search(text, std::regex("\ncompiler: (GCC|Clang) [0-9.]+, [A-Z][A-Za-z]+\n")))
        << text;
    EXPECT_TRUE(
        std::regex_search(text, std::regex("\nvector targets: built [A-Z0-9_ ]+; used here [A-Z0-9_]+\n")))
        << text;
    EXPECT_TRUE(contains(text, "\nplug-in: Qor Distance Image " QOR_VERSION ", /")) << text;
    EXPECT_TRUE(std::regex_search(text, std::regex("\ndefinitions: [0-9a-f]{16}\n"))) << text;
}

// A command that lies alone in its folder.
TEST_F(Help, TheVersionIsToldWithoutAPlugin) {
    std::filesystem::copy(QOR_COMMAND, path("lonely"));
    const Outcome outcome = run("--version > /dev/null; ./lonely --version");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_TRUE(contains(outcome.output, "\nplug-in: There is no plug-in at /")) << outcome.output;
}

}  // namespace
