// SPDX-License-Identifier: Apache-2.0
//
// A file that appears under its name only when it is finished. Until then it grows in the same folder under
// the name with ".part" behind it, or ".part1" and so on: a name that no other file has.

#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <span>
#include <string>

namespace files {

class UnfinishedFile {
 public:
    // Makes missing folders. Throws std::runtime_error, as the others, with a sentence that names the path.
    explicit UnfinishedFile(const std::filesystem::path& path);
    ~UnfinishedFile();  // what is not finished is removed
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    void write(std::span<const std::uint8_t> bytes);

    // Ends the file and gives it its name, in place of an older file. Once.
    void finish();

 private:
    void open();
    void remove();
    [[noreturn]] void fail(const std::string& reason);

    std::filesystem::path path_;
    std::filesystem::path unfinished_;
    std::FILE* file_ = nullptr;
    bool exists_ = false;  // under the unfinished name
};

}  // namespace files
