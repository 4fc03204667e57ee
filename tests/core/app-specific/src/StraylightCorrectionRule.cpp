// SPDX-License-Identifier: Apache-2.0
#include "StraylightCorrectionRule.h"

#include <algorithm>

#include "ALImageResizeRule.h"

namespace rule {
namespace {

Image halve(const Image& image) {
    const Halved<float> half =
        halveImage(image.pixels, image.width, image.height, 3, 0, (image.height + 1) / 2 - 1, 0.0F);
    return {half.width, half.height, half.pixels};
}

}  // namespace

Image scaledPsf(const StraylightCalib& calib, int levels) {
    Image psf = {calib.psfWidth, calib.psfHeight, {}};
    psf.pixels.assign(calib.psf, calib.psf + psf.width * psf.height);
    float scale = 1.0F;
    for (int i = 0; i < levels; ++i) {
        psf = halve(psf);
        scale *= 4.0F;
    }
    for (float& value : psf.pixels) {
        value *= scale;
    }
    return psf;
}

Image scatterPart(const StraylightCalib& calib, int levels) {
    Image psf = scaledPsf(calib, levels);
    float sum = 0.0F;
    float largest = 0.0F;
    for (const float value : psf.pixels) {
        sum += value;
        largest = std::max(largest, value);
    }
    const float cut = std::min(largest, calib.filterCutOff);
    const float inverse = 1.0F / sum;
    for (float& value : psf.pixels) {
        value = value < cut ? value * inverse : 0.0F;
    }
    return psf;
}

std::vector<float> subtract(const Image& image, const Image& scattered, int levels, float factor) {
    const int step = 1 << levels;
    const float inv = 1.0F / static_cast<float>(1 << (2 * levels));
    const int ho = static_cast<int>(scattered.height);
    const int wo = static_cast<int>(scattered.width);
    std::vector<float> result = image.pixels;
    for (int y = 0; y < static_cast<int>(image.height); ++y) {
        const int row0 = std::min(y >> levels, ho - 1);
        const int row1 = std::min(row0 + 1, ho - 1);
        const float w0 = row0 != row1 ? static_cast<float>(row1 * step - y) : static_cast<float>(step);
        const float w1 = row0 != row1 ? static_cast<float>(y - row0 * step) : 0.0F;
        const float a = w0 * inv;
        const float b = w1 * inv;
        const float* const r0 = &scattered.pixels[static_cast<size_t>(row0 * wo)];
        const float* const r1 = &scattered.pixels[static_cast<size_t>(row1 * wo)];
        for (int x = 0; x < static_cast<int>(image.width); ++x) {
            float up;
            const int column = x >> levels;
            if (column < wo - 1) {
                const auto k = static_cast<float>(x - column * step);
                const auto rest = static_cast<float>(step) - k;
                up = (rest * r0[column] + k * r0[column + 1]) * a +
                     (rest * r1[column] + k * r1[column + 1]) * b;
            } else {
                up = (r0[wo - 1] * a + r1[wo - 1] * b) * static_cast<float>(step);
            }
            float& pixel = result[static_cast<size_t>(y) * image.width + static_cast<size_t>(x)];
            pixel = pixel - factor * up;
        }
    }
    return result;
}

Image scatteredLight(const Image& image, const Image& scatter, uint32_t fftWidth, uint32_t fftHeight) {
    std::vector<double> sum(size_t{fftWidth} * fftHeight);
    const auto width = static_cast<int>(fftWidth);
    const auto height = static_cast<int>(fftHeight);
    for (uint32_t y = 0; y < image.height; ++y) {
        for (uint32_t x = 0; x < image.width; ++x) {
            const auto value = static_cast<double>(image.at(x, y));
            if (value == 0.0) {
                continue;
            }
            for (uint32_t row = 0; row < scatter.height; ++row) {
                const int ty = static_cast<int>(y + scatter.height / 2) - static_cast<int>(row);
                for (uint32_t column = 0; column < scatter.width; ++column) {
                    const int tx = static_cast<int>(x + scatter.width / 2) - static_cast<int>(column);
                    const int place = (ty + height) % height * width + (tx + width) % width;
                    sum[static_cast<size_t>(place)] += value * static_cast<double>(scatter.at(column, row));
                }
            }
        }
    }
    Image result = {image.width, image.height, {}};
    for (uint32_t y = 0; y < image.height; ++y) {
        for (uint32_t x = 0; x < image.width; ++x) {
            result.pixels.push_back(static_cast<float>(sum[size_t{y} * fftWidth + x]));
        }
    }
    return result;
}

std::vector<float> correct(const Image& image, const StraylightCalib& calib, int pyrLevel, int levels,
                           uint32_t fftWidth, uint32_t fftHeight) {
    Image reduced = image;
    for (int i = 0; i < levels; ++i) {
        reduced = halve(reduced);
    }
    const Image scattered = scatteredLight(reduced, scatterPart(calib, pyrLevel), fftWidth, fftHeight);
    return subtract(image, scattered, levels, calib.correctionFactor);
}

}  // namespace rule
