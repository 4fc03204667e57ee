// SPDX-License-Identifier: Apache-2.0

#include "imaging/Figure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace imaging {
namespace {

constexpr Color paper{255, 255, 255};
constexpr Color ink{32, 36, 44};
constexpr Color softInk{104, 110, 120};
constexpr Color noMeasurement{0, 0, 0};

constexpr int margin = 24;
constexpr int headHeight = 64;
constexpr int gap = 22;
constexpr int barWidth = 22;
constexpr int markLength = 6;
constexpr int swatch = 18;
constexpr double titleSize = 17.0;
constexpr double subtitleSize = 11.0;
constexpr double labelSize = 11.5;
constexpr double titleWeight = 2.2;
constexpr double labelWeight = 1.35;
constexpr int swatchLine = 30;

struct Layout {
    int width;   // of the image, enlarged
    int height;  // of the image, enlarged
    int legendWidth;

    int canvasWidth() const { return margin + width + gap + legendWidth + margin; }
    int canvasHeight() const { return headHeight + height + margin; }
    int legendColumn() const { return margin + width + gap; }
};

void checkSizes(std::size_t count, int width, int height, int enlargement) {
    if (width < 1 || height < 1 ||
        count != static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {
        throw std::invalid_argument("The values of a figure must fill its width and height.");
    }
    if (enlargement < 1 || enlargement > 32) {
        throw std::invalid_argument("A figure is enlarged 1 to 32 times.");
    }
}

Canvas startFigure(const FigureText& text, const Layout& layout) {
    Canvas canvas(layout.canvasWidth(), layout.canvasHeight(), paper);
    canvas.text(margin, 33, text.title, titleSize, titleWeight, ink);
    canvas.text(margin, 53, text.subtitle, subtitleSize, labelWeight, softInk);
    return canvas;
}

template <typename ColorOfPixel>
void paint(Canvas& canvas, int width, int height, int enlargement, ColorOfPixel colorOf) {
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            const auto pixel = static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
                               static_cast<std::size_t>(column);
            canvas.fill(margin + column * enlargement, headHeight + row * enlargement, enlargement,
                        enlargement, colorOf(pixel));
        }
    }
}

double roundStep(double smallest) {
    const double power = std::pow(10.0, std::floor(std::log10(smallest)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= smallest * (1.0 - 1e-9)) {
            return factor * power;
        }
    }
    return 10.0 * power;
}

std::vector<std::string> markLabels(const std::vector<double>& marks) {
    const double step = marks.size() > 1 ? marks[1] - marks[0] : 1.0;
    const int decimals = std::clamp(static_cast<int>(-std::floor(std::log10(step) + 1e-9)), 0, 9);
    std::vector<std::string> labels;
    labels.reserve(marks.size());
    for (const double mark : marks) {
        labels.push_back(fmt::format("{:.{}f}", mark == 0.0 ? 0.0 : mark, decimals));
    }
    return labels;
}

int widestOf(const std::vector<std::string>& texts) {
    double widest = 0.0;
    for (const std::string& text : texts) {
        widest = std::max(widest, textWidth(text, labelSize));
    }
    return static_cast<int>(std::ceil(widest));
}

void drawSwatch(Canvas& canvas, int column, int row, Color color, const std::string& name) {
    canvas.fill(column, row, swatch, swatch, softInk);
    canvas.fill(column + 1, row + 1, swatch - 2, swatch - 2, color);
    canvas.text(column + swatch + 8, row + 0.5 * (swatch + labelSize), name, labelSize, labelWeight, ink);
}

constexpr const char* noMeasurementName = "no value";

// The bar with its marks; below it the colour of pixels without a value.
void drawScale(Canvas& canvas, const Layout& layout, const Scale& scale, const std::vector<double>& marks,
               const std::vector<std::string>& labels) {
    const int column = layout.legendColumn();
    const int top = headHeight + 26;
    const int height = std::max(layout.height - 26 - swatchLine - 10, 2);
    canvas.text(column, headHeight + 11, scale.unit, labelSize, labelWeight, ink);
    for (int row = 0; row < height; ++row) {
        canvas.fill(column, top + row, barWidth, 1, colorAt(scale.map, 1.0 - (row + 0.5) / height));
    }
    for (std::size_t k = 0; k < marks.size(); ++k) {
        const double position = (marks[k] - scale.minimum) / (scale.maximum - scale.minimum);
        const int row = top + static_cast<int>(std::lround((1.0 - position) * (height - 1)));
        canvas.fill(column + barWidth, row, markLength, 1, ink);
        canvas.text(column + barWidth + markLength + 6, row + 0.5 * labelSize + 0.5, labels[k], labelSize,
                    labelWeight, ink);
    }
    drawSwatch(canvas, column, headHeight + layout.height - swatch, noMeasurement, noMeasurementName);
}

}  // namespace

std::vector<double> scaleMarks(double minimum, double maximum, int mostMarks) {
    const double step = roundStep((maximum - minimum) / std::max(mostMarks - 1, 1));
    const double tolerance = 1e-9 * step;
    std::vector<double> marks;
    for (double k = std::ceil((minimum - tolerance) / step); k * step <= maximum + tolerance; k += 1.0) {
        marks.push_back(k * step);
    }
    return marks;
}

Canvas drawFigure(const FigureText& text, std::span<const float> values, std::span<const std::uint8_t> valid,
                  int width, int height, const Scale& scale, int enlargement) {
    checkSizes(values.size(), width, height, enlargement);
    checkSizes(valid.size(), width, height, enlargement);
    if (!(scale.maximum > scale.minimum) || !std::isfinite(scale.maximum - scale.minimum)) {
        throw std::invalid_argument("The scale of a figure must have a maximum above its minimum.");
    }
    const std::vector<double> marks =
        scaleMarks(scale.minimum, scale.maximum, std::clamp(height * enlargement / 60, 2, 12));
    const std::vector<std::string> labels = markLabels(marks);
    const int legendWidth = std::max({barWidth + markLength + 6 + widestOf(labels),
                                      swatch + 8 + widestOf({noMeasurementName}), widestOf({scale.unit})});
    const Layout layout{width * enlargement, height * enlargement, legendWidth};
    Canvas canvas = startFigure(text, layout);
    paint(canvas, width, height, enlargement, [&](std::size_t pixel) {
        const double value = static_cast<double>(values[pixel]);
        return valid[pixel] == 0 || std::isnan(value)
                   ? noMeasurement
                   : colorAt(scale.map, (value - scale.minimum) / (scale.maximum - scale.minimum));
    });
    drawScale(canvas, layout, scale, marks, labels);
    return canvas;
}

Canvas drawFigure(const FigureText& text, std::span<const std::uint8_t> categoryOfPixel, int width,
                  int height, const std::vector<Category>& categories, int enlargement) {
    checkSizes(categoryOfPixel.size(), width, height, enlargement);
    std::vector<std::string> names;
    names.reserve(categories.size());
    for (const Category& category : categories) {
        names.push_back(category.name);
    }
    for (const std::uint8_t index : categoryOfPixel) {
        if (index >= categories.size()) {
            throw std::invalid_argument("A pixel of the figure belongs to no category.");
        }
    }
    const Layout layout{width * enlargement, height * enlargement, swatch + 8 + widestOf(names)};
    Canvas canvas = startFigure(text, layout);
    paint(canvas, width, height, enlargement,
          [&](std::size_t pixel) { return categories[categoryOfPixel[pixel]].color; });
    for (std::size_t k = 0; k < categories.size(); ++k) {
        drawSwatch(canvas, layout.legendColumn(), headHeight + static_cast<int>(k) * swatchLine,
                   categories[k].color, categories[k].name);
    }
    return canvas;
}

}  // namespace imaging
