// SPDX-License-Identifier: Apache-2.0

#include "qor/Nearest.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <string_view>
#include <vector>

#include "qor/Arguments.h"

namespace qor {
namespace {

constexpr std::size_t mostCandidates = 5000;
constexpr std::size_t longestText = 300;  // comparing costs the product of the lengths

std::string small(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return result;
}

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

// The number of letters to insert, remove or change to turn one text into the other.
std::size_t editsBetween(std::string_view left, std::string_view right) {
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 0; i < left.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t k = 0; k < right.size(); ++k) {
            const std::size_t changed = diagonal + (left[i] == right[k] ? 0 : 1);
            diagonal = row[k + 1];
            row[k + 1] = std::min({changed, row[k] + 1, row[k + 1] + 1});
        }
    }
    return row.back();
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
    return std::min(editsBetween(wanted, candidate),
                    editsBetween(lastName(wanted), lastName(candidate)) + (wanted == candidate ? 0 : 1));
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
    const std::string wanted = small(withoutIndices(text));
    const std::size_t length = lastName(wanted).size();
    std::size_t least = std::min(std::max<std::size_t>(length / 3, 1) + 1, length);
    std::string nearest;
    for (const std::string& path : paths) {
        const std::size_t difference = differenceOf(wanted, small(withoutIndices(path)));
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
