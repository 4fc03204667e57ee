// SPDX-License-Identifier: Apache-2.0

#include "qor/RunReport.h"

#include <fmt/format.h>

#include <cstdio>
#include <nlohmann/json.hpp>

#include "files/StandardOutput.h"
#include "qor/Arguments.h"
#include "qor/ChannelSelection.h"
#include "qor/Report.h"
#include "simulation/Image.h"

namespace qor {
namespace {

// Of a frame: four phases.
constexpr double usualImages = 4.0;

std::vector<std::filesystem::path> filesOf(const RunOutcome& outcome, const RunProducts& products) {
    std::vector<std::filesystem::path> paths;
    if (outcome.counts.written > 0) {
        paths.push_back(outcome.results);
    }
    paths.insert(paths.end(), products.files().begin(), products.files().end());
    paths.insert(paths.end(), outcome.notes.begin(), outcome.notes.end());
    return paths;
}

}  // namespace

void printExpectation(const RunOptions& options, const RunOutcome& outcome) {
    const std::string results = files::nameOf(outcome.results);
    if (outcome.expected) {
        fmt::print("{}: {} to keep, about {} in {}\n", recording::nameOf(options.recording),
                   counted(outcome.expected->frames, "frame"), byteText(outcome.expected->bytes), results);
    } else {
        fmt::print("{}: about {} for each frame in {}\n", recording::nameOf(options.recording),
                   byteText(readChannels(options.channels).value().expectedBytes(1, usualImages)), results);
    }
    std::fflush(stdout);
}

void printRun(const RunOptions& options, const RunOutcome& outcome, const RunProducts& products) {
    const ReplayCounts& counts = outcome.counts;
    fmt::print("Ran {} through {} {} ({})\n\n", recording::nameOf(options.recording), outcome.pluginName,
               outcome.pluginVersion, outcome.pluginPath.string());
    fmt::print("  packets read           {:>9}{}\n", counts.read,
               counts.stopped ? "      up to the last selected frame" : "");
    fmt::print("  packets processed      {:>9}\n", counts.processed);
    fmt::print("  packets failed         {:>9}\n", counts.failed);
    if (counts.held > 0) {
        fmt::print("  packets held back      {:>9}      of incomplete frames\n", counts.held);
    }
    if (counts.missingImages > 0) {
        fmt::print("  images missing         {:>9}      between whole frames\n", counts.missingImages);
    }
    fmt::print("  packets written        {:>9}      {}\n", counts.written, byteText(counts.writtenBytes));
    fmt::print("  finished frames        {:>9}      {:.1f} frames per second\n", products.frames(),
               outcome.seconds > 0.0 ? static_cast<double>(products.frames()) / outcome.seconds : 0.0);
    fmt::print("  valid pixels           {:>9.2f} %\n", 100.0 * products.validShare());
    if (const auto accuracy = products.accuracy(); accuracy && products.simulation()) {
        printAccuracy(*accuracy, *products.simulation());
    }
    printTemporalNoise(products.temporalNoise());
    fmt::print("\nWritten\n");
    for (const std::filesystem::path& path : filesOf(outcome, products)) {
        fmt::print("  {}\n", files::nameOf(path));
    }
}

nlohmann::ordered_json runJson(const RunOptions& options, const RunOutcome& outcome,
                               const RunProducts& products) {
    const ReplayCounts& counts = outcome.counts;
    nlohmann::ordered_json written = nlohmann::ordered_json::array();
    for (const std::filesystem::path& path : filesOf(outcome, products)) {
        written.push_back(path.string());
    }
    nlohmann::ordered_json document{
        {"command", "run"},
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
          {"held", counts.held},
          {"written", counts.written},
          {"writtenBytes", counts.writtenBytes}}},
        {"expectedBytes", outcome.expected ? nlohmann::ordered_json(outcome.expected->bytes)
                                           : nlohmann::ordered_json(nullptr)},
        {"missingImages", counts.missingImages},
        {"interrupted", counts.interrupted},
        {"damage",
         counts.damage.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(counts.damage)},
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
    document["files"] = written;
    return document;
}

}  // namespace qor
