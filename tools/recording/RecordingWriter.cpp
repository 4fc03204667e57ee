// SPDX-License-Identifier: Apache-2.0

#include "recording/RecordingWriter.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include "recording/RecordingError.h"

namespace recording {

RecordingWriter::RecordingWriter(const std::filesystem::path& path) : path_(path), unfinished_(path) {
    unfinished_ += ".part";
    std::error_code error;
    if (std::filesystem::is_directory(path_, error)) {
        fail("it is a folder");
    }
    if (path_.has_parent_path()) {
        std::filesystem::create_directories(path_.parent_path(), error);
        if (error) {
            fail(error.message());
        }
    }
    file_ = std::fopen(unfinished_.c_str(), "wb");
    if (file_ == nullptr) {
        fail(std::strerror(errno));
    }
}

RecordingWriter::~RecordingWriter() {
    removeUnfinished();
}

void RecordingWriter::write(std::span<const std::uint8_t> packet) {
    if (file_ == nullptr) {
        fail("it is closed");
    }
    if (std::fwrite(packet.data(), 1, packet.size(), file_) != packet.size()) {
        fail(std::strerror(errno));
    }
    ++packets_;
    bytes_ += packet.size();
}

void RecordingWriter::finish() {
    if (file_ == nullptr) {
        return;
    }
    if (packets_ == 0) {
        removeUnfinished();
        return;
    }
    std::FILE* const file = file_;
    file_ = nullptr;
    std::error_code error;
    if (std::fclose(file) != 0) {
        const std::string reason = std::strerror(errno);
        std::filesystem::remove(unfinished_, error);
        fail(reason);
    }
    std::filesystem::rename(unfinished_, path_, error);
    if (error) {
        const std::string reason = error.message();
        std::filesystem::remove(unfinished_, error);
        fail(reason);
    }
}

void RecordingWriter::removeUnfinished() {
    if (file_ != nullptr) {
        std::fclose(file_);
        file_ = nullptr;
        std::error_code error;
        std::filesystem::remove(unfinished_, error);
    }
}

void RecordingWriter::fail(const std::string& reason) {
    removeUnfinished();
    throw RecordingError("Cannot write " + path_.string() + ": " + reason + ".");
}

}  // namespace recording
