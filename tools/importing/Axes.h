// SPDX-License-Identifier: Apache-2.0
//
// What the dimensions of a stack of raw images stand for.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace importing {

// In the order in which a camera delivers: all exposures of a frequency follow each other, the phases of an
// exposure do, and a picture comes row by row.
enum class Axis : std::uint8_t { Frame, Frequency, Exposure, Phase, Row, Column };

inline constexpr std::size_t axisCount = 6;

// "frame", "freq", "exposure", "phase", "y" and "x".
std::string nameOf(Axis axis);
std::string axesText(const std::vector<Axis>& axes);

// "freq,phase,y,x": each name at most once. None for another text.
std::optional<std::vector<Axis>> readAxes(const std::string& text);

// How many of each there are; a stack has four phases.
struct StackSize {
    std::array<std::size_t, axisCount> lengths{1, 1, 1, 1, 1, 1};

    std::size_t& operator[](Axis axis) { return lengths[static_cast<std::size_t>(axis)]; }
    std::size_t operator[](Axis axis) const { return lengths[static_cast<std::size_t>(axis)]; }
};

}  // namespace importing
