// SPDX-License-Identifier: Apache-2.0

#include "imaging/Palette.h"

namespace imaging {

Palette::Palette(ColorMap map) : map_(map), cells_(cellCount) {
    Color begin = colorAt(map, 0.0);
    for (std::size_t k = 0; k < cellCount; ++k) {
        const Color end = colorAt(map, static_cast<double>(k + 1) / static_cast<double>(cellCount));
        cells_[k] = {begin, begin == end};
        begin = end;
    }
}

}  // namespace imaging
