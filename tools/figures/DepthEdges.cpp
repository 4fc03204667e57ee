// SPDX-License-Identifier: Apache-2.0

#include "figures/DepthEdges.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

#include "figures/Confidence.h"
#include "figures/Quantile.h"
#include "simulation/Image.h"

namespace figures {
namespace {

constexpr double leastStep = 0.1;  // metres
constexpr double level = 0.1;      // of the step
constexpr std::size_t furthest = 5;

// Along a row or a column; NaN where a pixel does not count.
using Line = std::vector<double>;

// Whether the distances of a line go from a to b as an edge does. A NaN meets no condition.
bool isEdge(const Line& v, std::size_t a, std::size_t b) {
    const double step = v[b] - v[a];
    if (!(std::abs(step) >= leastStep) || !(std::abs(v[a] - v[a - 1]) <= level * std::abs(step)) ||
        !(std::abs(v[b + 1] - v[b]) <= level * std::abs(step))) {
        return false;
    }
    for (std::size_t k = a; k < b; ++k) {
        if (!((v[k + 1] - v[k]) * step >= 0.0)) {
            return false;
        }
    }
    return true;
}

// The first place from a on, in pixels, where the edge reaches this share of its step.
double placeOf(const Line& v, std::size_t a, std::size_t b, double share) {
    const double step = v[b] - v[a];
    const auto done = [&](std::size_t k) { return (v[k] - v[a]) / step; };
    std::size_t k = a;
    while (done(k + 1) < share) {
        ++k;
    }
    return static_cast<double>(k) + (share - done(k)) / (done(k + 1) - done(k));
}

// Calls take(a, b) for each edge of the line.
template <typename Take>
void forEachEdge(const Line& line, const Take& take) {
    std::size_t a = 1;
    while (a + 2 < line.size()) {
        const std::size_t last = std::min(a + furthest, line.size() - 2);
        std::size_t b = a + 1;
        while (b <= last && !isEdge(line, a, b)) {
            ++b;
        }
        if (b <= last) {
            take(a, b);
            a = b;
        } else {
            ++a;
        }
    }
}

}  // namespace

void DepthEdges::add(const Frame& frame, const Mask& mask) {
    std::vector<double> image(simulation::pixelCount, std::numeric_limits<double>::quiet_NaN());
    for (std::size_t i = 0; i < image.size(); ++i) {
        if (holds(mask, i) && isUsable(frame.confidence[i], frame.distance[i])) {
            image[i] = static_cast<double>(frame.distance[i]);
            ++usable_;
        }
    }
    std::vector<bool> flying(image.size(), false);
    const auto search = [&](std::size_t start, std::size_t stride, std::size_t length) {
        Line line(length);
        for (std::size_t k = 0; k < length; ++k) {
            line[k] = image[start + k * stride];
        }
        forEachEdge(line, [&](std::size_t a, std::size_t b) {
            widths_.push_back(placeOf(line, a, b, 1.0 - level) - placeOf(line, a, b, level));
            const double margin = level * std::abs(line[b] - line[a]);
            for (std::size_t k = a + 1; k < b; ++k) {
                if (std::abs(line[k] - line[a]) > margin && std::abs(line[k] - line[b]) > margin) {
                    flying[start + k * stride] = true;
                }
            }
        });
    };
    constexpr auto width = static_cast<std::size_t>(simulation::imageWidth);
    constexpr auto height = static_cast<std::size_t>(simulation::imageHeight);
    for (std::size_t row = 0; row < height; ++row) {
        search(row * width, 1, width);
    }
    for (std::size_t column = 0; column < width; ++column) {
        search(column, width, height);
    }
    flying_ += static_cast<std::size_t>(std::count(flying.begin(), flying.end(), true));
}

std::optional<double> DepthEdges::flyingShare() const {
    return usable_ == 0 ? std::nullopt
                        : std::optional(static_cast<double>(flying_) / static_cast<double>(usable_));
}

std::optional<double> DepthEdges::medianWidth() const {
    return quantile(widths_, 0.5);
}

}  // namespace figures
