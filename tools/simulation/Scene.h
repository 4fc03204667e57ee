// SPDX-License-Identifier: Apache-2.0
//
// An analytic scene in front of the camera: objects with textures, under ambient light. The camera and its
// light source stand together at the origin, so the camera sees no shadows.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulation/Shapes.h"

namespace simulation {

// Diffuse reflectivity over a surface, between `low` and `high`; `period` in metres.
struct Texture {
    enum class Pattern : std::uint8_t {
        Uniform,   // high everywhere
        Checker,   // fields of one period
        Stripes,   // along v, one period dark and bright
        Gradient,  // from low at v = -period / 2 to high at v = period / 2
    };
    Pattern pattern = Pattern::Uniform;
    double low = 0.0;
    double high = 0.5;
    double period = 1.0;
};

// Reflectivity at a position on the surface.
double reflectivityAt(const Texture& texture, double u, double v);

struct Object {
    Shape shape;
    Texture texture;
};

// What a ray of the camera sees.
struct Hit {
    double distance = 0.0;  // radial, metres
    Vector normal;          // towards the camera
    double reflectivity = 0.0;
    std::uint32_t surface = 0;  // the same number for all points of one smooth surface
};

struct Scene {
    std::string name;
    std::string description;
    std::vector<Object> objects;
    double nearest = 0.0;  // round distances, metres, between which all of the scene lies
    double furthest = 1.0;

    // The nearest surface along a unit ray from the origin.
    std::optional<Hit> cast(const Vector& ray) const;
};

// The scenes that can be asked for by name. An unknown name throws std::invalid_argument and lists the known
// ones.
const std::vector<Scene>& namedScenes();
const Scene& sceneNamed(std::string_view name);

// The wall at another distance along the optical axis, metres.
Scene wallAt(double distance);

}  // namespace simulation
