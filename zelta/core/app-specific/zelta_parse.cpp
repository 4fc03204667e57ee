// SPDX-License-Identifier: Apache-2.0
// Data definitions: type trees as bytes, read and written.
#include "zelta_parse.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

#include "zelta_error.h"

namespace zelta {
namespace {

constexpr const char* kSourceFile = "core/app-specific/zelta_parse";

[[noreturn]] void parseError(const char* message = "", int line = __builtin_LINE()) {
    throw ParseError(kSourceFile, line, message);
}

// --- Type records ---

enum ItemTag : unsigned char {
    TagName = 'd',
    TagDimensions = 'e',
    TagOffset = 'f',
    TagSize = 'g',
    TagEndianess = 'h',
    TagType = 0x96
};

enum ItemType : unsigned int {
    ItemSigned = 1,
    ItemUnsigned = 2,
    ItemFloat = 3,
    ItemStructBegin = 0xFE,
    ItemStructEnd = 0xFF
};

constexpr unsigned int kLittleEndian = 200;
constexpr unsigned int kBigEndian = 201;
constexpr unsigned int kUnsetOffset = 0xFFFFFFFFU;
constexpr unsigned int kMaxDimensions = 255;

/// What the items of one type record have said so far.
struct TypeItems {
    std::string name;
    std::vector<unsigned int> dimensions;
    bool dimensionsSeen = false;
    unsigned int offset = kUnsetOffset;
    unsigned int size = 0;
    TypeEndianess endianess = EndianUnset;

    bool complete() const {
        return !name.empty() && offset != kUnsetOffset && dimensionsSeen && endianess != EndianUnset &&
               size != 0;
    }
};

std::string consumeName(const unsigned char*& data, unsigned int& size) {
    const unsigned int length = consume_uint32(data, size);
    if (length > size) {
        parseError("dataSize < string length");
    }
    std::string name(reinterpret_cast<const char*>(data), length);
    data += length;
    size -= length;
    return name;
}

std::vector<unsigned int> consumeDimensions(const unsigned char*& data, unsigned int& size) {
    const unsigned int count = consume_uint32(data, size);
    if (count > kMaxDimensions) {
        parseError("dataSize < 4");  // Older readers count in 8 bits and would loop forever.
    }
    std::vector<unsigned int> dimensions;
    for (unsigned int i = 0; i < count; ++i) {
        dimensions.push_back(consume_uint32(data, size));
    }
    return dimensions;
}

TypeEndianess consumeEndianess(const unsigned char*& data, unsigned int& size) {
    switch (consume_uint32(data, size) & 0xFFU) {
        case kLittleEndian:
            return EndianLittle;
        case kBigEndian:
            return EndianBig;
        default:
            parseError("unknown endianess");
    }
}

/// Reads an item, any but the type item, into `items`.
void consumeItem(unsigned char tag, const unsigned char*& data, unsigned int& size, TypeItems& items) {
    switch (tag) {
        case TagName:
            if (!items.name.empty()) {
                parseError("name is empty");  // A second name; this is its established error text.
            }
            items.name = consumeName(data, size);
            return;
        case TagDimensions:
            if (!items.dimensions.empty()) {
                parseError("dimension set more than once");
            }
            items.dimensions = consumeDimensions(data, size);
            items.dimensionsSeen = true;
            return;
        case TagOffset:
            if (items.offset != kUnsetOffset) {
                parseError("offset set more than once");
            }
            items.offset = consume_uint32(data, size);
            return;
        case TagSize:
            if (items.size != 0) {
                parseError("size set more than once");
            }
            items.size = consume_uint32(data, size);
            return;
        case TagEndianess:
            if (items.endianess != EndianUnset) {
                parseError("endianess set more than once");
            }
            items.endianess = consumeEndianess(data, size);
            return;
        default:
            parseError();
    }
}

TypeRef parseRecord(const unsigned char*& data, unsigned int& size, unsigned int depth,
                    TypeEndianess endianess, unsigned int& nodesLeft);

/// Reads the children of a struct, up to and including the item that ends it.
std::vector<TypeRef> consumeChildren(const unsigned char*& data, unsigned int& size, unsigned int depth,
                                     TypeEndianess endianess, unsigned int& nodesLeft) {
    if (depth >= kMaxStructDepth) {
        parseError();
    }
    std::vector<TypeRef> children;
    for (;;) {
        const unsigned char* const childData = data;
        const unsigned int childSize = size;
        const unsigned char tag = consume_uint8(data, size);
        const unsigned int value = consume_uint32(data, size);
        if (tag == TagType && value == ItemStructEnd) {
            return children;
        }
        data = childData;
        size = childSize;
        children.push_back(parseRecord(data, size, depth + 1, endianess, nodesLeft));
    }
}

/// Reads the value of a type item, and the children of a struct, into a node.
TypeRef consumeType(const unsigned char*& data, unsigned int& size, unsigned int depth,
                    const TypeItems& items, unsigned int& nodesLeft) {
    if (!items.complete()) {
        parseError();
    }
    if (nodesLeft == 0) {
        parseError("too many nodes");
    }
    --nodesLeft;
    const int offset = static_cast<int>(items.offset);
    const auto elementary = [&](TypeIdentifier identifier) {
        return TypeRef(new ElementaryType(items.name, items.dimensions, offset, items.size, items.endianess,
                                          identifier));
    };
    switch (consume_uint32(data, size)) {
        case ItemSigned:
            return elementary(TypeSigned);
        case ItemUnsigned:
            return elementary(TypeUnsigned);
        case ItemFloat:
            return elementary(TypeFloat);
        case ItemStructBegin:
            return TypeRef(new StructType(items.name, items.dimensions, offset, items.size, items.endianess,
                                          consumeChildren(data, size, depth, items.endianess, nodesLeft)));
        default:
            parseError();
    }
}

}  // namespace

unsigned char consume_uint8(const unsigned char*& data, unsigned int& size) {
    if (size == 0) {
        parseError("dataSize = 0");
    }
    --size;
    return *data++;
}

unsigned int consume_uint32(const unsigned char*& data, unsigned int& size) {
    if (size < 4) {
        parseError("dataSize < 4");
    }
    const unsigned int value = static_cast<unsigned int>(data[0]) << 24U |
                               static_cast<unsigned int>(data[1]) << 16U |
                               static_cast<unsigned int>(data[2]) << 8U | static_cast<unsigned int>(data[3]);
    data += 4;
    size -= 4;
    return value;
}

namespace {

TypeRef parseRecord(const unsigned char*& data, unsigned int& size, unsigned int depth,
                    TypeEndianess endianess, unsigned int& nodesLeft) {
    TypeItems items;
    items.endianess = endianess;
    while (size > 0) {
        const unsigned char tag = consume_uint8(data, size);
        if (tag != TagType) {
            consumeItem(tag, data, size, items);
            continue;
        }
        TypeRef type = consumeType(data, size, depth, items, nodesLeft);
        if (depth == 0 && size > 0) {
            parseError();
        }
        return type;
    }
    return TypeRef();
}

}  // namespace

TypeRef recParse_v_1_0(const unsigned char*& data, unsigned int& size, unsigned int depth,
                       TypeEndianess endianess) {
    unsigned int nodesLeft = kMaxTypeNodes;
    return parseRecord(data, size, depth, endianess, nodesLeft);
}

std::string encodeUint32(unsigned int value) {
    return {static_cast<char>(value >> 24U), static_cast<char>(value >> 16U & 0xFFU),
            static_cast<char>(value >> 8U & 0xFFU), static_cast<char>(value & 0xFFU)};
}

namespace {

void generateItem(std::string& out, ItemTag tag, unsigned int value) {
    out += static_cast<char>(tag);
    out += encodeUint32(value);
}

}  // namespace

void recGenerate_v_1_0(std::string& out, const TypeRef& type, bool topLevel) {
    if (!type) {
        parseError("type is NULL");
    }
    generateItem(out, TagName, static_cast<unsigned int>(type->name.size()));
    out += type->name;
    generateItem(out, TagDimensions, static_cast<unsigned int>(type->dimensions.size()));
    for (const unsigned int dimension : type->dimensions) {
        out += encodeUint32(dimension);
    }
    generateItem(out, TagOffset, static_cast<unsigned int>(type->offset));
    generateItem(out, TagSize, type->size);
    if (topLevel) {
        generateItem(out, TagEndianess, kLittleEndian);
    }
    switch (type->typeIdentifier()) {
        case TypeSigned:
            generateItem(out, TagType, ItemSigned);
            return;
        case TypeUnsigned:
            generateItem(out, TagType, ItemUnsigned);
            return;
        case TypeFloat:
            generateItem(out, TagType, ItemFloat);
            return;
        case TypeStruct:
            generateItem(out, TagType, ItemStructBegin);
            for (const TypeRef& child : type->children()) {
                recGenerate_v_1_0(out, child, false);
            }
            generateItem(out, TagType, ItemStructEnd);
            return;
    }
    parseError();
}

// --- Definitions ---

namespace {

constexpr unsigned char kMagic[] = {0xDA, 0xDE};
constexpr unsigned int kMagicAndVersionBytes = 4;
constexpr unsigned int kHeaderBytes1 = 8;
constexpr unsigned int kHeaderBytes2 = 9;
constexpr unsigned int kHeaderBytes3 = 13;
constexpr unsigned char kCompressed = 1;

// No zlib stream can expand more: its longest match, 258 bytes, takes at least two bits.
constexpr std::uint64_t kMaxInflation = 1032;

Decipher g_decipher = nullptr;

/// The header of a definition, whatever its version. Positions are in bytes from its start.
struct Header {
    bool compressed = true;
    unsigned int cipherMethod = 0;
    unsigned int keyId = 0;
    unsigned int uncompressedSize = 0;
    unsigned int payloadAt = 0;
    unsigned int storedSize = 0;

    bool enciphered() const { return cipherMethod != 0 && keyId != 0; }
};

unsigned int bigEndian32At(const unsigned char* bytes) {
    unsigned int size = 4;
    return consume_uint32(bytes, size);
}

void requireHeader(unsigned int size, unsigned int headerBytes, int line = __builtin_LINE()) {
    if (size < headerBytes) {
        parseError("dataSize < header length", line);
    }
}

Header readHeader1(const unsigned char* bytes, unsigned int size) {
    requireHeader(size, kHeaderBytes1);
    Header header;
    header.uncompressedSize = bigEndian32At(bytes + 4);
    header.payloadAt = kHeaderBytes1;
    header.storedSize = size - kHeaderBytes1;
    return header;
}

/// Writers of this version count one byte too many, taken from the padding if there is some.
Header readHeader2(const unsigned char* bytes, unsigned int size) {
    requireHeader(size, kHeaderBytes2);
    const unsigned int padding = bytes[8];
    requireHeader(size, kHeaderBytes2 + padding);
    Header header;
    header.uncompressedSize = bigEndian32At(bytes + 4);
    header.payloadAt = kHeaderBytes2;
    header.storedSize = std::min(size - padding - kHeaderBytes1, size - kHeaderBytes2);
    return header;
}

Header readHeader3(const unsigned char* bytes, unsigned int size) {
    requireHeader(size, kHeaderBytes3);
    const unsigned int padding = bytes[12];
    requireHeader(size, kHeaderBytes3 + padding);
    Header header;
    header.compressed = bytes[4] == kCompressed;
    header.cipherMethod = bytes[5];
    header.keyId = static_cast<unsigned int>(bytes[6]) << 8U | bytes[7];
    header.uncompressedSize = bigEndian32At(bytes + 8);
    header.payloadAt = kHeaderBytes3;
    header.storedSize = size - kHeaderBytes3 - padding;
    return header;
}

Header readHeader(const unsigned char* bytes, unsigned int size) {
    if (bytes == nullptr || size < sizeof(kMagic) || std::memcmp(bytes, kMagic, sizeof(kMagic)) != 0) {
        parseError("magic number at the beginning (0xdade) missing");
    }
    requireHeader(size, kMagicAndVersionBytes);
    switch (static_cast<unsigned int>(bytes[2]) << 8U | bytes[3]) {
        case 0x0100:
            return readHeader1(bytes, size);
        case 0x0200:
            return readHeader2(bytes, size);
        case 0x0300:
            return readHeader3(bytes, size);
        default:
            parseError("unknown zelta version");
    }
}

using Buffer = shared_ptr<unsigned char>;

Buffer makeBuffer(std::size_t size) {
    return Buffer(static_cast<unsigned char*>(::operator new(std::max<std::size_t>(size, 1))));
}

void decipher(const Header& header, unsigned char* payload) {
    if (g_decipher == nullptr) {
        throw CryptError(kSourceFile, __LINE__, "no decipher function is installed");
    }
    g_decipher(header.cipherMethod, header.keyId, payload, header.storedSize);
}

TypeRef parsePayload(const unsigned char* payload, unsigned int size) {
    return recParse_v_1_0(payload, size, 0, EndianUnset);
}

TypeRef parseCompressed(const Header& header, const unsigned char* stored) {
    const std::uint64_t reachable =
        std::min(header.storedSize * kMaxInflation, std::uint64_t{kMaxPayloadBytes});
    const auto room = static_cast<unsigned int>(std::min<std::uint64_t>(header.uncompressedSize, reachable));
    const Buffer payload = makeBuffer(room);
    uLongf payloadSize = room;
    const int outcome = uncompress(payload.get(), &payloadSize, stored, header.storedSize);
    if (outcome == Z_BUF_ERROR && room == kMaxPayloadBytes) {
        parseError("payload too large");
    }
    if (outcome != Z_OK) {
        parseError("uncompress failed");
    }
    return parsePayload(payload.get(), static_cast<unsigned int>(payloadSize));
}

TypeRef parseEnciphered(const Header& header, const unsigned char* stored) {
    const Buffer deciphered = makeBuffer(header.storedSize);
    std::memcpy(deciphered.get(), stored, header.storedSize);
    decipher(header, deciphered.get());
    return parseCompressed(header, deciphered.get());
}

}  // namespace

Decipher setDecipher(Decipher decipherFunction) noexcept {
    const Decipher before = g_decipher;
    g_decipher = decipherFunction;
    return before;
}

TypeRef parseDatadefinition(const void* data, unsigned int size) {
    const auto* const bytes = static_cast<const unsigned char*>(data);
    const Header header = readHeader(bytes, size);
    const unsigned char* const stored = bytes + header.payloadAt;
    if (header.compressed && header.enciphered()) {
        return parseEnciphered(header, stored);
    }
    if (header.compressed) {
        return parseCompressed(header, stored);
    }
    if (header.uncompressedSize > size - header.payloadAt) {
        parseError("dataSize < uncompressed size");
    }
    if (header.uncompressedSize > kMaxPayloadBytes) {
        parseError("payload too large");
    }
    return parsePayload(stored, header.uncompressedSize);
}

std::string createDatadefinition(const TypeRef& type) {
    std::string payload;
    recGenerate_v_1_0(payload, type, true);

    uLongf compressedSize = compressBound(static_cast<uLong>(payload.size()));
    const Buffer compressed = makeBuffer(compressedSize);
    const auto* const source = reinterpret_cast<const Bytef*>(payload.data());
    if (compress2(compressed.get(), &compressedSize, source, static_cast<uLong>(payload.size()),
                  Z_BEST_COMPRESSION) != Z_OK) {
        parseError("compress failed");
    }

    const auto padding = static_cast<unsigned char>(~compressedSize & 3U);
    std::string definition{'\xDA', '\xDE', '\x03', '\x00', static_cast<char>(kCompressed), '\0', '\0', '\0'};
    definition += encodeUint32(static_cast<unsigned int>(payload.size()));
    definition += static_cast<char>(padding);
    definition.append(reinterpret_cast<const char*>(compressed.get()), compressedSize);
    definition.append(padding, '\0');

    // A definition that nobody could read is not handed out.
    parseDatadefinition(definition.data(), static_cast<unsigned int>(definition.size()));
    return definition;
}

}  // namespace zelta
