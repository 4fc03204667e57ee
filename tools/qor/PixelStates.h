// SPDX-License-Identifier: Apache-2.0
//
// What became of a pixel, as one of a few states, each with a colour and a name.

#pragma once

#include <cstdint>
#include <vector>

#include "imaging/Figure.h"

namespace qor {

const std::vector<imaging::Category>& pixelStates();

// The index of the state of a pixel with this confidence; `usable` is its entry in usablePixels(). A reason
// for being invalid that explains others comes before them.
std::uint8_t stateOf(std::uint8_t confidence, std::uint8_t usable);

}  // namespace qor
