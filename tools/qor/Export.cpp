// SPDX-License-Identifier: Apache-2.0

#include "qor/Export.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "files/StandardOutput.h"
#include "qor/Arguments.h"
#include "qor/ChannelSelection.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"
#include "qor/ExportSource.h"
#include "qor/ExportWriter.h"
#include "qor/Expression.h"
#include "qor/Interruption.h"
#include "qor/Progress.h"
#include "qor/RecordValues.h"
#include "recording/Record.h"
#include "recording/RecordingReader.h"

namespace qor {
namespace {

using exporting::ExportError;

constexpr std::size_t mostLines = 20;  // of files on the terminal; the rest is counted

struct Options {
    std::vector<std::filesystem::path> recordings;
    std::filesystem::path folder;
    std::vector<std::string> formats;
    std::vector<std::string> images;
    std::vector<std::string> members;
    std::string channel;
    std::string frames;
    std::string names;
    std::vector<std::string> limits;
    std::string colors = "turbo";
    bool force = false;
    bool json = false;
    bool quiet = false;
};

struct Outcome {
    ExportFindings records;
    Complaints complaints{"export"};
    std::vector<std::string> damage;
};

struct NamedLimits {
    std::string channel;
    exporting::Limits limits;
};

std::optional<NamedLimits> readLimits(const std::string& text) {
    const std::size_t sign = text.rfind('=');
    if (sign == std::string::npos || sign == 0) {
        return std::nullopt;
    }
    const std::optional<Range> range = readRange(text.substr(sign + 1));
    return range ? std::optional(NamedLimits{text.substr(0, sign), {range->minimum, range->maximum}})
                 : std::nullopt;
}

std::string checkLimits(const std::string& text) {
    return readLimits(text)
               ? ""
               : "\"" + text + "\" is no scale; write NAME=MIN:MAX, for example distance=0.5:2.5";
}

std::string checkExpression(const std::string& text) {
    return checkSyntax(text, Slices::Allowed);
}

imaging::ColorMap colorMapNamed(const std::string& name) {
    return name == "viridis"   ? imaging::ColorMap::Viridis
           : name == "cividis" ? imaging::ColorMap::Cividis
           : name == "grey"    ? imaging::ColorMap::Grey
                               : imaging::ColorMap::Turbo;
}

std::vector<std::string> formatNames() {
    std::vector<std::string> names;
    for (const NamedFormat& format : exportFormats()) {
        names.emplace_back(format.name);
    }
    return names;
}

template <typename T>
void keepFirsts(std::vector<T>& values) {
    std::vector<T> kept;
    for (T& value : values) {
        if (std::find(kept.begin(), kept.end(), value) == kept.end()) {
            kept.push_back(std::move(value));
        }
    }
    values = std::move(kept);
}

ExportSettings settingsOf(const Options& options) {
    ExportSettings settings;
    for (const std::string& name : options.formats) {
        settings.formats.push_back(formatNamed(name).format);
    }
    settings.folder = files::isStandardOutput(options.folder) ? "-" : options.folder;
    settings.names = options.names;
    settings.members = !options.members.empty();
    settings.severalRecordings = options.recordings.size() > 1;
    settings.force = options.force;
    settings.colors = colorMapNamed(options.colors);
    for (const std::string& text : options.limits) {
        const NamedLimits limits = readLimits(text).value();
        settings.limits[limits.channel] = limits.limits;
    }
    settings.recordings = options.recordings;
    return settings;
}

ExportWishes wishesOf(const Options& options, const ExportSettings& settings) {
    ExportWishes wishes;
    wishes.members = options.members;
    wishes.frames = readFrameSelection(options.frames).value_or(FrameSelection{});
    wishes.points = std::any_of(settings.formats.begin(), settings.formats.end(), isOfPoints);
    const bool onlyPoints = std::all_of(settings.formats.begin(), settings.formats.end(), isOfPoints);
    if (!settings.members && !onlyPoints) {
        wishes.images = options.images.empty() ? std::vector<std::string>{"distance"} : options.images;
    }
    if (!options.channel.empty()) {
        wishes.channel = channelNumber(options.channel);
    }
    return wishes;
}

// What the command line asks for and cannot be; empty if it can.
std::string contradictionIn(const Options& options, const ExportSettings& settings) {
    const bool points = std::any_of(settings.formats.begin(), settings.formats.end(), isOfPoints);
    const bool onlyPoints = std::all_of(settings.formats.begin(), settings.formats.end(), isOfPoints);
    if (points && settings.members) {
        return "members are no points; ply and pcd go without --member.";
    }
    if (onlyPoints && !options.images.empty()) {
        return "ply and pcd hold points; --images needs another format beside them.";
    }
    if (!options.channel.empty() && !settings.members) {
        return "--channel is where --member looks; without a member it has no use.";
    }
    if (settings.folder == "-" &&
        (settings.formats != std::vector{ExportFormat::Csv} || options.recordings.size() > 1)) {
        return "to standard output goes one table, csv, of one recording.";
    }
    return "";
}

class Export {
 public:
    Export(const Options& options, const ExportSettings& settings)
        : options_(options),
          wishes_(wishesOf(options, settings)),
          scales_(settings),
          writer_(settings, scales_),
          progress_("qor export", options.quiet) {}

    Outcome run() {
        if (scales_.areNeeded(wishes_)) {
            measure();
        }
        for (const std::filesystem::path& path : options_.recordings) {
            writer_.beginRecording(path);
            readAll(
                path, outcome_.records, [this](const ExportItem& item) { writer_.write(item); }, true);
            writer_.finishRecording();
        }
        progress_.clear();
        judge();
        return outcome_;
    }

    const ExportWriter& writer() const { return writer_; }

 private:
    void measure() {
        for (const std::filesystem::path& path : options_.recordings) {
            ExportFindings ignored;
            readAll(
                path, ignored, [this](const ExportItem& item) { scales_.add(item); }, false);
        }
    }

    // What is wrong is told once, when the recording is read for the last time.
    void readAll(const std::filesystem::path& path, ExportFindings& findings,
                 const std::function<void(const ExportItem&)>& give, bool last) {
        recording::RecordingReader reader(path);
        if (!last && reader.isStream()) {
            throw ExportError(recording::nameOf(path) +
                              " can be read once only, and to find the scale of the pictures it must be read "
                              "twice; give the scale by --limits NAME=MIN:MAX.");
        }
        const auto wanted = [&] {
            const double size = static_cast<double>(reader.fileSize());
            progress_.update(size > 0.0 ? static_cast<double>(reader.bytesRead()) / size : -1.0,
                             findings.items);
            return !interrupted();
        };
        try {
            forEachItem(reader, wishes_, findings, wanted, give);
        } catch (const recording::RecordingError& error) {
            if (last) {
                outcome_.damage.emplace_back(error.what());
            }
        }
        if (last && reader.packetsRead() == 0 && outcome_.damage.empty()) {
            outcome_.damage.push_back(recording::nameOf(path) + " holds no packets.");
        }
    }

    void judge() {
        for (const std::string& fault : outcome_.records.faults) {
            outcome_.complaints.add(ExitCode::BadData, fault);
        }
        if (outcome_.records.moreFaults > 0) {
            outcome_.complaints.add(ExitCode::BadData,
                                    fmt::format("{} more of this kind.", outcome_.records.moreFaults));
        }
        for (const std::string& damage : outcome_.damage) {
            outcome_.complaints.add(ExitCode::BadData, damage);
        }
        if (outcome_.complaints.empty()) {
            judgeWishes();
        }
        if (writer_.files().empty()) {
            addFinding("nothing was written.");
        }
        if (interrupted()) {
            addFinding("interrupted; the files so far are complete.");
        }
    }

    // Whether all that was wished for is in a recording without damage.
    void judgeWishes() {
        for (const std::string& image : wishes_.images) {
            judgeImage(image, image == "raw" ? "no raw images" : "no " + image + " in its results");
        }
        if (wishes_.points) {
            judgeImage(pointsName, "no valid coordinates in its results");
        }
        for (const std::string& member : wishes_.members) {
            if (!outcome_.records.found.contains(member)) {
                addFinding("no record of \"" + member + "\" is there.");
            }
        }
    }

    void judgeImage(const std::string& name, const std::string& absence) {
        const std::size_t items = outcome_.records.items;
        const auto found = outcome_.records.found.find(name);
        if (found == outcome_.records.found.end()) {
            const bool noResults = items == 0 && name != "raw" && !wishes_.frames.ends();
            addFinding("the recording has " + absence +
                       (noResults ? " (qor run makes results of a recording)." : "."));
        } else if (found->second < items) {
            addFinding(
                fmt::format("{} of {} have {}.", items - found->second, counted(items, "frame"), absence));
        }
    }

    void addFinding(std::string sentence) {
        outcome_.complaints.add(ExitCode::Findings, std::move(sentence));
    }

    const Options& options_;
    ExportWishes wishes_;
    ExportScales scales_;
    ExportWriter writer_;
    Progress progress_;
    Outcome outcome_;
};

std::uint64_t sumOf(const std::vector<ExportedFile>& files, std::uint64_t ExportedFile::*member) {
    std::uint64_t sum = 0;
    for (const ExportedFile& file : files) {
        sum += file.*member;
    }
    return sum;
}

std::string rowText(const ExportedFile& file) {
    if (isOfPoints(formatNamed(file.format).format)) {
        return counted(file.rows, "point") + ", ";
    }
    return file.format == "csv" ? counted(file.rows, "row") + ", " : "";
}

void printOutcome(const Outcome& outcome, const ExportWriter& writer, bool members) {
    const std::vector<ExportedFile>& files = writer.files();
    if (files.empty()) {
        return;
    }
    fmt::print("Written\n");
    for (std::size_t k = 0; k < std::min(files.size(), mostLines); ++k) {
        fmt::print("  {}   {}{}\n", files::nameOf(files[k].path), rowText(files[k]),
                   byteText(files[k].bytes));
    }
    if (files.size() > mostLines) {
        fmt::print("  and {} more\n", files.size() - mostLines);
    }
    fmt::print("  {}, {}, {}, {}\n", counted(files.size(), "file"),
               counted(outcome.records.items, members ? "packet" : "frame"),
               counted(sumOf(files, &ExportedFile::rows), "row"),
               byteText(sumOf(files, &ExportedFile::bytes)));
    for (const auto& [place, limits] : writer.usedLimits()) {
        fmt::print("Scale of {} ({}): {:g} to {:g}\n", printable(place.first), place.second, limits.minimum,
                   limits.maximum);
    }
    for (const auto& [channel, count] : writer.beyond()) {
        if (count > 0) {
            fmt::print("Beyond the scale of {}, drawn as its end: {}\n", printable(channel),
                       counted(count, "value"));
        }
    }
}

nlohmann::ordered_json toJson(const Outcome& outcome, const ExportWriter& writer) {
    nlohmann::ordered_json files = nlohmann::ordered_json::array();
    for (const ExportedFile& file : writer.files()) {
        files.push_back({{"file", file.path.string()},
                         {"format", file.format},
                         {"channel", file.channel},
                         {"rows", file.rows},
                         {"bytes", file.bytes}});
    }
    nlohmann::ordered_json scales = nlohmann::ordered_json::array();
    for (const auto& [place, limits] : writer.usedLimits()) {
        scales.push_back({{"channel", place.first},
                          {"format", place.second},
                          {"minimum", limits.minimum},
                          {"maximum", limits.maximum}});
    }
    nlohmann::ordered_json beyond = nlohmann::ordered_json::object();
    for (const auto& [channel, count] : writer.beyond()) {
        beyond[channel] = count;
    }
    return {{"command", "export"},
            {"version", QOR_VERSION},
            {"items", outcome.records.items},
            {"rows", sumOf(writer.files(), &ExportedFile::rows)},
            {"bytes", sumOf(writer.files(), &ExportedFile::bytes)},
            {"files", files},
            {"scales", scales},
            {"beyondScale", beyond},
            {"findings", outcome.complaints.sentences()},
            {"damage", outcome.damage}};
}

int report(const Options& options, const Outcome& outcome, const ExportWriter& writer) {
    if (options.json) {
        printJson(toJson(outcome, writer));
    } else if (!options.quiet) {
        printOutcome(outcome, writer, !options.members.empty());
    }
    return outcome.complaints.tell();
}

int endWith(const Options& options, int exitCode, const std::string& sentence) {
    return giveUp("export", options.json, exitCode, sentence);
}

int run(Options& options) {
    keepFirsts(options.formats);
    keepFirsts(options.images);
    keepFirsts(options.members);
    const ExportSettings settings = settingsOf(options);
    if (const std::string sentence = contradictionIn(options, settings); !sentence.empty()) {
        return endWith(options, ExitCode::Usage, sentence);
    }
    if (settings.folder == "-") {
        files::standardOutputForData();
    }
    listenForInterruption();
    try {
        Export work(options, settings);
        const Outcome outcome = work.run();
        return report(options, outcome, work.writer());
    } catch (const ExportError& error) {
        return endWith(options, ExitCode::Usage, error.what());
    } catch (const NoSuchExpression& error) {
        return endWith(options, ExitCode::Usage, error.what());
    } catch (const std::runtime_error& error) {
        return endWith(options, ExitCode::BadData, error.what());
    }
}

std::string formatList() {
    std::string text = "Formats:\n";
    for (const NamedFormat& format : exportFormats()) {
        text += fmt::format("  {:<9} {}\n", format.name, format.holds);
    }
    return text;
}

void addWishes(CLI::App& command, Options& options) {
    command
        .add_option("-f,--format", options.formats, "Formats of the files, see below; separated by commas")
        ->required()
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::IsMember(formatNames()))
        ->type_name("FORMAT,...");
    auto* const images =
        command
            .add_option("--images", options.images, "Of a frame: " + imageNames() + ";\nby default distance")
            ->delimiter(',')
            ->allow_extra_args(false)
            ->check(checkImageName)
            ->type_name("NAME,...");
    command
        .add_option(
            "--member", options.members,
            "In place of images, what an expression addresses in each packet that has its record, for\n"
            "example QorDistanceImageIFInput.phaseInfo.exposureTime; may be repeated")
        ->check(checkExpression)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->excludes(images)
        ->type_name("EXPRESSION");
    command.add_option("--channel", options.channel, "Look for members on this channel only, name or number")
        ->check(checkOneChannel)
        ->type_name("CHANNEL");
    command.add_option("--frames", options.frames, "These frames, numbered from 0; B is not included")
        ->check(checkFrameSelection)
        ->type_name("A:B:STEP");
}

void addOutput(CLI::App& command, Options& options) {
    command
        .add_option("-o,--out", options.folder,
                    "Folder of the files, made if needed; - writes the rows of csv to standard output")
        ->required()
        ->check(checkNotEmpty)
        ->type_name("FOLDER");
    command
        .add_option("--names", options.names,
                    "Names of the files, of {recording}, {channel}, {format}, {frame:05} and {packet:05};\n"
                    "by default {frame:05}_{channel}, with --member {packet:05}_{channel}")
        ->check(checkNotEmpty)
        ->type_name("TEMPLATE");
    command
        .add_option(
            "--limits", options.limits,
            "Ends of the scale of pictures; by default measured over all frames. Repeat it for others")
        ->check(checkLimits)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("NAME=MIN:MAX");
    command.add_option("--colors", options.colors, "turbo, viridis, cividis or grey")
        ->check(CLI::IsMember({"turbo", "viridis", "cividis", "grey"}))
        ->type_name("NAME")
        ->capture_default_str();
    command.add_flag("--force", options.force, "Replace files that are there");
    command.add_flag("--json", options.json, "Print what was written as JSON");
    command.add_flag("--quiet", options.quiet, "Print only what is wrong");
}

}  // namespace

void addExport(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("export", "Write frames and records as pictures, arrays, tables or points");
    command
        ->add_option("FILES", options->recordings, "Recordings or results of qor run, - for standard input")
        ->required()
        ->type_name("");
    addWishes(*command, *options);
    addOutput(*command, *options);
    command->footer(
        formatList() +
        "\nExample:\n"
        "  qor export room.zelta --format png --images raw --out frames\n"
        "\nExit codes: 0 good; 1 nothing was written, or what was wished for is not in all frames;\n"
        "            2 usage, a file is there already, or an expression addresses nothing;\n"
        "            3 the recording or a record is damaged or cannot be read, or a file cannot be "
        "written\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace qor
