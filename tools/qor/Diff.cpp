// SPDX-License-Identifier: Apache-2.0

#include "qor/Diff.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "imaging/Figure.h"
#include "imaging/Png.h"
#include "qor/Arguments.h"
#include "qor/ChunkMatcher.h"
#include "qor/Comparison.h"
#include "qor/Complaints.h"
#include "qor/ExitCode.h"
#include "qor/Interruption.h"
#include "recording/Record.h"
#include "recording/RecordingReader.h"
#include "simulation/Image.h"

namespace qor {
namespace {

// Clocks of the host and what they measure: no two runs have the same.
const std::vector<std::string> clocks{
    "QorDistanceImageProfiling", "QorDistanceImageState.total_frame_profiling",
    "QorDistanceImageDebug.monotonicTimestamp", "QorDistanceImageDebug.systemTime"};

constexpr int enlargement = 4;

struct Options {
    std::filesystem::path a;
    std::filesystem::path b;
    std::vector<int> channels;
    std::vector<std::string> tolerances;
    std::vector<std::string> leftOut;
    std::filesystem::path pictures;
    bool byFrame = false;
    bool clocks = false;
    bool nanDiffers = false;
    bool zeroSigns = false;
    bool json = false;
    bool quiet = false;
};

// A record that waits for the one of the other side.
struct Waiting {
    std::size_t packet = 0;
    std::vector<std::uint8_t> definition;
    std::vector<std::uint8_t> data;

    Waiting(std::size_t number, const zelta::ZeltaChunk& chunk) : packet(number) {
        const auto* const described = static_cast<const std::uint8_t*>(chunk.description);
        const auto* const bytes = static_cast<const std::uint8_t*>(chunk.data);
        definition.assign(described, described + chunk.descSize);
        data.assign(bytes, bytes + chunk.dataSize);
    }

    PlacedChunk placed(int channel) const {
        return {packet,
                {definition.data(), static_cast<int>(definition.size()), data.data(),
                 static_cast<int>(data.size()), channel}};
    }
};

// Records of a channel that have no counterpart.
struct Lonely {
    std::size_t records = 0;
    std::size_t firstPacket = 0;
};

struct ChannelCounts {
    std::size_t pairs = 0;
    std::size_t equalPairs = 0;
    Lonely onlyA;
    Lonely onlyB;
};

// One of the two recordings.
struct Side {
    recording::RecordingReader reader;
    ChunkPlaces places;
    std::map<ChunkPlace, Waiting> waiting;
    bool ended = false;

    Side(const std::filesystem::path& path, MatchBy by) : reader(path), places(by) {}
};

ComparisonRules rulesOf(const Options& options) {
    ComparisonRules rules;
    for (const std::string& text : options.tolerances) {
        rules.tolerances.push_back(readTolerance(text).value());
    }
    rules.leftOut = options.leftOut;
    if (!options.clocks) {
        rules.leftOut.insert(rules.leftOut.end(), clocks.begin(), clocks.end());
    }
    rules.nanDiffers = options.nanDiffers;
    rules.zeroSigns = options.zeroSigns;
    return rules;
}

std::string fileName(int channel, const std::string& member) {
    std::string name = fmt::format("{}_{}", channel, member);
    std::replace_if(
        name.begin(), name.end(),
        [](char letter) {
            return !((letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
                     (letter >= '0' && letter <= '9') || letter == '_' || letter == '.');
        },
        '-');
    return name + ".png";
}

class Diff {
 public:
    explicit Diff(const Options& options)
        : options_(options),
          a_(options.a, options.byFrame ? MatchBy::Frame : MatchBy::Packet),
          b_(options.b, options.byFrame ? MatchBy::Frame : MatchBy::Packet),
          comparison_(rulesOf(options)) {}

    void run() {
        listenForInterruption();
        while (!(a_.ended && b_.ended) && !interrupted()) {
            take(a_, b_, true);
            take(b_, a_, false);
        }
        countLonely(a_, true);
        countLonely(b_, false);
        findComplaints();
    }

    const RecordComparison& comparison() const { return comparison_; }
    const std::map<int, ChannelCounts>& channels() const { return channels_; }
    const std::vector<std::string>& pictures() const { return pictures_; }
    const std::vector<std::string>& damage() const { return damage_; }
    const Complaints& complaints() const { return complaints_; }
    bool isEqual() const { return equal_; }

 private:
    bool isWanted(int channel) const {
        return options_.channels.empty() || std::find(options_.channels.begin(), options_.channels.end(),
                                                      channel) != options_.channels.end();
    }

    // Reads a packet of one side and compares what the other side already has.
    void take(Side& here, Side& there, bool isA) {
        if (here.ended) {
            return;
        }
        const recording::RecordedPacket* packet = nullptr;
        try {
            packet = here.reader.next();
        } catch (const recording::RecordingError& error) {
            damage_.emplace_back(error.what());
        }
        if (packet == nullptr) {
            here.ended = true;
            return;
        }
        std::vector<ChunkPlace> places;
        try {
            places = here.places.next(packet->chunks);
        } catch (const recording::RecordError& error) {
            complaints_.add(ExitCode::BadData, fmt::format("packet {} of {}: {}", packet->index,
                                                           here.reader.path().string(), error.what()));
            return;
        }
        for (std::size_t k = 0; k < places.size(); ++k) {
            if (!isWanted(places[k].channel)) {
                continue;
            }
            const auto partner = there.waiting.find(places[k]);
            if (partner == there.waiting.end()) {
                wait(here, there, isA, places[k], packet->index, packet->chunks[k]);
                continue;
            }
            const PlacedChunk mine{packet->index, packet->chunks[k]};
            const PlacedChunk other = partner->second.placed(places[k].channel);
            compare(isA ? mine : other, isA ? other : mine);
            there.waiting.erase(partner);
        }
    }

    // If the other side has ended, nothing comes for it any more.
    void wait(Side& here, const Side& there, bool isA, const ChunkPlace& place, std::size_t packet,
              const zelta::ZeltaChunk& chunk) {
        if (there.ended) {
            addLonely(place.channel, isA, packet);
        } else {
            here.waiting.emplace(place, Waiting(packet, chunk));
        }
    }

    void addLonely(int channel, bool isA, std::size_t packet) {
        Lonely& lonely = isA ? channels_[channel].onlyA : channels_[channel].onlyB;
        lonely.firstPacket = lonely.records == 0 ? packet : std::min(lonely.firstPacket, packet);
        ++lonely.records;
    }

    void countLonely(const Side& side, bool isA) {
        for (const auto& [place, waiting] : side.waiting) {
            addLonely(place.channel, isA, waiting.packet);
        }
    }

    void compare(const PlacedChunk& a, const PlacedChunk& b) {
        ChannelCounts& counts = channels_[a.chunk.channelID];
        ++counts.pairs;
        try {
            const std::vector<std::string> different = comparison_.add(a, b);
            counts.equalPairs += different.empty() ? 1 : 0;
            for (const std::string& member : different) {
                draw(member, a, b);
            }
        } catch (const recording::RecordError& error) {
            complaints_.add(ExitCode::BadData,
                            fmt::format("packet {} of A and {} of B, channel {}: {}", a.packet, b.packet,
                                        a.chunk.channelID, error.what()));
        }
    }

    // B - A of the first pair of images that differ, once for each member.
    void draw(const std::string& member, const PlacedChunk& a, const PlacedChunk& b) {
        const std::string name = fileName(a.chunk.channelID, member);
        if (options_.pictures.empty() || drawn_.count(name) > 0 || !recording::hasMember(a.chunk, member) ||
            !recording::hasMember(b.chunk, member) ||
            recording::countOf(recording::typeOf(a.chunk), member) != simulation::pixelCount ||
            recording::countOf(recording::typeOf(b.chunk), member) != simulation::pixelCount) {
            return;
        }
        const std::vector<double> before = recording::numbersOf(a.chunk, member, simulation::pixelCount);
        const std::vector<double> after = recording::numbersOf(b.chunk, member, simulation::pixelCount);
        std::vector<float> difference(before.size());
        double most = 0.0;
        for (std::size_t i = 0; i < difference.size(); ++i) {
            const double step = after[i] - before[i];
            difference[i] = static_cast<float>(step);
            most = std::isfinite(step) ? std::max(most, std::abs(step)) : most;
        }
        const double scale = most > 0.0 ? most : 1.0;
        drawn_.insert(name);
        const imaging::Canvas picture = imaging::drawFigure(
            {member, fmt::format("B - A, packet {} of A and {} of B", a.packet, b.packet)}, difference,
            std::vector<std::uint8_t>(difference.size(), 1), simulation::imageWidth, simulation::imageHeight,
            {imaging::ColorMap::BlueWhiteRed, -scale, scale, ""}, enlargement);
        std::filesystem::create_directories(options_.pictures);
        imaging::writePng(options_.pictures / name, picture);
        pictures_.push_back((options_.pictures / name).string());
    }

    void findComplaints() {
        for (const auto& [channel, counts] : channels_) {
            equal_ = equal_ && counts.onlyA.records == 0 && counts.onlyB.records == 0;
        }
        for (const auto& [channel, members] : comparison_.members()) {
            for (const auto& [name, member] : members) {
                equal_ = equal_ && member.isEqual();
            }
        }
        for (const std::string& damage : damage_) {
            complaints_.add(ExitCode::BadData, damage);
        }
        if (interrupted()) {
            complaints_.add(ExitCode::Findings, "interrupted; what is told is true up to there.");
        } else if (channels_.empty()) {
            complaints_.add(ExitCode::Findings, "neither holds anything to compare.");
        }
        for (const std::string& expression : comparison_.unusedTolerances()) {
            complaints_.add(ExitCode::Usage, fmt::format("--tolerance {}: no record has it.", expression));
        }
    }

    const Options& options_;
    Side a_;
    Side b_;
    RecordComparison comparison_;
    std::map<int, ChannelCounts> channels_;
    std::set<std::string> drawn_;
    std::vector<std::string> pictures_;
    std::vector<std::string> damage_;
    Complaints complaints_{"diff"};
    bool equal_ = true;
};

std::string sentenceOf(const MemberComparison& member) {
    if (member.different == 0) {
        return member.reason;
    }
    std::string text = fmt::format("{} of {} differ", member.different, member.elements);
    if (member.largest) {
        text += fmt::format(", by up to {:.7g}", *member.largest);
    }
    if (member.lastPlaces) {
        text += fmt::format(" ({} in the last place)", counted(*member.lastPlaces, "unit"));
    }
    text += fmt::format("; first {} of packet {} and {}: {}, {}", printable(member.firstElement),
                        member.firstPacketA, member.firstPacketB, member.firstA, member.firstB);
    return member.missing == 0 ? text : text + "; " + member.reason;
}

void print(const Options& options, const Diff& diff) {
    fmt::print("A {}\nB {}\n", recording::nameOf(options.a), recording::nameOf(options.b));
    for (const auto& [channel, counts] : diff.channels()) {
        fmt::print("\nchannel {}: {}, {} equal\n", channel, counted(counts.pairs, "pair"), counts.equalPairs);
        for (const auto& [side, lonely] : {std::pair('A', counts.onlyA), std::pair('B', counts.onlyB)}) {
            if (lonely.records > 0) {
                fmt::print("  only in {}: {}, the first in packet {}\n", side,
                           counted(lonely.records, "record"), lonely.firstPacket);
            }
        }
        const auto members = diff.comparison().members().find(channel);
        if (members == diff.comparison().members().end()) {
            continue;
        }
        std::size_t equal = 0;
        for (const auto& [name, member] : members->second) {
            equal += member.isEqual() ? 1 : 0;
            if (!member.isEqual()) {
                fmt::print("  {}: {}\n", printable(name), sentenceOf(member));
            }
        }
        fmt::print("  {} equal\n", counted(equal, "member"));
    }
    if (!diff.comparison().leftOut().empty()) {
        const std::set<std::string>& names = diff.comparison().leftOut();
        fmt::print("\nLeft out: {}\n", joined({names.begin(), names.end()}, ", "));
    }
    for (const std::string& picture : diff.pictures()) {
        fmt::print("Drawn: {}\n", picture);
    }
    fmt::print("\n{}\n", diff.isEqual() ? "No difference." : "They differ.");
}

nlohmann::ordered_json memberJson(const MemberComparison& member) {
    nlohmann::ordered_json document{{"equal", member.isEqual()},
                                    {"records", member.records},
                                    {"elements", member.elements},
                                    {"different", member.different},
                                    {"missing", member.missing},
                                    {"largestDifference", orNull(member.largest)},
                                    {"unitsInTheLastPlace", nullptr},
                                    {"reason", nullptr},
                                    {"first", nullptr}};
    if (member.lastPlaces) {
        document["unitsInTheLastPlace"] = *member.lastPlaces;
    }
    if (member.missing > 0) {
        document["reason"] = member.reason;
    }
    if (member.different > 0) {
        document["first"] = {{"element", member.firstElement},
                             {"packetA", member.firstPacketA},
                             {"packetB", member.firstPacketB},
                             {"a", member.firstA},
                             {"b", member.firstB}};
    }
    return document;
}

nlohmann::ordered_json toJson(const Options& options, const Diff& diff) {
    nlohmann::ordered_json channels = nlohmann::ordered_json::object();
    for (const auto& [channel, counts] : diff.channels()) {
        nlohmann::ordered_json members = nlohmann::ordered_json::object();
        const auto compared = diff.comparison().members().find(channel);
        if (compared != diff.comparison().members().end()) {
            for (const auto& [name, member] : compared->second) {
                members[name] = memberJson(member);
            }
        }
        channels[std::to_string(channel)] = {{"pairs", counts.pairs},
                                             {"equalPairs", counts.equalPairs},
                                             {"onlyInA", counts.onlyA.records},
                                             {"onlyInB", counts.onlyB.records},
                                             {"members", members}};
    }
    return {
        {"command", "diff"},       {"version", QOR_VERSION},   {"a", options.a.string()},
        {"b", options.b.string()}, {"equal", diff.isEqual()},  {"leftOut", diff.comparison().leftOut()},
        {"channels", channels},    {"files", diff.pictures()}, {"findings", diff.complaints().sentences()},
        {"damage", diff.damage()}};
}

int run(const Options& options) {
    const auto refuse = [&options](int exitCode, const std::string& sentence) {
        return giveUp("diff", options.json, exitCode, sentence);
    };
    if (recording::isStandardInput(options.a) && recording::isStandardInput(options.b)) {
        return refuse(ExitCode::Usage, "only one of the two can be standard input.");
    }
    try {
        Diff diff(options);
        diff.run();
        if (options.json) {
            printJson(toJson(options, diff));
        } else if (!options.quiet) {
            print(options, diff);
        }
        const int exitCode = diff.complaints().tell();
        return std::max<int>(exitCode, diff.isEqual() ? ExitCode::Good : ExitCode::Findings);
    } catch (const std::runtime_error& error) {
        return refuse(ExitCode::BadData, error.what());
    }
}

}  // namespace

void addDiff(CLI::App& app, int& exitCode) {
    const auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("diff", "Compare two recordings or results, member by member, by their names");
    command->add_option("A", options->a, "Recording or result, - for standard input")
        ->required()
        ->type_name("");
    command->add_option("B", options->b, "The other, - for standard input")->required()->type_name("");
    command->add_flag(
        "--by-frame", options->byFrame,
        "Match records of the same frame; otherwise the first of a channel with the first, and\n"
        "so on");
    command->add_option("--channels", options->channels, "Only the records on these channels")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("N,...");
    command
        ->add_option("--tolerance", options->tolerances,
                     "Numbers of this member, or in this structure, may differ by so much:\n"
                     "RECORD.MEMBER=0.001, =0.1% of the larger, or =4ulp, units in the last place; may be\n"
                     "repeated, the first that fits holds")
        ->check(checkTolerance)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("TOLERANCE");
    command
        ->add_option("--leave-out", options->leftOut,
                     "Do not compare this member or structure, written without indices; may be repeated")
        ->check(checkNotEmpty)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("RECORD.MEMBER");
    command->add_flag("--clocks", options->clocks,
                      "Also compare clocks of the host and run times, which are left out otherwise");
    command->add_flag("--nan-differs", options->nanDiffers, "A NaN differs from everything, also from NaN");
    command->add_flag("--zero-signs", options->zeroSigns, "0 and -0 differ");
    command
        ->add_option("--pictures", options->pictures,
                     "Draw B - A of each image that differs, of the first pair in which it does")
        ->check(checkNotEmpty)
        ->type_name("FOLDER");
    command->add_flag("--json", options->json, "Print what was compared as JSON");
    command->add_flag("--quiet", options->quiet, "Print only what is wrong; the exit code tells the rest");
    command->footer(
        "Example:\n"
        "  qor diff before.zelta after.zelta --leave-out QorDistanceImageIFOutput.timestamp\n"
        "\nExit codes: 0 equal; 1 different; 2 usage;\n"
        "            3 one of the two is damaged or cannot be read\n");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace qor
