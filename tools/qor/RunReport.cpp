// SPDX-License-Identifier: Apache-2.0

#include "qor/RunReport.h"

#include <fmt/format.h>

#include <cstdio>
#include <nlohmann/json.hpp>

#include "files/StandardOutput.h"
#include "qor/Arguments.h"
#include "qor/ChannelSelection.h"
#include "qor/Report.h"

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

std::optional<double> framesPerSecond(const RunOutcome& outcome, const RunProducts& products) {
    return products.frames() > 0 && outcome.seconds > 0.0
               ? std::optional(static_cast<double>(products.frames()) / outcome.seconds)
               : std::nullopt;
}

void printPixels(const figures::PixelCounts& counts) {
    const std::optional<double> share = counts.validShare();
    fmt::print("  valid pixels           {:>9} %\n",
               numberText(share ? std::optional(100.0 * *share) : std::nullopt, 2));
    fmt::print("  valid, not usable      {:>9}      their distance is 0, infinite or NaN\n",
               counts.frames == 0 ? "-" : std::to_string(counts.unusable()));
    if (counts.notFinite() > 0) {
        fmt::print("  infinite or NaN        {:>9}      distances, amplitudes and noises of valid pixels\n",
                   counts.notFinite());
    }
}

// One for all pictures, so that they can be compared.
void printScales(const PictureSettings& scales) {
    fmt::print("\nScales of the pictures\n");
    fmt::print("  distance               {:g} to {:g} m\n", scales.distance.minimum, scales.distance.maximum);
    fmt::print("  amplitude              {:g} to {:g} counts per microsecond\n", scales.amplitude.minimum,
               scales.amplitude.maximum);
}

nlohmann::ordered_json rangeJson(const Range& range) {
    return nlohmann::ordered_json::array({range.minimum, range.maximum});
}

nlohmann::ordered_json scalesJson(const std::optional<PictureSettings>& scales) {
    if (!scales) {
        return nullptr;
    }
    return {{"distanceMetres", rangeJson(scales->distance)},
            {"amplitudeCountsPerMicrosecond", rangeJson(scales->amplitude)}};
}

nlohmann::ordered_json pixelsJson(const figures::PixelCounts& counts) {
    return {{"pixels", counts.pixels},
            {"validPixels", counts.valid},
            {"usablePixels", counts.usable},
            {"validUnusablePixels", counts.unusable()},
            {"validShare", orNull(counts.validShare())},
            {"notFinite",
             {{"distances", counts.distancesNotFinite},
              {"amplitudes", counts.amplitudesNotFinite},
              {"noises", counts.noisesNotFinite}}}};
}

void printFigures(const SceneProducts& scene) {
    printPixels(scene.counts());
    if (const auto accuracy = scene.accuracy(); accuracy) {
        printAccuracy(*accuracy, scene.simulation());
    } else {
        printNoAccuracy();
    }
    printTemporalNoise(scene.temporalNoise());
    if (scene.pictures()) {
        printScales(*scene.pictures());
    }
}

void printScenes(const std::vector<SceneProducts>& scenes) {
    if (scenes.empty()) {
        printFigures({});
    } else if (scenes.size() == 1) {
        printFigures(scenes[0]);
    }
    for (std::size_t k = 0; k < scenes.size() && scenes.size() > 1; ++k) {
        fmt::print("\nScene {}: {}, numbers {} to {}\n", k + 1, counted(scenes[k].counts().frames, "frame"),
                   scenes[k].firstFrame(), scenes[k].lastFrame());
        printFigures(scenes[k]);
    }
}

// What stands for a scene, or for a run of one.
void addFigures(nlohmann::ordered_json& document, const SceneProducts& scene) {
    if (scene.simulation()) {
        document["simulation"] = simulationJson(*scene.simulation());
    }
    if (const auto accuracy = scene.accuracy(); accuracy) {
        addAccuracy(document, *accuracy, scene.simulation());
    } else {
        addNoAccuracy(document);
    }
    document["temporalNoise"] = temporalNoiseJson(scene.temporalNoise());
    document["scales"] = scalesJson(scene.pictures());
}

// Scenes have no figures in common.
void addNoFigures(nlohmann::ordered_json& document) {
    addNoAccuracy(document);
    document["temporalNoise"] = nullptr;
    document["scales"] = nullptr;
}

nlohmann::ordered_json scenesJson(const std::vector<SceneProducts>& scenes) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const SceneProducts& scene : scenes) {
        nlohmann::ordered_json figures{{"firstFrame", scene.firstFrame()},
                                       {"lastFrame", scene.lastFrame()},
                                       {"finishedFrames", scene.counts().frames}};
        figures.update(pixelsJson(scene.counts()));
        addFigures(figures, scene);
        list.push_back(std::move(figures));
    }
    return list;
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
    fmt::print("  finished frames        {:>9}      {} frames per second\n", products.frames(),
               numberText(framesPerSecond(outcome, products), 1));
    printScenes(products.scenes());
    fmt::print("\nWritten\n");
    for (const std::filesystem::path& path : filesOf(outcome, products)) {
        fmt::print("  {}\n", files::nameOf(path));
    }
}

nlohmann::ordered_json runJson(const RunOptions& options, const RunOutcome& outcome,
                               const RunProducts& products, const Complaints& complaints) {
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
        {"seconds", outcome.seconds},
        {"finishedFrames", products.frames()}};
    document.update(pixelsJson(products.counts()));
    if (products.scenes().size() > 1) {
        addNoFigures(document);
    } else {
        addFigures(document, products.scenes().empty() ? SceneProducts() : products.scenes()[0]);
    }
    document["scenes"] = scenesJson(products.scenes());
    document["files"] = written;
    document["findings"] = complaints.sentences();
    return document;
}

}  // namespace qor
