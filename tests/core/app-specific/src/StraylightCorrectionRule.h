// SPDX-License-Identifier: Apache-2.0
//
// The straylight correction in plain words: the scatter part of a point spread function, interpolation and
// subtraction pixel by pixel, and the whole correction with a convolution by its definition.
#pragma once

#include <cstdint>
#include <vector>

#include "slcalib.h"

namespace rule {

/** An image of floats. */
struct Image {
    uint32_t width;
    uint32_t height;
    std::vector<float> pixels;

    float at(uint32_t x, uint32_t y) const { return pixels[y * width + x]; }
};

/** The point spread function halved `levels` times and scaled by 4 for each of them. */
Image scaledPsf(const StraylightCalib& calib, int levels);

/** Its scatter part: without the values at or above the cut, divided by the whole sum. */
Image scatterPart(const StraylightCalib& calib, int levels);

/** The image minus `factor` times the scattered part, interpolated to `levels` times the size. */
std::vector<float> subtract(const Image& image, const Image& scattered, int levels, float factor);

/**
 * The scattered part of an image: each of its pixels sees the others through the scatter part, centred on it.
 * Wraps around at the sizes of the FFT.
 */
Image scatteredLight(const Image& image, const Image& scatter, uint32_t fftWidth, uint32_t fftHeight);

/** The corrected image; `levels` halvings of it, `pyrLevel` of the point spread function. */
std::vector<float> correct(const Image& image, const StraylightCalib& calib, int pyrLevel, int levels,
                           uint32_t fftWidth, uint32_t fftHeight);

}  // namespace rule
