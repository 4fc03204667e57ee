// SPDX-License-Identifier: Apache-2.0
// Expressions: texts that address a part of a record, such as `Record.list[2].x`.
//
// An expression is empty (the whole record) or a list of segments joined by ".". A segment is a name and any
// number of index groups "[number]". The first segment names the root. Every segment but the last must select
// one element. The last may leave dimensions open; it then addresses the whole block.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "zelta_type.h"

namespace zelta {

/// What an expression addresses.
enum ZeltaTypeID : int {
    ZeltaInt8 = 0,
    ZeltaInt16 = 1,
    ZeltaInt32 = 2,
    ZeltaInt64 = 3,
    ZeltaUint8 = 4,
    ZeltaUint16 = 5,
    ZeltaUint32 = 6,
    ZeltaUint64 = 7,
    ZeltaFloat32 = 8,
    ZeltaFloat64 = 9,
    ZeltaStruct = 10  ///< also the empty expression
};

/// Splits one segment into name and indices. Throws InterpretError for a segment that begins with "[" or has
/// a group without a number.
void interpret_key(std::string key, std::string& name, std::vector<unsigned int>& index);

/// Resolves an expression. `offset` becomes the displacement in bytes that the indices cause (without the
/// node's own offset), `count` the number of elements addressed; both stop at 0xFFFFFFFF. If it throws
/// InterpretError, both stay as they were.
TypeRef typeFromExpression(const TypeRef& type, const std::string& expression, unsigned int& offset,
                           unsigned int& count);

/// Bytes addressed, at most 0xFFFFFFFF.
unsigned int subExpressionSize(const TypeRef& type, const std::string& expression);

/// Absolute offset of the first element addressed, in bytes. Numbers only: a struct throws InterpretError.
unsigned int subExpressionOffset(const TypeRef& type, const std::string& expression);

/// The kind of the elements addressed, and the dimensions that the expression leaves open.
void subExpressionType(const TypeRef& type, const std::string& expression, ZeltaTypeID& id,
                       std::vector<unsigned int>& dimensions);

// A few bytes of definition can claim billions of elements, so each listing has a budget: 256 bytes of text
// for each byte of the record, and at least 32 MiB. The size in the definition counts only up to 1 MiB. A
// caller with a larger record states in `heldBytes` how many bytes of it there are. Every expression listed
// costs its characters and 64 bytes, and so does every element and member on the way to one. Beyond the
// budget: InterpretError, unknown.

/// All expressions down to the leaves. Arrays of numbers appear once, arrays of structs element by element.
std::vector<std::string> validExpressions(const TypeRef& type, std::size_t heldBytes = 0);

/// Appends the expressions below `type`, whose own expression is `prefix` (with a trailing "." if the name is
/// still to be added), down to `levels` levels, all the way if `levels` is negative.
void validExpressions(const TypeRef& type, std::vector<std::string>& out, std::string prefix, int levels,
                      std::size_t heldBytes = 0);

/// What lies one step below an expression: the elements of the first open dimension;
/// without one, the members, if any.
std::vector<std::string> subExpressions(const TypeRef& type, const std::string& expression,
                                        std::size_t heldBytes = 0);

/// A short form for the same place: the root dropped, names as checksums, numbers with 6 bits to a digit.
std::string compressExpression(const std::string& expression);

/// A number in that form: one or more of A-Z, a-z, 0-9, "_", "-", the most significant first.
std::string encodeNumber(unsigned int value);

}  // namespace zelta
