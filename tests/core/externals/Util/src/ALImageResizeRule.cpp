// SPDX-License-Identifier: Apache-2.0
#include "ALImageResizeRule.h"

#include <algorithm>
#include <type_traits>

namespace rule {
namespace {

template <class T>
using Sum = std::conditional_t<std::is_floating_point_v<T>, float, uint32_t>;

/** A sum of 4 (3 taps) or 16 (5 taps) shares as an element. */
template <class T>
T scaled(Sum<T> sum, int taps) {
    if constexpr (std::is_floating_point_v<T>) {
        return sum * (taps == 3 ? 0.25F : 0.0625F);
    } else {
        return static_cast<T>(sum >> (taps == 3 ? 2 : 4));
    }
}

/** Weighs five values; the order of the sum counts. */
template <class T>
Sum<T> weigh(Sum<T> a, Sum<T> b, Sum<T> c, Sum<T> d, Sum<T> e) {
    return a + 4 * b + 6 * c + 4 * d + e;
}

}  // namespace

template <class T>
std::vector<T> halveLine(const std::vector<T>& line, int taps) {
    using S = Sum<T>;
    const size_t width = line.size();
    const auto at = [&](size_t i) { return static_cast<S>(line[std::min(i, width - 1)]); };
    std::vector<T> half((width + 1) / 2);
    for (size_t k = 0; k < half.size(); ++k) {
        S sum;
        if (taps == 3) {
            sum = k == 0 ? at(1) + at(0) * 3 : at(2 * k - 1) + 2 * at(2 * k) + at(2 * k + 1);
        } else {
            sum = k == 0 ? 11 * at(0) + 4 * at(1) + at(2)
                         : weigh<T>(at(2 * k - 2), at(2 * k - 1), at(2 * k), at(2 * k + 1), at(2 * k + 2));
        }
        half[k] = scaled<T>(sum, taps);
    }
    return half;
}

template <class T>
Halved<T> halveImage(const std::vector<T>& image, uint32_t width, uint32_t height, int taps,
                     uint32_t firstRow, uint32_t lastRow, T unwritten) {
    using S = Sum<T>;
    const size_t newWidth = (size_t{width} + 1) / 2;
    const size_t newHeight = (size_t{height} + 1) / 2;
    Halved<T> result = {static_cast<uint32_t>(newWidth), static_cast<uint32_t>(newHeight),
                        std::vector<T>(newWidth * newHeight, unwritten)};
    std::vector<T> memory(static_cast<size_t>(taps) * newWidth);
    const auto slot = [&](size_t number) { return number * (width / 2); };
    const auto filter = [&](size_t row, size_t to) {
        const std::vector<T> line(image.begin() + static_cast<ptrdiff_t>(row * width),
                                  image.begin() + static_cast<ptrdiff_t>((row + 1) * width));
        const std::vector<T> half = halveLine(line, taps);
        std::copy(half.begin(), half.end(), memory.begin() + static_cast<ptrdiff_t>(to));
    };
    const auto copyLine = [&](size_t from, size_t to) {
        const std::vector<T> line(memory.begin() + static_cast<ptrdiff_t>(from),
                                  memory.begin() + static_cast<ptrdiff_t>(from + newWidth));
        std::copy(line.begin(), line.end(), memory.begin() + static_cast<ptrdiff_t>(to));
    };

    if (taps == 3) {
        size_t top = slot(2);
        const size_t middle = slot(1);
        size_t bottom = slot(0);
        filter(firstRow == 0 ? 0 : 2 * firstRow - 1, top);
        for (size_t y = firstRow; y <= lastRow; ++y) {
            filter(2 * y, middle);
            filter(2 * y + 1 < height ? 2 * y + 1 : 2 * y, bottom);
            for (size_t x = 0; x < newWidth; ++x) {
                const S outer = static_cast<S>(memory[top + x]) + static_cast<S>(memory[bottom + x]);
                const S inner = 2 * static_cast<S>(memory[middle + x]);
                result.pixels[y * newWidth + x] = scaled<T>(outer + inner, taps);
            }
            std::swap(top, bottom);
        }
        return result;
    }

    size_t l0 = slot(2);
    size_t l1 = slot(3);
    size_t l2 = slot(4);
    size_t free3 = slot(1);
    size_t free4 = slot(0);
    filter(2 * firstRow <= 2 ? 0 : 2 * firstRow - 2, l0);
    if (firstRow < 2) {
        copyLine(l0, l1);
    } else {
        filter(2 * firstRow - 1, l1);
    }
    if (firstRow == 0) {
        copyLine(l1, l2);
    } else {
        filter(2 * firstRow, l2);
    }
    for (size_t y = firstRow; y <= lastRow; ++y) {
        size_t l3 = l2;
        if (2 * y + 1 < height) {
            l3 = free3;
            filter(2 * y + 1, l3);
        }
        size_t l4 = l3;
        if (2 * y + 2 < height) {
            l4 = free4;
            filter(2 * y + 2, l4);
        }
        for (size_t x = 0; x < newWidth; ++x) {
            const auto at = [&](size_t line) { return static_cast<S>(memory[line + x]); };
            result.pixels[y * newWidth + x] =
                scaled<T>(weigh<T>(at(l0), at(l1), at(l2), at(l3), at(l4)), taps);
        }
        free4 = l0;
        free3 = l1;
        l0 = l2;
        l1 = l3;
        l2 = l4;
    }
    return result;
}

template std::vector<uint8_t> halveLine(const std::vector<uint8_t>& line, int taps);
template std::vector<uint16_t> halveLine(const std::vector<uint16_t>& line, int taps);
template std::vector<float> halveLine(const std::vector<float>& line, int taps);
template Halved<uint8_t> halveImage(const std::vector<uint8_t>& image, uint32_t width, uint32_t height,
                                    int taps, uint32_t firstRow, uint32_t lastRow, uint8_t unwritten);
template Halved<uint16_t> halveImage(const std::vector<uint16_t>& image, uint32_t width, uint32_t height,
                                     int taps, uint32_t firstRow, uint32_t lastRow, uint16_t unwritten);
template Halved<float> halveImage(const std::vector<float>& image, uint32_t width, uint32_t height, int taps,
                                  uint32_t firstRow, uint32_t lastRow, float unwritten);

}  // namespace rule
