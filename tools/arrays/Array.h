// SPDX-License-Identifier: Apache-2.0
//
// An array of numbers with any shape, as it lies in a file.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace arrays {

// A file or an array that is not what it has to be, told in a sentence.
class ArrayError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

enum class ElementKind : std::uint8_t { Boolean, SignedInteger, UnsignedInteger, Float };

struct ElementType {
    ElementKind kind = ElementKind::UnsignedInteger;
    unsigned int size = 2;  // bytes: 1, 2, 4 or 8; a float has 4 or 8, a boolean 1
    bool bigEndian = false;

    bool isInteger() const {
        return kind == ElementKind::SignedInteger || kind == ElementKind::UnsignedInteger;
    }
};

// "uint16", "float32"; the byte order is told only where it is not that of PCs: "uint16, big-endian".
std::string nameOf(const ElementType& type);

// "2 x 4 x 172 x 224"; "a single number" for no dimensions.
std::string shapeText(std::span<const std::size_t> shape);

// The number of elements of a shape. Throws ArrayError beyond 2^40.
std::size_t countOf(std::span<const std::size_t> shape);

struct Array {
    ElementType type;
    std::vector<std::size_t> shape;
    std::vector<std::size_t> strides;  // bytes from one element to the next, along each dimension
    std::vector<std::uint8_t> bytes;

    std::size_t count() const { return countOf(shape); }
};

// An array whose last dimension (or, with `columnMajor`, its first) lies closest together. Throws ArrayError
// if the bytes are not exactly those of the shape.
Array makeArray(ElementType type, std::vector<std::size_t> shape, std::vector<std::uint8_t> bytes,
                bool columnMajor = false);

// The element that starts at this byte. Integers beyond 2^53 are rounded.
double numberAt(const Array& array, std::size_t offset);

// All elements, the last dimension fastest.
std::vector<double> numbersOf(const Array& array);

}  // namespace arrays
