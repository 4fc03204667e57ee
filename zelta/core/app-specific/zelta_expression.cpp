// SPDX-License-Identifier: Apache-2.0
// Expressions: resolved against a type, listed, and in their short form.
#include "zelta_expression.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <span>
#include <string_view>

#include "zelta_fail.h"
#include "zelta_interpreter.h"
#include "zelta_saturate.h"

namespace zelta {
namespace {

/// The pieces between separators, empty ones included.
std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t end = text.find(separator, begin);
        pieces.push_back(text.substr(begin, end - begin));
        if (end == std::string::npos) {
            return pieces;
        }
        begin = end + 1;
    }
}

/// The number that a text begins with, read as a 32-bit integer. What follows is
/// ignored; what does not fit saturates.
bool leadingNumber(const std::string& text, unsigned int& number) {
    char* end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    number = static_cast<unsigned int>(std::clamp<long long>(value, INT_MIN, INT_MAX));
    return end != text.c_str();
}

TypeRef findChild(const IType& parent, const std::string& name) {
    for (const TypeRef& child : parent.children()) {
        if (child && child->name == name) {
            return child;
        }
    }
    return TypeRef();
}

/// The number of "[" in the last segment.
unsigned int lastSegmentGroups(const std::string& expression) {
    const std::size_t dot = expression.rfind('.');
    const auto begin = expression.begin() + static_cast<std::ptrdiff_t>(dot == std::string::npos ? 0 : dot);
    return static_cast<unsigned int>(std::count(begin, expression.end(), '['));
}

}  // namespace

void interpret_key(std::string key, std::string& name, std::vector<unsigned int>& index) {
    if (!key.empty() && key.front() == '[') {
        interpretError(TagUnknown);
    }
    const std::vector<std::string> pieces = split(key, '[');
    name = pieces.front();
    index.clear();
    for (std::size_t i = 1; i < pieces.size(); ++i) {
        unsigned int number = 0;
        if (!leadingNumber(pieces[i], number)) {
            interpretError(TagUnknown);
        }
        index.push_back(number);
    }
}

TypeRef typeFromExpression(const TypeRef& type, const std::string& expression, unsigned int& offset,
                           unsigned int& count) {
    requireType(type);
    if (expression.empty()) {
        offset = 0;
        count = 1;
        return type;
    }
    const std::vector<std::string> segments = split(expression, '.');
    std::string name;
    std::vector<unsigned int> index;
    interpret_key(segments.front(), name, index);
    if (name != type->name || !type->valid(index, true)) {
        interpretError(TagExpression, expression);
    }
    TypeRef node = type;
    std::uint32_t displacement = saturatingMultiply(node->size, node->index2lin(index));
    for (std::size_t i = 1; i < segments.size(); ++i) {
        interpret_key(segments[i], name, index);
        node = findChild(*node, name);
        const bool isLast = i + 1 == segments.size();
        if (!node || !node->valid(index, !isLast)) {
            interpretError(TagExpression, expression);
        }
        displacement = saturatingAdd(displacement, saturatingMultiply(node->size, node->index2lin(index)));
    }
    offset = displacement;
    count = elementCount(std::span(node->dimensions).subspan(index.size()));
    return node;
}

unsigned int subExpressionSize(const TypeRef& type, const std::string& expression) {
    unsigned int offset = 0;
    unsigned int count = 0;
    const TypeRef node = typeFromExpression(type, expression, offset, count);
    return saturatingMultiply(count, node->size);
}

unsigned int subExpressionOffset(const TypeRef& type, const std::string& expression) {
    return static_cast<unsigned int>(interpreter<float>(type, expression)->offset());
}

namespace {

ZeltaTypeID integerTypeID(unsigned int size, ZeltaTypeID family) {
    switch (size) {
        case 2:
            return static_cast<ZeltaTypeID>(family + 1);
        case 4:
            return static_cast<ZeltaTypeID>(family + 2);
        case 8:
            return static_cast<ZeltaTypeID>(family + 3);
        default:
            return family;
    }
}

ZeltaTypeID typeIDOf(const IType& node) {
    const TypeIdentifier identifier = node.typeIdentifier();
    if (identifier == TypeStruct) {
        return ZeltaStruct;
    }
    if (node.size > 8) {
        interpretError(TagUnknown, "Unknown type ID");  // No number is that wide.
    }
    switch (identifier) {
        case TypeSigned:
            return integerTypeID(node.size, ZeltaInt8);
        case TypeUnsigned:
            return integerTypeID(node.size, ZeltaUint8);
        case TypeFloat:
            return node.size == 8 ? ZeltaFloat64 : ZeltaFloat32;
        default:
            interpretError(TagUnknown, "Unknown type ID");
    }
}

}  // namespace

void subExpressionType(const TypeRef& type, const std::string& expression, ZeltaTypeID& id,
                       std::vector<unsigned int>& dimensions) {
    requireType(type);
    if (expression.empty()) {
        id = ZeltaStruct;
        dimensions = {1};
        return;
    }
    unsigned int offset = 0;
    unsigned int count = 0;
    const TypeRef node = typeFromExpression(type, expression, offset, count);
    const ZeltaTypeID nodeID = typeIDOf(*node);
    const unsigned int fixed = lastSegmentGroups(expression);
    if (fixed > node->dimensions.size()) {
        interpretError(TagUnknown, "Referenced dimension does not exist");
    }
    id = nodeID;
    dimensions.assign(node->dimensions.begin() + static_cast<std::ptrdiff_t>(fixed), node->dimensions.end());
}

namespace {

/// What the texts of a listing may take, in bytes. `heldBytes` of a record really exist; the size in a
/// definition is only a claim, believed up to a MiB.
std::uint64_t listingBudget(std::uint64_t claimedBytes, std::uint64_t heldBytes) {
    constexpr std::uint64_t kMaxClaim = 1U << 20U;
    // The worst that an honest record asks for is one-byte elements under long names.
    constexpr std::uint64_t kTextPerByte = 256;
    constexpr std::uint64_t kMinBudget = 1U << 25U;
    const std::uint64_t bytes = std::max(std::min(claimedBytes, kMaxClaim), heldBytes);
    return std::max(kMinBudget, kTextPerByte * std::min<std::uint64_t>(bytes, UINT32_MAX));
}

/// Lists expressions below a node. A definition of a few bytes can claim billions of elements, so the walk is
/// bounded.
class ExpressionLister {
 public:
    ExpressionLister(std::vector<std::string>& out, std::uint64_t budget) : m_out(out), m_remaining(budget) {}

    void list(const IType& node, std::string prefix, int levels) {
        if (prefix.empty() || prefix.back() == '.') {
            prefix += node.name;
        }
        charge(prefix);
        if (node.typeIdentifier() != TypeStruct) {
            if (levels <= 0) {
                append(std::move(prefix));
            }
        } else if (levels == 0) {
            append(std::move(prefix));
        } else {
            listElements(node, prefix, levels > 0 ? levels - 1 : -1);
        }
    }

    void listElement(const std::string& array, unsigned int entry) {
        std::string element = array;
        appendIndex(element, entry);
        charge(element);
        append(std::move(element));
    }

 private:
    // What a string takes besides its characters.
    static constexpr std::uint64_t kStringBytes = 64;

    static void appendIndex(std::string& element, unsigned int entry) {
        element += '[';
        element += std::to_string(entry);
        element += ']';
    }

    void append(std::string expression) { m_out.push_back(std::move(expression)); }

    /// Every text that the walk makes counts, even those of structs on the way.
    void charge(const std::string& text) {
        const std::uint64_t cost = text.size() + kStringBytes;
        if (cost > m_remaining) {
            interpretError(TagUnknown, "too many expressions");
        }
        m_remaining -= cost;
    }

    void listElements(const IType& node, const std::string& prefix, int levels) {
        const std::vector<TypeRef> children = node.children();
        const bool elementIsFixed = !prefix.empty() && prefix.back() == ']';
        std::vector<unsigned int> index = node.startIterate();
        while (node.valid(index, true)) {
            std::string element = prefix;
            if (!elementIsFixed) {
                for (const unsigned int entry : index) {
                    appendIndex(element, entry);
                }
            }
            charge(element);
            for (const TypeRef& child : children) {
                list(*child, element + ".", levels);
            }
            if (elementIsFixed) {
                return;
            }
            node.incIndex(index);
        }
    }

    std::vector<std::string>& m_out;
    std::uint64_t m_remaining;
};

}  // namespace

std::vector<std::string> validExpressions(const TypeRef& type, std::size_t heldBytes) {
    requireType(type);
    std::vector<std::string> expressions;
    validExpressions(type, expressions, "", -1, heldBytes);
    return expressions;
}

void validExpressions(const TypeRef& type, std::vector<std::string>& out, std::string prefix, int levels,
                      std::size_t heldBytes) {
    requireType(type);
    const std::uint64_t claimedBytes = std::uint64_t{type->size} * type->count();
    ExpressionLister(out, listingBudget(claimedBytes, heldBytes)).list(*type, std::move(prefix), levels);
}

std::vector<std::string> subExpressions(const TypeRef& type, const std::string& expression,
                                        std::size_t heldBytes) {
    requireType(type, "type is null");
    if (expression.empty()) {
        return {type->name};
    }
    unsigned int offset = 0;
    unsigned int count = 0;
    const TypeRef node = typeFromExpression(type, expression, offset, count);
    ZeltaTypeID id = ZeltaStruct;
    std::vector<unsigned int> dimensions;
    subExpressionType(type, expression, id, dimensions);

    std::vector<std::string> expressions;
    ExpressionLister lister(expressions, listingBudget(type->size, heldBytes));
    if (dimensions.empty()) {
        lister.list(*node, expression, 1);
        return expressions;
    }
    const unsigned int fixed = lastSegmentGroups(expression);
    if (fixed >= node->dimensions.size()) {
        interpretError(TagUnknown, "Internal Error, number of addressed objects mismatch dimensions");
    }
    for (unsigned int i = 0; i < node->dimensions[fixed]; ++i) {
        lister.listElement(expression, i);
    }
    return expressions;
}

namespace {

/// CRC-16 with polynomial 0x1021, start 0xFFFF, most significant bit first, no final inversion.
std::uint16_t nameChecksum(std::string_view name) {
    std::uint32_t checksum = 0xFFFF;
    for (const char character : name) {
        checksum ^= static_cast<std::uint32_t>(static_cast<unsigned char>(character)) << 8U;
        for (int bit = 0; bit < 8; ++bit) {
            const std::uint32_t polynomial = (checksum & 0x8000U) != 0 ? 0x1021U : 0U;
            checksum = (checksum << 1U ^ polynomial) & 0xFFFFU;
        }
    }
    return static_cast<std::uint16_t>(checksum);
}

std::uint32_t decimalNumber(std::string_view digits) {
    std::uint32_t value = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') {
            interpretError(TagExpression);
        }
        value = saturatingAdd(saturatingMultiply(value, 10), static_cast<std::uint32_t>(digit - '0'));
    }
    return value;
}

std::string compressSegment(const std::string& segment) {
    std::size_t open = segment.find('[');
    std::string compressed = ".";
    compressed += encodeNumber(nameChecksum(std::string_view(segment).substr(0, open)));
    while (open != std::string::npos) {
        const std::size_t close = segment.find(']', open);
        if (close == std::string::npos) {
            interpretError(TagExpression);
        }
        const std::string_view digits = std::string_view(segment).substr(open + 1, close - open - 1);
        compressed += '[';
        if (!digits.empty()) {
            compressed += encodeNumber(decimalNumber(digits));
        }
        open = segment.find('[', close);
    }
    return compressed;
}

}  // namespace

std::string compressExpression(const std::string& expression) {
    if (expression.find('.') == std::string::npos) {
        interpretError(TagExpression);
    }
    const std::vector<std::string> segments = split(expression, '.');
    std::string compressed;
    for (std::size_t i = 1; i < segments.size() && !segments[i].empty(); ++i) {
        compressed += compressSegment(segments[i]);
    }
    return compressed;
}

std::string encodeNumber(unsigned int value) {
    // The order of the last two is deliberate: readers of the short form expect "_" before "-".
    static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
    std::string text;
    do {
        text.insert(text.begin(), kDigits[value & 63U]);
        value >>= 6U;
    } while (value != 0);
    return text;
}

}  // namespace zelta
