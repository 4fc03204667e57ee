// SPDX-License-Identifier: Apache-2.0
//
// Regions of interest: ellipses, rectangles and polygons rastered into a mask with one bit per region.
#pragma once

#include "QorRecords.h"

struct RegionOfInterestInput {
    RegionsOfInterest regions;
    int32_t width;
    int32_t height;
};

struct RegionOfInterestOutput {
    uint64_t mask[kPixelCount];  ///< bit ID set: the pixel belongs to the region with that ID
    int32_t width;
    int32_t height;
    int32_t polygonComplex[kMaxRegions];      ///< by region: the polygon crosses itself
    int32_t polygonOutOfBounds[kMaxRegions];  ///< by region: a point lies outside the image
};

struct RegionOfInterestScratch {
    RegionsOfInterest regions;     ///< working copy, rectangles turned into polygons
    uint8_t corners[kPixelCount];  ///< crossing counters of one polygon
};
