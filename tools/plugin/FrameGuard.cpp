// SPDX-License-Identifier: Apache-2.0

#include "plugin/FrameGuard.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "recording/Channels.h"

namespace plugin {
namespace {

// A packet of the chunks that are on one of the channels; empty if there are none.
std::vector<std::uint8_t> packetOnly(const zelta::Packet& chunks, std::initializer_list<int> channels) {
    zelta::Packet chosen;
    std::copy_if(chunks.begin(), chunks.end(), std::back_inserter(chosen),
                 [channels](const zelta::ZeltaChunk& chunk) {
                     return std::find(channels.begin(), channels.end(), chunk.channelID) != channels.end();
                 });
    const int size = chosen.empty() ? 0 : zelta::packet_get_required_size(chosen);
    std::vector<std::uint8_t> packet(static_cast<std::size_t>(std::max(size, 0)));
    if (!packet.empty() && zelta::packet_create(packet.data(), size, chosen) != 0) {
        packet.clear();
    }
    return packet;
}

bool holds(const zelta::Packet& chunks, int channel) {
    return std::any_of(chunks.begin(), chunks.end(),
                       [channel](const zelta::ZeltaChunk& chunk) { return chunk.channelID == channel; });
}

}  // namespace

FrameGuard::FrameGuard(Plugin& plugin, std::function<void(const std::string& sentence)> lost)
    : plugin_(plugin), lost_(std::move(lost)) {}

bool FrameGuard::process(std::span<const std::uint8_t> packet, const zelta::Packet& chunks,
                         bool fromCustomPin) {
    if (const std::optional<ImageInfo> image = reader_.read(chunks)) {
        const FrameSequence::Verdict verdict = sequence_.next(*image);
        if (!verdict.loss.empty()) {
            lost_(verdict.loss);
        }
        if (!verdict.fits) {
            return false;
        }
        if (verdict.startsAnew) {
            startAnew();
        }
    }
    plugin_.process(packet, fromCustomPin);
    remember(chunks, fromCustomPin);
    return true;
}

void FrameGuard::finish() {
    if (const std::string loss = sequence_.atEnd(); !loss.empty()) {
        lost_(loss);
    }
}

void FrameGuard::startAnew() {
    ++starts_;
    plugin_.startAnew();
    if (!customization_.empty()) {
        plugin_.process(customization_, true);
    }
    if (!calibration_.empty()) {
        plugin_.process(calibration_);
    }
}

// The plug-in keeps its first calibration and its latest customization.
void FrameGuard::remember(const zelta::Packet& chunks, bool fromCustomPin) {
    if (calibration_.empty() && holds(chunks, recording::channel::calibration)) {
        calibration_ = packetOnly(chunks, {recording::channel::calibration, recording::channel::auxiliary});
    }
    if (fromCustomPin && holds(chunks, recording::channel::customization)) {
        customization_ = packetOnly(chunks, {recording::channel::customization});
    }
}

}  // namespace plugin
