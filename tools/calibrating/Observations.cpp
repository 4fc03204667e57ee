// SPDX-License-Identifier: Apache-2.0

#include "calibrating/Observations.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "arrays/ArrayFile.h"
#include "calibrating/CalibrationError.h"
#include "recording/Channels.h"
#include "recording/Record.h"
#include "recording/RecordingReader.h"
#include "recording/TruthRecords.h"
#include "simulation/Image.h"
#include "simulation/RawPacking.h"

namespace calibrating {
namespace {

using simulation::pixelCount;

constexpr double temperatureStep = 0.5;  // kelvin; frames that differ by less are one observation
constexpr std::size_t phaseCount = 4;

struct PhaseImage {
    std::size_t frequency = 0;
    double exposureTime = 0.0;
    double temperature = 0.0;
    unsigned int counter = 0;
    std::vector<std::uint16_t> samples;
};

// None if the packet holds no phase image.
std::optional<PhaseImage> phaseImageIn(const zelta::Packet& chunks) {
    const auto* const input = recording::findChunk(chunks, recording::channel::input);
    const auto* const image = recording::findChunk(chunks, recording::channel::rawImage);
    if (input == nullptr || image == nullptr) {
        return std::nullopt;
    }
    const auto number = [&](const char* member) {
        return recording::numberOf(*input, std::string("QorDistanceImageIFInput.phaseInfo.") + member);
    };
    if (number("intensityMeasurement") != 0.0) {
        return std::nullopt;
    }
    const double frequency = number("freqIdx");
    const double temperature = number("illuTemperature");
    const double counter = number("frameCounter");
    if (!(frequency >= 0.0) || !std::isfinite(temperature) || !(counter >= 0.0 && counter <= 65535.0)) {
        throw CalibrationError("The record of an image has no frequency, no temperature or no counter.");
    }
    PhaseImage phase;
    phase.frequency = static_cast<std::size_t>(std::min(frequency, 1.0e6));
    phase.exposureTime = number("exposureTime");
    phase.temperature = temperature;
    phase.counter = static_cast<unsigned int>(counter);
    phase.samples = simulation::unpackRawImage(
        recording::bytesOf(*image, "QorRawPhaseData.phaseData", simulation::rawImageBytes));
    return phase;
}

// Sums over the frames of an observation.
class Sums {
 public:
    Sums(const PhaseImage& first, int leastGood, int mostGood)
        : frequency_(first.frequency),
          exposureTime_(first.exposureTime),
          temperature_(first.temperature),
          leastGood_(leastGood),
          mostGood_(mostGood),
          isGood_(pixelCount, 1) {
        for (std::vector<double>* const sum : {&X_, &Y_, &squareX_, &squareY_, &level_}) {
            sum->assign(pixelCount, 0.0);
        }
    }

    bool takes(const PhaseImage& image) const {
        return image.frequency == frequency_ && image.exposureTime == exposureTime_ &&
               std::abs(image.temperature - temperature_) < temperatureStep;
    }

    void add(const std::array<PhaseImage, phaseCount>& group) {
        ++frames_;
        for (const PhaseImage& image : group) {
            temperatures_ += image.temperature / static_cast<double>(phaseCount);
        }
        for (std::size_t i = 0; i < pixelCount; ++i) {
            const int a = group[0].samples[i];
            const int b = group[1].samples[i];
            const int c = group[2].samples[i];
            const int d = group[3].samples[i];
            const auto [least, most] = std::minmax({a, b, c, d});
            isGood_[i] = least < leastGood_ || most > mostGood_ ? 0 : isGood_[i];
            const double x = a - c;
            const double y = b - d;
            X_[i] += x;
            Y_[i] += y;
            squareX_[i] += x * x;
            squareY_[i] += y * y;
            level_[i] += 0.25 * (a + b + c + d);
        }
    }

    Observation take() {
        const double count = static_cast<double>(frames_);
        Observation observation;
        observation.frequency = frequency_;
        observation.exposureTime = exposureTime_;
        observation.temperature = temperatures_ / count;
        observation.frames = frames_;
        observation.isGood = std::move(isGood_);
        for (std::size_t i = 0; i < pixelCount; ++i) {
            const double x = X_[i] / count;
            const double y = Y_[i] / count;
            const double squares = squareX_[i] - count * x * x + squareY_[i] - count * y * y;
            observation.X.push_back(static_cast<float>(x));
            observation.Y.push_back(static_cast<float>(y));
            observation.level.push_back(static_cast<float>(level_[i] / count));
            observation.variance.push_back(
                frames_ > 1 ? static_cast<float>(std::max(squares, 0.0) / (2.0 * (count - 1.0))) : 0.0F);
        }
        return observation;
    }

 private:
    std::size_t frequency_;
    double exposureTime_;
    double temperature_;  // of the first frame
    int leastGood_;
    int mostGood_;
    std::size_t frames_ = 0;
    double temperatures_ = 0.0;
    std::vector<double> X_;
    std::vector<double> Y_;
    std::vector<double> squareX_;
    std::vector<double> squareY_;
    std::vector<double> level_;
    std::vector<std::uint8_t> isGood_;
};

// Collects four images that follow each other.
class Collector {
 public:
    explicit Collector(const CameraDescription& camera) : camera_(camera) {}

    void add(PhaseImage image) {
        if (image.frequency >= camera_.calibration.frequencies.size()) {
            throw CalibrationError(fmt::format("An image names frequency {}, and the camera has {}.",
                                               image.frequency, camera_.calibration.frequencies.size()));
        }
        if (count_ > 0 && !follows(image)) {
            count_ = 0;
        }
        group_[count_++] = std::move(image);
        if (count_ == phaseCount) {
            count_ = 0;
            sumsFor(group_[0]).add(group_);
        }
    }

    std::vector<Observation> take() {
        std::vector<Observation> observations;
        for (Sums& sums : sums_) {
            observations.push_back(sums.take());
        }
        return observations;
    }

 private:
    bool follows(const PhaseImage& image) const {
        const PhaseImage& last = group_[count_ - 1];
        return image.frequency == last.frequency && image.exposureTime == last.exposureTime &&
               image.counter == ((last.counter + 1U) & 0xFFFU);
    }

    Sums& sumsFor(const PhaseImage& first) {
        const auto found = std::ranges::find_if(sums_, [&](const Sums& sums) { return sums.takes(first); });
        if (found != sums_.end()) {
            return *found;
        }
        constexpr std::size_t mostObservations = 256;  // of a scene; each takes some megabytes
        if (sums_.size() == mostObservations) {
            throw CalibrationError("The exposure times or temperatures change too often for one scene.");
        }
        return sums_.emplace_back(first, camera_.calibration.minDiff, camera_.calibration.maxDiff);
    }

    const CameraDescription& camera_;
    std::array<PhaseImage, phaseCount> group_;
    std::size_t count_ = 0;
    std::vector<Sums> sums_;
};

std::vector<float> distancesOfWall(double wall, const std::vector<float>& rays) {
    std::vector<float> distances;
    for (std::size_t i = 0; i < pixelCount; ++i) {
        const auto component = [&](std::size_t k) { return static_cast<double>(rays[3 * i + k]); };
        const double length = std::sqrt(component(0) * component(0) + component(1) * component(1) +
                                        component(2) * component(2));
        const bool isAhead = component(2) > 0.0;
        distances.push_back(isAhead ? static_cast<float>(wall * length / component(2)) : 0.0F);
    }
    return distances;
}

std::vector<float> distancesIn(const std::string& file, double metres) {
    const arrays::Array array = arrays::readArray(file);
    const std::vector<std::size_t> shape{simulation::imageHeight, simulation::imageWidth};
    if (array.shape != shape) {
        throw CalibrationError(fmt::format("{} is {}, where {} is needed.", file,
                                           arrays::shapeText(array.shape), arrays::shapeText(shape)));
    }
    std::vector<float> distances;
    for (const double value : arrays::numbersOf(array)) {
        const double distance = value * metres;
        distances.push_back(std::isfinite(distance) && distance > 0.0 ? static_cast<float>(distance) : 0.0F);
    }
    return distances;
}

}  // namespace

ObservedScene observe(const SceneRequest& request, const CameraDescription& camera) {
    recording::RecordingReader reader(request.recording);
    ObservedScene scene;
    scene.name = recording::nameOf(request.recording);
    if (request.wall) {
        scene.distance = distancesOfWall(*request.wall, camera.calibration.unitVectors);
    } else if (request.array) {
        scene.distance = distancesIn(*request.array, request.metres);
    }
    Collector collector(camera);
    while (const recording::RecordedPacket* const packet = reader.next()) {
        if (scene.distance.empty()) {
            if (const std::optional<simulation::Truth> truth = recording::truthIn(packet->chunks)) {
                scene.distance.assign(truth->distance.begin(), truth->distance.end());
            }
        }
        if (std::optional<PhaseImage> image = phaseImageIn(packet->chunks)) {
            collector.add(std::move(*image));
        }
    }
    scene.observations = collector.take();
    if (scene.observations.empty()) {
        throw CalibrationError(scene.name + " holds no four phase images that follow each other.");
    }
    if (scene.distance.empty()) {
        throw CalibrationError(scene.name +
                               " does not say how far away its scene is: give --distance or --reference.");
    }
    return scene;
}

}  // namespace calibrating
