// SPDX-License-Identifier: Apache-2.0
// Interpreters: numbers and texts out of a record, and numbers into it.
#include "zelta_interpreter.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <type_traits>

#include "zelta_assigner.h"
#include "zelta_expression.h"
#include "zelta_fail.h"
#include "zelta_saturate.h"

namespace zelta {

static_assert(std::endian::native == std::endian::little, "records of this machine are little-endian");

namespace {

constexpr unsigned int kMaxElementSize = 8;

/// Where the elements of an interpreter lie.
struct Layout {
    int recordSize;
    int offset;
    unsigned int count;
    TypeIdentifier identifier;
    unsigned int elementSize;
    bool swap;

    bool isWholeRecord(unsigned int dataSize) const {
        return recordSize > 0 && static_cast<unsigned int>(recordSize) == dataSize;
    }

    /// The bytes that a record needs to hold all elements. A definition may claim more than its record has.
    std::uint64_t reach() const {
        return static_cast<unsigned int>(offset) + std::uint64_t{elementSize} * count;
    }

    bool isInside(unsigned int dataSize) const { return offset >= 0 && reach() <= dataSize; }
};

[[noreturn]] void sizeMismatch(int expected, unsigned int got, int line = __builtin_LINE()) {
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "expected %d bytes (from zelta description), got %d bytes",
                  expected, static_cast<int>(got));
    interpretError(TagSizeMismatch, text.data(), line);
}

void requireWholeRecord(const Layout& layout, unsigned int dataSize, int line = __builtin_LINE()) {
    if (!layout.isWholeRecord(dataSize)) {
        sizeMismatch(layout.recordSize, dataSize, line);
    }
}

void requireInside(const Layout& layout, unsigned int dataSize, int line = __builtin_LINE()) {
    if (!layout.isInside(dataSize)) {
        sizeMismatch(saturateToInt(layout.reach()), dataSize, line);
    }
}

/// Checks for the forms that move bytes unchanged.
template <typename T>
void requireRawElements(const Layout& layout, unsigned int count, unsigned int dataSize) {
    requireWholeRecord(layout, dataSize);
    if (layout.elementSize != sizeof(T) || layout.count != count) {
        interpretError(TagUnknown);
    }
    requireInside(layout, dataSize);
}

/// Checks for the forms that convert.
void requireConvertibleElements(const Layout& layout, unsigned int count, unsigned int dataSize) {
    if (!layout.isWholeRecord(dataSize) || layout.count != count || layout.elementSize > kMaxElementSize ||
        !layout.isInside(dataSize)) {
        interpretError(TagUnknown);
    }
}

/// Copies one element to the front of `scratch`, in the byte order of the machine.
void fetchElement(unsigned char* scratch, const unsigned char* element, unsigned int elementSize, bool swap) {
    copy_data(scratch, element, elementSize, 1, swap);
}

/// Calls `use` with a value of the C++ type that an element has; an element of no such type is refused.
template <typename Use>
auto withElementType(TypeIdentifier identifier, unsigned int elementSize, Use use) {
    switch (static_cast<unsigned int>(identifier) << 8U | elementSize) {
        case TypeSigned << 8 | 1:
            return use(static_cast<signed char>(0));
        case TypeSigned << 8 | 2:
            return use(static_cast<short>(0));
        case TypeSigned << 8 | 4:
            return use(0);
        case TypeSigned << 8 | 8:
            return use(0LL);
        case TypeUnsigned << 8 | 1:
            return use(static_cast<unsigned char>(0));
        case TypeUnsigned << 8 | 2:
            return use(static_cast<unsigned short>(0));
        case TypeUnsigned << 8 | 4:
            return use(0U);
        case TypeUnsigned << 8 | 8:
            return use(0ULL);
        case TypeFloat << 8 | 4:
            return use(0.0F);
        case TypeFloat << 8 | 8:
            return use(0.0);
        default:
            interpretError(TagUnknown);
    }
}

/// T is float or double.
template <typename T, typename S>
T convertElement(const unsigned char* bytes) {
    if constexpr (std::is_same_v<T, float>) {
        return convertFloat<S>(bytes);
    } else {
        return convertDouble<S>(bytes);
    }
}

template <typename T, typename S>
void convertElements(T* values, const unsigned char* elements, unsigned int count, bool swap) {
    for (std::size_t i = 0; i < count; ++i) {
        std::array<unsigned char, sizeof(S)> scratch;
        fetchElement(scratch.data(), elements + i * sizeof(S), sizeof(S), swap);
        values[i] = convertElement<T, S>(scratch.data());
    }
}

/// Truncates towards zero; what does not fit saturates and NaN becomes 0.
template <typename S>
S numberFromFloat(float value) {
    if constexpr (std::is_floating_point_v<S>) {
        return static_cast<S>(value);
    } else {
        // Powers of two, so exact in a float: the first value above the range, and its lowest.
        const float above = std::ldexp(1.0F, std::numeric_limits<S>::digits);
        const float lowest = std::is_signed_v<S> ? -above : 0.0F;
        if (std::isnan(value)) {
            return 0;
        }
        if (value >= above) {
            return std::numeric_limits<S>::max();
        }
        return value <= lowest ? std::numeric_limits<S>::min() : static_cast<S>(value);
    }
}

template <typename S>
void storeElements(unsigned char* elements, const float* values, unsigned int count, bool swap) {
    for (std::size_t i = 0; i < count; ++i) {
        const S number = numberFromFloat<S>(values[i]);
        copy_data(elements + i * sizeof(S), &number, sizeof(S), 1, swap);
    }
}

std::string textOf(signed char value) {
    std::string text = "'";
    if (value == 0) {
        text += "\\0";
    } else {
        text += static_cast<char>(value);
    }
    text += "'(";
    text += std::to_string(value);
    text += ')';
    return text;
}

std::string textOf(double value) {
    std::array<char, 32> text{};
    const auto result =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, 6);
    return {text.data(), result.ptr};
}

std::string textOf(float value) {
    return textOf(static_cast<double>(value));
}

template <typename S>
std::string textOf(S value) {
    return std::to_string(value);
}

std::string textOfElement(const Layout& layout, const unsigned char* element) {
    std::array<unsigned char, kMaxElementSize> scratch{};
    fetchElement(scratch.data(), element, layout.elementSize, layout.swap);
    return withElementType(layout.identifier, layout.elementSize, [&scratch](auto value) {
        std::memcpy(&value, scratch.data(), sizeof(value));
        return textOf(value);
    });
}

std::string textOfElements(const Layout& layout, const unsigned char* elements) {
    constexpr std::size_t kLongText = 512;
    const bool inBraces = layout.count >= 2;
    std::string text = inBraces ? "{" : "";
    for (std::size_t i = 0; i < layout.count; ++i) {
        text += textOfElement(layout, elements + i * layout.elementSize);
        if (i + 1 < layout.count) {
            text += ", ";
        }
        if (text.size() > kLongText) {
            text += "...";
            break;
        }
    }
    return inBraces ? text + "}" : text;
}

template <typename T>
inline constexpr bool kConverts = std::is_floating_point_v<T>;

}  // namespace

template <typename T>
Interpreter<T>::Interpreter(int recordSize, int offset, unsigned int count, TypeIdentifier identifier,
                            unsigned int elementSize, bool swap)
    : m_recordSize(recordSize),
      m_offset(offset),
      m_count(count),
      m_identifier(identifier),
      m_elementSize(elementSize),
      m_swap(swap) {}

template <typename T>
void Interpreter<T>::apply(T* values, unsigned int count, const void* data, unsigned int dataSize) const {
    const Layout layout{m_recordSize, m_offset, m_count, m_identifier, m_elementSize, m_swap};
    const auto* const record = static_cast<const unsigned char*>(data);
    if constexpr (std::is_same_v<T, std::string>) {
        if (m_recordSize == 0) {
            interpretError(TagUnknown);
        }
        requireWholeRecord(layout, dataSize);
        if (count != 1 || m_elementSize > kMaxElementSize) {
            interpretError(TagUnknown);
        }
        requireInside(layout, dataSize);
        *values = m_count == 0 ? "" : textOfElements(layout, record + m_offset);
    } else if constexpr (kConverts<T>) {
        requireConvertibleElements(layout, count, dataSize);
        const auto convert = withElementType(
            m_identifier, m_elementSize, [](auto element) { return &convertElements<T, decltype(element)>; });
        convert(values, record + m_offset, m_count, m_swap);
    } else {
        requireRawElements<T>(layout, count, dataSize);
        copy_data(values, record + m_offset, m_elementSize, m_count, m_swap);
    }
}

template <typename T>
void Interpreter<T>::modify(const T* values, unsigned int count, void* data, unsigned int dataSize) const
    requires(!std::same_as<T, std::string>) {
    const Layout layout{m_recordSize, m_offset, m_count, m_identifier, m_elementSize, m_swap};
    auto* const record = static_cast<unsigned char*>(data);
    if constexpr (std::is_same_v<T, float>) {
        requireConvertibleElements(layout, count, dataSize);
        const auto store = withElementType(m_identifier, m_elementSize,
                                           [](auto element) { return &storeElements<decltype(element)>; });
        store(record + m_offset, values, m_count, m_swap);
    } else {
        requireRawElements<T>(layout, count, dataSize);
        copy_data(record + m_offset, values, m_elementSize, m_count, m_swap);
    }
}

template <typename T>
bool validate_type_conversion(unsigned int size, TypeIdentifier identifier) {
    if constexpr (std::is_same_v<T, std::string>) {
        return true;
    } else if constexpr (kConverts<T>) {
        return identifier != TypeStruct;
    } else {
        return size == sizeof(T) && identifier == (std::is_signed_v<T> ? TypeSigned : TypeUnsigned);
    }
}

template <typename T>
typename InterpreterRef<T>::Type interpreter(const TypeRef& type, const std::string& expression) {
    requireType(type, "Type is null");
    unsigned int displacement = 0;
    unsigned int count = 0;
    const TypeRef node = typeFromExpression(type, expression, displacement, count);
    if (!validate_type_conversion<T>(node->size, node->typeIdentifier())) {
        interpretError(TagExpression, "type conversion not possible " + expression);
    }
    const std::uint64_t offset = static_cast<std::uint32_t>(node->offset) + std::uint64_t{displacement};
    return typename InterpreterRef<T>::Type(
        new Interpreter<T>(static_cast<int>(type->size), saturateToInt(offset), count, node->typeIdentifier(),
                           node->size, node->endianess != EndianLittle));
}

template <typename T>
void interpret(const typename InterpreterRef<T>::Type& interpreter, T* values, unsigned int count,
               const void* data, unsigned int dataSize) {
    if (!interpreter) {
        interpretError(TagNullPointer, "Interpreter is null");
    }
    interpreter->apply(values, count, data, dataSize);
}

template <typename T>
void modify(const typename InterpreterRef<T>::Type& interpreter, const T* values, unsigned int count,
            void* data, unsigned int dataSize) {
    if (!interpreter) {
        interpretError(TagNullPointer, "Interpreter is null");
    }
    interpreter->modify(values, count, data, dataSize);
}

// NOLINTBEGIN(bugprone-macro-parentheses): types do not stand in parentheses.
#define ZELTA_INSTANTIATE_READER(T)                                                      \
    template class Interpreter<T>;                                                       \
    template bool validate_type_conversion<T>(unsigned int, TypeIdentifier);             \
    template InterpreterRef<T>::Type interpreter<T>(const TypeRef&, const std::string&); \
    template void interpret<T>(const InterpreterRef<T>::Type&, T*, unsigned int, const void*, unsigned int)

#define ZELTA_INSTANTIATE(T)     \
    ZELTA_INSTANTIATE_READER(T); \
    template void modify<T>(const InterpreterRef<T>::Type&, const T*, unsigned int, void*, unsigned int)
// NOLINTEND(bugprone-macro-parentheses)

ZELTA_INSTANTIATE(signed char);
ZELTA_INSTANTIATE(short);
ZELTA_INSTANTIATE(int);
ZELTA_INSTANTIATE(long long);
ZELTA_INSTANTIATE(unsigned char);
ZELTA_INSTANTIATE(unsigned short);
ZELTA_INSTANTIATE(unsigned int);
ZELTA_INSTANTIATE(unsigned long long);
ZELTA_INSTANTIATE(float);
ZELTA_INSTANTIATE(double);
ZELTA_INSTANTIATE_READER(std::string);

}  // namespace zelta
