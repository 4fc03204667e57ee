// SPDX-License-Identifier: Apache-2.0
//
// Point clouds in the two formats that every viewer reads. Positions are metres in the camera's frame: x to
// the right, y down, z along the optical axis.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>

namespace imaging {

// One entry for each pixel, row by row.
struct PointImage {
    std::span<const float> x;
    std::span<const float> y;
    std::span<const float> z;
    std::span<const float> amplitude;     // of the returned light, counts per microsecond
    std::span<const std::uint8_t> valid;  // 0: no point
    int width = 0;
    int height = 0;
};

enum class CloudEncoding : std::uint8_t { Binary, Text };

// PLY, binary (little-endian) or text: the valid points only, those with finite coordinates. Throws
// std::invalid_argument if the counts do not match, std::runtime_error with a sentence that names the path.
// Returns the number of points.
std::size_t writePly(const std::filesystem::path& path, const PointImage& points,
                     CloudEncoding encoding = CloudEncoding::Binary);

// PCD 0.7, binary or text, organised: a point for each pixel, NaN where there is none. Throws as above.
// Returns the number of points, those without numbers among them.
std::size_t writePcd(const std::filesystem::path& path, const PointImage& points,
                     CloudEncoding encoding = CloudEncoding::Binary);

}  // namespace imaging
