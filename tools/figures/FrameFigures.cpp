// SPDX-License-Identifier: Apache-2.0

#include "figures/FrameFigures.h"

#include <span>
#include <stdexcept>
#include <utility>

#include "simulation/Image.h"

namespace figures {
namespace {

std::optional<double> millimetres(const std::optional<double>& metres) {
    return metres ? std::optional(1000.0 * *metres) : std::nullopt;
}

bool isImage(std::size_t size) {
    return size == simulation::pixelCount;
}

bool isImageOrEmpty(std::size_t size) {
    return size == 0 || isImage(size);
}

// A figure of edges or planes says nothing where there are none.
std::optional<double> countIf(bool measured, std::size_t count) {
    return measured ? std::optional(static_cast<double>(count)) : std::nullopt;
}

}  // namespace

FrameFigures::FrameFigures(std::vector<double> frequencies, Mask mask)
    : mask_(std::move(mask)), accuracy_(std::move(frequencies), mask_) {
    if (!isImageOrEmpty(mask_.size())) {
        throw std::invalid_argument("A mask has 38528 pixels.");
    }
}

void FrameFigures::add(const Frame& frame, const simulation::Truth* truth) {
    if (!isImage(frame.distance.size()) || !isImage(frame.amplitude.size()) ||
        !isImage(frame.confidence.size()) || !isImageOrEmpty(frame.noise.size()) ||
        !isImageOrEmpty(frame.rays.size() / 3) || frame.rays.size() % 3 != 0) {
        throw std::invalid_argument("Each image of a frame has 38528 pixels.");
    }
    counts_.add(frame, mask_);
    if (truth != nullptr) {
        accuracy_.add(*truth, frame.distance, frame.confidence);
    }
    plane_.add(frame, truth != nullptr ? std::span<const double>(truth->distance) : std::span<const double>(),
               mask_);
    edges_.add(frame, mask_);
    temporalNoise_.add(frame, mask_);
    noisePrediction_.add(frame, mask_);
}

std::vector<Figure> FrameFigures::figures() const {
    const bool any = counts_.pixels > 0;
    const AccuracySummary accuracy = accuracy_.summary();
    const PlaneFigures plane = plane_.figures();
    const TemporalNoiseSummary temporal = temporalNoise_.summary();
    const std::optional<NoiseRow> noise = noisePrediction_.total();
    return {
        {"frames", Unit::Count, static_cast<double>(counts_.frames)},
        {"pixels", Unit::Count, static_cast<double>(counts_.pixels)},
        {"valid_share", Unit::Share, counts_.validShare()},
        {"usable_share", Unit::Share, counts_.shareOf(counts_.usable)},
        {"saturated_share", Unit::Share, counts_.shareOf(counts_.saturated)},
        {"dark_share", Unit::Share, counts_.shareOf(counts_.dark)},
        {"asymmetric_share", Unit::Share, counts_.shareOf(counts_.asymmetric)},
        {"unassigned_share", Unit::Share, counts_.shareOf(counts_.unassigned)},
        {"judged_pixels", Unit::Count, countIf(accuracy.frames > 0, accuracy.judgedPixels)},
        {"bias_mm", Unit::Millimetres, millimetres(accuracy.bias)},
        {"median_error_mm", Unit::Millimetres, millimetres(accuracy.medianError)},
        {"rms_mm", Unit::Millimetres, millimetres(accuracy.rmsError)},
        {"off_edges_bias_mm", Unit::Millimetres, millimetres(accuracy.meanError)},
        {"off_edges_rms_mm", Unit::Millimetres, millimetres(accuracy.rmsErrorOffEdges)},
        {"off_edges_p99_error_mm", Unit::Millimetres, millimetres(accuracy.percentile99Error)},
        {"wrong_wrap_share", Unit::Share, accuracy.wrongWrapShare},
        {"plane_pixels", Unit::Count, countIf(plane.rms.has_value(), plane.pixels)},
        {"plane_rms_mm", Unit::Millimetres, millimetres(plane.rms)},
        {"plane_rms_percent", Unit::Percent, plane.rmsPercent},
        {"plane_bias_mm", Unit::Millimetres, millimetres(plane.bias)},
        {"plane_bias_percent", Unit::Percent, plane.biasPercent},
        {"flying_pixels", Unit::Count, countIf(any, edges_.flyingPixels())},
        {"flying_share", Unit::Share, edges_.flyingShare()},
        {"edges", Unit::Count, countIf(any, edges_.edges())},
        {"edge_width_pixels", Unit::Pixels, edges_.medianWidth()},
        {"temporal_noise_mm", Unit::Millimetres, millimetres(temporal.measured)},
        {"predicted_noise_mm", Unit::Millimetres, millimetres(temporal.delivered)},
        {"noise_ratio", Unit::Ratio, temporal.medianRatio},
        {"within_one_sigma", Unit::Share, noise ? std::optional(noise->withinOneSigma) : std::nullopt},
        {"within_two_sigma", Unit::Share, noise ? std::optional(noise->withinTwoSigma) : std::nullopt},
    };
}

}  // namespace figures
