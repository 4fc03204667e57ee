// SPDX-License-Identifier: Apache-2.0
//
// Diagrams as SVG.

#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace imaging {

struct PlotPoint {
    double x = 0.0;
    double y = 0.0;
    double low = 0.0;  // end of the bar or the band
    double high = 0.0;
};

struct PlotSeries {
    std::string name;
    std::string color;
    std::vector<PlotPoint> points;
    bool hasBars = false;  // from low to high
    bool isLine = true;    // else dots
};

struct Plot {
    std::string title;
    std::string xLabel;
    std::string yLabel;
    std::vector<PlotSeries> series;
    // Points that are not above 0 are left out there.
    bool isLogarithmicX = false;
    bool isLogarithmicY = false;
};

std::string svgOf(const Plot& plot);

// An image of 224 x 172 numbers, averaged over squares of four pixels, in colours from -limit to limit.
std::string svgOfImage(const std::string& title, std::span<const float> values, double limit,
                       const std::string& unit);

}  // namespace imaging
