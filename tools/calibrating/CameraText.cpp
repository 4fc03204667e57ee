// SPDX-License-Identifier: Apache-2.0

#include "calibrating/CameraText.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <span>
#include <utility>

#include "arrays/NumpyFile.h"
#include "calibrating/CameraFile.h"
#include "calibrating/NeutralCalibration.h"
#include "simulation/Image.h"

namespace calibrating {
namespace {

using Json = nlohmann::ordered_json;
using simulation::imageHeight;
using simulation::imageWidth;

// The double that prints with the fewest digits and is this number in single precision; null for what is no
// number, as JSON has none.
Json toJson(float value) {
    if (!std::isfinite(value)) {
        return nullptr;
    }
    std::array<char, 64> digits{};
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size() - 1, value);
    double shortest = static_cast<double>(value);
    std::from_chars(digits.data(), end, shortest);
    return static_cast<float>(shortest) == value ? shortest : static_cast<double>(value);
}

Json toJson(std::int16_t value) {
    return value;
}

Json listOf(std::span<const float> values) {
    Json list = Json::array();
    for (const float value : values) {
        list.push_back(toJson(value));
    }
    return list;
}

template <typename T>
bool areSameBits(std::span<const T> values, std::span<const T> others) {
    return values.size() == others.size() &&
           std::memcmp(values.data(), others.data(), values.size_bytes()) == 0;
}

template <typename T>
bool isOneNumber(std::span<const T> values) {
    return areSameBits(values.subspan(1), values.first(values.size() - 1)) &&
           std::isfinite(static_cast<double>(values[0]));
}

template <typename T>
Json summaryOf(std::span<const T> values) {
    std::vector<T> sorted(values.begin(), values.end());
    std::erase_if(sorted, [](T value) { return !std::isfinite(static_cast<double>(value)); });
    if (sorted.empty()) {
        return {{"values", values.size()}};
    }
    std::ranges::sort(sorted);
    return {{"values", values.size()},
            {"least", toJson(sorted.front())},
            {"median", toJson(sorted[sorted.size() / 2])},
            {"greatest", toJson(sorted.back())}};
}

constexpr arrays::ElementType typeOf(float) {
    return {arrays::ElementKind::Float, 4, false};
}
constexpr arrays::ElementType typeOf(std::int16_t) {
    return {arrays::ElementKind::SignedInteger, 2, false};
}

class Writer {
 public:
    explicit Writer(const std::optional<ArrayFolder>& folder) : folder_(folder) {}

    template <typename T>
    Json image(const std::vector<T>& values, const std::string& name, std::vector<std::size_t> shape) {
        const std::span<const T> all(values);
        return isOneNumber(all) ? toJson(values[0]) : array(values, name, std::move(shape));
    }

    template <typename T>
    Json array(const std::vector<T>& values, const std::string& name, std::vector<std::size_t> shape) {
        const std::span<const T> all(values);
        if (!folder_) {
            return summaryOf(all);
        }
        const auto bytes = std::as_bytes(all);
        const auto* const begin = reinterpret_cast<const std::uint8_t*>(bytes.data());
        arrays::ElementType type = typeOf(T{});
        type.bigEndian = std::endian::native == std::endian::big;
        const std::string file = name + ".npy";
        arrays::writeNpy(folder_->folder / file,
                         arrays::makeArray(type, std::move(shape), {begin, begin + bytes.size()}));
        files_.push_back(folder_->folder / file);
        return (folder_->nameInText / file).generic_string();
    }

    std::vector<std::filesystem::path> takeFiles() { return std::move(files_); }

 private:
    const std::optional<ArrayFolder>& folder_;
    std::vector<std::filesystem::path> files_;
};

Json frequencyJson(const simulation::FrequencyCalibration& frequency, std::size_t slot, Writer& writer) {
    return {{"frequency", toJson(frequency.frequency)},
            {"ampWigg", listOf(frequency.ampWigg)},
            {"phaseWigg", listOf(frequency.phaseWigg)},
            {"xyCorrection", listOf(frequency.xyCorrection)},
            {"FPPN", writer.image(frequency.FPPN, fmt::format("FPPN{}", slot), {imageHeight, imageWidth})},
            {"refTemperature", toJson(frequency.refTemperature)},
            {"temperatureFactor", listOf(frequency.temperatureFactor)},
            {"noiseParameter", listOf(frequency.noiseParameter)}};
}

Json lensJson(const CameraDescription& camera) {
    const simulation::Lens& lens = camera.calibration.lens;
    Json section = Json::object();
    for (const auto& [name, value] :
         {std::pair{"fx", lens.fx}, std::pair{"fy", lens.fy}, std::pair{"mx", lens.mx},
          std::pair{"my", lens.my}, std::pair{"alpha", lens.alpha}, std::pair{"k1", lens.k1},
          std::pair{"k2", lens.k2}, std::pair{"k5", lens.k5}, std::pair{"k3", lens.k3},
          std::pair{"k4", lens.k4}}) {
        section[name] = toJson(static_cast<float>(value));
    }
    constexpr std::array<float, 6> none{};
    if (!areSameBits(std::span<const float>(camera.internalTransRot), std::span<const float>(none))) {
        const std::vector<std::string>& keys = keysOfCameraFile().at("intrinsicCalibration.internalTransRot");
        for (std::size_t k = 0; k < keys.size(); ++k) {
            section["internalTransRot"][keys[k]] = toJson(camera.internalTransRot[k]);
        }
    }
    return section;
}

// Whether they are what the reader computes from the lens.
bool areOfLens(const simulation::Calibration& calibration) {
    return calibration.lens.fx > 0.0 && calibration.lens.fy > 0.0 &&
           areSameBits(std::span<const float>(unitVectorsOf(calibration.lens)),
                       std::span<const float>(calibration.unitVectors));
}

}  // namespace

CameraText describe(const CameraDescription& camera, const std::optional<ArrayFolder>& folder) {
    const simulation::Calibration& calibration = camera.calibration;
    Writer writer(folder);
    Json document = Json::object();
    std::size_t slot = 0;
    for (const simulation::FrequencyCalibration& frequency : calibration.frequencies) {
        document["frequencies"].push_back(frequencyJson(frequency, slot++, writer));
    }
    for (const simulation::FrequencyCalibration& frequency : camera.unusedFrequencies) {
        document["unusedFrequencies"].push_back(frequencyJson(frequency, slot++, writer));
    }
    document["minDiff"] = calibration.minDiff;
    document["maxDiff"] = calibration.maxDiff;
    document["mid"] = camera.mid;
    document["vignetting"] = writer.image(calibration.vignetting, "vignetting", {imageHeight, imageWidth});
    document["FPN"] = writer.image(calibration.FPN, "FPN", {imageHeight, imageWidth});
    document["badPixelIdx"] = calibration.badPixelIdx;
    if (!camera.unusedBadPixelIdx.empty()) {
        document["unusedBadPixelIdx"] = camera.unusedBadPixelIdx;
    }
    document["intrinsicCalibration"] = lensJson(camera);
    if (!areOfLens(calibration)) {
        document["unitVectors"] =
            writer.array(calibration.unitVectors, "unitVectors", {imageHeight, imageWidth, 3});
    }
    document["maxUniqueRange"] = toJson(camera.maxUniqueRange);
    document["straylight"] = {{"enableStraylightCorrection", camera.straylight.enable},
                              {"absDistStraylightThreshold", toJson(camera.straylight.distanceThreshold)},
                              {"relAmpStraylightThreshold", toJson(camera.straylight.amplitudeThreshold)}};
    return {document.dump(2, ' ', false, Json::error_handler_t::replace), writer.takeFiles()};
}

}  // namespace calibrating
