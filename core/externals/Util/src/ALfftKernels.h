// SPDX-License-Identifier: Apache-2.0
//
// Loops of the FFT layer over whole images. `width` and `height` are the sizes of the transforms, multiples
// of 32.
#pragma once

#include "ALTypes.h"

/**
 * Makes the columns of a spectrum image (ALfft.h) from the first `rowCount` rows of spectra, each
 * filled up with zeros to `height`.
 */
void ALfft_GatherColumns(const float32_t* rows, uint32_t width, uint32_t rowCount, float32_t* columns,
                         uint32_t height) noexcept;

/**
 * The way back: the first `rowCount` values of each column times `factor`, as rows. With an odd `rowCount`
 * one more row is written.
 */
void ALfft_ScatterColumns(const float32_t* columns, uint32_t height, float32_t factor, float32_t* rows,
                          uint32_t width, uint32_t rowCount) noexcept;

/** Multiplies a spectrum image by another, value by value. */
void ALfft_MultiplySpectra(float32_t* spectrum, const float32_t* other, uint32_t width,
                           uint32_t height) noexcept;
