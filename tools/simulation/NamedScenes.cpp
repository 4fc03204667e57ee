// SPDX-License-Identifier: Apache-2.0
//
// The scenes that users ask for by name.

#include <cmath>
#include <stdexcept>

#include "simulation/Elementary.h"
#include "simulation/Scene.h"

namespace simulation {
namespace {

using Pattern = Texture::Pattern;

constexpr double degrees(double angle) {
    return angle * pi / 180.0;
}

Plane planeThrough(const Vector& point, const Vector& towards) {
    const Vector normal = normalised(towards);
    return {normal, dot(normal, point)};
}

// A corner of a room with things of very different reflectivity; nothing is further than 2.4 m.
Scene room() {
    const Object floor{planeThrough({0.0, 0.55, 1.0}, {0.0, -1.0, -0.05}),
                       {Pattern::Checker, 0.3, 0.6, 0.16}};
    const Object backWall{planeThrough({0.0, 0.0, 1.75}, {0.0, 0.0, -1.0}),
                          {Pattern::Uniform, 0.0, 0.6, 1.0}};
    const Object leftWall{planeThrough({-0.98, 0.0, 1.0}, {1.0, 0.0, 0.0}),
                          {Pattern::Stripes, 0.35, 0.7, 0.24}};
    const Object crate{Box{{0.56, 0.34, 1.32}, {0.36, 0.42, 0.36}, degrees(28.0)},
                       {Pattern::Uniform, 0.0, 0.75, 1.0}};
    const Object darkCrate{Box{{-0.42, 0.42, 1.12}, {0.30, 0.32, 0.26}, degrees(-33.0)},
                           {Pattern::Uniform, 0.0, 0.16, 1.0}};
    const Object pillar{Box{{0.98, 0.0, 1.55}, {0.2, 2.0, 0.2}, degrees(12.0)},
                        {Pattern::Stripes, 0.2, 0.8, 0.1}};
    const Object brightBall{Sphere{{0.06, 0.38, 0.98}, 0.17}, {Pattern::Uniform, 0.0, 0.9, 1.0}};
    const Object stripedBall{Sphere{{0.60, 0.00, 1.34}, 0.13}, {Pattern::Stripes, 0.15, 0.85, 0.06}};
    const Object darkBall{Sphere{{-0.30, -0.28, 1.36}, 0.19}, {Pattern::Uniform, 0.0, 0.14, 1.0}};
    const Object shelf{Box{{0.34, -0.42, 1.62}, {0.75, 0.04, 0.24}, 0.0}, {Pattern::Uniform, 0.0, 0.45, 1.0}};
    const Object book{Box{{0.20, -0.54, 1.62}, {0.09, 0.2, 0.16}, degrees(8.0)},
                      {Pattern::Uniform, 0.0, 0.3, 1.0}};
    return {
        "room",
        "corner of a room: checkered floor, walls, boxes and balls of 14 to 90 % reflectivity, up to 2.4 m",
        {floor, backWall, leftWall, crate, darkCrate, pillar, brightBall, stripedBall, darkBall, shelf, book},
        0.5,
        2.5};
}

Scene wall(double distance, double nearest, double furthest) {
    return {"wall",
            "one flat wall across the optical axis at 1.2 m, 60 % reflectivity",
            {{planeThrough({0.0, 0.0, distance}, {0.0, 0.0, -1.0}), {Pattern::Uniform, 0.0, 0.6, 1.0}}},
            nearest,
            furthest};
}

// Distance changes from left to right, reflectivity from bottom to top.
Scene ramp() {
    return {"ramp",
            "a plane that recedes from 0.5 m at the left to 1.7 m at the right, 2 to 18 % reflectivity",
            {{planeThrough({-0.28, 0.0, 0.4}, {0.7755, 0.0, -1.0}), {Pattern::Gradient, 0.18, 0.02, 1.2}}},
            0.25,
            2.0};
}

// Beyond the unique range of any single frequency that resolves centimetres.
Scene hall() {
    const Object floor{planeThrough({0.0, 1.1, 1.0}, {0.0, -1.0, 0.0}), {Pattern::Checker, 0.3, 0.6, 0.5}};
    const Object backWall{planeThrough({0.0, 0.0, 6.5}, {0.0, 0.0, -1.0}), {Pattern::Uniform, 0.0, 0.7, 1.0}};
    const Object leftWall{planeThrough({-1.9, 0.0, 1.0}, {1.0, 0.0, 0.0}), {Pattern::Stripes, 0.4, 0.8, 0.8}};
    const Object rightWall{planeThrough({2.1, 0.0, 1.0}, {-1.0, 0.0, 0.0}),
                           {Pattern::Uniform, 0.0, 0.65, 1.0}};
    const Object ceiling{planeThrough({0.0, -1.4, 1.0}, {0.0, 1.0, 0.0}), {Pattern::Uniform, 0.0, 0.8, 1.0}};
    const Object crate{Box{{-0.7, 0.7, 3.0}, {0.8, 0.8, 0.8}, degrees(30.0)},
                       {Pattern::Uniform, 0.0, 0.7, 1.0}};
    const Object column{Box{{0.9, 0.0, 4.6}, {0.4, 2.6, 0.4}, degrees(15.0)},
                        {Pattern::Stripes, 0.3, 0.8, 0.2}};
    const Object ball{Sphere{{0.35, 0.7, 2.2}, 0.4}, {Pattern::Uniform, 0.0, 0.85, 1.0}};
    return {"hall",
            "a hall of 7 m: distances beyond the unique range of one frequency",
            {floor, backWall, leftWall, rightWall, ceiling, crate, column, ball},
            0.5,
            7.5};
}

// Shows stray light: the near box is a hundred times as bright as the wall.
Scene glare() {
    const Object backWall{planeThrough({0.0, 0.0, 1.8}, {0.0, 0.0, -1.0}), {Pattern::Uniform, 0.0, 0.2, 1.0}};
    const Object brightBox{Box{{-0.10, 0.04, 0.50}, {0.26, 0.26, 0.10}, 0.0},
                           {Pattern::Uniform, 0.0, 0.9, 1.0}};
    return {"glare",
            "a bright box at 0.45 m, 90 % reflectivity, before a dark wall at 1.8 m, 20 %",
            {backWall, brightBox},
            0.0,
            2.5};
}

}  // namespace

const std::vector<Scene>& namedScenes() {
    static const std::vector<Scene> scenes{room(), wall(1.2, 1.0, 2.0), ramp(), hall(), glare()};
    return scenes;
}

Scene wallAt(double distance) {
    // A ray at the corner of the image is 1.4 times as long as one along the axis.
    return wall(distance, std::floor(10.0 * distance) / 10.0, std::ceil(15.0 * distance) / 10.0);
}

const Scene& sceneNamed(std::string_view name) {
    std::string known;
    for (const Scene& scene : namedScenes()) {
        if (scene.name == name) {
            return scene;
        }
        known += (known.empty() ? "" : ", ") + scene.name;
    }
    throw std::invalid_argument("There is no scene \"" + std::string(name) + "\"; known scenes: " + known +
                                ".");
}

}  // namespace simulation
