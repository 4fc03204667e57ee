// SPDX-License-Identifier: Apache-2.0
//
// Vectors of the camera frame: x to the right, y down, z along the optical axis, metres.

#pragma once

#include <cmath>

namespace simulation {

struct Vector {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

constexpr Vector operator+(const Vector& a, const Vector& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
constexpr Vector operator-(const Vector& a, const Vector& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
constexpr Vector operator-(const Vector& a) {
    return {-a.x, -a.y, -a.z};
}
constexpr Vector operator*(const Vector& a, double factor) {
    return {a.x * factor, a.y * factor, a.z * factor};
}

constexpr double dot(const Vector& a, const Vector& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

inline double length(const Vector& a) {
    return std::sqrt(dot(a, a));
}
inline Vector normalised(const Vector& a) {
    return a * (1.0 / length(a));
}

}  // namespace simulation
