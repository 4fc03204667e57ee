// SPDX-License-Identifier: Apache-2.0
//
// How many pixels of the frames are what they ought to be.

#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "qor/ResultFrame.h"

namespace qor {

struct PixelCounts {
    std::size_t frames = 0;
    std::size_t pixels = 0;
    std::size_t valid = 0;   // by their confidence
    std::size_t usable = 0;  // valid, with a finite distance above 0
    // Valid pixels in which one of these is infinite or NaN.
    std::size_t distancesNotFinite = 0;
    std::size_t amplitudesNotFinite = 0;
    std::size_t noisesNotFinite = 0;

    void add(const ResultFrame& frame);

    std::size_t unusable() const { return valid - usable; }  // of the valid ones
    std::size_t notFinite() const { return distancesNotFinite + amplitudesNotFinite + noisesNotFinite; }
    std::optional<double> validShare() const;  // of no pixel there is none
};

// "of the valid pixels 3 distances and 1 amplitude are infinite or NaN"; empty if all are numbers.
std::string notFiniteText(const PixelCounts& counts);

}  // namespace qor
