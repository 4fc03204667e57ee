// SPDX-License-Identifier: Apache-2.0
#include "CamToWorldTamverRule.h"

namespace rule {

void rotateVectors(const float (&rotation)[3][3], const float* vectors, float* rotated, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        for (int32_t row = 0; row < 3; ++row) {
            float sum = 0.0F;
            for (int32_t k = 0; k < 3; ++k) {
                sum = sum + rotation[row][k] * vectors[3 * i + k];
            }
            rotated[3 * i + row] = sum;
        }
    }
}

void computePoints(const CamToWorldPixels& pixels, const AlgoPoint3D& origin, const ClippingCuboid& clipping,
                   int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        const float d = pixels.distance[i];
        const float x = origin.x + d * pixels.unitVectors[3 * i];
        const float y = origin.y + d * pixels.unitVectors[3 * i + 1];
        const float z = origin.z + d * pixels.unitVectors[3 * i + 2];
        const bool outside = clipping.xMin > x || x > clipping.xMax || clipping.yMin > y ||
                             y > clipping.yMax || clipping.zMin > z || z > clipping.zMax;
        if (outside && d != 0.0F) {
            pixels.conf[i] |= 0x0401;
        }
        const float v = (pixels.conf[i] & 0x0001) == 0 ? 1.0F : 0.0F;
        pixels.X[i] = x * v;
        pixels.Y[i] = y * v;
        pixels.Z[i] = z * v;
        pixels.distance[i] = d * v;
    }
}

}  // namespace rule
