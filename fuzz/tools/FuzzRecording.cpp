// SPDX-License-Identifier: Apache-2.0
//
// Any bytes as a recording: it is read up to its damage, which is reported in words, and every packet is
// asked for its place in a frame. No crash, no hang, no memory beyond what the bytes justify.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "MemoryFile.h"
#include "PacketZelta.h"
#include "plugin/FrameSequence.h"
#include "plugin/ImageInfo.h"
#include "recording/CameraRecords.h"
#include "recording/RecordingReader.h"
#include "recording/TruthRecords.h"

namespace {

void look(const recording::RecordedPacket& packet, plugin::ImageInfoReader& reader,
          plugin::FrameSequence& sequence) {
    recording::beginsFrame(packet.chunks);
    if (const auto image = reader.read(packet.chunks)) {
        sequence.next(*image);
    }
    try {
        recording::truthIn(packet.chunks);
        recording::simulationSettingsIn(packet.chunks);
    } catch (const recording::RecordError&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::MemoryFile file({data, size});
    recording::RecordingReader recording(file.path());
    plugin::ImageInfoReader reader;
    plugin::FrameSequence sequence;
    try {
        while (const recording::RecordedPacket* const packet = recording.next()) {
            look(*packet, reader, sequence);
        }
    } catch (const recording::RecordingError& error) {
        if (std::string(error.what()).empty()) {
            std::abort();
        }
    }
    zelta::PacketCacheClear();
    return 0;
}
