// SPDX-License-Identifier: Apache-2.0

#include "qor/RecordText.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <span>
#include <string_view>
#include <type_traits>
#include <variant>

#include "qor/Arguments.h"
#include "recording/Enumerators.h"

namespace qor {
namespace {

constexpr std::size_t mostShortNumbers = 8;

// Nested arrays after the dimensions; `numbers` is used up from its start.
template <typename T>
nlohmann::ordered_json nested(std::span<const T>& numbers, std::span<const unsigned int> dimensions) {
    if (dimensions.empty()) {
        const T number = numbers.front();
        numbers = numbers.subspan(1);
        return number;
    }
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (unsigned int k = 0; k < dimensions.front(); ++k) {
        array.push_back(nested(numbers, dimensions.subspan(1)));
    }
    return array;
}

// Letters up to a zero, and nothing but zeros after them.
template <typename T>
std::optional<std::string> lettersOf(const std::vector<T>& numbers) {
    const auto end = std::find(numbers.begin(), numbers.end(), T{0});
    const bool letters = end != numbers.begin() && end != numbers.end() &&
                         std::all_of(numbers.begin(), end, [](T code) { return code >= 32 && code < 127; }) &&
                         std::all_of(end, numbers.end(), [](T code) { return code == 0; });
    return letters ? std::optional(std::string(numbers.begin(), end)) : std::nullopt;
}

template <typename T>
std::string rowText(std::span<const T> numbers, const std::string& expression, bool named) {
    if constexpr (std::is_integral_v<T> && !std::is_same_v<T, unsigned long long>) {
        if (named) {
            std::vector<std::string> texts;
            for (const T number : numbers) {
                const auto name = recording::enumeratorName(expression, number);
                texts.push_back(name ? std::string(*name) : fmt::format("{}", number));
            }
            return joined(texts, " ");
        }
    }
    return fmt::format("{}", fmt::join(numbers, " "));
}

template <typename T>
ShownValue shown(const std::vector<T>& numbers, const std::string& expression,
                 const std::vector<unsigned int>& dimensions) {
    ShownValue value;
    value.expression = expression;
    value.count = numbers.size();
    if constexpr (std::is_same_v<T, signed char>) {
        if (const std::optional<std::string> letters = lettersOf(numbers)) {
            value.isText = true;
            value.rows = {"\"" + *letters + "\""};
            value.json = *letters;
            return value;
        }
    }
    value.isNamed = std::is_integral_v<T> && !recording::enumeratorsOf(expression).empty();
    const std::size_t rowLength =
        dimensions.size() < 2 ? std::max<std::size_t>(numbers.size(), 1) : dimensions.back();
    for (std::size_t start = 0; start < numbers.size(); start += rowLength) {
        const auto row = std::span(numbers).subspan(start, std::min(rowLength, numbers.size() - start));
        value.rows.push_back(rowText<T>(row, expression, value.isNamed));
    }
    std::span<const T> rest = numbers;
    value.json = nested(rest, std::span(dimensions));
    return value;
}

}  // namespace

std::vector<ShownValue> valuesOf(const zelta::ZeltaChunk& chunk, const std::string& expression,
                                 Unused unused) {
    std::vector<ShownValue> values;
    for (const RecordValue& value : recordValuesOf(chunk, expression, unused)) {
        values.push_back(std::visit(
            [&value](const auto& numbers) { return shown(numbers, value.expression, value.dimensions); },
            value.numbers));
    }
    return values;
}

std::string abbreviated(const ShownValue& value) {
    if (value.isText || value.count <= mostShortNumbers) {
        return joined(value.rows, "  ");
    }
    std::string_view first = value.rows.empty() ? std::string_view{} : value.rows.front();
    std::size_t end = 0;
    for (std::size_t k = 0; k < mostShortNumbers && end != std::string_view::npos; ++k) {
        end = first.find(' ', end + 1);
    }
    return fmt::format("{} ... {} numbers", first.substr(0, end), value.count);
}

}  // namespace qor
