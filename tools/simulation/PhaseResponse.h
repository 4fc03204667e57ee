// SPDX-License-Identifier: Apache-2.0
//
// The correlation function of a pixel is no pure sine, so the phase and the amplitude that it shows wiggle
// around the true ones as the distance grows. The calibration leads from the shown phase to the true one; the
// simulation needs the opposite direction and solves for it.

#pragma once

#include <array>

#include "simulation/Elementary.h"

namespace simulation {

class PhaseResponse {
 public:
    PhaseResponse(const std::array<float, 7>& phaseWigg, const std::array<float, 5>& ampWigg);

    // The true phase, radians, that belongs to a shown phase; not reduced to one period.
    double truePhase(double shownPhase) const;

    // Change of the true phase with the shown one: the factor by which noise of the shown phase counts.
    double slope(double shownPhase) const;

    // The shown phase whose true phase is the given one, to 1e-13. By Newton, inside a shrinking bracket.
    double shownPhase(double truePhase) const;

    // The factor that turns the length of the phasor (X, Y) at this shown phase into an amplitude.
    double amplitudeFactor(double shownPhase) const;

 private:
    struct Harmonic {
        double amplitude = 0.0;
        double sineOfAngle = 0.0;
        double cosineOfAngle = 1.0;
    };
    static Harmonic harmonic(float amplitude, float angle);

    // amplitude sin(x + angle) and amplitude cos(x + angle)
    static double sineOf(const SineCosine& x, const Harmonic& harmonic);
    static double cosineOf(const SineCosine& x, const Harmonic& harmonic);

    struct Value {
        double phase = 0.0;
        double slope = 1.0;
    };
    Value evaluate(double shownPhase) const;

    double offset_;
    Harmonic fourth_;
    Harmonic second_;
    Harmonic eighth_;
    double meanFactor_;
    Harmonic factorFourth_;
    Harmonic factorSecond_;
};

}  // namespace simulation
