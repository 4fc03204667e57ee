// SPDX-License-Identifier: Apache-2.0

#include "imaging/WholeFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <system_error>

namespace imaging {

void writeWhole(const std::filesystem::path& path, std::span<const std::uint8_t> bytes) {
    const auto fail = [&path](const std::string& reason) {
        throw std::runtime_error("Cannot write " + path.string() + ": " + reason + ".");
    };
    std::error_code error;
    if (path.has_parent_path()) {
        std::filesystem::create_directories(path.parent_path(), error);
        if (error) {
            fail(error.message());
        }
    }
    std::filesystem::path unfinished = path;
    unfinished += ".part";
    std::FILE* file = std::fopen(unfinished.c_str(), "wb");
    if (file == nullptr) {
        fail(std::strerror(errno));
    }
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const int writeError = errno;
    const bool closed = std::fclose(file) == 0;
    if (!written || !closed) {
        const std::string reason = std::strerror(written ? errno : writeError);
        std::filesystem::remove(unfinished, error);
        fail(reason);
    }
    std::filesystem::rename(unfinished, path, error);
    if (error) {
        const std::string reason = error.message();
        std::filesystem::remove(unfinished, error);
        fail(reason);
    }
}

}  // namespace imaging
