// SPDX-License-Identifier: Apache-2.0
#include "ALfft.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <new>

#include "ALErrorHandling.h"
#include "ALfftKernels.h"
#include "ALpffft.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/Util/src/ALfft";
constexpr FixedLineReport fail = {kSourceFile};

// Lines under which failures are known.
constexpr int32_t kLineNoRoomForSetups = 34;
constexpr int32_t kLineSetupRows = 36;
constexpr int32_t kLineSetupColumnPairs = 37;
constexpr int32_t kLineSetupRealColumns = 38;
constexpr int32_t kLineNoAlignedStart = 51;
constexpr int32_t kLineNoRoomForLine = 56;
constexpr int32_t kLineNoRoomForImage = 62;
constexpr int32_t kLineNoRoomForSecondImage = 68;
constexpr int32_t kLineForwardRowCopy = 101;
constexpr int32_t kLineForwardRow = 104;
constexpr int32_t kLineForwardColumnPair = 134;
constexpr int32_t kLineForwardRealColumn = 148;
constexpr int32_t kLineInverseColumnPair = 174;
constexpr int32_t kLineInverseRealColumn = 190;
constexpr int32_t kLineInverseRow = 206;
constexpr int32_t kLineInverseRowCopy = 209;
constexpr int32_t kLineConvolveForward = 232;
constexpr int32_t kLineConvolveInverse = 260;

constexpr uintptr_t kAlignment = 16;

// --- Lengths -----------------------------------------------------------------------------------------------

constexpr size_t kLengthCount = 240;

/** The products 2^a 3^b 5^c with a of 5..10, b of 0..7 and c of 0..4, ascending. */
constexpr std::array<uint32_t, kLengthCount> makeLengths() noexcept {
    std::array<uint32_t, kLengthCount> lengths = {};
    size_t count = 0;
    uint32_t powerOf5 = 1;
    for (int c = 0; c <= 4; ++c, powerOf5 *= 5) {
        uint32_t powerOf3 = 1;
        for (int b = 0; b <= 7; ++b, powerOf3 *= 3) {
            for (int a = 5; a <= 10; ++a) {
                const uint32_t length = (1U << a) * powerOf3 * powerOf5;
                size_t place = count;
                for (; place > 0 && lengths[place - 1] > length; --place) {
                    lengths[place] = lengths[place - 1];
                }
                lengths[place] = length;
                ++count;
            }
        }
    }
    return lengths;
}

constexpr std::array<uint32_t, kLengthCount> kLengths = makeLengths();
static_assert(kLengths.front() == 32 && kLengths.back() == 1399680000U);

// --- Memory ------------------------------------------------------------------------------------------------

/** Cuts the caller's buffer into parts, front to back. */
class Parts {
 public:
    Parts(uint8_t* buffer, uint32_t size) noexcept : next_(buffer), left_(size) {}

    uint64_t left() const noexcept { return left_; }

    /** The next `size` bytes, or null where fewer are left. */
    uint8_t* take(uint64_t size) noexcept {
        if (size > left_) {
            return nullptr;
        }
        uint8_t* const part = next_;
        next_ += size;
        left_ -= size;
        return part;
    }

    float32_t* takeFloats(uint64_t count) noexcept {
        return reinterpret_cast<float32_t*>(take(count * sizeof(float32_t)));
    }

    /** Goes on to the next 16-byte boundary; false where none is left. */
    bool align() noexcept {
        return take((kAlignment - reinterpret_cast<uintptr_t>(next_) % kAlignment) % kAlignment) != nullptr;
    }

 private:
    uint8_t* next_;
    uint64_t left_;
};

int32_t setUpTransforms(FFT2DSetupStruct& setup, int32_t width, int32_t height, Parts& parts) noexcept {
    const struct {
        PointerAhead<PFFFT_Setup>& result;
        int32_t length;
        pffft_transform_t transform;
        int32_t line;
    } transforms[] = {
        {setup.fftx, width, PFFFT_REAL, kLineSetupRows},
        {setup.fftyc, height, PFFFT_COMPLEX, kLineSetupColumnPairs},
        {setup.fftyr, height, PFFFT_REAL, kLineSetupRealColumns},
    };
    uint64_t needed = 0;
    for (const auto& t : transforms) {
        needed += static_cast<uint64_t>(pffft_buffersize(t.length, t.transform));
    }
    if (parts.left() < needed) {
        return fail(kLineNoRoomForSetups);
    }
    for (const auto& t : transforms) {
        const auto size = static_cast<uint32_t>(pffft_buffersize(t.length, t.transform));
        PFFFT_Setup* built = nullptr;
        if (pffft_new_setup(&built, t.length, t.transform, parts.take(size), size) != 0) {
            return fail(t.line);
        }
        t.result = built;
    }
    return 0;
}

int32_t setUpImages(FFT2DSetupStruct& setup, int32_t width, int32_t height, Parts& parts) noexcept {
    const auto w = static_cast<uint64_t>(width);
    const auto h = static_cast<uint64_t>(height);
    if (!parts.align()) {
        return fail(kLineNoAlignedStart);
    }
    float32_t* const line = parts.takeFloats(std::max(w, 2 * h));
    if (line == nullptr) {
        return fail(kLineNoRoomForLine);
    }
    setup.linebuf = line;
    float32_t* const first = parts.takeFloats(w * h);
    if (first == nullptr) {
        return fail(kLineNoRoomForImage);
    }
    setup.tempimg = first;
    float32_t* const second = parts.takeFloats(w * h);
    if (second == nullptr) {
        return fail(kLineNoRoomForSecondImage);
    }
    setup.tempimg2 = second;
    return 0;
}

const FFT2DSetupStruct& setupOf(const void* handle) noexcept {
    return *static_cast<const FFT2DSetupStruct*>(handle);
}

bool isOfSize(const FFT2DSetupStruct& setup, uint32_t width, uint32_t height) noexcept {
    return static_cast<uint32_t>(pffft_setup_length(setup.fftx)) == width &&
           static_cast<uint32_t>(pffft_setup_length(setup.fftyc)) == height;
}

// --- Transforms --------------------------------------------------------------------------------------------

int32_t transform(PFFFT_Setup* setup, const float32_t* input, float32_t* output,
                  pffft_direction_t direction) noexcept {
    return pffft_transform_ordered(setup, input, output, nullptr, direction);
}

/**
 * Transforms all columns of a spectrum image: real ones, then pairs. Both images may be the same. Two lines
 * tell which kind failed.
 */
int32_t transformColumns(const FFT2DSetupStruct& setup, const float32_t* input, float32_t* output,
                         uint32_t width, uint32_t height, pffft_direction_t direction, int32_t lineReal,
                         int32_t linePair) noexcept {
    const size_t h = height;
    for (size_t column = 0; column < 2; ++column) {
        if (transform(setup.fftyr, input + column * h, output + column * h, direction) != 0) {
            return fail(lineReal);
        }
    }
    for (size_t p = 1; p < width / 2; ++p) {
        if (transform(setup.fftyc, input + 2 * h * p, output + 2 * h * p, direction) != 0) {
            return fail(linePair);
        }
    }
    return 0;
}

/** The first half of the forward transform: the rows of the image, filled up with zeros, into tempimg. */
int32_t transformRows(const FFT2DSetupStruct& setup, const float32_t* in_img, uint32_t in_width,
                      uint32_t in_height, uint32_t out_width) noexcept {
    std::fill(setup.linebuf + in_width, setup.linebuf + out_width, 0.0F);
    for (size_t y = 0; y < in_height; ++y) {
        std::memcpy(setup.linebuf, in_img + y * in_width, in_width * sizeof(float32_t));
        if (transform(setup.fftx, setup.linebuf, setup.tempimg + y * out_width, PFFFT_FORWARD) != 0) {
            return fail(kLineForwardRow);
        }
    }
    return 0;
}

/** The last half of the inverse transform: the first rows of tempimg, of which the image keeps a part. */
int32_t restoreRows(const FFT2DSetupStruct& setup, uint32_t in_width, float32_t* out_img, uint32_t out_width,
                    uint32_t out_height) noexcept {
    for (size_t y = 0; y < out_height; ++y) {
        if (transform(setup.fftx, setup.tempimg + y * in_width, setup.linebuf, PFFFT_BACKWARD) != 0) {
            return fail(kLineInverseRow);
        }
        std::memcpy(out_img + y * out_width, setup.linebuf, out_width * sizeof(float32_t));
    }
    return 0;
}

}  // namespace

int32_t setup_fft2(void** handle, int32_t out_width, int32_t out_height, uint8_t* buffer,
                   uint32_t bufferSize) noexcept {
    if (handle == nullptr || buffer == nullptr) {
        return reportFailure(kSourceFile);
    }
    Parts parts(buffer, bufferSize);
    if (parts.take(sizeof(FFT2DSetupStruct)) == nullptr) {
        return fail(kLineNoRoomForSetups);
    }
    FFT2DSetupStruct& setup = *new (buffer) FFT2DSetupStruct;
    if (setUpTransforms(setup, out_width, out_height, parts) != 0 ||
        setUpImages(setup, out_width, out_height, parts) != 0) {
        return 1;
    }
    *handle = buffer;
    return 0;
}

int32_t alfft_fft2_r2c(const float32_t* in_img, uint32_t in_width, uint32_t in_height, float32_t* fft_img,
                       uint32_t out_width, uint32_t out_height, void* handle) noexcept {
    if (in_img == nullptr || fft_img == nullptr || handle == nullptr) {
        return reportFailure(kSourceFile);
    }
    const FFT2DSetupStruct& setup = setupOf(handle);
    if (!isOfSize(setup, out_width, out_height)) {
        return reportFailure(kSourceFile);
    }
    if (in_width > out_width) {
        return fail(kLineForwardRowCopy);
    }
    if (in_height > out_height) {
        return fail(kLineForwardRow);
    }
    if (transformRows(setup, in_img, in_width, in_height, out_width) != 0) {
        return 1;
    }
    // The columns are moved to their places and transformed there; rows of zeros cost only their clearing.
    ALfft_GatherColumns(setup.tempimg, out_width, in_height, fft_img, out_height);
    return transformColumns(setup, fft_img, fft_img, out_width, out_height, PFFFT_FORWARD,
                            kLineForwardRealColumn, kLineForwardColumnPair);
}

int32_t alfft_ifft2_r2c(const float32_t* fft_img, uint32_t in_width, uint32_t in_height, float32_t* out_img,
                        uint32_t out_width, uint32_t out_height, void* handle) noexcept {
    if (fft_img == nullptr || out_img == nullptr || handle == nullptr) {
        return reportFailure(kSourceFile);
    }
    const FFT2DSetupStruct& setup = setupOf(handle);
    if (!isOfSize(setup, in_width, in_height)) {
        return reportFailure(kSourceFile);
    }
    if (out_height > in_height) {
        return fail(kLineInverseRow);
    }
    if (out_width > in_width) {
        return fail(kLineInverseRowCopy);
    }
    if (transformColumns(setup, fft_img, setup.tempimg2, in_width, in_height, PFFFT_BACKWARD,
                         kLineInverseRealColumn, kLineInverseColumnPair) != 0) {
        return 1;
    }
    const float32_t factor = 1.0F / (static_cast<float32_t>(in_width) * static_cast<float32_t>(in_height));
    ALfft_ScatterColumns(setup.tempimg2, in_height, factor, setup.tempimg, in_width, out_height);
    return restoreRows(setup, in_width, out_img, out_width, out_height);
}

int32_t alfft_fft2_circ_convolve(const float32_t* in_img, uint32_t in_width, uint32_t in_height,
                                 const float32_t* fft_H, uint32_t h_width, uint32_t h_height,
                                 float32_t* result, uint32_t res_width, uint32_t res_height,
                                 void* handle) noexcept {
    if (fft_H == nullptr || handle == nullptr) {
        return reportFailure(kSourceFile);
    }
    float32_t* const spectrum = setupOf(handle).tempimg2;
    if (alfft_fft2_r2c(in_img, in_width, in_height, spectrum, h_width, h_height, handle) != 0) {
        return fail(kLineConvolveForward);
    }
    ALfft_MultiplySpectra(spectrum, fft_H, h_width, h_height);
    return alfft_ifft2_r2c(spectrum, h_width, h_height, result, res_width, res_height, handle) != 0
               ? fail(kLineConvolveInverse)
               : 0;
}

uint32_t alfft_next_fftsize(uint32_t n) noexcept {
    const auto* const length = std::lower_bound(kLengths.begin(), kLengths.end(), n);
    return length == kLengths.end() ? 0 : *length;
}
