// SPDX-License-Identifier: Apache-2.0

#include "imaging/PointCloud.h"

#include <fmt/format.h>

#include <bit>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "imaging/WholeFile.h"

namespace imaging {
namespace {

constexpr const char* frameOfReference = "metres; x to the right, y down, z along the optical axis";

std::size_t checkedCount(const PointImage& points) {
    if (points.width < 1 || points.height < 1) {
        throw std::invalid_argument("The points of an image must fill its width and height.");
    }
    const std::size_t count =
        static_cast<std::size_t>(points.width) * static_cast<std::size_t>(points.height);
    if (points.x.size() != count || points.y.size() != count || points.z.size() != count ||
        points.amplitude.size() != count || points.valid.size() != count) {
        throw std::invalid_argument("The points of an image must fill its width and height.");
    }
    return count;
}

bool isPoint(const PointImage& points, std::size_t i) {
    return points.valid[i] != 0 && std::isfinite(points.x[i]) && std::isfinite(points.y[i]) &&
           std::isfinite(points.z[i]);
}

struct Point {
    float x;
    float y;
    float z;
    float amplitude;
};

void append(std::vector<std::uint8_t>& bytes, std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

// Least significant byte first, whatever the machine.
void append(std::vector<std::uint8_t>& bytes, float value) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    for (unsigned int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>((bits >> shift) & 0xFFU));
    }
}

// As few digits as give the same number back. Readers know no other word than "nan" for what is no number.
std::string textOf(float value) {
    return std::isfinite(value) ? fmt::format("{}", value) : "nan";
}

void append(std::vector<std::uint8_t>& bytes, const Point& point, CloudEncoding encoding) {
    if (encoding == CloudEncoding::Text) {
        append(bytes, fmt::format("{} {} {} {}\n", textOf(point.x), textOf(point.y), textOf(point.z),
                                  textOf(point.amplitude)));
        return;
    }
    append(bytes, point.x);
    append(bytes, point.y);
    append(bytes, point.z);
    append(bytes, point.amplitude);
}

}  // namespace

std::size_t writePly(const std::filesystem::path& path, const PointImage& points, CloudEncoding encoding) {
    const std::size_t count = checkedCount(points);
    std::vector<std::uint8_t> body;
    std::size_t vertices = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (isPoint(points, i)) {
            append(body, Point{points.x[i], points.y[i], points.z[i], points.amplitude[i]}, encoding);
            ++vertices;
        }
    }
    std::vector<std::uint8_t> bytes;
    append(bytes, fmt::format("ply\n"
                              "format {} 1.0\n"
                              "comment {}\n"
                              "comment amplitude in counts per microsecond; invalid pixels are left out\n"
                              "element vertex {}\n"
                              "property float x\n"
                              "property float y\n"
                              "property float z\n"
                              "property float amplitude\n"
                              "end_header\n",
                              encoding == CloudEncoding::Text ? "ascii" : "binary_little_endian",
                              frameOfReference, vertices));
    bytes.insert(bytes.end(), body.begin(), body.end());
    writeWhole(path, bytes);
    return vertices;
}

std::size_t writePcd(const std::filesystem::path& path, const PointImage& points, CloudEncoding encoding) {
    const std::size_t count = checkedCount(points);
    std::vector<std::uint8_t> bytes;
    append(bytes, fmt::format("# .PCD v0.7 - Point Cloud Data file format\n"
                              "# {}\n"
                              "# amplitude in counts per microsecond; invalid pixels are NaN\n"
                              "VERSION 0.7\n"
                              "FIELDS x y z amplitude\n"
                              "SIZE 4 4 4 4\n"
                              "TYPE F F F F\n"
                              "COUNT 1 1 1 1\n"
                              "WIDTH {}\n"
                              "HEIGHT {}\n"
                              "VIEWPOINT 0 0 0 1 0 0 0\n"
                              "POINTS {}\n"
                              "DATA {}\n",
                              frameOfReference, points.width, points.height, count,
                              encoding == CloudEncoding::Text ? "ascii" : "binary"));
    constexpr float none = std::numeric_limits<float>::quiet_NaN();
    for (std::size_t i = 0; i < count; ++i) {
        const Point point = isPoint(points, i)
                                ? Point{points.x[i], points.y[i], points.z[i], points.amplitude[i]}
                                : Point{none, none, none, points.amplitude[i]};
        append(bytes, point, encoding);
    }
    writeWhole(path, bytes);
    return count;
}

}  // namespace imaging
