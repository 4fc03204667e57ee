// SPDX-License-Identifier: Apache-2.0

#include "simulation/Shapes.h"

#include <array>
#include <cmath>
#include <limits>

#include "simulation/Elementary.h"

namespace simulation {
namespace {

constexpr double nearestDistance = 1e-6;

// Two directions in a plane: the first as horizontal as the plane allows, the second perpendicular to it.
struct PlaneAxes {
    Vector first;
    Vector second;
};

PlaneAxes axesOf(const Vector& normal) {
    const Vector horizontal = std::abs(normal.x) > 0.9 ? Vector{0.0, 0.0, 1.0} : Vector{1.0, 0.0, 0.0};
    const Vector first = normalised(horizontal - normal * dot(normal, horizontal));
    const Vector second{normal.y * first.z - normal.z * first.y, normal.z * first.x - normal.x * first.z,
                        normal.x * first.y - normal.y * first.x};
    return {first, second};
}

Vector turnedAboutVertical(const Vector& v, const SineCosine& turn) {
    return {turn.cosine * v.x + turn.sine * v.z, v.y, turn.cosine * v.z - turn.sine * v.x};
}

}  // namespace

std::optional<Intersection> intersect(const Plane& plane, const Vector& ray) {
    const double approach = dot(plane.normal, ray);
    if (approach == 0.0) {
        return std::nullopt;
    }
    const double distance = plane.offset / approach;
    if (!(distance > nearestDistance) || std::isinf(distance)) {
        return std::nullopt;
    }
    const Vector point = ray * distance;
    const PlaneAxes axes = axesOf(plane.normal);
    return Intersection{distance, approach > 0.0 ? -plane.normal : plane.normal, dot(axes.first, point),
                        dot(axes.second, point), 0};
}

std::optional<Intersection> intersect(const Sphere& sphere, const Vector& ray) {
    const double along = dot(sphere.centre, ray);
    const double discriminant =
        along * along - dot(sphere.centre, sphere.centre) + sphere.radius * sphere.radius;
    if (discriminant < 0.0) {
        return std::nullopt;
    }
    const double half = std::sqrt(discriminant);
    double distance = along - half;
    double outward = 1.0;
    if (!(distance > nearestDistance)) {
        distance = along + half;  // the camera is inside
        outward = -1.0;
        if (!(distance > nearestDistance)) {
            return std::nullopt;
        }
    }
    const Vector fromCentre = ray * distance - sphere.centre;
    return Intersection{distance, fromCentre * (outward / sphere.radius), fromCentre.x, fromCentre.y, 0};
}

std::optional<Intersection> intersect(const Box& box, const Vector& ray) {
    const SineCosine turn = sineAndCosine(box.turn);
    const SineCosine back{-turn.sine, turn.cosine};
    const Vector localOrigin = turnedAboutVertical(-box.centre, turn);
    const Vector localRay = turnedAboutVertical(ray, turn);
    const std::array<double, 3> origin{localOrigin.x, localOrigin.y, localOrigin.z};
    const std::array<double, 3> direction{localRay.x, localRay.y, localRay.z};
    const std::array<double, 3> half{0.5 * box.size.x, 0.5 * box.size.y, 0.5 * box.size.z};

    double entry = -std::numeric_limits<double>::infinity();
    double leave = std::numeric_limits<double>::infinity();
    std::size_t entryAxis = 0;
    std::size_t leaveAxis = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (direction[axis] == 0.0) {
            if (std::abs(origin[axis]) > half[axis]) {
                return std::nullopt;
            }
            continue;
        }
        const double side = direction[axis] > 0.0 ? 1.0 : -1.0;
        const double in = (-side * half[axis] - origin[axis]) / direction[axis];
        const double out = (side * half[axis] - origin[axis]) / direction[axis];
        if (in > entry) {
            entry = in;
            entryAxis = axis;
        }
        if (out < leave) {
            leave = out;
            leaveAxis = axis;
        }
    }
    if (entry > leave || !(leave > nearestDistance)) {
        return std::nullopt;
    }
    const bool outside = entry > nearestDistance;
    const double distance = outside ? entry : leave;
    const std::size_t axis = outside ? entryAxis : leaveAxis;

    // Towards the camera in either case: against the ray.
    std::array<double, 3> normal{0.0, 0.0, 0.0};
    normal[axis] = direction[axis] > 0.0 ? -1.0 : 1.0;
    const bool positiveFace = (direction[axis] > 0.0) != outside;
    std::array<double, 3> point{};
    for (std::size_t k = 0; k < 3; ++k) {
        point[k] = origin[k] + distance * direction[k];
    }
    const double u = axis == 0 ? point[2] : point[0];
    const double v = axis == 1 ? point[2] : point[1];
    return Intersection{distance, turnedAboutVertical({normal[0], normal[1], normal[2]}, back), u, v,
                        static_cast<int>(2 * axis) + (positiveFace ? 1 : 0)};
}

}  // namespace simulation
