// SPDX-License-Identifier: Apache-2.0

#include "calibrating/CalibrationRecord.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "calibrating/CalibrationError.h"
#include "calibrating/NeutralCalibration.h"
#include "recording/CameraRecords.h"
#include "recording/Channels.h"
#include "recording/RecordingReader.h"
#include "simulation/Image.h"

namespace calibrating {
namespace {

using simulation::FrequencyCalibration;
using simulation::pixelCount;
using zelta::ZeltaChunk;

std::string ofRecord(const std::string& member) {
    return std::string("QorDistanceImageIFCalib.") + member;
}

std::string ofImager(const std::string& member) {
    return std::string("QorDistanceImageIFCalib.imagerCalib.") + member;
}

std::string ofSlot(std::size_t slot) {
    return recording::element(ofImager("freqDependent"), slot);
}

constexpr std::array poseMembers{"transX", "transY", "transZ", "rotX", "rotY", "rotZ"};

// Members that a layout lacks are 0.
std::vector<float> floatsOf(const ZeltaChunk& chunk, const std::string& expression, std::size_t count) {
    return recording::hasMember(chunk, expression) ? recording::imageOf(chunk, expression, count)
                                                   : std::vector<float>(count, 0.0F);
}

float floatOf(const ZeltaChunk& chunk, const std::string& expression) {
    return floatsOf(chunk, expression, 1)[0];
}

double numberOf(const ZeltaChunk& chunk, const std::string& expression) {
    return recording::hasMember(chunk, expression) ? recording::numberOf(chunk, expression) : 0.0;
}

// 0 for what the type does not hold, as records of other layouts may have it.
template <typename T>
T held(double value) {
    const bool fits = value >= static_cast<double>(std::numeric_limits<T>::min()) &&
                      value <= static_cast<double>(std::numeric_limits<T>::max());
    return fits ? static_cast<T>(value) : T{0};
}

template <typename T>
std::vector<T> wholeNumbersOf(const ZeltaChunk& chunk, const std::string& expression, std::size_t count) {
    std::vector<T> values(count, T{0});
    if (recording::hasMember(chunk, expression)) {
        std::ranges::transform(recording::numbersOf(chunk, expression, count), values.begin(),
                               [](double value) { return held<T>(value); });
    }
    return values;
}

template <std::size_t Count>
void fill(std::array<float, Count>& target, const ZeltaChunk& chunk, const std::string& expression) {
    std::ranges::copy(floatsOf(chunk, expression, Count), target.begin());
}

FrequencyCalibration frequencyIn(const ZeltaChunk& chunk, std::size_t slot) {
    const std::string member = ofSlot(slot) + ".";
    FrequencyCalibration frequency;
    frequency.frequency = floatOf(chunk, recording::element(ofImager("frequencies"), slot));
    fill(frequency.ampWigg, chunk, member + "ampWigg");
    fill(frequency.phaseWigg, chunk, member + "phaseWigg");
    fill(frequency.xyCorrection, chunk, member + "xyCorrection");
    frequency.FPPN = floatsOf(chunk, member + "FPPN", pixelCount);
    frequency.refTemperature = floatOf(chunk, member + "refTemperature");
    fill(frequency.temperatureFactor, chunk, member + "temperatureFactor");
    fill(frequency.noiseParameter, chunk, member + "noiseParameter");
    return frequency;
}

bool isZero(std::span<const float> values) {
    return std::ranges::all_of(values, [](float value) { return value == 0.0F && !std::signbit(value); });
}

bool isZero(const FrequencyCalibration& frequency) {
    return isZero(std::span(&frequency.frequency, 1)) && isZero(frequency.ampWigg) &&
           isZero(frequency.phaseWigg) && isZero(frequency.xyCorrection) && isZero(frequency.FPPN) &&
           isZero(std::span(&frequency.refTemperature, 1)) && isZero(frequency.temperatureFactor) &&
           isZero(frequency.noiseParameter);
}

std::size_t countIn(const ZeltaChunk& chunk, const char* member, std::size_t least, std::size_t most,
                    const char* what) {
    const double count = numberOf(chunk, ofImager(member));
    if (!(count >= static_cast<double>(least) && count <= static_cast<double>(most))) {
        throw CalibrationError(
            fmt::format("The calibration has {} {}, where {} to {} are possible.", count, what, least, most));
    }
    return static_cast<std::size_t>(count);
}

void readFrequencies(const ZeltaChunk& chunk, CameraDescription& camera) {
    const std::size_t used =
        countIn(chunk, "numberOfFrequencies", 1, simulation::largestFrequencyCount, "frequencies");
    for (std::size_t slot = 0; slot < simulation::largestFrequencyCount; ++slot) {
        (slot < used ? camera.calibration.frequencies : camera.unusedFrequencies)
            .push_back(frequencyIn(chunk, slot));
    }
    while (!camera.unusedFrequencies.empty() && isZero(camera.unusedFrequencies.back())) {
        camera.unusedFrequencies.pop_back();
    }
    camera.calibration.frequencyHoppingTable = hoppingTable(used);
}

void readBadPixels(const ZeltaChunk& chunk, CameraDescription& camera) {
    const std::size_t used =
        countIn(chunk, "freqIndependent.numBadPixel", 0, simulation::largestBadPixelCount, "bad pixels");
    auto& unused = camera.unusedBadPixelIdx;
    unused = wholeNumbersOf<std::int32_t>(chunk, ofImager("freqIndependent.badPixelIdx"),
                                          simulation::largestBadPixelCount);
    const auto end = unused.begin() + static_cast<std::ptrdiff_t>(used);
    camera.calibration.badPixelIdx.assign(unused.begin(), end);
    unused.erase(unused.begin(), end);
    while (!unused.empty() && unused.back() == 0) {
        unused.pop_back();
    }
}

void readLens(const ZeltaChunk& chunk, CameraDescription& camera) {
    const std::string lens = ofRecord("intrinsicCalibration.");
    const auto read = [&](const char* name) { return static_cast<double>(floatOf(chunk, lens + name)); };
    camera.calibration.lens = {read("fx"), read("fy"), read("mx"), read("my"), read("alpha"),
                               read("k1"), read("k2"), read("k5"), read("k3"), read("k4")};
    for (std::size_t k = 0; k < poseMembers.size(); ++k) {
        camera.internalTransRot[k] = floatOf(chunk, lens + "internalTransRot." + poseMembers[k]);
    }
}

void setUnused(recording::Record& record, const FrequencyCalibration& frequency, std::size_t slot) {
    recording::setFrequency(record, ofSlot(slot), frequency);
    record.set<float>(recording::element(ofImager("frequencies"), slot), frequency.frequency);
}

}  // namespace

CameraDescription cameraIn(const ZeltaChunk& calibration) {
    CameraDescription camera;
    readFrequencies(calibration, camera);
    readBadPixels(calibration, camera);
    readLens(calibration, camera);
    const std::string pixel = ofImager("freqIndependent.");
    camera.calibration.minDiff = wholeNumbersOf<std::int16_t>(calibration, pixel + "minDiff", 1)[0];
    camera.calibration.maxDiff = wholeNumbersOf<std::int16_t>(calibration, pixel + "maxDiff", 1)[0];
    camera.calibration.vignetting = floatsOf(calibration, pixel + "vignetting", pixelCount);
    camera.calibration.FPN = wholeNumbersOf<std::int16_t>(calibration, pixel + "FPN", pixelCount);
    camera.calibration.unitVectors = floatsOf(calibration, ofRecord("unitVectors"), 3 * pixelCount);
    return camera;
}

void readSettings(const ZeltaChunk& input, CameraDescription& camera) {
    const std::string settings = "QorDistanceImageIFInput.";
    const std::string customization = settings + "customization.";
    if (recording::hasMember(input, settings + "param.maxUniqueRange")) {
        camera.maxUniqueRange = floatOf(input, settings + "param.maxUniqueRange");
    }
    camera.straylight.enable = numberOf(input, customization + "enableStraylightCorrection") != 0.0;
    camera.straylight.distanceThreshold = floatOf(input, customization + "absDistStraylightThreshold");
    camera.straylight.amplitudeThreshold = floatOf(input, customization + "relAmpStraylightThreshold");
}

CameraDescription cameraOfRecording(const std::filesystem::path& path) {
    recording::RecordingReader reader(path);
    std::optional<CameraDescription> camera;
    while (const recording::RecordedPacket* const packet = reader.next()) {
        const auto* const chunk = recording::findChunk(packet->chunks, recording::channel::calibration);
        if (!camera && chunk != nullptr) {
            camera = cameraIn(*chunk);
        }
        const auto* const input = recording::findChunk(packet->chunks, recording::channel::input);
        if (camera && input != nullptr) {
            readSettings(*input, *camera);
            break;
        }
    }
    if (!camera) {
        throw CalibrationError(recording::nameOf(path) + " holds no calibration.");
    }
    return *camera;
}

recording::Record recordOf(const CameraDescription& camera) {
    recording::Record record = recording::calibrationRecord(camera.calibration);
    for (std::size_t k = 0; k < camera.unusedFrequencies.size(); ++k) {
        setUnused(record, camera.unusedFrequencies[k], camera.calibration.frequencies.size() + k);
    }
    for (std::size_t k = 0; k < camera.unusedBadPixelIdx.size(); ++k) {
        record.set<int>(recording::element(ofImager("freqIndependent.badPixelIdx"),
                                           camera.calibration.badPixelIdx.size() + k),
                        camera.unusedBadPixelIdx[k]);
    }
    for (std::size_t k = 0; k < poseMembers.size(); ++k) {
        record.set<float>(ofRecord("intrinsicCalibration.internalTransRot.") + poseMembers[k],
                          camera.internalTransRot[k]);
    }
    return record;
}

std::vector<std::uint8_t> packetOf(const CameraDescription& camera) {
    const recording::Record record = recordOf(camera);
    const recording::Record auxiliary = recording::auxiliaryRecord(0);
    return recording::packetOf(
        {record.chunk(recording::channel::calibration), auxiliary.chunk(recording::channel::auxiliary)});
}

}  // namespace calibrating
