// SPDX-License-Identifier: Apache-2.0
//
// Steps in depth, as they are measured: how wide, and how many pixels fly between foreground and background.
//
// An edge runs along a row or a column from pixel a to pixel b, at most five pixels further, with distances
// v:
//     step S = v[b] - v[a], |S| >= 0.1 m
//     it is level before and after: |v[a] - v[a - 1]| <= 0.1 |S| and |v[b + 1] - v[b]| <= 0.1 |S|
//     it goes one way: no v from a to b turns back
//     all pixels from a - 1 to b + 1 are usable and held by the mask
// Of several ends for one start the nearest counts, and the next edge starts at or after it. A slope is no
// edge, however steep: it is not level before and after.
//     width = way in pixels from 10 to 90 percent of S, between the centres of pixels linearly interpolated
//     flying pixel = pixel between a and b that lies more than 10 percent of |S| from both v[a] and v[b]

#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "figures/Frame.h"

namespace figures {

class DepthEdges {
 public:
    // A frame of 224 x 172 pixels.
    void add(const Frame& frame, const Mask& mask = {});

    std::size_t edges() const { return widths_.size(); }
    std::size_t flyingPixels() const { return flying_; }  // one in a row and a column counts once
    std::optional<double> flyingShare() const;            // of the usable pixels
    std::optional<double> medianWidth() const;            // pixels

 private:
    std::vector<double> widths_;
    std::size_t usable_ = 0;
    std::size_t flying_ = 0;
};

}  // namespace figures
