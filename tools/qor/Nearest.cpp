// SPDX-License-Identifier: Apache-2.0

#include "qor/Nearest.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "qor/Arguments.h"
#include "texts/Nearest.h"

namespace qor {
namespace {

constexpr std::size_t mostCandidates = 5000;
constexpr std::size_t longestText = 300;  // comparing costs the product of the lengths

std::string withoutIndices(std::string_view text) {
    std::string result;
    bool inside = false;
    for (const char letter : text) {
        inside = inside || letter == '[';
        if (!inside) {
            result += letter;
        }
        inside = inside && letter != ']';
    }
    return result;
}

std::string_view lastName(std::string_view path) {
    const std::size_t dot = path.rfind('.');
    return dot == std::string_view::npos ? path : path.substr(dot + 1);
}

void collect(const zelta::TypeRef& type, const std::string& before, std::vector<std::string>& paths) {
    if (paths.size() == mostCandidates) {
        return;
    }
    const std::string path = before + type->name;
    paths.push_back(path);
    if (path.size() > longestText) {
        return;
    }
    std::string element = path;
    for (std::size_t k = 0; k < type->dimensions.size(); ++k) {
        element += "[0]";
    }
    for (const zelta::TypeRef& child : type->children()) {
        collect(child, element + ".", paths);
    }
}

// Letters of difference: in the whole text, or in the last name plus one for what stands before it.
std::size_t differenceOf(const std::string& wanted, const std::string& candidate) {
    return std::min(
        texts::editsBetween(wanted, candidate),
        texts::editsBetween(lastName(wanted), lastName(candidate)) + (wanted == candidate ? 0 : 1));
}

}  // namespace

std::string nearestMember(std::span<const zelta::TypeRef> records, const std::string& text) {
    if (text.size() > longestText) {
        return "";
    }
    std::vector<std::string> paths;
    for (const zelta::TypeRef& record : records) {
        for (const zelta::TypeRef& member : record->children()) {
            collect(member, record->name + ".", paths);
        }
    }
    const std::string wanted = texts::small(withoutIndices(text));
    const std::size_t length = lastName(wanted).size();
    std::size_t least = texts::tooManyEdits(length);
    std::string nearest;
    for (const std::string& path : paths) {
        const std::size_t difference = differenceOf(wanted, texts::small(withoutIndices(path)));
        if (difference < least) {
            least = difference;
            nearest = path;
        }
    }
    return nearest;
}

std::string proposal(std::span<const zelta::TypeRef> records, const std::string& text) {
    const std::string nearest = nearestMember(records, text);
    return nearest.empty() ? "." : "; did you mean \"" + printable(nearest) + "\"?";
}

}  // namespace qor
