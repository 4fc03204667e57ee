// SPDX-License-Identifier: Apache-2.0

#include "qor/Info.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "PacketZelta.h"
#include "qor/Arguments.h"
#include "qor/ExitCode.h"
#include "qor/StandardError.h"
#include "recording/CameraRecords.h"
#include "recording/Record.h"
#include "recording/RecordingReader.h"

namespace qor {
namespace {

struct Options {
    std::filesystem::path file;
    bool json = false;
};

struct ChannelSummary {
    std::string record;  // its name, by the first definition
    std::size_t chunks = 0;
    std::uint64_t recordBytes = 0;  // of the first chunk
    std::uint64_t bytes = 0;        // definitions and data of all chunks
    std::set<std::string> definitions;
    std::vector<std::string> faults;
};

struct Summary {
    std::size_t packets = 0;
    std::size_t emptyPackets = 0;  // those without chunks
    std::uint64_t bytes = 0;
    std::size_t frames = 0;
    std::map<int, ChannelSummary> channels;
    std::string damage;
};

// Types are needed only once for each definition; a file with very many keeps few of them in memory.
constexpr std::size_t mostCachedTypes = 256;

void addDefinition(ChannelSummary& channel, const zelta::ZeltaChunk& chunk) {
    const std::string definition(static_cast<const char*>(chunk.description),
                                 static_cast<std::size_t>(chunk.descSize));
    if (!channel.definitions.insert(definition).second) {
        return;
    }
    if (channel.definitions.size() % mostCachedTypes == 0) {
        zelta::PacketCacheClear();
    }
    try {
        const zelta::TypeRef type = recording::typeOf(chunk);
        if (channel.record.empty()) {
            channel.record = type->name;
        }
        if (zelta::typeSize(type) != static_cast<unsigned int>(chunk.dataSize)) {
            channel.faults.push_back(
                fmt::format("A definition on channel {} describes {} bytes, where {} bytes of data follow.",
                            chunk.channelID, zelta::typeSize(type), chunk.dataSize));
        }
    } catch (const recording::RecordError& error) {
        channel.faults.emplace_back(error.what());
    }
}

Summary summarise(recording::RecordingReader& reader) {
    Summary summary;
    try {
        while (const recording::RecordedPacket* packet = reader.next()) {
            ++summary.packets;
            summary.emptyPackets += packet->chunks.empty() ? 1 : 0;
            summary.frames += recording::beginsFrame(packet->chunks) ? 1 : 0;
            for (const zelta::ZeltaChunk& chunk : packet->chunks) {
                ChannelSummary& channel = summary.channels[chunk.channelID];
                if (channel.chunks++ == 0) {
                    channel.recordBytes = static_cast<std::uint64_t>(chunk.dataSize);
                }
                channel.bytes +=
                    static_cast<std::uint64_t>(chunk.descSize) + static_cast<std::uint64_t>(chunk.dataSize);
                addDefinition(channel, chunk);
            }
        }
    } catch (const recording::RecordingError& error) {
        summary.damage = error.what();
    }
    summary.bytes = reader.bytesRead();
    return summary;
}

void printText(const Options& options, const Summary& summary) {
    fmt::print("{}: {}, {} bytes, {}\n", printable(recording::nameOf(options.file)),
               counted(summary.packets, "packet"), summary.bytes, counted(summary.frames, "frame"));
    if (summary.channels.empty()) {
        return;
    }
    std::size_t width = 6;
    for (const auto& [id, channel] : summary.channels) {
        width = std::max(width, printable(channel.record).size());
    }
    fmt::print("\n  channel  {:<{}}  chunks  definitions  bytes/record        bytes\n", "record", width);
    for (const auto& [id, channel] : summary.channels) {
        const std::string name = channel.record.empty() ? "-" : printable(channel.record);
        fmt::print("  {:>7}  {:<{}}  {:>6}  {:>11}  {:>12}  {:>11}\n", id, name, width, channel.chunks,
                   channel.definitions.size(), channel.recordBytes, channel.bytes);
    }
}

nlohmann::ordered_json toJson(const Options& options, const Summary& summary) {
    nlohmann::ordered_json channels = nlohmann::ordered_json::array();
    for (const auto& [id, channel] : summary.channels) {
        channels.push_back({{"channel", id},
                            {"record", channel.record},
                            {"chunks", channel.chunks},
                            {"definitions", channel.definitions.size()},
                            {"recordBytes", channel.recordBytes},
                            {"bytes", channel.bytes},
                            {"faults", channel.faults}});
    }
    return {{"command", "info"},
            {"version", QOR_VERSION},
            {"file", options.file.string()},
            {"packets", summary.packets},
            {"emptyPackets", summary.emptyPackets},
            {"bytes", summary.bytes},
            {"frames", summary.frames},
            {"channels", channels},
            {"damage", summary.damage.empty() ? nlohmann::ordered_json(nullptr)
                                              : nlohmann::ordered_json(summary.damage)}};
}

int complain(int exitCode, const std::string& sentence) {
    printError("qor info: {}\n", printable(sentence));
    return exitCode;
}

int judge(const Options& options, const Summary& summary) {
    int exitCode = ExitCode::Good;
    for (const auto& [id, channel] : summary.channels) {
        for (const std::string& fault : channel.faults) {
            exitCode = complain(ExitCode::Findings, fault);
        }
    }
    if (summary.emptyPackets > 0) {
        exitCode = complain(ExitCode::Findings, fmt::format("{} of {} without chunks.", summary.emptyPackets,
                                                            counted(summary.packets, "packet")));
    }
    if (!summary.damage.empty()) {
        return complain(ExitCode::BadData, summary.damage);
    }
    if (summary.packets == 0) {
        return complain(ExitCode::BadData, recording::nameOf(options.file) + " holds no packets.");
    }
    return exitCode;
}

int run(const Options& options) {
    try {
        recording::RecordingReader reader(options.file);
        const Summary summary = summarise(reader);
        if (options.json) {
            printJson(toJson(options, summary));
        } else {
            printText(options, summary);
        }
        return judge(options, summary);
    } catch (const recording::RecordingError& error) {
        if (options.json) {
            printJsonError("info", error.what());
        }
        return complain(ExitCode::BadData, error.what());
    }
}

}  // namespace

void addInfo(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("info", "Tell what a recording holds: packets, frames, channels");
    command->add_option("FILE", options->file, "Recording, - for standard input")->required()->type_name("");
    command->add_flag("--json", options->json, "Print JSON");
    command->footer(
        "Exit codes: 0 good; 1 a definition is damaged or does not fit its data, or a packet has\n"
        "            no chunks; 2 usage;\n"
        "            3 the recording is damaged, empty or cannot be read\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace qor
