// SPDX-License-Identifier: Apache-2.0

#include "qor/View.h"

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "files/UnfinishedFile.h"
#include "page/EmbeddedRecording.h"
#include "page/Page.h"
#include "qor/Arguments.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"
#include "recording/RecordingError.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): POSIX has no header for it

namespace qor {
namespace {

struct Options {
    std::vector<std::filesystem::path> recordings;
    std::filesystem::path file = "workbench.html";
    std::filesystem::path page;
    unsigned int limit = 100;  // MB
    bool noOpen = false;
};

// Whether a program took the page.
bool openInBrowser(const std::filesystem::path& file) {
    std::string program = "xdg-open";
    std::string path = std::filesystem::absolute(file).string();
    char* const words[] = {program.data(), path.data(), nullptr};
    pid_t process = 0;
    if (posix_spawnp(&process, program.c_str(), nullptr, nullptr, words, environ) != 0) {
        return false;
    }
    int status = 0;
    return waitpid(process, &status, 0) == process && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

int view(const Options& options) {
    const auto page = options.page.empty() ? page::defaultPage() : options.page;
    if (!page) {
        return complain("view", ExitCode::BadData, page::howToGetThePage());
    }
    int exitCode = ExitCode::Good;
    std::string elements;
    const std::uint64_t limit =
        1'000'000ULL * options.limit / std::max<std::size_t>(options.recordings.size(), 1);
    for (const std::filesystem::path& recording : options.recordings) {
        const page::EmbeddedRecording part = page::embed(recording, limit, [](std::size_t) { return true; });
        elements += page::elementOf(part);
        if (part.left > 0) {
            exitCode = complain(
                "view", ExitCode::Findings,
                fmt::format("the page takes the first {} of {} of {}; drop the recording onto it "
                            "for all, or raise --size-limit.",
                            part.frames, counted(part.frames + part.left, "frame"), recording.string()));
        }
        if (!part.damage.empty()) {
            exitCode = complain("view", ExitCode::BadData, printable(part.damage));
        }
    }
    const std::string text = page::pageWith(*page, "", elements);
    files::UnfinishedFile file(options.file);
    file.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    file.finish();
    fmt::print("{}\n", options.file.string());
    if (!options.noOpen && !openInBrowser(options.file)) {
        complain("view", ExitCode::Good, "no browser was found; open " + options.file.string() + " in one.");
    }
    return exitCode;
}

int attempt(const Options& options) {
    try {
        return view(options);
    } catch (const page::PageError& error) {
        return complain("view", ExitCode::BadData, error.what());
    } catch (const std::runtime_error& error) {
        return complain("view", ExitCode::BadData, printable(error.what()));
    }
}

}  // namespace

void addView(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("view", "Look at recordings in the browser and try settings on them");
    command
        ->add_option(
            "RECORDINGS", options->recordings,
            "Recordings for the page; the second is compared with the first. Others can be dropped onto it")
        ->expected(0, 2)
        ->type_name("");
    command->add_option("-o,--out", options->file, "The page to write")
        ->capture_default_str()
        ->type_name("FILE.html");
    command->add_option("--size-limit", options->limit, "Megabytes of recordings in the page")
        ->capture_default_str()
        ->check(CLI::Range(1U, 1000U))
        ->type_name("MB");
    command->add_option("--page", options->page, "The page of the workbench; by default that of this command")
        ->type_name("FILE.html");
    command->add_flag("--no-open", options->noOpen, "Write the page and print its path, no more");
    command->footer(
        "Example:\n  qor view room.zelta --no-open -o room.html\n\n"
        "Exit codes: 0 good; 1 the page does not hold all frames; 2 usage;\n"
        "            3 there is no page, it cannot be written, or a recording is damaged or cannot be "
        "read\n");
    command->callback([options, &exitCode] { exitCode = attempt(*options); });
}

}  // namespace qor
