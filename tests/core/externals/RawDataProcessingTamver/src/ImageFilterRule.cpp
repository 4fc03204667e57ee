// SPDX-License-Identifier: Apache-2.0
#include "ImageFilterRule.h"

#include "ALMath.h"

namespace rule {

int32_t averageOverTime(const TemporalMeanImages& images, int32_t first, int32_t last) {
    for (int32_t i = first; i < last; ++i) {
        const float old = images.oldest[i];
        images.sum[i] -= old;
        if (old != 0.0F) {
            images.validFrames[i] -= 1.0F;
        }
        const float current = images.image[i];
        images.oldest[i] = current;
        if (current != 0.0F) {
            images.validFrames[i] += 1.0F;
        }
        images.sum[i] = images.sum[i] + current;
        if (images.validFrames[i] < 0.0F) {
            return 1;
        }
        images.image[i] = images.validFrames[i] == 0.0F ? 0.0F : images.sum[i] / images.validFrames[i];
    }
    return 0;
}

void smoothAdaptively(const AdaptiveWeight& weight, const AdaptiveImages& images, int32_t first,
                      int32_t last) {
    for (int32_t i = first; i < last; ++i) {
        const float d = images.image[i];
        if (d == 0.0F) {
            images.smoothed[i] = 0.0F;
        } else if (images.smoothed[i] == 0.0F) {
            images.smoothed[i] = d;
        }
        const float change = al_fabsf(images.other[i] - images.previousOther[i]);
        images.previousOther[i] = images.other[i];
        float alpha = weight.offset + change * weight.slope;
        if (alpha < weight.smallest) {
            alpha = weight.smallest;
        }
        if (alpha > weight.largest) {
            alpha = weight.largest;
        }
        const float t = alpha * d + (1.0F - alpha) * images.smoothed[i];
        images.image[i] = t;
        images.smoothed[i] = t;
    }
}

namespace {

/** Sum and number of the measurements of one column of a mask. */
struct Column {
    float sum;
    float count;
};

Column columnOf(const FilterBand& band, int32_t x, int32_t top, int32_t bottom) {
    Column column = {0.0F, 0.0F};
    for (int32_t y = top; y <= bottom; ++y) {
        const float value = band.source[y * band.width + x];
        if (value != 0.0F) {
            column.sum += value;
            column.count += 1.0F;
        }
    }
    return column;
}

}  // namespace

void meanFilter(int32_t halfSize, const FilterBand& band) {
    const int32_t n = 2 * halfSize + 1;
    for (int32_t y = band.firstLine; y < band.lastLine; ++y) {
        Column ring[5] = {};
        int32_t slot = 0;
        for (int32_t x = 0; x < n - 1 && x < band.width; ++x) {
            ring[slot++] = columnOf(band, x, y - halfSize, y + halfSize);
        }
        for (int32_t x = halfSize; x < band.width - halfSize; ++x) {
            ring[slot] = columnOf(band, x + halfSize, y - halfSize, y + halfSize);
            slot = slot + 1 == n ? 0 : slot + 1;
            float sum = ring[1].sum + ring[0].sum;
            float count = ring[1].count + ring[0].count;
            for (int32_t k = 2; k < n; ++k) {
                sum += ring[k].sum;
                count += ring[k].count;
            }
            band.target[y * band.width + x] = count >= 4.0F ? sum / count : 0.0F;
        }
    }
}

BilateralTables bilateralTables(const SpatialFilterBilateralSettings& settings) {
    BilateralTables tables = {};
    const int32_t h = settings.maskSize == FilterMaskSize_3x3 ? 1 : 2;
    const float pixelFactor = 1.0F / (2.0F * settings.sigmaPixel * settings.sigmaPixel);
    for (int32_t v = -h; v <= h; ++v) {
        for (int32_t u = -h; u <= h; ++u) {
            const auto negativeSquare = static_cast<float>(-v * v - u * u);
            tables.spatialWeights[(v + h) * (2 * h + 1) + u + h] = al_expf(negativeSquare * pixelFactor);
        }
    }
    tables.step = settings.sigmaDistance * 0.09375F;
    const float c = 1.0F / (2.0F * settings.sigmaDistance * settings.sigmaDistance);
    float lastX = 0.0F;
    float lastY = 1.0F;
    for (int32_t i = 1; i <= 64; ++i) {
        const float x = tables.step * static_cast<float>(i);
        const float y = al_expf(-x * x * c);
        tables.slope[i - 1] = (y - lastY) / (x - lastX);
        tables.offset[i - 1] = y - tables.slope[i - 1] * x;
        lastX = x;
        lastY = y;
    }
    return tables;
}

void bilateralFilter(int32_t halfSize, const BilateralWeights& weights, const FilterBand& band) {
    for (int32_t y = band.firstLine; y < band.lastLine; ++y) {
        for (int32_t x = halfSize; x < band.width - halfSize; ++x) {
            const float centre = band.source[y * band.width + x];
            float& result = band.target[y * band.width + x];
            result = 0.0F;
            if (centre == 0.0F) {
                continue;
            }
            float sumWeight = 0.0F;
            int32_t place = 0;
            for (int32_t v = -halfSize; v <= halfSize; ++v) {
                for (int32_t u = -halfSize; u <= halfSize; ++u, ++place) {
                    const float s = band.source[(y + v) * band.width + x + u];
                    const float delta = al_fabsf(centre - s);
                    int32_t k = al_truncate(delta / weights.step);
                    k = k < 0 ? 0 : k;
                    k = k > 63 ? 63 : k;
                    float weight = weights.offset[k] + delta * weights.slope[k];
                    if (weight < 0.0F) {
                        weight = 0.0F;
                    }
                    weight *= weights.spatial[place];
                    result += weight * s;
                    if (s != 0.0F) {
                        sumWeight += weight;
                    }
                }
            }
            result /= sumWeight;
        }
    }
}

void updateConfidence(const float* distance, uint16_t* confidence, int32_t pixelCount) {
    for (int32_t i = 0; i < pixelCount; ++i) {
        const bool invalidNow = distance[i] <= 1e-6F;
        const bool invalidBefore = (confidence[i] & 0x0001) != 0;
        if (invalidNow != invalidBefore) {
            confidence[i] = static_cast<uint16_t>((confidence[i] & ~0x0001) | 0x0200);
        }
        if (invalidNow) {
            confidence[i] |= 0x0001;
        }
    }
}

}  // namespace rule
