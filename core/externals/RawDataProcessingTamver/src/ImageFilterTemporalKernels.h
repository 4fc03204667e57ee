// SPDX-License-Identifier: Apache-2.0
//
// Per-pixel loops of the filters over time. A range of pixels is `first` up to but not including `last`.
#pragma once

#include "ALTypes.h"

/** Image and history of the mean. */
struct TemporalMeanImages {
    float32_t* image;        ///< the current frame, replaced by the mean; 0: no measurement
    float32_t* oldest;       ///< the frame that leaves the ring, replaced by the current one
    float32_t* sum;          ///< over the ring
    float32_t* validFrames;  ///< number of frames of the ring with a measurement
};

/**
 * Lets the current frame take the place of the oldest one, and gives each pixel the mean of its measurements
 * in the ring, 0 without any. Stops at a pixel whose number of measurements turns negative: its history moves
 * on, its image value stays, and the pixels before it have their result. Returns 1 then, else 0.
 */
int32_t ImageFilter_AverageOverTime(const TemporalMeanImages& images, int32_t first, int32_t last) noexcept;

/** Weight of a new value: a line over the change of the controlling image, cut off at both ends. */
struct AdaptiveWeight {
    float32_t slope;
    float32_t offset;
    float32_t smallest;
    float32_t largest;
};

/** Images and history of the adaptive filter. */
struct AdaptiveImages {
    float32_t* image;          ///< smoothed in place; 0: no measurement
    const float32_t* other;    ///< the image whose change gives the weight
    float32_t* smoothed;       ///< the image as it was smoothed in the last frame
    float32_t* previousOther;  ///< the other image of the last frame
};

/** Blends each pixel with its smoothed past. */
void ImageFilter_SmoothAdaptively(const AdaptiveWeight& weight, const AdaptiveImages& images, int32_t first,
                                  int32_t last) noexcept;
