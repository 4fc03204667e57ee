// SPDX-License-Identifier: Apache-2.0
#include "Layouts.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "zelta/TestTypes.h"

namespace host_testing {
namespace {

using zelta::IType;
using zelta::TypeRef;

constexpr std::uint8_t kUnknownMember = 0xA5;

std::string joined(const std::string& path, const std::string& name) {
    return path.empty() ? name : path + "." + name;
}

bool contains(const std::vector<std::string>& paths, const std::string& path) {
    return std::find(paths.begin(), paths.end(), path) != paths.end();
}

/** Lays the members of a native tree out anew, without padding. */
class LayoutMaker {
 public:
    explicit LayoutMaker(const LayoutChange& change) : m_change(change) {}

    TypeRef make(const IType& native, const std::string& path, unsigned int offset) const {
        if (native.typeIdentifier() != zelta::TypeStruct) {
            return number(native.name, native.dimensions, offset, native.size, kindOf(native, path));
        }
        std::vector<TypeRef> members = native.children();
        if (m_change.reversed) {
            std::reverse(members.begin(), members.end());
        }
        std::vector<TypeRef> made;
        unsigned int end = offset;
        const auto append = [&](TypeRef member) {
            end += zelta::typeSize(member);
            made.push_back(std::move(member));
        };
        if (m_change.added) {
            append(number("unknownAtTheFront", {3}, end, 2, zelta::TypeUnsigned));
        }
        for (const TypeRef& member : members) {
            const std::string memberPath = joined(path, member->name);
            if (!contains(m_change.removed, memberPath)) {
                append(make(*member, memberPath, end));
            }
        }
        if (m_change.added) {
            append(number("unknownAtTheEnd", {}, end, 8, zelta::TypeFloat));
        }
        return TypeRef(new zelta::StructType(native.name, native.dimensions, static_cast<int>(offset),
                                             end - offset, byteOrder(), made));
    }

 private:
    zelta::TypeIdentifier kindOf(const IType& native, const std::string& path) const {
        const zelta::TypeIdentifier kind = native.typeIdentifier();
        if (!contains(m_change.retyped, path)) {
            return kind;
        }
        return kind == zelta::TypeUnsigned ? zelta::TypeSigned : zelta::TypeUnsigned;
    }

    zelta::TypeEndianess byteOrder() const {
        return m_change.bigEndian ? zelta::EndianBig : zelta::EndianLittle;
    }

    TypeRef number(const std::string& name, const std::vector<unsigned int>& dimensions, unsigned int offset,
                   unsigned int size, zelta::TypeIdentifier identifier) const {
        return TypeRef(new zelta::ElementaryType(name, dimensions, static_cast<int>(offset), size,
                                                 byteOrder(), identifier));
    }

    const LayoutChange& m_change;
};

TypeRef childOf(const IType& parent, const std::string& name) {
    for (const TypeRef& child : parent.children()) {
        if (child->name == name) {
            return child;
        }
    }
    return TypeRef();
}

/** Copies what both layouts have, element by element. */
void convert(const IType& from, const std::uint8_t* source, const IType& to, std::uint8_t* destination,
             bool swap) {
    const std::size_t count = to.count();
    if (to.typeIdentifier() != zelta::TypeStruct) {
        for (std::size_t i = 0; i < count; ++i) {
            std::uint8_t* const element = destination + i * to.size;
            std::memcpy(element, source + i * from.size, to.size);
            if (swap) {
                std::reverse(element, element + to.size);
            }
        }
        return;
    }
    for (const TypeRef& member : to.children()) {
        const TypeRef counterpart = childOf(from, member->name);
        if (!counterpart) {
            continue;
        }
        for (std::size_t i = 0; i < count; ++i) {
            convert(*counterpart, source + i * from.size + (counterpart->offset - from.offset), *member,
                    destination + i * to.size + (member->offset - to.offset), swap);
        }
    }
}

/** A type as a payload. The library's writer knows little-endian only, so a root's byte order is set here. */
std::string payloadOf(const IType& root, const TypeRef& type, bool bigEndian) {
    std::string payload;
    zelta::recGenerate_v_1_0(payload, type, true);
    // Name, dimensions, offset and size precede the byte order, each a tag and at least one number.
    const std::size_t byteOrderAt = 5 + root.name.size() + 5 + 4 * root.dimensions.size() + 5 + 5;
    if (payload.at(byteOrderAt) != 'h') {
        throw std::logic_error("the byte order of a definition stands somewhere else");
    }
    payload.at(byteOrderAt + 4) = static_cast<char>(bigEndian ? 201 : 200);
    return payload;
}

void appendNumber(Bytes& bytes, unsigned int value) {
    for (const char byte : zelta::encodeUint32(value)) {
        bytes.push_back(static_cast<std::uint8_t>(byte));
    }
}

void appendDescribed(const IType& node, const std::uint8_t* data, const std::string& path,
                     const std::vector<std::string>& without, Bytes& bytes) {
    if (contains(without, path)) {
        return;
    }
    const std::size_t count = node.count();
    if (node.typeIdentifier() != zelta::TypeStruct) {
        bytes.insert(bytes.end(), data, data + count * node.size);
        return;
    }
    for (const TypeRef& member : node.children()) {
        for (std::size_t i = 0; i < count; ++i) {
            appendDescribed(*member, data + i * node.size + (member->offset - node.offset),
                            joined(path, member->name), without, bytes);
        }
    }
}

}  // namespace

Packet viewOf(const std::vector<OwnedChunk>& chunks) {
    Packet packet;
    for (const OwnedChunk& chunk : chunks) {
        packet.push_back({chunk.description.data(), static_cast<int>(chunk.description.size()),
                          chunk.data.data(), static_cast<int>(chunk.data.size()), chunk.channelID});
    }
    return packet;
}

Bytes packetOf(const std::vector<OwnedChunk>& chunks) {
    const Packet packet = viewOf(chunks);
    Bytes bytes(static_cast<std::size_t>(packet_get_required_size(packet)));
    if (packet_create(bytes.data(), static_cast<int>(bytes.size()), packet) != 0) {
        throw std::logic_error("chunks that make no packet");
    }
    return bytes;
}

Layout::Layout(zelta::DefinitionGetter native, const LayoutChange& change) : m_bigEndian(change.bigEndian) {
    const Bytes definition = nativeDefinition(native);
    m_native = zelta::parseDatadefinition(definition.data(), static_cast<unsigned int>(definition.size()));
    // A byte order alone leaves every member in its place.
    const bool isMoved =
        change.reversed || change.added || !change.removed.empty() || !change.retyped.empty();
    if (!isMoved && !change.bigEndian && change.version == 0x0300) {
        m_sent = m_native;
        m_definition = definition;
        return;
    }
    m_sent = isMoved ? LayoutMaker(change).make(*m_native, m_native->name, 0) : m_native;
    m_definition = definitionOf(payloadOf(*m_sent, m_sent, change.bigEndian), change.version);
}

OwnedChunk Layout::chunk(int channelID, const void* record) const {
    OwnedChunk chunk = {channelID, m_definition, Bytes(m_sent->size, kUnknownMember)};
    if (m_sent.get() == m_native.get() && !m_bigEndian) {
        std::memcpy(chunk.data.data(), record, m_sent->size);
    } else {
        convert(*m_native, static_cast<const std::uint8_t*>(record), *m_sent, chunk.data.data(), m_bigEndian);
    }
    return chunk;
}

Bytes nativeDefinition(zelta::DefinitionGetter getter) {
    const void* definition = nullptr;
    unsigned int size = 0;
    getter(&definition, &size);
    const auto* const bytes = static_cast<const std::uint8_t*>(definition);
    return Bytes(bytes, bytes + size);
}

namespace {

Bytes definitionOf(const std::string& payload, unsigned int version, bool enciphered) {
    const std::string stream = zelta::test::deflated(payload);
    Bytes definition;
    definition.reserve(stream.size() + 16);
    for (const unsigned int byte : {0xDAU, 0xDEU, version >> 8U, version & 0xFFU}) {
        definition.push_back(static_cast<std::uint8_t>(byte));
    }
    if (version == 0x0300) {
        const unsigned int mark = enciphered ? 1 : 0;
        for (const unsigned int byte : {1U, mark, 0U, mark}) {
            definition.push_back(static_cast<std::uint8_t>(byte));
        }
    }
    appendNumber(definition, static_cast<unsigned int>(payload.size()));
    std::size_t padding = 0;
    if (version != 0x0100) {
        padding = (definition.size() + 1 + stream.size()) % 4;
        padding = padding == 0 ? 0 : 4 - padding;
        definition.push_back(static_cast<std::uint8_t>(padding));
    }
    definition.insert(definition.end(), stream.begin(), stream.end());
    definition.insert(definition.end(), padding, 0);
    return definition;
}

}  // namespace

Bytes definitionOf(const std::string& payload, unsigned int version) {
    return definitionOf(payload, version, false);
}

Bytes encipheredDefinitionOf(const std::string& payload) {
    return definitionOf(payload, 0x0300, true);
}

Bytes describedBytes(const ZeltaChunk& chunk, const std::vector<std::string>& without) {
    const TypeRef type =
        zelta::parseDatadefinition(chunk.description, static_cast<unsigned int>(chunk.descSize));
    if (type->size != static_cast<unsigned int>(chunk.dataSize)) {
        throw std::logic_error("a record of another size than its definition");
    }
    Bytes bytes;
    bytes.reserve(type->size);
    appendDescribed(*type, static_cast<const std::uint8_t*>(chunk.data), type->name, without, bytes);
    return bytes;
}

}  // namespace host_testing
