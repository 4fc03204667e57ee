// SPDX-License-Identifier: Apache-2.0
// The type tree: what a binary record looks like, known at run time.
#pragma once

#include <string>
#include <vector>

#include "zelta_shared_ptr.h"

namespace zelta {

enum TypeIdentifier : int {
    TypeSigned = 0,    ///< two's complement integer
    TypeUnsigned = 1,  ///< unsigned integer
    TypeFloat = 2,     ///< IEEE floating point of 4 or 8 bytes
    TypeStruct = 3     ///< members of their own
};

enum TypeEndianess : int {
    EndianLittle = 0,
    EndianBig = 1,
    EndianUnset = 2  ///< only while parsing: no byte order seen yet
};

/// One node of a type tree; immutable. All sizes and offsets are in bytes.
class IType {
 public:
    IType(const std::string& name, const std::vector<unsigned int>& dimensions, int offset, unsigned int size,
          TypeEndianess endianess);
    IType(const IType&) = delete;
    IType& operator=(const IType&) = delete;
    virtual ~IType();

    virtual TypeIdentifier typeIdentifier() const = 0;

    /// The members of a struct in the order of the definition; empty for any other node.
    virtual std::vector<shared_ptr<IType const>> children() const = 0;

    /// The number of elements: the product of the dimensions, 1 for a scalar, at most 0xFFFFFFFF.
    unsigned int count() const;

    /// Where a walk over the elements begins: one zero per dimension.
    std::vector<unsigned int> startIterate() const;

    /// Whether `index` addresses something in this node. If `exact`, that must be one element; otherwise it
    /// may be a block: an index with fewer entries than the node has dimensions.
    bool valid(const std::vector<unsigned int>& index, bool exact) const;

    /// Advances the last entry of a walk. Nothing is carried into the entry before it, so a walk that asks
    /// `valid` ends after the first row. On a scalar the index becomes {0xFFFFFFFF}, which ends the walk too.
    void incIndex(std::vector<unsigned int>& index) const;

    /// The element number of `index`, the first dimension varying slowest; missing entries count as 0. At
    /// most 0xFFFFFFFF. Throws InterpretError (size mismatch) for an index with more entries than dimensions.
    /// Values are not checked: ask `valid` first.
    unsigned int index2lin(const std::vector<unsigned int>& index) const;

    const std::string name;
    const std::vector<unsigned int> dimensions;  ///< first dimension first, empty for a scalar
    const int offset;         ///< of element 0, from the start of the outermost record, also inside structs
    const unsigned int size;  ///< of one element, a struct's padding included
    const TypeEndianess endianess;
};

/// The form in which nodes are held everywhere.
using TypeRef = shared_ptr<IType const>;

/// A number or an array of numbers.
class ElementaryType : public IType {
 public:
    ElementaryType(const std::string& name, const std::vector<unsigned int>& dimensions, int offset,
                   unsigned int size, TypeEndianess endianess, TypeIdentifier identifier);
    TypeIdentifier typeIdentifier() const override;
    std::vector<TypeRef> children() const override;

 private:
    const TypeIdentifier m_identifier;
};

/// A record or an array of records.
class StructType : public IType {
 public:
    StructType(const std::string& name, const std::vector<unsigned int>& dimensions, int offset,
               unsigned int size, TypeEndianess endianess, const std::vector<TypeRef>& children);
    TypeIdentifier typeIdentifier() const override;
    std::vector<TypeRef> children() const override;

 private:
    const std::vector<TypeRef> m_children;
};

/// The bytes that the node occupies: size times count, at most 0xFFFFFFFF.
unsigned int typeSize(const TypeRef& type);

/// Orders nodes by name, byte by byte; null comes before everything.
bool typeRefCompByName(const TypeRef& a, const TypeRef& b);

/// A deep copy that begins at `offset` and has no padding: members follow each other without gaps, and
/// structs shrink to the sum of their members.
TypeRef rec_CopyType(const TypeRef& type, int offset);

/// The part of a tree with the nodes named by `expressions` (dotted paths without indices), packed from
/// `offset` on; null if nothing is left. `prefix` is the path of the parent, empty for a root.
TypeRef rec_Croptype(const TypeRef& type, const std::vector<std::string>& expressions,
                     const std::string& prefix, int offset);

/// The same for a whole tree. Throws InterpretError (null pointer) if nothing is left.
TypeRef cropDatadefinition(const TypeRef& type, const std::vector<std::string>& expressions);

}  // namespace zelta
