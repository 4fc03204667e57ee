// SPDX-License-Identifier: Apache-2.0

#include "recording/Record.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>
#include <system_error>
#include <type_traits>

#include "PacketZelta.h"
#include "zelta_expression.h"
#include "zelta_parse.h"

namespace recording {
namespace {

using zelta::TypeRef;
using zelta::ZeltaChunk;

// The library's texts contain source positions; these texts name what the user asked for instead.
RecordError noSuchMember(const std::string& expression) {
    return RecordError("\"" + expression + "\" addresses nothing in this record.");
}

struct Place {
    zelta::ZeltaTypeID id = zelta::ZeltaStruct;
    unsigned int count = 0;
};

Place placeOf(const TypeRef& type, const std::string& expression) {
    try {
        unsigned int offset = 0;
        Place place;
        std::vector<unsigned int> dimensions;
        zelta::typeFromExpression(type, expression, offset, place.count);
        zelta::subExpressionType(type, expression, place.id, dimensions);
        return place;
    } catch (const zelta::Error&) {
        throw noSuchMember(expression);
    }
}

template <typename T>
std::vector<T> read(const ZeltaChunk& chunk, const std::string& expression, std::size_t expectedCount) {
    const TypeRef type = typeOf(chunk);
    const unsigned int count = countOf(type, expression);
    if (count != expectedCount) {
        throw RecordError("\"" + expression + "\" has " + std::to_string(count) + " elements, not " +
                          std::to_string(expectedCount) + ".");
    }
    std::vector<T> values(count);
    try {
        zelta::interpret<T>(zelta::interpreter<T>(type, expression), values.data(), count, chunk.data,
                            static_cast<unsigned int>(chunk.dataSize));
    } catch (const zelta::Error&) {
        throw RecordError("\"" + expression + "\" cannot be read: its definition does not fit its data.");
    }
    return values;
}

std::vector<std::string_view> splitAtCommas(std::string_view text) {
    std::vector<std::string_view> parts;
    while (true) {
        const std::size_t comma = text.find(',');
        parts.push_back(text.substr(0, comma));
        if (comma == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(comma + 1);
    }
}

template <typename T>
bool parseWhole(std::string_view text, T& value) {
    const bool negative = std::is_signed_v<T> && !text.empty() && text.front() == '-';
    if (negative) {
        text.remove_prefix(1);
    }
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (hexadecimal) {
        text.remove_prefix(2);
    }
    std::uint64_t magnitude = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), magnitude, hexadecimal ? 16 : 10);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return false;
    }
    const auto largest = static_cast<std::uint64_t>(std::numeric_limits<T>::max()) + (negative ? 1U : 0U);
    if (magnitude > largest) {
        return false;
    }
    value = static_cast<T>(negative ? ~magnitude + 1 : magnitude);
    return true;
}

template <typename T>
bool parse(std::string_view text, T& value) {
    if constexpr (std::is_floating_point_v<T>) {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        return error == std::errc{} && end == text.data() + text.size() && std::isfinite(value);
    } else {
        return parseWhole(text, value);
    }
}

template <typename T>
void store(const TypeRef& type, const std::string& expression, const std::vector<std::string_view>& parts,
           unsigned int count, const char* kind, std::span<std::uint8_t> data) {
    std::vector<T> given;
    for (const std::string_view part : parts) {
        T value{};
        if (!parse(part, value)) {
            throw RecordError("\"" + std::string(part) + "\" is no value for \"" + expression +
                              "\", which is " + kind + ".");
        }
        given.push_back(value);
    }
    const std::vector<T> values = given.size() == count ? given : std::vector<T>(count, given[0]);
    zelta::modify<T>(zelta::interpreter<T>(type, expression), values.data(), count, data.data(),
                     static_cast<unsigned int>(data.size()));
}

void storeByKind(const TypeRef& type, const std::string& expression,
                 const std::vector<std::string_view>& parts, const Place& place,
                 std::span<std::uint8_t> data) {
    switch (place.id) {
        case zelta::ZeltaInt8:
            return store<signed char>(type, expression, parts, place.count, "a signed byte", data);
        case zelta::ZeltaInt16:
            return store<short>(type, expression, parts, place.count, "an integer of 16 bits", data);
        case zelta::ZeltaInt32:
            return store<int>(type, expression, parts, place.count, "an integer of 32 bits", data);
        case zelta::ZeltaInt64:
            return store<long long>(type, expression, parts, place.count, "an integer of 64 bits", data);
        case zelta::ZeltaUint8:
            return store<unsigned char>(type, expression, parts, place.count, "a byte", data);
        case zelta::ZeltaUint16:
            return store<unsigned short>(type, expression, parts, place.count,
                                         "an unsigned integer of 16 bits", data);
        case zelta::ZeltaUint32:
            return store<unsigned int>(type, expression, parts, place.count, "an unsigned integer of 32 bits",
                                       data);
        case zelta::ZeltaUint64:
            return store<unsigned long long>(type, expression, parts, place.count,
                                             "an unsigned integer of 64 bits", data);
        case zelta::ZeltaFloat32:
            return store<float>(type, expression, parts, place.count, "a finite number", data);
        case zelta::ZeltaFloat64:
            return store<double>(type, expression, parts, place.count, "a finite number", data);
        case zelta::ZeltaStruct:
            break;
    }
    throw RecordError("\"" + expression + "\" is a structure; name one of its members.");
}

}  // namespace

Record::Record(const Member& description)
    : type_(layOut(description)),
      definition_(zelta::createDatadefinition(type_)),
      data_(zelta::typeSize(type_), 0) {}

ZeltaChunk Record::chunk(int channel) const {
    return {definition_.data(), static_cast<int>(definition_.size()), data_.data(),
            static_cast<int>(data_.size()), channel};
}

std::vector<std::uint8_t> packetOf(const std::vector<ZeltaChunk>& chunks) {
    const int size = zelta::packet_get_required_size(chunks);
    std::vector<std::uint8_t> bytes(size < 0 ? 0 : static_cast<std::size_t>(size));
    if (size < 0 || zelta::packet_create(bytes.data(), size, chunks) != 0) {
        throw RecordError("These chunks make no packet: one is empty, or all are too large.");
    }
    return bytes;
}

const ZeltaChunk* findChunk(const zelta::Packet& packet, int channel) {
    for (const ZeltaChunk& chunk : packet) {
        if (chunk.channelID == channel) {
            return &chunk;
        }
    }
    return nullptr;
}

TypeRef typeOf(const ZeltaChunk& chunk) {
    const std::string where = "The definition on channel " + std::to_string(chunk.channelID);
    try {
        TypeRef type =
            zelta::cachedDatadefinition(chunk.description, static_cast<unsigned int>(chunk.descSize));
        if (!type) {
            throw RecordError(where + " is empty.");
        }
        return type;
    } catch (const zelta::CryptError&) {
        throw RecordError(where + " is enciphered.");
    } catch (const zelta::ParseError&) {
        throw RecordError(where + " is damaged.");
    }
}

std::string element(const std::string& array, std::size_t index) {
    return array + "[" + std::to_string(index) + "]";
}

bool hasMember(const ZeltaChunk& chunk, const std::string& expression) {
    const TypeRef type = typeOf(chunk);  // damage is not absence
    try {
        countOf(type, expression);
        return true;
    } catch (const RecordError&) {
        return false;
    }
}

unsigned int countOf(const TypeRef& type, const std::string& expression) {
    return placeOf(type, expression).count;
}

std::vector<double> numbersOf(const ZeltaChunk& chunk, const std::string& expression,
                              std::size_t expectedCount) {
    return read<double>(chunk, expression, expectedCount);
}

double numberOf(const ZeltaChunk& chunk, const std::string& expression) {
    return numbersOf(chunk, expression, 1)[0];
}

std::uint64_t wholeNumberOf(const ZeltaChunk& chunk, const std::string& expression) {
    return read<unsigned long long>(chunk, expression, 1)[0];
}

std::vector<float> imageOf(const ZeltaChunk& chunk, const std::string& expression,
                           std::size_t expectedCount) {
    return read<float>(chunk, expression, expectedCount);
}

std::vector<std::uint8_t> bytesOf(const ZeltaChunk& chunk, const std::string& expression,
                                  std::size_t expectedCount) {
    return read<unsigned char>(chunk, expression, expectedCount);
}

void setFromText(const TypeRef& type, const std::string& expression, const std::string& text,
                 std::span<std::uint8_t> data) {
    const Place place = placeOf(type, expression);
    if (place.count > data.size()) {
        throw noSuchMember(expression);
    }
    const std::vector<std::string_view> parts = splitAtCommas(text);
    if (parts.size() != 1 && parts.size() != place.count) {
        const std::string counts =
            place.count == 1 ? "one value" : "one value or " + std::to_string(place.count);
        throw RecordError("\"" + expression + "\" takes " + counts + ", not " + std::to_string(parts.size()) +
                          "; commas separate values.");
    }
    try {
        storeByKind(type, expression, parts, place, data);
    } catch (const zelta::Error&) {
        throw RecordError("\"" + expression + "\" cannot be written: its definition does not fit its data.");
    }
}

}  // namespace recording
