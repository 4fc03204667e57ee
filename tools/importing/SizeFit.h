// SPDX-License-Identifier: Apache-2.0
//
// Pictures of any size as the 224 x 172 pixels of the imager.

#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulation/Lens.h"

namespace importing {

enum class FitKind {
    Crop,      // the middle of the picture, pixel by pixel
    Pad,       // the whole picture in the middle, pixels without a measurement around it
    Area,      // the mean over the area that a pixel covers
    Nearest,   // the one pixel in the middle of that area
    CropArea,  // the same two of the largest middle part that has the imager's proportions
    CropNearest,
};

// "crop", "pad", "area", "nearest", "crop-area", "crop-nearest"; none for another text.
std::optional<FitKind> readFitKind(const std::string& text);
std::string nameOf(FitKind kind);

class SizeFit {
 public:
    // Throws ImportError if the kind cannot serve the size: nothing to crop, or too large to pad.
    SizeFit(FitKind kind, std::size_t width, std::size_t height);

    // Row by row, 38528 pixels. Pixels without a measurement are `nothing`. A pixel that covers a sample at
    // or beyond `least` or `most` takes that sample in place of a mean, so that saturation stays visible.
    std::vector<double> fit(std::span<const double> picture, double nothing, double least, double most) const;

    SizeFit nearest() const;  // the same pixels, each one sample

    // The lens of the source as it looks on the smaller picture.
    simulation::Lens fit(const simulation::Lens& lens) const;

    bool isEmpty(std::size_t pixel) const;  // without a measurement
    std::size_t emptyPixels() const;

    // Samples of the source that a pixel takes the mean of; 1 for a copy. Its noise is lower by the root of
    // this.
    double samplesPerPixel() const;

 private:
    struct Span {
        double begin = 0.0;  // of the source, pixels
        double step = 1.0;   // pixels of the source for one of ours
        std::size_t length = 0;
        std::ptrdiff_t middle(
            std::ptrdiff_t pixel) const;  // -1 or below, or `length`, where there is nothing
        std::ptrdiff_t first(std::ptrdiff_t pixel) const;
        std::ptrdiff_t last(std::ptrdiff_t pixel) const;  // one beyond
        double share(std::ptrdiff_t pixel, std::ptrdiff_t source) const;
    };
    double meanOver(std::span<const double> picture, std::ptrdiff_t x, std::ptrdiff_t y, double least,
                    double most) const;

    bool isMean_ = false;
    Span columns_;
    Span rows_;
};

}  // namespace importing
