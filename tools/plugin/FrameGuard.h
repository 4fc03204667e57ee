// SPDX-License-Identifier: Apache-2.0
//
// Stands between a camera, whose images may get lost, and the plug-in, which believes what it gets.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "plugin/FrameSequence.h"
#include "plugin/ImageInfo.h"
#include "plugin/Plugin.h"
#include "zelta_packet.h"

namespace plugin {

// Images are passed on to the plug-in as they come, so that nothing waits. From the first image that does not
// belong to the frame, the rest of the frame is held back: the plug-in cannot finish it. Before the first
// image of the next frame the algorithm is created anew and gets its calibration and customization again.
// That frame is then what it would be as the very first: filters over time and exposure control begin anew
// with it, and the result's frameCounter is 0.
class FrameGuard {
 public:
    // `lost` gets a sentence about what is missing, before the packet that revealed it is passed on.
    FrameGuard(Plugin& plugin, std::function<void(const std::string& sentence)> lost);

    // Hands the packet over unless it is held back; false if it is. `chunks` are those of the packet. Throws
    // PluginError.
    bool process(std::span<const std::uint8_t> packet, const zelta::Packet& chunks,
                 bool fromCustomPin = false);

    // Reports what is missing when no more packets come.
    void finish();

    const FrameSequence& sequence() const { return sequence_; }
    std::size_t starts() const { return starts_; }  // how many times the algorithm was created anew

 private:
    void startAnew();
    void remember(const zelta::Packet& chunks, bool fromCustomPin);

    Plugin& plugin_;
    std::function<void(const std::string&)> lost_;
    ImageInfoReader reader_;
    FrameSequence sequence_;
    std::vector<std::uint8_t> calibration_;    // the one that the plug-in took; empty if it has none
    std::vector<std::uint8_t> customization_;  // the latest of the custom pin
    std::size_t starts_ = 0;
};

}  // namespace plugin
