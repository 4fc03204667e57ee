// SPDX-License-Identifier: Apache-2.0

#include "simulation/PhaseResponse.h"

#include <cmath>

namespace simulation {
namespace {

SineCosine doubled(const SineCosine& angle) {
    return {2.0 * angle.sine * angle.cosine, 1.0 - 2.0 * angle.sine * angle.sine};
}

}  // namespace

PhaseResponse::PhaseResponse(const std::array<float, 7>& phaseWigg, const std::array<float, 5>& ampWigg)
    : offset_(static_cast<double>(phaseWigg[0])),
      fourth_(harmonic(phaseWigg[1], phaseWigg[2])),
      second_(harmonic(phaseWigg[3], phaseWigg[4])),
      eighth_(harmonic(phaseWigg[5], phaseWigg[6])),
      meanFactor_(static_cast<double>(ampWigg[0])),
      factorFourth_(harmonic(ampWigg[1], ampWigg[2])),
      factorSecond_(harmonic(ampWigg[3], ampWigg[4])) {}

PhaseResponse::Harmonic PhaseResponse::harmonic(float amplitude, float angle) {
    const SineCosine direction = sineAndCosine(static_cast<double>(angle));
    return {static_cast<double>(amplitude), direction.sine, direction.cosine};
}

double PhaseResponse::sineOf(const SineCosine& x, const Harmonic& harmonic) {
    return harmonic.amplitude * (x.sine * harmonic.cosineOfAngle + x.cosine * harmonic.sineOfAngle);
}

double PhaseResponse::cosineOf(const SineCosine& x, const Harmonic& harmonic) {
    return harmonic.amplitude * (x.cosine * harmonic.cosineOfAngle - x.sine * harmonic.sineOfAngle);
}

PhaseResponse::Value PhaseResponse::evaluate(double shownPhase) const {
    const SineCosine twice = sineAndCosine(2.0 * shownPhase);
    const SineCosine fourTimes = doubled(twice);
    const SineCosine eightTimes = doubled(fourTimes);
    return {(shownPhase - offset_) -
                (sineOf(fourTimes, fourth_) + sineOf(twice, second_) + sineOf(eightTimes, eighth_)),
            1.0 - (4.0 * cosineOf(fourTimes, fourth_) + 2.0 * cosineOf(twice, second_) +
                   8.0 * cosineOf(eightTimes, eighth_))};
}

double PhaseResponse::truePhase(double shownPhase) const {
    return evaluate(shownPhase).phase;
}

double PhaseResponse::slope(double shownPhase) const {
    return evaluate(shownPhase).slope;
}

double PhaseResponse::shownPhase(double truePhase) const {
    // The harmonics move the phase by no more than the sum of their amplitudes.
    const double reach =
        std::abs(fourth_.amplitude) + std::abs(second_.amplitude) + std::abs(eighth_.amplitude) + 1e-12;
    double low = truePhase + offset_ - reach;
    double high = truePhase + offset_ + reach;
    double phase = truePhase + offset_;
    for (int step = 0; step < 100; ++step) {
        const Value value = evaluate(phase);
        const double error = value.phase - truePhase;
        if (std::abs(error) < 1e-14) {
            break;
        }
        (error > 0.0 ? high : low) = phase;
        const double newton = phase - error / value.slope;
        const double next = newton > low && newton < high ? newton : 0.5 * (low + high);
        if (next == phase) {
            break;
        }
        phase = next;
    }
    return phase;
}

double PhaseResponse::amplitudeFactor(double shownPhase) const {
    const SineCosine twice = sineAndCosine(2.0 * shownPhase);
    return sineOf(doubled(twice), factorFourth_) + sineOf(twice, factorSecond_) + meanFactor_;
}

}  // namespace simulation
