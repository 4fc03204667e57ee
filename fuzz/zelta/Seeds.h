// SPDX-License-Identifier: Apache-2.0
// Type trees that seeds and fuzz targets share.
#pragma once

#include <string>

#include "zelta.h"

namespace zelta::fuzz {

/// A record with padding, arrays, an array of structs and every kind of number.
inline TypeRef sampleType(TypeEndianess endianess = EndianLittle) {
    const auto number = [endianess](const char* name, TypeIdentifier identifier, unsigned int size,
                                    int offset, const std::vector<unsigned int>& dimensions = {}) {
        return TypeRef(new ElementaryType(name, dimensions, offset, size, endianess, identifier));
    };
    const TypeRef point(new StructType(
        "points", {3}, 36, 12, endianess,
        {number("x", TypeFloat, 4, 36), number("y", TypeFloat, 4, 40), number("id", TypeUnsigned, 2, 44)}));
    return TypeRef(
        new StructType("R", {}, 0, 88, endianess,
                       {number("a", TypeSigned, 4, 0, {2, 3}), number("text", TypeSigned, 1, 24, {9}), point,
                        number("d", TypeFloat, 8, 72), number("flag", TypeUnsigned, 1, 80),
                        number("counter", TypeUnsigned, 2, 82)}));
}

}  // namespace zelta::fuzz
