// SPDX-License-Identifier: Apache-2.0

#include "qor/Run.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "plugin/Plugin.h"
#include "qor/Accuracy.h"
#include "qor/Arguments.h"
#include "qor/ExitCode.h"
#include "qor/Interruption.h"
#include "qor/Pictures.h"
#include "qor/Progress.h"
#include "qor/Replay.h"
#include "qor/Report.h"
#include "qor/StandardError.h"
#include "qor/TemporalNoise.h"
#include "recording/Channels.h"
#include "simulation/Image.h"

namespace qor {
namespace {

struct Options {
    std::filesystem::path recording;
    std::filesystem::path plugin;
    std::filesystem::path folder = "out/run";
    std::vector<std::string> overrides;
    bool shortForm = false;
    std::string frames;
    std::vector<std::string> clouds;
    std::string distanceRange;
    std::string amplitudeRange;
    double errorRange = 0.0;  // millimetres; 0 chooses by the noise
    int enlargement = 4;
    bool json = false;
    bool quiet = false;
};

// More than so many sentences about packets help nobody.
constexpr std::size_t mostSentences = 20;

// What comes of the frames, as they come.
class Products {
 public:
    explicit Products(const Options& options) : options_(options) {}

    void add(std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
             const recording::SimulationSettings* simulation) {
        ++frames_;
        temporalNoise_.add(frame);
        for (const std::uint8_t confidence : frame.confidence) {
            validPixels_ += (confidence & invalidBit) == 0 ? 1 : 0;
        }
        if (simulation != nullptr) {
            simulation_ = *simulation;
        }
        if (!accuracy_) {
            accuracy_.emplace(simulation_ ? simulation_->frequencies : std::vector<double>{});
        }
        if (truth != nullptr) {
            accuracy_->add(*truth, frame.distance, frame.confidence);
        }
        if (frames_ == 1 || !options_.frames.empty()) {
            draw(number, frame, truth);
        }
    }

    std::size_t frames() const { return frames_; }
    std::size_t validPixels() const { return validPixels_; }
    double validShare() const {
        return frames_ == 0 ? 0.0
                            : static_cast<double>(validPixels_) /
                                  static_cast<double>(frames_ * simulation::pixelCount);
    }
    const std::optional<recording::SimulationSettings>& simulation() const { return simulation_; }
    const std::vector<std::filesystem::path>& files() const { return files_; }
    const std::vector<std::string>& missing() const { return missing_; }

    TemporalNoiseSummary temporalNoise() const { return temporalNoise_.summary(); }

    // Figures against the truth, if there was one.
    std::optional<AccuracySummary> accuracy() const {
        if (!accuracy_ || accuracy_->frames() == 0) {
            return std::nullopt;
        }
        return accuracy_->summary();
    }

 private:
    void draw(std::size_t number, const ResultFrame& frame, const simulation::Truth* truth) {
        std::vector<float> errors;
        if (truth != nullptr) {
            errors.resize(simulation::pixelCount);
            for (std::size_t i = 0; i < errors.size(); ++i) {
                errors[i] = static_cast<float>(
                    accuracy_->errorOf(static_cast<double>(frame.distance[i]), truth->distance[i]));
            }
        }
        if (!pictures_) {
            pictures_ = pictureSettings(frame);
        }
        const auto paths = writePictures(*pictures_, number, frame, errors);
        files_.insert(files_.end(), paths.begin(), paths.end());
        for (const std::string& format : options_.clouds) {
            if (frame.coordinates) {
                files_.push_back(writeCloud(options_.folder, number, format, frame));
            } else {
                missing_.push_back(fmt::format(
                    "frame {} carries no valid coordinates (coord3Dinvalid is not 0); no {} was written",
                    number, filePath(options_.folder, number, "points." + format).string()));
            }
        }
    }

    // One scale for all pictures of a run, so that they can be compared.
    PictureSettings pictureSettings(const ResultFrame& frame) const {
        PictureSettings settings;
        settings.folder = options_.folder;
        settings.subtitle = simulation_ ? describe(*simulation_) : options_.recording.filename().string();
        settings.distance = readRange(options_.distanceRange)
                                .value_or(simulation_ ? Range{simulation_->nearest, simulation_->furthest}
                                                      : distanceRangeOf(frame));
        settings.amplitude = readRange(options_.amplitudeRange).value_or(settings.amplitude);
        settings.intensity = intensityRangeOf(frame);
        const double standardRange = simulation_ && !simulation_->photonNoise ? 2.0 : 20.0;
        settings.error = (options_.errorRange > 0.0 ? options_.errorRange : standardRange) / 1000.0;
        settings.enlargement = options_.enlargement;
        return settings;
    }

    const Options& options_;
    std::size_t frames_ = 0;
    std::size_t validPixels_ = 0;
    TemporalNoise temporalNoise_;
    std::optional<Accuracy> accuracy_;
    std::optional<recording::SimulationSettings> simulation_;
    std::optional<PictureSettings> pictures_;
    std::vector<std::filesystem::path> files_;
    std::vector<std::string> missing_;
};

struct Outcome {
    ReplayCounts counts;
    double seconds = 0.0;
    std::string pluginName;
    std::string pluginVersion;
    std::filesystem::path pluginPath;
    std::filesystem::path results;
    std::vector<std::string> troubles;
};

void complain(const std::string& sentence) {
    printError("qor run: {}\n", sentence);
}

Outcome process(const Options& options, const ReplaySettings& settings, Products& products) {
    Outcome outcome;
    outcome.pluginPath = options.plugin.empty() ? plugin::defaultPlugin() : options.plugin;
    outcome.results = settings.results;
    plugin::Plugin algorithm(outcome.pluginPath);
    outcome.pluginName = algorithm.name();
    outcome.pluginVersion = algorithm.version();
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
            complain(printable(sentence));
        }
    };
    listener.progress = [&progress](double share, std::size_t frames) { progress.update(share, frames); };
    listener.interrupted = interrupted;
    outcome.counts = replay(settings, algorithm, listener);
    outcome.seconds = progress.seconds();
    return outcome;
}

void printText(const Options& options, const Outcome& outcome, const Products& products) {
    const ReplayCounts& counts = outcome.counts;
    fmt::print("Ran {} through {} {} ({})\n\n", options.recording.string(), outcome.pluginName,
               outcome.pluginVersion, outcome.pluginPath.string());
    fmt::print("  packets read           {:>9}{}\n", counts.read,
               counts.stopped ? "      up to the last selected frame" : "");
    fmt::print("  packets processed      {:>9}\n", counts.processed);
    fmt::print("  packets failed         {:>9}\n", counts.failed);
    fmt::print("  packets written        {:>9}      {}\n", counts.written, byteText(counts.writtenBytes));
    fmt::print("  finished frames        {:>9}      {:.1f} frames per second\n", products.frames(),
               outcome.seconds > 0.0 ? static_cast<double>(products.frames()) / outcome.seconds : 0.0);
    fmt::print("  valid pixels           {:>9.2f} %\n", 100.0 * products.validShare());
    if (const auto accuracy = products.accuracy(); accuracy && products.simulation()) {
        printAccuracy(*accuracy, *products.simulation());
    }
    printTemporalNoise(products.temporalNoise());
    fmt::print("\nWritten\n");
    if (counts.written > 0) {
        fmt::print("  {}\n", outcome.results.string());
    }
    for (const std::filesystem::path& path : products.files()) {
        fmt::print("  {}\n", path.string());
    }
}

nlohmann::ordered_json toJson(const Options& options, const Outcome& outcome, const Products& products) {
    const ReplayCounts& counts = outcome.counts;
    nlohmann::ordered_json files = nlohmann::ordered_json::array();
    if (counts.written > 0) {
        files.push_back(outcome.results.string());
    }
    for (const std::filesystem::path& path : products.files()) {
        files.push_back(path.string());
    }
    nlohmann::ordered_json document{{"command", "run"},
                                    {"version", QOR_VERSION},
                                    {"recording", options.recording.string()},
                                    {"plugin",
                                     {{"path", outcome.pluginPath.string()},
                                      {"name", outcome.pluginName},
                                      {"version", outcome.pluginVersion}}},
                                    {"packets",
                                     {{"read", counts.read},
                                      {"processed", counts.processed},
                                      {"failed", counts.failed},
                                      {"written", counts.written},
                                      {"writtenBytes", counts.writtenBytes}}},
                                    {"interrupted", counts.interrupted},
                                    {"damage", counts.damage.empty() ? nlohmann::ordered_json(nullptr)
                                                                     : nlohmann::ordered_json(counts.damage)},
                                    {"troubles", outcome.troubles},
                                    {"seconds", outcome.seconds},
                                    {"finishedFrames", products.frames()},
                                    {"pixels", products.frames() * simulation::pixelCount},
                                    {"validShare", products.validShare()}};
    if (products.simulation()) {
        document["simulation"] = simulationJson(*products.simulation());
    }
    if (const auto accuracy = products.accuracy(); accuracy && products.simulation()) {
        addAccuracy(document, *accuracy, *products.simulation());
    }
    document["temporalNoise"] = temporalNoiseJson(products.temporalNoise());
    document["files"] = files;
    return document;
}

bool selectsNone(const Options& options, const ReplayCounts& counts) {
    const auto selection = readFrameSelection(options.frames);
    return selection && counts.framesBegun <= selection->from && !counts.interrupted;
}

// What is wrong is said on standard error, also with --quiet, and makes the exit code.
int judge(const Options& options, const Outcome& outcome, const Products& products) {
    const ReplayCounts& counts = outcome.counts;
    int exitCode = ExitCode::Good;
    const auto find = [&exitCode](int code, const std::string& sentence) {
        complain(sentence);
        exitCode = std::max(exitCode, code);
    };
    if (outcome.troubles.size() > mostSentences) {
        complain(fmt::format("{} more of this kind.", outcome.troubles.size() - mostSentences));
    }
    if (!outcome.troubles.empty()) {
        exitCode = ExitCode::Findings;
    }
    for (const std::string& sentence : products.missing()) {
        find(ExitCode::Findings, sentence + ".");
    }
    if (counts.failed > 0) {
        find(ExitCode::BadData,
             fmt::format("{} of {} failed.", counts.failed, counted(counts.read, "packet")));
    }
    if (!counts.damage.empty()) {
        find(ExitCode::BadData, counts.damage);
    }
    if (counts.interrupted) {
        find(ExitCode::Findings,
             fmt::format("interrupted after {}; what was written is complete up to there.",
                         counted(counts.read, "packet")));
    }
    if (counts.uncalibratedImages > 0) {
        find(ExitCode::Findings,
             fmt::format("no calibration (channel {}) came before the first {}.",
                         recording::channel::calibration, counted(counts.uncalibratedImages, "image")));
    }
    if (counts.read == 0 && counts.damage.empty()) {
        find(ExitCode::BadData, "the recording holds no packets.");
    } else if (selectsNone(options, counts)) {
        find(ExitCode::Findings, fmt::format("--frames {} selects none of the {}.", options.frames,
                                             counted(counts.framesBegun, "frame")));
    } else if (counts.written == 0) {
        find(ExitCode::Findings, "the plug-in gave no result; nothing was written.");
    } else if (products.frames() == 0) {
        find(ExitCode::Findings, "no frame was finished; there are no pictures.");
    } else if (products.validPixels() == 0) {
        find(ExitCode::Findings, "no pixel of the finished frames is valid.");
    }
    return exitCode;
}

ReplaySettings replaySettings(const Options& options) {
    ReplaySettings settings;
    settings.recording = options.recording;
    settings.results = options.folder / "result.zelta";
    settings.shortForm = options.shortForm;
    settings.withCoordinates = !options.clouds.empty();
    settings.frames = readFrameSelection(options.frames).value_or(FrameSelection{});
    for (const std::string& text : options.overrides) {
        settings.overrides.push_back(readOverride(text).value());
    }
    return settings;
}

// Ends the command without its report.
int giveUp(const Options& options, int exitCode, const std::string& sentence) {
    complain(sentence);
    if (options.json) {
        printJsonError("run", sentence);
    }
    return exitCode;
}

int run(const Options& options) {
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
        Products products(options);
        const Outcome outcome = process(options, settings, products);
        if (options.json) {
            printJson(toJson(options, outcome, products));
        } else if (!options.quiet) {
            printText(options, outcome, products);
        }
        return judge(options, outcome, products);
    } catch (const std::runtime_error& problem) {
        return giveUp(options, ExitCode::BadData, problem.what());
    }
}

}  // namespace

void addRun(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand(
        "run", "Feed a recording to the plug-in, write its results, compare them with the truth");
    command
        ->add_option("RECORDING", options->recording, "Recording: every packet of it is fed once, in order")
        ->required()
        ->type_name("");
    command
        ->add_option("--plugin", options->plugin,
                     "Plug-in; by default libqor.so that belongs to this command")
        ->type_name("FILE");
    command
        ->add_option("-o,--out", options->folder, "Folder of result.zelta and the pictures; made if needed")
        ->type_name("FOLDER")
        ->capture_default_str();
    command
        ->add_option("--set", options->overrides,
                     "Give a member of a recorded record another value, for example\n"
                     "QorDistanceImageIFInput.customization.minAmplitude=20; may be repeated")
        ->check(checkOverride)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("RECORD.MEMBER=VALUE");
    command->add_flag("--pil", options->shortForm, "Ask for the short results, without the debug records");
    command
        ->add_option("--frames", options->frames,
                     "Keep results and draw pictures of these frames, numbered from 0; B is not among them")
        ->check(checkFrameSelection)
        ->type_name("A:B:STEP");
    command->add_option("--cloud", options->clouds, "Also write point clouds: ply, pcd or ply,pcd")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::IsMember({"ply", "pcd"}))
        ->type_name("FORMAT");
    command
        ->add_option("--distance-range", options->distanceRange,
                     "Scale of the distance pictures in metres; by default the span of the scene")
        ->check(checkRange)
        ->type_name("MIN:MAX");
    command
        ->add_option("--amplitude-range", options->amplitudeRange,
                     "Scale of the amplitude pictures in counts per microsecond")
        ->check(checkRange)
        ->type_name("MIN:MAX")
        ->default_str("0:3");
    command
        ->add_option("--error-range", options->errorRange,
                     "Scale of the error pictures: plus and minus so much; by default 20, without noise 2")
        ->check(numberFrom(0.001, 1.0e6))
        ->type_name("MM");
    command->add_option("--enlarge", options->enlargement, "Size of a pixel in the colour pictures, 1 to 32")
        ->check(CLI::Range(1, 32))
        ->type_name("N")
        ->capture_default_str();
    command->add_flag("--json", options->json, "Print the figures as JSON");
    command->add_flag("--quiet", options->quiet, "No progress and no report; only what is wrong");
    command->footer(
        "Pictures are those of the first frame, or of all that --frames selects.\n"
        "\nExit codes: 0 good; 1 nothing written, no valid pixel, or interrupted; 2 usage;\n"
        "            3 the plug-in failed, the recording is damaged, or a file could not be written\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace qor
