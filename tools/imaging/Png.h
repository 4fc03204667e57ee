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

// Distances as whole millimetres, rounded; more than 65535 mm stays 65535. No measurement is 0: a distance
// that is not above 0, and a pixel whose `valid` byte is 0. A distance below half a millimetre counts as 1
// mm.
void writeDistancePng(const std::filesystem::path& path, std::span<const float> metres,
                      std::span<const std::uint8_t> valid, int width, int height);

}  // namespace imaging
