// SPDX-License-Identifier: Apache-2.0

#include "figures/PlaneFit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "figures/Confidence.h"

namespace figures {
namespace {

using Vector = std::array<double, 3>;
using Matrix = std::array<Vector, 3>;

// Points that scatter across their line less than this share of what they scatter along it lie in a line.
constexpr double thinnest = 1.0e-12;

// With rounding, a symmetric matrix of three rows is diagonal after far fewer.
constexpr int mostSweeps = 32;

double dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

struct Pixel {
    Vector ray;
    double distance;
    double truth;  // 0 if unknown

    Vector point() const { return {distance * ray[0], distance * ray[1], distance * ray[2]}; }
};

struct Plane {
    Vector normal;
    double offset = 0.0;
};

std::vector<Pixel> pixelsOf(const Frame& frame, std::span<const double> truth, const Mask& mask) {
    std::vector<Pixel> pixels;
    for (std::size_t i = 0; i < frame.distance.size() && !frame.rays.empty(); ++i) {
        const Vector ray{static_cast<double>(frame.rays[3 * i]), static_cast<double>(frame.rays[3 * i + 1]),
                         static_cast<double>(frame.rays[3 * i + 2])};
        const double length = dot(ray, ray);
        if (holds(mask, i) && isUsable(frame.confidence[i], frame.distance[i]) && std::isfinite(length) &&
            length > 0.0) {
            pixels.push_back({ray, static_cast<double>(frame.distance[i]), truth.empty() ? 0.0 : truth[i]});
        }
    }
    return pixels;
}

// Of the points about their mean.
Matrix scatterOf(const std::vector<Pixel>& pixels, const Vector& mean) {
    Matrix scatter{};
    for (const Pixel& pixel : pixels) {
        const Vector point = pixel.point();
        for (std::size_t row = 0; row < 3; ++row) {
            for (std::size_t column = 0; column < 3; ++column) {
                scatter[row][column] += (point[row] - mean[row]) * (point[column] - mean[column]);
            }
        }
    }
    return scatter;
}

Vector meanOf(const std::vector<Pixel>& pixels) {
    Vector sum{};
    for (const Pixel& pixel : pixels) {
        const Vector point = pixel.point();
        for (std::size_t k = 0; k < 3; ++k) {
            sum[k] += point[k];
        }
    }
    for (double& coordinate : sum) {
        coordinate /= static_cast<double>(pixels.size());
    }
    return sum;
}

// Turns a symmetric matrix in the plane of the axes p and q so that its element (p, q) is 0, and the columns
// of `axes` with it (a rotation of Jacobi's method).
void turn(Matrix& matrix, Matrix& axes, std::size_t p, std::size_t q) {
    if (matrix[p][q] == 0.0) {
        return;
    }
    const double theta = (matrix[q][q] - matrix[p][p]) / (2.0 * matrix[p][q]);
    const double tangent = std::copysign(1.0, theta) / (std::abs(theta) + std::hypot(theta, 1.0));
    const double cosine = 1.0 / std::hypot(tangent, 1.0);
    const double sine = tangent * cosine;
    for (Vector& row : matrix) {
        const double left = row[p];
        row[p] = cosine * left - sine * row[q];
        row[q] = sine * left + cosine * row[q];
    }
    for (std::size_t column = 0; column < 3; ++column) {
        const double upper = matrix[p][column];
        matrix[p][column] = cosine * upper - sine * matrix[q][column];
        matrix[q][column] = sine * upper + cosine * matrix[q][column];
    }
    for (Vector& row : axes) {
        const double left = row[p];
        row[p] = cosine * left - sine * row[q];
        row[q] = sine * left + cosine * row[q];
    }
}

std::optional<Plane> planeThrough(const std::vector<Pixel>& pixels) {
    if (pixels.size() < 3) {
        return std::nullopt;
    }
    const Vector mean = meanOf(pixels);
    Matrix scatter = scatterOf(pixels, mean);
    Matrix axes{Vector{1.0, 0.0, 0.0}, Vector{0.0, 1.0, 0.0}, Vector{0.0, 0.0, 1.0}};
    for (int sweep = 0; sweep < mostSweeps; ++sweep) {
        turn(scatter, axes, 0, 1);
        turn(scatter, axes, 0, 2);
        turn(scatter, axes, 1, 2);
    }
    std::array<std::size_t, 3> order{0, 1, 2};
    std::sort(order.begin(), order.end(),
              [&scatter](std::size_t a, std::size_t b) { return scatter[a][a] < scatter[b][b]; });
    const std::size_t least = order[0];
    const double middle = scatter[order[1]][order[1]];
    if (!(middle > thinnest * scatter[order[2]][order[2]])) {
        return std::nullopt;
    }
    const Vector normal{axes[0][least], axes[1][least], axes[2][least]};
    return Plane{normal, dot(normal, mean)};
}

}  // namespace

void PlaneFit::add(const Frame& frame, std::span<const double> truth, const Mask& mask) {
    const std::vector<Pixel> pixels = pixelsOf(frame, truth, mask);
    const std::optional<Plane> plane = planeThrough(pixels);
    if (!plane) {
        return;
    }
    for (const Pixel& pixel : pixels) {
        const double off = dot(plane->normal, pixel.point()) - plane->offset;
        ++pixels_;
        squares_ += off * off;
        distances_ += pixel.distance;
        const double onPlane = plane->offset / dot(plane->normal, pixel.ray);
        if (pixel.truth > 0.0 && std::isfinite(onPlane)) {
            ++judged_;
            errors_ += onPlane - pixel.truth;
            truths_ += pixel.truth;
        }
    }
}

PlaneFigures PlaneFit::figures() const {
    PlaneFigures figures;
    figures.pixels = pixels_;
    if (pixels_ > 0) {
        figures.rms = std::sqrt(squares_ / static_cast<double>(pixels_));
        figures.rmsPercent = 100.0 * *figures.rms / (distances_ / static_cast<double>(pixels_));
    }
    if (judged_ > 0) {
        figures.bias = errors_ / static_cast<double>(judged_);
        figures.biasPercent = 100.0 * errors_ / truths_;
    }
    return figures;
}

}  // namespace figures
