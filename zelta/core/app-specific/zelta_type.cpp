// SPDX-License-Identifier: Apache-2.0
// Type nodes and copies of trees.
#include "zelta_type.h"

#include <algorithm>
#include <cstdint>

#include "zelta_error.h"
#include "zelta_saturate.h"

namespace zelta {
namespace {

/// In error texts types go by the file name of the definitions.
[[noreturn]] void interpretError(InterpretError::InterpretErrorTag tag, const std::string& message = "",
                                 int line = __builtin_LINE()) {
    throw InterpretError("core/app-specific/zelta_parse", line, tag, message);
}

}  // namespace

// --- Nodes ---

IType::IType(const std::string& name_, const std::vector<unsigned int>& dimensions_, int offset_,
             unsigned int size_, TypeEndianess endianess_)
    : name(name_), dimensions(dimensions_), offset(offset_), size(size_), endianess(endianess_) {}

IType::~IType() = default;

unsigned int IType::count() const {
    return elementCount(dimensions);
}

std::vector<unsigned int> IType::startIterate() const {
    return std::vector<unsigned int>(dimensions.size(), 0);
}

bool IType::valid(const std::vector<unsigned int>& index, bool exact) const {
    if (index.size() > dimensions.size()) {
        return false;
    }
    bool answer = index.size() == dimensions.size() || !exact;
    for (std::size_t i = 0; i < index.size(); ++i) {
        answer = answer && index[i] < dimensions[i];
    }
    return answer;
}

void IType::incIndex(std::vector<unsigned int>& index) const {
    if (index.empty()) {
        index.push_back(0xFFFFFFFFU);
        return;
    }
    ++index.back();
    if (dimensions.empty() || index.back() <= dimensions.back()) {
        return;
    }
    // An entry that has run past its dimension falls back to 0, and so do those before it that have run past
    // theirs.
    auto entry = index.rbegin();
    auto dimension = dimensions.rbegin();
    do {
        *entry = 0;
        ++entry;
        ++dimension;
    } while (entry != index.rend() && dimension != dimensions.rend() && *entry > *dimension);
}

unsigned int IType::index2lin(const std::vector<unsigned int>& index) const {
    if (index.size() > dimensions.size()) {
        interpretError(InterpretError::TagSizeMismatch,
                       "index has more dimensions (" + std::to_string(index.size()) +
                           ") than the actual data type (" + std::to_string(dimensions.size()) + ")");
    }
    std::uint32_t linear = 0;
    std::uint32_t weight = 1;
    for (std::size_t i = dimensions.size(); i-- > 0;) {
        if (i < index.size()) {
            linear = saturatingAdd(linear, saturatingMultiply(index[i], weight));
        }
        weight = saturatingMultiply(weight, dimensions[i]);
    }
    return linear;
}

ElementaryType::ElementaryType(const std::string& name_, const std::vector<unsigned int>& dimensions_,
                               int offset_, unsigned int size_, TypeEndianess endianess_,
                               TypeIdentifier identifier)
    : IType(name_, dimensions_, offset_, size_, endianess_), m_identifier(identifier) {}

TypeIdentifier ElementaryType::typeIdentifier() const {
    return m_identifier;
}

std::vector<TypeRef> ElementaryType::children() const {
    return {};
}

StructType::StructType(const std::string& name_, const std::vector<unsigned int>& dimensions_, int offset_,
                       unsigned int size_, TypeEndianess endianess_, const std::vector<TypeRef>& children)
    : IType(name_, dimensions_, offset_, size_, endianess_), m_children(children) {}

TypeIdentifier StructType::typeIdentifier() const {
    return TypeStruct;
}

std::vector<TypeRef> StructType::children() const {
    return m_children;
}

unsigned int typeSize(const TypeRef& type) {
    return saturatingMultiply(type->size, type->count());
}

bool typeRefCompByName(const TypeRef& a, const TypeRef& b) {
    if (!a) {
        return true;
    }
    if (!b) {
        return false;
    }
    return a->name < b->name;
}

// --- Copies of trees ---

namespace {

TypeRef makeStruct(const IType& model, int offset, unsigned int size, const std::vector<TypeRef>& children) {
    return TypeRef(new StructType(model.name, model.dimensions, offset, size, model.endianess, children));
}

/// Where the next member of a packed struct begins.
class PackedOffset {
 public:
    explicit PackedOffset(int start) : m_start(start) {}
    int next() const { return saturateToInt(static_cast<std::uint32_t>(m_start) + std::uint64_t{m_size}); }
    unsigned int size() const { return m_size; }
    void add(const TypeRef& member) { m_size = saturatingAdd(m_size, typeSize(member)); }

 private:
    int m_start;
    std::uint32_t m_size = 0;
};

std::string joinPath(const std::string& prefix, const std::string& name) {
    return prefix.empty() ? name : prefix + "." + name;
}

}  // namespace

TypeRef rec_CopyType(const TypeRef& type, int offset) {
    if (!type) {
        interpretError(InterpretError::TagNullPointer);
    }
    if (type->typeIdentifier() != TypeStruct) {
        return TypeRef(new ElementaryType(type->name, type->dimensions, offset, type->size, type->endianess,
                                          type->typeIdentifier()));
    }
    PackedOffset packed(offset);
    std::vector<TypeRef> members;
    for (const TypeRef& child : type->children()) {
        members.push_back(rec_CopyType(child, packed.next()));
        packed.add(members.back());
    }
    return makeStruct(*type, offset, packed.size(), members);
}

TypeRef rec_Croptype(const TypeRef& type, const std::vector<std::string>& expressions,
                     const std::string& prefix, int offset) {
    if (!type) {
        return TypeRef();
    }
    const std::string path = joinPath(prefix, type->name);
    if (std::find(expressions.begin(), expressions.end(), path) != expressions.end()) {
        return rec_CopyType(type, offset);
    }
    PackedOffset packed(offset);
    std::vector<TypeRef> members;
    for (const TypeRef& child : type->children()) {
        const TypeRef member = rec_Croptype(child, expressions, path, packed.next());
        if (member) {
            members.push_back(member);
            packed.add(member);
        }
    }
    if (members.empty()) {
        return TypeRef();
    }
    return makeStruct(*type, offset, packed.size(), members);
}

TypeRef cropDatadefinition(const TypeRef& type, const std::vector<std::string>& expressions) {
    TypeRef cropped = rec_Croptype(type, expressions, "", 0);
    if (!cropped) {
        interpretError(InterpretError::TagNullPointer);
    }
    return cropped;
}

}  // namespace zelta
