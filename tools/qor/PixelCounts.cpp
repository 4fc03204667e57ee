// SPDX-License-Identifier: Apache-2.0

#include "qor/PixelCounts.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>
#include <vector>

#include "qor/Arguments.h"

namespace qor {

void PixelCounts::add(const ResultFrame& frame) {
    ++frames;
    pixels += frame.confidence.size();
    for (std::size_t i = 0; i < frame.confidence.size(); ++i) {
        if ((frame.confidence[i] & invalidBit) != 0) {
            continue;
        }
        ++valid;
        usable += isUsable(frame.confidence[i], frame.distance[i]) ? 1 : 0;
        distancesNotFinite += std::isfinite(frame.distance[i]) ? 0 : 1;
        amplitudesNotFinite += std::isfinite(frame.amplitude[i]) ? 0 : 1;
        noisesNotFinite += frame.noise.empty() || std::isfinite(frame.noise[i]) ? 0 : 1;
    }
}

std::optional<double> PixelCounts::validShare() const {
    return pixels == 0 ? std::nullopt
                       : std::optional(static_cast<double>(valid) / static_cast<double>(pixels));
}

std::string notFiniteText(const PixelCounts& counts) {
    std::vector<std::string> kinds;
    for (const auto& [count, noun] : {std::pair(counts.distancesNotFinite, "distance"),
                                      std::pair(counts.amplitudesNotFinite, "amplitude"),
                                      std::pair(counts.noisesNotFinite, "noise value")}) {
        if (count > 0) {
            kinds.push_back(counted(count, noun));
        }
    }
    return kinds.empty() ? ""
                         : fmt::format("of the valid pixels {} {} infinite or NaN", joined(kinds, " and "),
                                       counts.notFinite() == 1 ? "is" : "are");
}

}  // namespace qor
