// SPDX-License-Identifier: Apache-2.0

#include "qor/Run.h"

#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "files/StandardOutput.h"
#include "files/UnfinishedFile.h"
#include "plugin/Plugin.h"
#include "qor/Arguments.h"
#include "qor/ChannelSelection.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"
#include "qor/Interruption.h"
#include "qor/Progress.h"
#include "qor/Replay.h"
#include "qor/RunFolder.h"
#include "qor/RunOptions.h"
#include "qor/RunProducts.h"
#include "qor/RunReport.h"
#include "qor/RunVerdict.h"
#include "qor/SettingsLog.h"

namespace qor {
namespace {

void writeSettings(const std::filesystem::path& path, const std::string& text) {
    files::UnfinishedFile file(path);
    file.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    file.finish();
}

// Without a folder, only the results are written, to a stream.
RunOutcome process(const RunOptions& options, const ReplaySettings& settings,
                   recording::RecordingReader& reader, RunFolder* folder, RunProducts& products) {
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
    if (folder != nullptr) {
        folder->begin();
    }
    SettingsLog settingsLog(settings.overrides);
    listenForInterruption();
    Progress progress("qor run", options.quiet);
    ReplayListener listener;
    listener.scene = [&products] { products.beginScene(); };
    listener.frame = [&products](std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
                                 const recording::SimulationSettings* simulation) {
        products.add(number, frame, truth, simulation);
    };
    listener.trouble = [&](const std::string& sentence) {
        outcome.troubles.push_back(sentence);
        if (outcome.troubles.size() <= mostSentences) {
            progress.clear();
            complain("run", ExitCode::Findings, sentence);
        }
    };
    listener.progress = [&progress](double share, std::size_t frames) { progress.update(share, frames); };
    listener.interrupted = interrupted;
    if (folder != nullptr) {
        listener.feeding = [&settingsLog](const recording::RecordedPacket& packet) {
            settingsLog.add(packet);
        };
    }
    outcome.counts = replay(reader, settings, algorithm, listener);
    outcome.seconds = progress.seconds();
    if (folder != nullptr) {
        outcome.notes = {options.folder / RunFolder::settingsName, options.folder / RunFolder::listName};
        writeSettings(outcome.notes[0], settingsLog.text(recording::nameOf(options.recording)));
    }
    return outcome;
}

// With settings that fit the recording.
int runChecked(const RunOptions& options, const ReplaySettings& settings,
               recording::RecordingReader& reader) {
    std::optional<RunFolder> folder;
    if (!isOneFile(options.folder)) {
        folder.emplace(options.folder, settings.recording, options.force);
    }
    RunFolder* const place = folder ? &*folder : nullptr;
    RunProducts products(options, place);
    const RunOutcome outcome = process(options, settings, reader, place, products);
    const Complaints complaints = complaintsOf(options, outcome, products);
    if (options.json) {
        printJson(runJson(options, outcome, products, complaints));
    } else if (!options.quiet) {
        printRun(options, outcome, products);
    }
    if (outcome.troubles.size() > mostSentences) {
        complain("run", ExitCode::Findings,
                 fmt::format("{} more of this kind.", outcome.troubles.size() - mostSentences));
    }
    return complaints.tell(outcome.troubles.size());
}

int runOpened(const RunOptions& options, const ReplaySettings& settings) {
    recording::RecordingReader reader(settings.recording);
    std::error_code error;
    if (std::filesystem::equivalent(settings.recording, settings.results, error)) {
        return giveUp(
            "run", options.json, ExitCode::Usage,
            settings.results.string() + " is the recording itself; choose another folder with --out.");
    }
    try {
        checkOverrides(settings.overrides, reader);
    } catch (const recording::RecordError& problem) {
        return giveUp("run", options.json, ExitCode::Usage, problem.what());
    }
    return runChecked(options, settings, reader);
}

int run(const RunOptions& options) {
    if (files::isStandardOutput(options.folder)) {
        files::standardOutputForData();
    }
    if (isOneFile(options.folder) && !options.clouds.empty()) {
        return giveUp("run", options.json, ExitCode::Usage, "--cloud needs a folder as --out.");
    }
    std::optional<ReplaySettings> settings;
    try {
        settings = replaySettings(options);
    } catch (const recording::RecordError& problem) {
        return giveUp("run", options.json, ExitCode::Usage, problem.what());
    } catch (const recording::RecordingError& problem) {
        return giveUp("run", options.json, ExitCode::BadData, problem.what());
    }
    try {
        return runOpened(options, *settings);
    } catch (const FolderInUse& problem) {
        return giveUp("run", options.json, ExitCode::Usage, problem.what());
    } catch (const std::runtime_error& problem) {
        return giveUp("run", options.json, ExitCode::BadData, problem.what());
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
        "\nExample:\n"
        "  qor run room.zelta --out room --set QorDistanceImageIFInput.customization.minAmplitude=50\n"
        "\nExit codes: 0 good; 1 nothing written, no valid pixel, an incomplete frame, or\n"
        "            interrupted; 2 usage;\n"
        "            3 the plug-in failed, the recording is damaged, or a file could not be written\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace qor
