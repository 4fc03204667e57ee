// SPDX-License-Identifier: Apache-2.0

#include "imaging/Canvas.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "imaging/StrokeFont.h"

namespace imaging {
namespace {

constexpr int largestSide = 32768;

double distanceToSegment(const StrokePoint& p, const StrokePoint& a, const StrokePoint& b) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double square = dx * dx + dy * dy;
    const double along =
        square > 0.0 ? std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / square, 0.0, 1.0) : 0.0;
    return std::hypot(p.x - a.x - along * dx, p.y - a.y - along * dy);
}

std::uint8_t mixed(std::uint8_t below, std::uint8_t above, double share) {
    return static_cast<std::uint8_t>(std::lround(below + (above - below) * share));
}

}  // namespace

Canvas::Canvas(int width, int height, Color background) : width_(width), height_(height) {
    if (width < 1 || height < 1 || width > largestSide || height > largestSide) {
        throw std::invalid_argument("A picture has 1 to 32768 pixels on each side.");
    }
    pixels_.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), background);
}

void Canvas::set(int column, int row, Color color) {
    if (column >= 0 && column < width_ && row >= 0 && row < height_) {
        pixels_[index(column, row)] = color;
    }
}

void Canvas::fill(int column, int row, int width, int height, Color color) {
    const int left = std::max(column, 0);
    const int right = std::min(column + width, width_);
    for (int r = std::max(row, 0); r < std::min(row + height, height_); ++r) {
        for (int c = left; c < right; ++c) {
            pixels_[index(c, r)] = color;
        }
    }
}

void Canvas::text(double column, double row, std::string_view text, double height, double weight,
                  Color color) {
    const double unit = height / strokeFontCapHeight;
    const double half = 0.5 * weight;
    double penColumn = column;
    for (const char character : text) {
        const StrokeGlyph& glyph = strokeGlyph(character);
        const int left = static_cast<int>(std::floor(penColumn - half - 1.0));
        const int right = static_cast<int>(std::ceil(penColumn + glyph.width * unit + half + 1.0));
        const int top = static_cast<int>(std::floor(row - height - half - 1.0));
        const int bottom = static_cast<int>(std::ceil(row + strokeFontDepth * unit + half + 1.0));
        for (int r = std::max(top, 0); r < std::min(bottom, height_); ++r) {
            for (int c = std::max(left, 0); c < std::min(right, width_); ++c) {
                const StrokePoint centre{(c + 0.5 - penColumn) / unit, (row - (r + 0.5)) / unit};
                double nearest = strokeFontCapHeight * 4.0;
                for (const std::vector<StrokePoint>& stroke : glyph.strokes) {
                    for (std::size_t k = 0; k + 1 < stroke.size(); ++k) {
                        nearest = std::min(nearest, distanceToSegment(centre, stroke[k], stroke[k + 1]));
                    }
                }
                const double share = std::clamp(half + 0.5 - nearest * unit, 0.0, 1.0);
                Color& pixel = pixels_[index(c, r)];
                pixel = {mixed(pixel.red, color.red, share), mixed(pixel.green, color.green, share),
                         mixed(pixel.blue, color.blue, share)};
            }
        }
        penColumn += (glyph.width + strokeFontSpacing) * unit;
    }
}

double textWidth(std::string_view text, double height) {
    double units = 0.0;
    for (const char character : text) {
        units += strokeGlyph(character).width + strokeFontSpacing;
    }
    return std::max(0.0, units - strokeFontSpacing) * height / strokeFontCapHeight;
}

}  // namespace imaging
