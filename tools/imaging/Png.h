// SPDX-License-Identifier: Apache-2.0
//
// PNG files. A file appears under its name only when it is complete; missing folders are made.

#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "imaging/Canvas.h"

namespace imaging {

// Keyword (1 to 79 Latin letters) and text, stored as tEXt chunks.
using PngTexts = std::vector<std::pair<std::string, std::string>>;

// 8-bit colour. Throws std::runtime_error with a sentence that names the path.
void writePng(const std::filesystem::path& path, const Canvas& canvas, const PngTexts& texts = {});

// 16-bit greyscale, row by row. Throws std::runtime_error as above, std::invalid_argument if the count of
// values is not width * height.
void writePng16(const std::filesystem::path& path, std::span<const std::uint16_t> values, int width,
                int height, const PngTexts& texts = {});

// How numbers become counts: count = firstCount + (value - offset) * countsPerUnit, rounded.
struct CountScale {
    double offset = 0.0;  // the value of firstCount
    double countsPerUnit = 1.0;
    int firstCount = 0;  // above 0 leaves the count 0 to pixels without a value
    bool zeroIsNone = true;

    // The value of the count 0, were it one: value = valueOfZero() + count / countsPerUnit.
    double valueOfZero() const { return offset - firstCount / countsPerUnit; }
};

struct Counts {
    std::vector<std::uint16_t> values;
    std::size_t beyond = 0;  // values that are the first or last count, but lie farther out
};

// NaN is the count 0. Where 0 means no value, no value becomes 0.
Counts countsOf(std::span<const double> values, const CountScale& scale);

// Distances as whole millimetres, rounded; more than 65535 mm stays 65535. No measurement is 0: a distance
// that is not above 0, and a pixel whose `valid` byte is 0. A distance below half a millimetre counts as 1
// mm.
void writeDistancePng(const std::filesystem::path& path, std::span<const float> metres,
                      std::span<const std::uint8_t> valid, int width, int height);

}  // namespace imaging
