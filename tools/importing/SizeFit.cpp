// SPDX-License-Identifier: Apache-2.0

#include "importing/SizeFit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "importing/ImportError.h"
#include "simulation/Image.h"

namespace importing {
namespace {

using simulation::imageHeight;
using simulation::imageWidth;

constexpr std::array<std::string_view, 6> names{"crop",    "pad",       "area",
                                                "nearest", "crop-area", "crop-nearest"};
constexpr double ownWidth = imageWidth;
constexpr double ownHeight = imageHeight;

}  // namespace

std::optional<FitKind> readFitKind(const std::string& text) {
    const auto name = std::find(names.begin(), names.end(), text);
    return name == names.end() ? std::nullopt : std::optional(static_cast<FitKind>(name - names.begin()));
}

std::string nameOf(FitKind kind) {
    return std::string(names.at(static_cast<std::size_t>(kind)));
}

SizeFit::SizeFit(FitKind kind, std::size_t width, std::size_t height)
    : isMean_(kind == FitKind::Area || kind == FitKind::CropArea),
      columns_{0.0, 1.0, width},
      rows_{0.0, 1.0, height} {
    const auto sourceWidth = static_cast<double>(width);
    const auto sourceHeight = static_cast<double>(height);
    const std::string sizes = std::to_string(width) + " x " + std::to_string(height) + " pixels";
    switch (kind) {
        case FitKind::Crop:
            if (sourceWidth < ownWidth || sourceHeight < ownHeight) {
                throw ImportError("Pictures of " + sizes + " are smaller than 224 x 172; use --fit pad.");
            }
            break;
        case FitKind::Pad:
            if (sourceWidth > ownWidth || sourceHeight > ownHeight) {
                throw ImportError("Pictures of " + sizes + " are larger than 224 x 172; use another --fit.");
            }
            break;
        case FitKind::Area:
        case FitKind::Nearest:
            columns_.step = sourceWidth / ownWidth;
            rows_.step = sourceHeight / ownHeight;
            return;
        case FitKind::CropArea:
        case FitKind::CropNearest:
            columns_.step = rows_.step = std::min(sourceWidth / ownWidth, sourceHeight / ownHeight);
            columns_.begin = (sourceWidth - ownWidth * columns_.step) / 2.0;
            rows_.begin = (sourceHeight - ownHeight * rows_.step) / 2.0;
            return;
    }
    columns_.begin = std::floor((sourceWidth - ownWidth) / 2.0);
    rows_.begin = std::floor((sourceHeight - ownHeight) / 2.0);
}

std::ptrdiff_t SizeFit::Span::middle(std::ptrdiff_t pixel) const {
    return static_cast<std::ptrdiff_t>(std::floor(begin + (static_cast<double>(pixel) + 0.5) * step));
}

std::ptrdiff_t SizeFit::Span::first(std::ptrdiff_t pixel) const {
    return static_cast<std::ptrdiff_t>(std::floor(begin + static_cast<double>(pixel) * step));
}

std::ptrdiff_t SizeFit::Span::last(std::ptrdiff_t pixel) const {
    const auto end = static_cast<std::ptrdiff_t>(std::ceil(begin + static_cast<double>(pixel + 1) * step));
    return std::min(std::max(end, first(pixel) + 1), static_cast<std::ptrdiff_t>(length));
}

// How much of a source pixel lies in one of ours.
double SizeFit::Span::share(std::ptrdiff_t pixel, std::ptrdiff_t source) const {
    const double from = std::max(begin + static_cast<double>(pixel) * step, static_cast<double>(source));
    const double to =
        std::min(begin + static_cast<double>(pixel + 1) * step, static_cast<double>(source + 1));
    return std::max(0.0, to - from);
}

double SizeFit::meanOver(std::span<const double> picture, std::ptrdiff_t x, std::ptrdiff_t y, double least,
                         double most) const {
    double sum = 0.0;
    double area = 0.0;
    for (std::ptrdiff_t row = rows_.first(y); row < rows_.last(y); ++row) {
        for (std::ptrdiff_t column = columns_.first(x); column < columns_.last(x); ++column) {
            const double weight = rows_.share(y, row) * columns_.share(x, column);
            const double value =
                picture[static_cast<std::size_t>(row) * columns_.length + static_cast<std::size_t>(column)];
            if (weight > 1.0e-9 && !(value > least && value < most)) {
                return value;
            }
            sum += weight * value;
            area += weight;
        }
    }
    return sum / area;
}

std::vector<double> SizeFit::fit(std::span<const double> picture, double nothing, double least,
                                 double most) const {
    std::vector<double> fitted(simulation::pixelCount, nothing);
    for (std::ptrdiff_t y = 0; y < imageHeight; ++y) {
        for (std::ptrdiff_t x = 0; x < imageWidth; ++x) {
            const auto pixel = static_cast<std::size_t>(y * imageWidth + x);
            if (isMean_) {
                fitted[pixel] = meanOver(picture, x, y, least, most);
            } else if (!isEmpty(pixel)) {
                fitted[pixel] = picture[static_cast<std::size_t>(rows_.middle(y)) * columns_.length +
                                        static_cast<std::size_t>(columns_.middle(x))];
            }
        }
    }
    return fitted;
}

SizeFit SizeFit::nearest() const {
    SizeFit one = *this;
    one.isMean_ = false;
    return one;
}

simulation::Lens SizeFit::fit(const simulation::Lens& lens) const {
    simulation::Lens fitted = lens;
    fitted.fx = lens.fx / columns_.step;
    fitted.fy = lens.fy / rows_.step;
    fitted.mx = (lens.mx - columns_.begin) / columns_.step;
    fitted.my = (lens.my - rows_.begin) / rows_.step;
    return fitted;
}

bool SizeFit::isEmpty(std::size_t pixel) const {
    const auto x = static_cast<std::ptrdiff_t>(pixel % imageWidth);
    const auto y = static_cast<std::ptrdiff_t>(pixel / imageWidth);
    const auto isOutside = [](const Span& span, std::ptrdiff_t place) {
        return span.middle(place) < 0 || span.middle(place) >= static_cast<std::ptrdiff_t>(span.length);
    };
    return isOutside(columns_, x) || isOutside(rows_, y);
}

std::size_t SizeFit::emptyPixels() const {
    std::size_t count = 0;
    for (std::size_t pixel = 0; pixel < simulation::pixelCount; ++pixel) {
        count += isEmpty(pixel) ? 1 : 0;
    }
    return count;
}

double SizeFit::samplesPerPixel() const {
    return isMean_ ? std::max(1.0, columns_.step) * std::max(1.0, rows_.step) : 1.0;
}

}  // namespace importing
