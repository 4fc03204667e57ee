// SPDX-License-Identifier: Apache-2.0
//
// The lettering of the pictures: printable ASCII as strokes of a pen, so that it is smooth at every size.

#pragma once

#include <vector>

namespace imaging {

struct StrokePoint {
    double x = 0.0;  // from the left edge of the glyph
    double y = 0.0;  // upwards from the baseline
};

// Polylines in font units; a stroke has at least two points, which are equal for a dot.
struct StrokeGlyph {
    double width = 0.0;
    std::vector<std::vector<StrokePoint>> strokes;
};

// In font units: the height of a capital, the depth below the baseline, the gap between two glyphs.
inline constexpr double strokeFontCapHeight = 14.0;
inline constexpr double strokeFontDepth = 4.0;
inline constexpr double strokeFontSpacing = 3.4;

// Anything but printable ASCII shows as an empty box.
const StrokeGlyph& strokeGlyph(char character);

}  // namespace imaging
