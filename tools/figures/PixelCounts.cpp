// SPDX-License-Identifier: Apache-2.0

#include "figures/PixelCounts.h"

#include <cmath>

#include "figures/Confidence.h"

namespace figures {

void PixelCounts::add(const Frame& frame, const Mask& mask) {
    ++frames;
    for (std::size_t i = 0; i < frame.confidence.size(); ++i) {
        if (!holds(mask, i)) {
            continue;
        }
        ++pixels;
        const std::uint8_t bits = frame.confidence[i];
        saturated += (bits & saturatedBit) != 0 ? 1 : 0;
        dark += (bits & lowAmplitudeBit) != 0 ? 1 : 0;
        asymmetric += (bits & asymmetricBit) != 0 ? 1 : 0;
        unassigned += (bits & unassignedBit) != 0 ? 1 : 0;
        if ((bits & invalidBit) != 0) {
            continue;
        }
        ++valid;
        usable += isUsable(bits, frame.distance[i]) ? 1 : 0;
        distancesNotFinite += std::isfinite(frame.distance[i]) ? 0 : 1;
        amplitudesNotFinite += std::isfinite(frame.amplitude[i]) ? 0 : 1;
        noisesNotFinite += frame.noise.empty() || std::isfinite(frame.noise[i]) ? 0 : 1;
    }
}

std::optional<double> PixelCounts::shareOf(std::size_t count) const {
    return pixels == 0 ? std::nullopt
                       : std::optional(static_cast<double>(count) / static_cast<double>(pixels));
}

}  // namespace figures
