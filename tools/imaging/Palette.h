// SPDX-License-Identifier: Apache-2.0
//
// The colours of a map for many values: those of colorAt, byte for byte, mostly looked up.

#pragma once

#include <cstddef>
#include <vector>

#include "imaging/ColorMap.h"

namespace imaging {

class Palette {
 public:
    explicit Palette(ColorMap map);

    Color at(double position) const {
        if (!(position > 0.0 && position < 1.0)) {
            return colorAt(map_, position);
        }
        const Cell& cell = cells_[static_cast<std::size_t>(position * static_cast<double>(cellCount))];
        return cell.isOneColor ? cell.color : colorAt(map_, position);
    }

 private:
    // A power of two, so that the places between which a map is a line or a parabola are ends of cells. A
    // colour that is the same at both ends of a cell is then the same all through it.
    static constexpr std::size_t cellCount = 8192;

    struct Cell {
        Color color;
        bool isOneColor = false;
    };

    ColorMap map_;
    std::vector<Cell> cells_;
};

}  // namespace imaging
