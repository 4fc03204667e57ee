// SPDX-License-Identifier: Apache-2.0
//
// The pyramid's six forms: a line halved, and an image halved line by line.
#pragma once

#include "ALTypes.h"

// Filters a line of `ow` elements and keeps every second one, (ow + 1) / 2 of them. Returns 0, or 1 after a
// report: the line has less than 2 (3x3) or 3 (5x5) elements.
// The pipeline itself does not call them: it halves images.
int32_t downsample_line_3x3_u8(const uint8_t* src, uint8_t* res, int32_t ow) noexcept;
int32_t downsample_line_5x5_u8(const uint8_t* src, uint8_t* res, int32_t ow) noexcept;
int32_t downsample_line_3x3_u16(const uint16_t* src, uint16_t* res, int32_t ow) noexcept;
int32_t downsample_line_5x5_u16(const uint16_t* src, uint16_t* res, int32_t ow) noexcept;
int32_t downsample_line_3x3_f32(const float32_t* src, float32_t* res, int32_t ow) noexcept;
int32_t downsample_line_5x5_f32(const float32_t* src, float32_t* res, int32_t ow) noexcept;

/** Images of a halving. `temp` holds 3 or 5 lines of (ow + 1) / 2 elements. */
template <class T>
struct IreImages {
    T* nimg;
    const T* oimg;
    uint32_t ow;
    uint32_t oh;
    uint32_t firstRow;  ///< of the output
    uint32_t endRow;    ///< one after the last, at most (oh + 1) / 2
    T* temp;
};

// Computes the output rows from firstRow on. Returns 0, or 1 after a report: the image has no row, or too
// short a line.
int32_t downsample_img_3x3_u8(const IreImages<uint8_t>& images) noexcept;
int32_t downsample_img_5x5_u8(const IreImages<uint8_t>& images) noexcept;
int32_t downsample_img_3x3_u16(const IreImages<uint16_t>& images) noexcept;
int32_t downsample_img_5x5_u16(const IreImages<uint16_t>& images) noexcept;
int32_t downsample_img_3x3_f32(const IreImages<float32_t>& images) noexcept;
int32_t downsample_img_5x5_f32(const IreImages<float32_t>& images) noexcept;
