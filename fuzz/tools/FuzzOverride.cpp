// SPDX-License-Identifier: Apache-2.0
//
// Any text as the value of --set: it changes a record, or it is refused in words.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "PacketZelta.h"
#include "qor/Expression.h"
#include "qor/Override.h"
#include "recording/CameraRecords.h"
#include "simulation/RawPacking.h"

namespace {

const std::vector<std::uint8_t>& packet() {
    static const std::vector<std::uint8_t> bytes = [] {
        const simulation::Calibration calibration = simulation::makeCalibration({});
        recording::ImagePackets packets(calibration, {});
        simulation::RawImage image;
        image.phaseData.assign(simulation::rawImageBytes, 0);
        return packets.packetOf(image);
    }();
    return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto change = qor::readOverride(text);
    if (change.has_value() != qor::checkOverride(text).empty()) {
        std::abort();
    }
    if (!change || !qor::checkSyntax(change->expression).empty()) {
        return 0;
    }
    std::vector<std::uint8_t> bytes = packet();
    recording::RecordedPacket whole;
    whole.bytes = bytes;
    if (zelta::packet_parse(bytes.data(), static_cast<int>(bytes.size()), whole.chunks) != 0) {
        std::abort();
    }
    try {
        qor::applyOverrides({*change}, whole);
    } catch (const recording::RecordError& error) {
        if (std::string(error.what()).empty()) {
            std::abort();
        }
    }
    return 0;
}
