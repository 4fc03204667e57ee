// SPDX-License-Identifier: Apache-2.0
//
// Reads PNG files back, for the tests.

#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

struct ReadPicture {
    int width = 0;
    int height = 0;
    int bitDepth = 0;
    int channels = 0;
    std::vector<std::uint16_t> values;  // channel by channel, pixel by pixel
    std::map<std::string, std::string> texts;
};

// Throws std::runtime_error if the file is no PNG.
ReadPicture readPng(const std::filesystem::path& path);
