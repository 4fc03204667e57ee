// SPDX-License-Identifier: Apache-2.0
#include "ImageFilterMedian.h"

#include <algorithm>
#include <bit>

#include "ALErrorHandling.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/RawDataProcessingTamver/src/ImageFilter";

constexpr float32_t kFarHole = 1e10F;  ///< every other hole of the small mask counts as this
constexpr int32_t kMinValues = 4;      ///< fewer in a mask say nothing

/** A total order of floats: that of the numbers, zeros alike, NaN behind the infinity of its sign. */
int32_t keyOf(float32_t value) noexcept {
    const auto bits = std::bit_cast<int32_t>(value == 0.0F ? 0.0F : value);
    return bits ^ ((bits >> 31) & 0x7FFFFFFF);
}

float32_t valueOf(int32_t key) noexcept {
    return std::bit_cast<float32_t>(key ^ ((key >> 31) & 0x7FFFFFFF));
}

/** Three values of a column in ascending order. */
struct Column3 {
    int32_t min;
    int32_t med;
    int32_t max;
    int32_t valid;  ///< of the three, how many are no holes
};

int32_t medianOf(int32_t a, int32_t b, int32_t c) noexcept {
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

/** The column above, at and below `centre`. `toggle` tells what the next hole counts as. */
Column3 loadColumn(const float32_t* centre, int32_t width, int32_t& toggle) noexcept {
    Column3 column = {0, 0, 0, 3};
    int32_t keys[3];
    for (int32_t line = -1; line <= 1; ++line) {
        float32_t value = centre[line * width];
        if (value == 0.0F) {
            value = static_cast<float32_t>(toggle) * kFarHole;
            toggle = 1 - toggle;
            --column.valid;
        }
        keys[line + 1] = keyOf(value);
    }
    std::sort(keys, keys + 3);
    column.min = keys[0];
    column.med = keys[1];
    column.max = keys[2];
    return column;
}

void medianOfLine(const float32_t* src, float32_t* dst, int32_t width, int32_t& toggle) noexcept {
    Column3 left = loadColumn(src, width, toggle);
    Column3 middle = loadColumn(src + 1, width, toggle);
    for (int32_t x = 2; x < width; ++x) {
        const Column3 right = loadColumn(src + x, width, toggle);
        const int32_t key =
            medianOf(std::max({left.min, middle.min, right.min}), medianOf(left.med, middle.med, right.med),
                     std::min({left.max, middle.max, right.max}));
        const bool enough = left.valid + middle.valid + right.valid >= kMinValues;
        dst[x - 1] = enough ? valueOf(key) : 0.0F;
        left = middle;
        middle = right;
    }
}

/** The 25 pixels right and below of `corner`. */
float32_t medianOfMask(const float32_t* corner, int32_t width) noexcept {
    int32_t keys[25];
    for (int32_t i = 0; i < 25; ++i) {
        keys[i] = keyOf(corner[i / 5 * width + i % 5]);
    }
    std::sort(keys, keys + 25);
    // Holes stand before the values. Behind a negative value they count as the values that they are.
    const auto* const first = std::find_if(keys, keys + 24, [](int32_t key) { return key != 0; });
    const auto n = static_cast<int32_t>(keys + 25 - first);
    return first != keys + 24 && n >= kMinValues ? valueOf(keys[24 - n / 2]) : 0.0F;
}

}  // namespace

int32_t median3x3(const float32_t* src, float32_t* dst, int32_t width, int32_t height, int32_t startLine,
                  int32_t endLine) noexcept {
    if (src == nullptr || dst == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (width < 3) {
        return 0;
    }
    int32_t toggle = 0;
    const int32_t end = std::min(endLine, height - 1);
    for (int32_t y = std::max(1, startLine); y < end; ++y) {
        medianOfLine(src + y * width, dst + y * width, width, toggle);
    }
    return 0;
}

int32_t median5x5(float32_t* src, float32_t* dst, int32_t width, int32_t height, int32_t startLine,
                  int32_t endLine, ImageFilterScratch* scratch, int32_t threadIdx) noexcept {
    if (src == nullptr || dst == nullptr || scratch == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (width < 5) {
        return reportFailure(kSourceFile);
    }
    if (height < 5) {
        return reportFailure(kSourceFile);
    }
    if (threadIdx < 0 || threadIdx >= kMaxThreads) {
        return reportFailure(kSourceFile);
    }
    const int32_t end = std::min(endLine, height - 4);
    for (int32_t r = std::max(0, startLine); r < end; ++r) {
        for (int32_t x = 4; x < width; ++x) {
            dst[(r + 2) * width + x - 2] = medianOfMask(src + r * width + x - 4, width);
        }
    }
    return 0;
}
