// SPDX-License-Identifier: Apache-2.0

#include "session/Session.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <span>
#include <sstream>

#include "figures/Accuracy.h"
#include "imaging/ColorMap.h"
#include "imaging/Palette.h"
#include "qor/PixelStates.h"
#include "qor/RecordValues.h"
#include "qor/TypeText.h"
#include "recording/Channels.h"
#include "recording/Enumerators.h"
#include "recording/Record.h"
#include "simulation/Image.h"
#include "simulation/RawPacking.h"

namespace web {
namespace {

namespace channel = recording::channel;
using simulation::pixelCount;

constexpr float unknown = std::numeric_limits<float>::quiet_NaN();
const std::string inputRoot = "QorDistanceImageIFInput";

std::vector<qor::Override> overridesOf(const std::string& settings) {
    std::vector<qor::Override> overrides;
    std::istringstream lines(settings);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            continue;
        }
        auto change = qor::readOverride(line);
        if (!change) {
            throw recording::RecordError(qor::checkOverride(line) + ".");
        }
        change->origin = "Settings";
        overrides.push_back(std::move(*change));
    }
    return overrides;
}

zelta::Packet chunksOf(const Bytes& bytes) {
    zelta::Packet chunks;
    if (!bytes.empty()) {
        zelta::packet_parse(bytes.data(), static_cast<int>(bytes.size()), chunks);
    }
    return chunks;
}

recording::RecordedPacket parsed(Bytes& bytes, std::size_t number) {
    return {number, 0, bytes, chunksOf(bytes)};
}

std::int32_t inputNumber(const zelta::ZeltaChunk& input, const char* member) {
    try {
        return static_cast<std::int32_t>(recording::numberOf(input, inputRoot + ".phaseInfo." + member));
    } catch (const recording::RecordError&) {
        return 0;
    }
}

/** "int32", "float32" of the member that an expression addresses. */
std::string kindOf(zelta::TypeRef type, const std::string& expression) {
    std::istringstream keys(expression);
    std::string key;
    std::getline(keys, key, '.');  // the record's own name
    while (std::getline(keys, key, '.')) {
        const std::string name = key.substr(0, key.find('['));
        const std::vector<zelta::TypeRef> members = type->children();
        const auto member = std::find_if(members.begin(), members.end(),
                                         [&](const zelta::TypeRef& child) { return child->name == name; });
        if (member == members.end()) {
            return "";
        }
        type = *member;
    }
    return qor::kindText(*type);
}

/** A value of a record as the page shows and changes it. */
nlohmann::ordered_json settingOf(const zelta::ZeltaChunk& chunk, const qor::RecordValue& value) {
    const unsigned int count = recording::countOf(recording::typeOf(chunk), value.expression);
    nlohmann::ordered_json setting{{"expression", value.expression}, {"count", count}};
    setting["values"] = recording::numbersOf(chunk, value.expression, count);
    setting["type"] = kindOf(recording::typeOf(chunk), value.expression);
    if (const auto names = recording::enumeratorsOf(value.expression); !names.empty()) {
        for (const recording::Enumerator& name : names) {
            setting["names"].push_back({{"value", name.value}, {"name", std::string(name.name)}});
        }
    }
    setting["isSwitch"] = recording::isSwitch(value.expression);
    return setting;
}

constexpr std::size_t mostElements = 8;  // of an array that the page shows: longer ones are images and tables

void addSettings(nlohmann::ordered_json& list, const zelta::ZeltaChunk& chunk,
                 const std::string& expression) {
    std::vector<qor::RecordValue> values;
    try {
        values = qor::recordValuesOf(chunk, expression);
    } catch (const qor::NoSuchExpression&) {
        return;
    } catch (const recording::RecordError&) {
        return;
    }
    for (const qor::RecordValue& value : values) {
        if (recording::countOf(recording::typeOf(chunk), value.expression) <= mostElements) {
            list.push_back(settingOf(chunk, value));
        }
    }
}

/** The stages' times in milliseconds, by the names of their members. */
nlohmann::ordered_json stageTimes(const zelta::Packet& chunks) {
    nlohmann::ordered_json times = nlohmann::ordered_json::array();
    const zelta::ZeltaChunk* const chunk = recording::findChunk(chunks, channel::profiling);
    if (chunk == nullptr) {
        return times;
    }
    const std::string ending = ".runtimeMsecs";
    for (const qor::RecordValue& value : qor::recordValuesOf(*chunk, recording::typeOf(*chunk)->name)) {
        if (!value.expression.ends_with(ending) || !value.dimensions.empty()) {
            continue;
        }
        const std::string stage = value.expression.substr(0, value.expression.size() - ending.size());
        times.push_back({{"stage", stage.substr(stage.find('.') + 1)},
                         {"milliseconds", recording::numberOf(*chunk, value.expression)},
                         {"calls", recording::numberOf(*chunk, stage + ".numCalls")}});
    }
    return times;
}

nlohmann::ordered_json proposals(const zelta::Packet& chunks) {
    const zelta::ZeltaChunk* const chunk = recording::findChunk(chunks, channel::result);
    if (chunk == nullptr || recording::numberOf(*chunk, "QorDistanceImageIFOutput.autoExpReady") == 0.0) {
        return nullptr;
    }
    return {{"short", recording::numberOf(*chunk, "QorDistanceImageIFOutput.shortAutoExpTime")},
            {"long", recording::numberOf(*chunk, "QorDistanceImageIFOutput.longAutoExpTime")}};
}

/** Values by their order, for quantiles: counted by the leading bits of a key that grows with the value. */
class OrderedValues {
 public:
    explicit OrderedValues(std::vector<float> values) : values_(std::move(values)), counts_(cells) {
        for (const float value : values_) {
            ++counts_[cellOf(value)];
        }
    }

    // The value that so large a share of the others does not exceed.
    double at(double share) const {
        auto rest = static_cast<std::size_t>(share * static_cast<double>(values_.size() - 1));
        std::size_t cell = 0;
        while (rest >= counts_[cell]) {
            rest -= counts_[cell++];
        }
        std::vector<float> within;
        within.reserve(counts_[cell]);
        std::copy_if(values_.begin(), values_.end(), std::back_inserter(within),
                     [cell](float value) { return cellOf(value) == cell; });
        const auto place = within.begin() + static_cast<std::ptrdiff_t>(rest);
        std::nth_element(within.begin(), place, within.end());
        return static_cast<double>(*place);
    }

 private:
    static constexpr unsigned int keyBits = 12;
    static constexpr std::size_t cells = std::size_t{1} << keyBits;

    static std::size_t cellOf(float value) {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        const std::uint32_t key = (bits >> 31U) != 0U ? ~bits : bits | 0x80000000U;
        return key >> (32U - keyBits);
    }

    std::vector<float> values_;
    std::vector<std::size_t> counts_;
};

/** Mean, deviation and extent of the usable pixels of an image. */
nlohmann::ordered_json figuresOf(std::span<const float> image, std::span<const std::uint8_t> shown) {
    double sum = 0.0;
    double squares = 0.0;
    std::vector<float> values;
    values.reserve(image.size());
    for (std::size_t i = 0; i < image.size(); ++i) {
        if (shown[i] == 0 || !std::isfinite(image[i])) {
            continue;
        }
        const auto value = static_cast<double>(image[i]);
        sum += value;
        squares += value * value;
        values.push_back(image[i]);
    }
    if (values.empty()) {
        return nullptr;
    }
    const std::size_t count = values.size();
    const OrderedValues ordered(std::move(values));
    const double mean = sum / static_cast<double>(count);
    const double variance = std::max(squares / static_cast<double>(count) - mean * mean, 0.0);
    return {{"pixels", count},
            {"mean", mean},
            {"deviation", std::sqrt(variance)},
            {"low", ordered.at(0.01)},
            {"median", ordered.at(0.5)},
            {"high", ordered.at(0.99)}};
}

/** Made when it is asked for first. */
const imaging::Palette& paletteOf(imaging::ColorMap map) {
    static std::map<imaging::ColorMap, imaging::Palette> palettes;
    return palettes.try_emplace(map, map).first->second;
}

imaging::ColorMap mapOf(const std::string& name) {
    static const std::map<std::string, imaging::ColorMap> maps{
        {"turbo", imaging::ColorMap::Turbo},
        {"viridis", imaging::ColorMap::Viridis},
        {"blueWhiteRed", imaging::ColorMap::BlueWhiteRed}};
    const auto found = maps.find(name);
    return found == maps.end() ? imaging::ColorMap::Grey : found->second;
}

bool isOfUsablePixels(const std::string& name) {
    return !name.starts_with("raw") && name != "intensity" && name != "confidence";
}

}  // namespace

Session::Session(const std::filesystem::path& path) : index_(path), plugin_(plugin::defaultPlugin()) {}

void Session::start() {
    plugin_.startAnew();
    guard_.emplace(plugin_, [this](const std::string& sentence) { outcome_.troubles.push_back(sentence); });
    if (prelude_.empty()) {
        prelude_ = packetsOf(0, index_.firstPacketOf(0));
        for (const Bytes& bytes : prelude_) {
            readSimulation(chunksOf(bytes));
        }
    }
    for (std::size_t number = 0; number < prelude_.size(); ++number) {
        feed(prelude_[number], number);
    }
}

std::vector<Bytes> Session::packetsOf(std::size_t first, std::size_t end) const {
    std::vector<Bytes> packets;
    for (std::size_t number = first; number < end; ++number) {
        packets.push_back(index_.packet(number));
    }
    return packets;
}

void Session::begin(const std::string& settings) {
    if (settings == settings_) {
        return;
    }
    overrides_ = overridesOf(settings);
    settings_ = settings;
    latest_.reset();
    fed_.reset();
}

bool Session::compute(std::size_t frame, const std::string& settings, std::size_t runIn,
                      double milliseconds) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::duration<double, std::milli>(milliseconds);
    if (frame >= index_.frames()) {
        throw recording::RecordingError("There is no frame " + std::to_string(frame) + ".");
    }
    begin(settings);
    if (latest_ == frame) {
        return true;
    }
    latest_.reset();
    std::size_t next = frame - std::min(runIn, frame);
    if (runIn > 0 && fed_ && *fed_ < frame) {
        next = *fed_ + 1;
    } else {
        start();
    }
    for (; next <= frame; ++next) {
        fed_.reset();
        feedFrame(next);
        if (runIn > 0) {
            fed_ = next;
        }
        if (next < frame && Clock::now() >= end) {
            return false;
        }
    }
    findErrors();
    latest_ = frame;
    return true;
}

void Session::feedFrame(std::size_t frame) {
    outcome_.frame.reset();
    outcome_.troubles.clear();
    const std::size_t first = index_.firstPacketOf(frame);
    if (loaded_ != frame) {
        loaded_.reset();
        packets_ = packetsOf(first, index_.firstPacketOf(frame + 1));
        outcome_.raw.clear();
        for (const Bytes& bytes : packets_) {
            keepRaw(chunksOf(bytes));
        }
        readTruth(frame);
        loaded_ = frame;
    }
    for (std::size_t k = 0; k < packets_.size(); ++k) {
        feed(packets_[k], first + k);
    }
}

void Session::feed(Bytes bytes, std::size_t number) {
    recording::RecordedPacket packet = parsed(bytes, number);
    qor::applyOverrides(overrides_, packet);
    const bool fromCustomPin = recording::findChunk(packet.chunks, channel::customization) != nullptr;
    const std::string place = "packet " + std::to_string(number) + ": ";
    try {
        if (guard_->process(packet.bytes, packet.chunks, fromCustomPin)) {
            takeResult();
        }
    } catch (const plugin::PluginError& error) {
        outcome_.troubles.push_back(place + error.what());
    } catch (const recording::RecordError& error) {
        outcome_.troubles.push_back(place + "its result cannot be used: " + error.what());
    }
}

void Session::readSimulation(const zelta::Packet& chunks) {
    try {
        if (auto simulation = recording::simulationSettingsIn(chunks)) {
            simulation_ = std::move(simulation);
        }
    } catch (const recording::RecordError& error) {
        truthTrouble_ = std::string("the simulation cannot be used: ") + error.what();
    }
}

// The truth stays until the recording brings another one.
void Session::readTruth(std::size_t frame) {
    const std::optional<std::size_t> number = index_.truthPacketOf(frame);
    if (number == truthPacket_) {
        return;
    }
    truthPacket_ = number;
    truthTrouble_.clear();
    truth_.reset();
    try {
        if (number) {
            const Bytes bytes = index_.packet(*number);
            truth_ = recording::truthIn(chunksOf(bytes));
        }
    } catch (const recording::RecordError& error) {
        truthTrouble_ = std::string("the truth cannot be used: ") + error.what();
    }
}

void Session::keepRaw(const zelta::Packet& chunks) {
    const zelta::ZeltaChunk* const image = recording::findChunk(chunks, channel::rawImage);
    const zelta::ZeltaChunk* const input = recording::findChunk(chunks, channel::input);
    if (image == nullptr || input == nullptr) {
        return;
    }
    try {
        const auto bytes = recording::bytesOf(*image, "QorRawPhaseData.phaseData", simulation::rawImageBytes);
        const auto samples = simulation::unpackRawImage(bytes);
        outcome_.raw.push_back({{samples.begin(), samples.end()},
                                inputNumber(*input, "exposureTime"),
                                inputNumber(*input, "freqIdx"),
                                inputNumber(*input, "intensityMeasurement") != 0});
    } catch (const recording::RecordError&) {
        return;  // the plug-in says what is wrong with it
    }
}

void Session::takeResult() {
    Bytes bytes = plugin_.result(true);
    const zelta::Packet chunks = chunksOf(bytes);
    if (const auto error = bytes.empty() ? std::nullopt : qor::errorIn(chunks)) {
        outcome_.troubles.push_back("the frame went on without a stage: " + *error);
    }
    if (auto frame = qor::frameIn(chunks, true)) {
        outcome_.frame = std::move(frame);
        outcome_.confidence.assign(outcome_.frame->confidence.begin(), outcome_.frame->confidence.end());
        outcome_.usable = qor::usablePixels(*outcome_.frame);
        outcome_.latest = std::move(bytes);
    }
}

Bytes Session::result() const {
    if (!outcome_.frame) {
        return {};
    }
    const zelta::Packet chunks = chunksOf(outcome_.latest);
    const zelta::ZeltaChunk* const result = recording::findChunk(chunks, channel::result);
    return result == nullptr ? Bytes{} : recording::packetOf({*result});
}

void Session::findErrors() {
    outcome_.errors.clear();
    if (!truthTrouble_.empty()) {
        outcome_.troubles.push_back(truthTrouble_);
    }
    if (!truth_ || !outcome_.frame) {
        return;
    }
    const figures::Accuracy accuracy(simulation_ ? simulation_->frequencies : std::vector<double>{});
    const qor::ResultFrame& frame = *outcome_.frame;
    outcome_.errors.assign(pixelCount, unknown);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        if (truth_->distance[i] > 0.0 && figures::isUsable(frame.confidence[i], frame.distance[i])) {
            outcome_.errors[i] = static_cast<float>(
                accuracy.errorOf(static_cast<double>(frame.distance[i]), truth_->distance[i]));
        }
    }
}

nlohmann::ordered_json Session::settings() const {
    nlohmann::ordered_json ofInput = nlohmann::ordered_json::array();
    nlohmann::ordered_json ofCalibration = nlohmann::ordered_json::array();
    for (std::size_t number = 0; number < index_.packets(); ++number) {
        const Bytes bytes = index_.packet(number);
        const zelta::Packet chunks = chunksOf(bytes);
        const auto* const calibration = recording::findChunk(chunks, channel::calibration);
        if (calibration != nullptr && ofCalibration.empty()) {
            addSettings(ofCalibration, *calibration, recording::typeOf(*calibration)->name);
        }
        if (const auto* const input = recording::findChunk(chunks, channel::input)) {
            addSettings(ofInput, *input, inputRoot + ".customization");
            addSettings(ofInput, *input, inputRoot + ".param");
            break;
        }
    }
    ofInput.insert(ofInput.end(), ofCalibration.begin(), ofCalibration.end());
    return ofInput;
}

nlohmann::ordered_json Session::report() const {
    nlohmann::ordered_json document{{"algorithm", plugin_.name()}, {"version", plugin_.version()}};
    document["troubles"] = outcome_.troubles;
    document["raw"] = nlohmann::ordered_json::array();
    for (const RawImage& image : outcome_.raw) {
        document["raw"].push_back({{"exposure", image.exposure},
                                   {"frequency", image.frequency},
                                   {"isIntensity", image.isIntensity}});
    }
    document["hasFrame"] = outcome_.frame.has_value();
    if (!outcome_.frame) {
        return document;
    }
    const qor::ResultFrame& frame = *outcome_.frame;
    const zelta::Packet chunks = chunksOf(outcome_.latest);
    document["frameCounter"] = frame.frameCounter;
    document["timestamp"] = frame.timestamp;
    document["stages"] = stageTimes(chunks);
    document["proposals"] = proposals(chunks);
    const std::vector<std::uint8_t>& usable = outcome_.usable;
    std::vector<std::size_t> counts(qor::pixelStates().size(), 0);
    for (std::size_t i = 0; i < usable.size(); ++i) {
        ++counts[qor::stateOf(frame.confidence[i], usable[i])];
    }
    for (std::size_t k = 0; k < counts.size(); ++k) {
        const imaging::Category& state = qor::pixelStates()[k];
        document["states"].push_back({{"name", state.name},
                                      {"color", {state.color.red, state.color.green, state.color.blue}},
                                      {"pixels", counts[k]}});
    }
    const std::vector<std::uint8_t> everywhere(usable.size(), 1);
    for (const char* const name : {"distance", "amplitude", "noise", "intensity", "error"}) {
        const std::span<const float> values = image(name);
        if (!values.empty()) {
            document["figures"][name] = figuresOf(values, isOfUsablePixels(name) ? usable : everywhere);
        }
    }
    return document;
}

std::span<const float> Session::image(const std::string& name) const {
    if (name.starts_with("raw")) {
        const auto number = static_cast<std::size_t>(std::strtoul(name.c_str() + 3, nullptr, 10));
        return number < outcome_.raw.size() ? std::span<const float>(outcome_.raw[number].samples)
                                            : std::span<const float>();
    }
    if (!outcome_.frame) {
        return {};
    }
    const qor::ResultFrame& frame = *outcome_.frame;
    if (name == "distance") {
        return frame.distance;
    }
    if (name == "amplitude") {
        return frame.amplitude;
    }
    if (name == "confidence") {
        return outcome_.confidence;
    }
    if (name == "noise") {
        return frame.noise;
    }
    if (name == "intensity") {
        return frame.intensity;
    }
    if (name == "error") {
        return outcome_.errors;
    }
    if (frame.coordinates && (name == "X" || name == "Y" || name == "Z")) {
        return name == "X" ? frame.coordinates->X : name == "Y" ? frame.coordinates->Y : frame.coordinates->Z;
    }
    return {};
}

std::vector<std::uint8_t> Session::painted(const std::string& name, const std::string& map, double minimum,
                                           double maximum) const {
    const std::span<const float> values = image(name);
    if (values.empty()) {
        return {};
    }
    const bool isStates = name == "confidence";
    const bool areUsableShown = isOfUsablePixels(name);
    const std::vector<std::uint8_t>& usable = outcome_.usable;
    const imaging::Palette& colors = paletteOf(mapOf(map));
    const auto colorOf = [&](std::size_t i) {
        if (isStates) {
            return qor::pixelStates()[qor::stateOf(outcome_.frame->confidence[i], usable[i])].color;
        }
        const auto value = static_cast<double>(values[i]);
        if ((areUsableShown && usable[i] == 0) || std::isnan(value)) {
            return imaging::Color{};
        }
        return colors.at((value - minimum) / (maximum - minimum));
    };
    std::vector<std::uint8_t> bytes(4 * values.size(), 255);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const imaging::Color color = colorOf(i);
        bytes[4 * i] = color.red;
        bytes[4 * i + 1] = color.green;
        bytes[4 * i + 2] = color.blue;
    }
    return bytes;
}

std::vector<std::uint8_t> colorsOf(const std::string& map) {
    constexpr std::size_t steps = 1024;
    std::vector<std::uint8_t> bytes;
    for (std::size_t k = 0; k < steps; ++k) {
        const imaging::Color color = imaging::colorAt(mapOf(map), static_cast<double>(k) / (steps - 1));
        bytes.insert(bytes.end(), {color.red, color.green, color.blue, 255});
    }
    return bytes;
}

}  // namespace web
