// SPDX-License-Identifier: Apache-2.0

#include "files/StandardOutput.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace files {

bool isStandardOutput(const std::filesystem::path& path) {
    constexpr std::array names{"-", "/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"};
    return std::find(names.begin(), names.end(), path) != names.end();
}

std::string nameOf(const std::filesystem::path& path) {
    return isStandardOutput(path) ? "standard output" : path.string();
}

int standardOutputForData() {
    static const int descriptor = [] {
        std::fflush(stdout);
        const int data = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        dup2(STDERR_FILENO, STDOUT_FILENO);
        return data;
    }();
    return descriptor;
}

}  // namespace files
