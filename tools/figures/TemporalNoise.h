// SPDX-License-Identifier: Apache-2.0
//
// How much the distances of a still scene vary from frame to frame, compared with the noise that the frames
// state. It needs no truth, so it works for recordings of real cameras too.
//     deviation of a pixel = sqrt(sum((d - mean(d))^2) / (frames - 1)), over its distances d
//     delivered noise of a pixel = sqrt(mean(n^2)), over its predicted standard deviations n
//     measured = median of the deviations; ratio = median of deviation / delivered noise

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "figures/Frame.h"

namespace figures {

// Over the pixels that are usable in every frame.
struct TemporalNoiseSummary {
    std::size_t frames = 0;
    std::size_t pixels = 0;
    std::optional<double> measured;  // median of the pixels' standard deviations, metres
    // Of the pixels' measured deviation over the root of their mean delivered variance. None if no noise was
    // delivered, or if the ratio is no number.
    std::optional<double> medianRatio;
    std::optional<double> lowRatio;   // 5 percent lie below
    std::optional<double> highRatio;  // 5 percent lie above
    std::optional<double> delivered;  // median of the pixels' delivered noise, metres
};

class TemporalNoise {
 public:
    void add(const Frame& frame, const Mask& mask = {});

    // Fewer than two frames say nothing: there are no values except the number of frames.
    TemporalNoiseSummary summary() const;

 private:
    // Of each pixel.
    std::vector<std::int32_t> usable_;  // frames
    std::vector<double> mean_;          // running
    std::vector<double> squares_;       // sum of the squared deviations
    std::vector<double> variances_;     // sum of the delivered ones
    std::size_t frames_ = 0;
    std::size_t framesWithNoise_ = 0;
};

}  // namespace figures
