// SPDX-License-Identifier: Apache-2.0
#include "ALImageResize_impl.h"

#include "ALErrorHandling.h"
#include "ALImageResizeKernels.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/Util/src/ALImageResize_impl";
constexpr FixedLineReport fail = {kSourceFile};

// Lines under which failures are known. A line fails only if an element has no source;
// then the image's first line fails.
constexpr int32_t kLineShort3x3 = 29;
constexpr int32_t kLineFirst3x3 = 48;
constexpr int32_t kLineShort5x5 = 87;
constexpr int32_t kLineFirst5x5 = 107;

constexpr uint32_t kShortest3x3 = 2;
constexpr uint32_t kShortest5x5 = 3;

template <class T>
int32_t halveLine3x3(const T* src, T* res, int32_t ow) noexcept {
    if (src == nullptr || res == nullptr || ow < static_cast<int32_t>(kShortest3x3)) {
        return fail(kLineShort3x3);
    }
    ALImageResize_HalveLine3x3(src, res, static_cast<size_t>(ow));
    return 0;
}

template <class T>
int32_t halveLine5x5(const T* src, T* res, int32_t ow) noexcept {
    if (src == nullptr || res == nullptr || ow < static_cast<int32_t>(kShortest5x5)) {
        return fail(kLineShort5x5);
    }
    ALImageResize_HalveLine5x5(src, res, static_cast<size_t>(ow));
    return 0;
}

/** Reports a line that is too short, then the first line of the image. An image without rows has no line. */
template <class T>
int32_t checkLines(const IreImages<T>& images, uint32_t shortest, int32_t lineShort,
                   int32_t lineFirst) noexcept {
    if (images.ow < shortest) {
        reportError(kSourceFile, lineShort, nullptr);
    } else if (images.oh != 0) {
        return 0;
    }
    return fail(lineFirst);
}

template <class T>
int32_t halveImage3x3(const IreImages<T>& images) noexcept {
    if (checkLines(images, kShortest3x3, kLineShort3x3, kLineFirst3x3) != 0) {
        return 1;
    }
    if (images.firstRow < images.endRow) {
        ALImageResize_HalveImage3x3(images);
    }
    return 0;
}

template <class T>
int32_t halveImage5x5(const IreImages<T>& images) noexcept {
    if (checkLines(images, kShortest5x5, kLineShort5x5, kLineFirst5x5) != 0) {
        return 1;
    }
    if (images.firstRow < images.endRow) {
        ALImageResize_HalveImage5x5(images);
    }
    return 0;
}

}  // namespace

int32_t downsample_line_3x3_u8(const uint8_t* src, uint8_t* res, int32_t ow) noexcept {
    return halveLine3x3(src, res, ow);
}

int32_t downsample_line_5x5_u8(const uint8_t* src, uint8_t* res, int32_t ow) noexcept {
    return halveLine5x5(src, res, ow);
}

int32_t downsample_line_3x3_u16(const uint16_t* src, uint16_t* res, int32_t ow) noexcept {
    return halveLine3x3(src, res, ow);
}

int32_t downsample_line_5x5_u16(const uint16_t* src, uint16_t* res, int32_t ow) noexcept {
    return halveLine5x5(src, res, ow);
}

int32_t downsample_line_3x3_f32(const float32_t* src, float32_t* res, int32_t ow) noexcept {
    return halveLine3x3(src, res, ow);
}

int32_t downsample_line_5x5_f32(const float32_t* src, float32_t* res, int32_t ow) noexcept {
    return halveLine5x5(src, res, ow);
}

int32_t downsample_img_3x3_u8(const IreImages<uint8_t>& images) noexcept {
    return halveImage3x3(images);
}

int32_t downsample_img_5x5_u8(const IreImages<uint8_t>& images) noexcept {
    return halveImage5x5(images);
}

int32_t downsample_img_3x3_u16(const IreImages<uint16_t>& images) noexcept {
    return halveImage3x3(images);
}

int32_t downsample_img_5x5_u16(const IreImages<uint16_t>& images) noexcept {
    return halveImage5x5(images);
}

int32_t downsample_img_3x3_f32(const IreImages<float32_t>& images) noexcept {
    return halveImage3x3(images);
}

int32_t downsample_img_5x5_f32(const IreImages<float32_t>& images) noexcept {
    return halveImage5x5(images);
}
