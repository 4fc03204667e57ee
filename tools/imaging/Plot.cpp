// SPDX-License-Identifier: Apache-2.0

#include "imaging/Plot.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "imaging/ColorMap.h"
#include "imaging/Figure.h"
#include "simulation/Image.h"
#include "texts/Markup.h"

namespace imaging {
namespace {

constexpr double width = 520.0;  // of a diagram with its labels, pixels
constexpr double height = 300.0;
constexpr double left = 64.0;
constexpr double right = 12.0;
constexpr double top = 42.0;
constexpr double bottom = 42.0;

// From the minimum to the maximum, which are decimal logarithms on a logarithmic axis.
struct Axis {
    double minimum = 0.0;
    double maximum = 1.0;
    double begin = 0.0;  // pixels
    double end = 1.0;
    bool isLogarithmic = false;

    bool shows(double value) const { return std::isfinite(isLogarithmic ? std::log10(value) : value); }

    double at(double value) const {
        const double place = isLogarithmic ? std::log10(value) : value;
        return begin + (place - minimum) / (maximum - minimum) * (end - begin);
    }

    std::vector<double> marks(int most) const {
        if (!isLogarithmic) {
            return scaleMarks(minimum, maximum, most);
        }
        std::vector<double> values;
        for (int power = static_cast<int>(std::floor(minimum)); power <= maximum; ++power) {
            for (const double digit : {1.0, 2.0, 5.0}) {
                values.push_back(digit * std::pow(10.0, power));
            }
        }
        const double low = std::pow(10.0, minimum);
        const double high = std::pow(10.0, maximum);
        std::erase_if(values, [&](double value) { return value < low || value > high; });
        return values;
    }
};

Axis axisOf(std::vector<double> values, double begin, double end, bool isLogarithmic) {
    if (isLogarithmic) {
        std::ranges::transform(values, values.begin(), [](double value) { return std::log10(value); });
    }
    std::erase_if(values, [](double value) { return !std::isfinite(value); });
    if (values.empty()) {
        return {0.0, 1.0, begin, end, isLogarithmic};
    }
    const auto [least, most] = std::ranges::minmax(values);
    const double alone = isLogarithmic ? 0.5 : std::max(1.0, std::abs(most));
    const double margin = most > least ? 0.05 * (most - least) : alone;
    return {least - margin, most + margin, begin, end, isLogarithmic};
}

std::string textAt(double x, double y, const std::string& anchor, const std::string& text) {
    return fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"{}\">{}</text>", x, y, anchor,
                       texts::escaped(text));
}

std::string gridOf(const Axis& x, const Axis& y) {
    std::string svg;
    for (const double mark : x.marks(8)) {
        svg +=
            fmt::format("<path class=\"grid\" d=\"M{0:.1f} {1:.1f}V{2:.1f}\"/>", x.at(mark), y.begin, y.end);
        svg += textAt(x.at(mark), y.begin + 15.0, "middle", fmt::format("{:g}", mark + 0.0));
    }
    for (const double mark : y.marks(6)) {
        svg +=
            fmt::format("<path class=\"grid\" d=\"M{0:.1f} {1:.1f}H{2:.1f}\"/>", x.begin, y.at(mark), x.end);
        svg += textAt(x.begin - 6.0, y.at(mark) + 4.0, "end", fmt::format("{:g}", mark + 0.0));
    }
    return svg;
}

std::string seriesSvg(const PlotSeries& series, const Axis& x, const Axis& y) {
    std::string svg;
    std::string line;
    for (const PlotPoint& point : series.points) {
        if (!x.shows(point.x) || !y.shows(point.y)) {
            continue;
        }
        line += fmt::format("{}{:.1f} {:.1f}", line.empty() ? "M" : "L", x.at(point.x), y.at(point.y));
        if (series.hasBars && y.shows(point.low) && y.shows(point.high)) {
            svg += fmt::format("<path stroke=\"{}\" stroke-opacity=\"0.45\" d=\"M{:.1f} {:.1f}V{:.1f}\"/>",
                               series.color, x.at(point.x), y.at(point.low), y.at(point.high));
        }
        if (!series.isLine || series.hasBars) {
            svg += fmt::format("<circle fill=\"{}\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"2.5\"/>", series.color,
                               x.at(point.x), y.at(point.y));
        }
    }
    return series.isLine
               ? svg + fmt::format("<path fill=\"none\" stroke=\"{}\" d=\"{}\"/>", series.color, line)
               : svg;
}

std::string open(double wide, double high) {
    return fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\">",
        wide, high);
}

}  // namespace

std::string svgOf(const Plot& plot) {
    std::vector<double> xs;
    std::vector<double> ys{0.0};  // the zero line is always there; a logarithmic axis has none
    for (const PlotSeries& series : plot.series) {
        for (const PlotPoint& point : series.points) {
            xs.push_back(point.x);
            ys.push_back(point.y);
            if (series.hasBars) {
                ys.insert(ys.end(), {point.low, point.high});
            }
        }
    }
    const Axis x = axisOf(xs, left, width - right, plot.isLogarithmicX);
    const Axis y = axisOf(ys, height - bottom, top, plot.isLogarithmicY);
    std::string svg = open(width, height) + gridOf(x, y);
    double legend = left;
    for (const PlotSeries& series : plot.series) {
        svg += seriesSvg(series, x, y);
        svg +=
            fmt::format("<path stroke=\"{}\" stroke-width=\"3\" d=\"M{:.1f} 30h16\"/>", series.color, legend);
        svg += textAt(legend + 21.0, 34.0, "start", series.name);
        legend += 36.0 + 7.0 * static_cast<double>(series.name.size());
    }
    svg += "<g class=\"title\">" + textAt(left, 16.0, "start", plot.title) + "</g>";
    svg += textAt(0.5 * (left + width - right), height - 6.0, "middle", plot.xLabel);
    svg += fmt::format("<g transform=\"translate(14 {:.1f}) rotate(-90)\">", 0.5 * (top + height - bottom)) +
           textAt(0.0, 0.0, "middle", plot.yLabel) + "</g></svg>";
    return svg;
}

std::string svgOfImage(const std::string& title, std::span<const float> values, double limit,
                       const std::string& unit) {
    constexpr int square = 4;
    constexpr int columns = simulation::imageWidth / square;
    constexpr int rows = simulation::imageHeight / square;
    constexpr double size = 8.0;  // of a square, pixels
    std::string svg = open(columns * size, top + rows * size);
    svg += "<g class=\"title\">" + textAt(0.0, 16.0, "start", title) + "</g>";
    svg +=
        textAt(0.0, 34.0, "start", fmt::format("blue {:.3g} {}, red {:.3g} {}", -limit, unit, limit, unit));
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            double sum = 0.0;
            for (int k = 0; k < square * square; ++k) {
                const int pixel =
                    (row * square + k / square) * simulation::imageWidth + column * square + k % square;
                sum += static_cast<double>(values[static_cast<std::size_t>(pixel)]);
            }
            const double position = 0.5 + 0.5 * sum / (square * square) / limit;
            const Color color = colorAt(ColorMap::BlueWhiteRed, position);
            svg += fmt::format(
                "<rect x=\"{:g}\" y=\"{:g}\" width=\"{:g}\" height=\"{:g}\" fill=\"#{:02x}{:02x}{:02x}\"/>",
                column * size, top + row * size, size, size, color.red, color.green, color.blue);
        }
    }
    return svg + "</svg>";
}

}  // namespace imaging
