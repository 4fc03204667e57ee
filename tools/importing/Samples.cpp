// SPDX-License-Identifier: Apache-2.0

#include "importing/Samples.h"

#include <algorithm>
#include <cmath>

namespace importing {

SampleConverter::SampleConverter(const SampleFormat& format, bool isStoredSigned)
    : extendsSign_(format.isSigned && !isStoredSigned),
      span_(std::ldexp(1.0, static_cast<int>(format.bits))) {
    mid_ = format.mid.value_or(format.isSigned ? 0.0 : span_ / 2.0);
    scale_ = format.scale.value_or(std::min(1.0, 2.0 * midScale / span_));
}

double SampleConverter::signExtended(double sample) const {
    return extendsSign_ && sample >= span_ / 2.0 && sample < span_ ? sample - span_ : sample;
}

std::vector<double> SampleConverter::counts(std::span<const double> samples) const {
    std::vector<double> counts;
    counts.reserve(samples.size());
    for (const double sample : samples) {
        counts.push_back((signExtended(sample) - mid_) * scale_ + midScale);
    }
    return counts;
}

std::vector<std::uint16_t> wholeSamples(std::span<const double> counts, RoundingReport& report) {
    std::vector<std::uint16_t> samples;
    samples.reserve(counts.size());
    for (const double count : counts) {
        ++report.samples;
        const double rounded = std::floor(count + 0.5);
        if (!std::isfinite(count)) {
            ++report.notFinite;
        } else if (rounded < 0.0) {
            ++report.below;
        } else if (rounded > largestSample) {
            ++report.above;
        } else {
            report.largestRounding = std::max(report.largestRounding, std::abs(rounded - count));
        }
        const bool isNumber = !std::isnan(count);
        samples.push_back(isNumber ? static_cast<std::uint16_t>(std::clamp(rounded, 0.0, largestSample)) : 0);
    }
    return samples;
}

std::optional<unsigned int> twosComplementBits(std::span<const double> samples) {
    if (samples.empty()) {
        return std::nullopt;
    }
    const auto [least, most] = std::minmax_element(samples.begin(), samples.end());
    if (!(*least >= 0.0)) {
        return std::nullopt;
    }
    for (const unsigned int bits : {8U, 10U, 12U, 14U, 16U}) {
        const double span = std::ldexp(1.0, static_cast<int>(bits));
        if (*most >= span) {
            continue;
        }
        const auto in = [&](double from, double to) {
            return std::count_if(samples.begin(), samples.end(),
                                 [&](double sample) { return sample >= from * span && sample < to * span; });
        };
        const auto total = static_cast<double>(samples.size());
        const bool middleIsEmpty = static_cast<double>(in(0.25, 0.75)) < 0.005 * total;
        const bool endsAreFull = static_cast<double>(in(0.0, 0.25)) > 0.05 * total &&
                                 static_cast<double>(in(0.75, 1.0)) > 0.05 * total;
        return middleIsEmpty && endsAreFull ? std::optional(bits) : std::nullopt;
    }
    return std::nullopt;
}

}  // namespace importing
