// SPDX-License-Identifier: Apache-2.0

#include "qor/Sweep.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "qor/Arguments.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"

namespace qor {
namespace {

namespace fs = std::filesystem;

struct Options {
    std::vector<std::string> plan;  // the plan, then recordings
    std::string folder = "out/sweep";
    unsigned int jobs = 0;
    std::string scheduler;
    std::string best;
    bool resume = false;
    bool force = false;
    bool pictures = false;
    bool report = false;
    bool quiet = false;
};

fs::path ownPath() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error);
}

// Of an installation and of the build tree.
std::array<fs::path, 2> packagePlaces() {
    const fs::path folder = ownPath().parent_path();
    return {(folder / "../lib/python3/dist-packages").lexically_normal(),
            (folder / "../../python").lexically_normal()};
}

std::optional<fs::path> findPackage() {
    std::error_code error;
    for (const fs::path& place : packagePlaces()) {
        if (fs::exists(place / "qor/sweep/__main__.py", error)) {
            return place;
        }
    }
    return std::nullopt;
}

// Debian's own Python has Debian's modules; another may come first on PATH.
std::string pythonProgram() {
    const char* const named = std::getenv("QOR_PYTHON");
    if (named != nullptr && *named != '\0') {
        return named;
    }
    return access("/usr/bin/python3", X_OK) == 0 ? "/usr/bin/python3" : "python3";
}

void putFirst(const char* variable, const std::string& path) {
    const char* const before = std::getenv(variable);
    const std::string value = before == nullptr || *before == '\0' ? path : path + ":" + before;
    setenv(variable, value.c_str(), 1);
}

// The words for Python. A text that the user gave stands after its option with "=", whatever it begins with.
std::vector<std::string> wordsOf(const Options& options) {
    std::vector<std::string> words{pythonProgram(), "-m", "qor.sweep", "--out=" + options.folder};
    if (options.jobs > 0) {
        words.push_back(fmt::format("--jobs={}", options.jobs));
    }
    if (!options.scheduler.empty()) {
        words.push_back("--scheduler=" + options.scheduler);
    }
    if (!options.best.empty()) {
        words.push_back("--best=" + options.best);
    }
    const std::array<std::pair<bool, const char*>, 5> flags{{{options.resume, "--resume"},
                                                             {options.force, "--force"},
                                                             {options.pictures, "--pictures"},
                                                             {options.report, "--report"},

                                                             {options.quiet, "--quiet"}}};
    for (const auto& [given, name] : flags) {
        if (given) {
            words.emplace_back(name);
        }
    }
    words.emplace_back("--");
    words.insert(words.end(), options.plan.begin(), options.plan.end());
    return words;
}

// Becomes Python, so that signals and the exit code are those of the sweep. Returns only if that fails.
int becomePython(const Options& options) {
    const std::optional<fs::path> package = findPackage();
    if (!package) {
        std::string places;
        for (const fs::path& place : packagePlaces()) {
            places += (places.empty() ? "" : ", ") + place.string();
        }
        return complain("sweep", ExitCode::BadData, "the Python package qor is in none of " + places + ".");
    }
    putFirst("PYTHONPATH", package->string());
    setenv("QOR_COMMAND", ownPath().c_str(), 0);
    std::vector<std::string> words = wordsOf(options);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    std::fflush(nullptr);
    execvp(arguments.front(), arguments.data());
    return complain("sweep", ExitCode::BadData,
                    fmt::format("{} cannot be started: {}. A sweep needs Python 3.11 and Dask, in Debian "
                                "python3-distributed.",
                                words.front(), std::strerror(errno)));
}

}  // namespace

void addSweep(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand(
        "sweep",
        "Measure many recordings with many settings, on all cores or on a cluster: one table of figures");
    command
        ->add_option(
            "PLAN", options->plan,
            "Recordings and settings, a TOML file; after it recordings in place of the plan's: files,\n"
            "folders, patterns. Without a plan --best and --report look at the sweep in --out")
        ->type_name("");
    command
        ->add_option("-o,--out", options->folder,
                     "Folder of the table and of what --resume needs, made if needed")
        ->check(checkNotEmpty)
        ->type_name("FOLDER")
        ->capture_default_str();
    command
        ->add_option("-j,--jobs", options->jobs,
                     "Worker processes on this machine; by default one for each core")
        ->check(CLI::Range(1U, 1024U))
        ->type_name("N");
    command
        ->add_option("--scheduler", options->scheduler,
                     "Use the Dask cluster of this scheduler, for example tcp://host:8786")
        ->check(checkNotEmpty)
        ->type_name("ADDRESS");
    command->add_flag(
        "--resume", options->resume,
        "Keep the rows that --out holds of equal recordings, settings and versions, and measure\n"
        "the others");
    command->add_flag("--force", options->force, "Begin anew in a folder that holds a sweep");
    command->add_flag("--pictures", options->pictures, "Also draw the first frame of each row");
    command
        ->add_option("--best", options->best,
                     "Print the best settings as a file for --settings: the figure that is to be least, or\n"
                     "\"max FIGURE\", and conditions, for example \"rms_mm where valid_share > 0.9\"")
        ->check(checkNotEmpty)
        ->type_name("WISH");
    command->add_flag(
        "--report", options->report,
        "Write report.html into the folder: the figure of --best over each setting, pictures of\n"
        "the best and the worst, the table");
    command->add_flag("--quiet", options->quiet, "No progress and no report; only what is wrong");
    command->footer(
        "docs/archives.md has the form of a plan.\n"
        "\nExample:\n"
        "  qor sweep plan.toml room.zelta --out sweep --best \"rms_mm where valid_share > 0.9\" > best.txt\n"
        "  qor run room.zelta --settings best.txt\n"
        "\nExit codes: 0 good; 1 rows failed, no settings are the best, or interrupted; 2 usage;\n"
        "            3 Python, its package qor or Dask is missing, or a file could not be written\n");
    command->callback([options, &exitCode] { exitCode = becomePython(*options); });
}

}  // namespace qor
