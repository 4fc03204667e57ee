// SPDX-License-Identifier: Apache-2.0

#include "recording/Description.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>

namespace recording {
namespace {

constexpr std::uint64_t largestRecord = std::numeric_limits<std::int32_t>::max();

Member number(std::string name, Dimensions dimensions, zelta::TypeIdentifier kind, unsigned int size) {
    return {std::move(name), std::move(dimensions), kind, size, {}};
}

std::uint64_t checked(std::uint64_t bytes) {
    if (bytes > largestRecord) {
        throw std::invalid_argument("A record has at most 2147483647 bytes.");
    }
    return bytes;
}

std::uint64_t alignedUp(std::uint64_t offset, std::uint64_t alignment) {
    return checked((offset + alignment - 1) / alignment * alignment);
}

std::uint64_t alignmentOf(const Member& member) {
    std::uint64_t alignment = member.kind == zelta::TypeStruct ? 1 : member.size;
    for (const Member& inner : member.members) {
        alignment = std::max(alignment, alignmentOf(inner));
    }
    return alignment;
}

std::uint64_t countOf(const Member& member) {
    std::uint64_t count = 1;
    for (const unsigned int dimension : member.dimensions) {
        count = checked(count * dimension);
    }
    return count;
}

zelta::TypeRef layOutAt(const Member& member, std::uint64_t offset) {
    if (member.kind != zelta::TypeStruct) {
        return zelta::TypeRef(new zelta::ElementaryType(member.name, member.dimensions,
                                                        static_cast<int>(checked(offset)), member.size,
                                                        zelta::EndianLittle, member.kind));
    }
    if (member.members.empty()) {
        throw std::invalid_argument("The structure " + member.name + " has no members.");
    }
    std::vector<zelta::TypeRef> children;
    std::uint64_t end = offset;
    for (const Member& inner : member.members) {
        const std::uint64_t start = alignedUp(end, alignmentOf(inner));
        children.push_back(layOutAt(inner, start));
        end = checked(start + checked(children.back()->size * countOf(inner)));
    }
    const std::uint64_t size = alignedUp(end - offset, alignmentOf(member));
    return zelta::TypeRef(
        new zelta::StructType(member.name, member.dimensions, static_cast<int>(checked(offset)),
                              static_cast<unsigned int>(size), zelta::EndianLittle, children));
}

}  // namespace

Member int8(std::string name, Dimensions dimensions) {
    return number(std::move(name), std::move(dimensions), zelta::TypeSigned, 1);
}
Member int16(std::string name, Dimensions dimensions) {
    return number(std::move(name), std::move(dimensions), zelta::TypeSigned, 2);
}
Member int32(std::string name, Dimensions dimensions) {
    return number(std::move(name), std::move(dimensions), zelta::TypeSigned, 4);
}
Member uint8(std::string name, Dimensions dimensions) {
    return number(std::move(name), std::move(dimensions), zelta::TypeUnsigned, 1);
}
Member uint16(std::string name, Dimensions dimensions) {
    return number(std::move(name), std::move(dimensions), zelta::TypeUnsigned, 2);
}
Member uint32(std::string name, Dimensions dimensions) {
    return number(std::move(name), std::move(dimensions), zelta::TypeUnsigned, 4);
}
Member uint64(std::string name, Dimensions dimensions) {
    return number(std::move(name), std::move(dimensions), zelta::TypeUnsigned, 8);
}
Member float32(std::string name, Dimensions dimensions) {
    return number(std::move(name), std::move(dimensions), zelta::TypeFloat, 4);
}
Member float64(std::string name, Dimensions dimensions) {
    return number(std::move(name), std::move(dimensions), zelta::TypeFloat, 8);
}

Member structure(std::string name, std::vector<Member> members, Dimensions dimensions) {
    return {std::move(name), std::move(dimensions), zelta::TypeStruct, 0, std::move(members)};
}

zelta::TypeRef layOut(const Member& record) {
    return layOutAt(record, 0);
}

}  // namespace recording
