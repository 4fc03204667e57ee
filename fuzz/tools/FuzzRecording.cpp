// SPDX-License-Identifier: Apache-2.0
//
// Any bytes as a recording: it is read up to its damage, which is reported in words, and every packet is
// asked for its place in a frame. No crash, no hang, no memory beyond what the bytes justify.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "PacketZelta.h"
#include "plugin/FrameSequence.h"
#include "plugin/ImageInfo.h"
#include "recording/CameraRecords.h"
#include "recording/RecordingReader.h"
#include "recording/TruthRecords.h"

namespace {

/** A file of these bytes, without a disk. */
class File {
 public:
    File(const std::uint8_t* data, std::size_t size) : m_file(memfd_create("recording", 0)) {
        for (std::size_t written = 0; written < size;) {
            const ssize_t step = write(m_file, data + written, size - written);
            if (step <= 0) {
                std::abort();
            }
            written += static_cast<std::size_t>(step);
        }
    }
    ~File() { close(m_file); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_file); }

 private:
    int m_file;
};

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
    const File file(data, size);
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
