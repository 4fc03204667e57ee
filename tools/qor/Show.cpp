// SPDX-License-Identifier: Apache-2.0

#include "qor/Show.h"

#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "qor/Arguments.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"
#include "qor/Expression.h"
#include "qor/RecordText.h"
#include "recording/Record.h"
#include "recording/RecordingReader.h"

namespace qor {
namespace {

struct Options {
    std::filesystem::path file;
    int channel = 0;
    std::string expression;
    std::optional<std::size_t> packet;
    bool all = false;
    bool unused = false;
    bool json = false;
};

void printPacket(const Options& options, std::size_t packet, const std::vector<ShownValue>& values) {
    if (options.all && values.size() == 1 && values[0].rows.size() == 1) {
        fmt::print("{}\n", values[0].rows[0]);
        return;
    }
    if (options.all) {
        fmt::print("packet {}\n", packet);
    }
    const bool single = values.size() == 1 && values[0].expression == options.expression;
    for (const ShownValue& value : values) {
        if (single) {
            fmt::print("{}\n", joined(value.rows, "\n"));
        } else {
            fmt::print("{} = {}\n", printable(value.expression), abbreviated(value));
        }
    }
}

nlohmann::ordered_json toJson(std::size_t packet, const std::vector<ShownValue>& values) {
    nlohmann::ordered_json members = nlohmann::ordered_json::object();
    nlohmann::ordered_json names = nlohmann::ordered_json::object();
    for (const ShownValue& value : values) {
        members[value.expression] = value.json;
        if (value.isNamed) {
            names[value.expression] = joined(value.rows, " ");
        }
    }
    return {{"packet", packet}, {"values", members}, {"names", names}};
}

// Why nothing was shown.
void addNothingFound(Complaints& complaints, const Options& options, std::size_t packets) {
    const std::string name = recording::nameOf(options.file);
    if (packets == 0) {
        complaints.add(ExitCode::BadData, name + " holds no packets.");
    } else if (options.packet && *options.packet >= packets) {
        complaints.add(ExitCode::Findings, fmt::format("{} has no packet {}; it has {}.", name,
                                                       *options.packet, counted(packets, "packet")));
    } else {
        complaints.add(ExitCode::Findings,
                       fmt::format("{} holds nothing on channel {}{}.", name, options.channel,
                                   options.packet ? fmt::format(" in packet {}", *options.packet) : ""));
    }
}

int show(const Options& options) {
    recording::RecordingReader reader(options.file);
    nlohmann::ordered_json shown = nlohmann::ordered_json::array();
    Complaints complaints("show");
    std::string damage;
    std::size_t found = 0;
    try {
        while (const recording::RecordedPacket* packet = reader.next()) {
            if (options.packet && packet->index != *options.packet) {
                continue;
            }
            const zelta::ZeltaChunk* const chunk = recording::findChunk(packet->chunks, options.channel);
            if (chunk != nullptr) {
                ++found;
                try {
                    const std::vector<ShownValue> values = valuesOf(
                        *chunk, options.expression, options.unused ? Unused::Shown : Unused::LeftOut);
                    if (options.json) {
                        shown.push_back(toJson(packet->index, values));
                    } else {
                        printPacket(options, packet->index, values);
                    }
                } catch (const recording::RecordError& error) {
                    complaints.add(ExitCode::BadData,
                                   fmt::format("packet {}: {}", packet->index, error.what()));
                }
            }
            if (options.packet || (found > 0 && !options.all)) {
                break;
            }
        }
    } catch (const recording::RecordingError& error) {
        damage = error.what();
    }
    if (!damage.empty()) {
        complaints.add(ExitCode::BadData, damage);
    } else if (found == 0) {
        addNothingFound(complaints, options, reader.packetsRead());
    }
    if (options.json) {
        printJson(
            {{"command", "show"},
             {"version", QOR_VERSION},
             {"file", options.file.string()},
             {"channel", options.channel},
             {"expression", options.expression},
             {"packets", shown},
             {"findings", complaints.sentences()},
             {"damage", damage.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(damage)}});
    }
    return complaints.tell();
}

int run(const Options& options) {
    if (const std::string fault = checkSyntax(options.expression, Slices::Allowed); !fault.empty()) {
        return giveUp("show", options.json, ExitCode::Usage, fault);
    }
    try {
        return show(options);
    } catch (const NoSuchExpression& error) {
        return giveUp("show", options.json, ExitCode::Usage, error.what());
    } catch (const recording::RecordingError& error) {
        return giveUp("show", options.json, ExitCode::BadData, error.what());
    }
}

}  // namespace

void addShow(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("show", "Print what an expression addresses in a recording");
    command->add_option("FILE", options->file, "Recording, - for standard input")->required()->type_name("");
    command->add_option("CHANNEL", options->channel, "Channel of the record")->required()->type_name("");
    command
        ->add_option("EXPRESSION", options->expression,
                     "For example QorDistanceImageIFInput.phaseInfo.freqIdx or Simulation.frequencies[0];\n"
                     "a structure shows all that is in it, [0:3] and [::8] take parts of arrays")
        ->required()
        ->type_name("");
    auto* const packet = command->add_option("--packet", options->packet, "The packet of this number, from 0")
                             ->check(checkPacketNumber)
                             ->type_name("N");
    command->add_flag("--all", options->all, "Every packet that has the channel, not only the first")
        ->excludes(packet);
    command->add_flag("--unused", options->unused,
                      "In a structure, also show unused elements, such as regions beyond their count");
    command->add_flag("--json", options->json, "Print JSON");
    command->footer(
        "Example:\n"
        "  qor show room.zelta 3208 QorDistanceImageIFInput.phaseInfo.exposureTime --all\n"
        "\nExit codes: 0 good; 1 nothing found; 2 usage, or the expression addresses nothing;\n"
        "            3 the recording or the record is damaged, or the recording is empty or cannot be "
        "read\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace qor
