// SPDX-License-Identifier: Apache-2.0

#include "arrays/Array.h"

#include <algorithm>
#include <bit>

namespace arrays {
namespace {

constexpr std::size_t mostElements = std::size_t{1} << 40U;

std::vector<std::size_t> stridesOf(const ElementType& type, std::span<const std::size_t> shape,
                                   bool columnMajor) {
    std::vector<std::size_t> strides(shape.size());
    std::size_t step = type.size;
    for (std::size_t k = 0; k < shape.size(); ++k) {
        const std::size_t dimension = columnMajor ? k : shape.size() - 1 - k;
        strides[dimension] = step;
        step *= shape[dimension];
    }
    return strides;
}

std::uint64_t wordAt(const Array& array, std::size_t offset) {
    std::uint64_t word = 0;
    for (unsigned int k = 0; k < array.type.size; ++k) {
        const unsigned int place = array.type.bigEndian ? array.type.size - 1 - k : k;
        word |= std::uint64_t{array.bytes.at(offset + k)} << (8U * place);
    }
    return word;
}

double signedNumber(std::uint64_t word, unsigned int size) {
    const unsigned int unused = 64U - 8U * size;
    return static_cast<double>(static_cast<std::int64_t>(word << unused) >> unused);
}

double floatNumber(std::uint64_t word, unsigned int size) {
    if (size == 4) {
        return static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(word)));
    }
    return std::bit_cast<double>(word);
}

// Moves to the next element, the last dimension fastest; false after the last one.
bool nextIndex(std::vector<std::size_t>& index, std::span<const std::size_t> shape) {
    for (std::size_t k = shape.size(); k-- > 0;) {
        if (++index[k] < shape[k]) {
            return true;
        }
        index[k] = 0;
    }
    return false;
}

}  // namespace

std::string nameOf(const ElementType& type) {
    const char* const kinds[] = {"boolean", "int", "uint", "float"};
    std::string name = kinds[static_cast<std::size_t>(type.kind)];
    if (type.kind != ElementKind::Boolean) {
        name += std::to_string(8 * type.size);
    }
    return type.bigEndian && type.size > 1 ? name + ", big-endian" : name;
}

std::string shapeText(std::span<const std::size_t> shape) {
    if (shape.empty()) {
        return "a single number";
    }
    std::string text;
    for (const std::size_t length : shape) {
        text += text.empty() ? "" : " x ";
        text += std::to_string(length);
    }
    return text;
}

std::size_t countOf(std::span<const std::size_t> shape) {
    if (std::find(shape.begin(), shape.end(), 0U) != shape.end()) {
        return 0;
    }
    std::size_t count = 1;
    for (const std::size_t length : shape) {
        if (length > mostElements / count) {
            throw ArrayError("An array of " + shapeText(shape) + " is too large.");
        }
        count *= length;
    }
    return count;
}

Array makeArray(ElementType type, std::vector<std::size_t> shape, std::vector<std::uint8_t> bytes,
                bool columnMajor) {
    const std::size_t expected = countOf(shape) * type.size;
    if (bytes.size() != expected) {
        throw ArrayError("An array of " + shapeText(shape) + " " + nameOf(type) + " has " +
                         std::to_string(expected) + " bytes, here are " + std::to_string(bytes.size()) + ".");
    }
    Array array{type, std::move(shape), {}, std::move(bytes)};
    array.strides = stridesOf(type, array.shape, columnMajor);
    return array;
}

double numberAt(const Array& array, std::size_t offset) {
    const std::uint64_t word = wordAt(array, offset);
    switch (array.type.kind) {
        case ElementKind::Boolean:
            return word != 0 ? 1.0 : 0.0;
        case ElementKind::SignedInteger:
            return signedNumber(word, array.type.size);
        case ElementKind::UnsignedInteger:
            return static_cast<double>(word);
        case ElementKind::Float:
            return floatNumber(word, array.type.size);
    }
    return 0.0;
}

std::vector<double> numbersOf(const Array& array) {
    std::vector<double> numbers;
    const std::size_t count = array.count();
    numbers.reserve(count);
    std::vector<std::size_t> index(array.shape.size(), 0);
    for (bool more = count > 0; more; more = nextIndex(index, array.shape)) {
        std::size_t offset = 0;
        for (std::size_t k = 0; k < index.size(); ++k) {
            offset += index[k] * array.strides[k];
        }
        numbers.push_back(numberAt(array, offset));
    }
    return numbers;
}

}  // namespace arrays
