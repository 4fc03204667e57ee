// SPDX-License-Identifier: Apache-2.0

#include "qor/Run.h"

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <system_error>

#include "plugin/Plugin.h"
#include "qor/Arguments.h"
#include "qor/ChannelSelection.h"
#include "qor/ExitCode.h"
#include "qor/Interruption.h"
#include "qor/Progress.h"
#include "qor/Replay.h"
#include "qor/RunOptions.h"
#include "qor/RunProducts.h"
#include "qor/RunReport.h"
#include "qor/RunVerdict.h"

namespace qor {
namespace {

RunOutcome process(const RunOptions& options, const ReplaySettings& settings, RunProducts& products) {
    RunOutcome outcome;
    outcome.expected = expectedOutput(settings);
    outcome.pluginPath = options.plugin.empty() ? plugin::defaultPlugin() : options.plugin;
    outcome.results = settings.results;
    plugin::Plugin algorithm(outcome.pluginPath);
    outcome.pluginName = algorithm.name();
    outcome.pluginVersion = algorithm.version();
    if (!options.json && !options.quiet) {
        printExpectation(options, outcome);
    }
    listenForInterruption();
    Progress progress("qor run", options.quiet);
    ReplayListener listener;
    listener.frame = [&products](std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
                                 const recording::SimulationSettings* simulation) {
        products.add(number, frame, truth, simulation);
    };
    listener.trouble = [&](const std::string& sentence) {
        outcome.troubles.push_back(sentence);
        if (outcome.troubles.size() <= mostSentences) {
            progress.clear();
            complainOfRun(printable(sentence));
        }
    };
    listener.progress = [&progress](double share, std::size_t frames) { progress.update(share, frames); };
    listener.interrupted = interrupted;
    outcome.counts = replay(settings, algorithm, listener);
    outcome.seconds = progress.seconds();
    return outcome;
}

// Ends the command without its report.
int giveUp(const RunOptions& options, int exitCode, const std::string& sentence) {
    complainOfRun(sentence);
    if (options.json) {
        printJsonError("run", sentence);
    }
    return exitCode;
}

int run(const RunOptions& options) {
    const ReplaySettings settings = replaySettings(options);
    std::error_code error;
    if (std::filesystem::equivalent(settings.recording, settings.results, error)) {
        return giveUp(
            options, ExitCode::Usage,
            settings.results.string() + " is the recording itself; choose another folder with --out.");
    }
    try {
        checkOverrides(settings.overrides, settings.recording);
    } catch (const recording::RecordError& problem) {
        return giveUp(options, ExitCode::Usage, "--set: " + printable(problem.what()));
    } catch (const recording::RecordingError& problem) {
        return giveUp(options, ExitCode::BadData, problem.what());
    }
    try {
        RunProducts products(options);
        const RunOutcome outcome = process(options, settings, products);
        if (options.json) {
            printJson(runJson(options, outcome, products));
        } else if (!options.quiet) {
            printRun(options, outcome, products);
        }
        return judgeRun(options, outcome, products);
    } catch (const std::runtime_error& problem) {
        return giveUp(options, ExitCode::BadData, problem.what());
    }
}

}  // namespace

void addRun(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<RunOptions>();
    CLI::App* command = app.add_subcommand(
        "run", "Feed a recording to the plug-in, write its results, compare them with the truth");
    addRunOptions(*command, *options);
    command->footer(
        channelList() +
        "\nPictures are those of the first frame, or of all that --frames selects.\n"
        "\nExit codes: 0 good; 1 nothing written, no valid pixel, an incomplete frame, or\n"
        "            interrupted; 2 usage;\n"
        "            3 the plug-in failed, the recording is damaged, or a file could not be written\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace qor
