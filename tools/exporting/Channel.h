// SPDX-License-Identifier: Apache-2.0
//
// What is exported: numbers with a name and a unit, and the pictures that they make.

#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "arrays/Array.h"

namespace exporting {

// What cannot be exported as it was asked for, told in a sentence.
class ExportError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

struct Channel {
    std::string name;
    std::string unit;     // empty: none, or nobody knows
    arrays::Array array;  // NaN: a pixel without a value
};

// The array of numbers in memory, the last dimension fastest.
template <typename T>
arrays::Array arrayOf(std::span<const T> numbers, std::vector<std::size_t> shape) {
    const arrays::ElementKind kind = std::is_floating_point_v<T> ? arrays::ElementKind::Float
                                     : std::is_signed_v<T>       ? arrays::ElementKind::SignedInteger
                                                                 : arrays::ElementKind::UnsignedInteger;
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(numbers.data());
    return arrays::makeArray({kind, sizeof(T), false}, std::move(shape),
                             std::vector<std::uint8_t>(bytes, bytes + numbers.size_bytes()));
}

// A channel of rows and columns.
struct Picture {
    std::string name;
    std::string unit;
    arrays::ElementType type;
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<double> values;  // row by row
};

// The pictures of a channel. An array of two dimensions is one; one of three is as many as its first
// dimension is long, with their number after the name; one of one dimension is one if it has the pixels of
// the imager. Throws ExportError for another.
std::vector<Picture> picturesOf(const Channel& channel);

}  // namespace exporting
