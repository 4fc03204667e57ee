// SPDX-License-Identifier: Apache-2.0
#include "LayoutRows.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace host_testing {
namespace {

using layout::Row;

layout::Kind kindOf(zelta::TypeIdentifier identifier) {
    switch (identifier) {
        case zelta::TypeSigned:
            return layout::Kind::Signed;
        case zelta::TypeUnsigned:
            return layout::Kind::Unsigned;
        case zelta::TypeFloat:
            return layout::Kind::Float;
        default:
            return layout::Kind::Record;
    }
}

void appendTexts(const zelta::IType& node, unsigned int level, unsigned int depth,
                 std::vector<std::string>& texts) {
    Row row = {level,     node.name,
               {},        kindOf(node.typeIdentifier()),
               node.size, static_cast<unsigned int>(node.offset)};
    if (node.dimensions.size() > std::size(row.dimensions)) {
        throw std::runtime_error(node.name + " has more dimensions than a row");
    }
    std::copy(node.dimensions.begin(), node.dimensions.end(), row.dimensions);
    texts.push_back(textOf(row));
    if (level < depth) {
        for (const zelta::TypeRef& child : node.children()) {
            appendTexts(*child, level + 1, depth, texts);
        }
    }
}

}  // namespace

std::string textOf(const Row& row) {
    const char* const kinds[] = {"signed", "unsigned", "float", "record"};
    std::string text = std::to_string(row.level) + " " + std::string(row.name) + " [";
    for (const unsigned int dimension : row.dimensions) {
        text += dimension != 0 ? std::to_string(dimension) + "," : "";
    }
    return text + "] " + kinds[static_cast<int>(row.kind)] + " size " + std::to_string(row.size) + " at " +
           std::to_string(row.offset);
}

std::vector<std::string> textsOf(const zelta::TypeRef& type, unsigned int depth) {
    std::vector<std::string> texts;
    appendTexts(*type, 0, depth, texts);
    return texts;
}

}  // namespace host_testing
