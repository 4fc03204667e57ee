// SPDX-License-Identifier: Apache-2.0
//
// A picture in memory: 8-bit colours, text and rectangles.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace imaging {

struct Color {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;

    friend bool operator==(const Color&, const Color&) = default;
};

// Column and row start at the top left. What lies outside is not drawn.
class Canvas {
 public:
    // Throws std::invalid_argument unless both sides have 1 to 32768 pixels.
    Canvas(int width, int height, Color background);

    int width() const { return width_; }
    int height() const { return height_; }
    const std::vector<Color>& pixels() const { return pixels_; }

    Color at(int column, int row) const { return pixels_[index(column, row)]; }
    void set(int column, int row, Color color);
    void fill(int column, int row, int width, int height, Color color);

    // Text with smooth strokes; `row` is that of the baseline and `height` the height of a capital, in
    // pixels. `weight` is the width of the strokes in pixels. Characters without a glyph show as an empty
    // box.
    void text(double column, double row, std::string_view text, double height, double weight, Color color);

 private:
    std::size_t index(int column, int row) const {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(width_) +
               static_cast<std::size_t>(column);
    }

    int width_;
    int height_;
    std::vector<Color> pixels_;
};

// Width of a text in pixels.
double textWidth(std::string_view text, double height);

}  // namespace imaging
