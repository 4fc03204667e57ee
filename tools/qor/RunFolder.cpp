// SPDX-License-Identifier: Apache-2.0

#include "qor/RunFolder.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

namespace qor {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view listHeader =
    "# Files that qor run wrote into this folder. The next run with --force removes these and no others.";

constexpr std::size_t mostNames = 10'000'000;

// The names in the list of an earlier run; none if there is no such list.
std::vector<std::string> readList(const fs::path& list) {
    std::ifstream stream(list);
    std::vector<std::string> names;
    std::string line;
    if (!std::getline(stream, line) || line != listHeader) {
        return names;
    }
    while (names.size() < mostNames && std::getline(stream, line)) {
        if (RunFolder::isNameOfARun(line)) {
            names.push_back(line);
        }
    }
    names.emplace_back(RunFolder::listName);
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

bool isThere(const fs::path& path) {
    std::error_code error;
    return fs::exists(fs::symlink_status(path, error));
}

bool contains(const std::vector<std::string>& sorted, const std::string& name) {
    return std::binary_search(sorted.begin(), sorted.end(), name);
}

// "00000_distance.png": the number of the frame, what it is, and the kind of the file.
bool isNameOfAPicture(std::string_view name) {
    constexpr std::array<std::string_view, 3> suffixes{".png", ".ply", ".pcd"};
    const std::size_t digits = std::min(name.find_first_not_of("0123456789"), name.size());
    return digits >= 5 && name.substr(digits).starts_with('_') &&
           std::any_of(suffixes.begin(), suffixes.end(),
                       [name](std::string_view suffix) { return name.ends_with(suffix); });
}

}  // namespace

bool RunFolder::isNameOfARun(const std::string& name) {
    return name == listName || name == resultName || name == settingsName || isNameOfAPicture(name);
}

RunFolder::RunFolder(fs::path folder, const fs::path& recording, bool force) : folder_(std::move(folder)) {
    earlier_ = readList(folder_ / listName);
    std::error_code error;
    for (const std::string& name : earlier_) {
        if (fs::equivalent(folder_ / name, recording, error)) {
            throw FolderInUse(fmt::format("{} is the recording itself; choose another folder with --out.",
                                          (folder_ / name).string()));
        }
    }
    for (fs::directory_iterator entry(folder_, error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (isNameOfARun(name) && !contains(earlier_, name)) {
            throw FolderInUse(
                fmt::format("{} is there, and no run lists it as its own; move it away or choose "
                            "another folder with --out.",
                            entry->path().string()));
        }
    }
    if (!earlier_.empty() && !force) {
        throw FolderInUse(
            fmt::format("{} holds the results of an earlier run; --force replaces them.", folder_.string()));
    }
}

void RunFolder::begin() {
    const auto fail = [this](const std::string& what, const std::string& reason) {
        throw std::runtime_error(fmt::format("Cannot {} {}: {}.", what, folder_.string(), reason));
    };
    std::error_code error;
    // The list is removed last: while a file of the earlier run exists, it is listed.
    std::stable_partition(earlier_.begin(), earlier_.end(),
                          [](const std::string& name) { return name != listName; });
    for (const std::string& name : earlier_) {
        if (isThere(folder_ / name) && !fs::is_directory(folder_ / name, error)) {
            fs::remove(folder_ / name, error);
            if (error) {
                fail("clear", error.message());
            }
        }
    }
    fs::create_directories(folder_, error);
    if (error) {
        fail("make", error.message());
    }
    list_.open(folder_ / listName);
    add({resultName, settingsName});
    if (!list_) {
        fail("write into", std::strerror(errno));
    }
}

void RunFolder::add(const std::vector<std::string>& names) {
    if (list_.tellp() == 0) {
        list_ << listHeader << '\n';
    }
    for (const std::string& name : names) {
        list_ << name << '\n';
    }
    list_.flush();
}

}  // namespace qor
