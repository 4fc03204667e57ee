// SPDX-License-Identifier: Apache-2.0
//
// How flat a flat target is measured, and how far from its place. The points p of the usable pixels are their
// distances along their rays r, p = d * r. In each frame the plane n * p = c fits them best, n of length 1:
// the sum of the squares of n * p - c is the least, so the plane goes through the mean of the points, and n
// is the direction in which they scatter least.
//     rms = sqrt(mean((n * p - c)^2)), over the points of all frames
//     bias = mean(c / (n * r) - t), the distance of the plane along the ray less the true distance t, over
//     the
//            points with a truth, of all frames
//     in percent: rms of the mean measured distance of the points, bias of the mean true distance

#pragma once

#include <cstddef>
#include <optional>
#include <span>

#include "figures/Frame.h"

namespace figures {

// Metres and percent.
struct PlaneFigures {
    std::size_t pixels = 0;  // of all frames in which there is a plane
    std::optional<double> rms;
    std::optional<double> rmsPercent;
    std::optional<double> bias;  // above 0: the plane is seen too far away
    std::optional<double> biasPercent;
};

class PlaneFit {
 public:
    // True distances in metres, 0 where there is none; empty if unknown. A frame without rays, or whose
    // points lie in a line, has no plane.
    void add(const Frame& frame, std::span<const double> truth, const Mask& mask = {});

    PlaneFigures figures() const;

 private:
    std::size_t pixels_ = 0;
    double squares_ = 0.0;
    double distances_ = 0.0;
    std::size_t judged_ = 0;
    double errors_ = 0.0;
    double truths_ = 0.0;
};

}  // namespace figures
