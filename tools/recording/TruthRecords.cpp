// SPDX-License-Identifier: Apache-2.0

#include "recording/TruthRecords.h"

#include <algorithm>
#include <cmath>

#include "recording/Channels.h"
#include "simulation/Image.h"

namespace recording {
namespace {

using simulation::pixelCount;
using zelta::ZeltaChunk;

constexpr unsigned int rows = simulation::imageHeight;
constexpr unsigned int columns = simulation::imageWidth;
constexpr std::size_t longestSceneName = 32;
constexpr unsigned int mostFrequencies = simulation::largestFrequencyCount;
constexpr unsigned int mostExposures = 8;

void setImage(Record& record, const std::string& expression, const std::vector<double>& values) {
    std::vector<float> image(values.size());
    std::transform(values.begin(), values.end(), image.begin(),
                   [](double value) { return static_cast<float>(value); });
    record.set<float>(expression, image);
}

std::vector<double> image(const ZeltaChunk& chunk, const std::string& expression) {
    std::vector<double> values = numbersOf(chunk, expression, pixelCount);
    if (!std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); })) {
        throw RecordError("\"" + expression + "\" holds a value that is no number.");
    }
    return values;
}

template <typename T>
std::vector<T> wholeNumbers(const ZeltaChunk& chunk, const std::string& expression, double least,
                            double most) {
    std::vector<T> values;
    values.reserve(pixelCount);
    for (const double value : image(chunk, expression)) {
        if (!(value >= least && value <= most)) {
            throw RecordError("\"" + expression + "\" holds a value out of its range.");
        }
        values.push_back(static_cast<T>(value));
    }
    return values;
}

std::size_t smallCount(const ZeltaChunk& chunk, const std::string& expression, unsigned int most) {
    const unsigned int count = countOf(typeOf(chunk), expression);
    if (count < 1 || count > most) {
        throw RecordError("\"" + expression + "\" has " + std::to_string(count) + " elements, where 1 to " +
                          std::to_string(most) + " are possible.");
    }
    return count;
}

// Empty if the record has no such member.
std::vector<double> imageIfThere(const ZeltaChunk& chunk, const std::string& expression) {
    return hasMember(chunk, expression) ? image(chunk, expression) : std::vector<double>{};
}

std::vector<std::uint8_t> maskIfThere(const ZeltaChunk& chunk, const std::string& expression) {
    return hasMember(chunk, expression) ? wholeNumbers<std::uint8_t>(chunk, expression, 0.0, 1.0)
                                        : std::vector<std::uint8_t>{};
}

std::optional<double> numberIfThere(const ZeltaChunk& chunk, const std::string& expression) {
    return hasMember(chunk, expression) ? std::optional(numberOf(chunk, expression)) : std::nullopt;
}

// The first chunk on a channel, or null. Throws RecordError if it is another record than the named one.
const ZeltaChunk* findRecord(const zelta::Packet& packet, int channel, const char* name) {
    const ZeltaChunk* const chunk = findChunk(packet, channel);
    if (chunk != nullptr && typeOf(*chunk)->name != name) {
        throw RecordError("The record on channel " + std::to_string(channel) + " is no \"" + name + "\".");
    }
    return chunk;
}

simulation::FrequencyTruth frequencyTruth(const ZeltaChunk& chunk, const std::string& slot) {
    simulation::FrequencyTruth frequency;
    if (hasMember(chunk, slot + ".wraps")) {
        frequency.wraps = wholeNumbers<std::int32_t>(chunk, slot + ".wraps", -1.0e6, 1.0e6);
    }
    if (!hasMember(chunk, slot + ".exposures")) {
        return frequency;
    }
    const std::size_t exposures = smallCount(chunk, slot + ".exposures", mostExposures);
    for (std::size_t k = 0; k < exposures; ++k) {
        const std::string exposure = element(slot + ".exposures", k);
        frequency.exposures.push_back({imageIfThere(chunk, exposure + ".rawAmplitude"),
                                       imageIfThere(chunk, exposure + ".distanceDeviation")});
    }
    return frequency;
}

std::string sceneName(const ZeltaChunk& chunk) {
    std::string name;
    for (const double letter : numbersOf(chunk, "Simulation.scene", longestSceneName)) {
        if (!(letter >= 32.0 && letter < 127.0)) {
            break;
        }
        name.push_back(static_cast<char>(letter));
    }
    return name;
}

std::vector<double> frequenciesIn(const ZeltaChunk& chunk) {
    const std::size_t count = smallCount(chunk, "Simulation.frequencies", mostFrequencies);
    std::vector<double> frequencies = numbersOf(chunk, "Simulation.frequencies", count);
    for (const double frequency : frequencies) {
        if (const std::string fault = simulation::frequencyFault(frequency); !fault.empty()) {
            throw RecordError("\"Simulation.frequencies\" is wrong. " + fault);
        }
    }
    return frequencies;
}

std::vector<std::int32_t> exposureTimesIn(const ZeltaChunk& chunk) {
    std::vector<std::int32_t> times;
    const std::size_t count = smallCount(chunk, "Simulation.exposureTimes", mostExposures);
    for (const double time : numbersOf(chunk, "Simulation.exposureTimes", count)) {
        if (!(time >= 0.0 && time <= 1.0e9)) {
            throw RecordError("\"Simulation.exposureTimes\" holds a value that is no exposure time.");
        }
        times.push_back(static_cast<std::int32_t>(time));
    }
    return times;
}

}  // namespace

Record recordOf(const SimulationSettings& settings) {
    const auto frequencyCount = static_cast<unsigned int>(settings.frequencies.size());
    const auto exposureCount = static_cast<unsigned int>(settings.exposureTimes.size());
    Record record(structure(
        "Simulation", {int8("scene", {longestSceneName}), float64("nearest"), float64("furthest"),
                       uint64("seed"), uint8("photonNoise"), float64("ambient"), float64("temperature"),
                       float64("frequencies", {frequencyCount}), int32("exposureTimes", {exposureCount})}));
    std::vector<signed char> name(longestSceneName, 0);
    std::copy_n(settings.scene.begin(), std::min(settings.scene.size(), longestSceneName - 1), name.begin());
    record.set<signed char>("Simulation.scene", name);
    record.set<double>("Simulation.nearest", settings.nearest.value());
    record.set<double>("Simulation.furthest", settings.furthest.value());
    record.set<unsigned long long>("Simulation.seed", settings.seed.value());
    record.set<unsigned char>("Simulation.photonNoise", settings.photonNoise.value() ? 1 : 0);
    record.set<double>("Simulation.ambient", settings.ambient.value());
    record.set<double>("Simulation.temperature", settings.temperature.value());
    record.set<double>("Simulation.frequencies", settings.frequencies);
    record.set<int>("Simulation.exposureTimes", settings.exposureTimes);
    return record;
}

Record sceneRecord(const simulation::Truth& truth) {
    const Dimensions pixels{rows, columns};
    Record record(structure(
        "SceneTruth",
        {float32("distance", pixels), float32("X", pixels), float32("Y", pixels), float32("Z", pixels),
         float32("amplitude", pixels), uint8("edge", pixels), uint8("badPixel", pixels)}));
    setImage(record, "SceneTruth.distance", truth.distance);
    setImage(record, "SceneTruth.X", truth.X);
    setImage(record, "SceneTruth.Y", truth.Y);
    setImage(record, "SceneTruth.Z", truth.Z);
    setImage(record, "SceneTruth.amplitude", truth.amplitude);
    record.set<unsigned char>("SceneTruth.edge", truth.edge);
    record.set<unsigned char>("SceneTruth.badPixel", truth.badPixel);
    return record;
}

Record distanceRecord(const std::vector<float>& distance) {
    Record record(structure("SceneTruth", {float32("distance", {rows, columns})}));
    record.set<float>("SceneTruth.distance", distance);
    return record;
}

Record frequencyRecord(const simulation::Truth& truth) {
    const Dimensions pixels{rows, columns};
    const auto frequencies = static_cast<unsigned int>(truth.frequencies.size());
    const auto exposures = static_cast<unsigned int>(truth.frequencies.at(0).exposures.size());
    Record record(structure(
        "FrequencyTruth",
        {structure(
            "frequencies",
            {int32("wraps", pixels),
             structure("exposures", {float32("rawAmplitude", pixels), float32("distanceDeviation", pixels)},
                       {exposures})},
            {frequencies})}));
    for (std::size_t k = 0; k < frequencies; ++k) {
        const simulation::FrequencyTruth& frequency = truth.frequencies[k];
        const std::string slot = element("FrequencyTruth.frequencies", k);
        record.set<int>(slot + ".wraps", frequency.wraps);
        for (std::size_t m = 0; m < exposures; ++m) {
            const std::string exposure = element(slot + ".exposures", m);
            setImage(record, exposure + ".rawAmplitude", frequency.exposures.at(m).rawAmplitude);
            setImage(record, exposure + ".distanceDeviation", frequency.exposures.at(m).distanceDeviation);
        }
    }
    return record;
}

std::optional<SimulationSettings> simulationSettingsIn(const zelta::Packet& packet) {
    const ZeltaChunk* const chunk = findRecord(packet, channel::simulation, "Simulation");
    if (chunk == nullptr) {
        return std::nullopt;
    }
    SimulationSettings settings;
    if (hasMember(*chunk, "Simulation.scene")) {
        settings.scene = sceneName(*chunk);
    }
    settings.nearest = numberIfThere(*chunk, "Simulation.nearest");
    settings.furthest = numberIfThere(*chunk, "Simulation.furthest");
    if (settings.nearest && settings.furthest &&
        (!(*settings.furthest > *settings.nearest) || !(*settings.furthest - *settings.nearest < 1.0e6))) {
        throw RecordError("\"Simulation.nearest\" and \"Simulation.furthest\" are no range of distances.");
    }
    const std::optional<double> photonNoise = numberIfThere(*chunk, "Simulation.photonNoise");
    settings.photonNoise = photonNoise ? std::optional(*photonNoise != 0.0) : std::nullopt;
    settings.ambient = numberIfThere(*chunk, "Simulation.ambient");
    settings.temperature = numberIfThere(*chunk, "Simulation.temperature");
    settings.seed = hasMember(*chunk, "Simulation.seed")
                        ? std::optional(wholeNumberOf(*chunk, "Simulation.seed"))
                        : std::nullopt;
    if (hasMember(*chunk, "Simulation.frequencies")) {
        settings.frequencies = frequenciesIn(*chunk);
    }
    if (hasMember(*chunk, "Simulation.exposureTimes")) {
        settings.exposureTimes = exposureTimesIn(*chunk);
    }
    return settings;
}

std::optional<simulation::Truth> truthIn(const zelta::Packet& packet) {
    const ZeltaChunk* const scene = findRecord(packet, channel::sceneTruth, "SceneTruth");
    if (scene == nullptr) {
        return std::nullopt;
    }
    simulation::Truth truth;
    truth.distance = image(*scene, "SceneTruth.distance");
    truth.X = imageIfThere(*scene, "SceneTruth.X");
    truth.Y = imageIfThere(*scene, "SceneTruth.Y");
    truth.Z = imageIfThere(*scene, "SceneTruth.Z");
    truth.amplitude = imageIfThere(*scene, "SceneTruth.amplitude");
    truth.edge = maskIfThere(*scene, "SceneTruth.edge");
    truth.badPixel = maskIfThere(*scene, "SceneTruth.badPixel");
    const ZeltaChunk* const seen = findRecord(packet, channel::frequencyTruth, "FrequencyTruth");
    if (seen == nullptr || !hasMember(*seen, "FrequencyTruth.frequencies")) {
        return truth;
    }
    const std::size_t frequencies = smallCount(*seen, "FrequencyTruth.frequencies", mostFrequencies);
    for (std::size_t k = 0; k < frequencies; ++k) {
        truth.frequencies.push_back(frequencyTruth(*seen, element("FrequencyTruth.frequencies", k)));
    }
    return truth;
}

}  // namespace recording
