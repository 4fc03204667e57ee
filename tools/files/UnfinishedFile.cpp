// SPDX-License-Identifier: Apache-2.0

#include "files/UnfinishedFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "files/StandardOutput.h"

namespace files {
namespace {

namespace fs = std::filesystem;

// Each such file is left by a command that was killed, or belongs to one at work. More of them are unlikely.
constexpr int mostUnfinished = 1000;

constexpr int mostLinks = 40;  // as many as the system follows

// Links in these places lead to open files that no name leads to.
bool isDescriptor(const fs::path& path) {
    constexpr std::array<std::string_view, 3> names{"/dev/stdin", "/dev/stdout", "/dev/stderr"};
    const std::string text = path.lexically_normal().string();
    return text.starts_with("/dev/fd/") ||
           (text.starts_with("/proc/") && text.find("/fd/") != std::string::npos) ||
           std::find(names.begin(), names.end(), text) != names.end();
}

fs::path followLinks(fs::path path) {
    std::error_code error;
    for (int link = 0; link < mostLinks && fs::is_symlink(fs::symlink_status(path, error)); ++link) {
        const fs::path next = fs::read_symlink(path, error);
        if (error) {
            break;
        }
        path = path.parent_path() / next;  // an absolute path replaces the folder
    }
    return path;
}

}  // namespace

bool isStream(const fs::path& path) {
    if (isStandardOutput(path) || isDescriptor(path)) {
        return true;
    }
    std::error_code error;
    return fs::is_other(fs::status(path, error));
}

UnfinishedFile::UnfinishedFile(const fs::path& path) : path_(path), target_(path) {
    std::error_code error;
    if (path_.empty()) {
        fail("it has no name");
    }
    if (fs::is_directory(path_, error)) {
        fail("it is a folder");
    }
    if (isStream(path_)) {
        openStream();
        return;
    }
    target_ = followLinks(path_);
    makeFolders();
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
    if (!exists_) {
        return;
    }
    std::error_code error;
    fs::rename(unfinished_, target_, error);
    if (error) {
        fail(error.message());
    }
    exists_ = false;
}

void UnfinishedFile::openStream() {
    if (!isStandardOutput(path_)) {
        file_ = std::fopen(path_.c_str(), "wb");
    } else if (const int output = standardOutputForData(); isatty(output) == 1) {
        fail("it is a terminal");
    } else if (const int copy = fcntl(output, F_DUPFD_CLOEXEC, 0); copy != -1) {
        file_ = fdopen(copy, "wb");
    }
    if (file_ == nullptr) {
        fail(std::strerror(errno));
    }
}

void UnfinishedFile::makeFolders() {
    if (!target_.has_parent_path()) {
        return;
    }
    std::error_code error;
    fs::create_directories(target_.parent_path(), error);
    if (error) {
        fail(error.message());
    }
}

fs::path UnfinishedFile::keep(std::uint64_t bytes) {
    if (file_ != nullptr) {
        std::fclose(file_);  // nothing waits in it
        file_ = nullptr;
    }
    std::error_code error;
    if (!exists_ || fs::file_size(unfinished_, error) < bytes || error) {
        return {};
    }
    fs::resize_file(unfinished_, bytes, error);
    if (error) {
        return {};
    }
    exists_ = false;
    return unfinished_;
}

// "x" opens only what is not there yet, so that two commands at once never share a file.
void UnfinishedFile::open() {
    for (int number = 0; number < mostUnfinished; ++number) {
        unfinished_ = target_;
        unfinished_ += number == 0 ? ".part" : ".part" + std::to_string(number);
        file_ = std::fopen(unfinished_.c_str(), "wbx");
        if (file_ != nullptr) {
            std::setvbuf(file_, nullptr, _IONBF, 0);
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
        fs::remove(unfinished_, error);
        exists_ = false;
    }
}

void UnfinishedFile::fail(const std::string& reason) const {
    throw std::runtime_error("Cannot write " + nameOf(path_) + ": " + reason + ".");
}

}  // namespace files
