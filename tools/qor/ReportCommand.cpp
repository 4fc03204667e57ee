// SPDX-License-Identifier: Apache-2.0

#include "qor/ReportCommand.h"

#include <fmt/format.h>
#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): mkdtemp is of POSIX

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "files/UnfinishedFile.h"
#include "page/EmbeddedRecording.h"
#include "page/Page.h"
#include "plugin/Plugin.h"
#include "qor/Arguments.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"
#include "qor/Interruption.h"
#include "qor/Progress.h"
#include "qor/Replay.h"
#include "qor/Report.h"
#include "qor/ReportPage.h"
#include "qor/RunOptions.h"
#include "qor/SettingsLog.h"
#include "recording/Channels.h"
#include "recording/Record.h"

namespace qor {
namespace {

struct Options {
    std::vector<std::filesystem::path> recordings;
    std::filesystem::path file;
    std::filesystem::path page;
    RunOptions run;
    unsigned int limit = 10;  // MB
};

constexpr std::size_t mostPictures = 3;  // frames with pictures, unless --frames selects some

// A folder for the pictures, gone at the end.
class PictureFolder {
 public:
    PictureFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "qor-report-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("No folder for pictures can be made in " +
                                     std::filesystem::temp_directory_path().string() + ".");
        }
        path_ = name;
    }
    ~PictureFolder() {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
    }
    PictureFolder(const PictureFolder&) = delete;
    PictureFolder& operator=(const PictureFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

 private:
    std::filesystem::path path_;
};

class Reporter {
 public:
    Reporter(const Options& options, const std::filesystem::path& recording, const PictureFolder& folder)
        : options_(options), recording_(recording), folder_(folder) {
        run_.recording = recording.filename().string();
    }

    ReportedRun make() {
        RunOptions settingsOptions = options_.run;
        settingsOptions.recording = recording_;
        ReplaySettings settings = replaySettings(settingsOptions);
        settings.results = "/dev/null";
        for (const Override& change : settings.overrides) {
            run_.changes.emplace_back(change.expression, change.value);
        }
        recording::RecordingReader reader(recording_);
        checkOverrides(settings.overrides, reader);
        plugin::Plugin algorithm(options_.run.plugin.empty() ? plugin::defaultPlugin() : options_.run.plugin);
        run_.plugin = algorithm.name() + " " + algorithm.version();
        SettingsLog log(settings.overrides);
        Progress progress("qor report", options_.run.quiet);
        const ReplayCounts counts = replay(reader, settings, algorithm, listenerOf(log, progress));
        run_.packets = counts.read;
        run_.settings = log.text(run_.recording);
        if (!counts.damage.empty()) {
            run_.findings.push_back(counts.damage);
        }
        if (counts.frames == 0) {
            run_.findings.emplace_back("No frame was finished.");
        }
        isDamaged_ = !counts.damage.empty() || counts.failed > 0;
        return std::move(run_);
    }

    bool isDamaged() const { return isDamaged_; }

 private:
    ReplayListener listenerOf(SettingsLog& log, Progress& progress) {
        ReplayListener listener;
        listener.feeding = [this, &log](const recording::RecordedPacket& packet) {
            log.add(packet);
            noteExposure(packet);
        };
        listener.scene = [this] { anotherScene_ = true; };
        listener.frame = [this](std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
                                const recording::SimulationSettings* simulation) {
            add(number, frame, truth, simulation);
        };
        listener.trouble = [this](const std::string& sentence) {
            if (run_.findings.size() < mostSentences) {
                run_.findings.push_back(sentence);
            }
        };
        listener.progress = [&progress](double share, std::size_t frames) { progress.update(share, frames); };
        listener.interrupted = interrupted;
        return listener;
    }

    void noteExposure(const recording::RecordedPacket& packet) {
        const zelta::ZeltaChunk* const input = recording::findChunk(packet.chunks, recording::channel::input);
        if (input == nullptr) {
            return;
        }
        const std::string place = "QorDistanceImageIFInput.phaseInfo.";
        try {
            if (recording::numberOf(*input, place + "sequenceCounter") == 0.0) {
                run_.exposures.emplace_back();
            }
            const double time = recording::numberOf(*input, place + "exposureTime");
            std::vector<double>& times =
                run_.exposures.empty() ? run_.exposures.emplace_back() : run_.exposures.back();
            if (std::find(times.begin(), times.end(), time) == times.end()) {
                times.push_back(time);
            }
        } catch (const recording::RecordError&) {
            return;  // the plug-in says what is wrong with the record
        }
    }

    void add(std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
             const recording::SimulationSettings* simulation) {
        if (anotherScene_) {
            anotherScene_ = false;
            run_.scenes.emplace_back();
        }
        SceneProducts& scene = run_.scenes.back();
        scene.add(number, frame, truth, simulation);
        if (run_.frames.size() >= mostPictures && options_.run.frames.empty()) {
            return;
        }
        if (!scene.pictures()) {
            scene.setPictures(pictureSettings(scene, frame));
        }
        PictureSettings settings = *scene.pictures();
        std::vector<std::filesystem::path> pictures =
            writePictures(settings, number, frame, scene.errorsOf(frame, truth));
        std::erase_if(pictures, [](const std::filesystem::path& file) {
            return file.filename().string().ends_with("distance_mm.png");  // for programs, not for eyes
        });
        run_.frames.push_back({number, pictures});
    }

    PictureSettings pictureSettings(const SceneProducts& scene, const ResultFrame& frame) const {
        PictureSettings settings;
        settings.folder = folder_.path() / recording_.filename();
        settings.subtitle = scene.simulation() ? describe(*scene.simulation()) : run_.recording;
        settings.distance = distanceRangeOf(frame);
        settings.amplitude = amplitudeRangeOf(frame);
        settings.intensity = intensityRangeOf(frame);
        settings.error = 0.02;
        settings.enlargement = 2;
        return settings;
    }

    const Options& options_;
    const std::filesystem::path& recording_;
    const PictureFolder& folder_;
    ReportedRun run_;
    bool anotherScene_ = true;
    bool isDamaged_ = false;
};

// The frames that the page takes along; none without the page of the workbench.
std::string recordingsFor(const Options& options, std::size_t room) {
    const FrameSelection frames = readFrameSelection(options.run.frames).value_or(FrameSelection{});
    std::string elements;
    for (const std::filesystem::path& recording : options.recordings) {
        try {
            elements +=
                page::elementOf(page::embed(recording, room / options.recordings.size(),
                                            [&](std::size_t frame) { return frames.contains(frame); }));
        } catch (const recording::RecordingError& error) {
            complain("report", ExitCode::Findings, printable(error.what()));
        }
    }
    return elements;
}

int report(const Options& options) {
    const PictureFolder folder;
    std::vector<ReportedRun> runs;
    int exitCode = ExitCode::Good;
    for (const std::filesystem::path& recording : options.recordings) {
        Reporter reporter(options, recording, folder);
        runs.push_back(reporter.make());
        const int code = reporter.isDamaged()           ? ExitCode::BadData
                         : runs.back().findings.empty() ? ExitCode::Good
                                                        : ExitCode::Findings;
        exitCode = std::max<int>(exitCode, code);
        for (const std::string& finding : runs.back().findings) {
            complain("report", code, printable(finding));
        }
    }
    const std::string part = reportPart(runs);
    const auto page = options.page.empty() ? page::defaultPage() : options.page;
    std::string text;
    if (page) {
        const std::uint64_t limit = 1'000'000ULL * options.limit;
        const std::string plain = page::pageWith(*page, part, "");
        text = plain.size() >= limit
                   ? plain
                   : page::pageWith(*page, part, recordingsFor(options, limit - plain.size()));
    } else {
        text = page::reportAlone("Report of " + runs.front().recording, part);
    }
    files::UnfinishedFile file(options.file);
    file.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    file.finish();
    if (!options.run.quiet) {
        fmt::print("{}   {}{}\n", options.file.string(), byteText(text.size()),
                   page ? "" : ", without the workbench, which was not built");
    }
    return exitCode;
}

int attempt(const Options& options) {
    try {
        listenForInterruption();
        return report(options);
    } catch (const recording::RecordError& error) {
        return complain("report", ExitCode::Usage, printable(error.what()));
    } catch (const page::PageError& error) {
        return complain("report", ExitCode::Usage, error.what());
    } catch (const std::runtime_error& error) {
        return complain("report", ExitCode::BadData, printable(error.what()));
    }
}

}  // namespace

void addReport(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand(
        "report",
        "Write one page about recordings: figures, pictures, findings, and the frames to try settings on");
    command->add_option("RECORDINGS", options->recordings, "Recordings")->required()->type_name("");
    command->add_option("-o,--out", options->file, "The page to write")->required()->type_name("FILE.html");
    command
        ->add_option("--frames", options->run.frames,
                     "These frames, numbered from 0, with pictures; B is not included. By default all\n"
                     "count for the figures, and the first three have pictures")
        ->check(checkFrameSelection)
        ->type_name("A:B:STEP");
    command->add_option("--set", options->run.overrides, "Give a member another value, as qor run does")
        ->check(checkOverride)
        ->allow_extra_args(false)
        ->type_name("RECORD.MEMBER=VALUE");
    command->add_option("--settings", options->run.settingsFiles, "Take such values from a file")
        ->allow_extra_args(false)
        ->type_name("FILE");
    command->add_option("--size-limit", options->limit, "Megabytes of the page")
        ->capture_default_str()
        ->check(CLI::Range(1U, 1000U))
        ->type_name("MB");
    command->add_option("--page", options->page, "The page of the workbench; by default that of this command")
        ->type_name("FILE.html");
    command->add_option("--plugin", options->run.plugin, "Plug-in; by default that of this command")
        ->type_name("FILE");
    command->add_flag("--quiet", options->run.quiet, "No progress; print only what is wrong");
    command->footer(
        "Example:\n  qor report room.zelta -o report.html\n\n"
        "Exit codes: 0 good; 1 findings, which the page lists; 2 usage;\n"
        "            3 the plug-in failed, a recording is damaged, or the page could not be written\n");
    command->callback([options, &exitCode] { exitCode = attempt(*options); });
}

}  // namespace qor
