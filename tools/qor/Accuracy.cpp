// SPDX-License-Identifier: Apache-2.0

#include "qor/Accuracy.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

#include "qor/Quantile.h"
#include "qor/ResultFrame.h"
#include "simulation/Calibration.h"
#include "simulation/Image.h"

namespace qor {
namespace {

constexpr std::array<double, 8> binEdges{300.0, 450.0, 650.0, 900.0, 1300.0, 1900.0, 2700.0, 4100.0};

}  // namespace

Accuracy::Accuracy(std::vector<double> frequencies) : frequencies_(std::move(frequencies)) {}

double Accuracy::errorOf(double measured, double truth) const {
    const double error = measured - truth;
    return frequencies_.size() == 1 ? std::remainder(error, simulation::uniqueRange(frequencies_[0])) : error;
}

void Accuracy::add(const simulation::Truth& truth, std::span<const float> distance,
                   std::span<const std::uint8_t> confidence) {
    if (distance.size() != simulation::pixelCount || confidence.size() != simulation::pixelCount) {
        throw std::invalid_argument("A frame has 38528 distances and confidences.");
    }
    ++frames_;
    pixels_ += simulation::pixelCount;
    const simulation::FrequencyTruth& frequency = truth.frequencies.at(0);
    for (std::size_t i = 0; i < simulation::pixelCount; ++i) {
        pixelsBeyondUniqueRange_ += frequencies_.size() == 1 && frequency.wraps[i] > 0 ? 1 : 0;
        if (!isUsable(confidence[i], distance[i])) {
            continue;
        }
        ++usablePixels_;
        const std::size_t exposure =
            (confidence[i] & lastExposureBit) != 0 ? frequency.exposures.size() - 1 : 0;
        const simulation::ExposureTruth& source = frequency.exposures[exposure];
        if (truth.badPixel[i] != 0 || source.rawAmplitude[i] < judgedAmplitude) {
            continue;
        }
        const auto error = static_cast<float>(errorOf(static_cast<double>(distance[i]), truth.distance[i]));
        absoluteErrors_.push_back(std::abs(error));
        if (truth.edge[i] == 0) {
            offEdges_.push_back({error, static_cast<float>(source.rawAmplitude[i]),
                                 static_cast<float>(source.distanceDeviation[i])});
        }
    }
}

AccuracySummary Accuracy::summary() const {
    AccuracySummary summary;
    summary.frames = frames_;
    summary.pixels = pixels_;
    summary.usablePixels = usablePixels_;
    summary.judgedPixels = absoluteErrors_.size();
    summary.judgedPixelsOffEdges = offEdges_.size();
    summary.pixelsBeyondUniqueRange = pixelsBeyondUniqueRange_;
    summary.medianError = quantile(absoluteErrors_, 0.5);
    std::vector<float> offEdges;
    double sum = 0.0;
    for (const Judged& pixel : offEdges_) {
        offEdges.push_back(std::abs(pixel.error));
        sum += static_cast<double>(pixel.error);
    }
    summary.percentile99Error = quantile(offEdges, 0.99);
    if (!offEdges.empty()) {
        summary.meanError = sum / static_cast<double>(offEdges.size());
    }

    for (std::size_t k = 0; k + 1 < binEdges.size(); ++k) {
        AmplitudeBin bin{binEdges[k], binEdges[k + 1], 0, 0.0, 0.0, 0.0};
        double errors = 0.0;
        double squares = 0.0;
        double variances = 0.0;
        for (const Judged& pixel : offEdges_) {
            const auto amplitude = static_cast<double>(pixel.rawAmplitude);
            if (amplitude >= bin.from && amplitude < bin.to) {
                const auto error = static_cast<double>(pixel.error);
                const auto predicted = static_cast<double>(pixel.predicted);
                ++bin.pixels;
                errors += error;
                squares += error * error;
                variances += predicted * predicted;
            }
        }
        if (bin.pixels > 0) {
            const auto count = static_cast<double>(bin.pixels);
            bin.bias = errors / count;
            bin.measured = std::sqrt(std::max(0.0, squares / count - bin.bias * bin.bias));
            bin.predicted = std::sqrt(variances / count);
            summary.bins.push_back(bin);
        }
    }
    return summary;
}

}  // namespace qor
