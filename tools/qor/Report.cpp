// SPDX-License-Identifier: Apache-2.0

#include "qor/Report.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "qor/Arguments.h"
#include "simulation/Calibration.h"

namespace qor {
namespace {

std::string millimetres(const std::optional<double>& metres, int decimals = 3) {
    return numberText(metres ? std::optional(1000.0 * *metres) : std::nullopt, decimals);
}

void printNoise(const std::vector<figures::AmplitudeBin>& bins) {
    fmt::print("\nError of the distance by raw amplitude, millimetres\n");
    fmt::print("  raw amplitude      pixels      bias  deviation     noise  predicted   ratio\n");
    for (const figures::AmplitudeBin& bin : bins) {
        fmt::print("  {:>4.0f} .. {:>4.0f}   {:>10}  {:>8.2f}   {:>8.2f}  {:>8}   {:>8}  {:>6}\n", bin.from,
                   bin.to, bin.pixels, 1000.0 * bin.bias, 1000.0 * bin.deviation,
                   millimetres(bin.measured, 2), millimetres(bin.predicted, 2), numberText(bin.ratio(), 3));
    }
    fmt::print(
        "  bias is the mean of the error e, deviation the standard deviation about it\n"
        "  noise = sqrt(mean(s^2) / 1.5), s = e - (e left + e right) / 2: what neighbours do not share\n");
    const simulation::SensorProperties sensor;
    fmt::print(
        "  predicted = c / (4 pi f) * |d theta / d phi| / R * sqrt(V + 2 r^2 + 1/6)\n"
        "  R raw amplitude; V = 2 g^2 N, the part above {:.0f} counted twice; N electrons per sample;\n"
        "  g = {:g} counts per electron; r = {:g} counts of read noise; 1/6 from the rounding to 12 bits\n",
        sensor.suppressionKnee, sensor.countsPerElectron, sensor.readNoise);
}

using Simulation = std::optional<recording::SimulationSettings>;

// The prediction is for one frequency.
bool predictsNoise(const Simulation& simulation) {
    return simulation && simulation->photonNoise.value_or(true) && simulation->frequencies.size() == 1;
}

}  // namespace

std::string notFiniteText(const figures::PixelCounts& counts) {
    std::vector<std::string> kinds;
    for (const auto& [count, noun] : {std::pair(counts.distancesNotFinite, "distance"),
                                      std::pair(counts.amplitudesNotFinite, "amplitude"),
                                      std::pair(counts.noisesNotFinite, "noise value")}) {
        if (count > 0) {
            kinds.push_back(counted(count, noun));
        }
    }
    return kinds.empty() ? ""
                         : fmt::format("of the valid pixels {} {} infinite or NaN", joined(kinds, " and "),
                                       counts.notFinite() == 1 ? "is" : "are");
}

std::string describe(const recording::SimulationSettings& simulation) {
    std::vector<std::string> parts;
    if (!simulation.scene.empty()) {
        parts.push_back("scene " + simulation.scene);
    }
    if (!simulation.frequencies.empty()) {
        parts.push_back(frequencyText(simulation.frequencies));
    }
    if (!simulation.exposureTimes.empty()) {
        parts.push_back(exposureText(simulation.exposureTimes));
    }
    if (simulation.seed) {
        parts.push_back(fmt::format("seed {}", *simulation.seed));
    }
    if (simulation.photonNoise) {
        parts.emplace_back(*simulation.photonNoise ? "photon noise" : "no photon noise");
    }
    if (simulation.ambient.value_or(0.0) > 0.0) {
        parts.push_back(fmt::format("{:g} klx", *simulation.ambient));
    }
    return joined(parts, ", ");
}

void printNoAccuracy() {
    fmt::print("\nDistances against the truth: -   the recording tells none\n");
}

void addNoAccuracy(nlohmann::ordered_json& document) {
    for (const char* figure : {"judgedPixels", "judgedPixelsOffEdges", "pixelsBeyondUniqueRange",
                               "medianErrorMetres", "percentile99ErrorMetres", "meanErrorMetres", "noise"}) {
        document[figure] = nullptr;
    }
}

void printAccuracy(const figures::AccuracySummary& a,
                   const std::optional<recording::SimulationSettings>& simulation) {
    fmt::print("\nDistances against the truth{}\n", simulation ? ": " + describe(*simulation) : "");
    fmt::print("  median absolute error  {:>9} mm   {} usable pixels {}\n", millimetres(a.medianError),
               a.judgedPixels,
               a.knowsAmplitudes ? fmt::format("of at least {:g} counts", figures::judgedAmplitude)
                                 : std::string("with a truth"));
    fmt::print("  99th percentile        {:>9} mm   {} of them{}\n", millimetres(a.percentile99Error),
               a.judgedPixelsOffEdges, a.knowsEdges ? " away from edges" : "");
    fmt::print("  mean error             {:>9} mm\n", millimetres(a.meanError));
    if (a.pixelsBeyondUniqueRange > 0) {
        fmt::print("  beyond unique range    {:>9.2f} %    these are compared modulo {:.4f} m\n",
                   100.0 * static_cast<double>(a.pixelsBeyondUniqueRange) / static_cast<double>(a.pixels),
                   simulation::uniqueRange(simulation.value().frequencies.at(0)));
    }
    if (predictsNoise(simulation) && !a.bins.empty()) {
        printNoise(a.bins);
    }
}

void addAccuracy(nlohmann::ordered_json& document, const figures::AccuracySummary& a,
                 const std::optional<recording::SimulationSettings>& simulation) {
    nlohmann::ordered_json noise = nlohmann::ordered_json::array();
    for (const figures::AmplitudeBin& bin :
         predictsNoise(simulation) ? a.bins : std::vector<figures::AmplitudeBin>{}) {
        noise.push_back({{"fromCounts", bin.from},
                         {"toCounts", bin.to},
                         {"pixels", bin.pixels},
                         {"biasMetres", bin.bias},
                         {"deviationMetres", bin.deviation},
                         {"measuredMetres", orNull(bin.measured)},
                         {"predictedMetres", orNull(bin.predicted)},
                         {"ratio", orNull(bin.ratio())}});
    }
    document["judgedPixels"] = a.judgedPixels;
    document["judgedPixelsOffEdges"] = a.judgedPixelsOffEdges;
    document["pixelsBeyondUniqueRange"] = a.pixelsBeyondUniqueRange;
    document["medianErrorMetres"] = orNull(a.medianError);
    document["percentile99ErrorMetres"] = orNull(a.percentile99Error);
    document["meanErrorMetres"] = orNull(a.meanError);
    document["noise"] = noise;
}

void printTemporalNoise(const figures::TemporalNoiseSummary& noise) {
    fmt::print("\nNoise over {}, {} usable in all of them\n", counted(noise.frames, "frame"),
               counted(noise.pixels, "pixel"));
    fmt::print("  measured               {:>9} mm   median of the deviation from frame to frame\n",
               millimetres(noise.measured));
    if (noise.medianRatio) {
        fmt::print("  noise image            {:>9} mm   median of what the frames deliver\n",
                   millimetres(noise.delivered));
        fmt::print("  ratio                  {:>9}      median; {} to {} in nine of ten pixels\n",
                   numberText(noise.medianRatio, 3), numberText(noise.lowRatio, 3),
                   numberText(noise.highRatio, 3));
    }
}

nlohmann::ordered_json temporalNoiseJson(const figures::TemporalNoiseSummary& noise) {
    return {{"frames", noise.frames},
            {"pixels", noise.pixels},
            {"medianMeasuredMetres", orNull(noise.measured)},
            {"medianDeliveredMetres", orNull(noise.delivered)},
            {"medianRatio", orNull(noise.medianRatio)},
            {"ratio5Percent", orNull(noise.lowRatio)},
            {"ratio95Percent", orNull(noise.highRatio)}};
}

nlohmann::ordered_json simulationJson(const recording::SimulationSettings& simulation) {
    nlohmann::ordered_json document = nlohmann::ordered_json::object();
    const auto add = [&document](const char* name, const auto& value) {
        if (value) {
            document[name] = *value;
        }
    };
    if (!simulation.scene.empty()) {
        document["scene"] = simulation.scene;
    }
    add("seed", simulation.seed);
    if (!simulation.frequencies.empty()) {
        document["frequenciesHertz"] = simulation.frequencies;
    }
    if (!simulation.exposureTimes.empty()) {
        document["exposuresMicroseconds"] = simulation.exposureTimes;
    }
    add("photonNoise", simulation.photonNoise);
    add("ambientKilolux", simulation.ambient);
    add("temperatureCelsius", simulation.temperature);
    return document;
}

}  // namespace qor
