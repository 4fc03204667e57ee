// SPDX-License-Identifier: Apache-2.0
//
// Arrays by the name of their file, and files without a header.

#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "arrays/Array.h"

namespace arrays {

// All bytes of a file. Throws ArrayError, with a sentence that names the file, as the others.
std::vector<std::uint8_t> readFile(const std::filesystem::path& path);

// Pictures one after the other without a header.
struct RawFormat {
    ElementType type;
    std::size_t width = 0;
    std::size_t height = 0;
};

// "u16le,640x480": u or i or f, the bits, le or be (none for 8 bits), then width x height. None for another
// text.
std::optional<RawFormat> readRawFormat(const std::string& text);

// An array of pictures, rows, columns; the pictures are as many as the file holds.
Array readRawFile(const std::filesystem::path& path, const RawFormat& format);

// "FILE" or, for an archive, "FILE.npz:NAME", where the name can be left out if there is one array only:
// .npy, .npz and .png by their ending.
Array readArray(const std::string& fileAndName);

}  // namespace arrays
