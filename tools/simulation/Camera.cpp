// SPDX-License-Identifier: Apache-2.0

#include "simulation/Camera.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "simulation/Image.h"
#include "simulation/RawPacking.h"

namespace simulation {
namespace {

constexpr std::uint64_t readoutTime = 600;  // microseconds, after each exposure
constexpr std::int32_t longestExposure = 1'000'000;
constexpr int phasesPerExposure = 4;
constexpr double largestBrightness = 1000.0;

void require(bool condition, const char* sentence) {
    if (!condition) {
        throw std::invalid_argument(sentence);
    }
}

void checkExposureTimes(const std::vector<std::int32_t>& times) {
    require(times.size() == 1 || times.size() == 2, "The camera uses one or two exposure times.");
    for (const std::int32_t time : times) {
        require(time >= 1 && time <= longestExposure,
                "An exposure time must be a whole number of microseconds from 1 to 1000000.");
    }
    require(std::is_sorted(times.begin(), times.end()), "The shorter exposure time comes first.");
}

void checkBrightnessSteps(const std::vector<BrightnessStep>& steps) {
    for (const BrightnessStep& step : steps) {
        require(step.factor >= 0.0 && step.factor <= largestBrightness,
                "The brightness of a scene must be from 0 to 1000 times its own.");
    }
    const auto notLater = [](const BrightnessStep& a, const BrightnessStep& b) { return a.frame >= b.frame; };
    require(std::adjacent_find(steps.begin(), steps.end(), notLater) == steps.end(),
            "Each step in brightness comes at a later frame than the one before.");
}

CameraSettings checked(CameraSettings settings) {
    require(settings.frequencies.size() == 1 || settings.frequencies.size() == 2,
            "The camera uses one or two modulation frequencies.");
    checkExposureTimes(settings.exposureTimes);
    checkBrightnessSteps(settings.brightnessSteps);
    require(settings.intensityExposureTime >= 1 && settings.intensityExposureTime <= longestExposure,
            "The exposure time of the intensity image must be from 1 to 1000000 microseconds.");
    require(settings.ambient >= 0.0 && settings.ambient <= 1000.0,
            "The ambient light must be from 0 to 1000 kilolux.");
    require(settings.temperature >= -100.0 && settings.temperature <= 200.0,
            "The temperature must be from -100 to 200 degrees Celsius.");
    require(settings.frameRate > 0.0 && settings.frameRate <= 1.0e6, "The frame rate must be positive.");
    require(!settings.scene.objects.empty(), "The scene is empty.");
    return settings;
}

Calibration calibrationFor(const CameraSettings& settings) {
    return makeCalibration({settings.seed, settings.frequencies, settings.wiggling, settings.fixedPattern,
                            settings.ambientDrift, settings.sensor});
}

FrequencyTruth truthAt(double frequency, const std::vector<double>& distance,
                       const std::vector<PhaseSignal>& signals) {
    FrequencyTruth truth;
    truth.wraps.reserve(pixelCount);
    for (const double d : distance) {
        truth.wraps.push_back(static_cast<std::int32_t>(std::floor(d / uniqueRange(frequency))));
    }
    for (const PhaseSignal& signal : signals) {
        truth.exposures.push_back({signal.rawAmplitude, signal.distanceDeviation});
    }
    return truth;
}

}  // namespace

Camera::Camera(CameraSettings settings)
    : settings_(checked(std::move(settings))),
      calibration_(calibrationFor(settings_)),
      sensor_(calibration_, settings_.noiseSeed.value_or(settings_.seed), settings_.photonNoise) {
    view_ = viewScene(settings_.scene, calibration_, settings_.ambient);
    brightness_ = brightness();
    expose();
}

void Camera::setExposureTimes(const std::vector<std::int32_t>& times) {
    checkExposureTimes(times);
    require(times.size() == settings_.exposureTimes.size(), "The number of exposures stays as it is.");
    if (times != settings_.exposureTimes) {
        settings_.exposureTimes = times;
        expose();
    }
}

double Camera::brightness() const {
    double factor = 1.0;
    for (const BrightnessStep& step : settings_.brightnessSteps) {
        factor = step.frame <= frameNumber_ ? step.factor : factor;
    }
    return factor;
}

// What the pixels will show at the present brightness and exposure times.
void Camera::expose() {
    Truth truth = view_.truth;
    light_ = view_.light;
    for (std::vector<double>* image : {&truth.amplitude, &light_.amplitude, &light_.ambient}) {
        for (double& value : *image) {
            value *= brightness_;
        }
    }
    // The record of a raw image has the temperature in single precision; the illumination has exactly that.
    const double temperature = static_cast<double>(static_cast<float>(settings_.temperature));
    signals_.clear();
    for (std::size_t f = 0; f < calibration_.frequencies.size(); ++f) {
        std::vector<PhaseSignal> exposures;
        for (const std::int32_t time : settings_.exposureTimes) {
            exposures.push_back(sensor_.expose(light_, f, time, temperature, settings_.straylight.get()));
        }
        const double hertz = static_cast<double>(calibration_.frequencies[f].frequency);
        truth.frequencies.push_back(truthAt(hertz, truth.distance, exposures));
        signals_.push_back(std::move(exposures));
    }
    truth_ = std::make_shared<const Truth>(std::move(truth));
}

RawImage Camera::nextImage(std::int32_t sequenceCounter, std::size_t freqIdx, std::int32_t exposureTime) {
    RawImage image;
    image.timestamp = static_cast<std::uint32_t>(time_);
    image.sequenceCounter = sequenceCounter;
    image.freqIdx = static_cast<std::int32_t>(freqIdx);
    image.exposureTime = exposureTime;
    image.frameCounter = static_cast<std::uint16_t>((settings_.firstFrameCounter + imageNumber_) % 4096U);
    image.illuTemperature = static_cast<float>(settings_.temperature);
    time_ += static_cast<std::uint64_t>(exposureTime) + readoutTime;
    ++imageNumber_;
    return image;
}

Frame Camera::nextFrame() {
    const auto frameStart = static_cast<std::uint64_t>(frameNumber_ * (1.0e6 / settings_.frameRate));
    time_ = std::max(time_, frameStart);
    if (brightness() != brightness_) {
        brightness_ = brightness();
        expose();
    }
    ++frameNumber_;
    Frame frame;
    frame.truth = truth_;
    std::int32_t sequenceCounter = 0;
    if (settings_.intensityImage) {
        const std::uint32_t number = imageNumber_;
        RawImage image = nextImage(sequenceCounter++, 0, settings_.intensityExposureTime);
        image.intensityMeasurement = true;
        image.phaseData =
            packRawImage(sensor_.sampleIntensity(light_, settings_.intensityExposureTime, number));
        frame.images.push_back(std::move(image));
    }
    for (std::size_t f = 0; f < signals_.size(); ++f) {
        for (std::size_t e = 0; e < signals_[f].size(); ++e) {
            for (int phase = 0; phase < phasesPerExposure; ++phase) {
                const std::uint32_t number = imageNumber_;
                RawImage image = nextImage(sequenceCounter++, f, settings_.exposureTimes[e]);
                image.phaseData = packRawImage(sensor_.samplePhase(signals_[f][e], phase, number));
                frame.images.push_back(std::move(image));
            }
        }
    }
    return frame;
}

}  // namespace simulation
