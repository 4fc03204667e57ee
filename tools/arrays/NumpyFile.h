// SPDX-License-Identifier: Apache-2.0
//
// NumPy's files: .npy holds one array, .npz is a zip archive of them.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "arrays/Array.h"

namespace arrays {

// Throws ArrayError, with a sentence that names the file, as the others.
Array readNpy(const std::filesystem::path& path);

// The names of the arrays in an archive, in its order, without ".npy".
std::vector<std::string> namesInNpz(const std::filesystem::path& path);

// One array of an archive.
Array readNpz(const std::filesystem::path& path, const std::string& name);

struct NamedArray {
    std::string name;
    Array array;
};

// A file appears under its name only when it is complete. Numbers are written little-endian, the last
// dimension fastest. Throw std::runtime_error.
void writeNpy(const std::filesystem::path& path, const Array& array);
void writeNpz(const std::filesystem::path& path, const std::vector<NamedArray>& arrays);

}  // namespace arrays
