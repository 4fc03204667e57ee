// SPDX-License-Identifier: Apache-2.0
#include "ImageFilterMedianRule.h"

#include <algorithm>
#include <array>
#include <bit>

namespace rule {
namespace {

/** Numbers in their order; a NaN lies beyond the infinity of its sign, by the size of its bits. */
bool isLess(float a, float b) {
    const auto rank = [](float v) {
        const auto bits = std::bit_cast<uint32_t>(v);
        const auto magnitude = static_cast<int64_t>(bits & 0x7FFFFFFFU);
        return bits >> 31 != 0 ? -magnitude : magnitude;
    };
    return rank(a) < rank(b);
}

bool isHole(float v) {
    return (std::bit_cast<uint32_t>(v) & 0x7FFFFFFFU) == 0;
}

/** A value of the mask, or what a hole counts as. */
struct Entry {
    float value;
    bool hole;
};

}  // namespace

void median3x3(const float* src, float* dst, int32_t width, int32_t height, int32_t startLine,
               int32_t endLine) {
    bool far = false;
    for (int32_t y = std::max(1, startLine); y < std::min(endLine, height - 1); ++y) {
        std::array<std::array<Entry, 3>, 3> columns = {};  // the last three that were loaded
        for (int32_t x = 0; x < width; ++x) {
            std::rotate(columns.begin(), columns.begin() + 1, columns.end());
            for (int32_t line = 0; line < 3; ++line) {
                const float value = src[(y - 1 + line) * width + x];
                columns[2][static_cast<size_t>(line)] = {value, isHole(value)};
                if (isHole(value)) {
                    columns[2][static_cast<size_t>(line)].value = far ? 1e10F : 0.0F;
                    far = !far;
                }
            }
            if (x < 2) {
                continue;
            }
            std::array<Entry, 9> mask;
            for (size_t i = 0; i < 9; ++i) {
                mask[i] = columns[i / 3][i % 3];
            }
            const auto holes = std::count_if(mask.begin(), mask.end(), [](Entry e) { return e.hole; });
            std::sort(mask.begin(), mask.end(), [](Entry a, Entry b) { return isLess(a.value, b.value); });
            dst[y * width + x - 1] = 9 - holes > 3 ? mask[4].value : 0.0F;
        }
    }
}

void median5x5(const float* src, float* dst, int32_t width, int32_t height, int32_t startLine,
               int32_t endLine) {
    for (int32_t r = std::max(0, startLine); r < std::min(endLine, height - 4); ++r) {
        for (int32_t x = 4; x < width; ++x) {
            std::array<float, 25> mask;
            for (int32_t i = 0; i < 25; ++i) {
                const float value = src[(r + i / 5) * width + x - 4 + i % 5];
                mask[static_cast<size_t>(i)] = isHole(value) ? 0.0F : value;
            }
            std::sort(mask.begin(), mask.end(), isLess);
            const auto* const firstValue = std::find_if_not(mask.begin(), mask.end(), isHole);
            const auto n = mask.end() - firstValue;
            dst[(r + 2) * width + x - 2] = n > 3 ? mask[static_cast<size_t>(24 - n / 2)] : 0.0F;
        }
    }
}

}  // namespace rule
