// SPDX-License-Identifier: Apache-2.0
//
// Pictures of numbers, one pixel for each. Their scale stands in text chunks: Title, Unit, Minimum and
// Maximum, and for counts Offset and Factor, value = Offset + Factor * count.

#pragma once

#include <filesystem>
#include <optional>

#include "exporting/Channel.h"
#include "exporting/Distribution.h"
#include "imaging/ColorMap.h"
#include "imaging/Png.h"

namespace exporting {

// Whether the numbers are counts already: whole, not negative, of at most 16 bits.
bool isOfCounts(const arrays::ElementType& type);

// The scale of a 16-bit picture: 1 to 65535 from one limit to the other, 0 for no value.
imaging::CountScale countScale(const Limits& limits);

// Whole numbers as they are.
inline constexpr imaging::CountScale asTheyAre{0.0, 1.0, 0, false};

// Metres as whole millimetres, 0 for no value.
inline constexpr imaging::CountScale millimetres{0.0, 1000.0, 0, true};

// Grey, 16 bits. Returns how many values lie beyond the scale; they get its nearest count. Throws
// std::runtime_error with a sentence that names the path.
std::size_t writeCountPng(const std::filesystem::path& path, const Picture& picture,
                          const imaging::CountScale& scale);

// Colours between the limits; a pixel without a value is black. Throws as above.
void writeColorPng(const std::filesystem::path& path, const Picture& picture, const Limits& limits,
                   imaging::ColorMap map);

}  // namespace exporting
