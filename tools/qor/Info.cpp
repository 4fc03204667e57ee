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
#include "plugin/ImageInfo.h"
#include "qor/Arguments.h"
#include "qor/Checksum.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"
#include "qor/SettingsLog.h"
#include "qor/Timeline.h"
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
    std::uint64_t recordBytes = 0;      // of the first chunk
    std::uint64_t definitionBytes = 0;  // of all chunks
    std::uint64_t dataBytes = 0;        // of all chunks
    Checksum checksum;                  // of definitions and data
    std::set<std::string> definitions;
    std::vector<std::string> faults;
};

struct Summary {
    std::size_t packets = 0;
    std::size_t emptyPackets = 0;  // those without chunks
    std::uint64_t bytes = 0;
    std::size_t frames = 0;
    std::map<int, ChannelSummary> channels;
    Timeline timeline;
    SettingsLog settings{{}};
    Checksum checksum;  // of all packets
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
        plugin::ImageInfoReader imageInfo;
        while (const recording::RecordedPacket* packet = reader.next()) {
            ++summary.packets;
            summary.checksum.add(packet->bytes.data(), packet->bytes.size());
            if (const auto image = imageInfo.read(packet->chunks)) {
                summary.timeline.add(*image, packet->index);
            }
            summary.settings.add(*packet);
            summary.emptyPackets += packet->chunks.empty() ? 1 : 0;
            summary.frames += recording::beginsFrame(packet->chunks) ? 1 : 0;
            for (const zelta::ZeltaChunk& chunk : packet->chunks) {
                ChannelSummary& channel = summary.channels[chunk.channelID];
                if (channel.chunks++ == 0) {
                    channel.recordBytes = static_cast<std::uint64_t>(chunk.dataSize);
                }
                channel.definitionBytes += static_cast<std::uint64_t>(chunk.descSize);
                channel.dataBytes += static_cast<std::uint64_t>(chunk.dataSize);
                channel.checksum.add(chunk.description, static_cast<std::size_t>(chunk.descSize));
                channel.checksum.add(chunk.data, static_cast<std::size_t>(chunk.dataSize));
                addDefinition(channel, chunk);
            }
        }
    } catch (const recording::RecordingError& error) {
        summary.damage = error.what();
    }
    summary.bytes = reader.bytesRead();
    return summary;
}

// Long lists help nobody at a terminal. The document has them in full.
void printList(const char* title, const char* none, const std::vector<std::string>& sentences) {
    constexpr std::size_t mostLines = 10;
    if (sentences.empty()) {
        fmt::print("  {:<9} {}\n", title, none);
        return;
    }
    for (std::size_t k = 0; k < std::min(sentences.size(), mostLines); ++k) {
        fmt::print("  {:<9} {}\n", k == 0 ? title : "", printable(sentences[k]));
    }
    if (sentences.size() > mostLines) {
        fmt::print("  {:<9} and {} more\n", "", sentences.size() - mostLines);
    }
}

std::vector<std::string> gapSentences(const Summary& summary) {
    std::vector<std::string> sentences;
    for (const Gap& gap : summary.timeline.gaps()) {
        sentences.push_back(fmt::format("packet {}: {}", gap.packet, gap.sentence));
    }
    return sentences;
}

// How the recording proceeds in time; nothing for one without images.
void printCourse(const Summary& summary) {
    fmt::print("  {:<9} {}\n", "checksum", summary.checksum.text());
    if (summary.timeline.images() == 0) {
        return;
    }
    const auto rate = summary.timeline.framesPerSecond();
    fmt::print("  {:<9} {}, {}\n", "rate", rate ? fmt::format("{:.2f} frames per second", *rate) : "-",
               counted(summary.timeline.images(), "image"));
    printList("gaps", "none", gapSentences(summary));
    printList("settings", "the same for all images", summary.settings.changes());
}

void printText(const Options& options, const Summary& summary) {
    fmt::print("{}: {}, {} bytes, {}\n", printable(recording::nameOf(options.file)),
               counted(summary.packets, "packet"), summary.bytes, counted(summary.frames, "frame"));
    printCourse(summary);
    if (summary.channels.empty()) {
        return;
    }
    std::size_t width = 6;
    for (const auto& [id, channel] : summary.channels) {
        width = std::max(width, printable(channel.record).size());
    }
    fmt::print("\n  channel  {:<{}}  chunks  definitions  bytes/record        bytes   share  checksum\n",
               "record", width);
    for (const auto& [id, channel] : summary.channels) {
        const std::string name = channel.record.empty() ? "-" : printable(channel.record);
        const std::uint64_t bytes = channel.definitionBytes + channel.dataBytes;
        fmt::print("  {:>7}  {:<{}}  {:>6}  {:>11}  {:>12}  {:>11}  {:>4.1f} %  {}\n", id, name, width,
                   channel.chunks, channel.definitions.size(), channel.recordBytes, bytes,
                   100.0 * static_cast<double>(bytes) / static_cast<double>(summary.bytes),
                   channel.checksum.text());
    }
}

Complaints complaintsOf(const Options& options, const Summary& summary) {
    Complaints complaints("info");
    for (const auto& [id, channel] : summary.channels) {
        for (const std::string& fault : channel.faults) {
            complaints.add(ExitCode::Findings, fault);
        }
    }
    if (summary.emptyPackets > 0) {
        complaints.add(ExitCode::Findings, fmt::format("{} of {} without chunks.", summary.emptyPackets,
                                                       counted(summary.packets, "packet")));
    }
    if (!summary.damage.empty()) {
        complaints.add(ExitCode::BadData, summary.damage);
    } else if (summary.packets == 0) {
        complaints.add(ExitCode::BadData, recording::nameOf(options.file) + " holds no packets.");
    }
    return complaints;
}

nlohmann::ordered_json toJson(const Options& options, const Summary& summary, const Complaints& complaints) {
    nlohmann::ordered_json channels = nlohmann::ordered_json::array();
    for (const auto& [id, channel] : summary.channels) {
        channels.push_back({{"channel", id},
                            {"record", channel.record},
                            {"chunks", channel.chunks},
                            {"definitions", channel.definitions.size()},
                            {"recordBytes", channel.recordBytes},
                            {"bytes", channel.definitionBytes + channel.dataBytes},
                            {"definitionBytes", channel.definitionBytes},
                            {"dataBytes", channel.dataBytes},
                            {"checksum", channel.checksum.text()},
                            {"faults", channel.faults}});
    }
    nlohmann::ordered_json gaps = nlohmann::ordered_json::array();
    for (const Gap& gap : summary.timeline.gaps()) {
        gaps.push_back({{"packet", gap.packet}, {"sentence", gap.sentence}});
    }
    const auto rate = summary.timeline.framesPerSecond();
    return {{"command", "info"},
            {"version", QOR_VERSION},
            {"file", options.file.string()},
            {"packets", summary.packets},
            {"emptyPackets", summary.emptyPackets},
            {"bytes", summary.bytes},
            {"frames", summary.frames},
            {"checksum", summary.checksum.text()},
            {"images", summary.timeline.images()},
            {"framesPerSecond", rate ? nlohmann::ordered_json(*rate) : nlohmann::ordered_json(nullptr)},
            {"gaps", gaps},
            {"settingsChanges", summary.settings.changes()},
            {"channels", channels},
            {"findings", complaints.sentences()},
            {"damage", summary.damage.empty() ? nlohmann::ordered_json(nullptr)
                                              : nlohmann::ordered_json(summary.damage)}};
}

int run(const Options& options) {
    try {
        recording::RecordingReader reader(options.file);
        const Summary summary = summarise(reader);
        const Complaints complaints = complaintsOf(options, summary);
        if (options.json) {
            printJson(toJson(options, summary, complaints));
        } else {
            printText(options, summary);
        }
        return complaints.tell();
    } catch (const recording::RecordingError& error) {
        return giveUp("info", options.json, ExitCode::BadData, error.what());
    }
}

}  // namespace

void addInfo(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("info", "Tell what a recording holds: packets, frames, channels");
    command->add_option("FILE", options->file, "Recording, - for standard input")->required()->type_name("");
    command->add_flag("--json", options->json, "Print JSON");
    command->footer(
        "Example:\n"
        "  qor info room.zelta\n"
        "\nExit codes: 0 good; 1 a definition is damaged or does not fit its data, or a packet has\n"
        "            no chunks; 2 usage;\n"
        "            3 the recording is damaged, empty or cannot be read\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace qor
