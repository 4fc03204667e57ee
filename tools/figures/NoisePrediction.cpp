// SPDX-License-Identifier: Apache-2.0

#include "figures/NoisePrediction.h"

#include <cmath>

#include "figures/Confidence.h"

namespace figures {
namespace {

double squareOf(float value) {
    return static_cast<double>(value) * static_cast<double>(value);
}

}  // namespace

void NoisePrediction::Sums::add(double difference, double variance) {
    const double square = difference * difference;
    ++pairs;
    squares += square;
    variances += variance;
    withinOne += square <= variance ? 1 : 0;
    withinTwo += square <= 4.0 * variance ? 1 : 0;
}

NoiseRow NoisePrediction::Sums::row() const {
    const auto count = static_cast<double>(pairs);
    NoiseRow row;
    row.pairs = pairs;
    row.measured = std::sqrt(squares / (2.0 * count));
    row.predicted = std::sqrt(variances / (2.0 * count));
    row.withinOneSigma = static_cast<double>(withinOne) / count;
    row.withinTwoSigma = static_cast<double>(withinTwo) / count;
    return row;
}

void NoisePrediction::add(const Frame& frame, const Mask& mask) {
    before_.resize(frame.distance.size());
    for (std::size_t i = 0; i < before_.size(); ++i) {
        const Before before = before_[i];
        const float noise = frame.noise.empty() ? 0.0F : frame.noise[i];
        const bool counts = holds(mask, i) && isUsable(frame.confidence[i], frame.distance[i]) &&
                            std::isfinite(noise) && noise > 0.0F;
        before_[i] = counts ? Before{frame.distance[i], frame.amplitude[i], noise} : Before{};
        if (!counts || before.noise == 0.0F) {
            continue;
        }
        const double difference =
            static_cast<double>(frame.distance[i]) - static_cast<double>(before.distance);
        const double variance = squareOf(noise) + squareOf(before.noise);
        total_.add(difference, variance);
        const double amplitude =
            0.5 * (static_cast<double>(frame.amplitude[i]) + static_cast<double>(before.amplitude));
        if (std::isfinite(amplitude) && amplitude > 0.0) {
            octaves_[std::ilogb(amplitude)].add(difference, variance);
        }
    }
}

std::optional<NoiseRow> NoisePrediction::total() const {
    return total_.pairs == 0 ? std::nullopt : std::optional(total_.row());
}

std::vector<NoiseRow> NoisePrediction::rows() const {
    std::vector<NoiseRow> rows;
    for (const auto& [exponent, sums] : octaves_) {
        NoiseRow row = sums.row();
        row.from = std::ldexp(1.0, exponent);
        row.to = std::ldexp(1.0, exponent + 1);
        rows.push_back(row);
    }
    return rows;
}

}  // namespace figures
