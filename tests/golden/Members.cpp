// SPDX-License-Identifier: Apache-2.0
#include "golden/Members.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace golden {
namespace {

using zelta::IType;
using zelta::TypeRef;

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

Kind kindOf(const IType& node, const std::string& path) {
    if (endsWith(path, "entries.line")) {
        return Kind::Masked;
    }
    if (endsWith(path, "entries.errorMsg")) {
        return Kind::Text;
    }
    return node.typeIdentifier() == zelta::TypeFloat && node.size == 4 ? Kind::Float : Kind::Integer;
}

class Walk {
 public:
    Members of(const IType& record) {
        visit(record, "", 0);
        return std::move(m_members);
    }

 private:
    void visit(const IType& node, const std::string& path, std::size_t offset) {
        if (node.typeIdentifier() != zelta::TypeStruct) {
            m_members.runs.push_back({leafIndex(path), offset, node.count(), node.size, kindOf(node, path)});
            return;
        }
        for (std::size_t i = 0; i < node.count(); ++i) {
            for (const TypeRef& child : node.children()) {
                visit(*child, path.empty() ? child->name : path + "." + child->name,
                      offset + i * node.size + static_cast<std::size_t>(child->offset - node.offset));
            }
        }
    }

    std::size_t leafIndex(const std::string& path) {
        const auto [found, isNew] = m_indices.try_emplace(path, m_members.leaves.size());
        if (isNew) {
            m_members.leaves.push_back(path);
        }
        return found->second;
    }

    Members m_members;
    std::map<std::string, std::size_t> m_indices;
};

}  // namespace

const Members& membersOf(const ZeltaChunk& chunk) {
    static std::map<std::string, Members, std::less<>> known;
    const std::string_view definition(static_cast<const char*>(chunk.description),
                                      static_cast<std::size_t>(chunk.descSize));
    const auto found = known.find(definition);
    if (found != known.end()) {
        return found->second;
    }
    const TypeRef type =
        zelta::parseDatadefinition(definition.data(), static_cast<unsigned int>(definition.size()));
    if (zelta::typeSize(type) != static_cast<unsigned int>(chunk.dataSize)) {
        throw std::runtime_error("a record of another size than its definition");
    }
    return known.emplace(definition, Walk().of(*type)).first->second;
}

}  // namespace golden
