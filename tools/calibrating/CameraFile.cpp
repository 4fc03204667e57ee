// SPDX-License-Identifier: Apache-2.0

#include "calibrating/CameraFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <utility>

#include "arrays/ArrayFile.h"
#include "calibrating/CalibrationError.h"
#include "calibrating/NeutralCalibration.h"
#include "simulation/Image.h"
#include "texts/Nearest.h"

namespace calibrating {
namespace {

using nlohmann::json;
using simulation::imageHeight;
using simulation::imageWidth;
using simulation::pixelCount;

constexpr std::size_t largestFile = 1 << 20;  // bytes; the arrays stand in files of their own

std::string under(const std::string& section, const std::string& key) {
    return section.empty() ? key : section + "." + key;
}

// Reads values and collects what is wrong with them.
class Reader {
 public:
    explicit Reader(std::filesystem::path folder) : folder_(std::move(folder)) {}

    void add(std::string key, std::string sentence) {
        faults_.push_back({std::move(key), std::move(sentence)});
    }
    const std::vector<Fault>& faults() const { return faults_; }
    const std::vector<std::string>& neutral() const { return neutral_; }

    // Whether this is an object, with known keys only. `kind` names its keys.
    bool isSection(const json& value, const std::string& path, const std::string& kind) {
        if (!value.is_object()) {
            add(path.empty() ? "The file" : path, "An object in braces is needed.");
            return false;
        }
        const std::vector<std::string>& known = keysOfCameraFile().at(kind);
        for (const auto& [key, member] : value.items()) {
            if (std::ranges::find(known, key) == known.end()) {
                const std::string nearest = texts::nearestOf(known, key);
                add(under(path, key), nearest.empty()
                                          ? std::string("There is no such key.")
                                          : "There is no such key; did you mean \"" + nearest + "\"?");
            }
        }
        return true;
    }

    // Null if it is not there.
    const json* find(const json& section, const std::string& path, const char* key) {
        const auto found = section.find(key);
        if (found != section.end()) {
            return &*found;
        }
        neutral_.push_back(under(path, key));
        return nullptr;
    }

    template <typename T>
    void number(const json& section, const std::string& path, const char* key, T& value) {
        if (const json* const found = find(section, path, key)) {
            value = numberOf<T>(*found, under(path, key), value);
        }
    }

    void flag(const json& section, const std::string& path, const char* key, bool& value) {
        const json* const found = find(section, path, key);
        if (found != nullptr && !found->is_boolean()) {
            add(under(path, key), "It must be true or false.");
        } else if (found != nullptr) {
            value = found->get<bool>();
        }
    }

    template <std::size_t Count>
    void list(const json& section, const std::string& path, const char* key,
              std::array<float, Count>& values) {
        const json* const found = find(section, path, key);
        if (found == nullptr) {
            return;
        }
        if (!found->is_array() || found->size() != Count) {
            add(under(path, key), fmt::format("A list of {} numbers is needed.", Count));
            return;
        }
        for (std::size_t k = 0; k < Count; ++k) {
            values[k] = numberOf<float>((*found)[k], fmt::format("{}[{}]", under(path, key), k), 0.0F);
        }
    }

    // One value for all elements, or the name of a file that holds them.
    template <typename T>
    void image(const json& section, const std::string& path, const char* key,
               const std::vector<std::size_t>& shape, std::vector<T>& values) {
        const json* const found = find(section, path, key);
        if (found == nullptr) {
            return;
        }
        const std::string place = under(path, key);
        if (found->is_number()) {
            values.assign(values.size(), numberOf<T>(*found, place, T{}));
            return;
        }
        const std::optional<arrays::Array> array = file(*found, place);
        if (!array) {
            return;
        }
        if (array->shape != shape) {
            add(place, fmt::format("{} is {}, where {} is needed.", found->get<std::string>(),
                                   arrays::shapeText(array->shape), arrays::shapeText(shape)));
            return;
        }
        take(arrays::numbersOf(*array), place, values);
    }

    // The array in a file that this value names.
    std::optional<arrays::Array> file(const json& value, const std::string& place) {
        if (!value.is_string()) {
            add(place, "It must be a number for all pixels, or the name of a .npy file.");
            return std::nullopt;
        }
        const std::filesystem::path name = value.get<std::string>();
        try {
            return arrays::readArray((name.is_absolute() ? name : folder_ / name).string());
        } catch (const arrays::ArrayError& error) {
            add(place, error.what());
            return std::nullopt;
        }
    }

    // A finite number that the type holds, whole if the type is; another is a fault.
    template <typename T>
    T numberOf(const json& value, const std::string& place, T instead) {
        if (!value.is_number()) {
            add(place, "It must be a number.");
            return instead;
        }
        const double number = value.get<double>();
        if (!fits<T>(number)) {
            add(place, fmt::format("{} {}", number, range<T>()));
            return instead;
        }
        return static_cast<T>(number);
    }

 private:
    template <typename T>
    static bool fits(double number) {
        if constexpr (std::is_floating_point_v<T>) {
            return std::abs(number) <= static_cast<double>(std::numeric_limits<T>::max());
        } else {
            return number == std::floor(number) &&
                   number >= static_cast<double>(std::numeric_limits<T>::min()) &&
                   number <= static_cast<double>(std::numeric_limits<T>::max());
        }
    }

    template <typename T>
    static std::string range() {
        if constexpr (std::is_floating_point_v<T>) {
            return "is too large.";
        } else {
            return fmt::format("is no whole number from {} to {}.", std::numeric_limits<T>::min(),
                               std::numeric_limits<T>::max());
        }
    }

    template <typename T>
    void take(const std::vector<double>& numbers, const std::string& place, std::vector<T>& values) {
        std::size_t bad = 0;
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            const bool good = std::isnan(numbers[i]) ? std::is_floating_point_v<T> : fits<T>(numbers[i]);
            bad += good ? 0U : 1U;
            values[i] = good ? static_cast<T>(numbers[i]) : T{};
        }
        if (bad > 0) {
            add(place, fmt::format("Of {} values one or more ({}) {}", numbers.size(), bad, range<T>()));
        }
    }

    std::filesystem::path folder_;
    std::vector<Fault> faults_;
    std::vector<std::string> neutral_;
};

simulation::FrequencyCalibration readFrequency(const json& value, const std::string& path, Reader& reader) {
    simulation::FrequencyCalibration frequency;
    frequency.FPPN.assign(pixelCount, 0.0F);
    if (value.is_number()) {
        frequency.frequency = reader.numberOf<float>(value, path, 0.0F);
        return frequency;
    }
    if (!reader.isSection(value, path, "frequencies[]")) {
        return frequency;
    }
    if (value.contains("frequency")) {
        reader.number(value, path, "frequency", frequency.frequency);
    } else {
        reader.add(under(path, "frequency"), "The modulation frequency in Hz is needed.");
    }
    reader.list(value, path, "ampWigg", frequency.ampWigg);
    reader.list(value, path, "phaseWigg", frequency.phaseWigg);
    reader.list(value, path, "xyCorrection", frequency.xyCorrection);
    reader.image(value, path, "FPPN", {imageHeight, imageWidth}, frequency.FPPN);
    reader.number(value, path, "refTemperature", frequency.refTemperature);
    reader.list(value, path, "temperatureFactor", frequency.temperatureFactor);
    reader.list(value, path, "noiseParameter", frequency.noiseParameter);
    return frequency;
}

std::vector<simulation::FrequencyCalibration> readFrequencies(const json& value, const std::string& key,
                                                              Reader& reader) {
    std::vector<simulation::FrequencyCalibration> frequencies;
    if (!value.is_array() || value.empty() || value.size() > simulation::largestFrequencyCount) {
        reader.add(key, "A list of 1 to 4 modulation frequencies is needed.");
        return frequencies;
    }
    for (std::size_t k = 0; k < value.size(); ++k) {
        frequencies.push_back(readFrequency(value[k], fmt::format("{}[{}]", key, k), reader));
    }
    return frequencies;
}

// The indices of pixels: a list of them, or a file with a list or with an image that is not 0 there.
std::vector<std::int32_t> readPixels(const json& value, const std::string& key, Reader& reader) {
    std::vector<std::int32_t> indices;
    if (value.is_array()) {
        for (std::size_t k = 0; k < value.size() && k < pixelCount; ++k) {
            indices.push_back(reader.numberOf<std::int32_t>(value[k], fmt::format("{}[{}]", key, k), -1));
        }
        return indices;
    }
    if (!value.is_string()) {
        reader.add(key, "A list of indices is needed, or the name of a .npy file.");
        return indices;
    }
    const std::optional<arrays::Array> array = reader.file(value, key);
    if (!array) {
        return indices;
    }
    const bool isMask = array->shape == std::vector<std::size_t>{imageHeight, imageWidth};
    if (!isMask && array->shape.size() != 1) {
        reader.add(key, fmt::format("{} is {}, where a list of indices or an image of 172 x 224 is needed.",
                                    value.get<std::string>(), arrays::shapeText(array->shape)));
        return indices;
    }
    const std::vector<double> numbers = arrays::numbersOf(*array);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (isMask && numbers[i] != 0.0) {
            indices.push_back(static_cast<std::int32_t>(i));
        } else if (!isMask) {
            indices.push_back(reader.numberOf<std::int32_t>(json(numbers[i]), key, -1));
        }
    }
    return indices;
}

void readBadPixels(const json& document, CameraDescription& camera, Reader& reader) {
    if (const json* const found = reader.find(document, "", "badPixelIdx")) {
        camera.calibration.badPixelIdx = readPixels(*found, "badPixelIdx", reader);
    }
    if (const auto found = document.find("unusedBadPixelIdx"); found != document.end()) {
        camera.unusedBadPixelIdx = readPixels(*found, "unusedBadPixelIdx", reader);
    }
    const std::size_t count = camera.calibration.badPixelIdx.size() + camera.unusedBadPixelIdx.size();
    if (count > simulation::largestBadPixelCount) {
        reader.add("badPixelIdx", fmt::format("There is room for {} bad pixels, and {} are given.",
                                              simulation::largestBadPixelCount, count));
        camera.calibration.badPixelIdx.clear();
        camera.unusedBadPixelIdx.clear();
    }
}

void readPose(const json& lens, CameraDescription& camera, Reader& reader) {
    const auto pose = lens.find("internalTransRot");
    const std::string path = "intrinsicCalibration.internalTransRot";
    if (pose == lens.end() || !reader.isSection(*pose, path, path)) {
        return;
    }
    const std::vector<std::string>& keys = keysOfCameraFile().at(path);
    for (std::size_t k = 0; k < keys.size(); ++k) {
        reader.number(*pose, path, keys[k].c_str(), camera.internalTransRot[k]);
    }
}

// The record holds single precision, so the rays are those of the rounded numbers.
void readLens(const json& document, CameraDescription& camera, Reader& reader) {
    simulation::Lens& lens = camera.calibration.lens;
    double fieldOfView = usualFieldOfView;
    const std::string path = "intrinsicCalibration";
    const auto intrinsics = document.find(path);
    if (intrinsics != document.end() && document.contains("fieldOfView")) {
        reader.add("fieldOfView", "Either fieldOfView or intrinsicCalibration is possible, not both.");
    }
    if (intrinsics == document.end()) {
        reader.number(document, "", "fieldOfView", fieldOfView);
        if (!(fieldOfView >= 1.0 && fieldOfView <= 170.0)) {
            reader.add("fieldOfView",
                       fmt::format("{} is no angle from 1 to 170 degrees over the width.", fieldOfView));
            return;
        }
        lens = lensOf(fieldOfView, imageWidth, imageHeight);
    } else if (reader.isSection(*intrinsics, path, path)) {
        for (const char* const key : {"fx", "fy", "mx", "my"}) {
            if (!intrinsics->contains(key)) {
                reader.add(under(path, key), "It is needed, in pixels.");
            }
        }
        lens = {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
        const std::array<std::pair<const char*, double*>, 10> members{{{"fx", &lens.fx},
                                                                       {"fy", &lens.fy},
                                                                       {"mx", &lens.mx},
                                                                       {"my", &lens.my},
                                                                       {"alpha", &lens.alpha},
                                                                       {"k1", &lens.k1},
                                                                       {"k2", &lens.k2},
                                                                       {"k5", &lens.k5},
                                                                       {"k3", &lens.k3},
                                                                       {"k4", &lens.k4}}};
        for (const auto& [key, member] : members) {
            reader.number(*intrinsics, path, key, *member);
        }
        readPose(*intrinsics, camera, reader);
    }
    for (double* const value : {&lens.fx, &lens.fy, &lens.mx, &lens.my, &lens.alpha, &lens.k1, &lens.k2,
                                &lens.k5, &lens.k3, &lens.k4}) {
        *value = static_cast<double>(static_cast<float>(*value));
    }
}

void readRays(const json& document, CameraDescription& camera, Reader& reader) {
    simulation::Calibration& calibration = camera.calibration;
    if (const auto rays = document.find("unitVectors"); rays != document.end()) {
        if (!rays->is_string()) {
            reader.add("unitVectors", "It must be the name of a .npy file.");
            return;
        }
        calibration.unitVectors.assign(3 * pixelCount, 0.0F);
        reader.image(document, "", "unitVectors", {imageHeight, imageWidth, 3}, calibration.unitVectors);
    } else if (calibration.lens.fx > 0.0 && calibration.lens.fy > 0.0) {
        calibration.unitVectors = unitVectorsOf(calibration.lens);
    } else {
        reader.add("intrinsicCalibration", "The focal lengths fx and fy must be above 0 pixels.");
    }
}

void readStraylight(const json& document, CameraDescription& camera, Reader& reader) {
    const json* const section = reader.find(document, "", "straylight");
    if (section == nullptr || !reader.isSection(*section, "straylight", "straylight")) {
        return;
    }
    reader.flag(*section, "straylight", "enableStraylightCorrection", camera.straylight.enable);
    reader.number(*section, "straylight", "absDistStraylightThreshold", camera.straylight.distanceThreshold);
    reader.number(*section, "straylight", "relAmpStraylightThreshold", camera.straylight.amplitudeThreshold);
}

void readAll(const json& document, CameraDescription& camera, Reader& reader) {
    simulation::Calibration& calibration = camera.calibration;
    if (document.contains("frequencies")) {
        calibration.frequencies = readFrequencies(document["frequencies"], "frequencies", reader);
    } else {
        reader.add("frequencies", "A list of 1 to 4 modulation frequencies is needed.");
    }
    calibration.frequencyHoppingTable = hoppingTable(calibration.frequencies.size());
    if (const auto unused = document.find("unusedFrequencies"); unused != document.end()) {
        camera.unusedFrequencies = readFrequencies(*unused, "unusedFrequencies", reader);
        if (calibration.frequencies.size() + camera.unusedFrequencies.size() >
            simulation::largestFrequencyCount) {
            reader.add("unusedFrequencies", "There is room for 4 frequencies, used and unused.");
        }
    }
    reader.number(document, "", "minDiff", calibration.minDiff);
    reader.number(document, "", "maxDiff", calibration.maxDiff);
    reader.number(document, "", "mid", camera.mid);
    reader.image(document, "", "vignetting", {imageHeight, imageWidth}, calibration.vignetting);
    reader.image(document, "", "FPN", {imageHeight, imageWidth}, calibration.FPN);
    readBadPixels(document, camera, reader);
    readLens(document, camera, reader);
    readRays(document, camera, reader);
    reader.number(document, "", "maxUniqueRange", camera.maxUniqueRange);
    readStraylight(document, camera, reader);
}

// A key that stands twice would silently take the later value.
class DoubleKeys {
 public:
    bool operator()(int depth, json::parse_event_t event, const json& parsed) {
        if (event == json::parse_event_t::object_start) {
            seen_.resize(std::max(seen_.size(), static_cast<std::size_t>(depth) + 2));
            seen_[static_cast<std::size_t>(depth) + 1].clear();
        } else if (event == json::parse_event_t::key &&
                   !seen_.at(static_cast<std::size_t>(depth)).insert(parsed.get<std::string>()).second) {
            throw CalibrationError("The key \"" + parsed.get<std::string>() + "\" stands there twice.");
        }
        return true;
    }

 private:
    std::vector<std::set<std::string>> seen_;
};

json parse(const std::string& text) {
    try {
        return json::parse(text, DoubleKeys());
    } catch (const json::exception& error) {
        const std::string what =
            error.what();  // "[json.exception.parse_error.101] parse error at line 1, ..."
        const std::size_t begin = what.find("] ");
        throw CalibrationError(
            "It is no JSON: " + (begin == std::string::npos ? what : what.substr(begin + 2)) + ".");
    }
}

}  // namespace

const std::map<std::string, std::vector<std::string>>& keysOfCameraFile() {
    static const std::map<std::string, std::vector<std::string>> keys{
        {"",
         {"$schema", "frequencies", "unusedFrequencies", "minDiff", "maxDiff", "mid", "vignetting", "FPN",
          "badPixelIdx", "unusedBadPixelIdx", "fieldOfView", "intrinsicCalibration", "unitVectors",
          "maxUniqueRange", "straylight"}},
        {"frequencies[]",
         {"frequency", "ampWigg", "phaseWigg", "xyCorrection", "FPPN", "refTemperature", "temperatureFactor",
          "noiseParameter"}},
        {"intrinsicCalibration",
         {"fx", "fy", "mx", "my", "alpha", "k1", "k2", "k5", "k3", "k4", "internalTransRot"}},
        {"intrinsicCalibration.internalTransRot", {"transX", "transY", "transZ", "rotX", "rotY", "rotZ"}},
        {"straylight",
         {"enableStraylightCorrection", "absDistStraylightThreshold", "relAmpStraylightThreshold"}},
    };
    return keys;
}

CameraFile readCameraText(const std::string& text, const std::filesystem::path& folder) {
    const json document = parse(text);
    Reader reader(folder);
    CameraFile file;
    simulation::Calibration& calibration = file.camera.calibration;
    calibration.minDiff = leastGoodSample;
    calibration.maxDiff = mostGoodSample;
    calibration.vignetting.assign(pixelCount, 1.0F);
    calibration.FPN.assign(pixelCount, 1);
    if (reader.isSection(document, "", "")) {
        readAll(document, file.camera, reader);
    }
    std::vector<Fault> faults = reader.faults();
    if (faults.empty()) {
        faults = faultsOf(file.camera);
    }
    if (!faults.empty()) {
        throw CalibrationError(textOf(faults));
    }
    file.neutral = reader.neutral();
    file.doubts = doubtsOf(file.camera);
    return file;
}

CameraFile readCameraFile(const std::filesystem::path& path) {
    std::vector<std::uint8_t> bytes;
    try {
        bytes = arrays::readFile(path);
    } catch (const arrays::ArrayError& error) {
        throw CalibrationError(error.what());
    }
    if (bytes.size() > largestFile) {
        throw CalibrationError("It has more than a megabyte; arrays stand in .npy files of their own.");
    }
    return readCameraText(std::string(bytes.begin(), bytes.end()), path.parent_path());
}

}  // namespace calibrating
