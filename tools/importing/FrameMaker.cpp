// SPDX-License-Identifier: Apache-2.0

#include "importing/FrameMaker.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "importing/ImportError.h"
#include "simulation/RawPacking.h"

namespace importing {
namespace {

constexpr std::uint16_t counterMask = 0xFFF;     // the imager counts in 12 bits
constexpr std::uint64_t frameInterval = 100000;  // microseconds; files tell no times
constexpr std::uint64_t readOutTime = 1000;      // microseconds, between two images of a frame

// Pixels without a measurement hold the lowest sample in all phases, so that they come out as saturated.
constexpr double nothing = 0.0;

}  // namespace

double ImageFigures::medianAmplitude() const {
    if (amplitudes.empty()) {
        return 0.0;
    }
    std::vector<float> values = amplitudes;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return static_cast<double>(*middle);
}

FrameMaker::FrameMaker(const PhaseStack& stack, FramePlan plan)
    : stack_(stack),
      plan_(std::move(plan)),
      converter_(plan_.samples, stack.type().kind != arrays::ElementKind::UnsignedInteger) {}

std::array<std::vector<double>, phaseCount> FrameMaker::fitted(ImageIndex index) const {
    std::array<std::vector<double>, phaseCount> images;
    for (index.phase = 0; index.phase < phaseCount; ++index.phase) {
        const std::vector<double> counts = converter_.counts(stack_.image(index));
        images[index.phase] = plan_.fit.fit(counts, nothing, 0.0, largestSample);
    }
    return images;
}

std::vector<simulation::RawImage> FrameMaker::frame(std::size_t number) {
    const std::uint64_t begin = time_;
    std::vector<simulation::RawImage> images;
    if (plan_.intensity) {
        addIntensity(images, number);
    }
    for (std::size_t frequency = 0; frequency < stack_.size()[Axis::Frequency]; ++frequency) {
        for (std::size_t exposure = 0; exposure < stack_.size()[Axis::Exposure]; ++exposure) {
            addPhases(images, {number, frequency, exposure, 0});
        }
    }
    time_ = std::max(time_, begin + frameInterval);
    return images;
}

void FrameMaker::addPhases(std::vector<simulation::RawImage>& images, const ImageIndex& index) {
    const auto source = fitted(index);
    std::array<std::vector<std::uint16_t>, phaseCount> phases;
    for (std::size_t phase = 0; phase < phaseCount; ++phase) {
        phases[phase] = wholeSamples(source[plan_.order.places[phase]], rounding_);
    }
    if (plan_.isReversed) {
        std::swap(phases[1], phases[3]);
    }
    judge(phases, index);
    for (const std::vector<std::uint16_t>& samples : phases) {
        simulation::RawImage image = next(images);
        image.freqIdx = static_cast<std::int32_t>(index.frequency);
        image.exposureTime = plan_.exposureTimes.at(index.exposure);
        image.phaseData = simulation::packRawImage(samples);
        time_ += static_cast<std::uint64_t>(image.exposureTime) + readOutTime;
        images.push_back(std::move(image));
    }
}

void FrameMaker::addIntensity(std::vector<simulation::RawImage>& images, std::size_t frame) {
    const arrays::Array& pictures = *plan_.intensity;
    const std::size_t height = stack_.size()[Axis::Row];
    const std::size_t width = stack_.size()[Axis::Column];
    const std::vector<std::size_t> one{height, width};
    const std::vector<std::size_t> all{stack_.size()[Axis::Frame], height, width};
    if (pictures.shape != one && pictures.shape != all) {
        throw ImportError("The intensity image is " + arrays::shapeText(pictures.shape) + ", where " +
                          arrays::shapeText(one) + " or " + arrays::shapeText(all) + " is needed.");
    }
    const std::size_t dimensions = pictures.shape.size();
    const std::size_t begin = dimensions == 3 ? frame * pictures.strides[0] : 0;
    std::vector<double> counts;
    counts.reserve(width * height);
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            counts.push_back(arrays::numberAt(pictures, begin + y * pictures.strides[dimensions - 2] +
                                                            x * pictures.strides[dimensions - 1]));
        }
    }
    simulation::RawImage image = next(images);
    image.intensityMeasurement = true;
    image.exposureTime = plan_.intensityExposureTime;
    image.phaseData =
        simulation::packRawImage(wholeSamples(plan_.fit.fit(counts, nothing, 0.0, largestSample), rounding_));
    time_ += static_cast<std::uint64_t>(image.exposureTime) + readOutTime;
    images.push_back(std::move(image));
}

simulation::RawImage FrameMaker::next(const std::vector<simulation::RawImage>& images) {
    simulation::RawImage image;
    image.timestamp = static_cast<std::uint32_t>(time_);
    image.sequenceCounter = static_cast<std::int32_t>(images.size());
    image.frameCounter = static_cast<std::uint16_t>(imageNumber_++ & counterMask);
    image.illuTemperature = plan_.temperature;
    return image;
}

void FrameMaker::judge(const std::array<std::vector<std::uint16_t>, phaseCount>& phases,
                       const ImageIndex& index) {
    const bool isSampled = index.frame == 0 && index.exposure + 1 == stack_.size()[Axis::Exposure];
    for (std::size_t i = 0; i < phases[0].size(); ++i) {
        if (plan_.fit.isEmpty(i)) {
            continue;
        }
        ++figures_.pixels;
        const int a = phases[0][i];
        const int b = phases[1][i];
        const int c = phases[2][i];
        const int d = phases[3][i];
        const auto [least, most] = std::minmax({a, b, c, d});
        if (least < plan_.leastGoodSample || most > plan_.mostGoodSample) {
            ++figures_.saturated;
            continue;
        }
        const double amplitude = std::hypot(a - c, b - d);
        figures_.asymmetric += std::abs(a + c - b - d) > 0.5 * amplitude ? 1 : 0;
        figures_.zeroPhase += b == d && a > c ? 1 : 0;
        if (isSampled) {
            figures_.amplitudes.push_back(static_cast<float>(amplitude));
        }
    }
}

}  // namespace importing
