// SPDX-License-Identifier: Apache-2.0

#include "files/UnfinishedFile.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace files {
namespace {

// Each is the trace of a command that was killed, or of one that is at work. Who has more has other troubles.
constexpr int mostUnfinished = 1000;

}  // namespace

UnfinishedFile::UnfinishedFile(const std::filesystem::path& path) : path_(path) {
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
    open();
}

UnfinishedFile::~UnfinishedFile() {
    remove();
}

void UnfinishedFile::write(std::span<const std::uint8_t> bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) {
        fail(std::strerror(errno));
    }
}

void UnfinishedFile::finish() {
    std::FILE* const file = file_;
    file_ = nullptr;
    if (std::fclose(file) != 0) {
        fail(std::strerror(errno));
    }
    std::error_code error;
    std::filesystem::rename(unfinished_, path_, error);
    if (error) {
        fail(error.message());
    }
    exists_ = false;
}

// "x" opens only what is not there yet, so that two at once never share a file.
void UnfinishedFile::open() {
    for (int number = 0; number < mostUnfinished; ++number) {
        unfinished_ = path_;
        unfinished_ += number == 0 ? ".part" : ".part" + std::to_string(number);
        file_ = std::fopen(unfinished_.c_str(), "wbx");
        if (file_ != nullptr) {
            exists_ = true;
            return;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    fail(std::strerror(errno));
}

void UnfinishedFile::remove() {
    if (file_ != nullptr) {
        std::fclose(file_);
        file_ = nullptr;
    }
    if (exists_) {
        std::error_code error;
        std::filesystem::remove(unfinished_, error);
        exists_ = false;
    }
}

void UnfinishedFile::fail(const std::string& reason) {
    remove();
    throw std::runtime_error("Cannot write " + path_.string() + ": " + reason + ".");
}

}  // namespace files
