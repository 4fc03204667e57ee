// SPDX-License-Identifier: Apache-2.0

#include "qor/Metrics.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "files/StandardOutput.h"
#include "plugin/Plugin.h"
#include "qor/Arguments.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"
#include "qor/FigureCondition.h"
#include "qor/FrameTable.h"
#include "qor/Interruption.h"
#include "qor/Measurement.h"
#include "qor/Progress.h"
#include "qor/Replay.h"
#include "qor/ResultReading.h"
#include "qor/RunOptions.h"
#include "qor/RunTimes.h"
#include "recording/Record.h"

namespace qor {
namespace {

// What cannot be, so that the option was not given.
constexpr double noDistance = 0.0;

struct Options {
    RunOptions run;  // its recording is the file to measure
    std::filesystem::path truth;
    double distance = noDistance;
    std::vector<std::string> regions;
    std::vector<std::string> failures;
    std::filesystem::path perFrame;
};

struct Outcome {
    bool fromResult = false;
    std::vector<RegionFigures> parts;
    std::map<std::string, StageTimes> stages;
    std::vector<Verdict> verdicts;
    std::string damage;
    Complaints complaints{"metrics"};
};

// What only a run of the algorithm knows, besides the figures of its frames.
struct RunFacts {
    std::optional<double> lost;     // frames that began and were not finished
    std::optional<double> missing;  // images between whole frames
};

// Figures that belong to the recording as a whole.
std::vector<figures::Figure> runFigures(const RunFacts& facts, const RunTimes& times) {
    const std::map<std::string, StageTimes> stages = times.stages();
    const auto total = stages.find("total");
    const figures::Percentiles packet = total == stages.end() ? figures::Percentiles{} : total->second.times;
    const figures::Percentiles frame = times.frames();
    using figures::Unit;
    return {
        {"frames_lost", Unit::Count, facts.lost},          {"images_missing", Unit::Count, facts.missing},
        {"packet_p50_ms", Unit::Milliseconds, packet.p50}, {"packet_p95_ms", Unit::Milliseconds, packet.p95},
        {"packet_p99_ms", Unit::Milliseconds, packet.p99}, {"frame_p50_ms", Unit::Milliseconds, frame.p50},
        {"frame_p95_ms", Unit::Milliseconds, frame.p95},   {"frame_p99_ms", Unit::Milliseconds, frame.p99}};
}

void addRunFigures(std::vector<RegionFigures>& parts, const RunFacts& facts, const RunTimes& times) {
    const std::vector<figures::Figure> more = runFigures(facts, times);
    parts.front().figures.insert(parts.front().figures.end(), more.begin(), more.end());
}

// Takes frames from wherever they come and measures them.
class Metrics {
 public:
    Metrics(const Options& options, std::vector<Region> regions) : options_(options) {
        Measurement::Settings settings;
        settings.regions = std::move(regions);
        if (options.distance != noDistance) {
            settings.distance = options.distance;
        }
        if (!options.perFrame.empty()) {
            table_.emplace(options.perFrame);
            settings.frame = [this](std::size_t number, std::uint32_t timestamp,
                                    const std::vector<RegionFigures>& parts) {
                table_->add(number, timestamp, parts);
            };
        }
        measurement_.emplace(std::move(settings));
    }

    Outcome run(recording::RecordingReader& reader, const ReplaySettings& settings, bool fromResult) {
        outcome_.fromResult = fromResult;
        listenForInterruption();
        RunFacts facts;
        if (outcome_.fromResult) {
            measureResults(reader, settings);
        } else {
            facts = runPlugin(reader, settings);
        }
        outcome_.parts = measurement_->figures();
        outcome_.stages = times_.stages();
        addRunFigures(outcome_.parts, facts, times_);
        if (table_) {
            table_->finish();
        }
        judgeAll();
        return std::move(outcome_);
    }

 private:
    void trouble(const std::string& sentence) {
        ++troubles_;
        if (troubles_ <= mostSentences) {
            complain("metrics", ExitCode::Good, sentence);
        }
    }

    RunFacts runPlugin(recording::RecordingReader& reader, const ReplaySettings& settings) {
        plugin::Plugin algorithm(options_.run.plugin.empty() ? plugin::defaultPlugin() : options_.run.plugin);
        Progress progress("qor metrics", options_.run.quiet);
        Rays rays;
        ReplayListener listener;
        listener.result = [&](const zelta::Packet& result) {
            times_.add(result);
            rays = raysIn(result);
        };
        bool anotherScene = false;
        listener.scene = [&] { anotherScene = true; };
        listener.frame = [&](std::size_t number, const ResultFrame& frame, const simulation::Truth* truth,
                             const recording::SimulationSettings* simulation) {
            scenes_ += anotherScene && measurement_->frames() > 0 ? 1 : 0;
            anotherScene = false;
            measurement_->add(number, frame, rays, truth, simulation);
        };
        listener.trouble = [&](const std::string& sentence) {
            progress.clear();
            trouble(sentence);
        };
        listener.progress = [&progress](double share, std::size_t frames) { progress.update(share, frames); };
        listener.interrupted = interrupted;
        const ReplayCounts counts = replay(reader, settings, algorithm, listener);
        outcome_.damage = counts.damage;
        if (counts.failed > 0) {
            outcome_.complaints.add(ExitCode::BadData, fmt::format("{} of {} failed.", counts.failed,
                                                                   counted(counts.read, "packet")));
        }
        if (counts.interrupted) {
            outcome_.complaints.add(ExitCode::Findings, "interrupted; the figures are those up to there.");
        }
        if (scenes_ > 1) {
            outcome_.complaints.add(ExitCode::Findings,
                                    fmt::format("the frames are of {} scenes, and their figures are mixed; "
                                                "--frames selects those of one.",
                                                scenes_));
        }
        return {static_cast<double>(settings.frames.countOf(counts.framesBegun) - counts.frames),
                static_cast<double>(counts.missingImages)};
    }

    void measureResults(recording::RecordingReader& reader, const ReplaySettings& settings) {
        ResultListener listener;
        listener.packet = [this](const recording::RecordedPacket& packet) { times_.add(packet.chunks); };
        listener.frame = [this](std::size_t number, const ResultFrame& frame, const zelta::Packet& result,
                                const simulation::Truth* truth,
                                const recording::SimulationSettings* simulation) {
            measurement_->add(number, frame, raysIn(result), truth, simulation);
        };
        listener.trouble = [this](int exitCode, const std::string& sentence) {
            outcome_.complaints.add(exitCode, sentence);
        };
        listener.interrupted = interrupted;
        const ResultCounts counts = readResults(reader, settings.frames, options_.truth, listener);
        outcome_.damage = counts.damage;
        if (counts.interrupted) {
            outcome_.complaints.add(ExitCode::Findings, "interrupted; the figures are those up to there.");
        }
    }

    void judgeAll() {
        if (troubles_ > mostSentences) {
            complain("metrics", ExitCode::Good,
                     fmt::format("{} more of this kind.", troubles_ - mostSentences));
        }
        if (!outcome_.damage.empty()) {
            outcome_.complaints.add(ExitCode::BadData, outcome_.damage);
        }
        if (measurement_->frames() == 0) {
            outcome_.complaints.add(ExitCode::Findings, "there is no finished frame to measure.");
        }
        for (const std::string& text : options_.failures) {
            outcome_.verdicts.push_back(judge(text, outcome_.parts));
            if (outcome_.verdicts.back().failed) {
                outcome_.complaints.add(ExitCode::Findings, outcome_.verdicts.back().sentence());
            }
        }
    }

    const Options& options_;
    std::optional<FrameTable> table_;
    std::optional<Measurement> measurement_;
    RunTimes times_;
    std::size_t troubles_ = 0;
    std::size_t scenes_ = 1;
    Outcome outcome_;
};

void printNoise(const RegionFigures& part) {
    if (part.noise.empty()) {
        return;
    }
    fmt::print("\nNoise by amplitude{}, measured from frame to frame\n",
               part.region.empty() ? "" : " in " + part.region);
    fmt::print("  counts per us          pairs   measured  predicted   ratio   within 1, 2 sigma\n");
    for (const figures::NoiseRow& row : part.noise) {
        fmt::print("  {:>7g} .. {:<7g} {:>10} {:>7.3f} mm {:>7.3f} mm {:>7.3f}   {:.3f}  {:.3f}\n", row.from,
                   row.to, row.pairs, 1000.0 * row.measured, 1000.0 * row.predicted, row.ratio(),
                   row.withinOneSigma, row.withinTwoSigma);
    }
}

void printTable(const std::vector<RegionFigures>& parts) {
    fmt::print("  {:<24}{:>14}", "", "image");
    for (std::size_t k = 1; k < parts.size(); ++k) {
        fmt::print("{:>14}", parts[k].region);
    }
    fmt::print("\n");
    for (std::size_t row = 0; row < parts.front().figures.size(); ++row) {
        fmt::print("  {:<24}", parts.front().figures[row].name);
        for (const RegionFigures& part : parts) {
            fmt::print("{:>14}", row < part.figures.size() ? valueText(part.figures[row]) : "");
        }
        fmt::print("\n");
    }
}

void printStages(const std::map<std::string, StageTimes>& stages) {
    if (stages.empty()) {
        return;
    }
    fmt::print("\nRun times by the algorithm's own account, milliseconds\n");
    fmt::print("  stage                    calls       p50       p95       p99\n");
    for (const auto& [name, stage] : stages) {
        fmt::print("  {:<20} {:>9} {:>9} {:>9} {:>9}\n", printable(name), stage.calls,
                   numberText(stage.times.p50, 3), numberText(stage.times.p95, 3),
                   numberText(stage.times.p99, 3));
    }
}

void print(const Options& options, const Outcome& outcome) {
    fmt::print("Figures of {}, {}\n\n", recording::nameOf(options.run.recording),
               outcome.fromResult ? "a result" : "a recording run through the plug-in");
    printTable(outcome.parts);
    for (const RegionFigures& part : outcome.parts) {
        printNoise(part);
    }
    printStages(outcome.stages);
}

nlohmann::ordered_json noiseJson(const std::vector<figures::NoiseRow>& rows) {
    nlohmann::ordered_json document = nlohmann::ordered_json::array();
    for (const figures::NoiseRow& row : rows) {
        document.push_back({{"fromCountsPerMicrosecond", row.from},
                            {"toCountsPerMicrosecond", row.to},
                            {"pairs", row.pairs},
                            {"measured_mm", 1000.0 * row.measured},
                            {"predicted_mm", 1000.0 * row.predicted},
                            {"ratio", orNull(row.ratio())},
                            {"within_one_sigma", row.withinOneSigma},
                            {"within_two_sigma", row.withinTwoSigma}});
    }
    return document;
}

nlohmann::ordered_json toJson(const Options& options, const Outcome& outcome) {
    nlohmann::ordered_json regions = nlohmann::ordered_json::object();
    for (std::size_t k = 1; k < outcome.parts.size(); ++k) {
        const RegionFigures& part = outcome.parts[k];
        regions[part.region] = {{"figures", figuresJson(part.figures)},
                                {"noiseByAmplitude", noiseJson(part.noise)}};
    }
    nlohmann::ordered_json stages = nlohmann::ordered_json::object();
    for (const auto& [name, stage] : outcome.stages) {
        stages[name] = {{"calls", stage.calls},
                        {"p50_ms", orNull(stage.times.p50)},
                        {"p95_ms", orNull(stage.times.p95)},
                        {"p99_ms", orNull(stage.times.p99)}};
    }
    nlohmann::ordered_json verdicts = nlohmann::ordered_json::array();
    for (const Verdict& verdict : outcome.verdicts) {
        verdicts.push_back(
            {{"failIf", verdict.condition}, {"value", orNull(verdict.value)}, {"failed", verdict.failed}});
    }
    return {{"command", "metrics"},
            {"version", QOR_VERSION},
            {"file", options.run.recording.string()},
            {"kind", outcome.fromResult ? "result" : "recording"},
            {"truth", options.truth.empty() ? nlohmann::ordered_json(nullptr)
                                            : nlohmann::ordered_json(options.truth.string())},
            {"distanceMetres", options.distance == noDistance ? nlohmann::ordered_json(nullptr)
                                                              : nlohmann::ordered_json(options.distance)},
            {"figures", figuresJson(outcome.parts.front().figures)},
            {"noiseByAmplitude", noiseJson(outcome.parts.front().noise)},
            {"regions", regions},
            {"stages", stages},
            {"conditions", verdicts},
            {"findings", outcome.complaints.sentences()},
            {"damage", outcome.damage.empty() ? nlohmann::ordered_json(nullptr)
                                              : nlohmann::ordered_json(outcome.damage)}};
}

std::vector<Region> regionsOf(const Options& options) {
    std::vector<Region> regions;
    for (const std::string& text : options.regions) {
        Region region = readRegion(text);
        if (std::any_of(regions.begin(), regions.end(),
                        [&region](const Region& other) { return other.name == region.name; })) {
            throw RegionError(fmt::format("two regions have the name \"{}\".", region.name));
        }
        regions.push_back(std::move(region));
    }
    return regions;
}

// What is wrong with the conditions, before a long run.
std::string faultOfConditions(const Options& options, const std::vector<Region>& regions) {
    Measurement::Settings settings;
    settings.regions = regions;
    std::vector<RegionFigures> known = Measurement(settings).figures();
    addRunFigures(known, {}, {});
    for (const std::string& text : options.failures) {
        if (const std::string fault = checkFigureCondition(text, known); !fault.empty()) {
            return fault;
        }
    }
    return "";
}

int measure(const Options& options, const ReplaySettings& settings, std::vector<Region> regions) {
    recording::RecordingReader reader(settings.recording);
    const bool results = holdsResults(reader);
    if (!results && !options.truth.empty()) {
        return giveUp("metrics", options.run.json, ExitCode::Usage,
                      "--truth is for a result; a recording has its own truth.");
    }
    if (results && !settings.overrides.empty()) {
        return giveUp("metrics", options.run.json, ExitCode::Usage,
                      "--set and --settings are for a recording; a result was made with its settings.");
    }
    if (!results) {
        try {
            checkOverrides(settings.overrides, reader);
        } catch (const recording::RecordError& problem) {
            return giveUp("metrics", options.run.json, ExitCode::Usage, problem.what());
        }
    }
    const Outcome outcome = Metrics(options, std::move(regions)).run(reader, settings, results);
    if (options.run.json) {
        printJson(toJson(options, outcome));
    } else if (!options.run.quiet) {
        print(options, outcome);
    }
    return outcome.complaints.tell();
}

int run(const Options& options) {
    const auto refuse = [&options](int exitCode, const std::string& sentence) {
        return giveUp("metrics", options.run.json, exitCode, sentence);
    };
    try {
        std::vector<Region> regions = regionsOf(options);
        if (const std::string fault = faultOfConditions(options, regions); !fault.empty()) {
            return refuse(ExitCode::Usage, fault);
        }
        if (files::isStandardOutput(options.perFrame)) {
            files::standardOutputForData();
        }
        ReplaySettings settings = replaySettings(options.run);
        settings.results.clear();
        return measure(options, settings, std::move(regions));
    } catch (const RegionError& problem) {
        return refuse(ExitCode::Usage, std::string("--region: ") + problem.what());
    } catch (const recording::RecordError& problem) {
        return refuse(ExitCode::Usage, problem.what());
    } catch (const std::runtime_error& problem) {
        return refuse(ExitCode::BadData, problem.what());
    }
}

}  // namespace

void addMetrics(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("metrics", "Measure a recording or a result: errors, noise, edges, run times");
    command
        ->add_option("FILE", options->run.recording,
                     "A recording, which is run through the plug-in, or a result of qor run; - for standard\n"
                     "input")
        ->required()
        ->type_name("");
    command
        ->add_option("--truth", options->truth,
                     "Of a result: the recording that it was made of, with its truth")
        ->check(checkNotEmpty)
        ->type_name("RECORDING");
    command
        ->add_option("--distance", options->distance,
                     "The true distance of a flat target that faces the camera, along the optical axis")
        ->check(numberFrom(0.001, 1.0e4))
        ->type_name("METRES");
    command
        ->add_option("--region", options->regions,
                     "Also measure a part of the image: NAME=rect:X,Y,WIDTH,HEIGHT,\n"
                     "NAME=polygon:X,Y,X,Y,X,Y,... or NAME=mask:FILE.png; may be repeated")
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("NAME=SHAPE");
    command
        ->add_option("--fail-if", options->failures,
                     "End with exit code 1 if this holds or was not measured, for example \"rms_mm > 5\" or\n"
                     "\"wall.rms_mm > 5\" of a region; may be repeated")
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("CONDITION");
    command
        ->add_option("--per-frame", options->perFrame,
                     "Also write the figures of each frame: FILE.csv, FILE.jsonl, or - for JSON lines on\n"
                     "standard output")
        ->check(checkFrameTable)
        ->type_name("FILE");
    command
        ->add_option("--frames", options->run.frames,
                     "Measure these frames, numbered from 0; B is not included")
        ->check(checkFrameSelection)
        ->type_name("A:B:STEP");
    addPluginOptions(*command, options->run);
    command->add_flag("--json", options->run.json, "Print the figures as JSON");
    command->add_flag("--quiet", options->run.quiet, "No progress and no report; only what is wrong");
    command->footer(
        "docs/figures.md has the formula of each figure.\n"
        "\nExample:\n"
        "  qor metrics room.zelta --region floor=rect:60,120,100,40 --fail-if \"floor.rms_mm > 5\"\n"
        "\nExit codes: 0 good; 1 a condition of --fail-if holds, or nothing could be measured; 2 usage;\n"
        "            3 the plug-in failed, or the file is damaged or cannot be read\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace qor
