// SPDX-License-Identifier: Apache-2.0
//
// Known distances tell what raw phases alone cannot: which way the phase turns, which image is the first, and
// the phase at distance 0. The measured phase less the one that the distance makes is the same for all pixels
// if all of that is right; how much alike they are is the coherence, 1 for all the same and near 0 for none.

#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "importing/PhaseOrder.h"

namespace importing {

// The four images of one frequency, in the order of the stack, counts, 38528 pixels each.
struct PhaseImages {
    double frequency = 0.0;  // Hz
    std::array<std::vector<double>, phaseCount> images;
};

struct Reference {
    std::vector<float> distance;  // metres; not above 0 where there is none
};

// How the phases agree with the distances, one way round.
struct Agreement {
    double coherence = 0.0;
    double offset = 0.0;    // phase at distance 0, radians from -pi to pi
    double residual = 0.0;  // what is left, as a standard deviation (from the median), metres
};

struct FrequencyFit {
    Agreement right;
    Agreement wrong;                        // with the other sense of rotation
    std::optional<double> betterFrequency;  // Hz; where the distances agree much better
};

struct ReferenceFit {
    PhaseOrder order;
    bool isReversed = false;  // the phase falls with the distance, in that order
    std::size_t pixels = 0;   // that have a distance and enough signal
    std::vector<FrequencyFit> frequencies;

    // Agrees, and much better than the other way round.
    bool standsOut() const;
    // All offsets are nearer to half a turn than to none.
    bool isHalfATurnOff() const;
};

// With an order, finds the sense of rotation and the offsets; without one, the order too, so that the offsets
// are as small as they can be. Throws ImportError if fewer than 100 pixels can be compared.
ReferenceFit fitReference(const std::vector<PhaseImages>& frequencies, const Reference& reference,
                          const std::optional<PhaseOrder>& order);

}  // namespace importing
