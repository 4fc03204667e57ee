// SPDX-License-Identifier: Apache-2.0

#include "figures/Accuracy.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

#include "figures/Confidence.h"
#include "simulation/Calibration.h"
#include "simulation/Image.h"

namespace figures {
namespace {

constexpr std::array<double, Accuracy::binCount + 1> binEdges{300.0,  450.0,  650.0,  900.0,
                                                              1300.0, 1900.0, 2700.0, 4100.0};

// Of a second difference, in variances of one of its three values.
constexpr double varianceOfDifference = 1.5;

// Pixels of unknown amplitude, and of one outside of all bins, are in this one.
constexpr std::size_t noBin = binEdges.size() - 1;

std::size_t binOf(float rawAmplitude) {
    const auto amplitude = static_cast<double>(rawAmplitude);
    if (!(amplitude >= binEdges.front() && amplitude < binEdges.back())) {
        return noBin;
    }
    std::size_t bin = 0;
    while (amplitude >= binEdges[bin + 1]) {
        ++bin;
    }
    return bin;
}

bool isMarked(const std::vector<std::uint8_t>& mask, std::size_t pixel) {
    return !mask.empty() && mask[pixel] != 0;
}

double valueAt(const std::vector<double>* image, std::size_t pixel) {
    return image == nullptr || image->empty() ? std::numeric_limits<double>::quiet_NaN() : (*image)[pixel];
}

double squareOf(float value) {
    return static_cast<double>(value) * static_cast<double>(value);
}

// The exposure that a pixel was taken from; null if the truth tells of none.
const simulation::ExposureTruth* exposureOf(const simulation::Truth& truth, std::uint8_t confidence) {
    if (truth.frequencies.empty() || truth.frequencies[0].exposures.empty()) {
        return nullptr;
    }
    const std::vector<simulation::ExposureTruth>& exposures = truth.frequencies[0].exposures;
    return (confidence & lastExposureBit) != 0 ? &exposures.back() : &exposures.front();
}

bool tellsAmplitudes(const simulation::Truth& truth) {
    const simulation::ExposureTruth* const source = exposureOf(truth, 0);
    return source != nullptr && !source->rawAmplitude.empty();
}

}  // namespace

void Accuracy::Sums::add(const Judged& pixel) {
    ++pixels;
    errors += static_cast<double>(pixel.error);
    squares += squareOf(pixel.error);
    variances += squareOf(pixel.predicted);
}

Accuracy::Accuracy(std::vector<double> frequencies, Mask mask)
    : frequencies_(std::move(frequencies)), mask_(std::move(mask)) {
    if (!frequencies_.empty()) {
        shortestRange_ = simulation::uniqueRange(*std::max_element(frequencies_.begin(), frequencies_.end()));
    }
}

double Accuracy::errorOf(double measured, double truth) const {
    const double error = measured - truth;
    // Within half the range the remainder is the error itself.
    const bool wraps = frequencies_.size() == 1 && !(std::abs(error) < 0.5 * shortestRange_);
    return wraps ? std::remainder(error, shortestRange_) : error;
}

void Accuracy::add(const simulation::Truth& truth, std::span<const float> distance,
                   std::span<const std::uint8_t> confidence) {
    if (distance.size() != simulation::pixelCount || confidence.size() != simulation::pixelCount) {
        throw std::invalid_argument("A frame has 38528 distances and confidences.");
    }
    ++frames_;
    knowsAmplitudes_ = knowsAmplitudes_ && tellsAmplitudes(truth);
    knowsEdges_ = knowsEdges_ && !truth.edge.empty();
    offEdges_.assign(simulation::pixelCount, {});
    for (std::size_t i = 0; i < simulation::pixelCount; ++i) {
        if (!holds(mask_, i)) {
            continue;
        }
        ++pixels_;
        pixelsBeyondUniqueRange_ += frequencies_.size() == 1 && truth.distance[i] >= shortestRange_ ? 1 : 0;
        if (!isUsable(confidence[i], distance[i])) {
            continue;
        }
        ++usablePixels_;
        const simulation::ExposureTruth* const source = exposureOf(truth, confidence[i]);
        const double amplitude = valueAt(source != nullptr ? &source->rawAmplitude : nullptr, i);
        if (!(truth.distance[i] > 0.0) || isMarked(truth.badPixel, i) || amplitude < judgedAmplitude) {
            continue;
        }
        const auto measured = static_cast<double>(distance[i]);
        const double error = errorOf(measured, truth.distance[i]);
        errors_.add(error);
        wrongWraps_ += std::abs(measured - truth.distance[i]) >= 0.5 * shortestRange_ ? 1 : 0;
        if (!isMarked(truth.edge, i)) {
            errorsOffEdges_.add(error);
            const double predicted = valueAt(source != nullptr ? &source->distanceDeviation : nullptr, i);
            offEdges_[i] = {static_cast<float>(error), static_cast<float>(predicted),
                            binOf(static_cast<float>(amplitude))};
            errorsOfBins_[offEdges_[i].bin].add(offEdges_[i]);
        }
    }
    addDifferences();
}

void Accuracy::addDifferences() {
    constexpr auto width = static_cast<std::size_t>(simulation::imageWidth);
    for (std::size_t row = 0; row < offEdges_.size(); row += width) {
        for (std::size_t i = row + 1; i + 1 < row + width; ++i) {
            addDifference(offEdges_[i - 1], offEdges_[i], offEdges_[i + 1]);
        }
    }
}

void Accuracy::addDifference(const Judged& left, const Judged& pixel, const Judged& right) {
    if (pixel.bin == noBin) {
        return;
    }
    const double neighbours = 0.5 * (static_cast<double>(left.error) + static_cast<double>(right.error));
    const double difference = static_cast<double>(pixel.error) - neighbours;
    const double variance =
        squareOf(pixel.predicted) + 0.25 * (squareOf(left.predicted) + squareOf(right.predicted));
    if (!std::isnan(difference) && !std::isnan(variance)) {
        differencesOfBins_[pixel.bin].add(
            {static_cast<float>(difference), static_cast<float>(std::sqrt(variance)), pixel.bin});
    }
}

AccuracySummary Accuracy::summary() const {
    AccuracySummary summary;
    summary.frames = frames_;
    summary.pixels = pixels_;
    summary.usablePixels = usablePixels_;
    summary.judgedPixels = errors_.count();
    summary.judgedPixelsOffEdges = errorsOffEdges_.count();
    summary.pixelsBeyondUniqueRange = pixelsBeyondUniqueRange_;
    summary.bias = errors_.bias();
    summary.medianError = errors_.absoluteQuantile(0.5);
    summary.rmsError = errors_.rms();
    summary.percentile99Error = errorsOffEdges_.absoluteQuantile(0.99);
    summary.meanError = errorsOffEdges_.bias();
    summary.rmsErrorOffEdges = errorsOffEdges_.rms();
    if (shortestRange_ > 0.0 && errors_.count() > 0) {
        summary.wrongWrapShare = static_cast<double>(wrongWraps_) / static_cast<double>(errors_.count());
    }
    summary.knowsAmplitudes = knowsAmplitudes_;
    summary.knowsEdges = knowsEdges_;
    for (std::size_t k = 0; k < noBin; ++k) {
        const Sums& errors = errorsOfBins_[k];
        if (errors.pixels == 0) {
            continue;
        }
        AmplitudeBin bin;
        bin.from = binEdges[k];
        bin.to = binEdges[k + 1];
        bin.pixels = errors.pixels;
        const auto count = static_cast<double>(errors.pixels);
        bin.bias = errors.errors / count;
        bin.deviation = std::sqrt(std::max(0.0, errors.squares / count - bin.bias * bin.bias));
        const Sums& noise = differencesOfBins_[k];
        if (noise.pixels > 0) {
            const double scale = varianceOfDifference * static_cast<double>(noise.pixels);
            bin.measured = std::sqrt(noise.squares / scale);
            bin.predicted = std::sqrt(noise.variances / scale);
        }
        summary.bins.push_back(bin);
    }
    return summary;
}

}  // namespace figures
