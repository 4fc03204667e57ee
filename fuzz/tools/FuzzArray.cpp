// SPDX-License-Identifier: Apache-2.0
//
// Any bytes as a file of numbers to import: it gives an array whose bytes are there, or it is refused in
// words. Input: the kind of file, 1 byte, then the file.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "MemoryFile.h"
#include "arrays/ArrayFile.h"
#include "arrays/NumpyFile.h"
#include "arrays/PngImage.h"

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

/** Its last element is the furthest one. */
void look(const arrays::Array& array) {
    require(array.shape.size() == array.strides.size());
    if (array.count() == 0) {
        return;
    }
    std::size_t last = 0;
    for (std::size_t i = 0; i < array.shape.size(); ++i) {
        last += (array.shape[i] - 1) * array.strides[i];
    }
    require(last + array.type.size <= array.bytes.size());
    arrays::numberAt(array, last);
}

void read(unsigned int kind, const std::string& path) {
    switch (kind) {
        case 0:
            look(arrays::readNpy(path));
            break;
        case 1:
            for (const std::string& name : arrays::namesInNpz(path)) {
                look(arrays::readNpz(path, name));
            }
            break;
        case 2:
            look(arrays::readPng(path));
            break;
        default:
            look(arrays::readRawFile(path, *arrays::readRawFormat("u16le,4x3")));
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const fuzz::MemoryFile file({data + 1, size - 1});
    try {
        read(data[0] % 4, file.path());
    } catch (const arrays::ArrayError& error) {
        require(!std::string(error.what()).empty());
    }
    return 0;
}
