// SPDX-License-Identifier: Apache-2.0

#include "qor/Tree.h"

#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "qor/Arguments.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"
#include "qor/TypeText.h"
#include "recording/Record.h"
#include "recording/RecordingReader.h"

namespace qor {
namespace {

struct Options {
    std::filesystem::path file;
    std::optional<int> channel;
    bool json = false;
};

// A definition, where it was first met.
struct Definition {
    int channel = 0;
    std::size_t packet = 0;
    zelta::TypeRef type;
};

struct Collection {
    std::size_t packets = 0;
    std::vector<Definition> definitions;
    std::vector<std::string> faults;
    std::string damage;
};

Collection collect(recording::RecordingReader& reader, const std::optional<int>& channel) {
    Collection collection;
    std::set<std::pair<int, std::string>> known;
    try {
        while (const recording::RecordedPacket* packet = reader.next()) {
            for (const zelta::ZeltaChunk& chunk : packet->chunks) {
                if (channel && *channel != chunk.channelID) {
                    continue;
                }
                const std::string definition(static_cast<const char*>(chunk.description),
                                             static_cast<std::size_t>(chunk.descSize));
                if (!known.emplace(chunk.channelID, definition).second) {
                    continue;
                }
                try {
                    collection.definitions.push_back(
                        {chunk.channelID, packet->index, recording::typeOf(chunk)});
                } catch (const recording::RecordError& error) {
                    collection.faults.push_back(fmt::format("packet {}: {}", packet->index, error.what()));
                }
            }
        }
    } catch (const recording::RecordingError& error) {
        collection.damage = error.what();
    }
    collection.packets = reader.packetsRead();
    return collection;
}

void printNode(const zelta::TypeRef& type, int depth) {
    fmt::print("  {:>9}  {:>9}  {:<8}  {:{}}{}{}\n", type->offset, type->size, kindText(*type), "", 2 * depth,
               printable(type->name), dimensionText(type->dimensions));
    for (const zelta::TypeRef& child : type->children()) {
        printNode(child, depth + 1);
    }
}

nlohmann::ordered_json toJson(const zelta::TypeRef& type) {
    nlohmann::ordered_json node{{"name", type->name},
                                {"kind", kindText(*type)},
                                {"dimensions", type->dimensions},
                                {"offset", type->offset},
                                {"size", type->size}};
    if (type->typeIdentifier() == zelta::TypeStruct) {
        node["members"] = nlohmann::ordered_json::array();
        for (const zelta::TypeRef& child : type->children()) {
            node["members"].push_back(toJson(child));
        }
    }
    return node;
}

const char* byteOrder(const zelta::TypeRef& type) {
    return type->endianess == zelta::EndianLittle ? "little" : "big";
}

void printText(const Collection& collection) {
    bool first = true;
    for (const Definition& definition : collection.definitions) {
        fmt::print("{}channel {}, from packet {} on, {}-endian\n", first ? "" : "\n", definition.channel,
                   definition.packet, byteOrder(definition.type));
        fmt::print("  {:>9}  {:>9}  {:<8}  {}\n", "offset", "size", "kind", "name");
        printNode(definition.type, 0);
        first = false;
    }
}

void printAsJson(const Options& options, const Collection& collection, const Complaints& complaints) {
    nlohmann::ordered_json definitions = nlohmann::ordered_json::array();
    for (const Definition& definition : collection.definitions) {
        definitions.push_back({{"channel", definition.channel},
                               {"packet", definition.packet},
                               {"byteOrder", byteOrder(definition.type)},
                               {"record", toJson(definition.type)}});
    }
    printJson({{"command", "tree"},
               {"version", QOR_VERSION},
               {"file", options.file.string()},
               {"definitions", definitions},
               {"findings", complaints.sentences()},
               {"damage", collection.damage.empty() ? nlohmann::ordered_json(nullptr)
                                                    : nlohmann::ordered_json(collection.damage)}});
}

Complaints complaintsOf(const Options& options, const Collection& collection) {
    Complaints complaints("tree");
    for (const std::string& fault : collection.faults) {
        complaints.add(ExitCode::Findings, fault);
    }
    if (!collection.damage.empty()) {
        complaints.add(ExitCode::BadData, collection.damage);
    } else if (collection.packets == 0) {
        complaints.add(ExitCode::BadData, recording::nameOf(options.file) + " holds no packets.");
    } else if (collection.faults.empty() && collection.definitions.empty()) {
        complaints.add(ExitCode::Findings,
                       fmt::format("{} holds {}.", recording::nameOf(options.file),
                                   options.channel ? fmt::format("nothing on channel {}", *options.channel)
                                                   : "no records"));
    }
    return complaints;
}

int run(const Options& options) {
    try {
        recording::RecordingReader reader(options.file);
        const Collection collection = collect(reader, options.channel);
        const Complaints complaints = complaintsOf(options, collection);
        if (options.json) {
            printAsJson(options, collection, complaints);
        } else {
            printText(collection);
        }
        return complaints.tell();
    } catch (const recording::RecordingError& error) {
        return giveUp("tree", options.json, ExitCode::BadData, error.what());
    }
}

}  // namespace

void addTree(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("tree", "List the members of the records: kinds, dimensions, offsets, sizes");
    command->add_option("FILE", options->file, "Recording, - for standard input")->required()->type_name("");
    command->add_option("CHANNEL", options->channel, "Only the records on this channel")->type_name("");
    command->add_flag("--json", options->json, "Print JSON");
    command->footer(
        "Sizes are those of one element; offsets count from the start of the record, inside an\n"
        "array of structures for its first element. All in bytes.\n"
        "\nExample:\n"
        "  qor tree room.zelta 3208\n"
        "\nExit codes: 0 good; 1 nothing found or a definition is damaged; 2 usage;\n"
        "            3 the recording is damaged, empty or cannot be read\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace qor
