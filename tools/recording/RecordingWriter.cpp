// SPDX-License-Identifier: Apache-2.0

#include "recording/RecordingWriter.h"

#include "recording/RecordingError.h"

namespace recording {

RecordingWriter::RecordingWriter(const std::filesystem::path& path) : path_(path) {
    attempt([this] { file_.emplace(path_); });
    if (isContainerName(path)) {
        packer_.emplace();
        append(container::head());
    }
}

void RecordingWriter::write(std::span<const std::uint8_t> packet) {
    if (!file_) {
        throw RecordingError("Cannot write " + path_.string() + ": it is closed.");
    }
    if (packer_) {
        std::vector<std::uint8_t> stored;
        attempt([&] { stored = packer_->packed(packet); });
        offsets_.push_back(bytes_);
        append(stored);
    } else {
        append(packet);
    }
    ++packets_;
}

void RecordingWriter::append(std::span<const std::uint8_t> bytes) {
    attempt([&] { file_->write(bytes); });
    bytes_ += bytes.size();
}

void RecordingWriter::finish() {
    if (file_ && packets_ > 0) {
        if (packer_) {
            append(container::index(offsets_, bytes_));
        }
        attempt([this] { file_->finish(); });
    }
    file_.reset();
}

template <typename Work>
void RecordingWriter::attempt(const Work& work) {
    try {
        work();
    } catch (const std::runtime_error& error) {
        const std::string kept = keepPackets();
        file_.reset();
        throw RecordingError(error.what() + kept);
    }
}

std::string RecordingWriter::keepPackets() {
    const std::filesystem::path kept = file_ && packets_ > 0 ? file_->keep(bytes_) : std::filesystem::path();
    return kept.empty()
               ? ""
               : " The packets before are in " + kept.string() + ": " + std::to_string(packets_) + ".";
}

}  // namespace recording
