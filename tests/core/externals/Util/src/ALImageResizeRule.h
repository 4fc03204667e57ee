// SPDX-License-Identifier: Apache-2.0
//
// The image pyramid in plain words, for each type of element and either kernel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rule {

/** A halved image, and the memory of its lines. */
template <class T>
struct Halved {
    uint32_t width;
    uint32_t height;
    std::vector<T> pixels;
};

/** A line of at least `taps` - 1 (3) or `taps` - 2 (5) elements, filtered and halved. */
template <class T>
std::vector<T> halveLine(const std::vector<T>& line, int taps);

/**
 * The halved image; only the rows firstRow to lastRow are computed, the others hold `unwritten`. The filtered
 * lines stand in one memory, (width / 2) elements apart: with an odd width the last element of each is the
 * first of the next.
 */
template <class T>
Halved<T> halveImage(const std::vector<T>& image, uint32_t width, uint32_t height, int taps,
                     uint32_t firstRow, uint32_t lastRow, T unwritten);

}  // namespace rule
