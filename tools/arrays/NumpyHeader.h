// SPDX-License-Identifier: Apache-2.0
//
// The header of a .npy file: a magic, a version, and the text of a dictionary such as
// {'descr': '<u2', 'fortran_order': False, 'shape': (4, 172, 224), }.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "arrays/Array.h"

namespace arrays {

struct NumpyHeader {
    ElementType type;
    bool columnMajor = false;
    std::vector<std::size_t> shape;
    std::size_t size = 0;  // bytes from the beginning of the file to the first element
};

// Throws ArrayError, with a sentence, for what is no such header or tells of elements that are no plain
// numbers.
NumpyHeader readNumpyHeader(std::span<const std::uint8_t> bytes);

// A header of version 1.0 whose size is a multiple of 64. Little-endian numbers, the last dimension fastest.
std::vector<std::uint8_t> makeNumpyHeader(const ElementType& type, std::span<const std::size_t> shape);

}  // namespace arrays
