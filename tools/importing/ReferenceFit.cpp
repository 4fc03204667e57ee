// SPDX-License-Identifier: Apache-2.0

#include "importing/ReferenceFit.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "importing/ImportError.h"
#include "importing/Samples.h"
#include "simulation/Calibration.h"

namespace importing {
namespace {

using std::numbers::pi;
using Phasors = std::vector<std::complex<double>>;

constexpr std::size_t fewestPixels = 100;
constexpr double leastAmplitude = 20.0;  // counts; below that, noise turns the phase

// One frequency, ready to be compared: unit phasors, and distances of the same pixels.
struct Compared {
    double frequency = 0.0;
    Phasors phasors;
    std::vector<double> distances;
};

// The images a, b, c, d of 0 to 270 degrees as a - c and b - d.
Compared comparedOf(const PhaseImages& source, const PhaseOrder& order, const Reference& reference) {
    Compared compared{source.frequency, {}, {}};
    const auto image = [&](std::size_t phase) -> const std::vector<double>& {
        return source.images[order.places[phase]];
    };
    for (std::size_t i = 0; i < reference.distance.size(); ++i) {
        const auto distance = static_cast<double>(reference.distance[i]);
        const std::complex<double> phasor(image(0)[i] - image(2)[i], image(1)[i] - image(3)[i]);
        bool isWithin = distance > 0.0 && std::isfinite(distance) && std::abs(phasor) >= leastAmplitude;
        for (const std::vector<double>& samples : source.images) {
            isWithin = isWithin && samples[i] > 0.0 && samples[i] < largestSample;
        }
        if (isWithin) {
            compared.phasors.push_back(phasor / std::abs(phasor));
            compared.distances.push_back(distance);
        }
    }
    return compared;
}

double phasePerMetre(double frequency) {
    return 2.0 * pi / simulation::uniqueRange(frequency);
}

// Each measured phasor turned back by the phase that its distance makes; every `step`th pixel.
Phasors differences(const Compared& compared, bool isReversed, double frequency, std::size_t step) {
    Phasors turned;
    for (std::size_t i = 0; i < compared.phasors.size(); i += step) {
        const std::complex<double> measured =
            isReversed ? std::conj(compared.phasors[i]) : compared.phasors[i];
        turned.push_back(measured * std::polar(1.0, -phasePerMetre(frequency) * compared.distances[i]));
    }
    return turned;
}

std::complex<double> mean(const Phasors& phasors) {
    std::complex<double> sum = 0.0;
    for (const std::complex<double>& phasor : phasors) {
        sum += phasor;
    }
    return phasors.empty() ? sum : sum / static_cast<double>(phasors.size());
}

double deviationOf(const Phasors& turned, double offset) {
    std::vector<double> angles;
    angles.reserve(turned.size());
    for (const std::complex<double>& phasor : turned) {
        angles.push_back(std::abs(std::arg(phasor * std::polar(1.0, -offset))));
    }
    const auto middle = angles.begin() + static_cast<std::ptrdiff_t>(angles.size() / 2);
    std::nth_element(angles.begin(), middle, angles.end());
    constexpr double deviationPerMedian = 1.4826;  // of a normal distribution
    return deviationPerMedian * *middle;
}

Agreement agreementOf(const Compared& compared, bool isReversed) {
    const Phasors turned = differences(compared, isReversed, compared.frequency, 1);
    const std::complex<double> average = mean(turned);
    Agreement agreement;
    agreement.coherence = std::abs(average);
    agreement.offset = std::arg(average);
    agreement.residual = deviationOf(turned, agreement.offset) / phasePerMetre(compared.frequency);
    return agreement;
}

// A quarter to four times the frequency: one that agrees much better, if there is one.
std::optional<double> betterFrequency(const Compared& compared, bool isReversed, double coherence) {
    const std::size_t step = compared.phasors.size() / 4000 + 1;
    double best = coherence;
    std::optional<double> found;
    for (double factor = 0.25; factor <= 4.0; factor += 0.01) {
        const double trial =
            std::abs(mean(differences(compared, isReversed, factor * compared.frequency, step)));
        if (std::abs(factor - 1.0) > 0.03 && 1.0 - trial < 0.5 * (1.0 - coherence) && trial > best) {
            best = trial;
            found = factor * compared.frequency;
        }
    }
    return found;
}

// The same images, with what was the image of 90 degrees as that of 0: all phases fall by a quarter of a
// turn.
PhaseOrder startedLater(const PhaseOrder& order) {
    return {{order.places[1], order.places[2], order.places[3], order.places[0]}};
}

// The same images, turning the other way round.
PhaseOrder reversed(const PhaseOrder& order) {
    return {{order.places[0], order.places[3], order.places[2], order.places[1]}};
}

ReferenceFit fitInOrder(const std::vector<PhaseImages>& frequencies, const Reference& reference,
                        const PhaseOrder& order) {
    std::vector<Compared> compared;
    ReferenceFit fit;
    fit.order = order;
    double forward = 0.0;
    double backward = 0.0;
    for (const PhaseImages& frequency : frequencies) {
        compared.push_back(comparedOf(frequency, order, reference));
        const std::size_t pixels = compared.back().phasors.size();
        if (pixels < fewestPixels) {
            throw ImportError("Only " + std::to_string(pixels) +
                              " pixels have a reference distance, an amplitude of at least 20 counts and no "
                              "saturated sample; a fit needs 100.");
        }
        fit.pixels = compared.size() == 1 ? pixels : std::min(fit.pixels, pixels);
        forward += agreementOf(compared.back(), false).coherence;
        backward += agreementOf(compared.back(), true).coherence;
    }
    fit.isReversed = backward > forward;
    for (const Compared& frequency : compared) {
        fit.frequencies.push_back(
            {agreementOf(frequency, fit.isReversed), agreementOf(frequency, !fit.isReversed), std::nullopt});
        FrequencyFit& last = fit.frequencies.back();
        last.betterFrequency = betterFrequency(frequency, fit.isReversed, last.right.coherence);
    }
    return fit;
}

double totalCoherence(const ReferenceFit& fit) {
    double sum = 0.0;
    for (const FrequencyFit& frequency : fit.frequencies) {
        sum += frequency.right.coherence;
    }
    return sum;
}

double largestOffset(const ReferenceFit& fit) {
    double largest = 0.0;
    for (const FrequencyFit& frequency : fit.frequencies) {
        largest = std::max(largest, std::abs(frequency.right.offset));
    }
    return largest;
}

ReferenceFit bestStart(const std::vector<PhaseImages>& frequencies, const Reference& reference,
                       const ReferenceFit& fit) {
    PhaseOrder order = fit.isReversed ? reversed(fit.order) : fit.order;
    ReferenceFit best = fitInOrder(frequencies, reference, order);
    for (std::size_t turn = 1; turn < phaseCount; ++turn) {
        order = startedLater(order);
        ReferenceFit trial = fitInOrder(frequencies, reference, order);
        if (largestOffset(trial) < largestOffset(best)) {
            best = std::move(trial);
        }
    }
    return best;
}

}  // namespace

bool ReferenceFit::standsOut() const {
    return std::all_of(frequencies.begin(), frequencies.end(), [](const FrequencyFit& fit) {
        return fit.right.coherence >= 0.7 && 1.0 - fit.wrong.coherence >= 3.0 * (1.0 - fit.right.coherence) &&
               fit.wrong.coherence < 0.98;
    });
}

bool ReferenceFit::isHalfATurnOff() const {
    return std::all_of(frequencies.begin(), frequencies.end(),
                       [](const FrequencyFit& fit) { return std::abs(fit.right.offset) > 0.75 * pi; });
}

ReferenceFit fitReference(const std::vector<PhaseImages>& frequencies, const Reference& reference,
                          const std::optional<PhaseOrder>& order) {
    if (order) {
        return fitInOrder(frequencies, reference, *order);
    }
    std::optional<ReferenceFit> best;
    for (std::size_t opposite = 1; opposite < phaseCount; ++opposite) {
        ReferenceFit fit = fitInOrder(frequencies, reference, orderWithOpposite(opposite));
        if (!best || totalCoherence(fit) > totalCoherence(*best)) {
            best = std::move(fit);
        }
    }
    return bestStart(frequencies, reference, *best);
}

}  // namespace importing
