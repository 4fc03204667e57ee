// SPDX-License-Identifier: Apache-2.0
//
// Figures: an image in colours, enlarged, with a title and the scale that tells the colours' meaning.

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "imaging/Canvas.h"
#include "imaging/ColorMap.h"

namespace imaging {

struct FigureText {
    std::string title;
    std::string subtitle;
};

// The colours run from `minimum` to `maximum`; values beyond take the colour of the end.
struct Scale {
    ColorMap map = ColorMap::Turbo;
    double minimum = 0.0;
    double maximum = 1.0;
    std::string unit;
};

// Pixels that share a colour and a name.
struct Category {
    Color color;
    std::string name;
};

// An image of numbers, row by row; pixels whose `valid` byte is 0 and values that are NaN are black. Every
// pixel becomes a square of `enlargement` pixels. Throws std::invalid_argument if the counts do not match,
// the scale is empty or the enlargement is not 1 to 32.
Canvas drawFigure(const FigureText& text, std::span<const float> values, std::span<const std::uint8_t> valid,
                  int width, int height, const Scale& scale, int enlargement);

// An image of categories: each pixel holds the index of its category. Throws std::invalid_argument, also
// for an index without category.
Canvas drawFigure(const FigureText& text, std::span<const std::uint8_t> categoryOfPixel, int width,
                  int height, const std::vector<Category>& categories, int enlargement);

// The places of the marks on a scale: multiples of 1, 2 or 5 times a power of ten between the ends, both
// included.
std::vector<double> scaleMarks(double minimum, double maximum, int mostMarks);

}  // namespace imaging
