// SPDX-License-Identifier: Apache-2.0

#include "imaging/StrokeFont.h"

#include <array>
#include <map>
#include <string_view>

namespace imaging {
namespace {

// A glyph in writing: strokes separated by blanks. A stroke begins with its kind, '-' straight, '~' a curve
// from its first to its last point, 'o' a closed curve; then points, each an x ('0' to '9', 'A' to 'C' for 10
// to 12) and a y ('a' to 's' for -4 to 14, 'e' is the baseline, 'o' the height of small letters). A curve is
// the quadratic B-spline of its points: it touches the middle of every inner leg.
struct Writing {
    char character;
    double width;
    std::string_view strokes;
};

constexpr auto writings = std::to_array<Writing>({
    {' ', 2.5, ""},
    {'!', 0, "-0e0e -0i0s"},
    {'"', 3, "-0s0p -3s3p"},
    {'#', 8, "-1e3s -5e7s -0i8i -0n8n"},
    {'$', 8, "~8o8q0q0l8l8g0g0i -4s4e"},
    {'%', 10, "o0n4n4s0s o6eAeAj6j -1eAs"},
    {'&', 9, "~9e1o1s6s6o0k0e6e9k"},
    {'\'', 0, "-0s0p"},
    {'(', 3, "~3s0o0g3c"},
    {')', 3, "~0s3o3g0c"},
    {'*', 6, "-3s3m -0r6n -6r0n"},
    {'+', 8, "-0k8k -4g4o"},
    {',', 1, "-1e0c"},
    {'-', 5, "-0j5j"},
    {'.', 0, "-0e0e"},
    {'/', 6, "-0d6s"},
    {'0', 8, "o0e8e8s0s"},
    {'1', 5, "-1p4s4e"},
    {'2', 8, "~0o0s8s8l4i0e -0e8e"},
    {'3', 9, "~0p1s8s8l3l ~3l8l9e0e0h"},
    {'4', 8, "-6e6s0i8i"},
    {'5', 8, "-7s1s0l ~0l3n8n8e1e0g"},
    {'6', 8, "o0e8e8m0m ~0i0p3s7s"},
    {'7', 8, "-0s8s3e"},
    {'8', 8, "o0e8e8l0l o1l7l7s1s"},
    {'9', 8, "o0k8k8s0s ~8o8h5e1e"},
    {':', 0, "-0e0e -0n0n"},
    {';', 1, "-1e0c -1n1n"},
    {'<', 7, "-7o0k7g"},
    {'=', 8, "-0i8i -0m8m"},
    {'>', 7, "-0o7k0g"},
    {'?', 7, "~0p0s7s7m3m3i -3e3e"},
    {'@', 12, "o3i8i8o3o ~8o8iCiCs0s0e9e"},
    {'A', 9, "-0e4s5s9e -2i7i"},
    {'B', 9, "-0e0s4s ~4s8s8l4l -4l0l ~4l9l9e4e -4e0e"},
    {'C', 9, "~9p8s0s0e8e9h"},
    {'D', 9, "-0e0s3s ~3s9s9e3e -3e0e"},
    {'E', 7, "-7e0e0s7s -0l6l"},
    {'F', 7, "-0e0s7s -0l6l"},
    {'G', 9, "~9p8s0s0e9e9l -9l5l"},
    {'H', 8, "-0e0s -8e8s -0l8l"},
    {'I', 0, "-0e0s"},
    {'J', 6, "-6s6i ~6i6e0e0h"},
    {'K', 8, "-0e0s -8s0i -3l8e"},
    {'L', 7, "-0s0e7e"},
    {'M', 10, "-0e0s5hAsAe"},
    {'N', 8, "-0e0s8e8s"},
    {'O', 10, "o0eAeAs0s"},
    {'P', 9, "-0e0s4s ~4s9s9k4k -4k0k"},
    {'Q', 10, "o0eAeAs0s -6iAd"},
    {'R', 9, "-0e0s4s ~4s9s9k4k -4k0k -4k8e"},
    {'S', 8, "~8p8s0s0l8l8e0e0h"},
    {'T', 8, "-0s8s -4s4e"},
    {'U', 8, "-0s0j ~0j0e8e8j -8j8s"},
    {'V', 8, "-0s4e8s"},
    {'W', 12, "-0s3e6s9eCs"},
    {'X', 8, "-0e8s -0s8e"},
    {'Y', 8, "-0s4l8s -4l4e"},
    {'Z', 8, "-0s8s0e8e"},
    {'[', 3, "-3s0s0c3c"},
    {'\\', 6, "-0s6d"},
    {']', 3, "-0s3s3c0c"},
    {'^', 6, "-0n3s6n"},
    {'_', 8, "-0c8c"},
    {'`', 2, "-0s2p"},
    {'a', 7, "o0e7e7o0o -7o7e"},
    {'b', 7, "-0s0e o0e7e7o0o"},
    {'c', 7, "~7m6o0o0e6e7g"},
    {'d', 7, "o0e7e7o0o -7s7e"},
    {'e', 7, "-0j7j ~7j7o0o0e6e7g"},
    {'f', 5, "~5s2s2n -2n2e -0o5o"},
    {'g', 7, "o0e7e7o0o -7o7e ~7e7a0a0c"},
    {'h', 7, "-0s0e ~0j0o7o7j -7j7e"},
    {'i', 0, "-0o0e -0s0s"},
    {'j', 2, "-2o2e ~2e2a0a -2s2s"},
    {'k', 6, "-0s0e -6o0h -2j6e"},
    {'l', 0, "-0s0e"},
    {'m', 10, "-0o0e ~0j0o5o5j -5j5e ~5j5oAoAj -AjAe"},
    {'n', 7, "-0o0e ~0j0o7o7j -7j7e"},
    {'o', 7, "o0e7e7o0o"},
    {'p', 7, "-0o0a o0e7e7o0o"},
    {'q', 7, "-7o7a o0e7e7o0o"},
    {'r', 4, "-0o0e ~0j0o4o"},
    {'s', 6, "~6m6o0o0j6j6e0e0g"},
    {'t', 5, "-2r2i ~2i2e5e -0o5o"},
    {'u', 7, "-0o0j ~0j0e7e7j -7o7e"},
    {'v', 7, "-0o3e4e7o"},
    {'w', 10, "-0o2e3e5o7e8eAo"},
    {'x', 7, "-0e7o -0o7e"},
    {'y', 7, "-0o3e4e -7o4e2a0a"},
    {'z', 6, "-0o6o0e6e"},
    {'{', 4, "~4s2s2k0k ~0k2k2c4c"},
    {'|', 0, "-0s0b"},
    {'}', 4, "~0s2s2k4k ~4k2k2c0c"},
    {'~', 8, "~0j2n6h8l"},
});

constexpr Writing unknown{'\0', 7, "-0e7e7s0s0e"};

StrokePoint middle(const StrokePoint& a, const StrokePoint& b) {
    return {0.5 * (a.x + b.x), 0.5 * (a.y + b.y)};
}

// The arc of a quadratic B-spline around one of its points, from the end of the stroke on.
void appendArc(std::vector<StrokePoint>& stroke, const StrokePoint& around, const StrokePoint& to) {
    const StrokePoint from = stroke.back();
    constexpr int pieces = 8;
    for (int k = 1; k <= pieces; ++k) {
        const double t = static_cast<double>(k) / pieces;
        const double s = 1.0 - t;
        stroke.push_back({s * s * from.x + 2.0 * s * t * around.x + t * t * to.x,
                          s * s * from.y + 2.0 * s * t * around.y + t * t * to.y});
    }
}

std::vector<StrokePoint> openCurve(const std::vector<StrokePoint>& points) {
    std::vector<StrokePoint> stroke{points.front()};
    for (std::size_t k = 1; k + 1 < points.size(); ++k) {
        const bool last = k + 2 == points.size();
        appendArc(stroke, points[k], last ? points[k + 1] : middle(points[k], points[k + 1]));
    }
    return stroke;
}

std::vector<StrokePoint> closedCurve(const std::vector<StrokePoint>& points) {
    std::vector<StrokePoint> stroke{middle(points.back(), points.front())};
    for (std::size_t k = 0; k < points.size(); ++k) {
        appendArc(stroke, points[k], middle(points[k], points[(k + 1) % points.size()]));
    }
    return stroke;
}

double coordinateX(char code) {
    return code >= 'A' ? code - 'A' + 10 : code - '0';
}
double coordinateY(char code) {
    return code - 'e';
}

std::vector<StrokePoint> readStroke(std::string_view writing) {
    std::vector<StrokePoint> points;
    for (std::size_t k = 1; k + 1 < writing.size(); k += 2) {
        points.push_back({coordinateX(writing[k]), coordinateY(writing[k + 1])});
    }
    if (writing.front() == '~') {
        return openCurve(points);
    }
    return writing.front() == 'o' ? closedCurve(points) : points;
}

StrokeGlyph readGlyph(const Writing& writing) {
    StrokeGlyph glyph{writing.width, {}};
    std::string_view rest = writing.strokes;
    while (!rest.empty()) {
        const std::size_t end = rest.find(' ');
        glyph.strokes.push_back(readStroke(rest.substr(0, end)));
        rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
    }
    return glyph;
}

}  // namespace

const StrokeGlyph& strokeGlyph(char character) {
    static const std::map<char, StrokeGlyph> glyphs = [] {
        std::map<char, StrokeGlyph> table;
        for (const Writing& writing : writings) {
            table.emplace(writing.character, readGlyph(writing));
        }
        return table;
    }();
    static const StrokeGlyph emptyBox = readGlyph(unknown);
    const auto found = glyphs.find(character);
    return found == glyphs.end() ? emptyBox : found->second;
}

}  // namespace imaging
