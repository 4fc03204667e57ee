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

/**
 * Rasters the regions of `input` into `output->mask`. Coordinates are pixels, the centre of pixel (x, y) lies
 * at (x + 0.5, y + 0.5), and a pixel belongs to a region if its centre does.
 *
 * A polygon that lies in the image and does not cut itself is filled between its crossings with each line. A
 * polygon that cuts itself or overhangs the image is filled by the non-zero winding rule, and marked in
 * `polygonComplex` or `polygonOutOfBounds`. Rectangles are polygons here. Both arrays are indexed by the
 * region's position and written for polygons only.
 *
 * Regions after the 64th and points after the 32nd are ignored. Returns 0, or 1 with a report. A null
 * pointer leaves the output as it is. An ID outside 0 to 63 or given twice, or an image of more than 38528
 * pixels, leaves the mask all zero.
 */
int32_t RegionOfInterest_Apply(const RegionOfInterestInput* input, RegionOfInterestScratch* scratch,
                               RegionOfInterestOutput* output) noexcept;

/**
 * How often the outline winds around the point, positive where it turns from x to y; 0 outside.
 * The pipeline itself does not call it.
 */
int32_t polywind(ROIPolygon polygon, AlgoPoint2D point) noexcept;

/**
 * 1 if the point lies in the ellipse or on its border, else 0. An axis of length 0 contains nothing.
 * The pipeline itself does not call it.
 */
int32_t point_in_ellipse(ROIEllipse ellipse, AlgoPoint2D point) noexcept;

/**
 * 1 if a point has x outside 0 to width (excluded) or y outside 0 to height (excluded), else 0.
 * The pipeline itself does not call it.
 */
int32_t ispolyoutofimagebounds(ROIPolygon polygon, int32_t width, int32_t height) noexcept;

/**
 * 0 if the outline cuts itself or does not wind exactly once. Else the magnitude tells the shape (1 convex, 2
 * concave) and the sign the direction: positive where the outline turns from x to y.
 * The pipeline itself does not call it.
 */
int32_t ispolysimple(ROIPolygon polygon) noexcept;

/**
 * Fills a simple polygon by its crossings with each line: sets bit `id` of the mask. `mask` and `corners`
 * hold width * height entries, and `corners` must be zero; it counts the crossings afterwards. A crossing
 * right of a line counts on the next line's first pixels, one left of it on the last pixels of the line
 * before; only those before the first or after the last pixel of the image are dropped.
 * The pipeline itself does not call it.
 */
void edgeflag(ROIPolygon polygon, int32_t id, int32_t width, int32_t height, uint64_t* mask,
              uint8_t* corners) noexcept;
