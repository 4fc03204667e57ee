// SPDX-License-Identifier: Apache-2.0

#include "qor/Slice.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <numeric>
#include <string_view>

namespace qor {
namespace {

constexpr unsigned int largest = std::numeric_limits<unsigned int>::max();

// Without digits the fallback; a number that is too large counts as the largest.
unsigned int numberOr(std::string_view digits, unsigned int fallback) {
    unsigned int number = 0;
    if (digits.empty()) {
        return fallback;
    }
    return std::from_chars(digits.data(), digits.data() + digits.size(), number).ec == std::errc{} ? number
                                                                                                   : largest;
}

// Cuts off the text up to the next colon.
std::string_view cutPart(std::string_view& text) {
    const std::string_view part = text.substr(0, text.find(':'));
    text.remove_prefix(std::min(part.size() + 1, text.size()));
    return part;
}

bool isSlice(const std::string& index) {
    return index.find(':') != std::string::npos;
}

}  // namespace

bool hasSlice(const std::string& expression) {
    return isSlice(expression);
}

SlicedExpression cutAtSlice(const std::string& expression) {
    const std::size_t colon = expression.find(':');
    const std::size_t dot = expression.rfind('.', colon);
    const std::size_t segment = dot == std::string::npos ? 0 : dot + 1;
    const std::size_t next = std::min(expression.find('.', colon), expression.size());
    SlicedExpression cut;
    std::size_t open = expression.find('[', segment);
    cut.array = expression.substr(0, open);
    cut.rest = expression.substr(next);
    while (open < next) {
        const std::size_t close = expression.find(']', open);
        cut.indices.push_back(expression.substr(open + 1, close - open - 1));
        open = expression.find('[', close);
    }
    return cut;
}

std::vector<unsigned int> takenBy(const std::string& index, unsigned int dimension) {
    std::vector<unsigned int> taken;
    if (!isSlice(index)) {
        const unsigned int only = numberOr(index, largest);
        if (only < dimension) {
            taken.push_back(only);
        }
        return taken;
    }
    std::string_view parts = index;
    const unsigned int from = numberOr(cutPart(parts), 0);
    const unsigned int to = std::min(numberOr(cutPart(parts), dimension), dimension);
    const std::uint64_t step = numberOr(parts, 1);
    for (std::uint64_t k = from; k < to && step > 0; k += step) {
        taken.push_back(static_cast<unsigned int>(k));
    }
    return taken;
}

std::vector<std::size_t> Selection::positions(const std::vector<unsigned int>& arrayDimensions) const {
    std::vector<std::size_t> found{0};
    for (std::size_t k = 0; k < taken.size(); ++k) {
        std::vector<std::size_t> next;
        next.reserve(found.size() * taken[k].size());
        for (const std::size_t start : found) {
            for (const unsigned int index : taken[k]) {
                next.push_back(start * arrayDimensions[k] + index);
            }
        }
        found = std::move(next);
    }
    return found;
}

Selection selectionOf(const std::vector<std::string>& indices, const std::vector<unsigned int>& dimensions) {
    Selection selection;
    if (indices.size() > dimensions.size()) {
        selection.taken = {{}};
        return selection;
    }
    for (std::size_t k = 0; k < dimensions.size(); ++k) {
        const std::string index = k < indices.size() ? indices[k] : ":";
        selection.taken.push_back(takenBy(index, dimensions[k]));
        if (isSlice(index)) {
            selection.dimensions.push_back(static_cast<unsigned int>(selection.taken.back().size()));
        }
    }
    return selection;
}

}  // namespace qor
