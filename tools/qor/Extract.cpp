// SPDX-License-Identifier: Apache-2.0

#include "qor/Extract.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "files/StandardOutput.h"
#include "qor/Arguments.h"
#include "qor/Complaints.h"
#include "qor/Condition.h"
#include "qor/ExitCode.h"
#include "qor/FrameSelection.h"
#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "recording/Record.h"
#include "recording/RecordingReader.h"
#include "recording/RecordingWriter.h"

namespace qor {
namespace {

struct Options {
    std::string command;
    std::vector<std::filesystem::path> recordings;
    std::filesystem::path file;
    std::string frames;
    std::vector<int> channels;
    std::vector<std::string> where;
    bool json = false;
    bool quiet = false;
};

struct Outcome {
    explicit Outcome(const std::string& command) : complaints(command) {}

    std::size_t read = 0;     // packets
    std::size_t written = 0;  // packets
    std::uint64_t bytes = 0;
    std::size_t frames = 0;  // that begin in the packets written
    Complaints complaints;
    std::vector<std::string> damage;
};

// Which packets of a recording, and which of their chunks.
class Part {
 public:
    explicit Part(const Options& options)
        : frames_(readFrameSelection(options.frames).value_or(FrameSelection{})),
          channels_(options.channels) {
        for (const std::string& text : options.where) {
            conditions_.push_back(readCondition(text).value());
        }
    }

    // In the order of the recording. Packets before the first frame, such as the calibration, belong to every
    // selection of frames; packets without the record of a condition meet it.
    bool contains(const recording::RecordedPacket& packet) {
        begun_ += recording::beginsFrame(packet.chunks) ? 1 : 0;
        if (begun_ > 0 && !frames_.contains(begun_ - 1)) {
            return false;
        }
        return std::all_of(conditions_.begin(), conditions_.end(), [&](const Condition& condition) {
            const std::optional<bool> met = isMetIn(packet.chunks, condition);
            looked_ = looked_ || met.has_value();
            return met.value_or(true);
        });
    }

    bool isWhole() const { return channels_.empty(); }
    bool contains(const zelta::ZeltaChunk& chunk) const {
        return isWhole() || std::find(channels_.begin(), channels_.end(), chunk.channelID) != channels_.end();
    }

    // Whether frames are asked for that the recording does not have.
    bool missesFrames() const { return begun_ <= frames_.from && frames_.from > 0; }
    std::size_t framesBegun() const { return begun_; }

    // Whether any record of a condition was there.
    bool foundRecords() const { return conditions_.empty() || looked_; }

 private:
    FrameSelection frames_;
    std::vector<int> channels_;
    std::vector<Condition> conditions_;
    std::size_t begun_ = 0;
    bool looked_ = false;
};

void writePart(const recording::RecordedPacket& packet, const Part& part, recording::RecordingWriter& writer,
               Outcome& outcome) {
    if (part.isWhole()) {
        writer.write(packet.bytes);
    } else {
        std::vector<zelta::ZeltaChunk> chunks;
        std::copy_if(packet.chunks.begin(), packet.chunks.end(), std::back_inserter(chunks),
                     [&](const zelta::ZeltaChunk& chunk) { return part.contains(chunk); });
        if (chunks.empty()) {
            return;
        }
        writer.write(recording::packetOf(chunks));
    }
    outcome.frames += recording::beginsFrame(packet.chunks) ? 1 : 0;
}

// Of several recordings in a row, the plug-in takes the first calibration.
class Calibrations {
 public:
    void add(const recording::RecordedPacket& packet, const std::string& recording, Outcome& outcome) {
        const zelta::ZeltaChunk* const chunk =
            recording::findChunk(packet.chunks, recording::channel::calibration);
        if (chunk == nullptr) {
            return;
        }
        const auto* const data = static_cast<const std::uint8_t*>(chunk->data);
        std::vector<std::uint8_t> bytes(data, data + chunk->dataSize);
        if (first_.empty()) {
            first_ = std::move(bytes);
        } else if (bytes != first_) {
            outcome.complaints.add(
                ExitCode::Findings,
                fmt::format("{}, packet {}: another calibration; a plug-in that takes the recordings in a "
                            "row keeps the first.",
                            recording, packet.index));
        }
    }

 private:
    std::vector<std::uint8_t> first_;
};

Outcome copy(const Options& options) {
    Outcome outcome(options.command);
    recording::RecordingWriter writer(options.file);
    Calibrations calibrations;
    for (const std::filesystem::path& path : options.recordings) {
        Part part(options);
        recording::RecordingReader reader(path);
        try {
            while (const recording::RecordedPacket* packet = reader.next()) {
                if (options.recordings.size() > 1) {
                    calibrations.add(*packet, recording::nameOf(path), outcome);
                }
                if (part.contains(*packet)) {
                    writePart(*packet, part, writer, outcome);
                }
            }
        } catch (const recording::RecordingError& error) {
            outcome.damage.emplace_back(error.what());
        }
        if (reader.packetsRead() == 0 && outcome.damage.empty()) {
            outcome.damage.push_back(recording::nameOf(path) + " holds no packets.");
        }
        if (part.missesFrames()) {
            outcome.complaints.add(
                ExitCode::Findings,
                fmt::format("--frames {} selects none of the {} of {}.", options.frames,
                            counted(part.framesBegun(), "frame"), recording::nameOf(path)));
        }
        if (!part.foundRecords()) {
            outcome.complaints.add(ExitCode::Findings,
                                   "no record that --where names is in " + recording::nameOf(path) + ".");
        }
        outcome.read += reader.packetsRead();
    }
    for (const std::string& damage : outcome.damage) {
        outcome.complaints.add(ExitCode::BadData, damage);
    }
    outcome.written = writer.packets();
    outcome.bytes = writer.bytes();
    writer.finish();
    if (outcome.written == 0) {
        outcome.complaints.add(ExitCode::Findings, "nothing is selected; nothing was written.");
    }
    return outcome;
}

int report(const Options& options, const Outcome& outcome) {
    if (options.json) {
        printJson({{"command", options.command},
                   {"version", QOR_VERSION},
                   {"packetsRead", outcome.read},
                   {"packets", outcome.written},
                   {"frames", outcome.frames},
                   {"bytes", outcome.bytes},
                   {"files", outcome.written == 0 ? nlohmann::ordered_json::array()
                                                  : nlohmann::ordered_json{options.file.string()}},
                   {"findings", outcome.complaints.sentences()},
                   {"damage", outcome.damage}});
    } else if (!options.quiet) {
        fmt::print("Written\n  {}   {} of {}, {}, {}\n", files::nameOf(options.file), outcome.written,
                   counted(outcome.read, "packet"), counted(outcome.frames, "frame"),
                   byteText(outcome.bytes));
    }
    return outcome.complaints.tell();
}

int run(const Options& options) {
    if (files::isStandardOutput(options.file)) {
        files::standardOutputForData();
    }
    try {
        return report(options, copy(options));
    } catch (const recording::RecordError& error) {
        return giveUp(options.command, options.json, ExitCode::Usage,
                      std::string("--where: ") + error.what());
    } catch (const recording::RecordingError& error) {
        return giveUp(options.command, options.json, ExitCode::BadData, error.what());
    }
}

void addOutputOptions(CLI::App& command, Options& options) {
    command
        .add_option("-o,--out", options.file,
                    "The recording to write; NAME.zeltaz is compressed, - is standard output")
        ->required()
        ->check(checkRecordingName)
        ->type_name("FILE.zelta");
    command.add_flag("--json", options.json, "Print what was written as JSON");
    command.add_flag("--quiet", options.quiet, "Print only what is wrong");
}

}  // namespace

void addExtract(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    options->command = "extract";
    CLI::App* command =
        app.add_subcommand("extract", "Write a part of a recording: frames, channels, packets");
    command->add_option("FILE", options->recordings, "Recording, - for standard input")
        ->required()
        ->expected(1)
        ->type_name("");
    command
        ->add_option(
            "--frames", options->frames,
            "These frames, numbered from 0, and what comes before the first frame; B is not included")
        ->check(checkFrameSelection)
        ->type_name("A:B:STEP");
    command->add_option("--channels", options->channels, "Only the records on these channels")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("N,...");
    command
        ->add_option("--where", options->where,
                     "Only packets whose record meets this, for example\n"
                     "\"QorDistanceImageIFInput.phaseInfo.exposureTime >= 500\", and those without that\n"
                     "record; with ==, !=, <, <=, >, >=; may be repeated, then all must be met")
        ->check(checkCondition)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("CONDITION");
    addOutputOptions(*command, *options);
    command->footer(
        "Example:\n"
        "  qor extract room.zelta --frames 10:20 -o part.zelta\n"
        "\nExit codes: 0 good; 1 nothing is selected; 2 usage, or a condition names no member;\n"
        "            3 the recording is damaged, empty or cannot be read, or the file cannot be written\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

void addConcat(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    options->command = "concat";
    CLI::App* command = app.add_subcommand("concat", "Write recordings one after the other as one");
    command->add_option("FILES", options->recordings, "Recordings, - for standard input")
        ->required()
        ->type_name("");
    addOutputOptions(*command, *options);
    command->footer(
        "Example:\n"
        "  qor concat first.zelta second.zelta -o both.zelta\n"
        "\nExit codes: 0 good; 1 the calibrations differ; 2 usage;\n"
        "            3 a recording is damaged, empty or cannot be read, or the file cannot be written\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace qor
