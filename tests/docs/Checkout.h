// SPDX-License-Identifier: Apache-2.0
//
// Files of the checkout as text.
#pragma once

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace checkout {

inline std::filesystem::path path(const std::string& name) {
    return std::filesystem::path(QOR_CHECKOUT) / name;
}

inline std::string textOf(const std::filesystem::path& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    if (text.str().empty()) {
        throw std::runtime_error(file.string() + " is not there, or empty");
    }
    return text.str();
}

/** All files below a folder whose name ends so. */
inline std::vector<std::filesystem::path> filesBelow(const std::string& folder, const std::string& ending) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path(folder))) {
        if (entry.is_regular_file() && entry.path().filename().string().ends_with(ending)) {
            files.push_back(entry.path());
        }
    }
    return files;
}

/** The channels of the plug-in as rows "number | constant | record", from the list in the code. */
inline std::vector<std::string> channelRows() {
    const std::string source = textOf(path("core/app-specific/src/QorDescriptors.h"));
    const std::regex line("constexpr int (k[A-Za-z]+) = ([0-9]+); +///< ([A-Za-z]+)");
    std::vector<std::string> rows;
    for (std::sregex_iterator found(source.begin(), source.end(), line), end; found != end; ++found) {
        rows.push_back((*found)[2].str() + " | `" + (*found)[1].str() + "` | `" + (*found)[3].str() + "`");
    }
    return rows;
}

}  // namespace checkout
