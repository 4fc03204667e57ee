// SPDX-License-Identifier: Apache-2.0
//
// Writes a recording, as a container if its name ends in .zeltaz. It appears under its name only when it is
// finished. If writing fails, as on a full disk, the whole packets so far stay under the unfinished name,
// which the error names.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "files/UnfinishedFile.h"
#include "recording/Container.h"

namespace recording {

class RecordingWriter {
 public:
    // Makes missing folders. Like the others, throws RecordingError with a sentence that names the path.
    explicit RecordingWriter(const std::filesystem::path& path);

    // One whole packet.
    void write(std::span<const std::uint8_t> packet);

    // Ends the file and gives it its name. Without a packet there is nothing to name, and no file remains.
    // After a failure, or a second time, it does nothing.
    void finish();

    const std::filesystem::path& path() const { return path_; }
    std::size_t packets() const { return packets_; }
    std::uint64_t bytes() const { return bytes_; }

 private:
    // Failures of the file become RecordingError and close it.
    template <typename Work>
    void attempt(const Work& work);

    void append(std::span<const std::uint8_t> bytes);
    std::string keepPackets();

    std::filesystem::path path_;
    std::optional<container::Packer> packer_;    // of a container
    std::vector<std::uint64_t> offsets_;         // of its packets
    std::optional<files::UnfinishedFile> file_;  // what is not finished is removed
    std::size_t packets_ = 0;
    std::uint64_t bytes_ = 0;
};

}  // namespace recording
