// SPDX-License-Identifier: Apache-2.0
//
// Masks of parts of the image. A pixel is in a shape if its centre is: that of pixel (x, y) lies at
// (x + 0.5, y + 0.5), x to the right and y down from the top left corner.

#pragma once

#include <span>

#include "figures/Frame.h"

namespace figures {

struct Point {
    double x = 0.0;
    double y = 0.0;
};

// From (x, y) on, so wide and so high.
Mask rectangle(double x, double y, double width, double height);

// Inside is what a line from outside reaches by crossing the outline an odd number of times.
Mask polygon(std::span<const Point> corners);

}  // namespace figures
