// SPDX-License-Identifier: Apache-2.0
//
// Colours for numbers.

#pragma once

#include <cstdint>

#include "imaging/Canvas.h"

namespace imaging {

enum class ColorMap : std::uint8_t {
    Turbo,    // rainbow with even steps: distances. Published polynomial of A. Mikhailov, 2019.
    Viridis,  // dark to bright, the same in grey and to colour-blind eyes: amplitudes. Polynomial of degree
              // six, fitted to the published table.
    Grey,
    BlueWhiteRed,  // signed errors, white at the middle
};

// Position 0 to 1; beyond, the colour of the end. NaN is black.
Color colorAt(ColorMap map, double position);

}  // namespace imaging
