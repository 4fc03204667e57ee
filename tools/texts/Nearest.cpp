// SPDX-License-Identifier: Apache-2.0

#include "texts/Nearest.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <vector>

namespace texts {
namespace {

constexpr std::size_t longestText = 300;  // comparing costs the product of the lengths

}  // namespace

std::string small(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return result;
}

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

std::size_t tooManyEdits(std::size_t length) {
    return std::min(std::max<std::size_t>(length / 3, 1) + 1, length);
}

std::string nearestOf(std::span<const std::string> names, const std::string& text) {
    if (text.size() > longestText) {
        return "";
    }
    const std::string wanted = small(text);
    std::size_t least = tooManyEdits(wanted.size());
    std::string nearest;
    for (const std::string& name : names) {
        const std::size_t difference = editsBetween(wanted, small(name));
        if (difference < least) {
            least = difference;
            nearest = name;
        }
    }
    return nearest;
}

}  // namespace texts
