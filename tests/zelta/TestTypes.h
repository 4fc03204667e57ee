// SPDX-License-Identifier: Apache-2.0
// What the tests of the data library share: small type trees, payloads written item by item, definitions
// around them, and the texts of exceptions.
#pragma once

#include <zlib.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "zelta.h"

namespace zelta::test {

using Dimensions = std::vector<unsigned int>;

inline TypeRef number(const std::string& name, TypeIdentifier identifier, unsigned int size, int offset,
                      const Dimensions& dimensions = {}, TypeEndianess endianess = EndianLittle) {
    return TypeRef(new ElementaryType(name, dimensions, offset, size, endianess, identifier));
}

inline TypeRef record(const std::string& name, unsigned int size, int offset,
                      const std::vector<TypeRef>& children, const Dimensions& dimensions = {},
                      TypeEndianess endianess = EndianLittle) {
    return TypeRef(new StructType(name, dimensions, offset, size, endianess, children));
}

/// The text of the exception that `call` throws, without the place in front; "" and a failure if it throws
/// none.
template <typename Exception, typename Call>
std::string messageOf(Call call) {
    try {
        call();
    } catch (const Exception& error) {
        const std::string text = error.what();
        const std::size_t end = text.find("): ");
        return end == std::string::npos ? text : text.substr(end + 3);
    }
    return "nothing thrown";
}

inline std::string bytesOf(std::initializer_list<int> values) {
    std::string bytes;
    for (const int value : values) {
        bytes += static_cast<char>(value);
    }
    return bytes;
}

inline std::string bigEndian(unsigned int value) {
    return bytesOf({static_cast<int>(value >> 24U), static_cast<int>(value >> 16U & 0xFFU),
                    static_cast<int>(value >> 8U & 0xFFU), static_cast<int>(value & 0xFFU)});
}

/// A payload, item by item in any order, right or wrong.
class Payload {
 public:
    Payload& name(const std::string& text) {
        return add('d', static_cast<unsigned int>(text.size())).raw(text);
    }
    Payload& dimensions(const Dimensions& values = {}) {
        add('e', static_cast<unsigned int>(values.size()));
        for (const unsigned int value : values) {
            raw(bigEndian(value));
        }
        return *this;
    }
    Payload& offset(unsigned int value) { return add('f', value); }
    Payload& size(unsigned int value) { return add('g', value); }
    Payload& endianess(unsigned int value) { return add('h', value); }
    Payload& type(unsigned int value) { return add(0x96, value); }
    Payload& raw(const std::string& bytes) {
        m_bytes += bytes;
        return *this;
    }
    Payload& add(int tag, unsigned int value) { return raw(bytesOf({tag}) + bigEndian(value)); }

    /// All items of a scalar or array except its byte order.
    Payload& member(const std::string& text, unsigned int at, unsigned int bytes, unsigned int kind,
                    const Dimensions& values = {}) {
        return name(text).dimensions(values).offset(at).size(bytes).type(kind);
    }
    /// Begins a little-endian outermost struct.
    Payload& root(const std::string& text, unsigned int bytes) {
        return name(text).dimensions().offset(0).size(bytes).endianess(200).type(0xFE);
    }
    Payload& end() { return type(0xFF); }

    const std::string& bytes() const { return m_bytes; }

 private:
    std::string m_bytes;
};

inline std::string deflated(const std::string& bytes) {
    uLongf size = compressBound(static_cast<uLong>(bytes.size()));
    std::string stream(size, '\0');
    compress2(reinterpret_cast<Bytef*>(stream.data()), &size, reinterpret_cast<const Bytef*>(bytes.data()),
              static_cast<uLong>(bytes.size()), 9);
    stream.resize(size);
    return stream;
}

inline std::string definition0100(const std::string& payload) {
    return bytesOf({0xDA, 0xDE, 1, 0}) + bigEndian(static_cast<unsigned int>(payload.size())) +
           deflated(payload);
}

inline std::string definition0200(const std::string& payload, unsigned int padding) {
    return bytesOf({0xDA, 0xDE, 2, 0}) + bigEndian(static_cast<unsigned int>(payload.size())) +
           static_cast<char>(padding) + deflated(payload) + std::string(padding, '\0');
}

/// Version 0x0300 around a payload as it is stored.
inline std::string definition0300(const std::string& stored, unsigned int uncompressedSize, int compressed,
                                  int cipherMethod = 0, unsigned int keyId = 0, unsigned int padding = 0) {
    return bytesOf({0xDA, 0xDE, 3, 0, compressed, cipherMethod, static_cast<int>(keyId >> 8U),
                    static_cast<int>(keyId & 0xFFU)}) +
           bigEndian(uncompressedSize) + static_cast<char>(padding) + stored + std::string(padding, '\0');
}

inline std::string plainDefinition(const std::string& payload) {
    return definition0300(payload, static_cast<unsigned int>(payload.size()), 0);
}

/// Parses from a heap block of exactly the size given, so that a sanitizer sees any read beyond it.
inline TypeRef parse(const std::string& definition) {
    const std::vector<char> exact(definition.begin(), definition.end());
    return parseDatadefinition(exact.data(), static_cast<unsigned int>(exact.size()));
}

/// Everything that a tree says, as text.
inline std::string textOf(const TypeRef& type) {
    if (!type) {
        return "null";
    }
    std::string text = type->name + "[";
    for (const unsigned int dimension : type->dimensions) {
        text += std::to_string(dimension) + ",";
    }
    text += "]@" + std::to_string(type->offset) + " size " + std::to_string(type->size) + " order " +
            std::to_string(type->endianess) + " kind " + std::to_string(type->typeIdentifier());
    for (const TypeRef& child : type->children()) {
        text += " {" + textOf(child) + "}";
    }
    return text;
}

/// A value at a place in a record.
template <typename T>
void put(std::vector<unsigned char>& record, std::size_t offset, T value) {
    std::memcpy(record.data() + offset, &value, sizeof(T));
}

template <typename T>
T get(const std::vector<unsigned char>& record, std::size_t offset) {
    T value;
    std::memcpy(&value, record.data() + offset, sizeof(T));
    return value;
}

}  // namespace zelta::test
