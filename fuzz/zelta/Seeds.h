// SPDX-License-Identifier: Apache-2.0
// Type trees and payloads that seeds and fuzz targets share.
#pragma once

#include <cstdint>
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

/// A listing may take 256 bytes of text for each byte that a record claims, and 32 MiB for a small one.
/// Larger ones are left out, so that the limit on memory sees everything else.
inline bool isSmallToList(const TypeRef& type) {
    constexpr std::uint64_t kLargestToList = 1U << 17U;
    return std::uint64_t{type->size} * type->count() <= kLargestToList;
}

/// `depth` structs in each other and one number at the bottom, as a payload: deeper than a tree may be.
inline std::string nestedPayload(unsigned int depth) {
    const TypeRef number(new ElementaryType("x", {}, 0, 4, EndianLittle, TypeSigned));
    const TypeRef empty(new StructType("s", {}, 0, 4, EndianLittle, {}));
    std::string outer;
    recGenerate_v_1_0(outer, empty, true);
    std::string inner;
    recGenerate_v_1_0(inner, empty, false);
    constexpr std::size_t kEndBytes = 5;
    const std::string end = outer.substr(outer.size() - kEndBytes);
    outer.resize(outer.size() - kEndBytes);
    inner.resize(inner.size() - kEndBytes);

    std::string payload = outer;
    for (unsigned int i = 1; i < depth; ++i) {
        payload += inner;
    }
    recGenerate_v_1_0(payload, number, false);
    for (unsigned int i = 0; i < depth; ++i) {
        payload += end;
    }
    return payload;
}

}  // namespace zelta::fuzz
