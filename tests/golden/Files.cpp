// SPDX-License-Identifier: Apache-2.0
#include "golden/Files.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace golden {
namespace {

void check(const std::ios& stream, const char* verb, const std::filesystem::path& path) {
    if (!stream) {
        throw std::runtime_error(std::string("cannot ") + verb + " " + path.string());
    }
}

}  // namespace

std::vector<std::string> readLines(const std::filesystem::path& path) {
    std::ifstream file(path);
    check(file, "read", path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line[0] != '#') {
            lines.push_back(line);
        }
    }
    return lines;
}

void writeLines(const std::filesystem::path& path, const std::vector<std::string>& lines) {
    std::ofstream file(path);
    for (const std::string& line : lines) {
        file << line << '\n';
    }
    file.close();
    check(file, "write", path);
}

host_testing::Bytes readBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    check(file, "read", path);
    return host_testing::Bytes(std::istreambuf_iterator<char>(file), {});
}

void writeBytes(const std::filesystem::path& path, const host_testing::Bytes& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    check(file, "write", path);
}

std::filesystem::path hashFile(const std::filesystem::path& folder, const std::string& recording) {
    return folder / (recording + ".txt");
}

}  // namespace golden
