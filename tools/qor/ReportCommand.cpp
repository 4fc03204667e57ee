// SPDX-License-Identifier: Apache-2.0

#include "qor/ReportCommand.h"

#include <fmt/format.h>
#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): mkdtemp is of POSIX

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "files/UnfinishedFile.h"
#include "page/EmbeddedRecording.h"
#include "page/Page.h"
#include "plugin/Plugin.h"
#include "qor/Arguments.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"
#include "qor/Interruption.h"
#include "qor/Measurement.h"
#include "qor/Progress.h"
#include "qor/Replay.h"
#include "qor/Report.h"
#include "qor/ReportPage.h"
#include "qor/ResultReading.h"
#include "qor/RunOptions.h"
#include "qor/SettingsLog.h"
#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "recording/Record.h"
#include "simulation/RawPacking.h"

namespace qor {
namespace {

struct Options {
    std::vector<std::filesystem::path> files;  // recordings and results
    std::filesystem::path truth;
    std::filesystem::path file;  // to write
    std::filesystem::path page;
    RunOptions run;
    unsigned int limit = 10;  // MB
};

constexpr std::uint64_t megabyte = 1'000'000;
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

    // A folder of its own for the pictures of a scene.
    std::filesystem::path next() const { return path_ / std::to_string(count_++); }

 private:
    std::filesystem::path path_;
    mutable std::size_t count_ = 0;
};

// What the simulated camera sends if it is asked for nothing.
std::map<std::string, std::string> standardSettings() {
    simulation::CalibrationRequest request;
    request.frequencies = {60.0e6};
    simulation::RawImage image;
    image.phaseData.resize(simulation::rawImageBytes);
    std::vector<std::uint8_t> bytes =
        recording::ImagePackets(simulation::makeCalibration(request), {}).packetOf(image);
    recording::RecordedPacket packet{0, 0, bytes, {}};
    zelta::packet_parse(bytes.data(), static_cast<int>(bytes.size()), packet.chunks);
    SettingsLog log({});
    log.add(packet);
    const auto settings = log.settings();
    return {settings.begin(), settings.end()};
}

class Reporter {
 public:
    // Pictures take at most `pictureRoom` bytes.
    Reporter(const Options& options, const std::filesystem::path& file, const PictureFolder& folder,
             std::uint64_t pictureRoom)
        : options_(options), file_(file), folder_(folder), pictureRoom_(pictureRoom) {
        run_.file = file.filename().string();
    }

    ReportedRun make() {
        RunOptions settingsOptions = options_.run;
        settingsOptions.recording = file_;
        ReplaySettings settings = replaySettings(settingsOptions);
        settings.results = "/dev/null";
        recording::RecordingReader reader(file_);
        SettingsLog log(settings.overrides);
        if (holdsResults(reader)) {
            readResult(reader, settings, log);
        } else {
            runPlugin(reader, settings, log);
        }
        noteSettings(log, settings.overrides);
        for (auto& [products, measurement] : scenes_) {
            run_.scenes.push_back({std::move(products), measurement.figures().front()});
        }
        if (run_.scenes.empty()) {
            run_.findings.emplace_back("No frame was finished.");
        }
        return std::move(run_);
    }

    bool isDamaged() const { return isDamaged_; }
    bool isResult() const { return isResult_; }

 private:
    void runPlugin(recording::RecordingReader& reader, const ReplaySettings& settings, SettingsLog& log) {
        checkOverrides(settings.overrides, reader);
        plugin::Plugin algorithm(options_.run.plugin.empty() ? plugin::defaultPlugin() : options_.run.plugin);
        run_.origin = "A recording, run through " + algorithm.name() + " " + algorithm.version();
        Progress progress("qor report", options_.run.quiet);
        const ReplayCounts counts = replay(reader, settings, algorithm, listenerOf(log, progress));
        run_.packets = counts.read;
        if (!counts.damage.empty()) {
            run_.findings.push_back(counts.damage);
        }
        isDamaged_ = !counts.damage.empty() || counts.failed > 0;
    }

    void readResult(recording::RecordingReader& reader, const ReplaySettings& settings, SettingsLog& log) {
        if (!settings.overrides.empty()) {
            throw recording::RecordError("--set and --settings are for a recording; the result " +
                                         file_.string() + " was made with its settings.");
        }
        isResult_ = true;
        run_.origin = "A result";
        ResultListener listener;
        listener.packet = [this, &log](const recording::RecordedPacket& packet) {
            log.add(packet);
            noteExposure(packet);
        };
        listener.frame = [this](std::size_t number, const ResultFrame& frame, const zelta::Packet& result,
                                const simulation::Truth* truth,
                                const recording::SimulationSettings* simulation) {
            rays_ = raysIn(result);
            add(number, frame, truth, simulation);
        };
        listener.trouble = [this](int exitCode, const std::string& sentence) {
            isDamaged_ = isDamaged_ || exitCode == ExitCode::BadData;
            noteFinding(sentence);
        };
        listener.interrupted = interrupted;
        const ResultCounts counts = readResults(reader, settings.frames, options_.truth, listener);
        run_.packets = counts.packets;
        if (!counts.damage.empty()) {
            isDamaged_ = true;
            run_.findings.push_back(counts.damage);
        }
    }

    ReplayListener listenerOf(SettingsLog& log, Progress& progress) {
        ReplayListener listener;
        listener.feeding = [this, &log](const recording::RecordedPacket& packet) {
            log.add(packet);
            noteExposure(packet);
        };
        listener.scene = [this] { anotherScene_ = true; };
        listener.result = [this](const zelta::Packet& result) { rays_ = raysIn(result); };
        listener.frame = [this](std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
                                const recording::SimulationSettings* simulation) {
            add(number, frame, truth, simulation);
        };
        listener.trouble = [this](const std::string& sentence) { noteFinding(sentence); };
        listener.progress = [&progress](double share, std::size_t frames) { progress.update(share, frames); };
        listener.interrupted = interrupted;
        return listener;
    }

    void noteFinding(const std::string& sentence) {
        if (run_.findings.size() < mostSentences) {
            run_.findings.push_back(sentence);
        }
    }

    void noteSettings(const SettingsLog& log, const std::vector<Override>& overrides) {
        const std::map<std::string, std::string> standard = standardSettings();
        const auto isOfRun = [&overrides](const std::string& expression) {
            return std::any_of(overrides.begin(), overrides.end(),
                               [&](const Override& change) { return change.expression == expression; });
        };
        std::set<std::string> listed;
        for (const auto& [expression, value] : log.settings()) {
            listed.insert(expression);
            const auto known = standard.find(expression);
            if (known == standard.end() || known->second != value) {
                run_.changes.push_back(
                    {expression, value, known == standard.end() ? "" : known->second, isOfRun(expression)});
            }
        }
        for (const Override& change : overrides) {  // of other records, such as the calibration
            if (listed.insert(change.expression).second) {
                run_.changes.push_back({change.expression, change.value, "", true});
            }
        }
        run_.tellsSettings = !log.settings().empty();
        run_.settings = run_.tellsSettings ? log.text(run_.file) : "";
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
            scenes_.emplace_back(SceneProducts{}, Measurement({}));
        }
        auto& [products, measurement] = scenes_.back();
        products.add(number, frame, truth, simulation);
        measurement.add(number, frame, rays_, truth, simulation);
        if (run_.frames.size() < mostPictures || !options_.run.frames.empty()) {
            draw(number, frame, products, truth);
        }
    }

    void draw(std::size_t number, const ResultFrame& frame, SceneProducts& products,
              const simulation::Truth* truth) {
        if (run_.leftFrames > 0) {
            ++run_.leftFrames;
            return;
        }
        if (!products.pictures()) {
            products.setPictures(pictureSettings(products, frame));
        }
        std::vector<std::filesystem::path> pictures =
            writePictures(*products.pictures(), number, frame, products.errorsOf(frame, truth));
        std::erase_if(pictures, [](const std::filesystem::path& file) {
            return file.filename().string().ends_with("distance_mm.png");  // for programs, not for eyes
        });
        std::uint64_t letters = 0;  // of base 64
        for (const std::filesystem::path& picture : pictures) {
            letters += std::filesystem::file_size(picture) * 4 / 3 + 100;
        }
        if (letters > pictureRoom_) {
            run_.leftFrames = 1;
            return;
        }
        pictureRoom_ -= letters;
        run_.frames.push_back({number, pictures});
    }

    PictureSettings pictureSettings(const SceneProducts& scene, const ResultFrame& frame) const {
        PictureSettings settings;
        settings.folder = folder_.next();
        settings.subtitle = scene.simulation() ? describe(*scene.simulation()) : run_.file;
        settings.distance = distanceRangeOf(frame);
        settings.amplitude = amplitudeRangeOf(frame);
        settings.intensity = intensityRangeOf(frame);
        settings.error = 0.02;
        settings.enlargement = 2;
        return settings;
    }

    const Options& options_;
    const std::filesystem::path& file_;
    const PictureFolder& folder_;
    std::uint64_t pictureRoom_;
    ReportedRun run_;
    std::vector<std::pair<SceneProducts, Measurement>> scenes_;
    Rays rays_;  // of the latest result
    bool anotherScene_ = true;
    bool isDamaged_ = false;
    bool isResult_ = false;
};

// What the page takes along, and what there is to say about it.
struct Embedded {
    std::string elements;
    std::vector<std::string> notes;
};

Embedded recordingsFor(const Options& options, const std::vector<std::filesystem::path>& recordings,
                       std::uint64_t room) {
    const FrameSelection frames = readFrameSelection(options.run.frames).value_or(FrameSelection{});
    Embedded embedded;
    for (const std::filesystem::path& recording : recordings) {
        try {
            const page::EmbeddedRecording part =
                page::embed(recording, room / recordings.size(),
                            [&](std::size_t frame) { return frames.contains(frame); });
            embedded.elements += page::elementOf(part);
            embedded.notes.push_back(fmt::format(
                "The workbench after the report holds {} of {}{}.", counted(part.frames, "frame"),
                recording.filename().string(),
                part.left == 0 ? ""
                               : fmt::format("; {} more did not fit the page's limit of {} MB (--size-limit)",
                                             part.left, options.limit)));
        } catch (const recording::RecordingError& error) {
            embedded.notes.emplace_back(error.what());
        }
    }
    return embedded;
}

// The whole page.
std::string pageOf(const Options& options, const std::vector<ReportedRun>& runs,
                   const std::vector<std::filesystem::path>& recordings) {
    const std::string title = "Report of " + runs.front().file;
    const auto page = options.page.empty() ? page::defaultPage() : options.page;
    if (!page) {
        return page::reportAlone(title,
                                 reportPart(runs, {"The workbench is not in this page: it was not built."}));
    }
    if (recordings.empty()) {  // a workbench without a recording shows nothing
        return page::reportAlone(title, reportPart(runs, {}));
    }
    constexpr std::uint64_t roomForNotes = 4000;
    const std::uint64_t limit = megabyte * options.limit;
    const std::uint64_t taken = page::pageWith(*page, reportPart(runs, {}), "").size() + roomForNotes;
    if (taken >= limit) {
        return page::reportAlone(
            title, reportPart(runs, {fmt::format("The workbench does not fit the page's limit of {} MB "
                                                 "(--size-limit).",
                                                 options.limit)}));
    }
    const Embedded embedded = recordingsFor(options, recordings, limit - taken);
    return page::pageWith(*page, reportPart(runs, embedded.notes), embedded.elements);
}

void writePage(const Options& options, const std::string& text) {
    files::UnfinishedFile file(options.file);
    file.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    file.finish();
    if (!options.run.quiet) {
        fmt::print("{}   {} of at most {} MB\n", options.file.string(), byteText(text.size()), options.limit);
    }
}

int report(const Options& options) {
    const PictureFolder folder;
    std::vector<ReportedRun> runs;
    std::vector<std::filesystem::path> recordings;
    int exitCode = ExitCode::Good;
    // Half of the page for pictures, half for frames and the workbench.
    const std::uint64_t pictureRoom = megabyte * options.limit / 2 / options.files.size();
    for (const std::filesystem::path& file : options.files) {
        Reporter reporter(options, file, folder, pictureRoom);
        runs.push_back(reporter.make());
        if (!reporter.isResult()) {
            recordings.push_back(file);
        }
        const int code = reporter.isDamaged()           ? ExitCode::BadData
                         : runs.back().findings.empty() ? ExitCode::Good
                                                        : ExitCode::Findings;
        exitCode = std::max<int>(exitCode, code);
        for (const std::string& finding : runs.back().findings) {
            complain("report", code, printable(finding));
        }
    }
    if (!options.truth.empty() && recordings.size() == options.files.size()) {
        return complain("report", ExitCode::Usage, "--truth is for a result; a recording has its own truth.");
    }
    if (!options.truth.empty()) {
        recordings.push_back(options.truth);
    }
    const std::string text = pageOf(options, runs, recordings);
    if (text.size() > megabyte * options.limit) {
        return complain("report", ExitCode::BadData,
                        fmt::format("the report alone takes {}; raise --size-limit.", byteText(text.size())));
    }
    writePage(options, text);
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
    CLI::App* command = app.add_subcommand("report",
                                           "Write one page about recordings or results: figures, pictures, "
                                           "findings, and the frames to try settings\n"
                                           "on");
    command
        ->add_option("FILES", options->files,
                     "Recordings, which are run through the plug-in, and results of qor run")
        ->required()
        ->type_name("");
    command
        ->add_option(
            "--truth", options->truth,
            "Of a result: the recording that it was made of, with its truth; the page takes its frames "
            "along")
        ->check(checkNotEmpty)
        ->type_name("RECORDING");
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
