// SPDX-License-Identifier: Apache-2.0
//
// Loops of the image pyramid. Lines have at least 2 (3x3) or 3 (5x5) elements, images at least one row to
// compute.
#pragma once

#include <cstddef>

#include "ALImageResize_impl.h"

void ALImageResize_HalveLine3x3(const uint8_t* src, uint8_t* res, size_t width) noexcept;
void ALImageResize_HalveLine3x3(const uint16_t* src, uint16_t* res, size_t width) noexcept;
void ALImageResize_HalveLine3x3(const float32_t* src, float32_t* res, size_t width) noexcept;
void ALImageResize_HalveLine5x5(const uint8_t* src, uint8_t* res, size_t width) noexcept;
void ALImageResize_HalveLine5x5(const uint16_t* src, uint16_t* res, size_t width) noexcept;
void ALImageResize_HalveLine5x5(const float32_t* src, float32_t* res, size_t width) noexcept;

void ALImageResize_HalveImage3x3(const IreImages<uint8_t>& images) noexcept;
void ALImageResize_HalveImage3x3(const IreImages<uint16_t>& images) noexcept;
void ALImageResize_HalveImage3x3(const IreImages<float32_t>& images) noexcept;
void ALImageResize_HalveImage5x5(const IreImages<uint8_t>& images) noexcept;
void ALImageResize_HalveImage5x5(const IreImages<uint16_t>& images) noexcept;
void ALImageResize_HalveImage5x5(const IreImages<float32_t>& images) noexcept;
