// SPDX-License-Identifier: Apache-2.0
//
// The FFT engine PFFFT in memory of the caller: one-dimensional transforms of single precision, of lengths
// 2^a 3^b 5^c. Nothing here allocates: a setup lives in a buffer that the caller keeps, and a transform takes
// its scratch from the stack, 4 N bytes for a real and 8 N for a complex length N.
//
// Transforms only read a setup, so several threads may share one. It holds no address: its bytes depend on
// the length, the transform and the alignment of its buffer alone.
#pragma once

/** Tables of one length and type, opaque: the start of the buffer that they are in. */
struct PFFFT_Setup;

enum pffft_direction_t {
    PFFFT_FORWARD = 0,
    PFFFT_BACKWARD = 1,
};

enum pffft_transform_t {
    PFFFT_REAL = 0,
    PFFFT_COMPLEX = 1,
};

/** Bytes of a setup of length N: (N / 4 for complex, N / 8 for real transforms) * 32 + 148. Saturates. */
int pffft_buffersize(int N, pffft_transform_t transform) noexcept;

/**
 * Builds a setup inside `buffer`, of any alignment, and hands it out in `*res`. It lives as long as the bytes
 * stay where they are. N must be a product of 2, 3 and 5 and a multiple of 32 (real) or 16 (complex), and the
 * buffer must have pffft_buffersize bytes. Returns 0, or 1 after a report. Several threads may build setups
 * at the same time.
 */
int pffft_new_setup(PFFFT_Setup** res, int N, pffft_transform_t transform, unsigned char* buffer,
                    unsigned int bufferSize) noexcept;

/** Length of a setup, real or complex values. */
int pffft_setup_length(const PFFFT_Setup* setup) noexcept;

/**
 * One transform between arrays of N floats (real) or N interleaved pairs (complex), aligned to 16 bytes;
 * `input` may be `output`. A real spectrum holds the values of frequency 0 and of the Nyquist frequency in
 * floats 0 and 1, interleaved complex values after them. Not scaled: forward and backward together multiply
 * by N. `work` must be null. Returns 0, or 1 after a report.
 */
int pffft_transform_ordered(PFFFT_Setup* setup, const float* input, float* output, float* work,
                            pffft_direction_t direction) noexcept;

/** Floats of the engine's vectors: 4, or 1 where an installed engine was built without vectors. */
int pffft_simd_size() noexcept;
