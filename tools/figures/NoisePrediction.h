// SPDX-License-Identifier: Apache-2.0
//
// Whether the noise that the frames state is the noise that they have. Two successive frames of a still scene
// make a pair for each pixel that is usable in both and whose predicted deviations n are numbers above 0. The
// difference D of its distances has the variance n1^2 + n2^2 if the prediction is right, whatever the
// distance is:
//     measured = sqrt(mean(D^2) / 2),  predicted = sqrt(mean(n1^2 + n2^2) / 2),  ratio = measured / predicted
//     within k sigma: the share of the pairs with |D| <= k * sqrt(n1^2 + n2^2); of Gaussian noise 0.683 and
//     0.954 for k = 1 and 2
// by the amplitude of the pixel, the mean of the two, in octaves: from a power of two to the next.

#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <vector>

#include "figures/Frame.h"

namespace figures {

struct NoiseRow {
    double from = 0.0;  // amplitude, counts per microsecond
    double to = 0.0;
    std::size_t pairs = 0;
    double measured = 0.0;   // metres
    double predicted = 0.0;  // metres
    double withinOneSigma = 0.0;
    double withinTwoSigma = 0.0;

    double ratio() const { return measured / predicted; }
};

class NoisePrediction {
 public:
    void add(const Frame& frame, const Mask& mask = {});

    // Of all pairs, of any amplitude; none if there is no pair.
    std::optional<NoiseRow> total() const;

    // By amplitude, weak first; without pixels whose amplitude is no number above 0.
    std::vector<NoiseRow> rows() const;

 private:
    struct Sums {
        std::size_t pairs = 0;
        double squares = 0.0;
        double variances = 0.0;
        std::size_t withinOne = 0;
        std::size_t withinTwo = 0;

        void add(double difference, double variance);
        NoiseRow row() const;
    };
    // What the frame before says of a pixel; a noise of 0 where it says nothing.
    struct Before {
        float distance = 0.0F;
        float amplitude = 0.0F;
        float noise = 0.0F;
    };

    std::vector<Before> before_;
    Sums total_;
    std::map<int, Sums> octaves_;  // by the exponent of two of their lower end
};

}  // namespace figures
