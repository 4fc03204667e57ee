// SPDX-License-Identifier: Apache-2.0
//
// Two-dimensional real FFT and circular convolution, built from the one-dimensional transforms of ALpffft.
// All memory is the caller's.
//
// A spectrum of W x H values is float[W * H], column after column. The transformed rows have two real values
// each, of frequency 0 and of the Nyquist frequency, and complex ones after them, so the spectrum holds
// - H floats: real transform of column 0 of the rows' spectra,
// - H floats: real transform of column 1,
// - for p from 1 to W / 2 - 1, 2 H floats each: complex transform of the column pair (2 p, 2 p + 1).
//
// The functions return 0, or 1 after a report. A handle serves one thread at a time; a spectrum that is only
// read may serve many.
#pragma once

#include <cstdint>
#include <cstring>

#include "ALTypes.h"

struct PFFFT_Setup;

/**
 * A pointer to something later in the same buffer, kept as a distance in bytes: the buffer's bytes are the
 * same wherever it lies. It works at any alignment and must not be copied elsewhere. A distance of 0 is null.
 */
template <class T>
class PointerAhead {
 public:
    PointerAhead() noexcept = default;
    PointerAhead(const PointerAhead&) = delete;
    PointerAhead& operator=(const PointerAhead&) = delete;

    PointerAhead& operator=(T* target) noexcept {
        const auto distance = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(target) - address());
        std::memcpy(distance_, &distance, sizeof distance_);
        return *this;
    }

    operator T*() const noexcept {
        uint32_t distance = 0;
        std::memcpy(&distance, distance_, sizeof distance);
        return distance == 0 ? nullptr : reinterpret_cast<T*>(address() + distance);
    }

 private:
    uintptr_t address() const noexcept { return reinterpret_cast<uintptr_t>(this); }

    uint8_t distance_[sizeof(uint32_t)] = {};
};

/** What a handle points to: the start of the buffer that setup_fft2 was given. */
struct FFT2DSetupStruct {
    PointerAhead<PFFFT_Setup> fftx;    ///< real, out_width: rows
    PointerAhead<PFFFT_Setup> fftyc;   ///< complex, out_height: column pairs
    PointerAhead<PFFFT_Setup> fftyr;   ///< real, out_height: the two real columns
    PointerAhead<float32_t> linebuf;   ///< one line, 16-byte aligned, max(out_width, 2 * out_height) floats
    PointerAhead<float32_t> tempimg;   ///< out_width * out_height floats
    PointerAhead<float32_t> tempimg2;  ///< the same again
};
static_assert(sizeof(FFT2DSetupStruct) == 24 && alignof(FFT2DSetupStruct) == 1);

/**
 * Prepares transforms of `out_width` x `out_height` values, both legal lengths (alfft_next_fftsize), in
 * `buffer` of any alignment: the record, three setups (ALpffft), the next 16-byte boundary, a line and two
 * images. `*handle` becomes `buffer`, which must stay where it is as long as the handle is used.
 */
int32_t setup_fft2(void** handle, int32_t out_width, int32_t out_height, uint8_t* buffer,
                   uint32_t bufferSize) noexcept;

/**
 * Spectrum of an image of at most `out_width` x `out_height` pixels, which is filled up with zeros. The sizes
 * of the spectrum must be the handle's; `fft_img` is 16-byte aligned.
 */
int32_t alfft_fft2_r2c(const float32_t* in_img, uint32_t in_width, uint32_t in_height, float32_t* fft_img,
                       uint32_t out_width, uint32_t out_height, void* handle) noexcept;

/**
 * The image of a spectrum of `in_width` x `in_height` values, the handle's sizes; the upper left `out_width`
 * x `out_height` pixels of it are kept. Scaled: it undoes alfft_fft2_r2c. `fft_img` is 16-byte aligned.
 */
int32_t alfft_ifft2_r2c(const float32_t* fft_img, uint32_t in_width, uint32_t in_height, float32_t* out_img,
                        uint32_t out_width, uint32_t out_height, void* handle) noexcept;

/**
 * Circular convolution of an image with the kernel of spectrum `fft_H`, of `h_width` x `h_height` values, the
 * handle's sizes. The upper left `res_width` x `res_height` pixels of the result are kept.
 */
int32_t alfft_fft2_circ_convolve(const float32_t* in_img, uint32_t in_width, uint32_t in_height,
                                 const float32_t* fft_H, uint32_t h_width, uint32_t h_height,
                                 float32_t* result, uint32_t res_width, uint32_t res_height,
                                 void* handle) noexcept;

/** The smallest legal length not below n, all of them multiples of 32; 0 if n is above the largest. */
uint32_t alfft_next_fftsize(uint32_t n) noexcept;
