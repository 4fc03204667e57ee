// SPDX-License-Identifier: Apache-2.0
//
// The rules of the image filter's loops in plain scalar form: what every vector target must equal bit for
// bit.
#pragma once

#include "ImageFilter.h"
#include "ImageFilterSpatialKernels.h"
#include "ImageFilterTemporalKernels.h"

namespace rule {

int32_t averageOverTime(const TemporalMeanImages& images, int32_t first, int32_t last);

void smoothAdaptively(const AdaptiveWeight& weight, const AdaptiveImages& images, int32_t first,
                      int32_t last);

void meanFilter(int32_t halfSize, const FilterBand& band);

/** The tables of the bilateral filter. */
struct BilateralTables {
    float spatialWeights[25];
    float slope[64];
    float offset[64];
    float step;
};

BilateralTables bilateralTables(const SpatialFilterBilateralSettings& settings);

void bilateralFilter(int32_t halfSize, const BilateralWeights& weights, const FilterBand& band);

void updateConfidence(const float* distance, uint16_t* confidence, int32_t pixelCount);

}  // namespace rule
