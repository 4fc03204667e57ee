// SPDX-License-Identifier: Apache-2.0
//
// Images for the tests of figures, which look at images of others.

#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "figures/Confidence.h"
#include "figures/Frame.h"
#include "simulation/Image.h"

namespace figures {

struct Images {
    std::vector<float> distance;
    std::vector<float> amplitude;
    std::vector<std::uint8_t> confidence;
    std::vector<float> noise = {};
    std::vector<float> rays = {};

    // Usable pixels at these distances, in metres, of amplitude 1.
    explicit Images(std::vector<float> distances)
        : distance(std::move(distances)),
          amplitude(distance.size(), 1.0F),
          confidence(distance.size(), lastExposureBit) {}

    // A whole image at one distance.
    explicit Images(float metres) : Images(std::vector<float>(simulation::pixelCount, metres)) {}

    Frame view() const { return {distance, amplitude, confidence, noise, rays}; }
};

}  // namespace figures
