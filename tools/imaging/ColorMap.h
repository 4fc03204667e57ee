// SPDX-License-Identifier: Apache-2.0
//
// Colours for numbers.

#pragma once

#include <cstdint>

#include "imaging/Canvas.h"

namespace imaging {

enum class ColorMap : std::uint8_t {
    Turbo,    // rainbow with even steps, for distances; after the table published by A. Mikhailov, 2019
    Viridis,  // dark to bright, also in grey and to colour-blind eyes, for amplitudes; after the table
              // published by N. Smith and S. van der Walt, 2015
    Cividis,  // blue to yellow, the same to nearly all eyes; after the table published by J. Nunez, C.
              // Anderton and R. Renslow, 2018
    Grey,
    BlueWhiteRed,  // signed errors, white at the middle
};

// Position 0 to 1; beyond, the colour of the end. NaN is black.
Color colorAt(ColorMap map, double position);

}  // namespace imaging
