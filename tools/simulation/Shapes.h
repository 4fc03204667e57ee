// SPDX-License-Identifier: Apache-2.0
//
// The solids and surfaces a scene is made of, and where a ray from the camera meets them.

#pragma once

#include <optional>
#include <variant>

#include "simulation/Vector.h"

namespace simulation {

// An endless plane: the points p with dot(normal, p) = offset. The normal has length 1.
struct Plane {
    Vector normal;
    double offset = 0.0;
};

// A box that stands upright: size along its own x, y (vertical) and z axes, turned about the vertical axis.
// A positive turn makes its front face look to the right, seen from the camera.
struct Box {
    Vector centre;
    Vector size;
    double turn = 0.0;  // radians
};

struct Sphere {
    Vector centre;
    double radius = 0.0;
};

using Shape = std::variant<Plane, Box, Sphere>;

// Where a ray meets a shape.
struct Intersection {
    double distance = 0.0;  // along the ray, metres
    Vector normal;          // of the surface, length 1, towards the camera
    double u = 0.0;         // position on the surface, metres, for the texture
    double v = 0.0;
    int face = 0;  // 0, or the face of a box: 0..5 for -x, +x, -y, +y, -z, +z of the box
};

// The nearest intersection in front of the camera of a unit ray that starts at the camera, if there is one.
std::optional<Intersection> intersect(const Plane& plane, const Vector& ray);
std::optional<Intersection> intersect(const Box& box, const Vector& ray);
std::optional<Intersection> intersect(const Sphere& sphere, const Vector& ray);

}  // namespace simulation
