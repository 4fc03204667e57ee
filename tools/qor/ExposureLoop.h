// SPDX-License-Identifier: Apache-2.0
//
// The host's part in auto exposure: it hands each frame to the plug-in as a camera would, takes the exposure
// times that the plug-in proposes, and uses them for the next frame.

#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <vector>

#include "plugin/Plugin.h"

namespace qor {

// What a frame measured, and what it was measured with.
struct ExposedFrame {
    std::size_t number = 0;
    double brightness = 1.0;                  // of the scene, as a share of its own
    std::vector<std::int32_t> exposureTimes;  // microseconds
    std::size_t saturatedPixels = 0;          // saturated in every exposure
    std::optional<double> medianAmplitude;    // raw counts, of the valid pixels
    std::vector<std::int32_t> proposedTimes;  // for the next frame
};

class ExposureLoop {
 public:
    // The packet of the calibration comes first. Throws plugin::PluginError, as do all functions below.
    ExposureLoop(plugin::Plugin& algorithm, const std::vector<std::uint8_t>& calibrationPacket);

    // Hands over the packet of one raw image, taken with these times. Returns the frame that it finishes, if
    // any. Throws recording::RecordError for a malformed result.
    std::optional<ExposedFrame> process(const std::vector<std::uint8_t>& packet,
                                        const std::vector<std::int32_t>& exposureTimes);

 private:
    plugin::Plugin& algorithm_;
    std::size_t frames_ = 0;
};

void printExposure(const std::vector<ExposedFrame>& frames);

nlohmann::ordered_json exposureJson(const std::vector<ExposedFrame>& frames);

}  // namespace qor
