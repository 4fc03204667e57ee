// SPDX-License-Identifier: Apache-2.0
//
// How many pixels of the frames are what they ought to be. A share is a count over the count of all pixels
// that the mask holds, of all frames.

#pragma once

#include <cstddef>
#include <optional>

#include "figures/Frame.h"

namespace figures {

struct PixelCounts {
    std::size_t frames = 0;
    std::size_t pixels = 0;
    std::size_t valid = 0;   // by their confidence
    std::size_t usable = 0;  // valid, with a finite distance above 0
    // By the bits of their confidence, valid or not.
    std::size_t saturated = 0;
    std::size_t dark = 0;  // too low an amplitude, or too much noise
    std::size_t asymmetric = 0;
    std::size_t unassigned = 0;
    // Valid pixels in which one of these is infinite or NaN.
    std::size_t distancesNotFinite = 0;
    std::size_t amplitudesNotFinite = 0;
    std::size_t noisesNotFinite = 0;

    void add(const Frame& frame, const Mask& mask = {});

    std::size_t unusable() const { return valid - usable; }  // of the valid ones
    std::size_t notFinite() const { return distancesNotFinite + amplitudesNotFinite + noisesNotFinite; }
    std::optional<double> validShare() const { return shareOf(valid); }
    std::optional<double> shareOf(std::size_t count) const;  // of no pixel there is none
};

}  // namespace figures
