// SPDX-License-Identifier: Apache-2.0
//
// A file that appears under its name only when it is finished. Until then it grows in the same folder under
// the name with ".part" after it, or ".part1" and so on: a name that no other file has.
//
// A symbolic link stays a link: the file that it names is made or replaced. A FIFO or a device, and "-" for
// standard output, take the bytes as they come.

#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <span>
#include <string>

namespace files {

// Whether the path names something that takes bytes as they come: a FIFO, a device, "-" or a descriptor of
// this process such as /dev/stdout.
bool isStream(const std::filesystem::path& path);

class UnfinishedFile {
 public:
    // Makes missing folders. Like the others, throws std::runtime_error with a sentence that names the path.
    explicit UnfinishedFile(const std::filesystem::path& path);
    ~UnfinishedFile();  // what is neither finished nor kept is removed
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    // The bytes go to the file at once, so that those of earlier calls are there when a later one fails.
    void write(std::span<const std::uint8_t> bytes);

    // Ends the file and gives it its name, in place of an older file. Once.
    void finish();

    // Leaves the first `bytes` of the file under its unfinished name, which is returned; empty if that fails.
    std::filesystem::path keep(std::uint64_t bytes);

 private:
    void openStream();
    void makeFolders();
    void open();
    void remove();
    [[noreturn]] void fail(const std::string& reason) const;

    std::filesystem::path path_;
    std::filesystem::path target_;  // where a symbolic link leads, else the path
    std::filesystem::path unfinished_;
    std::FILE* file_ = nullptr;
    bool exists_ = false;  // under the unfinished name
};

}  // namespace files
