// SPDX-License-Identifier: Apache-2.0
//
// The whole way: simulated raw images as packets through the plug-in, distances against the truth.

#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "figures/Accuracy.h"
#include "plugin/Plugin.h"
#include "qor/ResultFrame.h"
#include "recording/CameraRecords.h"
#include "simulation/Camera.h"

namespace qor {

// A camera, its packets, and the plug-in that takes them.
class Rig {
 public:
    using Change = std::function<void(recording::ProcessingSettings&)>;

    // What the packets ask for fits the camera; `change` may ask for more.
    explicit Rig(const simulation::CameraSettings& settings, const Change& change = {})
        : camera_(settings),
          packets_(camera_.calibration(), processing(settings, change)),
          algorithm_(QOR_PLUGIN),
          accuracy_(settings.frequencies) {
        algorithm_.process(recording::calibrationPacket(camera_.calibration(), settings.seed));
    }

    simulation::Frame nextFrame() { return camera_.nextFrame(); }

    // Hands the image over and judges the frame that it finishes, if it does.
    bool process(const simulation::Frame& frame, std::size_t image) {
        algorithm_.process(packets_.packetOf(frame.images[image]));
        const std::vector<std::uint8_t> result = algorithm_.result(true);
        zelta::Packet chunks;
        EXPECT_EQ(zelta::packet_parse(result.data(), static_cast<int>(result.size()), chunks), 0);
        last_ = frameIn(chunks, true);
        if (last_) {
            accuracy_.add(*frame.truth, last_->distance, last_->confidence);
        }
        return last_.has_value();
    }

    figures::AccuracySummary process(int frames) {
        for (int k = 0; k < frames; ++k) {
            const simulation::Frame frame = nextFrame();
            for (std::size_t image = 0; image < frame.images.size(); ++image) {
                process(frame, image);
            }
        }
        return accuracy_.summary();
    }

    figures::AccuracySummary summary() const { return accuracy_.summary(); }
    const std::optional<ResultFrame>& last() const { return last_; }

 private:
    static recording::ProcessingSettings processing(const simulation::CameraSettings& settings,
                                                    const Change& change) {
        recording::ProcessingSettings result;
        result.exposureCount = static_cast<int>(settings.exposureTimes.size());
        result.noiseEstimation = settings.intensityImage;
        if (change) {
            change(result);
        }
        return result;
    }

    simulation::Camera camera_;
    recording::ImagePackets packets_;
    plugin::Plugin algorithm_;
    figures::Accuracy accuracy_;
    std::optional<ResultFrame> last_;
};

}  // namespace qor
