// SPDX-License-Identifier: Apache-2.0
// Interpreters: one expression of a described record as a plain array of numbers, or as text.
#pragma once

#include <concepts>
#include <cstring>
#include <string>

#include "zelta_type.h"

namespace zelta {

/// Reads and writes what one expression addresses, in any record of the type that it was made for.
/// Keeps no reference to that type.
///
/// T is one of the eight integer types `signed char` to `unsigned long long`, which accept only elements of
/// their own width and signedness; `float` or `double`, which convert from every number; or `std::string`,
/// which renders numbers as text.
template <typename T>
class Interpreter {
 public:
    /// `offset` is that of the first element in the record; `swap` says that the record is big-endian.
    Interpreter(int recordSize, int offset, unsigned int count, TypeIdentifier identifier,
                unsigned int elementSize, bool swap);

    /// Reads all elements. `count` must be the number addressed (1 for text), `dataSize` the size of a whole
    /// record.
    void apply(T* values, unsigned int count, const void* data, unsigned int dataSize) const;

    /// Writes all elements. `float` converts to the elements' type, integers towards zero, saturated, NaN as
    /// 0; `double` is stored as its bytes and takes elements of 8 bytes only.
    void modify(const T* values, unsigned int count, void* data, unsigned int dataSize) const
        requires(!std::same_as<T, std::string>);

    int recordSize() const { return m_recordSize; }
    int offset() const { return m_offset; }
    unsigned int count() const { return m_count; }
    TypeIdentifier identifier() const { return m_identifier; }
    unsigned int elementSize() const { return m_elementSize; }
    bool swap() const { return m_swap; }

 private:
    int m_recordSize;
    int m_offset;
    unsigned int m_count;
    TypeIdentifier m_identifier;
    unsigned int m_elementSize;
    bool m_swap;
};

template <typename T>
struct InterpreterRef {
    using Type = shared_ptr<Interpreter<T> const>;
};

/// Whether a T can be read from elements of this size and kind.
template <typename T>
bool validate_type_conversion(unsigned int size, TypeIdentifier identifier);

/// Resolves an expression. Throws InterpretError if it does not resolve, or if T cannot read what it
/// addresses.
template <typename T>
typename InterpreterRef<T>::Type interpreter(const TypeRef& type, const std::string& expression);

/// `apply` of an interpreter that may be null (InterpretError).
template <typename T>
void interpret(const typename InterpreterRef<T>::Type& interpreter, T* values, unsigned int count,
               const void* data, unsigned int dataSize);

/// `modify` of an interpreter that may be null (InterpretError).
template <typename T>
void modify(const typename InterpreterRef<T>::Type& interpreter, const T* values, unsigned int count,
            void* data, unsigned int dataSize);

/// Reads an S from bytes in the order of the machine, at any address.
template <typename S>
float convertFloat(const unsigned char* bytes) {
    S value;
    std::memcpy(&value, bytes, sizeof(S));
    return static_cast<float>(value);
}

template <typename S>
double convertDouble(const unsigned char* bytes) {
    S value;
    std::memcpy(&value, bytes, sizeof(S));
    return static_cast<double>(value);
}

}  // namespace zelta
