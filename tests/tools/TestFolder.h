// SPDX-License-Identifier: Apache-2.0
//
// A folder of its own for one test, removed at the end; and files in it.

#pragma once

#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

class TestFolder {
 public:
    TestFolder() {
        static std::atomic<int> counter{0};
        path_ = std::filesystem::temp_directory_path() /
                ("qor-test-" + std::to_string(getpid()) + "-" + std::to_string(counter++));
        std::filesystem::create_directories(path_);
    }
    ~TestFolder() {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
    }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

 private:
    std::filesystem::path path_;
};

inline std::vector<std::uint8_t> fileBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void writeBytes(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}
