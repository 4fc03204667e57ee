// SPDX-License-Identifier: Apache-2.0

#include "qor/Doctor.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>
#include <vector>

#include "files/StandardOutput.h"
#include "qor/Arguments.h"
#include "qor/Complaints.h"
#include "qor/Diagnosis.h"
#include "qor/ExitCode.h"
#include "qor/Recovery.h"
#include "recording/RecordingReader.h"
#include "recording/RecordingWriter.h"
#include "recording/Salvage.h"

namespace qor {
namespace {

struct Options {
    std::string command;
    std::filesystem::path recording;
    std::filesystem::path file;
    bool json = false;
    bool quiet = false;
};

nlohmann::ordered_json toJson(const std::vector<Finding>& findings) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Finding& finding : findings) {
        list.push_back({{"byte", finding.byte},
                        {"packet", finding.packet},
                        {"chunk", finding.chunk ? nlohmann::ordered_json(*finding.chunk)
                                                : nlohmann::ordered_json(nullptr)},
                        {"rule", finding.rule},
                        {"advice", finding.advice},
                        {"damage", finding.isDamage}});
    }
    return list;
}

void printFinding(const Finding& finding) {
    const std::string chunk = finding.chunk ? fmt::format(", chunk {}", *finding.chunk) : "";
    fmt::print("byte {}, packet {}{}: {} {}\n", finding.byte, finding.packet, chunk, printable(finding.rule),
               finding.advice);
}

int diagnoseFile(const Options& options) {
    recording::FileBytes file(options.recording);
    if (!file.reach(1)) {
        return giveUp(options.command, options.json, ExitCode::BadData,
                      recording::nameOf(options.recording) + " holds no packets.");
    }
    const auto [findings, packets] = diagnose(file);
    if (options.json) {
        printJson({{"command", options.command},
                   {"version", QOR_VERSION},
                   {"file", options.recording.string()},
                   {"bytes", file.size()},
                   {"packets", packets},
                   {"findings", toJson(findings)}});
    } else {
        for (std::size_t k = 0; k < std::min(findings.size(), mostSentences); ++k) {
            printFinding(findings[k]);
        }
        fmt::print("{}{}: {}, {}\n", findings.size() > mostSentences ? "... --json lists all findings\n" : "",
                   printable(recording::nameOf(options.recording)), counted(packets, "packet"),
                   counted(findings.size(), "finding"));
    }
    return findings.empty() ? ExitCode::Good : ExitCode::Findings;
}

Complaints complaintsOf(const Options& options, const Recovered& recovered, std::uint64_t bytes) {
    Complaints complaints(options.command);
    for (std::size_t k = 0; k < std::min(recovered.lost.size(), mostSentences); ++k) {
        const Finding& finding = recovered.lost[k];
        complaints.add(ExitCode::Findings, fmt::format("byte {}, after {} good: {}", finding.byte,
                                                       counted(finding.packet, "packet"), finding.rule));
    }
    if (recovered.emptyPackets > 0) {
        complaints.add(ExitCode::Findings,
                       fmt::format("left out {} without chunks.", counted(recovered.emptyPackets, "packet")));
    }
    if (recovered.packets == 0) {
        complaints.add(ExitCode::BadData,
                       recording::nameOf(options.recording) + " holds no good packet; nothing was written.");
    } else if (!complaints.empty()) {
        complaints.add(ExitCode::Findings,
                       fmt::format("lost {} of {}.", counted(recovered.lostBytes, "byte"), bytes));
    }
    return complaints;
}

int recoverFile(const Options& options) {
    if (files::isStandardOutput(options.file)) {
        files::standardOutputForData();
    }
    recording::FileBytes file(options.recording);
    recording::RecordingWriter writer(options.file);
    const Recovered recovered = recover(file, writer);
    const Complaints complaints = complaintsOf(options, recovered, file.size());
    if (options.json) {
        printJson({{"command", options.command},
                   {"version", QOR_VERSION},
                   {"file", options.recording.string()},
                   {"packets", recovered.packets},
                   {"bytes", recovered.bytes},
                   {"emptyPackets", recovered.emptyPackets},
                   {"lostBytes", recovered.lostBytes},
                   {"lost", toJson(recovered.lost)},
                   {"findings", complaints.sentences()},
                   {"files", recovered.packets == 0 ? nlohmann::ordered_json::array()
                                                    : nlohmann::ordered_json{options.file.string()}}});
    } else if (!options.quiet) {
        fmt::print("Written\n  {}   {}, {}\n", files::nameOf(options.file),
                   counted(recovered.packets, "packet"), byteText(recovered.bytes));
    }
    return complaints.tell();
}

template <typename Work>
int attempt(const Options& options, const Work& work) {
    std::error_code error;
    if (std::filesystem::is_directory(options.recording, error)) {
        return giveUp(options.command, options.json, ExitCode::BadData,
                      "Cannot read " + options.recording.string() + ": it is a folder.");
    }
    try {
        return work(options);
    } catch (const recording::RecordingError& problem) {
        return giveUp(options.command, options.json, ExitCode::BadData, problem.what());
    }
}

void addInput(CLI::App& command, Options& options) {
    command.add_option("FILE", options.recording, "Recording, - for standard input")
        ->required()
        ->type_name("");
}

}  // namespace

void addDoctor(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    options->command = "doctor";
    CLI::App* command =
        app.add_subcommand("doctor", "Tell what is wrong with a recording, where, and what to do about it");
    addInput(*command, *options);
    command->add_flag("--json", options->json, "Print JSON");
    command->footer(
        "Example:\n"
        "  qor doctor room.zelta\n"
        "\nExit codes: 0 nothing is wrong; 1 findings; 2 usage; 3 the recording is empty or cannot be "
        "read\n");
    command->callback([options, &exitCode] { exitCode = attempt(*options, diagnoseFile); });
}

void addRecover(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    options->command = "recover";
    CLI::App* command =
        app.add_subcommand("recover", "Write the good packets of a damaged recording, and tell what is lost");
    addInput(*command, *options);
    command->add_option("-o,--out", options->file, "The recording to write; - for standard output")
        ->required()
        ->check(checkRecordingName)
        ->type_name("FILE.zelta");
    command->add_flag("--json", options->json, "Print what was written and lost as JSON");
    command->add_flag("--quiet", options->quiet, "Print only what is lost");
    command->footer(
        "Example:\n"
        "  qor recover damaged.zelta -o whole.zelta\n"
        "\nExit codes: 0 nothing is lost; 1 something is lost; 2 usage;\n"
        "            3 the recording cannot be read, holds no good packet, or the file cannot be written\n");
    command->callback([options, &exitCode] { exitCode = attempt(*options, recoverFile); });
}

}  // namespace qor
