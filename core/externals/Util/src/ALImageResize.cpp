// SPDX-License-Identifier: Apache-2.0
#include "ALImageResize.h"

#include "ALErrorHandling.h"
#include "ALImageResize_impl.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/Util/src/ALImageResize";
constexpr FixedLineReport fail = {kSourceFile};

// Lines under which failures are known, for mode 0. Each mode has seven, after those of the mode before.
constexpr int32_t kLineLittleMemory = 53;
constexpr int32_t kLineImage = 57;
constexpr int32_t kLinesOfMode = 7;

/** What images of all element types have in common. */
struct Halving {
    void* nimg;
    const void* oimg;
    uint32_t ow;
    uint32_t oh;
    uint32_t firstRow;
    uint32_t endRow;
    void* temp;
};

template <class T>
IreImages<T> imagesOf(const Halving& h) noexcept {
    return {.nimg = static_cast<T*>(h.nimg),
            .oimg = static_cast<const T*>(h.oimg),
            .ow = h.ow,
            .oh = h.oh,
            .firstRow = h.firstRow,
            .endRow = h.endRow,
            .temp = static_cast<T*>(h.temp)};
}

int32_t halve(const Halving& h, IreDownsampleMode mode) noexcept {
    switch (mode) {
        case IRE_UINT8_BINOM3x3:
            return downsample_img_3x3_u8(imagesOf<uint8_t>(h));
        case IRE_UINT8_BINOM5x5:
            return downsample_img_5x5_u8(imagesOf<uint8_t>(h));
        case IRE_UINT16_BINOM3x3:
            return downsample_img_3x3_u16(imagesOf<uint16_t>(h));
        case IRE_UINT16_BINOM5x5:
            return downsample_img_5x5_u16(imagesOf<uint16_t>(h));
        case IRE_FLOAT32_BINOM3x3:
            return downsample_img_3x3_f32(imagesOf<float32_t>(h));
        case IRE_FLOAT32_BINOM5x5:
            return downsample_img_5x5_f32(imagesOf<float32_t>(h));
    }
    return 0;
}

/** Bytes that the lines of a mode take for each element of a line. */
uint64_t lineBytes(IreDownsampleMode mode) noexcept {
    const uint64_t elementSize = mode < IRE_UINT16_BINOM3x3 ? 1 : mode < IRE_FLOAT32_BINOM3x3 ? 2 : 4;
    return elementSize * (mode % 2 == 0 ? 3 : 5);
}

}  // namespace

int32_t ire_binom_half(void* nimg, uint32_t* nw, uint32_t* nh, const void* oimg, uint32_t ow, uint32_t oh,
                       int32_t roi_y1, int32_t roi_y2, IreDownsampleMode mode, void* temp,
                       uint32_t tempSize) noexcept {
    if (mode < IRE_UINT8_BINOM3x3 || mode > IRE_FLOAT32_BINOM5x5) {
        return 0;
    }
    if (nimg == nullptr || nw == nullptr || nh == nullptr || oimg == nullptr || temp == nullptr) {
        return reportFailure(kSourceFile);
    }
    const uint32_t newWidth = ow / 2 + ow % 2;
    const uint32_t newHeight = oh / 2 + oh % 2;
    if (tempSize < lineBytes(mode) * newWidth) {
        return fail(kLineLittleMemory + kLinesOfMode * mode);
    }
    *nw = newWidth;
    *nh = newHeight;
    const uint32_t firstRow = roi_y1 < 0 ? 0 : static_cast<uint32_t>(roi_y1);
    const uint32_t endRow = roi_y2 < 0 ? newHeight : static_cast<uint32_t>(roi_y2) + 1;
    if (endRow > newHeight) {
        return reportFailure(kSourceFile);  // there is no such row
    }
    const Halving halving = {
        .nimg = nimg, .oimg = oimg, .ow = ow, .oh = oh, .firstRow = firstRow, .endRow = endRow, .temp = temp};
    return halve(halving, mode) != 0 ? fail(kLineImage + kLinesOfMode * mode) : 0;
}
